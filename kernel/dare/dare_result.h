/// Results: what a session answers to a command.
///
///     field statuses   given  "Jon"     IN_CONTEXT    17 records    best 240
///                      name   "Mayer"   IN_CONTEXT   211 records    best 255
///     alternatives     given: Jon 255, John 240, ...    name: Mayer 255, Meyer 230, ...
///     suggestions      record 4711 quality 247   John  Mayer  ...
///     category         MATCH, by rule "one clear record", because of "exact name"
///
/// A result is a snapshot: it owns every string and record in it, and outlives the session. Hosts sort, cut,
/// filter and merge results.
///
/// Errors: indexes that are not there and null texts give -1, 0 or null, and nothing changes; field -1 stands
/// for the current field where said.
/// Thread safety: belongs to one thread.
#pragma once

#include <functional>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_candidate.h"

class SORV_API DastResult : public AceMerge {
 public:
  enum Category : int {
    NONE = 0,
    SAMPLE = 1,
    SUGGEST = 2,
    SELECT = 3,
    CONFIRM = 4,
    MATCH = 5,
    EXACT = 6,
    NO_DECISION = 7,
  };
  /// Sort keys of a field's alternatives; negative ones reverse.
  enum SortKey : int { BY_FREQ = 1, BY_COLLATION = 2, BY_QUALITY = 4 };
  using SuggestionOrder = std::function<int(const DastSuggestion& a, const DastSuggestion& b)>;

  /// Empty statuses, no alternatives, no suggestions.
  DastResult(Tiny num_fields, int min_quality, int max_distance, int max_suggestions);
  /// A deep copy, with the suggestions [first, first + count).
  DastResult(const DastResult* other, int first, int count);
  DastResult(const DastResult&) = delete;
  DastResult& operator=(const DastResult&) = delete;
  ~DastResult() = default;

  // Fields and statuses.

  int get_num_fields() const { return static_cast<int>(inputStatus.size()); }
  /// Replaces all statuses; the field count follows. Strings lie in this result already.
  void set_status(std::vector<DastStatus> input_status);
  /// Null for no field.
  DastStatus* get_field_status(int field);
  const DastStatus* get_field_status(int field) const;
  /// Makes a copy of the text the field's query. Returns it; null for no field.
  const char* set_status_string(int field, const char* text);
  /// The field that the command was about; -1 for none.
  void set_cur_field(int field) { currentField = field; }
  int get_curr_field() const { return currentField; }
  void set_size_context(int size) { sizeContext = size; }
  /// Records that are still possible; -1 for all.
  int get_size_context() const { return sizeContext; }
  void set_undo_status(int can_undo, int can_redo);
  int can_undo() const { return canUndo; }
  int can_redo() const { return canRedo; }
  void set_time_stamp();
  /// Processor clock of the process (clock(3)) when it was set.
  int get_time_stamp() const { return timeStamp; }
  void set_raw_strings(int raw) { rawStrings = raw; }
  int is_raw_strings() const { return rawStrings; }
  int get_min_quality() const { return suggMinQual; }
  int get_max_distance() const { return suggMaxDist; }
  int get_max_number() const { return suggMaxNum; }
  void set_limits(int min_quality, int max_distance, int max_suggestions);

  // Decision.

  void set_category(Category category) { resultCategory = category; }
  Category get_category() const { return resultCategory; }
  /// "NONE" also for NO_DECISION.
  const char* get_category_name() const;
  /// The category of a name in any case; NONE for all else, also for "NO_DECISION".
  static Category get_category(const char* name);
  void set_reason(const char* text) { decisionReason = attach(text); }
  void set_rule(const char* name) { decisionRule = attach(name); }
  /// Null until set.
  const char* get_reason() const { return decisionReason; }
  const char* get_rule() const { return decisionRule; }

  // Alternatives. Strings given as candidates lie in this result already.

  /// Replaces the alternatives of a field (-1: the current one). With `no_sort` they stay as they are, and
  /// each updates the field's status; else they are sorted by `DastCandidate::cmp`, neighbours of the same
  /// string and quality are joined, and the first updates the status. Returns the number; -1 for no field.
  int set_field_alts(std::vector<DastCandidate> cands, int field, int no_sort);
  int set_current_alts(std::vector<DastCandidate> cands, int no_sort);
  /// Adds `n` empty ones. Returns the new number, or -1.
  int add_cands(int field, int n);
  int add_cands(int n) { return add_cands(currentField, n); }
  int set_rep(int field, int index, const char* text);
  int set_rep(int index, const char* text) { return set_rep(currentField, index, text); }
  int set_quality(int field, int index, int quality);
  int set_quality(int index, int quality) { return set_quality(currentField, index, quality); }
  /// Null outside.
  DastCandidate* get_alt(int field, int index);
  DastCandidate* get_alt(int index) { return get_alt(currentField, index); }
  const DastCandidate* get_alt(int field, int index) const;
  /// 0 for no field.
  int get_num_alts(int field) const;
  int get_num_alts() const { return get_num_alts(currentField); }
  int sum_alt_hits(int field) const;
  /// Returns the new number, or -1.
  int remove_cand(int field, int index);
  int remove_cand(int index) { return remove_cand(currentField, index); }
  /// Removes the alternatives from `start` on with that string. Returns the sum of their hits.
  int filter_alts(int field, int start, const char* text);
  int filter_alts(int start, const char* text) { return filter_alts(currentField, start, text); }
  /// Keeps the first `n`.
  void cut_cands(int field, int n);
  /// For each field: by quality, once each, the best one in the status; with `sort_freq` then by hits.
  void resort_cands(int sort_freq);
  /// How `resort` sorts a field. Returns 0, or -1 for no field.
  int set_field_sort(int field, int key);
  int set_field_sort(int key) { return set_field_sort(currentField, key); }
  int get_field_sort(int field) const;
  /// Joins alternatives of equal string into the first. Returns how many went; -1 for no field (-1: current).
  int dedup_cands(int field);

  // Suggestions.

  /// Inserts `n` with empty records before `first` (outside: at the end). Returns the index of the first.
  int add_suggs(int first, int n);
  void set_current_suggs(std::vector<DastSuggestion> suggestions);
  DastSuggestion* get_sugg(int index);
  const DastSuggestion* get_sugg(int index) const;
  int get_num_suggs() const { return static_cast<int>(currentSuggs.size()); }
  int get_max_suggs() const { return maxRecords; }
  void set_max_suggs(int n) { maxRecords = n; }
  /// Return the new number, or -1.
  int remove_sugg(int index);
  /// Removes those whose string in the field is that text. Returns how many went, or -1.
  int filter(int field, const char* text);
  /// Removes those of that record from `start` on. Returns how many went.
  int filter_suggs(int start, Large record);
  void swap_suggs(int i, int j);
  /// Moves one; those between make room.
  void move_sugg(int old_pos, int new_pos);
  /// A random order of [from, to). Returns its length; 0 for a range that is not there.
  int shuffle_suggs(int from, int to);
  /// Keeps the first `n`. Returns how many went.
  int cut(int n);
  /// Keeps the first `num`, one more if the qualities at the cut are equal, and fewer where one lies `dist`
  /// or more below the first: looked for from the end, it keeps that one, so that this bites on lists that
  /// are not sorted. Negative `num`: nothing happens; negative `dist`: no bound. Returns how many went.
  int cut_suggs(int num, int dist);
  /// Best first, equal ones in their order.
  void resort_suggs();
  void resort_suggs(const SuggestionOrder& order);
  /// Of suggestions with the same string in a field (-1: the current one) the first stays. Returns how many
  /// went; 0 without suggestions, -1 for no field.
  int dedup_suggs(int field);
  /// The same, and of the others the first takes over what it does not have: in every other field the parts
  /// between "|".
  int group_suggs(int field);
  /// Replaces the suggestions by copies. Returns their number.
  int copy_suggs(const DastResult* other, int first, int count);

  // Two results into one. The other is left empty. Return 0; -1, and nothing changes, for another number of
  // fields, null, and itself.

  /// Suggestions and alternatives behind these; statuses merged.
  int concat(DastResult* other);
  /// The same, then sorted, each record once, with its best quality; those of no base (record 0) stay.
  int merge(DastResult* other);
  /// As `merge`; and alternatives that are equal become one.
  int add(DastResult* other);
  /// Sorts suggestions best first, and alternatives by their sort keys; stable.
  void resort();

 private:
  struct FieldAlts {
    std::vector<DastCandidate> cands;
    int sortKey = 0;
  };

  bool has_field(int field) const { return field >= 0 && field < get_num_fields(); }
  bool has_sugg(int index) const { return index >= 0 && index < get_num_suggs(); }
  int field_or_current(int field) const { return field == -1 ? currentField : field; }
  std::vector<DastCandidate>& alts(int field) { return fieldAlts[static_cast<std::size_t>(field)].cands; }
  template <class Condemned>
  int remove_suggs(int start, Condemned condemned);
  int remove_later_of_value(int field, const std::function<void(DastRecord*, const DastRecord*)>& join);
  bool can_take(const DastResult* other) const;
  void take(DastResult* other);
  void dedup_records();

  int suggMinQual;
  int suggMaxDist;
  int suggMaxNum;
  int sizeContext = 0;
  int canUndo = 0;
  int canRedo = 1;
  int timeStamp = 0;
  int currentField = -1;
  std::vector<DastStatus> inputStatus;
  std::vector<FieldAlts> fieldAlts;  // as many
  int maxRecords = 0;
  std::vector<DastSuggestion> currentSuggs;
  Category resultCategory = NONE;
  const char* decisionReason = nullptr;
  const char* decisionRule = nullptr;
  int rawStrings = 0;
};
