#include "dare/dare_context.h"

#include <algorithm>
#include <utility>

#include "ace/ace_time_analysis.h"
#include "dast/dast_info_map.h"

DastContext::DastContext(int num_slots) {
  now.infoSlots.resize(static_cast<std::size_t>(std::max(num_slots, 1)));
}

DastContext::DastContext(const DastContext* other)
    : logicConfig(std::make_unique<DareLogicConfig>(other->logicConfig.get())), maxRecord(other->maxRecord) {
  now.numRestrict = other->now.numRestrict;
  now.restrictPattern = other->now.restrictPattern;
  now.isPending = other->now.isPending;
  for (const DastInfoList& list : other->now.infoSlots) now.infoSlots.emplace_back(list, now.slotAt.get());
  if (other->now.defaultContext != nullptr)
    now.defaultContext = new (now.defAt.get()) DastInfoList(*other->now.defaultContext, now.defAt.get());
  if (other->now.origDefContext != nullptr)
    now.origDefContext = new (now.defAt.get()) DastInfoList(*other->now.origDefContext, now.defAt.get());
  apply_default_context();
}

DastContext::~DastContext() = default;

void DastContext::add_logic(const DareLogicConfig* logic) {
  logicConfig->copy(logic);
  now.infoSlots.assign(static_cast<std::size_t>(std::max(logic->get_num_slots(), 1)), DastInfoList());
  clear();
}

bool DastContext::is_leaf(int slot) const {
  if (slot < 0 || slot >= std::min(logicConfig->get_num_slots(), DareLogicConfig::MAX_NODES)) return false;
  auto iter = logicConfig->get_node_iter();
  const DareLogicConfig::Node* node = iter.next();
  while (node != nullptr && node->logicId != slot) node = iter.next();
  return node != nullptr && node->nodeType == DareLogicConfig::FIELD;
}

/// A copy in which what stands for all records has an end.
DastInfoList DastContext::bounded(const DastInfoList* list, AceAttach* at) const {
  if (!list->is_frequent()) return DastInfoList(*list, at);
  Large* pair = nullptr;
  at->malloc(pair, 2);
  pair[0] = 1;
  pair[1] = std::max<Large>(maxRecord, 2);
  return DastInfoList(2, pair, true);
}

void DastContext::keep_default(const DastInfoList* list) {
  now.defaultContext = nullptr;
  if (list != nullptr && list->get_type() != DastInfoList::NOT_USED)
    now.defaultContext = new (now.defAt.get()) DastInfoList(bounded(list, now.defAt.get()));
}

void DastContext::set_default_context(const DastInfoList* list) {
  const auto old = std::exchange(now.defAt, std::make_shared<AceAttach>());  // `list` may be in it
  keep_default(list);
  now.origDefContext = now.defaultContext;
  clear_cache();
  apply_default_context();
}

void DastContext::refine_default_context(const DastInfoList* list) {
  if (list == nullptr || list->get_type() == DastInfoList::NOT_USED) return;
  if (now.defaultContext == nullptr) {
    keep_default(list);
  } else {
    auto* const refined = new (now.defAt.get()) DastInfoList(*now.defaultContext);
    refined->intersect_with(list, now.defAt.get());
    now.defaultContext = new (now.defAt.get()) DastInfoList(*refined, now.defAt.get());
  }
  clear_cache();
  apply_default_context();
}

void DastContext::clear_default_context() {
  now.defaultContext = now.origDefContext = nullptr;
  clear();
  now.defAt = std::make_shared<AceAttach>();
}

int DastContext::apply_default_context() {
  now.numRestrict = 0;
  for (GrandMask bits = now.isPending ? 0 : now.restrictPattern; bits != 0; bits &= bits - 1)
    ++now.numRestrict;
  now.combined = now.infoSlots[0];
  if (now.defaultContext == nullptr) return now.numRestrict;
  if (now.combined.get_type() == DastInfoList::NOT_USED)
    now.combined = *now.defaultContext;
  else
    now.combined.intersect_with(now.defaultContext, now.slotAt.get());
  return ++now.numRestrict;
}

/// Takes over the slots in force; what the others held is freed.
void DastContext::take_restriction(GrandMask restriction) {
  now.restrictPattern = restriction;
  now.isPending = false;
  auto fresh = std::make_shared<AceAttach>();
  for (std::size_t slot = 0; slot < now.infoSlots.size(); ++slot) {
    if (is_in_context(static_cast<int>(slot))) {
      now.infoSlots[slot].ensure_no_reference(fresh.get());
      now.infoSlots[slot] = DastInfoList(now.infoSlots[slot], fresh.get());
    } else {
      now.infoSlots[slot].reset();
    }
  }
  now.slotAt = std::move(fresh);
  apply_default_context();
}

int DastContext::narrow(int slot, const DastInfoList* hits) {
  if (!is_leaf(slot) || hits == nullptr || hits->get_type() == DastInfoList::NOT_USED) return -1;
  clear_cache();
  const DastInfoList list = bounded(hits, now.slotAt.get());
  take_restriction(
      logicConfig->narrow(slot, &list, slots(), now.restrictPattern, maxRecord, now.slotAt.get()));
  return now.numRestrict;
}

int DastContext::release(int slot) {
  if (!is_leaf(slot)) return -1;
  clear_cache();
  take_restriction(logicConfig->release(slot, slots(), now.restrictPattern, maxRecord, now.slotAt.get()));
  return now.numRestrict;
}

int DastContext::preselect(int slot, const DastInfoList* list) {
  if (has_selection() || !is_leaf(slot) || list == nullptr || list->get_type() == DastInfoList::NOT_USED)
    return -1;
  clear_cache();
  now.infoSlots[static_cast<std::size_t>(slot)] = bounded(list, now.slotAt.get());
  now.infoSlots[static_cast<std::size_t>(slot)].ensure_no_reference(now.slotAt.get());
  now.restrictPattern |= GrandMask{1} << slot;
  now.isPending = true;
  return 0;
}

int DastContext::select() {
  if (!now.isPending) return -1;
  clear_cache();
  take_restriction(logicConfig->select(slots(), now.restrictPattern, maxRecord, now.slotAt.get()));
  return now.numRestrict;
}

void DastContext::clear() {
  clear_cache();
  take_restriction(0);
}

void DastContext::put_back(State kept) {
  clear_cache();
  now = std::move(kept);
}

void DastContext::clear_cache() {
  const std::lock_guard<std::mutex> guard(cacheLock);
  cachedContext.clear();
  contextCache.reset();
  cacheAt.release();
  cachedSize = -1;
}

bool DastContext::is_in_context(int slot) const {
  return slot >= 0 && slot < DareLogicConfig::MAX_NODES && (now.restrictPattern >> slot & 1) != 0;
}

const DastInfoList* DastContext::get_current() const {
  return has_default() || has_selection() ? &now.combined : nullptr;
}

int DastContext::get_size() const {
  const DastInfoList* const context = get_current();
  if (context == nullptr) return -1;
  const std::lock_guard<std::mutex> guard(cacheLock);
  if (cachedSize < 0) cachedSize = static_cast<int>(std::min<Large>(context->get_size(), 0x7FFFFFFF));
  return cachedSize;
}

bool DastContext::has(Large record) const {
  const DastInfoList* const context = get_current();
  return context == nullptr || context->has(record);
}

bool DastContext::has_intersection(const DastInfoList* list) const {
  const DastInfoList* const context = get_current();
  return context == nullptr ? !list->is_empty() : context->has_intersection(list);
}

int DastContext::get_full_list(const Large** out, int max, AceAttach* at, int limit) const {
  *out = nullptr;
  const int size = get_size();
  if (limit > 0 && size > limit) return 0;
  if (const DastInfoList* const context = get_current(); context != nullptr)
    return static_cast<int>(context->get_single(out, at, maxRecord));
  Large* records = nullptr;
  at->malloc(records, std::max(max, 0));
  for (int i = 0; i < max; ++i) records[i] = static_cast<Large>(i) + 1;
  *out = records;
  return std::max(max, 0);
}

const DastInfoList* DastContext::get_current(const DastInfoMap* map) const {
  const DastInfoList* const context = get_current();
  if (context == nullptr || map == nullptr) return nullptr;
  const std::lock_guard<std::mutex> guard(cacheLock);
  const DastInfoList*& mapped = cachedContext[map];
  if (mapped == nullptr) mapped = map->up(context, &cacheAt);
  return mapped;
}

Large DastContext::get_length() const {
  const DastInfoList* const context = get_current();
  return context != nullptr ? context->get_length() : 0;
}

DastInfoListCache* DastContext::get_context_list_cache() const {
  const std::lock_guard<std::mutex> guard(cacheLock);
  if (contextCache == nullptr) contextCache = std::make_unique<DastInfoListCache>(get_current());
  return contextCache.get();
}
