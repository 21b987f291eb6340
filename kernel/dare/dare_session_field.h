/// A field of a session: an input slot of the form, how it is matched, and what the user has put there.
///
///     session field "name"    BUILD_FIELD name     evaluation unit 0: the base field "name"
///     session field "all"     FS_FIELDS name city  evaluation units 1 and 2: free search in both
///     session field "mode"    (no base field)      a control field: its text goes to the logic
///
/// A field has its configuration (`fieldConf`), which a session copies from its template, and its state:
/// query and mode, what the index has found, whether it is selected.
///
/// Ownership: a field owns its evaluation units; transforms are shared with copies. Texts are copied.
/// Errors: -1, explained on the reporter.
/// Thread safety: belongs to one session, or to a template that nobody changes.
#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_combination.h"
#include "dare/dare_field.h"
#include "dast/dast_options.h"

class AceReporter;
class DareHistory;
class DastBaseFieldRecall;
class DastBaseRecall;
class DastContext;
class TeraScanGraph;
class TeraTransform;

/// When a field is evaluated exactly on records that its index has not listed.
enum class ReevalMode : int {
  ON_DEMAND = 0,       ///< as far as it can matter
  PRIMARY_ONLY = 1,    ///< never
  SECONDARY_ONLY = 2,  ///< the index is not asked; only on records that other fields have found
  CACHED = 3,          ///< only with qualities that are known already
};

/// The part that templates and sessions share.
struct SORV_API DareSessionFieldConfig {
  enum Option : int {
    NO_SELECT = 1,
    USE_DISPLAY = 8,
    FORCE_EXACT = 16,
    DETECT_SINGLE = 256,
    CONTROL_VALUES = 512,  ///< alternatives of a control field are the parts of its text
  };

  std::string fieldName;
  std::shared_ptr<const TeraTransform> queryTransform;   // null for none
  std::shared_ptr<const TeraTransform> resultTransform;  // null for none
  DareFlexConfig flexConfig;
  ReevalMode reevalMode = ReevalMode::ON_DEMAND;
  DastOptions::AliasDisplay aliasDisplay = DastOptions::ALL;
  int arrayId = -1;
  int baseId = -1;
  int logicID = -1;
  int optionFlags = 0;
  int numDareFields = 0;
};

class SORV_API DareSessionField : public AceAttach {
 public:
  static constexpr int MAX_FIELDS = 128;
  static constexpr int MAX_QUERY = 8192;
  static constexpr int MAX_ALTERNATIVES = 255;
  /// Bits of the state.
  enum State : int {
    PENDING = 0x100,         ///< the query is to be looked up
    REFRESH_STATUS = 0x400,  ///< the status cannot have changed in every direction
    FREE_SEARCH = 0x800,
  };
  /// What `sync_query` has changed.
  enum Change : int { MODE_CHANGED = 1, QUERY_CHANGED = 2, FREE_SEARCH_CHANGED = 4 };

  /// Throws an `AceException` "Field index out of range" for an array id that is no position of a field.
  DareSessionField(const char* name, int array_id, int num_records);
  /// The configuration of another one, without its state.
  explicit DareSessionField(const DareSessionField* other);
  DareSessionField(const DareSessionField&) = delete;
  DareSessionField& operator=(const DareSessionField&) = delete;
  ~DareSessionField();

  // Configuration.

  /// Reads the block of a field.
  int config_session_field(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                           AceReporter* rep);
  const char* get_name() const { return fieldConf.fieldName.c_str(); }
  void set_name(const char* name) { fieldConf.fieldName = name; }
  int get_array_id() const { return fieldConf.arrayId; }
  void set_array_id(int id) { fieldConf.arrayId = id; }
  int get_base_id() const { return fieldConf.baseId; }
  bool is_control() const { return fieldConf.baseId < 0; }
  void set_base_field(int index, const DastBaseFieldRecall* field);
  const DastBaseFieldRecall* get_base_field() const { return get_unit()->get_base_field(); }
  void set_option(int bits) { fieldConf.optionFlags |= bits; }
  void del_option(int bits) { fieldConf.optionFlags &= ~bits; }
  bool is_option(int bits) const { return (fieldConf.optionFlags & bits) != 0; }
  void set_alias_display(DastOptions::AliasDisplay display) { fieldConf.aliasDisplay = display; }
  /// -1 for a description that makes no transform; an empty one is none.
  int set_query_transform(const char* description, const char* encoding);
  int set_result_transform(const char* description, const char* encoding);
  /// -1, and nothing changes, for an unknown name.
  int set_reeval_mode(const char* name);
  void set_reeval_mode(ReevalMode mode) { fieldConf.reevalMode = mode; }
  void set_field_rescale(int threshold) { get_unit()->set_rescale(threshold); }
  /// Property bits without those of the session (dare_session_config.h).
  int get_properties() const;
  /// The unit of a base field: 0 for the field's own, then free search. -1, reported, for none.
  int get_dyn_field_index(const char* name, AceReporter* rep) const;

  DareField* get_unit(int index = 0) const {
    return index >= 0 && index < get_num_units() ? dynFields[static_cast<std::size_t>(index)].get() : nullptr;
  }
  int get_num_units() const { return static_cast<int>(dynFields.size()); }
  /// The unit that counts in an evaluation: what free search has found, the graph that was kept, or unit 0.
  DareField* get_eval_unit() const;

  // Queries. Texts stay until the query changes.

  /// The user's query; null for none.
  const char* get_query() const { return queryString.has_value() ? queryString->c_str() : nullptr; }
  DastOptions::Call get_mode() const { return recallMode; }
  /// The code of the mode; a blank for NOOP.
  char get_mode_code() const;
  /// A query that stands for the one before.
  static constexpr const char* SAME_QUERY = "...";
  /// A text of data as a query: one that is measured as it where it would stand for another.
  static const char* as_query(const char* text) { return std::strcmp(text, SAME_QUERY) == 0 ? "... " : text; }

  /// Transforms a query, each of its alternatives between bars that are not escaped. More than
  /// `MAX_ALTERNATIVES` give "%%%UNDEF%%%", which is warned about. "..." and "-BLANK-" stay as they are.
  const char* query_transform(const char* query, AceAttach* at) const;
  /// The transformed query, made once; null without query.
  const char* build_query();
  /// The same, for free search: bars become blanks.
  const char* build_fs_query();

  // State, as commands change it (all but `set_...` through the history, which may be null).

  static bool is_free_search(DastOptions::Call mode) {
    return mode == DastOptions::FS_DETECT || mode == DastOptions::FS_COMPLETE;
  }
  /// Takes a query and a mode. Returns what has changed (`Change`).
  int sync_query(const char* query, DastOptions::Call mode, bool free_search, DareHistory* history);
  void set_query(const char* query);
  void set_mode(DastOptions::Call mode);
  void set_state(int bits, bool on) { stateFlags = on ? stateFlags | bits : stateFlags & ~bits; }
  bool has_state(int bits) const { return (stateFlags & bits) != 0; }
  int get_context_event() const { return contextEvent; }
  void set_context_event(int event) { contextEvent = event; }
  void set_context_event(int event, DareHistory* history);
  int get_status() const { return contextStatus; }
  void set_status(int status) { contextStatus = status; }
  GrandMask get_volatile_pattern() const { return volatilePattern; }
  void set_volatile_pattern(GrandMask pattern) { volatilePattern = pattern; }
  /// Whether unit 0 takes part: it has a mode, and the field is not in free search.
  void update_inhibit();
  /// Drops what was found, and notes that the query is to be looked up or not.
  void clear_result(bool pending, DareHistory* history);
  /// Query, mode and what was found.
  void clear(DareHistory* history);
  /// Drops temporary data: what was found for units of free search. Returns the number of units.
  int clear_temp();

  /// Looks the query up in unit 0. Returns 0; -1, and the query stays pending.
  int process_fixed_query(DareHistory* history, AceReporter* rep);
  /// Detects the query in the units of free search.
  int process_fs_query(DareHistory* history, AceReporter* rep);
  /// The best quality of a value; 0 without any.
  int get_best_quality() const;
  /// Records that match the query; -1 unless counted.
  int get_num_records() const { return numRecords; }
  void set_num_records(int count) { numRecords = count; }
  /// A graph that outlives later queries (`persist_result`), and stands for the field while it has found
  /// nothing else; null for none. It is shared.
  TeraScanGraph* get_global_graph() const { return keptUnit != nullptr ? keptUnit->get_graph() : nullptr; }
  void set_global_graph(TeraScanGraph* graph);

  // What commands change, to be put back when one of them fails.

  struct Kept;
  Kept keep() const;
  void put_back(Kept kept);

  DareSessionFieldConfig fieldConf;

 private:
  int config_field(DareConfigText* text, const DareConfigLine& line, const DastBaseRecall* base,
                   AceReporter* rep);
  int config_shape(const DareConfigLine& line, AceReporter* rep, bool* known);
  int config_build_field(const DareConfigLine& line, const DastBaseRecall* base, AceReporter* rep);
  int config_free_search(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                         AceReporter* rep);
  int config_free_field(DareConfigText* text, const DareConfigLine& opener, DareField* unit,
                        AceReporter* rep);
  void set_result(bool has_result, DareHistory* history);
  int add_detected(const DareField* unit, const char* query, TeraScanGraph* whole, AceReporter* rep) const;

  std::vector<std::unique_ptr<DareField>> dynFields;
  std::shared_ptr<DareField> foundUnit;  // records that free search has found
  std::shared_ptr<DareField> keptUnit;   // of the global graph
  std::optional<std::string> queryString;
  std::optional<std::string> recallString;
  DastOptions::Call recallMode = DastOptions::EMPTY;
  int contextEvent = 0;
  GrandMask volatilePattern = 0;
  int stateFlags = 0;
  int contextStatus = 0;
  int numRecords = 0;
};

struct DareSessionField::Kept {
  std::vector<std::shared_ptr<DareField::Asked>> units;
  std::shared_ptr<DareField> foundUnit, keptUnit;
  std::optional<std::string> queryString, recallString;
  DastOptions::Call recallMode;
  int contextEvent;
  GrandMask volatilePattern;
  int stateFlags;
  int contextStatus;
  int numRecords;
};
