#include "damo/damo_statistic.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

#include "damo/output/damo_output_internal.h"
#include "damo/statistic/damo_field_stats_internal.h"
#include "damo/text/damo_scan_internal.h"
#include "tera/tera_utf.h"

namespace {

/// `visit(part)` for what lies between separators, an empty text being one part.
template <class Visit>
void for_each_part(std::string_view text, char separator, Visit visit) {
  for (std::size_t end; (end = text.find(separator)) != std::string_view::npos; text.remove_prefix(end + 1))
    visit(text.substr(0, end));
  visit(text);
}

/// The character that starts with a byte above 127, and its size: INVALID_CHARACTER where there is none.
std::pair<int, std::size_t> code_point_at(std::string_view text) {
  int character = 0;
  // What is cut off by the end of the value is no character, whatever lies behind it.
  const int size = TeraUtf::char_size(text[0]) <= static_cast<int>(text.size())
                       ? TeraUtf::decode(&character, text.data())
                       : 0;
  if (size == 0) return {DamoStatistic::INVALID_CHARACTER, 1};
  return {character, static_cast<std::size_t>(size)};
}

/// The code points above 127.
void count_code_points(DamoCounts* counts, std::string_view text) {
  constexpr std::uint64_t ABOVE = 0x8080808080808080;
  constexpr std::size_t WIDTH = 8;
  std::size_t behind = 0;  // the last character
  for (std::size_t i = 0; i < text.size(); i += WIDTH)
    for (std::uint64_t bytes = damo_word_at(text, i) & ABOVE; bytes != 0; bytes &= bytes - 1) {
      const std::size_t at = i + static_cast<std::size_t>(std::countr_zero(bytes)) / WIDTH;
      if (at < behind) continue;
      const auto [character, size] = code_point_at(text.substr(at));
      counts->add(character);
      behind = at + size;
    }
}

VInt count(std::string_view text, char c) {
  return std::count(text.begin(), text.end(), c);
}

}  // namespace

DamoStatistic::DamoStatistic(int is_utf, int sep_char, int num_fields, const char* const* field_names)
    : isUtf(is_utf),
      sepChar(sep_char),
      values(static_cast<std::size_t>(std::max(num_fields, 0))),
      fieldStats(values.size()) {
  for (int i = 0; i < num_fields; ++i) {
    const char* const name = field_names != nullptr ? field_names[i] : nullptr;
    fieldNames.push_back(name != nullptr ? name : "field" + std::to_string(i));
  }
}

DamoStatistic::~DamoStatistic() = default;

DamoStatistic::Marks DamoStatistic::add_characters(FieldStats* stats, std::string_view text) const {
  const auto marks = [&bytes = stats->bytes] { return Marks{bytes.of(' '), bytes.of('&'), bytes.of('|')}; };
  const Marks before = marks();
  stats->bytes.add(text);
  if (isUtf != 0) count_code_points(&stats->codePoints, text);
  const Marks now = marks();
  return {now.blanks - before.blanks, now.ampersands - before.ampersands, now.bars - before.bars};
}

void DamoStatistic::add_alternative(FieldStats* stats, std::size_t size, VInt blanks, VInt ampersands) {
  stats->words.add(blanks + 1);
  stats->flags.add(ampersands + 1);
  stats->lengths.add(static_cast<VInt>(size));
}

void DamoStatistic::add_value(FieldStats* stats, std::string_view value) const {
  if (value.empty()) {
    ++stats->numEmpty;
    return;
  }
  if (!stats->firstValue || stats->lastValue != value) {
    ++stats->numIntervals;
    stats->lastValue = value;
    if (!stats->firstValue) stats->firstValue = stats->lastValue;
  }
  const Marks marks = add_characters(stats, value);
  const VInt aliases = std::min<VInt>(marks.bars + 1, MOST);
  stats->aliases.add(aliases);
  stats->numAliases += aliases;
  if (marks.bars == 0) {
    add_alternative(stats, value.size(), marks.blanks, marks.ampersands);
    return;
  }
  stats->bytes.take_back('|', marks.bars);
  for_each_part(value, '|', [&](std::string_view alias) {
    add_alternative(stats, alias.size(), count(alias, ' '), count(alias, '&'));
  });
}

/// Cuts a line into as many values as there are fields; false for another number.
bool DamoStatistic::cut(std::string_view line, DamoByteScan* separators) {
  const char* const end = line.data() + line.size();
  const char* start = line.data();
  for (std::string_view& value : values) {
    if (start > end) return false;
    const char* const stop = std::min(separators->next(start), end);
    value = {start, static_cast<std::size_t>(stop - start)};
    start = stop + 1;
  }
  return start == end + 1;
}

void DamoStatistic::add_line(const char* text) {
  if (text == nullptr || *text == '\0') return;
  std::string_view lines(text);
  if (lines.back() == '\n') lines.remove_suffix(1);
  DamoByteScan separators(static_cast<char>(sepChar), lines.data(), lines.data() + lines.size());
  for_each_part(lines, '\n', [&](std::string_view line) {
    ++numLines;
    if (!cut(line, &separators)) {
      ++numBadLines;
      return;
    }
    for (std::size_t i = 0; i < values.size(); ++i) add_value(&fieldStats[i], values[i]);
  });
}

void DamoStatistic::add_fields(const char* const* fields, int num_fields) {
  ++numLines;
  if (num_fields != get_num_fields()) {
    ++numBadLines;
    return;
  }
  for (std::size_t i = 0; i < fieldStats.size(); ++i)
    add_value(&fieldStats[i], fields[i] != nullptr ? fields[i] : "");
}

int DamoStatistic::do_field_stats(int field, const char* value) {
  if (field < 0 || field >= get_num_fields() || value == nullptr) return -1;
  FieldStats* const stats = &fieldStats[static_cast<std::size_t>(field)];
  const std::string_view text(value);
  const Marks marks = add_characters(stats, text);
  add_alternative(stats, text.size(), marks.blanks, marks.ampersands);
  return 0;
}

int DamoStatistic::merge(const DamoStatistic* next) {
  if (next == nullptr || next == this || next->get_num_fields() != get_num_fields() ||
      (next->isUtf != 0) != (isUtf != 0))
    return -1;
  numLines += next->numLines;
  numBadLines += next->numBadLines;
  for (std::size_t i = 0; i < fieldStats.size(); ++i) {
    FieldStats& own = fieldStats[i];
    const FieldStats& other = next->fieldStats[i];
    own.numEmpty += other.numEmpty;
    own.numAliases += other.numAliases;
    own.numIntervals += other.numIntervals;
    if (own.firstValue && other.firstValue && own.lastValue == *other.firstValue)
      --own.numIntervals;  // one run
    if (!own.firstValue) own.firstValue = other.firstValue;
    if (other.firstValue) own.lastValue = other.lastValue;
    own.lengths.merge(other.lengths);
    own.words.merge(other.words);
    own.flags.merge(other.flags);
    own.aliases.merge(other.aliases);
    own.bytes.merge(other.bytes);
    own.codePoints.merge(other.codePoints);
  }
  return 0;
}

int DamoStatistic::write_file(const char* file) const {
  DamoOutput out(file);
  out.printf(
      "# General statistics\nNUM_LINES\t%ld\nNUM_BAD_LINES\t%ld\n\n# List of build field "
      "names\nFIELD_NAMES\t{",
      numLines, numBadLines);
  for (std::size_t i = 0; i < fieldNames.size(); ++i)
    out.printf("%s%s", i > 0 ? " " : "", fieldNames[i].c_str());
  out.printf("}\n\n");
  for (std::size_t i = 0; i < fieldNames.size(); ++i) {
    const char* const name = fieldNames[i].c_str();
    const FieldStats& stats = fieldStats[i];
    const auto write_counts = [&](const char* kind, const DamoCounts& counts) {
      counts.for_each(
          [&](int number, Huge times) { out.printf("%s.%s.%d\t%ld\n", name, kind, number, times); });
    };
    out.printf("# Statistics for field no. %d (%s)\n", static_cast<int>(i), name);
    out.printf("%s.NUM_EMPTY\t%ld\n%s.NUM_INTERVALS\t%ld\n%s.NUM_ALIASES\t%ld\n", name, stats.numEmpty, name,
               stats.numIntervals, name, stats.numAliases);
    write_counts("STRLEN_DISTR", stats.lengths);
    write_counts("WORDS_DISTR", stats.words);
    write_counts("FLAGS_DISTR", stats.flags);
    write_counts("ALIAS_DISTR", stats.aliases);
    write_counts("CHARACTER_DISTR", stats.characters(isUtf != 0));
    out.put('\n');
  }
  out.commit();
  return 0;
}
