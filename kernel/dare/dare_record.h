/// A record as a result shows it: a string per field, with qualities and remarks.
///
///     record 4711, quality 231
///     recordStrings    Meier      Berlin     10115
///     singleQuality    228        255        190        (made when first set)
///     recordInfo       "exact name"                     (relations of the rules that it passed)
///
/// Ownership: all memory lies in the record itself; what is given is copied.
/// Errors: false or null for what is out of range; nothing changes then.
/// Thread safety: belongs to one thread.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class SORV_API DastRecord : public AceAttach {
 public:
  static constexpr int MAX_STRINGS = 255;
  static constexpr int MAX_QUALITY = 255;

  // More than `MAX_STRINGS` strings are left out.

  /// Empty strings.
  explicit DastRecord(int num_strings);
  /// Up to `max_parts` parts of a text; the last one has the rest. Null text: no strings.
  DastRecord(const char* text, char separator, int max_parts);
  /// Null strings are absent.
  DastRecord(int num_strings, const char* const* strings);
  /// A deep copy.
  explicit DastRecord(const DastRecord* other);
  DastRecord(const DastRecord&) = delete;
  DastRecord& operator=(const DastRecord&) = delete;

  int get_num_strings() const { return static_cast<int>(recordStrings.size()); }
  /// Null for an absent one, and outside.
  const char* get_string(int index) const;
  bool set_string(int index, const char* text);
  /// Sum of the lengths, one more for each string.
  VInt get_total_length() const { return totalLength; }

  int get_quality() const { return combinedQuality; }
  /// -1 where there is none.
  int get_quality(int index) const {
    return has_index(index) && has_qualities() ? singleQuality[static_cast<std::size_t>(index)] : -1;
  }
  /// 0 to 255 only.
  bool set_quality(int quality);
  bool set_quality(int index, int quality);
  bool has_qualities() const { return !singleQuality.empty(); }

  /// Null for none.
  const char* get_record_info() const { return recordInfo; }
  void set_record_info(const char* text) { recordInfo = attach(text); }
  /// Adds a text behind a blank; an empty one adds nothing.
  void append_record_info(const char* text);
  /// A remark of a field; null for none.
  const char* get_field_info(int index) const;
  bool set_field_info(int index, const char* text);
  bool has_field_infos() const { return !fieldInfos.empty(); }

  /// Remove the first or the last string, with what belongs to it.
  bool drop_head();
  bool drop_tail();
  /// The strings, joined; in `at`.
  char* get_full_string(char separator, AceAttach* at) const;

 private:
  bool has_index(int index) const { return index >= 0 && index < get_num_strings(); }
  void add_string(const char* text, VInt length);
  bool drop(int index);

  std::vector<const char*> recordStrings;
  std::vector<const char*> fieldInfos;  // empty until one is set
  std::vector<Tiny> singleQuality;      // empty until one is set
  const char* recordInfo = nullptr;
  Tiny combinedQuality = 0;
  VInt totalLength = 0;
};
