// Parsing ACL key texts: our scan-based parser, Orv::AclKey(Vem::CharRange&), against the same parse
// done with std::regex and the expression that defines the text form. That definition compiles the
// expression on every call, which is the anchor of the target; a second anchor compiles it once, to
// show what is left when that cost is taken away. Every parse builds the key (or raises the same
// error) from each text of one fixed, generated set of valid and malformed texts; before any timing,
// every text is parsed each way and the results compared.
#include "AclKeyTexts.h"

#include <Orv/OrvAclQuarnTypes.h>
#include <Vem/CharRange.h>
#include <Vem/RangeException.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// GCC's std::regex draws a false "may be used uninitialized" warning from inside its own headers.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>
#pragma GCC diagnostic pop

namespace {

const std::regex& compiledOnce() {
  static const std::regex e(AclKeyTexts::kExpression, std::regex::ECMAScript);
  return e;
}

std::string_view group(const std::smatch& m, int i) { return std::string_view(m[i].first, m[i].second); }

// The parse as the text form defines it: search, convert the VLAN id with std::stoi, bound it, build.
Orv::AclKey regexParseWith(const std::regex& expression, const std::string& text, std::size_t& length) {
  std::smatch m;
  if (!std::regex_search(text, m, expression)) throw Vem::RangeException("Invalid AclKey");
  const int vlan = std::stoi(m[5].str());
  const Orv::AclVlanIdOrNone vlanId(static_cast<uint16_t>(std::min(vlan, 0xffff)));
  length = static_cast<std::size_t>(m.position(0) + m.length(0));
  return Orv::AclKey(Lumo::String(group(m, 1)), Acl::AclTypeInstance(group(m, 2)), Acl::AclDirectionInstance(group(m, 3)),
                     group(m, 4) == "true", vlanId, Lumo::String(group(m, 6)));
}

// As defined: the expression compiled for every text.
Orv::AclKey regexParse(const std::string& text, std::size_t& length) {
  const std::regex expression(AclKeyTexts::kExpression, std::regex::ECMAScript);
  return regexParseWith(expression, text, length);
}
Orv::AclKey regexParseCompiledOnce(const std::string& text, std::size_t& length) {
  return regexParseWith(compiledOnce(), text, length);
}

Orv::AclKey ourParse(const std::string& text, std::size_t& length) {
  Vem::CharRange range(text);
  Orv::AclKey key(range);
  length = range.offset();
  return key;
}

// What one parse gives: the key and the length read, or the error's kind and message.
struct Outcome {
  bool parsed = false;
  Orv::AclKey key;
  std::size_t length = 0;
  std::string error;
  bool operator==(const Outcome&) const = default;
};

template <class Parse>
Outcome outcomeOf(Parse parse, const std::string& text) {
  Outcome o;
  try {
    o.key = parse(text, o.length);
    o.parsed = true;
  } catch (const Vem::RangeException& e) {
    o.error = std::string("range: ") + e.what();
  } catch (const std::out_of_range& e) {
    o.error = std::string("out of range: ") + e.what();
  }
  return o;
}

struct TextSet {
  std::vector<std::string> all;     // generated: valid keys, mutated keys, fragment shuffles
  std::vector<std::string> parsed;  // the texts of `all` that parse
  std::string disagreement;         // the first text the two parses disagree on, if any
};

const TextSet& texts() {
  static const TextSet set = [] {
    TextSet s;
    AclKeyTexts::TextGenerator gen(20240611u);
    s.all = AclKeyTexts::generate(gen, 1000, 1500, 500);
    for (const std::string& text : s.all) {
      const Outcome ours = outcomeOf(ourParse, text);
      const bool agree = ours == outcomeOf(regexParse, text) && ours == outcomeOf(regexParseCompiledOnce, text);
      if (!agree && s.disagreement.empty()) s.disagreement = text;
      if (ours.parsed) s.parsed.push_back(text);
    }
    return s;
  }();
  return set;
}

template <class Parse>
void parseLoop(benchmark::State& state, Parse parse, const std::vector<std::string>& set) {
  if (!texts().disagreement.empty()) {
    state.SkipWithError(("the parses disagree on \"" + texts().disagreement + "\"").c_str());
    return;
  }
  std::size_t i = 0;
  for (auto _ : state) {
    std::size_t length = 0;
    try {
      Orv::AclKey key = parse(set[i], length);
      benchmark::DoNotOptimize(key);
    } catch (const std::exception& e) {
      benchmark::DoNotOptimize(e.what());
    }
    benchmark::DoNotOptimize(length);
    if (++i == set.size()) i = 0;
  }
  state.counters["texts"] = static_cast<double>(set.size());
  state.counters["parsing"] = static_cast<double>(&set == &texts().parsed ? set.size() : texts().parsed.size());
}

void BM_AclKeyParse_Ours(benchmark::State& state) { parseLoop(state, ourParse, texts().all); }
void BM_AclKeyParse_Regex(benchmark::State& state) { parseLoop(state, regexParse, texts().all); }
void BM_AclKeyParse_RegexCompiledOnce(benchmark::State& state) { parseLoop(state, regexParseCompiledOnce, texts().all); }
// The texts that parse, without the cost of raising an error, which every side shares.
void BM_AclKeyParseValid_Ours(benchmark::State& state) { parseLoop(state, ourParse, texts().parsed); }
void BM_AclKeyParseValid_Regex(benchmark::State& state) { parseLoop(state, regexParse, texts().parsed); }
void BM_AclKeyParseValid_RegexCompiledOnce(benchmark::State& state) {
  parseLoop(state, regexParseCompiledOnce, texts().parsed);
}

BENCHMARK(BM_AclKeyParse_Ours);
BENCHMARK(BM_AclKeyParse_Regex);
BENCHMARK(BM_AclKeyParse_RegexCompiledOnce);
BENCHMARK(BM_AclKeyParseValid_Ours);
BENCHMARK(BM_AclKeyParseValid_Regex);
BENCHMARK(BM_AclKeyParseValid_RegexCompiledOnce);

}  // namespace

BENCHMARK_MAIN();
