// Payloads of multi-word indexes with any bytes changed, and any query: refused, or answered within bounds.
// The first byte says how the query is asked; then the query's line; then patches, four bytes each: an offset
// of two bytes, how many bits to turn, and a byte. Paths: heads, codes, lists, starts and lengths that lie;
// joined words and parts; abbreviations, unfinished and unclosed words; free texts.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "tera/tera_map_config.h"
#include "tera/tera_multi.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_words_reader.h"

namespace {

constexpr std::size_t MAX_SIZE = 200;

/// The file of an index with everything in it.
struct Image {
  Image() {
    AceReporter::clear_default();
    const TeraMap& map = fuzz::letters();
    std::string lines = "1\tabba cafe\n2\tab-ba cade\n3\tfeeb\n5\ta. cafe abba\n6\tcafe\n7\tba de\n";
    AceInput input(lines.data(), true);
    TeraStandardReader reader(&input, 16);
    WordsReader words(&reader, nullptr);
    TeraMulti multi;
    multi.init(&map, ' ', nullptr, false);
    constexpr int options = TeraMulti::MAKE_INFO | TeraMulti::FAST_SINGLE | TeraMulti::MERGE_ENTRIES;
    if (multi.make_reader(&words, nullptr, ' ', 0, 0, options, "-", 2, 100, 40, nullptr, nullptr, nullptr,
                          nullptr, 190) < 0)
      std::abort();
    const VInt size = multi.size();
    bytes.resize(static_cast<std::size_t>(size) / sizeof(VInt) + 1);
    length =
        multi.collect(reinterpret_cast<char*>(bytes.data()), static_cast<Huge>(bytes.size() * sizeof(VInt)));
  }
  std::vector<VInt> bytes;
  VInt length = 0;
};

void ask(const TeraMulti& multi, const std::string& query, int how) {
  const int options = (how & 3) | (how & 4) << 15 | (how & 8) << 15 | (how & 16) << 18 | (how & 32) << 16;
  TeraResult result(query.c_str(), 140, 10, 255);
  multi.recall(&result, options, TeraEval::SHORT, AceReporter::null(), 140, 3, 50, "~");
  TeraResult single(query.c_str(), 140, 10, 255);
  multi.single_recall(&single, options, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 3, 50, AceReporter::null());
  delete multi.exact(query.c_str(), options, AceReporter::null());
  TeraScanGraph graph(0, query.c_str(), 140, 10, 255, 0);
  multi.multi_detect(&graph, options, TeraEval::SHORT, 140, 3, 50, nullptr, AceReporter::null());
  AceAttach at;
  for (Large line = 0; line < 10; ++line) multi.get_multiword(line, &at);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const Image image;
  if (size < 2 || size > MAX_SIZE) return 0;
  const std::string all(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t end = std::min(all.find('\n'), all.size());
  std::vector<VInt> copy = image.bytes;
  auto* const bytes = reinterpret_cast<unsigned char*>(copy.data());
  for (std::size_t i = end + 1; i + 4 <= all.size(); i += 4) {
    std::size_t place = static_cast<unsigned char>(all[i]) << 8 | static_cast<unsigned char>(all[i + 1]);
    place %= static_cast<std::size_t>(image.length);
    if (place >= 4)
      bytes[place] = static_cast<unsigned char>(all[i + 2] != 0 ? bytes[place] ^ all[i + 2] : all[i + 3]);
  }
  TeraMulti multi;
  try {
    if (multi.read_with_magic(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(image.length)) <
        0)
      return 0;
    ask(multi, all.substr(0, end), data[0]);
    multi.verify(AceReporter::null());
  } catch (const AceException&) {
  }
  return 0;
}
