/// The strings of a field by base id, 1 to `get_num_entries`; id 0 is the empty string.
///
///     kind      where a string is                                        what is given back
///     EMPTY     nowhere                                                  null
///     ARRAY     in a `TeraIndex`, line id                                the string as it was
///     NUMERIC   in an `AceBits`, as a number below 2^63                  its decimal digits
///     INDEX     in the field's method (`DastBaseMethod::show`)           the string as it was
///
/// In a NUMERIC storage the largest element stands for no number: the string is empty. The array of an
/// ADVANCED field is sorted, so that ids are found: by the collation (ARRAY), strings that are equal there by
/// bytes; or by value (NUMERIC).
///
/// Record of `save`: int kind, int number of entries, then the `TeraIndex` (ARRAY) or `AceBits` (NUMERIC).
///
/// Errors: negative results; a string that does not fit its storage is told by the result alone, as the
/// caller knows record and field. Thread safety: a finished storage is only read; results lie in the caller's
/// attach.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "tera/tera_collation.h"

#undef EMPTY  // a macro of <utmpx.h>

class AceBits;
class AceFile;
class DastBaseMethod;
class TeraIndex;

class SORV_API DastStringStorage {
 public:
  /// Stored in files, not to be renumbered.
  enum Type : int { EMPTY = 0, ARRAY = 1, NUMERIC = 2, INDEX = 3 };
  /// What searches give for "not there".
  static constexpr Large NONE = ~Large{0};

  DastStringStorage();
  /// Own what they are given, except the method.
  explicit DastStringStorage(std::unique_ptr<TeraIndex> array);
  explicit DastStringStorage(std::unique_ptr<AceBits> numbers);
  DastStringStorage(const DastBaseMethod* method, Large num_entries);
  DastStringStorage(const DastStringStorage&) = delete;
  DastStringStorage& operator=(const DastStringStorage&) = delete;
  ~DastStringStorage();

  /// An ARRAY without strings; with a collation (null: none) it counts as sorted by it. Null when there is no
  /// such collation.
  static std::unique_ptr<DastStringStorage> create_array_storage(const char* collation);
  /// A NUMERIC storage of ids 0 to `num_entries`, all without number, for numbers up to `max_value`.
  static std::unique_ptr<DastStringStorage> create_numeric_storage(VUint max_value, int num_entries);

  /// Sets the string of an id; in an ARRAY the ids may grow. -1 for other kinds and for a NUMERIC string that
  /// is neither empty nor a number that fits.
  int add_entry(Large id, const char* string);
  /// Null for ids that are not there and where no strings are kept.
  const char* get_string(Large id, AceAttach* at) const;
  char* get_string_copy(Large id, AceAttach* at) const;
  /// The id of a string in a sorted storage: 0 for null and the empty one, `NONE` when it is not there. With
  /// `prefix` the first id whose string starts with it, in the sense of the collation. The third is unused.
  Large get_id(const char* string, int prefix, int unused) const;
  /// The order of two strings, by collation or value; null first. `prefix` as `TeraCollation::compare_sort`.
  /// What is no number comes first in a NUMERIC storage.
  int compare(const char* a, const char* b, int prefix) const;
  /// The number of an id in a NUMERIC storage; -1 without number, and in other kinds.
  VInt get_count_weight(Large id) const;
  /// That of the array, else the one that was set, else the order of bytes.
  const TeraCollation* get_collation() const;

  Type get_type() const { return storageType; }
  /// The highest id.
  Large get_num_entries() const { return numEntries; }
  const TeraIndex* get_array() const { return stringArray.get(); }
  TeraIndex* get_array() { return stringArray.get(); }
  /// Binds an INDEX storage to the method it reads from.
  void bind(const DastBaseMethod* method) { indexMethod = method; }
  /// The order of strings that are not kept here, which is not in the record; null or "": of bytes. Returns
  /// 0; -1 for an unknown one.
  int set_collation(const char* name);

  /// The number that a text is: digits only, below 2^63. False for all else.
  static bool parse_number(const char* text, VUint* value);

  VInt save(AceFile* file) const;
  /// -1 for what is not a record, or has another number of strings than it says.
  VInt read(AceFile* file, const DastBaseMethod* method);

 private:
  struct GiveBack {
    void operator()(TeraCollation* collation) const { collation->destroy(); }
  };

  Large find_exact(const char* string) const;
  Large find_number(VUint value) const;
  Large num_slots() const;

  Type storageType = EMPTY;
  Large numEntries = 0;
  std::unique_ptr<TeraIndex> stringArray;
  std::unique_ptr<AceBits> numericArray;
  const DastBaseMethod* indexMethod = nullptr;
  std::unique_ptr<TeraCollation, GiveBack> ownCollation;
  TeraAscii defCollation{"ascii"};
};
