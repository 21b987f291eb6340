#include "damo/damo_statistic.h"

#include <algorithm>

#include "damo/output/damo_output_internal.h"
#include "damo/statistic/damo_field_stats_internal.h"
#include "tera/tera_utf.h"

namespace {

/// `visit(part)` for what lies between separators, an empty text being one part.
template <class Visit>
void for_each_part(std::string_view text, char separator, Visit visit) {
  for (std::size_t end; (end = text.find(separator)) != std::string_view::npos; text.remove_prefix(end + 1))
    visit(text.substr(0, end));
  visit(text);
}

/// The code points, each byte that starts no character as INVALID_CHARACTER.
void count_code_points(DamoCounts* counts, std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    if (static_cast<signed char>(text[i]) >= 0) {
      counts->add(text[i++]);
      continue;
    }
    int character = 0;
    // What is cut off by the end of the value is no character, whatever lies behind it.
    const int size = TeraUtf::char_size(text[i]) <= static_cast<int>(text.size() - i)
                         ? TeraUtf::decode(&character, &text[i])
                         : 0;
    counts->add(size > 0 ? character : DamoStatistic::INVALID_CHARACTER);
    i += static_cast<std::size_t>(std::max(size, 1));
  }
}

}  // namespace

DamoStatistic::DamoStatistic(int is_utf, int sep_char, int num_fields, const char* const* field_names)
    : isUtf(is_utf), sepChar(sep_char), fieldStats(static_cast<std::size_t>(std::max(num_fields, 0))) {
  for (int i = 0; i < num_fields; ++i) {
    const char* const name = field_names != nullptr ? field_names[i] : nullptr;
    fieldNames.push_back(name != nullptr ? name : "field" + std::to_string(i));
  }
}

DamoStatistic::~DamoStatistic() = default;

void DamoStatistic::add_alternative(FieldStats* stats, std::string_view value) const {
  VInt blanks = 0, ampersands = 0;
  for (const char c : value) {
    blanks += c == ' ';
    ampersands += c == '&';
  }
  stats->words.add(blanks + 1);
  stats->flags.add(ampersands + 1);
  stats->lengths.add(static_cast<VInt>(value.size()));
  if (isUtf != 0)
    count_code_points(&stats->characters, value);
  else
    for (const char c : value) stats->characters.add(static_cast<unsigned char>(c));
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
  const VInt aliases = std::min<VInt>(std::count(value.begin(), value.end(), '|') + 1, MOST);
  stats->aliases.add(aliases);
  stats->numAliases += aliases;
  for_each_part(value, '|', [&](std::string_view alias) { add_alternative(stats, alias); });
}

void DamoStatistic::add_line(const char* text) {
  if (text == nullptr || *text == '\0') return;
  std::string_view lines(text);
  if (lines.back() == '\n') lines.remove_suffix(1);
  const auto separator = static_cast<char>(sepChar);
  for_each_part(lines, '\n', [&](std::string_view line) {
    ++numLines;
    if (std::count(line.begin(), line.end(), separator) + 1 != get_num_fields()) {
      ++numBadLines;
      return;
    }
    FieldStats* stats = fieldStats.data();
    for_each_part(line, separator, [&](std::string_view value) { add_value(stats++, value); });
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
  add_alternative(&fieldStats[static_cast<std::size_t>(field)], value);
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
    own.characters.merge(other.characters);
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
    write_counts("CHARACTER_DISTR", stats.characters);
    out.put('\n');
  }
  out.commit();
  return 0;
}
