/// Candidates: the entries that a recall found, and their groups of equal quality.
///
/// A candidate has either the number of an entry in its index, or, once resolved, the attribute numbers of
/// that entry. Special candidates have neither: they stand for entries that are not listed.
///
///     TeraResult --> TeraCandGroup (quality 231) --> TeraCandGroup (quality 255)
///                      candList                        candList
///                        v                               v
///                      TeraCand --> TeraCand           TeraCand
///
/// Ownership: candidates and groups are free-standing objects. A group owns its candidates, a result its
/// groups. Strings and arrays of attribute numbers are only pointed to; they lie in the index, in the id map,
/// or in the attach of the result.
/// Thread safety: as that of the result.
#pragma once

#include <functional>

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

class SORV_API TeraCand : public AceCheckType<TeraCand> {
 public:
  /// The string of an entry, which may be made in `at`; null when there is none.
  using GetString = std::function<const char*(Large entry, AceAttach* at)>;
  /// Stores the address of an entry's attribute numbers and returns how many there are.
  using GetInfoArray = std::function<Large(Large entry, const Large** infos)>;

  enum State : Small {
    FREQUENT = 1,    ///< stands for more entries than are listed
    GROUP = 2,       ///< stands for a group of entries
    COLLECTION = 4,  ///< stands for the candidates that `TeraResult::compress` took out of a group
    ARTIFICIAL = 8,  ///< comes from no index
    SECONDARY = 16,  ///< was found through another candidate, as aliases are
    INITIAL = 32,    ///< was found by an initial
    NULL_CAND = 64,  ///< stands for no entry
    RESOLVED = 128,  ///< has attribute numbers in place of its entry number
  };
  /// No entry, and no attribute number.
  static constexpr int NO_ENTRY = -1;
  static constexpr Large NO_INFO = ~Large{0};
  /// How strings that are not there, or empty, are shown.
  static constexpr const char* UNDEFINED = "%%%UNDEF%%%";
  static constexpr const char* BLANK = "-BLANK-";

  /// Of an entry, without string.
  explicit TeraCand(Large entry) : entryNumber(static_cast<int>(entry)) {}
  /// Resolved, with one attribute number.
  TeraCand(const char* string, Large info) : repString(string) { resolve(1, &info); }
  /// Resolved; the array is kept by pointer unless it has one element.
  TeraCand(const char* string, Large num_infos, const Large* infos) : repString(string) {
    resolve(num_infos, infos);
  }
  /// A copy in no list; string and array are shared.
  TeraCand(const TeraCand& other);
  TeraCand& operator=(const TeraCand&) = delete;

  // Special candidates; the caller owns them. The strings, which may be null, are kept by pointer.

  /// Stands for no entry.
  static TeraCand* create_null_cand();
  /// Stands for more entries than are listed.
  static TeraCand* create_frequent_cand(const char* string = nullptr);
  /// Stands for all entries there are.
  static TeraCand* create_always_hits_cand();
  /// Stands for several candidates. The numbers, ascending, are attribute numbers or, until it is resolved,
  /// entry numbers.
  static TeraCand* create_collection_cand(const char* string, int num, const Large* numbers);

  TeraCand* get_next() const { return nextCand; }
  /// As it is; null when undefined.
  const char* get_string() const { return repString; }
  void set_string(const char* string) { repString = string; }
  /// For printing: never null or empty.
  const char* represent() const;
  /// The same, "<NULL>" for a null candidate.
  const char* identify() const;

  /// `NO_ENTRY` once resolved.
  int get_entry() const { return entryNumber; }
  void set_entry(Large entry) { entryNumber = static_cast<int>(entry); }

  Large get_num_infos() const { return numInfos; }
  /// As they are, without the shift; null for none.
  const Large* get_infos() const {
    return numInfos > 1 ? infoPart.array : numInfos == 1 ? &infoPart.single : nullptr;
  }
  /// With the shift; no check.
  Large get_info(Large index) const { return get_infos()[index] + shiftVal; }
  /// With the shift; `NO_INFO` for none.
  Large get_first_info() const { return numInfos > 0 ? get_info(0) : NO_INFO; }
  /// Replaces the numbers; the array is kept by pointer unless it has one element.
  void set_infos(Large num_infos, const Large* infos);
  /// Replaces the entry number by attribute numbers.
  void resolve(Large num_infos, const Large* infos);

  Large get_shift() const { return shiftVal; }
  void set_shift(Large shift) { shiftVal = shift; }
  int get_mapped_len() const { return mappedLen; }
  void set_mapped_len(int len) { mappedLen = static_cast<Small>(len); }

  int get_state() const { return stateFlags; }
  void add_state(State state) { stateFlags = static_cast<Small>(stateFlags | state); }
  void clear_state(State state) { stateFlags = static_cast<Small>(stateFlags & ~state); }
  bool is(State state) const { return (stateFlags & state) != 0; }
  /// Whether it stands for entries that are not listed, or for none.
  bool is_special() const { return (stateFlags & (FREQUENT | ARTIFICIAL | NULL_CAND)) != 0; }

  /// The order inside a group: negative when `first` comes first. More attribute numbers first; of two arrays
  /// (more than one number) of one size that with the larger shift, then that with the larger element where
  /// they differ first; then the strings, as they are represented, in byte order.
  static int cmp_cand(const TeraCand* first, const TeraCand* second);

 private:
  friend class TeraCandGroup;

  TeraCand* nextCand = nullptr;
  const char* repString = nullptr;
  union {
    Large single;        ///< of one
    const Large* array;  ///< of more
  } infoPart = {NO_INFO};
  Large numInfos = 0;
  int entryNumber = NO_ENTRY;
  Small stateFlags = 0;
  Small mappedLen = 0;
  Large shiftVal = 0;  ///< is added to attribute numbers, for results that continue others
};

/// The candidates of one quality, in the order in which they came.
class SORV_API TeraCandGroup : public AceCheckType<TeraCandGroup> {
 public:
  explicit TeraCandGroup(int value) : candValue(static_cast<Tiny>(value)) {}
  TeraCandGroup(const TeraCandGroup&) = delete;
  TeraCandGroup& operator=(const TeraCandGroup&) = delete;
  /// Deletes the candidates.
  ~TeraCandGroup();
  /// Deletes the groups of a list.
  static void remove(TeraCandGroup* list);

  TeraCandGroup* get_next() const { return nextGroup; }
  int get_value() const { return candValue; }
  /// The number of candidates in better groups.
  int get_num_better() const { return betterCands; }
  int get_num_cands() const { return numCands; }
  TeraCand* get_first_cand() const { return candList; }

  /// Puts a free-standing candidate at the end. O(1).
  void append(TeraCand* cand);
  /// Puts all candidates of another group at the end, which becomes empty. O(1).
  void append_all(TeraCandGroup* other);
  /// Gives the candidates away, linked; the group becomes empty.
  TeraCand* detach();
  /// Deletes the candidates for which `condemned(cand)` holds. Returns their number.
  template <class Condemned>
  int remove_if(Condemned condemned);

 private:
  friend class TeraResult;

  TeraCandGroup* nextGroup = nullptr;
  TeraCand* candList = nullptr;
  TeraCand* lastCand = nullptr;
  int betterCands = 0;
  int numCands = 0;
  Tiny candValue;
};

inline void TeraCandGroup::append(TeraCand* cand) {
  cand->nextCand = nullptr;
  (candList != nullptr ? lastCand->nextCand : candList) = cand;
  lastCand = cand;
  ++numCands;
}

template <class Condemned>
int TeraCandGroup::remove_if(Condemned condemned) {
  const int before = numCands;
  TeraCand** link = &candList;  // the list is whole whenever `condemned` is called, which may throw
  TeraCand* previous = nullptr;
  while (TeraCand* const cand = *link) {
    if (!condemned(cand)) {
      previous = cand;
      link = &cand->nextCand;
      continue;
    }
    *link = cand->nextCand;
    if (cand == lastCand) lastCand = previous;
    --numCands;
    delete cand;
  }
  return before - numCands;
}
