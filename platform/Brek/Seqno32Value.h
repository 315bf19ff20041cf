// What Brek::Seqno32 needs to be a platform value type beyond its own header (which stays free of the
// type system, below which it sits): a parser, the attribute-log form (as U32) and a text. Its text is
// the number in decimal; its equality, order (by signed distance) and hash are its own.
#pragma once

#include <Brek/Seqno32.h>
#include <Lumo/String.h>

#include <cstddef>

namespace Vem {
class CharRange;
template <class T>
struct LogTraits;
namespace NboAttrLog {
class In;
class Out;
}  // namespace NboAttrLog
}  // namespace Vem

namespace Brek {

// Reads a decimal number of at most 4294967295; raises Vem::RangeException and leaves `text` unchanged
// on failure.
bool sequenceToValue(Vem::CharRange& text, Seqno32* value);
Lumo::String stringValue(Seqno32 value);
constexpr std::size_t attrLogSize(const Seqno32*) noexcept { return 4; }

}  // namespace Brek

// Seqno32 cannot take the type system's log-reading constructor, so its log form is given here.
template <>
struct Vem::LogTraits<Brek::Seqno32> {
  static void write(NboAttrLog::Out& out, const Brek::Seqno32& v);
  static void read(NboAttrLog::In& in, Brek::Seqno32& v);
  static constexpr std::size_t size(const Brek::Seqno32&) noexcept { return 4; }
};
