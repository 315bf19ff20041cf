#include <Brek/DumpContext.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using Brek::DumpContext;
using Brek::_objDumpPrintf;

TEST(DumpContext, PrintfAppendsToTheInternalStringOrWritesToTheStream) {
  std::ostringstream os;
  auto toString = Lumo::newNode<DumpContext>();
  Lumo::Ptr<const DumpContext> toStream = Lumo::newNode<DumpContext>(os);
  for (Lumo::Ptr<const DumpContext> out : {Lumo::Ptr<const DumpContext>(toString), toStream}) {
    _objDumpPrintf(out, "[%*c][%*c]", 0, ' ', 4, ' ');
    _objDumpPrintf(out, "%s=%d|%08x|%-3s|", "x", -3, 0xbeefu, "a");
  }
  EXPECT_EQ(toString->str(), "[ ][    ]x=-3|0000beef|a  |");
  EXPECT_FALSE(toString->writesToStream());
  EXPECT_EQ(os.str(), "[ ][    ]x=-3|0000beef|a  |");
  EXPECT_EQ(toStream->str(), "");
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
