// Writes the seed corpora of the fuzz targets with our own writers: streams of the attribute-log
// sender for every entity type that can be built by name (whole state, changes, interrupted passes with
// their markers, replaced children), text forms of samples of every type with one, messages of the
// protocol-buffer writer, and the shipped module definitions.
//
//   fuzz_seeds OUTDIR     writes OUTDIR/{attrlog,textform,pb,vemc}/
#include "FuzzSupport.h"

#include <L2Rib/ObjTuple.h>
#include <Lumo/Pb.h>
#include <Orv/OrvPortGroupTypes.h>
#include <Vem/GenericIf.h>
#include <Vem/NboAttrLogSa.h>
#include <fuzz/FuzzTypes.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Corpus {
  fs::path dir;
  int n = 0;
  Corpus(const fs::path& root, const char* name) : dir(root / name) { fs::create_directories(dir); }
  void add(std::string_view bytes) {
    char name[32];
    std::snprintf(name, sizeof name, "seed-%04d", n++);
    std::ofstream(dir / name, std::ios::binary) << bytes;
  }
};

// Everything a sender writes while the transport takes what the room allows, resuming after each take;
// `change` runs between takes (with the take's number) to change the entity while output is withheld.
template <class Change>
std::string stream(const std::vector<Lumo::Ptr<Vem::Entity>>& roots, std::size_t room, Change&& change) {
  Vem::NboAttrLog::Sender sender(room);
  for (const auto& r : roots) sender.attach(r);
  std::string out;
  for (int take = 0; sender.buffered() != 0 || sender.withheld(); ++take) {
    out += sender.output();
    sender.consume(sender.buffered());
    change(take);
    sender.flowOut();
    if (take > 10000) break;
  }
  return out;
}

std::string stream(const std::vector<Lumo::Ptr<Vem::Entity>>& roots, std::size_t room) {
  return stream(roots, room, [](int) {});
}

void attrlog(Corpus& c) {
  using Vem::NboAttrLog::Sender;
  uint32_t seed = 1;
  for (const Vem::VemType& t : Fuzz::constructibleEntityTypes()) {
    Vem::GenericEntity e = Vem::GenericEntity::create(t.name(), Lumo::String("seed"));
    Fuzz::fill(e, 2, 2, seed++);
    c.add(stream({e.entity()}, Sender::kUnlimited));
    // Whole state, then changes sent as the flow allows.
    c.add(stream({e.entity()}, 256, [&](int take) {
      if (take == 1) Fuzz::fill(e, 3, 1, seed++);
    }));
  }
  // A port-group tree: instantiating collections three deep, interrupted passes, a child replaced while
  // its output was withheld, deletions.
  auto dir = Orv::portGroupDirFactory("dir");
  dir->generateActivePortsListIs(true);
  for (int g = 0; g < 3; ++g) {
    auto group = dir->portGroupIs("g" + std::to_string(g));
    group->defaultModeIs("m0");
    group->limitationsIs("l", "only two");
    for (int m = 0; m < 2; ++m) {
      auto mode = group->modeIs("m" + std::to_string(m));
      for (int p = 0; p < 4; ++p) mode->portsIs("Et" + std::to_string(p), p % 2 == 0);
    }
  }
  c.add(stream({dir}, 100, [&](int take) {
    if (take == 2) {
      dir->portGroup("g1")->modeDel("m0");
      dir->portGroup("g1")->modeIs("m0")->portsIs("Et9", true);
      dir->portGroupDel("g2");
      dir->portGroup("g0")->mode("m1")->portsDel("Et0");
      dir->noActiveInactiveDuplicatesIs(true);
    }
  }));
  // Values holding collections as attributes, and two roots on one stream.
  auto holder = Fuzz::holderFactory("h");
  VemTest::Membership membership;
  for (uint32_t i = 0; i < 4; ++i) {
    membership.vlanIs(i + 1, 100 * i);
    membership.namesIs("n" + std::to_string(i), i % 2 == 0);
  }
  holder->membershipIs(membership);
  holder->taggedIs(3, VemTest::Inner::Tagged());
  holder->leafIs("l1")->weightIs(5);
  c.add(stream({holder, dir}, Sender::kUnlimited));
  c.add(stream({holder}, 40, [&](int take) {
    if (take == 1) holder->membershipIs(VemTest::Membership());
  }));
}

void textform(Corpus& c) {
  const auto types = Fuzz::textTypes();
  for (std::size_t i = 0; i < types.size(); ++i)
    for (uint32_t seed : {0u, 5u}) {
      std::string s{static_cast<char>(i >> 8), static_cast<char>(i & 0xff)};
      c.add(s + Fuzz::sample(types[i], seed).text().stdString());
    }
  for (const char* key : {"acl-1-ip-in(std=false,vlanId=5,aclGroup=g)", "a-ipv6-out(std=true,vlanId=0,aclGroup=x))y",
                          "n-mac-in(std=false,vlanId=99999999999,aclGroup=g) tail"})
    c.add(std::string("\xff\x00", 2) + key);
}

void pb(Corpus& c) {
  std::string m;
  Lumo::Pb::Writer w(m);
  w.fieldVarint(1, 150);
  w.fieldSint64(2, -3);
  w.fieldFixed32(3, 0xdeadbeef);
  w.fieldFixed64(4, ~0ull);
  std::string inner;
  Lumo::Pb::Writer wi(inner);
  wi.fieldVarint(1, 1);
  wi.fieldBytes(2, "text");
  w.fieldBytes(5, inner);
  w.fieldVarint(Lumo::Pb::kMaxFieldNumber, 1ull << 63);
  c.add(std::string(1, '\0') + m);
  for (uint64_t v : {0ull, 1ull, 300ull, ~0ull}) {
    std::string t;
    Lumo::Pb::Writer wt(t);
    L2Rib::ObjTuple(v).writeMessage(wt);
    wt.fieldBytes(7, "unknown");
    c.add(std::string(1, '\1') + t);
  }
}

void vemc(Corpus& c) {
  for (const char* dir : {"Orv", "platform", "tests/modules", "fuzz"})
    for (const auto& f : fs::recursive_directory_iterator(fs::path(VEM_SOURCE_DIR) / dir))
      if (f.path().extension() == ".vem") {
        std::ifstream in(f.path(), std::ios::binary);
        c.add(std::string(std::istreambuf_iterator<char>(in), {}));
      }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds OUTDIR\n");
    return 2;
  }
  const fs::path root = argv[1];
  Corpus a(root, "attrlog"), t(root, "textform"), p(root, "pb"), v(root, "vemc");
  attrlog(a);
  textform(t);
  pb(p);
  vemc(v);
  std::printf("seeds: attrlog %d, textform %d, pb %d, vemc %d\n", a.n, t.n, p.n, v.n);
  return 0;
}
