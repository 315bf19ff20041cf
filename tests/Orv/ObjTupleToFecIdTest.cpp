// The object-tuple FEC map: the pair's hand-written protocol-buffers form, on good and malformed input,
// and the backup of the map with its restore.
#include <Orv/OrvObjTupleToFecId.h>

#include <Lumo/Pb.h>
#include <Vem/Backup.h>
#include <Vem/GenericIf.h>

#include "AnnouncementLog.h"
#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using namespace Orv;
using Announcements = OrvTest::AnnouncedIds;

ObjTupleAndFecId pair(uint64_t tuple, uint64_t fec) { return ObjTupleAndFecId(L2Rib::ObjTuple(tuple), Drove::Fib::FecId(fec)); }

std::string bytes(std::initializer_list<int> b) {
  std::string s;
  for (int x : b) s.push_back(static_cast<char>(x));
  return s;
}

// A length-prefixed message around the given fields.
std::string framed(const std::string& fields) { return bytes({static_cast<int>(fields.size())}) + fields; }

TEST(ObjTupleAndFecIdMessage, WritesTheTabledBytes) {
  std::string out;
  Lumo::Pb::Writer w(out);
  pair(1, 300).writeMessage(w);
  EXPECT_EQ(out, bytes({18, 2, 16, 1, 24, 0xac, 0x02}));
  out.clear();
  pair(0, 0).writePbMessage(w);
  EXPECT_EQ(out, bytes({6, 18, 2, 16, 0, 24, 0}));
  out.clear();
  const uint64_t max = std::numeric_limits<uint64_t>::max();
  pair(max, max).writePbMessage(w);
  ASSERT_EQ(out.size(), 1u + 2 + 1 + 10 + 1 + 10);
  EXPECT_EQ(static_cast<uint8_t>(out[0]), 24u) << "the prefix counts the nested message's bytes";
  Lumo::Pb::Reader r(out);
  ObjTupleAndFecId back;
  back.readMessage(r);
  EXPECT_TRUE(r.atEnd());
  EXPECT_EQ(back, pair(max, max));
}

TEST(ObjTupleAndFecIdMessage, ReadsMissingUnknownAndRepeatedFields) {
  ObjTupleAndFecId v = pair(5, 5);
  // Reads one length-prefixed message around `fields` into v, to its end.
  auto read = [&](const std::string& fields, bool construct = true) {
    const std::string message = framed(fields);
    Lumo::Pb::Reader r(message);
    construct ? v.constructFromPbMessage(r) : v.readMessage(r);
    EXPECT_TRUE(r.atEnd());
  };
  // Only field 3: the tuple stays 0.
  read(bytes({24, 9}));
  EXPECT_EQ(v, pair(0, 9));
  // readMessage keeps what the message does not mention.
  read(bytes({18, 2, 16, 4}), false);
  EXPECT_EQ(v, pair(4, 9));
  // Unknown fields of every wire type are skipped, between and after the known ones.
  read(bytes({18, 2, 16, 7}) + bytes({56, 0x96, 0x01}) + bytes({41, 1, 2, 3, 4, 5, 6, 7, 8}) + bytes({74, 3, 'a', 'b', 'c'}) +
       bytes({45, 1, 2, 3, 4}) + bytes({24, 70}));
  EXPECT_EQ(v, pair(7, 70));
  // The last occurrence of a field wins, as protocol buffers merge.
  read(bytes({24, 1, 24, 2}));
  EXPECT_EQ(v.fecId().value(), 2u);
}

TEST(ObjTupleAndFecIdMessage, MalformedInputIsRefusedAndChangesNothing) {
  // A field number 0 and the group wire types are refused by the wire reader itself (tests/Lumo).
  const std::vector<std::pair<const char*, std::string>> bad = {
      {"field 2 as a varint", framed(bytes({16, 1}))},
      {"field 3 length-delimited", framed(bytes({26, 1, 0}))},
      {"field 3 as fixed64", framed(bytes({25, 1, 2, 3, 4, 5, 6, 7, 8}))},
      {"nested field 2 as fixed32", framed(bytes({18, 5, 21, 1, 2, 3, 4}))},
      {"prefix past the buffer", bytes({9, 18, 2, 16, 1, 24, 1})},
      {"nested length past the message", framed(bytes({18, 4, 16, 1}))},
      {"truncated varint", framed(bytes({24, 0x80}))},
      {"unknown field's length past the message", framed(bytes({74, 9, 'a'}))},
      {"empty buffer", std::string()},
  };
  for (const auto& [what, input] : bad) {
    SCOPED_TRACE(what);
    ObjTupleAndFecId v = pair(1, 2);
    Lumo::Pb::Reader r(input);
    EXPECT_THROW(v.constructFromPbMessage(r), Lumo::Pb::DecodeError);
    EXPECT_EQ(v, pair(1, 2));
    EXPECT_EQ(r.offset(), 0u);
    EXPECT_THROW(v.readMessage(r), Lumo::Pb::DecodeError);
    EXPECT_EQ(v, pair(1, 2));
  }
}

TEST(ObjTupleAndFecIdMessage, GenericInterfaceWritesAndReadsOneMessage) {
  const auto* methods = Vem::GenericIfImpl::valueMethods(ObjTupleAndFecId::vemType());
  ASSERT_NE(methods->pbMessageSerDes, nullptr);
  ObjTupleAndFecId v = pair(123456789, 42), back;
  std::string buffer;
  EXPECT_TRUE(methods->pbMessageSerDes(&buffer, &v, false));
  std::string direct;
  Lumo::Pb::Writer w(direct);
  v.writePbMessage(w);
  EXPECT_EQ(buffer, direct);
  EXPECT_TRUE(methods->pbMessageSerDes(&buffer, &back, true));
  EXPECT_EQ(back, v);
}

// ---- backup ----------------------------------------------------------------------------------------

std::string raw(const void* p, std::size_t n) { return std::string(static_cast<const char*>(p), n); }

TEST(ObjTupleToFecIdBackup, MirrorsChangesAsInMemoryBytes) {
  Vem::BackupStore store;
  auto map = ObjTupleToFecIdIs(Lumo::String("map"));
  map->objTupleToFecIdIs(pair(9, 90));  // before the adapter: not in the store
  {
    Vem::BackupAdapter<ObjTupleToFecId> adapter(map, store);
    map->objTupleToFecIdIs(pair(1, 10));
    map->objTupleToFecIdIs(pair(2, 20));
    map->objTupleToFecIdIs(pair(2, 21));
    map->objTupleToFecIdDel(L2Rib::ObjTuple(1));
    const L2Rib::ObjTuple two(2);
    const ObjTupleAndFecId stored = pair(2, 21);
    EXPECT_EQ(store.keys(258), std::vector<std::string>{raw(&two, 8)});
    EXPECT_EQ(store.get(258, raw(&two, 8)), raw(&stored, 16));
    EXPECT_EQ(store.size(), 1u);
    store.mirroringIs(false);
    map->objTupleToFecIdIs(pair(3, 30));
    EXPECT_EQ(store.size(), 1u) << "mirroring off: the store is left alone";
    store.mirroringIs(true);
  }
  map->objTupleToFecIdIs(pair(4, 40));
  EXPECT_EQ(store.size(), 1u) << "the adapter is gone";
}

TEST(ObjTupleToFecIdBackup, RestoreRefillsTheMapWithoutWritingBack) {
  Vem::BackupStore store;
  auto before = ObjTupleToFecIdIs(Lumo::String("map"));
  Vem::BackupAdapter<ObjTupleToFecId> adapter(before, store);
  for (uint64_t i = 1; i <= 50; ++i) before->objTupleToFecIdIs(pair(i * 0x1'0000'0001, i));
  before->objTupleToFecIdDel(L2Rib::ObjTuple(7 * 0x1'0000'0001));

  auto after = ObjTupleToFecIdIs(Lumo::String("map"));
  Vem::BackupAdapter<ObjTupleToFecId> afterAdapter(after, store);
  Announcements seen(*after);
  after->reconstructFromBackup(store);
  EXPECT_EQ(after->objTupleToFecId().size(), 49u);
  before->objTupleToFecId().forEach([&](const L2Rib::ObjTuple& k, const ObjTupleAndFecId& v) {
    EXPECT_EQ(after->objTupleToFecId(k), v);
  });
  EXPECT_EQ(seen.ids.size(), 49u) << "restored through the setter, which announces";
  EXPECT_EQ(store.size(), 49u);
  EXPECT_TRUE(store.mirroring());
  after->objTupleToFecIdDel(L2Rib::ObjTuple(0x1'0000'0001));
  EXPECT_EQ(store.size(), 48u) << "mirroring is on again after the restore";
}

TEST(ObjTupleToFecIdBackup, EntriesOfTheWrongSizeStopTheRestore) {
  const L2Rib::ObjTuple one(1);
  const ObjTupleAndFecId value = pair(1, 10);
  struct Case {
    const char* what;
    std::string key, value, message;
  };
  const std::vector<Case> cases = {
      {"short key", std::string(7, '\0'), raw(&value, 16), "backup size mismatch: L2Rib::ObjTuple is 8 bytes, not 7"},
      {"long value", raw(&one, 8), raw(&value, 16) + "x", "backup size mismatch: Orv::ObjTupleAndFecId is 16 bytes, not 17"},
      {"empty value", raw(&one, 8), std::string(), "backup size mismatch: Orv::ObjTupleAndFecId is 16 bytes, not 0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Vem::BackupStore store;
    store.set(258, c.key, c.value);
    store.set(300, "unrelated", "ignored");
    auto map = ObjTupleToFecIdIs(Lumo::String("map"));
    const std::string error = OrvTest::errorOf<Vem::BackupSizeMismatch>([&] { map->reconstructFromBackup(store); });
    EXPECT_NE(error.find(c.message), std::string::npos) << error;
    EXPECT_EQ(map->objTupleToFecId().size(), 0u);
    EXPECT_TRUE(store.mirroring()) << "switched on again after a failed restore";
  }
}

}  // namespace
