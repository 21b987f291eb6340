#include "tera/tera_convert_map.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "tera/tera_utf.h"
#include "tera/text/tera_pinyin_internal.h"

namespace {

const char* sound_of(int uni, std::span<const ConvertMap> rows) {
  const auto row = std::ranges::lower_bound(rows, uni, {}, &ConvertMap::uni);
  return row != rows.end() && row->uni == uni && row->sound != nullptr ? row->sound : "";
}

/// Calls `use` with the sound of every character of `text`, up to an invalid one, which is thrown.
template <class Use>
void for_each_sound(const char* text, std::span<const ConvertMap> rows, Use use) {
  int uni = 0;
  while (*text != 0) {
    text += TeraUtf::to_uni(&uni, text);
    use(sound_of(uni, rows));
  }
}

}  // namespace

char* ConvertMap::convert(const char* query, const ConvertMap* cmap, int num, AceAttach* at) {
  if (query == nullptr) return nullptr;
  const std::span rows(cmap, cmap != nullptr && num > 0 ? static_cast<std::size_t>(num) : 0);
  std::size_t size = 0;
  try {
    for_each_sound(query, rows, [&](const char* text) { size += std::strlen(text); });
  } catch (const AceException& invalid) {
    invalid.print(AceReporter::use_default());
  }
  char* result = nullptr;
  char* out = at->malloc(result, static_cast<long>(size) + 1);
  int code = 0;
  for (int step = 0; *query != 0 && (step = TeraUtf::decode(&code, query)) != 0; query += step)
    out = stpcpy(out, sound_of(code, rows));
  *out = 0;
  return result;
}

std::span<const ConvertMap> tera_pinyin_map() {
  static const std::vector<ConvertMap> rows = [] {
    std::vector<ConvertMap> unpacked;
    unpacked.reserve(static_cast<std::size_t>(tera_num_pinyin));
    for (const Large row : std::span(tera_pinyin_rows, static_cast<std::size_t>(tera_num_pinyin))) {
      const Large syllable = row & ((1U << tera_pinyin_syllable_bits) - 1);
      unpacked.push_back(
          {static_cast<int>(row >> tera_pinyin_syllable_bits), tera_pinyin_syllables[syllable]});
    }
    return unpacked;
  }();
  return rows;
}
