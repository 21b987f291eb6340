/// The first pass of a build: which values the fields have, and how often.
///
/// Thread safety: a field is looked at by one thread at a time.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"
#include "dast/build/dast_value_table_internal.h"

class AceReporter;
class RecordChunk;
class RecordIterator;

class DastBaseStats {
 public:
  struct Field {
    Field(const char* name, int type, bool is_sorted)
        : fieldName(name), fieldType(type), isSorted(is_sorted) {}

    /// Takes a value in. Throws an `AceException` for a value of a NUMERIC field that is no number.
    void collect(std::string_view value, Large record);

    const char* fieldName;
    int fieldType;
    bool isSorted;               // records will be sorted by the field
    VUint maxNumeric = 0;        // the largest number
    VInt numLocalAliases = 0;    // '|' in values
    VInt numWithAliases = 0;     // values with '|'
    DastValueTable singles;      // main values and aliases of ADVANCED fields; numbers without leading zeros
    DastValueTable fullStrings;  // complete values of fields that records are sorted by

   private:
    void collect_part(std::string_view part, Large record);
  };

  /// One for each of the types; null for those outside of the mask.
  void add_field(const char* name, int type, bool is_sorted);
  Field* get_field(int i) const { return fieldStats[static_cast<std::size_t>(i)].get(); }

  /// Reads all records. Returns their number, or -1 when the reporter stops it.
  VInt collect_word_stat(RecordIterator* source, int num_threads, AceReporter* rep);
  /// The order in which records with common values stand together (tera_sort_head.h), by the fields that are
  /// sorted, as line numbers from 0. `sort_level`: percentage of the occurrences of repeated values that
  /// count, the most frequent values first. Records that the sort does not tell apart keep their order.
  /// Returns 0 or -1.
  int sort(RecordIterator* source, int sort_level, std::vector<Large>* order, AceReporter* rep) const;

  Large numRecords = 0;  // that were read

 private:
  struct Descriptors;
  Descriptors find_descriptors(int sort_level) const;

  std::vector<std::unique_ptr<Field>> fieldStats;
};

/// Calls `f(part)` for the main value and each alias.
template <class Visit>
void dast_for_each_part(std::string_view value, Visit visit) {
  for (;;) {
    const std::size_t bar = value.find('|');
    visit(value.substr(0, bar));
    if (bar == std::string_view::npos) return;
    value.remove_prefix(bar + 1);
  }
}

/// The text of a number without leading zeros.
inline std::string_view dast_normal_number(std::string_view text) {
  while (text.size() > 1 && text[0] == '0') text.remove_prefix(1);
  return text;
}
