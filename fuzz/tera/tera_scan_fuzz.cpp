// Any text through the splitter, the scan of an edit index, the deduplication of its graph, and
// decomposition. The first two bytes say how. Paths: operators that are not closed, characters without
// tokens, completion points, words that are cut short, graphs without nodes, spans whose results are equal.
#include <cstdlib>
#include <memory>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "tera/tera_decompose.h"
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

constexpr std::size_t MAX_SIZE = 120;

struct Index {
  Index() {
    AceReporter::clear_default();
    map.copy(&fuzz::letters());
    std::string lines = "1\tabba\n2\tabbe\n3\tcafe\n4\tcade\n5\tfeeb\n6\ta\n7\tab\n8\tba\n9\tabba cafe\n";
    AceInput input(lines.data(), true);
    TeraStandardReader reader(&input, 16);
    if (edit.make(&reader, &map, 0, 0, 0, 0, nullptr, nullptr) < 0) std::abort();
  }
  TeraMap map;
  TeraEdit edit;
};

void scan(const Index& index, const std::string& text, int how, int min) {
  TeraSplitResult split(text.c_str(), how & (TeraSplitter::NO_OPERATORS | 16 | 32 | 128), &index.map, "-",
                        "+");
  for (int i = 1; i < split.numNodes; ++i)  // nodes ascend within the text
    if (split.nodePos[i].litIn < split.nodePos[i - 1].litIn ||
        split.nodePos[i].litIn > static_cast<int>(text.size()))
      std::abort();
  TeraScanGraph graph(0, text.c_str(), min, 20, 100, 0);
  const bool isFull = (how & 2) != 0;
  const int rc = isFull ? index.edit.full_scan(&graph, TeraEval::REDUNDANT, 0, &split, 100, nullptr)
                        : index.edit.scan(&graph, TeraEval::REDUNDANT, 0, &split, 100, nullptr);
  if (rc >= 0) graph.dedup_resolved((how & 4) != 0);
}

void decompose(const Index& index, const std::string& text, int min) {
  TeraResult result(text.c_str(), min, 20, 100);
  const auto recall = [&](TeraResult* part, TeraDecompose::Direction, TeraEval::Model model) {
    index.edit.recall(part, TeraEval::LEVENSHTEIN, model, nullptr);
  };
  TeraDecompose::decompose(&result, 1, 1, TeraEval::MAXIMUM, &index.map, recall);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const Index index;
  if (size < 2 || size > MAX_SIZE) return 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
  const std::string text(rest.c_str());  // up to a zero byte
  try {
    if (data[0] % 2 == 0)
      scan(index, text, data[0], data[1]);
    else
      decompose(index, text, data[1]);
  } catch (const AceException&) {
  }
  return 0;
}
