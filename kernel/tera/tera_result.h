/// Results of recalls: the entries found, grouped by quality, within limits that tighten while they arrive.
///
///     TeraResult result("meier", 191, 100, 30, nullptr);
///     edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, rep);
///     result.high_first();
///     for (TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next())
///       for (TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
///         rep->printf("%d %s\n", group->get_value(), cand->represent());
///
/// A result accepts qualities from `minValue` on. Three limits raise it, and remove the groups below:
///
///     the minimum that the caller asks for
///     maxDist       a new best group of quality v: qualities below v - maxDist are not wanted any more
///     numCands      as soon as that many candidates are better than a group, the group goes
///
/// `nextValue` is the highest quality that was turned away or removed so, from which a caller sees what a
/// lower minimum would give.
///
/// Invariants: every group's quality is at least `minValue`; the best one's less `maxDist` is at most
/// `minValue`; fewer than `numCands` candidates are better than any group; the groups are ordered by quality,
/// ascending unless `high_first` has turned them; no group is empty.
///
/// Ownership: a result owns its groups and candidates; its attach holds their strings and arrays where
/// nothing else does. Taking candidates from another result moves them and the memory of its attach, which
/// leaves the other one without candidates.
/// Errors: operations return -1 for a null argument that they need. Memory exhaustion throws
/// `std::bad_alloc`. Thread safety: a result belongs to one thread at a time. Several may read one that has
/// been ordered
/// (`high_first`, `low_first`) and whose summary has been made (`get_summary`) if it is used.
/// Cost: adding is O(1); the counts of better candidates are brought up to date when groups are looked at.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_big_tree.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"
#include "tera/tera_cand.h"
#include "tera/tera_qual_set.h"

class AceIdMap;
class AceReporter;
class TeraIndex;
class TeraQuery;

class SORV_API TeraResult : public AceMerge, public AceCheckType<TeraResult> {
 public:
  using GetString = TeraCand::GetString;
  using GetInfoArray = TeraCand::GetInfoArray;
  /// Negative when the first candidate comes first.
  using ArgCmp = int(const TeraCand* first, const TeraCand* second, void* arg);

  static constexpr int MAX_VALUE = 255;
  static constexpr int MAX_CANDS = 1000000;
  static constexpr int DEFAULT_BIGGEST_GROUP = 10000;

  /// Results keep a copy of the query text and a reference to the query object; both may be null. `min_value`
  /// is moved to 0..255, where 256 and more also sets `nextValue` to 254; `num_cands` to 1..MAX_CANDS; a
  /// negative `max_dist` means 255.
  TeraResult(const char* query, int min_value, int num_cands, int max_dist,
             TeraQuery* query_object = nullptr);
  /// With the limits and properties of another one.
  TeraResult(const char* query, const TeraResult* other);
  ~TeraResult();

  // Limits.

  /// Whether candidates of that quality are wanted; otherwise notes it in `nextValue`.
  bool accept(int value) {
    if (value >= minValue) return true;
    if (value > nextValue) nextValue = value;
    return false;
  }
  /// Lowers the minimum to `value`, and `nextValue` below it, asks for `extra` candidates more, and widens
  /// the distance to 255 - `value`. A minimum that is lower already stays. Returns the minimum.
  int allow(int value, int extra);
  /// Raises the minimum to `value` and removes the groups below. Returns the number of candidates removed.
  int cut(int value);
  /// Sets the minimum: as `cut` when it is higher; a lower one stops where the distance does.
  void set_min_value(int value);
  /// As `cut`, but returns the minimum.
  int update_min_value(int value);
  /// A smaller distance, or number, removes the groups that it leaves out.
  void set_max_dist(int dist);
  void set_num_cands(int num);
  /// At least 1.
  void set_biggest_group(int size);
  void set_next_value(int value) { nextValue = value; }

  int get_min_value() const { return minValue; }
  int get_max_dist() const { return maxDist; }
  /// The number of candidates asked for.
  int get_num_cands() const { return numCands; }
  int get_biggest() const { return biggestGroup; }
  int next_value() const { return nextValue; }
  /// The quality of the best group; 0 without any.
  int get_max_value() const;
  /// The same among groups with a candidate that has attribute numbers.
  int get_max_value_with_hitlist() const;

  // Adding. Qualities above 255 count as 255.

  /// Takes over a free-standing candidate. Returns 1, or 0 when the limits leave it out; it is deleted then.
  int add(int value, TeraCand* cand);
  /// The same for an entry number.
  int add(int value, Large entry);
  /// Takes over a free-standing group and its candidates. Returns the number of candidates that stay.
  int add_cand_group(TeraCandGroup* group);
  /// Moves all candidates of another result here. Returns the number of candidates that stay.
  int add_cands_from(TeraResult* other);

  // Order. All return 0.

  int high_first();
  int low_first();
  /// From the one to the other.
  int turn();
  /// Orders the candidates of each group by buckets of `bucket_size` entry numbers, and by
  /// `TeraCand::cmp_cand` inside a bucket; a size below 2 means the entry number itself.
  int sort_entries(int bucket_size);
  int sort_entries(ArgCmp* compare, void* arg);
  /// Shuffles the candidates of each group; the seed is the sum of `seed` and the tunable
  /// "SEQUENCING_RANDOM_SEED".
  int randomize_groups(int seed);

  // Access.

  int num_cands() const { return numHeld; }
  /// Number of attribute numbers of all candidates.
  VInt get_num_infos() const;
  /// The worst group, or the best one after `high_first`.
  TeraCandGroup* get_first_group() const;
  TeraCandGroup* get_best_group() const;
  /// The first candidate of the best group; or the first of the best group with one that satisfies. Null for
  /// none.
  TeraCand* get_best_cand() const;
  TeraCand* get_best_cand(const std::function<bool(const TeraCand*)>& satisfies) const;
  /// The first, in the present order, that satisfies; null for none.
  TeraCand* find_any(const std::function<bool(int value, const TeraCand*)>& satisfies) const;
  /// Removes all that are condemned. Returns their number.
  int remove_any(const std::function<bool(const TeraCand*)>& condemned);
  /// The best candidate with that string and at least that quality; null for none.
  TeraCand* get_cand(const char* string, int min_value) const;
  /// The first attribute number of the best candidate that has one; `TeraCand::NO_INFO` for none.
  Large get_first_info() const;
  /// Stores the addresses of all attribute numbers, ascending and with their shifts, and of their best
  /// qualities. Returns how many there are; -1, and null addresses, when there are more than the tunable
  /// "MAX_FILTER_LIST" says (while that is not positive: than an int can count). The arrays last until the
  /// result changes.
  int get_summary(const Large** infos, const Tiny** quals);
  /// The best quality of an attribute number; -1 when no candidate has it. `read_hit_quality` knows what the
  /// last `get_summary` found, and changes nothing.
  int get_hit_quality(Large info);
  int read_hit_quality(Large info) const;
  /// A candidate with all attribute numbers, which belongs to the result; null when there is no summary.
  TeraCand* get_summary_cand();
  void clear_summary_cand();
  /// Whether there are candidates, and all are special.
  bool has_special_cands_only() const;
  /// Whether both have the same candidates: qualities, strings, entry numbers and attribute numbers.
  bool equal_cands(const TeraResult* other) const;
  /// Gives the groups away, in the present order; the caller deletes them (`TeraCandGroup::remove`). Their
  /// strings and arrays last as long as the result.
  TeraCandGroup* detach_group_list();
  /// Notes the best quality of each string; undefined ones are left out. Returns how many strings got better.
  int fill_qual_set(TeraQualSet* quals) const;

  // Query.

  const char* get_string() const { return queryString.get(); }
  void set_string(const char* query);
  /// Cuts the query text at the first `sep`. Returns 1 when there was one, else 0.
  int truncate_query(char sep);
  TeraQuery* get_query() const { return singleQuery; }
  /// Attaches a query object, to which the result adds a reference of its own. When there is one already, it
  /// is replaced if `replace` is not 0, and stays otherwise. Returns 1 when `query` was attached, else 0.
  int add_query(TeraQuery* query, int replace);
  /// Gives the query object and the result's reference away; null when there is none.
  TeraQuery* detach_query();

  // State.

  void set_resolved() { set_state(RESOLVED); }
  void clear_resolved() { clear_state(RESOLVED); }
  bool is_resolved() const { return has_state(RESOLVED); }
  void set_aliases() { set_state(ALIASES); }
  bool has_aliases() const { return has_state(ALIASES); }
  /// There may be more than was found.
  void set_unreliable() { set_state(UNRELIABLE); }
  bool is_unreliable() const { return has_state(UNRELIABLE); }
  void set_artificial_cands() { set_state(ARTIFICIAL); }
  bool is_artificial_cands() const { return has_state(ARTIFICIAL); }
  /// Whoever consumes the result takes collections (see `compress`); and whether there is one.
  void use_collection() { set_state(USE_COLLECTION); }
  bool does_use_collection() const { return has_state(USE_COLLECTION); }
  bool has_collection() const { return has_state(COLLECTION); }
  /// Strings that are taken from an index get "|" and the query text behind them.
  void add_literal_matches() { set_state(LITERAL_MATCHES); }
  bool has_literal_matches() const { return has_state(LITERAL_MATCHES); }
  /// Aliases keep the strings of the entries through which they were found.
  void set_no_alias_strings() { set_state(NO_ALIAS_STRINGS); }
  bool has_no_alias_strings() const { return has_state(NO_ALIAS_STRINGS); }
  /// The best quality of a candidate that has neither entry nor attribute numbers, or that an entry may have
  /// which is not looked for, whatever the limits; 0 for none.
  void set_best_frequent(int value) { bestFrequent = value; }
  int get_best_frequent() const { return bestFrequent; }
  /// Whether candidates get attribute numbers; with 0, `resolve` only adds strings.
  void set_info_mode(int mode) { infoMode = mode; }
  int get_info_mode() const { return infoMode; }
  /// Sets the shift of every candidate.
  void set_incr_shift(Large shift);
  /// Takes over the properties of another result, but not its order.
  void set_flags(const TeraResult* other);

  // Evaluation with the result's query object. Strings are copied. All return -1 without a query object.

  /// Adds a string with one attribute number, shown as `shown_as` if that is not null. Returns 1 when the
  /// result takes it, else 0.
  int eval(const char* string, Large info, const char* shown_as);
  /// The same for strings that are better than what `quals` has of them, which is told.
  int eval(const char* string, Large info, TeraQualSet* quals, const char* shown_as);
  /// The same with a quality that is less by `penalty`.
  int eval_alias(const char* string, Large info, TeraQualSet* quals, int penalty);
  /// Every string of a tree, with its value as attribute number. Returns how many the result takes.
  VInt eval(const AceBigTree<long>* strings);

  // Resolution. All return the number of candidates, or -1. `strings` may be null.

  /// Replaces entry numbers by their attribute numbers, which stay in the map, and adds missing strings.
  /// Changes nothing in a resolved result.
  int resolve(const AceIdMap* infos, const TeraIndex* strings);
  int resolve(const GetInfoArray* infos, const TeraIndex* strings);
  /// Adds the strings of entry numbers where they are missing.
  int add_strings(const TeraIndex* strings);
  int remove_no_info_cands();
  /// One candidate per attribute number.
  int expand();
  /// Sorts groups with more than `get_biggest` candidates by `TeraCand::cmp_cand`; those behind become one
  /// collection "<COLLECTION num=... />" with all their numbers. Special candidates stay.
  int compress();
  /// Keeps only perfect candidates.
  int force_exact();
  /// Keeps only the best candidate of each entry.
  int dedup_unresolved();

  // Merging. All return the number of candidates, or -1, and leave the other results without candidates.

  /// Merges a phonetic recall, whose attribute numbers (entry numbers, if it is not resolved) are this
  /// index's entries. The quality of an entry becomes `TeraEval::phone_eval` of its plain and its phonetic
  /// one; what was not found counts as 0, except that an entry without plain quality is measured with the
  /// query object. Missing strings come from the hook. The limits hold for the new qualities: what the old
  /// ones had raised the minimum to is forgotten, not what the caller asked for.
  int add_phonetic(TeraResult* phonetic, int percent, const GetString* string_hook);
  /// Merges two unresolved results, either of which may be null; an entry keeps its best quality.
  int merge_unresolved(TeraResult* first, TeraResult* second);
  /// Merges results (null ones are skipped); candidates with the same string become one, with the best
  /// quality and all attribute numbers. Undefined strings are all different.
  int merge_by_string(int num, TeraResult* const* results);
  /// Merges a result; candidates with the same string and the same quality become one.
  int merge_quality_cands(TeraResult* other);
  /// Merges a result; of candidates with the same entry number or, once resolved, the same attribute numbers,
  /// the best stays.
  int dedup_merge(TeraResult* other);

  // Output.

  /// Lists the candidates on the default reporter. An entry's string is looked up where it is missing.
  /// Returns 0.
  int print(const TeraIndex* strings) const;
  /// Writes the tagged form; `source` may be null. Returns 0.
  int print(AceReporter* rep, const char* source) const;

  /// Whether the invariants above hold, and the counts are right. Looks at every candidate; asserted when a
  /// result ends.
  bool is_consistent() const;

 private:
  /// Only the values of BEST_FIRST, ARTIFICIAL and USE_COLLECTION are known outside.
  enum State : int {
    BEST_FIRST = 1,
    RESOLVED = 2,
    ALIASES = 4,
    UNRELIABLE = 8,
    LITERAL_MATCHES = 16,
    ARTIFICIAL = 32,
    COLLECTION = 64,
    NO_ALIAS_STRINGS = 128,
    USE_COLLECTION = 65536,
  };
  /// The groups by their quality.
  struct GroupTable : AceCheckType<GroupTable> {
    TeraCandGroup* groups[MAX_VALUE + 1] = {};
  };
  struct Rated;
  using RatedList = std::vector<Rated>;
  struct MergeKey;

  bool has_state(State state) const { return (stateFlags & state) != 0; }
  void set_state(State state) { stateFlags |= state; }
  void clear_state(State state) { stateFlags &= ~state; }
  bool is_best_first() const { return has_state(BEST_FIRST); }

  // Groups.
  TeraCandGroup* group_at(int value) const {
    return groupTable != nullptr ? groupTable->groups[value] : nullptr;
  }
  int next_above(int value) const;
  int next_below(int value) const;
  TeraCandGroup** link_of(int value);
  TeraCandGroup* make_group(int value);
  int remove_group(int value);
  TeraCandGroup* worst_group() const;
  int raise(int value);
  int finish_addition(int value, bool is_new);
  void keep_dist();
  void keep_budget();
  void note_kind(const TeraCand& cand, int value);
  void changed();
  void settle() const;
  template <class Visit>
  void for_each(Visit visit) const;
  template <class Condemned>
  int remove_if(Condemned condemned);
  template <class Less>
  void sort_groups(Less less);

  // Candidates as an array, and back.
  RatedList take();
  void take_from(TeraResult* other, RatedList* cands);
  int refill(RatedList cands);
  template <class Unite>
  int refill_united(RatedList cands, const MergeKey& key, Unite unite);
  int refill_by_string(RatedList cands, const MergeKey& key);
  int refill_by_numbers(RatedList cands);

  // Strings and numbers.
  const char* entry_string(const char* string);
  void add_string(TeraCand* cand, const TeraIndex* strings);
  template <class GetInfos>
  int resolve_all(const GetInfos& get_infos, const TeraIndex* strings);
  void set_numbers(TeraCand* cand, std::vector<Large> numbers);
  void compress_group(TeraCandGroup* group);
  void compress_resolved(TeraCandGroup* group);
  void compress_unresolved(TeraCandGroup* group);
  void collect(TeraCandGroup* group, bool resolved);
  int add_evaluated(const char* string, Large info, TeraQualSet* quals, const char* shown_as, int penalty);
  int make_summary();

  int minValue;
  int askedValue;  // the minimum without what the other limits have raised it
  int nextValue;
  int maxDist;
  int numCands;
  int biggestGroup;
  int infoMode = 1;
  int stateFlags = 0;
  TeraCandGroup* candGroups = nullptr;
  std::unique_ptr<GroupTable> groupTable;  // made with the first group
  int numHeld = 0;                         // candidates in all groups
  mutable bool isCounted = true;           // betterCands of the groups are up to date
  std::unique_ptr<char[]> queryString;     // apart from the attach, whose blocks may move to another result
  TeraQuery* singleQuery;
  std::unique_ptr<TeraCand> summaryCand;
  std::vector<Large> summaryInfos;
  std::vector<Tiny> summaryQual;
  int summarySize = 0;
  Tiny summaryFlag = 0;
  int bestFrequent = 0;
};
