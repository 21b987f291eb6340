// The page of a statistic that people read.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "damo/damo_statistic.h"
#include "damo/output/damo_output_internal.h"
#include "damo/statistic/damo_field_stats_internal.h"
#include "tera/tera_utf.h"

namespace {

constexpr std::size_t TOP_CHARACTERS = 24;
constexpr int LONG_VALUE = 20;  // times the median length

double percent(Huge part, Huge whole) {
  return whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

bool is_control(int character) {
  return character < ' ' || character == 127;
}

std::string shown(int character, bool is_utf) {
  if (character == ' ') return "blank";
  if (!is_control(character) && (is_utf || character < 128)) {
    char text[TeraUtf::MAX_SIZE + 1] = {};
    TeraUtf::from_uni(character, text);
    return text;
  }
  char text[16];
  std::snprintf(text, sizeof text, is_utf ? "U+%04X" : "0x%02X", static_cast<unsigned>(character));
  return text;
}

void write_numbers(DamoOutput* out, const char* what, const DamoCounts& counts) {
  const Huge total = counts.total();
  if (total == 0) return;
  out->printf("    %-12s %d to %d, half of them up to %d, 99 of 100 up to %d\n", what, counts.at_rank(0),
              counts.at_rank(total - 1), counts.at_rank((total - 1) / 2),
              counts.at_rank((total - 1) * 99 / 100));
}

void write_characters(DamoOutput* out, const DamoCounts& counts, bool is_utf) {
  std::vector<std::pair<Huge, int>> top;
  counts.for_each([&top](int character, Huge times) { top.emplace_back(-times, character); });
  if (top.empty()) return;
  std::sort(top.begin(), top.end());
  const Huge total = counts.total();
  out->printf("    characters   %zu different:", top.size());
  for (std::size_t i = 0; i < std::min(top.size(), TOP_CHARACTERS); ++i)
    out->printf(" %s %.1f %%%s", shown(top[i].second, is_utf).c_str(), percent(-top[i].first, total),
                i + 1 < std::min(top.size(), TOP_CHARACTERS) ? "," : "");
  out->printf(top.size() > TOP_CHARACTERS ? ", ...\n" : "\n");
}

Huge count_if(const DamoCounts& counts, bool (*wanted)(int)) {
  Huge sum = 0;
  counts.for_each([&](int number, Huge times) { sum += wanted(number) ? times : 0; });
  return sum;
}

}  // namespace

int DamoStatistic::write_page(const char* file) const {
  DamoOutput out(file);
  out.printf("%ld lines, %ld of them bad (another number of fields, or refused by the source's reader)\n",
             numLines, numBadLines);
  for (std::size_t i = 0; i < fieldNames.size(); ++i) {
    const FieldStats& stats = fieldStats[i];
    const Huge numValues = stats.aliases.total();
    const DamoCounts characters = stats.characters(isUtf != 0);
    out.printf("\n%s\n    values       %ld in %ld runs of equal ones, %ld lines without (%.1f %%)\n",
               fieldNames[i].c_str(), numValues, stats.numIntervals, stats.numEmpty,
               percent(stats.numEmpty, numValues + stats.numEmpty));
    write_numbers(&out, "bytes", stats.lengths);
    write_numbers(&out, "words", stats.words);
    if (stats.numAliases > numValues) write_numbers(&out, "alternatives", stats.aliases);
    write_characters(&out, characters, isUtf != 0);
    const auto suspect = [&out](bool is_suspicious, const char* text) {
      if (is_suspicious) out.printf("    suspicious:  %s\n", text);
    };
    const Huge numAlternatives = stats.lengths.total();
    suspect(numValues == 0 && numLines > numBadLines, "always empty");
    suspect(numValues > 0 && stats.numEmpty > numValues, "mostly empty");
    suspect(numValues > 1 && stats.numIntervals == 1, "one value only");
    suspect(count_if(characters, is_control) > 0, "control characters");
    suspect(isUtf != 0 && count_if(characters, [](int c) { return c == INVALID_CHARACTER; }) > 0,
            "bytes that are no UTF-8");
    suspect(isUtf == 0 && count_if(characters, [](int c) { return c > 127; }) > 0,
            "bytes above 127: of which character set?");
    suspect(stats.numAliases > numValues, "'|', which divides alternatives");
    suspect(
        numAlternatives > 0 && stats.lengths.at_rank(numAlternatives - 1) >
                                   LONG_VALUE * std::max(stats.lengths.at_rank((numAlternatives - 1) / 2), 1),
        "values that are much longer than the others");
  }
  out.commit();
  return 0;
}
