/// Output fields: values computed from the fields of a record.
///
/// A field takes one input field, or combines subfields, each of which is computed in the same way:
///
///     name          sepStr ", "          Smith, Ann
///      |- last      source 3, TRIM       Smith
///      '- first     source 2, TRIM       Ann
///
/// A field may have several values: an input field is cut into repeated values at `fieldSep`. Values are
/// combined row by row, not crossed: row i joins value i of each list, and a shorter list repeats its last
/// value.
///
/// Ownership: subfields and transforms are the caller's and outlive the field.
/// Errors: an input field that the record does not have, and rows that together would exceed
/// `MAX_COMBINED_SIZE`, throw `AceException`.
/// Thread safety: a field belongs to one thread at a time.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class TeraTransform;
struct _DamoField;

class SORV_API DamoField {
 public:
  static constexpr int MAX_SUBFIELDS = 256;
  /// Bytes of all rows that `combine_repeats` makes.
  static constexpr VInt MAX_COMBINED_SIZE = VInt{256} << 20;
  /// Bytes of values and results that a cache holds; it is emptied when they are exceeded.
  static constexpr VInt MAX_CACHE_SIZE = VInt{64} << 20;

  /// `name` is copied; null is an empty name.
  explicit DamoField(const char* name);
  DamoField(const DamoField&) = delete;
  DamoField& operator=(const DamoField&) = delete;
  ~DamoField();

  /// Makes this a field of subfields, whose own source is then not used. Returns 0; or -1
  /// (reported on the default reporter) for null, one that contains this field, or one too many.
  int add_subfield(DamoField* field);
  /// The input field (from 0) that is taken; a negative one stands for none, whose value is empty.
  void set_source(int source);
  /// The transform that normalises values; null for none. A value that it gives no text for is dropped.
  void set_transform(TeraTransform* transform);
  /// A transform that is shown each value before normalisation, for its statistics; its result is not used.
  void set_statistic(TeraTransform* transform);
  /// Text between the values of subfields; copied, empty at first.
  void set_concat(const char* text);
  /// From now on each distinct value is normalised once.
  void set_use_cache();
  /// From now on control characters in the results become blanks, so that a line end or a tab in a value
  /// cannot break the line that it is written into.
  void set_use_control();
  /// The byte between repeated values, TAB at first; negative for none.
  void set_field_sep(int separator);
  const char* get_name() const;
  /// Whether `set_field_sep` was told TAB, here or for a subfield that takes that input field.
  bool is_cut_at_tabs(int source) const;
  /// The input field whose text is the only value, as long as it has no separator: of a field without
  /// subfields and transforms. -1 for others.
  int get_plain_source() const;

  /// Computes the values from the `num_fields` fields of a record (a null one is empty) and stores the array
  /// of them, in `at`. Returns their number; 0, with a null array, when there is no value.
  int transform(const char** fields, int num_fields, char*** out, AceAttach* at);

  /// Joins `num_lists` lists of `counts[i]` strings row by row with `sep` in between (null for nothing), and
  /// stores the array of rows, in `at`. Returns their number; 0, with a null array, when a list is empty.
  static int combine_repeats(const char* const* const* lists, const int* counts, int num_lists,
                             const char* sep, char*** out, AceAttach* at);
  static int combine_repeats(const char* const* const* lists, const int* counts, int num_lists, char sep,
                             char*** out, AceAttach* at);

 private:
  bool contains(const DamoField* field) const;

  std::unique_ptr<_DamoField> fieldData;
};
