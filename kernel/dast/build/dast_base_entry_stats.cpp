#include <algorithm>
#include <charconv>
#include <numeric>

#include "ace/ace_bits.h"
#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_flags.h"
#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "dast/build/dast_base_entry_stats_internal.h"
#include "dast/dast_alias_gen_cache.h"
#include "dast/dast_alias_gen_config.h"
#include "dast/dast_alias_generator.h"
#include "dast/dast_base_method.h"
#include "dast/dast_string_storage.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_index.h"

namespace {

using Flags = DastFieldFlags;

constexpr Large NONE = ~Large{0};
constexpr int WORST_PENALTY = 255;
/// Of a field with more unique values than that, a hint is given when they are more than 90 % of the entries.
constexpr Large FEW_VALUES = 10;

VUint number_of(std::string_view digits) {
  VUint value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

}  // namespace

DastBaseEntryStats::Field::Field(DastBaseField* field, DastBaseStats::Field* stats, std::string tera_name)
    : itsField(field), fieldStats(stats), fieldWriter(tera_name.c_str()) {
  if (!has(Flags::IS_INTERVAL)) return;
  intervalArray = std::make_unique<DastInterval>();
  intervalArray->add(0, true);  // entry 0 is no record
}

// ---------------------------------------------------------------- base ids
// A base id is the place of a distinct string in the order that the field is shown in; 0 is the empty one.

void DastBaseEntryStats::Field::compile(Large num_records, const std::string& partials_name,
                                        DastAliasGenCache* cache, AceReporter* rep) {
  if (itsField->is_basic()) {
    if (itsField->globalAlias != nullptr || itsField->antiAlias != nullptr ||
        itsField->aliasGenerator != nullptr)
      throw AceException("Invalid alias list",
                         "field '%s' has BASIC features; alias lists and generators need ADVANCED ones",
                         itsField->get_name());
    if (has(Flags::NUMERIC_STORAGE))
      itsField->stringStorage = DastStringStorage::create_numeric_storage(
          fieldStats->maxNumeric, static_cast<int>(num_records + fieldStats->numLocalAliases));
    return;
  }
  read_aliases(itsField->globalAlias, false, rep);
  read_aliases(itsField->antiAlias, true, rep);
  generate_aliases(cache, rep);
  assign_ids();
  write_values();
  if (has(Flags::IS_PARTIAL) && !partials_name.empty()) write_partials(partials_name);
}

void DastBaseEntryStats::Field::read_aliases(TeraAliasReader* reader, bool is_anti, AceReporter* rep) {
  if (reader == nullptr) return;
  reader->rewind();
  DastValueTable& values = fieldStats->singles;
  const char* target = nullptr;
  const char* alias = nullptr;
  int penalty = 0;
  VInt line = 0;
  int rc = 0;
  while ((rc = reader->read_entry(&target, &alias, &penalty, &line)) > 0) {
    if (penalty < 0 || penalty > WORST_PENALTY)
      throw AceException("Invalid alias list",
                         "field '%s', line %ld: a penalty from 0 to 255 expected, %d found",
                         itsField->get_name(), line + 1, penalty);
    const auto normal = [&](const char* text) {
      return has(Flags::NUMERIC_STORAGE) ? dast_normal_number(text) : std::string_view(text);
    };
    if (target == nullptr) {
      if (!is_anti) frequentValues.push_back(values.enter(normal(alias)));
      continue;
    }
    const Large targetValue = values.find(normal(target));
    if (targetValue == NONE) continue;  // nothing can be found through it
    const Large aliasValue = is_anti ? values.find(normal(alias)) : values.enter(normal(alias));
    if (aliasValue == NONE || aliasValue == targetValue) continue;
    aliasPairs.push_back(
        {aliasValue, targetValue, is_anti ? DastBaseField::ANTI_ALIAS : static_cast<Large>(penalty)});
  }
  if (rc < 0)
    throw AceException("Alias list cannot be read", "field '%s', line %ld", itsField->get_name(), line + 1);
  rep->printf("Field '%s': %zu pairs of aliases\n", itsField->get_name(), aliasPairs.size());
}

void DastBaseEntryStats::Field::generate_aliases(DastAliasGenCache* cache, AceReporter* rep) {
  if (itsField->aliasGenerator == nullptr) return;
  const auto generator = DastAliasGenerator::factory(itsField->aliasGenerator.get(), rep);
  if (generator == nullptr)
    throw AceException(
        "Invalid alias generator", "field '%s', generator '%s'", itsField->get_name(),
        itsField->aliasGenerator->generatorName != nullptr ? itsField->aliasGenerator->generatorName : "");
  DastValueTable& values = fieldStats->singles;
  const Large numValues = values.size();
  for (Large value = 0; value < numValues; ++value) {
    if (values[value].numRecords == 0 || values[value].length == 0) continue;
    const char* text = values[value].text;
    DastAliasResult result;
    if (cache == nullptr || cache->lookup(text, &result) < 0) {
      if (generator->generate_aliases(text, &result, rep) < 0)
        throw AceException("Alias generator fails", "field '%s', value '%s'", itsField->get_name(), text);
      if (cache != nullptr) cache->add(text, &result);
    }
    for (const GeneratedAlias* alias = result.get_first(); alias != nullptr; alias = alias->nextAlias) {
      const Large aliasValue = values.enter(alias->aliasString);
      const int penalty = std::clamp(alias->aliasPenalty, 0, WORST_PENALTY);
      if (aliasValue != value) generatedPairs.push_back({aliasValue, value, static_cast<Large>(penalty)});
    }
  }
}

/// Numbers the distinct strings in their order; the empty one has 0.
void DastBaseEntryStats::Field::assign_ids() {
  const DastValueTable& values = fieldStats->singles;
  std::vector<Large> order;
  for (Large value = 0; value < values.size(); ++value)
    if (values[value].length > 0) order.push_back(value);
  if (has(Flags::NUMERIC_STORAGE))
    order_by_number(&order);
  else
    order_by_collation(&order);
  isAlias.assign(values.size(), false);
  for (const auto* pairs : {&aliasPairs, &generatedPairs})
    for (const Alias& pair : *pairs) isAlias[pair.alias] = true;
  baseIds.assign(values.size(), 0);
  for (const Large value : order) baseIds[value] = numIds++;
  store_strings(order);
}

void DastBaseEntryStats::Field::order_by_number(std::vector<Large>* order) const {
  const DastValueTable& values = fieldStats->singles;
  std::sort(order->begin(), order->end(),
            [&](Large a, Large b) { return number_of(values[a].view()) < number_of(values[b].view()); });
}

/// By the collation; strings that are the same there by their bytes.
void DastBaseEntryStats::Field::order_by_collation(std::vector<Large>* order) {
  const DastValueTable& values = fieldStats->singles;
  std::sort(order->begin(), order->end(),
            [&](Large a, Large b) { return values[a].view() < values[b].view(); });
  const char* name = itsField->get_collation_name();
  struct GiveBack {
    void operator()(TeraCollation* collation) const { collation->destroy(); }
  };
  const std::unique_ptr<TeraCollation, GiveBack> collation(
      TeraCollation::factory(name != nullptr ? name : "ascii"));
  if (collation == nullptr)
    throw AceException("Unknown collation", "field '%s', collation '%s'", itsField->get_name(), name);
  if (name == nullptr || std::strcmp(name, "ascii") == 0) return;
  std::stable_sort(order->begin(), order->end(), [&](Large a, Large b) {
    return collation->compare_sort(values[a].text, values[b].text, 0) < 0;
  });
}

void DastBaseEntryStats::Field::store_strings(const std::vector<Large>& order) {
  const DastValueTable& values = fieldStats->singles;
  if (has(Flags::NUMERIC_STORAGE)) {
    auto storage =
        DastStringStorage::create_numeric_storage(fieldStats->maxNumeric, static_cast<int>(order.size()));
    for (const Large value : order)
      if (storage->add_entry(baseIds[value], values[value].text) < 0)
        throw AceException("Invalid number", "field '%s': '%s' in an alias list", itsField->get_name(),
                           values[value].text);
    itsField->stringStorage = std::move(storage);
    return;
  }
  if (!has(Flags::STRING_STORAGE)) return;
  std::string heap(1, '\0');
  heap.reserve(static_cast<std::size_t>(values.get_num_bytes()) + 1);
  std::vector<VInt> starts{0};
  for (const Large value : order) {
    starts.push_back(static_cast<VInt>(heap.size()));
    heap.append(values[value].text, values[value].length + std::size_t{1});
  }
  auto array = make_array(&heap, starts);
  const char* name = itsField->get_collation_name();
  if (array->resort(name != nullptr ? name : "ascii") < 0)
    throw AceException("Unknown collation", "field '%s', collation '%s'", itsField->get_name(), name);
  itsField->stringStorage = std::make_unique<DastStringStorage>(std::move(array));
}

std::unique_ptr<TeraIndex> DastBaseEntryStats::Field::make_array(std::string* heap,
                                                                 const std::vector<VInt>& starts) const {
  if (heap->size() >= VUint{NONE})
    throw AceException("Too many strings", "field '%s' has %zu bytes of strings, %u at most",
                       itsField->get_name(), heap->size(), NONE - 1);
  std::vector<const char*> strings;
  for (const VInt start : starts) strings.push_back(heap->data() + start);
  auto array = std::make_unique<TeraIndex>();
  if (array->heap_make(static_cast<int>(strings.size()), strings.data(), static_cast<Large>(heap->size()),
                       heap->data()) < 0)
    throw AceException("Strings cannot be stored", "field '%s'", itsField->get_name());
  return array;
}

/// Through aliases rare values are found, too.
bool DastBaseEntryStats::Field::is_indexed(Large value) const {
  const Large numRecords = fieldStats->singles[value].numRecords;
  return !has(Flags::IS_PARTIAL) || numRecords == 0 || VInt{numRecords} >= itsField->get_partial_freq() ||
         isAlias[value];
}

/// The distinct values for the method, in the order of their ids.
void DastBaseEntryStats::Field::write_values() {
  const DastValueTable& values = fieldStats->singles;
  std::vector<Large> valueOf(numIds, NONE);
  for (Large value = 0; value < values.size(); ++value) valueOf[baseIds[value]] = value;
  for (Large id = 1; id < numIds; ++id)
    if (is_indexed(valueOf[id])) fieldWriter.write(values[valueOf[id]].view(), id);
}

void DastBaseEntryStats::Field::write_partials(const std::string& name) const {
  AceFile file;
  if (file.build_atomic(name.c_str(), AceReporter::null()) < 0)
    throw AceException("File of frequent values cannot be written", "'%s'", name.c_str());
  const DastValueTable& values = fieldStats->singles;
  for (Large value = 0; value < values.size(); ++value)
    if (values[value].numRecords > 0 && values[value].length > 0 && is_indexed(value))
      file.put_line(
          (std::string(values[value].text) + "\t" + std::to_string(values[value].numRecords)).c_str());
  file.close();
}

// ---------------------------------------------------------------- entering
// Records come in their order: an entry is a record, or a run of records of one value.

Large DastBaseEntryStats::Field::next_entry(std::string_view value, Large record, bool force) {
  const bool isNew = fieldWriter.update_string(value);
  if (intervalArray == nullptr) return numEntries = record + 1, record;
  if (!isNew && !force) return NONE;
  const Large entry = intervalArray->get_num_bounds();
  intervalArray->add(record, true);
  numEntries = entry + 1;
  return entry;
}

void DastBaseEntryStats::Field::enter(std::string_view value, Large record, bool force) {
  const Large entry = next_entry(value, record, force);
  if (entry == NONE) return;  // goes on with its run
  if (itsField->is_basic())
    enter_basic(value, entry);
  else
    enter_advanced(value, entry);
}

void DastBaseEntryStats::Field::enter_basic(std::string_view value, Large entry) {
  bool isMain = true;
  dast_for_each_part(value, [&](std::string_view part) {
    if (!part.empty()) itsField->add_type(Flags::HAS_VALUES);
    if (isMain) {
      if (part.empty() && has(Flags::HAS_EMPTY_INDEXED)) emptyEntries.push_back(entry);
      store_basic(part, entry);
    } else {
      itsField->add_type(Flags::HAS_ALIASES);
      aliasStarts.push_back(static_cast<VInt>(aliasHeap.size()));
      aliasHeap.append(part).push_back('\0');
      aliasOwners.push_back(entry);
    }
    isMain = false;
  });
}

/// Main values come in the order of entries, aliases behind them.
void DastBaseEntryStats::Field::store_basic(std::string_view value, Large id) {
  if (has(Flags::NUMERIC_STORAGE)) {
    value = value.empty() ? value : dast_normal_number(value);
    itsField->stringStorage->add_entry(id, std::string(value).c_str());
  } else if (has(Flags::STRING_STORAGE)) {
    if (basicHeap.empty()) basicHeap.push_back('\0');  // id 0
    basicStarts.push_back(static_cast<VInt>(basicHeap.size()));
    basicHeap.append(value).push_back('\0');
  }
  fieldWriter.write(value, id);
}

void DastBaseEntryStats::Field::enter_advanced(std::string_view value, Large entry) {
  const std::size_t first = entryPairs.size();
  const bool isMulti = value.find('|') != std::string_view::npos;
  if (isMulti) itsField->add_type(Flags::HAS_ALIASES);
  dast_for_each_part(value, [&](std::string_view part) {
    if (!part.empty()) itsField->add_type(Flags::HAS_VALUES);
    if (part.empty() && !isMulti && !has(Flags::HAS_EMPTY_INDEXED)) return;
    if (has(Flags::NUMERIC_STORAGE) && !part.empty()) part = dast_normal_number(part);
    const Large number = fieldStats->singles.find(part);
    if (number == NONE) throw AceException("Record file has changed", "field '%s'", itsField->get_name());
    const Large id = baseIds[number];
    const auto isId = [id](const Pair& pair) { return pair.value == id; };
    if (std::none_of(entryPairs.begin() + static_cast<VInt>(first), entryPairs.end(), isId))
      entryPairs.push_back({entry, id});
  });
}

void DastBaseEntryStats::Field::close(Large num_records) {
  if (intervalArray != nullptr)
    intervalArray->add(num_records, true);
  else
    numEntries = num_records;
}

// ---------------------------------------------------------------- maps
// Pairs of numbers become maps: entries to ids and back, aliases to values and back.

int DastBaseEntryStats::Field::terminate(DastInfoMap* shared, AceReporter* rep) {
  itsField->numEntryIDs = numEntries;
  if (intervalArray != nullptr) make_info_map(shared);
  const int rc = itsField->is_basic() ? terminate_basic() : terminate_advanced();
  if (rc < 0) return rc;
  if (has(Flags::IN_INDEX_STORAGE)) {
    itsField->stringStorage =
        std::make_unique<DastStringStorage>(itsField->get_method(), itsField->allBaseIDs - 1);
    itsField->stringStorage->set_collation(itsField->get_collation_name());
  }
  warn_of_unique_values(rep);
  if (fieldWriter.close() == 1 && has(Flags::HAS_INDEX))
    rep->print_conf_opt(
        "No data in field: %s. Recommended: set Index Generation to NONE as long as the field will not be "
        "filled by "
        "INCREMENTAL or INSTANT updates.\n",
        itsField->get_name());
  return 0;
}

void DastBaseEntryStats::Field::make_info_map(DastInfoMap* shared) {
  if (shared != nullptr) {
    itsField->add_foreign_interval(shared);
    return;
  }
  static const AceTraceFlag speedUp("BUILD_INTERVAL_SPEEDUP", __FILE__, __LINE__);
  const int speed = speedUp.get();
  const bool isKnown = speed >= DastInfoMap::SPEEDUP_AUTOMATIC && speed <= DastInfoMap::SPEEDUP_NEVER;
  itsField->drop_info_map();
  itsField->clear_type(Flags::FOREIGN_INFO_MAP);
  itsField->infoMap = DastInfoMap::make_map(
      intervalArray.get(), nullptr,
      isKnown ? static_cast<DastInfoMap::Speedup>(speed) : DastInfoMap::SPEEDUP_AUTOMATIC,
      DastInfoMap::SIMILAR);
}

int DastBaseEntryStats::Field::terminate_basic() {
  const auto numAliases = static_cast<Large>(aliasOwners.size());
  itsField->numBaseIDs = numEntries;
  itsField->allBaseIDs = numEntries + numAliases;
  for (Large i = 0; i < numAliases; ++i) store_basic(aliasHeap.c_str() + aliasStarts[i], numEntries + i);
  if (has(Flags::STRING_STORAGE)) {
    if (basicHeap.empty()) basicHeap.push_back('\0');
    itsField->stringStorage = std::make_unique<DastStringStorage>(make_array(&basicHeap, basicStarts));
  }
  if (numAliases > 0) {
    itsField->aliasBits = std::make_unique<AceFlags>();
    itsField->aliasBits->init(numEntries);
    itsField->compAliasArray = std::make_unique<AceBits>(AceBits::num_bits(numEntries), numAliases);
    for (Large i = 0; i < numAliases; ++i) {
      itsField->aliasBits->set(aliasOwners[i]);
      itsField->compAliasArray->set(i, aliasOwners[i]);
    }
  }
  if (!has(Flags::HAS_EMPTY_INDEXED)) return 0;
  std::vector<Pair> pairs;
  for (const Large entry : emptyEntries) pairs.push_back({0, entry});
  return build_map(&itsField->baseToEntry, 1, pairs);
}

int DastBaseEntryStats::Field::terminate_advanced() {
  itsField->allBaseIDs = numIds;
  const DastValueTable& values = fieldStats->singles;
  Large numUsed = 1;
  for (Large value = 0; value < values.size(); ++value)
    numUsed += values[value].numRecords > 0 && values[value].length > 0 ? 1 : 0;
  itsField->numBaseIDs = numUsed;
  ACE_CALL(make_entry_to_base());
  ACE_CALL(make_base_to_entry());
  ACE_CALL(make_alias_maps());
  return 0;
}

/// A map of the pairs, whose values stay in their order for each key.
int DastBaseEntryStats::Field::build_map(std::unique_ptr<AceIdMap>* map, Large num_keys,
                                         const std::vector<Pair>& pairs) const {
  AceBulk bulk;
  std::vector<Large> counts(num_keys, 0);
  for (const Pair& pair : pairs) ++counts[pair.key];
  ListArray lists(num_keys, nullptr);
  for (const Pair& pair : pairs) {
    AceBulk::List*& list = lists[pair.key];
    if (list == nullptr) {
      list = bulk.get(static_cast<int>(counts[pair.key]));
      counts[pair.key] = 0;
    }
    (*list)[counts[pair.key]++] = pair.value;
  }
  *map = std::make_unique<AceIdMap>();
  return (*map)->build(num_keys, lists.data(), AceReporter::null());
}

int DastBaseEntryStats::Field::make_entry_to_base() {
  return build_map(&itsField->entryToBase, numEntries, entryPairs);
}

int DastBaseEntryStats::Field::make_base_to_entry() {
  std::vector<bool> isFrequent(numIds, false);
  for (const Large value : frequentValues) isFrequent[baseIds[value]] = true;
  std::vector<Pair> pairs;
  pairs.reserve(entryPairs.size());
  for (const Pair& pair : entryPairs)
    if (!isFrequent[pair.value] && (pair.value != 0 || has(Flags::HAS_EMPTY_INDEXED)))
      pairs.push_back({pair.value, pair.key});
  for (Large id = 1; id < numIds; ++id)
    if (isFrequent[id])
      for (const Large bound : {Large{0}, Large{0}, NONE}) pairs.push_back({id, bound});
  std::vector<Pair>().swap(entryPairs);
  return build_map(&itsField->baseToEntry, numIds, pairs);
}

int DastBaseEntryStats::Field::make_alias_maps() {
  const auto fill = [&](auto* map, const std::vector<Alias>& aliases, Large Alias::*key,
                        Large Alias::*value) {
    AceBulk bulk;
    ListArray lists(numIds, nullptr);
    for (const Alias& pair : aliases) {
      AceBulk::List*& list = lists[baseIds[pair.*key]];
      bulk.inc(list, baseIds[pair.*value]);
      bulk.inc(list, pair.penalty);
    }
    *map = std::make_unique<std::remove_reference_t<decltype(**map)>>();
    return (*map)->build(numIds, lists.data(), AceReporter::null());
  };
  if (!aliasPairs.empty() &&
      (fill(&itsField->aliasMap, aliasPairs, &Alias::alias, &Alias::target) < 0 ||
       fill(&itsField->reverseAliasMap, aliasPairs, &Alias::target, &Alias::alias) < 0))
    return -1;
  return generatedPairs.empty()
             ? 0
             : fill(&itsField->artificialAlias, generatedPairs, &Alias::alias, &Alias::target);
}

void DastBaseEntryStats::Field::warn_of_unique_values(AceReporter* rep) const {
  const VInt numIdsHere = itsField->numBaseIDs;
  if (itsField->is_basic() || itsField->has_intervals() || numIdsHere <= FEW_VALUES) return;
  if (numIdsHere * 100 <= VInt{numEntries} * 90) return;
  rep->print_conf_opt(
      "Field %s: Due to the number of unique strings it could be more efficient to use the BASIC feature set "
      "if dedup, "
      "sorting, counting or global aliases are not used.\n",
      itsField->get_name());
}
