// Hostile tables and texts. The input is a kind (one byte), three texts, each ended by a zero byte, and the
// lines of a table. Whatever they are: the order of the texts is a weak one, what starts with a key is
// compared alike by both comparisons, and the Unicode order is that of the weights.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_unicode.h"

namespace {

void require(bool isTrue) {
  if (!isTrue) std::abort();
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

void use(const TeraCollation& order, const std::vector<std::string>& texts) {
  const auto compare = [&](size_t i, size_t j) {
    return sign(order.compare_sort(texts[i].c_str(), texts[j].c_str(), 0));
  };
  for (size_t i = 0; i < texts.size(); ++i)
    for (size_t j = 0; j < texts.size(); ++j) {
      const int limit = order.compare_limit(texts[i].c_str(), texts[j].c_str(), 0);
      require(compare(i, j) == -compare(j, i));
      require(compare(i, j) != 0 || limit == 0);
      require(limit == 0 || sign(limit) == compare(i, j));
      for (size_t k = 0; k < texts.size(); ++k)
        require(compare(i, j) > 0 || compare(j, k) > 0 || compare(i, k) <= 0);
    }
}

std::vector<Large> weights_of(const TeraUnicode& order, const std::string& text) {
  std::vector<Large> weights;
  for (int level = 0; level < TeraUnicode::LEVEL; ++level) {
    for (const char* place = text.c_str(); *place != 0;) {
      const TeraUnicode::CollElem* elements = nullptr;
      TeraUnicode::CollElem own{};
      const int count = order.get_coll_elem(&place, &elements, &own);
      for (int i = 0; i < count; ++i)
        if (elements[i].weights[level] != 0) weights.push_back(elements[i].weights[level]);
    }
    weights.push_back(0);
  }
  return weights;
}

void use_table(const std::string& table, bool isUtf, const std::vector<std::string>& texts) {
  static const support::TempFolder folder;
  static const std::string name = folder.file("table.txt");
  support::write_file(name, table);
  TeraUnicode order("fuzz");
  order.load(name.c_str(), isUtf ? "utf-8" : "cp1252");
  use(order, texts);
  for (const std::string& a : texts)
    for (const std::string& b : texts) {
      const auto comparison = weights_of(order, a) <=> weights_of(order, b);
      require(sign(order.compare_sort(a.c_str(), b.c_str(), 0)) == (comparison > 0) - (comparison < 0));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static const char* const names[] = {"ascii",
                                      "numeric_en",
                                      "numeric_ch",
                                      "numeric_de",
                                      "multi_price_en",
                                      "multi_price_de",
                                      "date: y-m-d",
                                      "date: dd.mm.yyyy",
                                      "date: d/m/yyyy",
                                      "date: d month yyyy",
                                      "date: month d yyyy",
                                      "date: d. month yyyy",
                                      "date: month dst yyyy"};
  constexpr size_t NUM_NAMES = sizeof names / sizeof *names;
  if (size == 0) return 0;
  AceReporter::clear_default();
  const size_t kind = data[0];
  std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::vector<std::string> texts;
  for (int i = 0; i < 3; ++i) {
    const size_t end = std::min(rest.find('\0'), rest.size());
    texts.push_back(rest.substr(0, end));
    rest.erase(0, end + 1);
  }
  if (kind % (NUM_NAMES + 2) >= NUM_NAMES) {
    use_table(rest, kind % 2 == 0, texts);
    return 0;
  }
  TeraCollation* order = TeraCollation::factory(names[kind % (NUM_NAMES + 2)]);
  use(*order, texts);
  order->destroy();
  return 0;
}
