/// Sessions: an interactive search over the records of a base.
///
///     DastSession session(template_session, rep);
///     delete session.update_result("name", "Mayr", DastOptions::APPROX);  // values: Mayer, Meier ...
///     session.select("name");                                             // only their records are left
///     session.update("city", "Bern", DastOptions::APPROX, 0);
///     DastResult* result = session.suggest(0, nullptr, 0, -1);            // whole records, best first
///
/// A user types into fields; a field is looked up when its query changes (`update`). Selecting a field leaves
/// only its records possible: the context. `suggest` weighs all fields in the active combination. Each
/// command can be undone; one undo takes back one command.
///
///     sesConfig        fields, combinations, limits: a copy of the template's
///     sesGlobals       what this session overrides of them
///     tContext         the records that are possible
///     tHistory         what can be undone and redone
///     currentResult    the last suggestions, for `view` and `suggest(cached)`
///
/// Ownership: results that are returned belong to the caller. A session has a reference to its base.
/// Errors: -1 or null, explained on the session's reporter; what a command has done before it failed stays
/// recorded. A command that throws, as when memory ends, leaves the session as it was. A command whose time
/// is over answers with what it has, and a warning. Thread safety: one thread at a time; different sessions
/// may be used by different threads.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_context.h"
#include "dare/dare_exre.h"
#include "dare/dare_history.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"
#include "dare/dare_session_config.h"
#include "dare/dare_timer.h"
#include "dast/dast_count.h"

class AceReporter;
class DareField;
class DastBaseRecall;
class TeraResult;

/// What a session overrides; -1: as the active combination has it.
struct DareSessionGlobals {
  std::vector<int> fieldWeights;  // one for each field, or none
  int minValue = -1;
  int maxDistance = -1;
  int numSuggs = -1;
};

class SORV_API DastSession : public AceAttach, public DareExreSession {
 public:
  /// Bits of the result type.
  enum ResultType : int { SUGGESTIONS = 1, ALTERNATIVES = 4 };
  /// What `update_status` is told of the context.
  enum ContextEvent : int { NO_CHANGE = 0, NARROWED = 1, WIDENED = 2, CHANGED = 3 };
  /// Results of `context_set`.
  enum Selection : int { SELECTED = 1, NOTHING_LEFT = 4 };
  static constexpr double DEFAULT_RUN_LIMIT = 10.0;

  /// An empty configuration: `config_session`, or fields and a default combination, and `init_context`.
  DastSession(DastBaseRecall* base, bool is_auto);
  /// A session from a template: its configuration, nothing else.
  DastSession(const DastSession* from, AceReporter* rep);
  DastSession(const DastSession&) = delete;
  DastSession& operator=(const DastSession&) = delete;
  ~DastSession() override;
  /// A new session with the configuration of this one.
  DastSession* clone(bool is_auto, AceReporter* rep) const;
  int config_session(const char* config_string, AceReporter* rep);
  /// Readies the context for the default combination.
  void init_context();
  /// What its setters change counts from the next command on; what was found and suggested before stays as it
  /// is, also for `view` and `suggest(cached)`. The history does not know of it. Between commands only.
  DareSessionConfig* get_config() { return sesConfig.get(); }
  const DareSessionConfig* get_config() const { return sesConfig.get(); }
  DastBaseRecall* get_base() const { return sesConfig->get_base(); }
  /// Where errors are told; the default reporter until set. It must outlive the session, and one that several
  /// sessions share is called by all their threads.
  void set_reporter(AceReporter* rep) { reporter = rep; }
  /// A manager has destroyed it; who still has a pointer can tell. Any thread.
  void set_destroyed() { isDestroyed = true; }
  bool is_destroyed() const { return isDestroyed; }
  /// Whether the configuration was read to its end.
  bool is_usable() const { return sesConfig->is_complete(); }

  // Commands: queries of single fields.

  /// Gives a field a query and looks it up, if something has changed or `force` is set. Mode EMPTY: `clear`.
  /// Returns 0 or -1.
  int update(const char* field_name, const char* query, DastOptions::Call mode, int force);
  /// The same, with the values that match (for mode EMPTY, a sample).
  DastResult* update_result(const char* field_name, const char* query, DastOptions::Call mode);
  /// Empties a field. With `reselect_volatile`, fields that were released with it are looked up and selected
  /// again.
  int clear(const char* field_name, int reselect_volatile);
  int clear(DareSessionField* field, int reselect_volatile);
  int clear_all();
  /// Copies query and mode from a field to another one, which is looked up.
  int copy_result(const char* from_field, const char* to_field);
  /// Keeps what was found for a field, so that it counts after later queries; it goes with `clear`. Returns
  /// 0; -1, reported, also for a field of free search, which has found nothing itself.
  int persist_result(const char* field_name);

  // Commands: selection.

  /// Leaves only the records of a field's values possible. Returns 0; -1 also for a field that may not be
  /// selected, or without query or values.
  int select(const char* field_name);
  /// Fields that were selected after one of these, under its context, are released, too.
  int deselect(int num, const char* const* field_names);
  /// Gives the fields these queries and selects those that have one, looking them up at the same time where
  /// that may be done. -1, after the rest was done, if one could not be selected.
  int multi_select(const DareMultiQuery* query);

  // Commands: whole records.

  /// `cached` 0: evaluates the active combination. Else: copies of the last suggestions, the first `num` (all
  /// when negative); without any it is evaluated. `focus`: a field whose values are added, or null; with
  /// `sample` those are a sample when it has no query.
  DastResult* suggest(int cached, const char* focus, int sample, int num);
  /// Synchronises the fields and suggests; at most `num` suggestions, -1 as configured.
  DastResult* search(const DareMultiQuery* query, int num);
  /// The same with another combination (null: the first), which does not become the active one. Null for an
  /// unknown combination and for a flex form.
  DastResult* search_combination(const DareMultiQuery* query, const char* combination) override;
  /// Gives each record of a result, and its fields, the qualities that a combination gives it; those that it
  /// excludes 0. Returns the combination's minimum; -1, and nothing changes.
  int reevaluate(const DareMultiQuery* query, const char* combination, DastResult* result) override;
  /// Runs the rules: the result has a category, a reason and a rule. Without rules: `search`, undecided.
  DastResult* assess(const DareMultiQuery* query);
  /// What the host's hook answers to the configured script function; null without one.
  DastResult* script(const DareMultiQuery* query);
  using ScriptHook =
      std::function<DastResult*(DastSession* session, const DareMultiQuery* query, const char* function)>;
  void set_script_hook(ScriptHook hook) { scriptHook = std::move(hook); }
  DastResult* create_empty_result() const override { return new_result().release(); }
  /// Gives the fields queries without looking them up. NOOP leaves a field, EMPTY empties it.
  int synchronize_fields(const DareMultiQuery* query);
  /// An empty result with the statuses.
  DastResult* result();
  /// The last suggestions from `from` up to `to` - 1 (-1: to the end); all of them are handed over. Null when
  /// there are none.
  DastResult* view(int from, int to);
  /// Takes over a result as the last suggestions.
  void cache(DastResult* result) { currentResult.reset(result); }
  DastResult* get_cached_result() const { return currentResult.get(); }
  void clear_cached_result() { currentResult.reset(); }
  /// Adds a field's values and the statuses to a result.
  int update_focus_result(DastResult* result, const char* focus_field);
  /// The most frequent values of a field in the context.
  DastResult* generate_sample(const char* field_name);
  /// Values of a field and the numbers of their records in the context; `query` (null: all values) and `mode`
  /// restrict them.
  DastResult* count(const char* field_name, const char* query, DastOptions::Call mode,
                    const DastCountOptions& options, int num);
  /// The same for every field of the query that has a mode.
  DastResult* cross_count(const DareMultiQuery* query, const DastCountOptions& options, int num);
  /// The records of the context that have exactly a value in a field, from the position `from` up to `to` -
  /// 1, by the context's sort keys, then ascending.
  DastResult* get_row(const char* field_name, const char* value, Large from, Large to);
  /// Records of the base with that text; -1.
  int get_total_count(const char* field_name, const char* text) const;
  /// Replaces the strings of a result by those for display; once.
  int transform_res(DastResult* result) const;
  /// Sorts a result's suggestions by a field: LEXICAL, QUALITY or REVERSE (dare_session_sort.h).
  int resort(DastResult* result, const char* field_name, int mode) const;

  // Undo and redo: an empty result when there is nothing to do it with.

  DastResult* undo(int suggest) { return history_walk(1, suggest); }
  DastResult* redo(int suggest) { return history_walk(0, suggest); }
  int can_undo() const { return tHistory.can_undo() ? 1 : 0; }
  int can_redo() const { return tHistory.can_redo() ? 1 : 0; }
  const DareHistory* get_history() const { return &tHistory; }

  // Context.

  const DastContext* get_context() const { return &tContext; }
  void set_default_context(const DastInfoList* list);
  int load_delset(const char* filename);
  /// Leaves of records that share a value the lowest; adds those that share one. Return the number of
  /// records.
  VInt dedup_context(const char* field_name);
  VInt widen_context(const char* field_name);
  /// Deselects all fields.
  void clear_context();
  /// The order of `get_row`: keys added first decide. `sort_mode`: LEXICAL or REVERSE.
  int add_context_sort_key(const char* sort_field, int sort_mode);
  void clear_context_sort_key() { contextSortKeys.clear(); }
  /// Records that show the same in these fields are suggested once. Bits are base fields; 0 for no
  /// abstraction.
  int set_abstraction(Mask fields);
  int set_abstraction(int num_fields, const char* const* field_names);
  int set_abstraction_level(const char* field_name);
  int clear_abstraction() { return set_abstraction(Mask{0}); }
  Mask get_abstraction() const { return abstractionMask; }

  // Settings. Those that return int: 0 or -1.

  /// A null combination stays; weights (null: as configured) have an element for each field.
  int set_globals(const char* combination, const int* weights, int min_value, int max_dist, int num_suggs);
  void set_min_conf(int value) { sesGlobals.minValue = value; }
  void set_max_dist(int value) { sesGlobals.maxDistance = value; }
  void set_num_suggs(int value) { sesGlobals.numSuggs = value; }
  int get_min_conf() const;
  int get_max_dist() const;
  int get_num_suggs() const;
  int set_field_weight(int field_index, int value);
  int get_field_weight(int field_index) const;
  int get_field_rescale(int field_index) const;
  int switch_combination(int id);
  int switch_active_combination(const char* name);
  int set_input_focus(int focus);
  int get_input_focus() const { return inputFocus; }
  void set_result_type(int type);
  int get_result_type() const { return sesConfig->get_result_type(); }

  // Time: see dare_timer.h. A command that evaluates starts with all of it, unless the host has started the
  // timer since the last one.

  void reset_timer(int precision_level);
  void limit_time(double percent) { commandTimer.limit_time(percent); }
  int get_usable_time() const { return commandTimer.get_usable_time(); }
  int get_remaining_time() const override { return commandTimer.get_remaining_time(); }
  bool is_timer_running() const { return commandTimer.is_running(); }

  /// Records that are evaluated exactly in the last evaluation, for profiles.
  VInt get_num_iterations() const { return numIterations; }

 private:
  struct EvalFields;
  struct Kept;
  /// The outermost one of a command puts all back when it is left by an exception. It starts a group of its
  /// own in the history, unless it walks there.
  class Command {
   public:
    explicit Command(DastSession* session, bool is_walk = false);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    ~Command();

   private:
    DastSession* itsSession;
    int numExceptions;
    std::unique_ptr<Kept> before;  // of the outermost one
  };
  /// While it lives nothing is recorded.
  class HistorySleep {
   public:
    explicit HistorySleep(DareHistory* history) : itsHistory(history), wasSleeping(history->is_sleeping()) {
      history->set_sleeping(true);
    }
    HistorySleep(const HistorySleep&) = delete;
    HistorySleep& operator=(const HistorySleep&) = delete;
    ~HistorySleep() { itsHistory->set_sleeping(wasSleeping); }

   private:
    DareHistory* itsHistory;
    bool wasSleeping;
  };
  using ResultPtr = std::unique_ptr<DastResult>;

  DareSessionField* find_field(const char* name) const;
  AceReporter* rep() const;
  std::unique_ptr<Kept> keep(bool is_walk);
  void put_back(Kept* kept);
  void forget_suggestions();
  void begin_evaluation();
  bool check_usable() const;
  /// What the session overrides, where it does.
  static int effective(int own, int configured) { return own >= 0 ? own : configured; }
  ResultPtr new_result() const;

  // Fields and context (dare_session_context.cpp).
  int process_query(DareSessionField* field);
  static DastInfoList records_of(const DareField* unit, AceAttach* at);
  int context_set(DareSessionField* field);
  GrandMask context_release(DareSessionField* field);
  int narrow_by(DareSessionField* field);
  void context_rebuild_forward();
  int look_up_silently(DareSessionField* field);
  std::vector<DareSessionField*> selected_fields() const;
  int reselect(const std::vector<DareSessionField*>& order, GrandMask fields);
  void apply_default_context();
  void update_status(int event);
  int field_status(const DareSessionField* field) const;
  void count_records(DareSessionField* field) const;
  void fill_status(DastResult* result) const;
  int query_fields(const std::vector<DareSessionField*>& fields);

  // Results (dare_session_result.cpp).
  void build_alts(DastResult* result, const DareSessionField* field) const;
  void build_control_alts(DastResult* result, const DareSessionField* field) const;
  void build_sample(DastResult* result, const DareSessionField* field) const;
  ResultPtr build_result(TeraResult* recall, const std::vector<DareField*>& units, int num);
  std::vector<DastSuggestion> build_suggs(TeraResult* recall, const std::vector<DareField*>& units,
                                          int num) const;
  std::unique_ptr<DastRecord> make_record(Large record, int quality,
                                          const std::vector<DareField*>& units) const;
  static int field_quality(DareField* unit, Large record);
  void fill_record(DastRecord* shown, Large record, const std::vector<DareField*>& units) const;

  // Evaluation (dare_session_evaluate.cpp).
  TeraResult* top_level_evaluation(DastCombination* combination, EvalFields* fields, int num);
  TeraResult* fixedform(const DareFixedConfig* config, const char* control, bool represent_hits,
                        EvalFields* fields, int num);
  int prepare_eval_fields(const DareLogicConfig* logic, const DareFixedConfig* config, EvalFields* fields);
  int get_preselect(const DareFixedConfig* config, DastInfoList* list, AceAttach* at) const;
  const char* control_text() const;
  int effective_logic(const char* control, DareLogicConfig* logic) const;
  int weight_of(int field, const DareFixedConfig* config) const;

  DastResult* history_walk(int back, int suggest);
  void apply_event(const DareHistory::Elem& elem, bool back, bool* has_context_event);

  std::unique_ptr<DareSessionConfig> sesConfig;
  DareSessionGlobals sesGlobals;
  DastContext tContext;
  AceAttach hostAttach;
  const DastInfoList* hostContext = nullptr;  // the default context that was set; null: all records
  DareHistory tHistory;
  ResultPtr currentResult;
  struct SortKey {
    int baseField;
    int isReverse;
  };
  std::vector<SortKey> contextSortKeys;
  int inputFocus = -1;
  Kept* beforeCommand = nullptr;  // of the command at hand
  DareTimer commandTimer;
  bool isTimerFresh = false;  // started by the host since the last command
  Mask abstractionMask = 0;
  std::atomic<bool> isDestroyed = false;
  AceReporter* reporter = nullptr;
  ScriptHook scriptHook;
  VInt numIterations = 0;
};
