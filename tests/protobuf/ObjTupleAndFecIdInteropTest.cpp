// The pair's protocol-buffers form against the protocol-buffers library itself: what we write it parses
// to the same values (byte for byte what it writes), what it writes we read, including fields we do
// not know, and both refuse a message cut inside a field.
#include "obj_tuple_and_fec_id.pb.h"

#include <Orv/OrvObjTupleToFecId.h>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/delimited_message_util.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using Orv::ObjTupleAndFecId;

ObjTupleAndFecId pair(uint64_t tuple, uint64_t fec) { return ObjTupleAndFecId(L2Rib::ObjTuple(tuple), Drove::Fib::FecId(fec)); }

const uint64_t kSamples[] = {0, 1, 127, 128, 16383, 16384, 0xffffffffu, 0x100000000u, uint64_t{1} << 63,
                             std::numeric_limits<uint64_t>::max()};

interop::ObjTupleAndFecId theirs(uint64_t tuple, uint64_t fec) {
  interop::ObjTupleAndFecId m;
  m.mutable_key()->set_value(tuple);
  m.set_fec_id(fec);
  return m;
}

ObjTupleAndFecId readOurs(const std::string& message) {
  // Our reader takes the message with its length prefix.
  std::string framed;
  Lumo::Pb::Writer(framed).varint(message.size());
  framed += message;
  Lumo::Pb::Reader in(framed);
  ObjTupleAndFecId v;
  v.constructFromPbMessage(in);
  EXPECT_TRUE(in.atEnd());
  return v;
}

TEST(ObjTupleAndFecIdInterop, OurBytesAreTheLibrarysBytes) {
  for (uint64_t tuple : kSamples)
    for (uint64_t fec : kSamples) {
      std::string ours;
      Lumo::Pb::Writer w(ours);
      pair(tuple, fec).writeMessage(w);
      // Equal bytes: the library reads ours exactly as it reads its own message of these values.
      EXPECT_EQ(ours, theirs(tuple, fec).SerializeAsString()) << tuple << " " << fec;
    }
}

TEST(ObjTupleAndFecIdInterop, LengthPrefixedMessagesCrossBothWays) {
  std::string ours;
  Lumo::Pb::Writer w(ours);
  for (uint64_t v : kSamples) pair(v, ~v).writePbMessage(w);
  google::protobuf::io::ArrayInputStream stream(ours.data(), static_cast<int>(ours.size()));
  for (uint64_t v : kSamples) {
    interop::ObjTupleAndFecId parsed;
    bool clean = false;
    ASSERT_TRUE(google::protobuf::util::ParseDelimitedFromZeroCopyStream(&parsed, &stream, &clean));
    EXPECT_EQ(parsed.key().value(), v);
    EXPECT_EQ(parsed.fec_id(), ~v);
  }

  std::string written;
  {
    google::protobuf::io::StringOutputStream out(&written);
    for (uint64_t v : kSamples) ASSERT_TRUE(google::protobuf::util::SerializeDelimitedToZeroCopyStream(theirs(~v, v), &out));
  }
  Lumo::Pb::Reader in(written);
  for (uint64_t v : kSamples) {
    ObjTupleAndFecId read;
    read.constructFromPbMessage(in);
    EXPECT_EQ(read, pair(~v, v));
  }
  EXPECT_TRUE(in.atEnd());
}

TEST(ObjTupleAndFecIdInterop, LibrarysMessagesWithMissingAndUnknownFieldsRead) {
  // A missing field is checked on hand-made bytes in ObjTupleToFecIdTest; an empty nested key here.
  interop::ObjTupleAndFecId emptyKey;
  emptyKey.mutable_key();
  EXPECT_EQ(readOurs(emptyKey.SerializeAsString()), pair(0, 0));

  interop::Unknowns unknowns;
  unknowns.set_f1(1);
  unknowns.set_f4(-4);
  unknowns.set_f5(5);
  unknowns.set_f7(0x96);
  unknowns.set_f9("nine");
  unknowns.mutable_f1000()->set_value(1000);
  // Concatenated messages merge: the unknown fields sit between the key and the FEC id.
  interop::ObjTupleAndFecId keyOnly, fecOnly;
  keyOnly.mutable_key()->set_value(0x1234567890);
  fecOnly.set_fec_id(99);
  const std::string message = keyOnly.SerializeAsString() + unknowns.SerializeAsString() + fecOnly.SerializeAsString();
  interop::ObjTupleAndFecId parsed;
  ASSERT_TRUE(parsed.ParseFromString(message));
  EXPECT_EQ(readOurs(message), pair(parsed.key().value(), parsed.fec_id()));
  EXPECT_EQ(readOurs(message), pair(0x1234567890, 99));
}

// Wrong wire types and a length prefix past the buffer are refused in ObjTupleToFecIdTest; here, where a
// cut leaves the library with whole fields.
TEST(ObjTupleAndFecIdInterop, ShortMessagesAreReadAsTheLibraryReadsThem) {
  const std::string whole = theirs(0x1234567890, 0x9876543210).SerializeAsString();
  int complete = 0;
  for (std::size_t cut = 1; cut < whole.size(); ++cut) {
    SCOPED_TRACE(cut);
    // Cut inside a field, both refuse it; cut between fields, both read the fields before the cut.
    const std::string shortened = whole.substr(0, cut);
    interop::ObjTupleAndFecId parsed;
    if (parsed.ParseFromString(shortened)) {
      ++complete;
      EXPECT_EQ(readOurs(shortened), pair(parsed.key().value(), parsed.fec_id()));
    } else {
      EXPECT_THROW(readOurs(shortened), Lumo::Pb::DecodeError);
    }
  }
  EXPECT_EQ(complete, 1) << "only the cut after the key leaves whole fields";
}

}  // namespace
