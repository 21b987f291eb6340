// Hostile saved automaton indexes, which are asked when they can be read; and lists of entries, of which
// every form must give the same answers. The first byte says which, and how. A saved index is put over the
// image of a sound one, so that small changes get far.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "tera/tera_auto.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_transform.h"
#include "tera/tera_reader.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int FORMS[] = {0, TeraAuto::PATH_COMPRESS, TeraAuto::BIDIRECT,
                         TeraAuto::BIDIRECT | TeraAuto::PATH_COMPRESS};
constexpr int NUM_FORMS = sizeof FORMS / sizeof FORMS[0];

bool build(TeraAuto* automaton, std::string lines, int options) {
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 16);
  return automaton->make(&reader, nullptr, 99, options, nullptr, nullptr, nullptr) >= 0;
}

const std::string& image(int form) {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> images;
    PhoneTransform soundex(PhoneTransform::UTF_SOUNDEX);
    for (const int options : FORMS) {
      TeraAuto automaton(&fuzz::letters(), &soundex);
      build(&automaton, "1\tabba\n2\tabbe\n3\tcafe\n4\tcade\n5\tfeeb\n6\ta\n7\thagggahh\n", options);
      std::string bytes(static_cast<std::size_t>(automaton.size()), '\0');
      automaton.collect(bytes.data(), static_cast<Huge>(bytes.size()));
      images.push_back(bytes);
    }
    return images;
  }();
  return all[static_cast<std::size_t>(form)];
}

using Found = std::map<std::string, int>;

Found recall(const TeraAuto& automaton, const std::string& query, TeraEval::Mode mode, int edits) {
  TeraResult result(query.c_str(), 60, TeraResult::MAX_CANDS, 255);
  automaton.recall(&result, mode, TeraEval::MAXIMUM, TeraAutoRecall::TRANSPOSE, edits, 0, nullptr, 50);
  Found found;
  result.find_any([&](int quality, const TeraCand* cand) {
    found[cand->represent()] = quality;
    return false;
  });
  return found;
}

void ask(const TeraAuto& automaton, const std::string& query) {
  for (const TeraEval::Mode mode :
       {TeraEval::LEVENSHTEIN, TeraEval::MID, TeraEval::BACK, TeraEval::SEQ, TeraEval::EXACT})
    recall(automaton, query, mode, 2);
  AceAttach at;
  for (Large i = 0; i < std::min<Large>(automaton.get_capacity(), 20); ++i) {
    automaton.get_entry(i, &at);
    automaton.get_string(i, &at);
  }
  char* completions[5];
  automaton.complete(query.c_str(), 5, completions, &at);
  TeraResult result(query.c_str(), 0, 20, 255);
  automaton.interval(&result, 5, 0);
  TeraScanGraph graph(0, query.c_str(), 128, 10, 255, -1);
  automaton.scan(&graph, TeraEval::MAXIMUM, 0, 1, 50);
}

/// Three bytes a change: where, and what.
void use_image(int form, const std::uint8_t* data, std::size_t size) {
  std::string bytes = image(form);
  for (; size >= 3; data += 3, size -= 3) {
    const std::size_t at = (data[0] << 8 | data[1]) % bytes.size();
    bytes[bytes.size() - 1 - at] = static_cast<char>(data[2]);
  }
  TeraAuto automaton;
  try {
    if (automaton.read_with_magic(bytes.data(), bytes.size()) < 0) return;
    automaton.verify(AceReporter::use_default());
    for (const char* query : {"abba", "[ac]*e", "cafe de"}) ask(automaton, query);
  } catch (const AceException&) {
  }
}

void use_lines(const std::string& text) {
  const std::string query = text.substr(0, text.find('\n'));
  if (query.size() > 60) return;
  std::vector<Found> answers;
  for (const int options : FORMS) {
    TeraAuto automaton(&fuzz::letters(), nullptr);
    if (!build(&automaton, text, options)) return;
    if (automaton.verify(AceReporter::use_default()) < 0) std::abort();
    ask(automaton, query);
    Found all;
    for (const TeraEval::Mode mode : {TeraEval::LEVENSHTEIN, TeraEval::SUFFIX, TeraEval::BACK})
      for (const auto& [string, quality] : recall(automaton, query, mode, 2))
        all[std::to_string(mode) + string] = quality;
    answers.push_back(all);
  }
  for (const Found& answer : answers)
    if (answer != answers[0]) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::letters();
  if (size < 1 || size > 2000) return 0;
  if (data[0] % 2 == 0)
    use_image(data[0] / 2 % NUM_FORMS, data + 1, size - 1);
  else
    use_lines({reinterpret_cast<const char*>(data) + 1, size - 1});
  return 0;
}
