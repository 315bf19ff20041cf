#include <Brek/DumpContext.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using Brek::DumpContext;
using Brek::_objDumpPrintf;

TEST(DumpContext, PrintfIntoTheInternalString) {
  auto ctx = Lumo::newNode<DumpContext>();
  Lumo::Ptr<const DumpContext> out = ctx;
  _objDumpPrintf(out, "[%*c]", 0, ' ');
  _objDumpPrintf(out, "[%*c]", 4, ' ');
  _objDumpPrintf(out, "%s=%d", "x", -3);
  EXPECT_EQ(ctx->str(), "[ ][    ]x=-3");
  EXPECT_FALSE(ctx->writesToStream());
}

TEST(DumpContext, PrintfIntoAStream) {
  std::ostringstream os;
  Lumo::Ptr<const DumpContext> ctx = Lumo::newNode<DumpContext>(os);
  _objDumpPrintf(ctx, "%08x|%-3s|", 0xbeefu, "a");
  EXPECT_EQ(os.str(), "0000beef|a  |");
  EXPECT_EQ(ctx->str(), "");
}

TEST(DumpContext, OutputsLongerThanTheStackBufferArriveWhole) {
  // Lengths around the internal buffer's capacity as well as well beyond 4 KiB.
  for (std::size_t length : {510u, 511u, 512u, 513u, 5000u, 70000u}) {
    const std::string text(length, 'q');
    std::ostringstream os;
    Lumo::Ptr<const DumpContext> toStream = Lumo::newNode<DumpContext>(os);
    auto toString = Lumo::newNode<DumpContext>();
    _objDumpPrintf(toStream, "<%s>%d", text.c_str(), 7);
    _objDumpPrintf(toString, "<%s>%d", text.c_str(), 7);
    const std::string expected = "<" + text + ">7";
    EXPECT_EQ(os.str(), expected) << length;
    EXPECT_EQ(toString->str(), expected) << length;
  }
}

}  // namespace
