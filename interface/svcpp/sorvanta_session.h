/// Sessions (see sorvanta.h).
///
/// A handle owns its session, or refers to one of a session manager; commands on a session that the manager
/// has destroyed, and on an empty handle, give -1. Modes are codes: "?" with errors, "!" exactly, ">"
/// beginnings,
/// "<" parts of the query, "-" no query; or their names.
#pragma once

#include <memory>

#include "svcpp/sv_types.h"

class SorvantaSessionResult;

class SV_API SorvantaSession {
 public:
  SorvantaSession() = default;
  /// A new session with the configuration of another one.
  explicit SorvantaSession(SorvantaSession* other);
  SorvantaSession(const SorvantaSession&) = delete;
  SorvantaSession& operator=(const SorvantaSession&) = delete;
  SorvantaSession(SorvantaSession&&) noexcept = default;
  SorvantaSession& operator=(SorvantaSession&&) noexcept = default;
  ~SorvantaSession();

  /// Lets the session go. Returns 0.
  int clean();
  /// Whether the session belongs to a manager.
  int is_reference() const { return isReference; }
  /// The code of a recall mode: ' ' for -1, 0 for 18; -1 for others that are none.
  static int get_mode_code(int mode);

  // What it is. -1, 0 or null for an empty handle.

  const char* get_name() const;
  const char* get_script_function() const;
  int get_num_fields() const;
  int get_num_combi() const;
  int get_field_index(const char* name) const;
  const char* get_field_name(int field) const;
  /// "" for an empty handle.
  const char* get_field_method(int field) const;
  int get_field_properties(int field) const;
  int get_field_rescale(int field) const;
  int get_field_weight(int field) const;
  int get_min_value() const;
  int get_max_dist() const;
  int get_num_suggs() const;
  const char* get_combination_name(int combination) const;
  const char* get_combination_type(int combination) const;
  int get_combi_min_conf(int combination) const;
  int get_combi_max_dist(int combination) const;
  int get_combi_num_suggs(int combination) const;
  /// -1 also for a flex form.
  int get_combi_field_weight(int field, int combination) const;

  // Settings.

  int set_result_type(int type);
  int set_auto(int value);
  /// A null combination stays; null weights are as configured; negative limits, too.
  int set_globals(const char* combination, const int* weights, int min_value, int max_dist, int num_suggs);
  int set_field_rescales(const int* thresholds);
  int set_abstraction_level(const char* field);
  int clear_abstraction();
  int reset_timer(int level);
  int get_remaining_time() const;

  // Commands: 1, or -1. Those with a result replace what the handle holds; the handle must not be null.

  /// A null result: the field is looked up in any case, and nothing is shown.
  int update(SorvantaSessionResult* result, const char* field, const char* query, const char* mode);
  /// Values of a field in the records that are possible. `field_mode` from 0 on replaces `mode`; the switches
  /// as in dast_count.h; `relation`: -1 none, 0 sum, 1 minimum, 2 maximum, 3 different ones, of the session
  /// field `related_field`.
  int count_field(SorvantaSessionResult* result, const char* field, const char* query, const char* mode,
                  int field_mode, int group, int disable_blank, int dedup_aliases, int equidistant,
                  int collapse, int enforce_groups, int remove_empty, const char* limit, int relation,
                  const char* related_field, int num);
  int select(const char* field);
  int deselect(int num, const char* const* fields);
  /// `result` may be null; else it gets the statuses, or with `sample` a sample of the field.
  int clear(SorvantaSessionResult* result, const char* field, int reselect, int sample);
  int clear_all();
  int suggest(SorvantaSessionResult* result, int cached, const char* focus);
  // `modes` and `queries` have an element for each session field; a mode null leaves the field as it is.
  int search(SorvantaSessionResult* result, int n, const char* const* modes, const char* const* queries,
             int num);
  int assess(SorvantaSessionResult* result, int n, const char* const* modes, const char* const* queries);
  int multi_select(int n, const char* const* modes, const char* const* queries);
  int sync_session(int n, const char* const* modes, const char* const* queries);
  /// The session takes the result over.
  int cache(SorvantaSessionResult* result);
  int view(SorvantaSessionResult* result, int from, int to);
  int undo(SorvantaSessionResult* result, int suggest);
  int redo(SorvantaSessionResult* result, int suggest);
  /// Returns 0, unlike the others.
  int get_row(SorvantaSessionResult* result, const char* field, const char* value, unsigned from, unsigned to,
              int mode);
  int transform_res(SorvantaSessionResult* result);

  /// Null for an empty handle, and when the manager has destroyed the session.
  DastSession* get_internal_session() const;

 private:
  friend class SorvantaManager;
  template <class Make>
  int replace(SorvantaSessionResult* result, Make make);

  std::shared_ptr<DastSession> dastSession;
  int isReference = 0;
};
