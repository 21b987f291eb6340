/// Figures about the lines of a source: what is in its fields before anybody relies on them.
///
///     const char* const names[] = {"name", "town"};
///     DamoStatistic statistic(1, '\t', 2, names);
///     statistic.add_line("Ann|Anna\tBern");
///     statistic.write_file("people.stat");     every figure, a key and a value a line
///     statistic.write_page("people.txt");      for reading: lengths, characters, suspicions
///
/// Of each field are counted: empty values; runs of equal values that follow each other, empty ones left out;
/// and for its values the alternatives between "|", for each alternative its words (blanks and one), flags
/// ('&' and one), bytes and characters. Numbers count up to `MOST`, larger ones there.
///
/// Statistics of the parts of a source are merged in the order of the parts, and then say what one statistic
/// of the whole source says.
///
/// Errors: files that cannot be written throw `AceException`; they appear whole or not at all.
/// Thread safety: a statistic belongs to one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class DamoByteScan;

class SORV_API DamoStatistic {
 public:
  /// Largest number that a distribution tells apart.
  static constexpr int MOST = 10000000;
  /// What bytes that are no UTF-8 count as, one by one.
  static constexpr int INVALID_CHARACTER = 65533;

  /// For lines of `num_fields` fields with the byte `sep_char` between them; with `is_utf` not 0, characters
  /// are UTF-8 code points, else bytes. Names are copied; those that are null are "field0", "field1", ...
  DamoStatistic(int is_utf, int sep_char, int num_fields, const char* const* field_names);
  DamoStatistic(const DamoStatistic&) = delete;
  DamoStatistic& operator=(const DamoStatistic&) = delete;
  ~DamoStatistic();

  /// Counts one or several lines, divided by newline characters; a last one behind the text starts no line.
  /// Null and empty texts count for nothing. A line with another number of fields is a bad one, and nothing
  /// else is counted of it.
  void add_line(const char* text);
  /// Counts one line that is given by its fields, which may have any bytes; null ones are empty.
  void add_fields(const char* const* fields, int num_fields);
  /// Counts one alternative of a value: words, flags, bytes and characters. -1 for a field that is not there.
  int do_field_stats(int field, const char* value);
  /// Counts one record that does not have the expected form.
  void incr_badline() { ++numBadLines; }
  Huge get_num_bad_lines() const { return numBadLines; }
  Huge get_num_lines() const { return numLines; }
  int get_num_fields() const { return static_cast<int>(fieldNames.size()); }

  /// Adds what another statistic has counted of the lines behind these. Returns 0; -1, and nothing changes,
  /// for another number of fields, another kind of characters, null or itself.
  int merge(const DamoStatistic* next);

  /// Key and value, TAB between them, a line each: the lines, then for each field the counts above and every
  /// number of the distributions that was met. Returns 0.
  int write_file(const char* file) const;
  /// A page for reading. Returns 0.
  int write_page(const char* file) const;

 private:
  struct FieldStats;
  /// What a text has of the characters that divide it.
  struct Marks {
    VInt blanks, ampersands, bars;
  };

  bool cut(std::string_view line, DamoByteScan* separators);
  void add_value(FieldStats* stats, std::string_view value) const;
  Marks add_characters(FieldStats* stats, std::string_view text) const;
  static void add_alternative(FieldStats* stats, std::size_t size, VInt blanks, VInt ampersands);

  int isUtf;
  int sepChar;
  std::vector<std::string> fieldNames;
  Huge numLines = 0;
  Huge numBadLines = 0;
  std::vector<std::string_view> values;  // of the line at hand
  std::vector<FieldStats> fieldStats;
};
