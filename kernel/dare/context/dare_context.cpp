#include "dare/dare_context.h"

#include <algorithm>
#include <utility>

#include "ace/ace_time_analysis.h"
#include "dast/dast_info_map.h"

DastContext::DastContext(int num_slots) : infoSlots(static_cast<std::size_t>(std::max(num_slots, 1))) {}

DastContext::DastContext(const DastContext* other)
    : numRestrict(other->numRestrict),
      restrictPattern(other->restrictPattern),
      isPending(other->isPending),
      infoSlots(other->infoSlots.size()),
      logicConfig(std::make_unique<DareLogicConfig>(other->logicConfig.get())),
      maxRecord(other->maxRecord) {
  for (std::size_t i = 0; i < infoSlots.size(); ++i)
    infoSlots[i] = DastInfoList(other->infoSlots[i], slotAt.get());
  if (other->defaultContext != nullptr)
    defaultContext = new (&defAt) DastInfoList(*other->defaultContext, &defAt);
  if (other->origDefContext != nullptr)
    origDefContext = new (&defAt) DastInfoList(*other->origDefContext, &defAt);
  apply_default_context();
}

DastContext::~DastContext() = default;

void DastContext::add_logic(const DareLogicConfig* logic) {
  logicConfig->copy(logic);
  infoSlots.assign(static_cast<std::size_t>(std::max(logic->get_num_slots(), 1)), DastInfoList());
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
  defaultContext = nullptr;
  if (list != nullptr && list->get_type() != DastInfoList::NOT_USED)
    defaultContext = new (&defAt) DastInfoList(bounded(list, &defAt));
}

void DastContext::set_default_context(const DastInfoList* list) {
  AceAttach old;
  std::swap(old.memList, defAt.memList);  // `list` may be in it
  keep_default(list);
  origDefContext = defaultContext;
  clear_cache();
  apply_default_context();
}

void DastContext::refine_default_context(const DastInfoList* list) {
  if (list == nullptr || list->get_type() == DastInfoList::NOT_USED) return;
  if (defaultContext == nullptr) {
    keep_default(list);
  } else {
    auto* const refined = new (&defAt) DastInfoList(*defaultContext);
    refined->intersect_with(list, &defAt);
    defaultContext = new (&defAt) DastInfoList(*refined, &defAt);
  }
  clear_cache();
  apply_default_context();
}

void DastContext::clear_default_context() {
  defaultContext = origDefContext = nullptr;
  clear();
  defAt.release();
}

int DastContext::apply_default_context() {
  numRestrict = 0;
  for (GrandMask bits = isPending ? 0 : restrictPattern; bits != 0; bits &= bits - 1) ++numRestrict;
  combined = infoSlots[0];
  if (defaultContext == nullptr) return numRestrict;
  if (combined.get_type() == DastInfoList::NOT_USED)
    combined = *defaultContext;
  else
    combined.intersect_with(defaultContext, slotAt.get());
  return ++numRestrict;
}

/// Takes over the slots in force; what the others held is freed.
void DastContext::take_restriction(GrandMask restriction) {
  restrictPattern = restriction;
  isPending = false;
  auto fresh = std::make_unique<AceAttach>();
  for (std::size_t slot = 0; slot < infoSlots.size(); ++slot) {
    if (is_in_context(static_cast<int>(slot))) {
      infoSlots[slot].ensure_no_reference(fresh.get());
      infoSlots[slot] = DastInfoList(infoSlots[slot], fresh.get());
    } else {
      infoSlots[slot].reset();
    }
  }
  slotAt = std::move(fresh);
  apply_default_context();
}

int DastContext::narrow(int slot, const DastInfoList* hits) {
  if (!is_leaf(slot) || hits == nullptr || hits->get_type() == DastInfoList::NOT_USED) return -1;
  clear_cache();
  const DastInfoList list = bounded(hits, slotAt.get());
  take_restriction(logicConfig->narrow(slot, &list, slots(), restrictPattern, maxRecord, slotAt.get()));
  return numRestrict;
}

int DastContext::release(int slot) {
  if (!is_leaf(slot)) return -1;
  clear_cache();
  take_restriction(logicConfig->release(slot, slots(), restrictPattern, maxRecord, slotAt.get()));
  return numRestrict;
}

int DastContext::preselect(int slot, const DastInfoList* list) {
  if (has_selection() || !is_leaf(slot) || list == nullptr || list->get_type() == DastInfoList::NOT_USED)
    return -1;
  clear_cache();
  infoSlots[static_cast<std::size_t>(slot)] = bounded(list, slotAt.get());
  infoSlots[static_cast<std::size_t>(slot)].ensure_no_reference(slotAt.get());
  restrictPattern |= GrandMask{1} << slot;
  isPending = true;
  return 0;
}

int DastContext::select() {
  if (!isPending) return -1;
  clear_cache();
  take_restriction(logicConfig->select(slots(), restrictPattern, maxRecord, slotAt.get()));
  return numRestrict;
}

void DastContext::clear() {
  clear_cache();
  take_restriction(0);
}

void DastContext::clear_cache() {
  const std::lock_guard<std::mutex> guard(cacheLock);
  cachedContext.clear();
  contextCache.reset();
  cacheAt.release();
  cachedSize = -1;
}

bool DastContext::is_in_context(int slot) const {
  return slot >= 0 && slot < DareLogicConfig::MAX_NODES && (restrictPattern >> slot & 1) != 0;
}

const DastInfoList* DastContext::get_current() const {
  return has_default() || has_selection() ? &combined : nullptr;
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
