/// The records that are still possible in a session.
///
///     default context       records that are not deleted            [1, 1000)
///     selected fields       city: 17 20 21    name: 20 21 40        one list for each leaf of the logic
///     context               20 21                                   the logic's list, within the default
///
/// Slots are the nodes of a combination's logic (dare_logic.h); slot 0 is its root. A slot that is in force
/// has its bit in the restriction. Nothing in force and no default context: every record is possible. A list
/// that is NOT_USED is no restriction; an empty one leaves no record.
///
/// Ownership: lists are copied. What the context hands out stays until it changes.
/// Thread safety: belongs to one thread; while it does not change, any thread may ask for it, also in another
/// map (the cache is locked).
/// Cost: a change copies the lists in force.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_logic.h"
#include "dast/dast_info_list.h"
#include "dast/dast_info_list_cache.h"

class DastInfoMap;

class SORV_API DastContext : public AceAttach {
 public:
  DastContext() : DastContext(0) {}
  explicit DastContext(int num_slots);
  /// A copy.
  explicit DastContext(const DastContext* other);
  DastContext(const DastContext&) = delete;
  DastContext& operator=(const DastContext&) = delete;
  ~DastContext();

  /// Takes a copy of the logic, whose nodes become the slots. Restrictions of the old one go.
  void add_logic(const DareLogicConfig* logic);
  /// One more than the highest record id; what stands for all records ends there.
  void set_max_record(Large num_records) { maxRecord = num_records; }

  // The default context. Null and NOT_USED stand for all records.

  void set_default_context(const DastInfoList* list);
  /// Intersects it with a list.
  void refine_default_context(const DastInfoList* list);
  void clear_default_context();
  /// Counts the restrictions anew, and restricts the context to the default one. Returns their number.
  int apply_default_context();
  /// The default context as it was set, before it was refined; null for none.
  const DastInfoList* get_orig_context() const { return now.origDefContext; }

  // Restrictions. Those that return int give the number of restrictions in force (a default context counts
  // as one), or -1 for no leaf.

  int narrow(int slot, const DastInfoList* hits);
  int release(int slot);
  /// Sets a slot's list, to be put in force by `select`. Returns 0; -1 while a selection is in force.
  int preselect(int slot, const DastInfoList* list);
  int select();
  /// Drops all restrictions but the default context.
  void clear();
  void clear_cache();

  GrandMask get_restriction() const { return now.restrictPattern; }
  bool is_in_context(int slot) const;
  int get_num_restrict() const { return now.numRestrict; }
  /// No slot is in force.
  bool is_released() const { return now.restrictPattern == 0; }
  /// Slots are set, but not in force.
  bool is_preselected() const { return now.isPending; }

  // The records.

  /// Their number; -1 when all are possible.
  int get_size() const;
  bool has(Large record) const;
  /// Whether one of these records is possible.
  bool has_intersection(const DastInfoList* list) const;
  /// Stores the records, ascending. When all are possible those are 1 to `max`. With a `limit` from 1 on,
  /// none are stored when there are more. Returns their number.
  int get_full_list(const Large** out, int max, AceAttach* at, int limit) const;
  /// Null when all are possible.
  const DastInfoList* get_current() const;
  /// The same as entries of the map's coarse side; null when all are possible, and for a null map.
  const DastInfoList* get_current(const DastInfoMap* map) const;
  /// Elements of the list; 0 when all are possible.
  Large get_length() const;
  DastInfoListCache* get_context_list_cache() const;

  // What commands change, to be put back when one of them fails. Copies share the arrays of lists.

  struct State {
    std::shared_ptr<AceAttach> slotAt = std::make_shared<AceAttach>();  // arrays of the slots
    std::shared_ptr<AceAttach> defAt = std::make_shared<AceAttach>();   // lists of the default context
    int numRestrict = 0;
    GrandMask restrictPattern = 0;
    bool isPending = false;               // slots are set by `preselect`
    std::vector<DastInfoList> infoSlots;  // at least slot 0
    DastInfoList combined;                // slot 0 within the default context
    DastInfoList* defaultContext = nullptr;
    DastInfoList* origDefContext = nullptr;
  };
  State keep() const { return now; }
  void put_back(State kept);

 private:
  DastInfoList* slots() { return now.infoSlots.data(); }
  bool has_default() const { return now.defaultContext != nullptr; }
  bool has_selection() const { return now.numRestrict > (has_default() ? 1 : 0); }
  bool is_leaf(int slot) const;
  DastInfoList bounded(const DastInfoList* list, AceAttach* at) const;
  void keep_default(const DastInfoList* list);
  void take_restriction(GrandMask restriction);

  State now;
  std::unique_ptr<DareLogicConfig> logicConfig = std::make_unique<DareLogicConfig>();
  Large maxRecord = DastInfoList::NONE;

  // Made when asked for.
  mutable std::mutex cacheLock;
  mutable AceAttach cacheAt;
  mutable std::map<const DastInfoMap*, const DastInfoList*> cachedContext;
  mutable std::unique_ptr<DastInfoListCache> contextCache;
  mutable int cachedSize = -1;
};
