// From the base ids that a method has found to candidates with their entries.
#include <algorithm>
#include <memory>
#include <vector>

#include "ace/ace_id_map.h"
#include "ace/ace_tracer.h"
#include "dast/dast_base_field.h"
#include "dast/dast_info_list.h"
#include "dast/dast_quality_cache.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int PERFECT = 255;

template <class Visit>
void for_each_edge(TeraScanGraph* graph, Visit visit) {
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr) visit(edge);
}

}  // namespace

/// Makes the resolved form of one result after the other.
class DastBaseField::Resolver {
 public:
  Resolver(const DastBaseField* field, DastQualityCache* cache, Large offset, bool has_strings)
      : itsField(field), qualityCache(cache), cacheOffset(offset), hasStrings(has_strings) {}

  std::unique_ptr<TeraResult> resolve(TeraResult* found);

 private:
  /// What is known of a base id.
  struct Reached {
    Large id;
    int quality;       // with aliases
    int direct;        // before them; -1 for what only aliases have reached
    const char* text;  // of the candidate
  };

  void collect(const TeraResult& found);
  void unite();
  void follow_aliases();
  void follow(const AceIdMap* map, const Reached& from);
  void remove_anti_aliases();
  static void add_special(int quality, const TeraCand& cand, TeraResult* resolved);
  void add_all(TeraResult* resolved) const;
  void add_basic(const Reached& reached, TeraResult* resolved) const;
  void add_advanced(const Reached& reached, TeraResult* resolved) const;
  const char* string_of(const Reached& reached, TeraResult* resolved) const;

  const DastBaseField* itsField;
  DastQualityCache* qualityCache;
  Large cacheOffset;
  bool hasStrings;
  std::vector<Reached> reachedIds;
};

std::unique_ptr<TeraResult> DastBaseField::Resolver::resolve(TeraResult* found) {
  auto resolved = std::make_unique<TeraResult>(found->get_string(), found);
  resolved->set_flags(found);
  resolved->add_query(found->get_query(), 1);
  collect(*found);
  unite();
  if (!itsField->is_basic()) follow_aliases();
  add_all(resolved.get());
  for (const TeraCandGroup* group = found->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      if (cand->is_special()) add_special(group->get_value(), *cand, resolved.get());
  resolved->set_next_value(std::max(resolved->next_value(), found->next_value()));
  resolved->set_best_frequent(std::max(resolved->get_best_frequent(), found->get_best_frequent()));
  resolved->set_resolved();
  resolved->merge(found);  // strings and arrays of the candidates that were copied
  return resolved;
}

/// What comes from no index has no entries, whatever its number told.
void DastBaseField::Resolver::add_special(int quality, const TeraCand& cand, TeraResult* resolved) {
  auto copy = std::make_unique<TeraCand>(cand);
  if (cand.is(TeraCand::ARTIFICIAL)) copy->set_infos(0, nullptr);
  resolved->add(quality, copy.release());
}

void DastBaseField::Resolver::collect(const TeraResult& found) {
  reachedIds.clear();
  for (const TeraCandGroup* group = found.get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
      if (cand->is_special()) continue;
      const char* text = cand->is(TeraCand::COLLECTION) ? nullptr : cand->get_string();
      for (Large i = 0; i < cand->get_num_infos(); ++i)
        if (const Large id = cand->get_info(i); id < itsField->allBaseIDs)  // else an index of another base
          reachedIds.push_back({id, group->get_value(), group->get_value(), text});
    }
}

/// Orders by id; each id once, with the best that is known of it.
void DastBaseField::Resolver::unite() {
  std::stable_sort(reachedIds.begin(), reachedIds.end(),
                   [](const Reached& a, const Reached& b) { return a.id < b.id; });
  std::size_t end = 0;
  for (const Reached& reached : reachedIds) {
    if (end == 0 || reachedIds[end - 1].id != reached.id) {
      reachedIds[end++] = reached;
      continue;
    }
    Reached& known = reachedIds[end - 1];
    known.quality = std::max(known.quality, reached.quality);
    known.direct = std::max(known.direct, reached.direct);
  }
  reachedIds.resize(end);
}

void DastBaseField::Resolver::follow_aliases() {
  const std::size_t numDirect = reachedIds.size();
  for (std::size_t i = 0; i < numDirect; ++i) {
    const Reached from = reachedIds[i];
    follow(itsField->aliasMap.get(), from);
    follow(itsField->artificialAlias.get(), from);
  }
  if (reachedIds.size() > numDirect) unite();
  if (itsField->aliasMap != nullptr) remove_anti_aliases();
}

void DastBaseField::Resolver::follow(const AceIdMap* map, const Reached& from) {
  if (map == nullptr) return;
  const IdList pairs = map->get(from.id);
  for (Large i = 0; i + 1 < pairs.count; i += 2) {
    const bool isKnown = pairs[i] < itsField->allBaseIDs && pairs[i + 1] != ANTI_ALIAS;
    const int quality = from.quality - static_cast<int>(std::min<Large>(pairs[i + 1], ANTI_ALIAS));
    if (isKnown && quality >= 0) reachedIds.push_back({pairs[i], quality, -1, nullptr});
  }
}

/// What is found perfectly excludes those values that are known not to be meant by it.
void DastBaseField::Resolver::remove_anti_aliases() {
  std::vector<Large> excluded;
  for (const Reached& reached : reachedIds) {
    if (reached.direct != PERFECT) continue;
    const IdList pairs = itsField->aliasMap->get(reached.id);
    for (Large i = 0; i + 1 < pairs.count; i += 2)
      if (pairs[i + 1] == ANTI_ALIAS) excluded.push_back(pairs[i]);
  }
  if (excluded.empty()) return;
  std::sort(excluded.begin(), excluded.end());
  std::erase_if(reachedIds, [&](const Reached& reached) {
    return std::binary_search(excluded.begin(), excluded.end(), reached.id);
  });
}

void DastBaseField::Resolver::add_all(TeraResult* resolved) const {
  const bool isBasic = itsField->is_basic();
  for (const Reached& reached : reachedIds) {
    if (qualityCache != nullptr)
      qualityCache->insert(reached.id + cacheOffset, reached.quality, std::max(reached.direct, 0));
    if (!resolved->accept(reached.quality)) continue;
    if (isBasic)
      add_basic(reached, resolved);
    else
      add_advanced(reached, resolved);
  }
}

/// In the base, or in the result; empty where none are wanted.
const char* DastBaseField::Resolver::string_of(const Reached& reached, TeraResult* resolved) const {
  if (!hasStrings) return "";
  if (reached.id == 0) return reached.text != nullptr ? reached.text : "";
  const char* string = itsField->get_string_by_baseid(reached.id, resolved);
  return string != nullptr ? string : reached.text;
}

void DastBaseField::Resolver::add_advanced(const Reached& reached, TeraResult* resolved) const {
  const Large* entries = nullptr;
  const Large count = itsField->get_entry_ids(reached.id, &entries, nullptr);
  if (count == 0 && reached.id != 0) return;  // an alias that no record has
  auto cand = std::make_unique<TeraCand>(string_of(reached, resolved), count, entries);
  if (count > 2 && entries[0] == 0) cand->add_state(TeraCand::FREQUENT);
  if (reached.direct < 0) cand->add_state(TeraCand::SECONDARY);
  resolved->add(reached.quality, cand.release());
}

/// An entry stands once for each of its strings that were found.
void DastBaseField::Resolver::add_basic(const Reached& reached, TeraResult* resolved) const {
  if (reached.id == 0) {
    const Large* entries = nullptr;
    const Large count = itsField->get_entry_ids(0, &entries, nullptr);
    resolved->add(reached.quality, new TeraCand(string_of(reached, resolved), count, entries));
    return;
  }
  const Large owner = itsField->owner_of_alias(reached.id);
  if (owner < itsField->numEntryIDs)
    resolved->add(reached.quality, new TeraCand(string_of(reached, resolved), owner));
}

namespace {

/// Long lists of a field that finds only frequent values cost more than they tell: together they become one
/// candidate that stands for all records.
void make_partial(TeraResult* result, Large max_len) {
  int best = -1;
  const char* string = nullptr;
  const auto isLong = [max_len](const TeraCand* cand) { return cand->get_num_infos() > max_len; };
  for (const TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      if (isLong(cand) && group->get_value() > best) {
        best = group->get_value();
        string = cand->get_string();
      }
  if (best < 0) return;
  result->remove_any(isLong);
  static constexpr Large ALL_RECORDS[] = {0, 0, DastInfoList::NONE};
  auto cand = std::make_unique<TeraCand>(string, 3, ALL_RECORDS);
  cand->add_state(TeraCand::FREQUENT);
  result->add(best, cand.release());
}

}  // namespace

int DastBaseField::resolve(TeraScanGraph* graph, DastQualityCache* qcache, Large offset,
                           bool has_strings) const {
  Resolver resolver(this, qcache, offset, has_strings);
  for_each_edge(graph,
                [&](auto* edge) { edge->replace_result(resolver.resolve(edge->get_result()).release()); });
  graph->set_resolved();
  static const AceTraceFlag maxLength("MAX_INFO_LIST_LENGTH", __FILE__, __LINE__);
  if (const int length = maxLength.get(); length > 0 && has_type(DastFieldFlags::IS_PARTIAL))
    for_each_edge(graph, [&](auto* edge) { make_partial(edge->get_result(), static_cast<Large>(length)); });
  return 0;
}
