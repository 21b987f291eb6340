/// The parts of a result: the status of a field, an alternative value of it, and a suggested record.
///
/// Strings are kept by pointer and lie in the result (dare_result.h), records are owned.
/// Thread safety: plain data of one thread.
#pragma once

#include <memory>

#include "ace/ace_types.h"
#include "dare/dare_record.h"

#undef EMPTY  // a macro of <utmpx.h>

class AceAttach;

/// What a session knows of one of its fields.
class SORV_API DastStatus {
 public:
  /// How the values that match the query stand to the context.
  enum Match : int {
    EMPTY = 0,        ///< there is no query
    NOTHING = 1,      ///< nothing matches
    NO_CONTEXT = 2,   ///< not looked at
    OUT_CONTEXT = 3,  ///< all lie outside
    IN_CONTEXT = 4,   ///< some lie inside
    IS_CONTEXT = 5,   ///< the field is selected
  };

  /// Raise status and best quality to these; never lower them.
  void update(int status, int best);
  void update_status(int best);
  /// The same, and adds records.
  void merge(int status, int best, int num_records);
  void merge(const DastStatus& other);
  /// Becomes a copy, with strings of its own in `at`.
  void copy(const DastStatus& other, AceAttach* at);

  const char* fieldName = nullptr;
  const char* queryString = nullptr;
  int matchStatus = 0;
  int numRecords = 0;  ///< that match; -1 when they are not counted
  char queryMode = '\0';
  Tiny bestCand = 0;      ///< quality of the best value
  int combineWeight = 1;  ///< of the field in the active combination
};

/// A value of a field that matches its query.
class SORV_API DastCandidate {
 public:
  using Compare = int(const DastCandidate& a, const DastCandidate& b);

  /// Takes in the same value from elsewhere: the larger status; the sum of the hits, or -1 if one is unknown.
  void add(const DastCandidate& other);
  /// Each run of equal strings becomes its first element, with the sum of all hits. Returns the new length.
  static int deduplicate(DastCandidate* array, int n);

  // Orders: negative when `a` comes first. Null strings come first.

  /// By status and quality, best first; then by string.
  static int cmp_quality(const DastCandidate& a, const DastCandidate& b);
  static int cmp(const DastCandidate& a, const DastCandidate& b) { return cmp_quality(a, b); }
  /// By status, quality and hits.
  static int cmp_freq(const DastCandidate& a, const DastCandidate& b);
  /// By string; then by status and quality.
  static int cmp_collation(const DastCandidate& a, const DastCandidate& b);
  static int cmp_rev(const DastCandidate& a, const DastCandidate& b) { return cmp(b, a); }
  static int cmp_quality_rev(const DastCandidate& a, const DastCandidate& b) { return cmp_quality(b, a); }
  static int cmp_freq_rev(const DastCandidate& a, const DastCandidate& b) { return cmp_freq(b, a); }
  static int cmp_collation_rev(const DastCandidate& a, const DastCandidate& b) { return cmp_collation(b, a); }
  /// strcmp with null first.
  static int cmp_string(const char* a, const char* b);

  const char* repObj = nullptr;
  int candStatus = 0;  ///< 2 not looked at, 3 outside of the context, 4 inside
  int numHits = 0;     ///< records that have the value; negative when unknown
  int compQuality = 0;
};

/// A record that matches the form.
class SORV_API DastSuggestion {
 public:
  /// -1 without record.
  int get_quality() const { return repObj != nullptr ? repObj->get_quality() : -1; }
  const char* get_field(int field) const { return repObj != nullptr ? repObj->get_string(field) : nullptr; }
  int get_field_quality(int field) const { return repObj != nullptr ? repObj->get_quality(field) : -1; }
  /// Best first.
  static int cmp_quality(const DastSuggestion& a, const DastSuggestion& b) {
    return b.get_quality() - a.get_quality();
  }
  /// Becomes a copy with a record of its own. Returns 0; -1, and nothing changes, when the other has no
  /// record, or one with another number of strings.
  int copy(const DastSuggestion& other);
  void delete_rep() { repObj.reset(); }

  std::unique_ptr<DastRecord> repObj;
  Large recordIndex = 0;  ///< record id in the base
  int rawStrings = 0;     ///< whether the strings are as the base has them
};
