// Hostile saved edit indexes, which are asked when they can be read; and lists of entries, of which every
// layout must give the same answers. The first byte says which, and how. A saved index is put over the image
// of a sound one, so that small changes get far.
#include <algorithm>
#include <climits>
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
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_transform.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"

namespace {

struct Layout {
  int filter, options;
};
constexpr Layout LAYOUTS[] = {
    {0, 0}, {0, TeraEdit::COMPACT | TeraEdit::REVERSE},    {0, TeraEdit::NO_STRINGS},
    {1, 0}, {3, TeraEdit::NO_STRINGS | TeraEdit::REVERSE}, {5, TeraEdit::REVERSE},
};
constexpr int NUM_LAYOUTS = sizeof LAYOUTS / sizeof LAYOUTS[0];

/// False for lines that are no entries.
bool build(TeraEdit* edit, std::string lines, Layout layout, int more) {
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 16);
  return edit->make(&reader, nullptr, layout.filter, 1, layout.options | more, 0, nullptr, nullptr) >= 0;
}

const std::string& image(int layout) {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> images;
    PhoneTransform soundex(PhoneTransform::UTF_SOUNDEX);
    for (const Layout& made : LAYOUTS) {
      TeraEdit edit(&fuzz::letters(), &soundex);
      build(&edit, "1\tabba\n2\tabbe\n3\tcafe\n4\tcade\n5\tfeeb\n6\ta\n7\thagggahh\n", made, 0);
      std::string bytes(static_cast<std::size_t>(edit.size()), '\0');
      edit.collect(bytes.data(), static_cast<Huge>(bytes.size()));
      images.push_back(bytes);
    }
    return images;
  }();
  return all[static_cast<std::size_t>(layout)];
}

using Found = std::multimap<Large, int>;

Found recall(const TeraEdit& edit, const std::string& query, int mode, int model, int min, int options) {
  TeraResult result(query.c_str(), min, TeraResult::MAX_CANDS, TeraResult::MAX_VALUE);
  edit.recall(&result, static_cast<TeraEval::Mode>(mode), static_cast<TeraEval::Model>(model), 0, 0, options,
              60, nullptr);
  Found found;
  result.find_any([&](int quality, const TeraCand* cand) {
    for (Large i = 0; i < cand->get_num_infos(); ++i) found.emplace(cand->get_info(i), quality);
    return false;
  });
  return found;
}

void read_damaged(int layout, const std::string& changes) {
  std::string bytes = image(layout);
  // Pairs of an offset and a byte, of which an offset behind the end cuts; the highest bit of an offset makes
  // the byte stand for a number that calculations do not expect, in the aligned word there.
  constexpr int HOSTILE[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, 0x10000, INT_MAX - 1, INT_MAX};
  for (std::size_t i = 0; i + 2 < changes.size(); i += 3) {
    const std::size_t at =
        static_cast<unsigned char>(changes[i]) << 8 | static_cast<unsigned char>(changes[i + 1]);
    const std::size_t word = (at & 0x7FFF) / sizeof(int) * sizeof(int);
    if (at >= 0x8000 && word + sizeof(int) <= bytes.size())
      std::memcpy(bytes.data() + word, &HOSTILE[static_cast<unsigned char>(changes[i + 2]) % 8], sizeof(int));
    else if (at < bytes.size())
      bytes[at] = changes[i + 2];
    else
      bytes.resize(bytes.size() - std::min(bytes.size(), at % 7));
  }
  TeraEdit edit;
  if (edit.read_with_magic(bytes.data(), bytes.size()) < 0) return;
  for (const int mode : {TeraEval::EXACT, TeraEval::LEVENSHTEIN, TeraEval::MID, TeraEval::SUPERSET})
    recall(edit, "abbe", mode, TeraEval::MAXIMUM, 60, 0);
  recall(edit, "?a*", TeraEval::WILDCARD, TeraEval::MAXIMUM, 1, 0);
  edit.stats(nullptr);
}

/// A line of settings, the query, and the entries.
void compare_layouts(int layout, const std::string& text) {
  if (text.size() < 4) return;
  const std::size_t end = std::min(text.find('\n', 3), text.size());
  const std::string query = text.substr(3, end - 3);
  const std::string entries = text.substr(end);
  const int mode = static_cast<unsigned char>(text[0]) % (TeraEval::BLOCKEDIT + 1);
  const int model = static_cast<unsigned char>(text[1]) % TeraEval::BIAS;
  const int min = static_cast<unsigned char>(text[2]);
  const int more = mode % 2 == 0 ? 0 : TeraEdit::ALLOW_ALT;
  TeraEdit plain(&fuzz::letters(), nullptr);
  TeraEdit other(&fuzz::letters(), nullptr);
  if (!build(&plain, entries, LAYOUTS[0], more)) return;
  if (!build(&other, entries, LAYOUTS[layout], more)) std::abort();
  // With operators in its entries, an index without strings finds patterns where others compare texts.
  if (mode == TeraEval::EXACT && more != 0) return;
  for (const int options : {0, 2})
    if (recall(plain, query, mode, model, min, options) != recall(other, query, mode, model, min, options))
      std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  fuzz::letters();
  const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  const int layout = data[0] / 2 % NUM_LAYOUTS;
  try {
    data[0] % 2 == 0 ? read_damaged(layout, rest) : compare_layouts(layout, rest);
  } catch (const AceException&) {
  }
  return 0;
}
