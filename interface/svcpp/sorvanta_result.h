/// Results of commands, and iterators over them (see sorvanta.h).
///
/// A result handle owns its result, unless it is external. An iterator points into the result, and is of no
/// use once that has been replaced. `go_next` returns 0, or -1 behind the last item; then the iterator has
/// none.
#pragma once

#include "svcpp/sv_types.h"

class SorvantaStatus;
class SorvantaAlternative;
class SorvantaSuggestion;

class SV_API SorvantaSessionResult {
 public:
  SorvantaSessionResult() = default;
  SorvantaSessionResult(const SorvantaSessionResult&) = delete;
  SorvantaSessionResult& operator=(const SorvantaSessionResult&) = delete;
  SorvantaSessionResult(SorvantaSessionResult&& other) noexcept;
  SorvantaSessionResult& operator=(SorvantaSessionResult&& other) noexcept;
  ~SorvantaSessionResult();

  /// Takes over a `DastResult`, or null.
  int init(void* result);
  /// Shows a result that stays its owner's.
  void init_external(DastResult* result);
  /// Gives the result away, of an external one a copy; the handle is empty then.
  DastResult* detach();
  DastResult* get_internal_result() const { return dastResult; }

  /// Records that are still possible; -1 for all, and for an empty handle, as for the following.
  int get_size_context() const;
  int get_num_fields() const;
  int get_num_alts(int field) const;
  int get_num_suggs() const;
  int get_max_suggs() const;
  /// The field whose alternatives are shown.
  int get_alt_field() const;
  /// 0 for an empty handle.
  int can_undo() const;
  int can_redo() const;
  /// 0 NONE, 1 SAMPLE, 2 SUGGEST, 3 SELECT, 4 CONFIRM, 5 MATCH, 6 EXACT, 7 NO_DECISION.
  int get_category() const;
  const char* get_category_name() const;
  /// "" when there is none.
  const char* get_reason() const;
  const char* get_rule() const;

  int get_field_status(SorvantaStatus* out, int index) const;
  int get_first_field(SorvantaStatus* out) const { return get_field_status(out, 0); }
  int get_alternative(SorvantaAlternative* out, int index) const;
  int get_alternative(SorvantaAlternative* out, int field, int index) const;
  int get_first_alt(SorvantaAlternative* out) const { return get_alternative(out, 0); }
  int get_suggestion(SorvantaSuggestion* out, int index) const;
  int get_first_sugg(SorvantaSuggestion* out) const { return get_suggestion(out, 0); }

 private:
  void clean();

  DastResult* dastResult = nullptr;
  int external = 0;
};

/// Where a field stands.
class SV_API SorvantaStatus {
 public:
#undef EMPTY  // a macro of <utmpx.h>
  enum State : int {
    EMPTY = 0,
    NOTHING = 1,
    NO_CONTEXT = 2,
    OUT_CONTEXT = 3,
    IN_CONTEXT = 4,
    IS_CONTEXT = 5
  };

  SorvantaStatus() = default;
  explicit SorvantaStatus(const SorvantaSessionResult* result);
  int go_next();
  int get_rank() const {
    return currentField;
  }
  /// Null without item.
  const char* get_field_name() const;
  const char* get_string() const;
  State get_status() const;
  /// The code of the mode, and figures; -1 without item.
  int get_mode() const;
  int num_records() const;
  int get_best_qual() const;
  int get_weight() const;

 private:
  friend class SorvantaSessionResult;
  const DastStatus* dastStatus = nullptr;
  const SorvantaSessionResult* res = nullptr;
  int currentField = 0;
};

enum class SVAlternativeStatus : int { OUT_OF_CONTEXT = 1, POSSIBLY_IN_CONTEXT = 2, IN_CONTEXT = 3 };

/// A value of a field.
class SV_API SorvantaAlternative {
 public:
  SorvantaAlternative() = default;
  /// Of the field whose alternatives are shown.
  explicit SorvantaAlternative(const SorvantaSessionResult* result);
  SorvantaAlternative(const SorvantaSessionResult* result, int field);
  int go_next();
  int get_rank() const { return currentCand; }
  /// Null without item.
  const char* get_rep() const;
  /// 0 to 255; -1 without item.
  int get_quality() const;
  /// Records that have the value; -1 also when they are not known.
  int get_num_hits() const;
  SVAlternativeStatus get_context_status() const;

 private:
  friend class SorvantaSessionResult;
  const DastCandidate* dastCandidate = nullptr;
  const SorvantaSessionResult* res = nullptr;
  int currentCand = 0;
  int currentField = -1;
};

/// A record.
class SV_API SorvantaSuggestion {
 public:
  SorvantaSuggestion() = default;
  explicit SorvantaSuggestion(const SorvantaSessionResult* result);
  int go_next();
  int get_rank() const { return currentSugg; }
  /// The record id in the base; -1 without item, as for the following.
  long get_idx() const;
  int get_quality() const;
  int get_num_strings() const;
  int has_strings() const;
  int has_qualities() const;
  int has_field_infos() const;
  int has_record_info() const;
  /// Null outside.
  const char* operator[](int field) const;
  const char* get_record_info() const;
  const char* get_field_info(int field) const;
  int get_field_quality(int field) const;

 private:
  friend class SorvantaSessionResult;
  const DastSuggestion* dastSuggestion = nullptr;
  const SorvantaSessionResult* res = nullptr;
  int currentSugg = 0;
};
