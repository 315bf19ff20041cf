// The attribute log's receiving side fed arbitrary bytes: mirrors of any loaded entity type built and
// changed by whatever records arrive. Record by record it checks that a refused record changed nothing,
// that the stream stays refused after one, and that the mirrors stay consistent; at the end, that every
// mirror can be sent on and mirrored again to the same state, and that nothing holds a mirror once the
// demuxer and the roots are gone.
#include "FuzzSupport.h"

#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/RangeException.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Fuzz::check;
using Lumo::Ptr;
using Vem::Entity;
using Vem::NboAttrLog::Demuxer;

uint32_t be32(const uint8_t* p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]; }

struct Mirror {
  Demuxer demuxer;
  std::vector<Ptr<Entity>> roots;
  Mirror() {
    demuxer.rootObserverIs([this](Vem::EntityId, const Ptr<Entity>& e) { roots.push_back(e); });
  }
  std::string state(std::vector<Ptr<Entity>>* reached = nullptr) const {
    std::string s;
    for (const auto& r : roots) s += Fuzz::dump(r, &demuxer, reached);
    return s;
  }
};

void run(const uint8_t* data, std::size_t size) {
  std::vector<Ptr<Entity>> reached;
  {
    Mirror m;
    std::size_t at = 0;
    while (at < size) {
      // Whole records one at a time, so that a refused one can be compared with the state before it.
      std::size_t end = size;
      if (size - at >= Vem::NboAttrLog::Frame::kHeaderSize) {
        const uint32_t length = be32(data + at + 7);
        if (length <= Vem::NboAttrLog::Frame::kMaxPayload && size - at - Vem::NboAttrLog::Frame::kHeaderSize >= length)
          end = at + Vem::NboAttrLog::Frame::kHeaderSize + length;
      }
      const std::string before = m.state();
      const std::size_t roots = m.roots.size();
      const uint64_t applied = m.demuxer.recordsApplied();
      try {
        m.demuxer.feed(data + at, end - at);
      } catch (const Vem::RangeException&) {
        check(m.demuxer.failed() && !m.demuxer.error().empty(), "a refusal without an error");
        check(m.roots.size() == roots && m.state() == before, "a refused record changed the mirror: " + m.demuxer.error());
        check(m.demuxer.recordsApplied() == applied, "a refused record was counted as applied");
        bool refusedAgain = false;
        try {
          m.demuxer.feed(data, 11 < size ? 11 : size);
        } catch (const Vem::RangeException&) {
          refusedAgain = true;
        }
        check(refusedAgain && m.state() == before, "a refused stream took more input");
        break;
      }
      if (end - at >= Vem::NboAttrLog::Frame::kHeaderSize && end != size) {
        check(m.demuxer.recordsApplied() == applied + 1 && m.demuxer.partial() == 0, "a whole record was not applied");
      }
      at = end;
    }

    const std::string state = m.state(&reached);
    check(reached.size() == m.demuxer.boundCount(),
          std::to_string(m.demuxer.boundCount()) + " mirrors bound but " + std::to_string(reached.size()) + " reachable");
    // Reading a mirror through the generic interface leaves every use count as it was.
    std::vector<uint32_t> counts;
    for (const auto& e : reached) counts.push_back(e->useCount());
    check(m.state() == state, "a second reading differs");
    for (std::size_t i = 0; i < reached.size(); ++i)
      check(reached[i]->useCount() == counts[i], std::string(reached[i]->typeData().name()) + ": use count changed by reading");

    // Whatever a mirror accepted, our own writer can send on, and a second mirror reaches the same state.
    if (!m.roots.empty()) {
      Mirror again;
      {
        Vem::NboAttrLog::Sender sender;
        for (const auto& r : m.roots) sender.attach(r);
        sender.flowOut();
        check(!sender.withheld(), "an unlimited sender withheld output");
        try {
          again.demuxer.feed(sender.output());
        } catch (const Vem::RangeException& e) {
          Fuzz::fail(std::string("our own output of an accepted mirror is refused: ") + e.what());
        }
      }
      check(again.state() == state, "a mirror sent on does not converge:\n" + state + "---\n" + again.state());
    }
  }
  // The demuxers and roots are gone: every mirror is held by our list alone once its owners are dropped.
  Fuzz::releaseChecked(reached);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  run(data, size);
  return 0;
}
