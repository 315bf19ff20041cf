// Attribute-log records shown to a person: each record cut from the byte stream, its header and every
// field of its payload in hex beside what the bytes mean (attribute names, keys and values in their
// text forms). The decoder follows the stream as a receiver would, learning the type of each entity id
// from the root and child records that introduce it, so that later records addressed to it decode too.
#pragma once

#include <Vem/LogForm.h>
#include <Vem/Reflect.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

namespace vemsh {

// "0a 0b ..." without separators: the bytes in lower-case hex.
std::string hexBytes(std::string_view bytes);

// Writes one value of `type` as the attribute log carries it, one line per field: the field's hex and
// its meaning. Raises UserError for a type with no log form.
void describeValueBytes(std::ostream& out, const Vem::TypeHandle& type, const void* value, std::string_view indent);

// The log form of a type: its registered table, its built-in one, or null.
const Vem::ValueLogForm* logFormOf(const Vem::TypeHandle& type) noexcept;

class RecordDecoder {
 public:
  // Brief: one line per record, its meaning without the bytes.
  explicit RecordDecoder(bool brief = false) noexcept : brief_(brief) {}

  // Appends stream bytes and writes every record now complete, then hands it to `then` (a receiver
  // applies it there, so that what it causes is shown after the record). Returns the records written.
  std::size_t feed(std::ostream& out, std::string_view bytes, std::string_view indent = "  ",
                   const std::function<void(std::string_view record)>& then = {});
  // Bytes of an incomplete record still waiting for the rest.
  std::size_t partial() const noexcept { return buffer_.size(); }
  // Forgets the stream (a new connection starts numbering entities afresh).
  void reset() noexcept;

 private:
  void writeRecord(std::ostream& out, std::string_view record, std::string_view indent);
  void decodePayload(std::ostream& out, uint32_t entity, uint8_t kind, uint16_t attribute, std::string_view payload,
                     std::string_view indent, std::string* brief);

  bool brief_;
  std::string buffer_;
  std::map<uint32_t, Vem::VemType> types_;  // entity id on this stream -> its type
  uint64_t offset_ = 0;                      // stream offset of buffer_'s first byte
};

}  // namespace vemsh
