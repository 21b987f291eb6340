// Strings of a field by base id and record, and ids and records by string.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <numeric>

#include "ace/ace_bits.h"
#include "ace/ace_flags.h"
#include "ace/ace_id_map.h"
#include "dast/dast_base_field.h"
#include "dast/dast_base_method.h"
#include "dast/dast_info_list.h"
#include "dast/dast_quality_cache.h"
#include "dast/dast_string_storage.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr Large NONE = ~Large{0};

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};

Large copy_list(const std::vector<Large>& list, const Large** out, AceAttach* at) {
  Large* copy = nullptr;
  at->malloc(copy, static_cast<long>(list.size()));
  std::copy(list.begin(), list.end(), copy);
  *out = copy;
  return static_cast<Large>(list.size());
}

}  // namespace

// ---------------------------------------------------------------- strings
// What a storage type keeps decides who is asked: strings of the field, entries of its index, or items of
// the method.

/// Without a storage the index may know the string.
const char* DastBaseField::show_base_id(Large base_id, AceAttach* at) const {
  if (stringStorage != nullptr && stringStorage->get_type() != DastStringStorage::EMPTY)
    return stringStorage->get_string(base_id, at);
  return baseMethod != nullptr ? baseMethod->show(base_id, at) : nullptr;
}

const char* DastBaseField::get_string_by_baseid(Large base_id, AceAttach* at) const {
  if (base_id >= allBaseIDs) return nullptr;
  return base_id == 0 ? "" : show_base_id(base_id, at);
}

bool DastBaseField::is_empty_string(Large base_id) const {
  if (base_id == 0) return true;
  AceAttach at;
  const char* string = get_string_by_baseid(base_id, &at);
  return string != nullptr && string[0] == '\0';
}

Large DastBaseField::get_entry_id_by_rec_id(Large record) const {
  if (!has_intervals()) return record < numEntryIDs ? record : NONE;
  return infoMap != nullptr ? infoMap->up(record) : NONE;
}

Large DastBaseField::get_base_ids(Large record, const Large** ids, AceAttach* at) const {
  *ids = nullptr;
  const Large entry = get_entry_id_by_rec_id(record);
  if (record == 0 || entry == NONE || entry == 0 || entry >= numEntryIDs) return 0;
  if (!is_basic()) return entryToBase != nullptr ? entryToBase->get_array(entry, ids) : 0;
  std::vector<Large> list{entry};
  if (aliasBits != nullptr && compAliasArray != nullptr && aliasBits->get(entry)) {
    // The aliases of an entry are neighbours, in the order of the entries.
    VInt alias = compAliasArray->search(entry, 0);
    for (; alias >= 0 && alias < compAliasArray->get_num_keys() && compAliasArray->get(alias) == entry;
         ++alias)
      list.push_back(numEntryIDs + static_cast<Large>(alias));
  }
  return copy_list(list, ids, at);
}

/// The values of a record that are shown, in their order.
std::vector<Large> DastBaseField::choose_ids(std::span<const Large> ids, DastOptions::AliasDisplay display,
                                             const DastQualityCache* quals) const {
  using Options = DastOptions;
  if (display == Options::ALL || display == Options::EVERYTHING) return {ids.begin(), ids.end()};
  std::vector<Large> chosen;
  if (quals != nullptr && (display == Options::BEST || display == Options::HIT))
    for (const Large id : ids)
      if (quals->lookup(id) != DastQualityCache::NONE) chosen.push_back(id);
  const auto isWorse = [quals](Large a, Large b) { return quals->lookup(a) < quals->lookup(b); };
  if (display == Options::BEST && !chosen.empty())
    chosen = {*std::max_element(chosen.begin(), chosen.end(), isWorse)};
  return chosen.empty() ? std::vector<Large>{ids[0]} : chosen;
}

/// The map leads from aliases to values; the way back is rarely asked for.
std::span<const DastBaseField::GeneratedAlias> DastBaseField::get_generated_aliases(Large base_id) const {
  if (artificialAlias == nullptr) return {};
  const std::lock_guard<std::mutex> lock(generatedLock);
  if (generatedAlias.empty()) {
    for (Large alias = 0; alias < artificialAlias->get_num_keys(); ++alias) {
      const IdList pairs = artificialAlias->get(alias);
      for (Large i = 0; i + 1 < pairs.count; i += 2) generatedAlias.push_back({pairs[i], alias});
    }
    std::sort(generatedAlias.begin(), generatedAlias.end());
  }
  const auto first =
      std::lower_bound(generatedAlias.begin(), generatedAlias.end(), GeneratedAlias{base_id, 0});
  const auto end = std::upper_bound(first, generatedAlias.end(), GeneratedAlias{base_id, NONE});
  return {first, end};
}

const char* DastBaseField::get_string_by_recordid(Large record, Large* from, Large* to, AceAttach* at,
                                                  DastOptions::AliasDisplay display,
                                                  const DastQualityCache* quals) const {
  const Large entry = get_entry_id_by_rec_id(record);
  if (record == 0 || entry == NONE || entry == 0 || entry >= numEntryIDs) return nullptr;
  Large first = record;
  Large end = record + 1;
  if (has_intervals() && infoMap->range(record, nullptr, &first, &end) < 0) return nullptr;
  if (from != nullptr) *from = first;
  if (to != nullptr) *to = end;
  const Large* ids = nullptr;
  const Large count = get_base_ids(record, &ids, at);
  if (count == 0) return "";
  std::vector<Large> shown = choose_ids({ids, count}, display, quals);
  if (display == DastOptions::EVERYTHING) add_aliases(&shown);
  if (shown.size() == 1) {
    const char* string = get_string_by_baseid(shown[0], at);
    return string != nullptr ? string : "";
  }
  std::string text;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const char* string = get_string_by_baseid(shown[i], at);
    text += (i > 0 ? "|" : "");
    text += string != nullptr ? string : "";
  }
  return at->attach(text.c_str());
}

/// Adds the strings that lead to values in a query, each once.
void DastBaseField::add_aliases(std::vector<Large>* ids) const {
  const std::size_t numValues = ids->size();
  const auto add = [ids](Large id) {
    if (std::find(ids->begin(), ids->end(), id) == ids->end()) ids->push_back(id);
  };
  for (std::size_t i = 0; i < numValues; ++i) {
    const Large value = (*ids)[i];
    const IdList pairs = reverseAliasMap != nullptr ? reverseAliasMap->get(value) : IdList{};
    for (Large k = 0; k + 1 < pairs.count; k += 2)
      if (pairs[k + 1] != ANTI_ALIAS) add(pairs[k]);
    for (const GeneratedAlias& pair : get_generated_aliases(value)) add(pair.alias);
  }
}

// ---------------------------------------------------------------- ids and records of a string
// A string leads to base ids, these to entries, these to records; aliases lead to the ids of their values
// first.

Large DastBaseField::owner_of_alias(Large base_id) const {
  if (!is_basic() || base_id < numEntryIDs) return base_id;
  return compAliasArray != nullptr ? static_cast<Large>(compAliasArray->get(VInt{base_id} - numEntryIDs))
                                   : NONE;
}

Large DastBaseField::get_entry_ids(Large base_id, const Large** entries, AceAttach* at) const {
  *entries = nullptr;
  if (base_id >= allBaseIDs) return 0;
  if (!is_basic() || base_id == 0)
    return baseToEntry != nullptr ? baseToEntry->get_array(base_id, entries) : 0;
  return copy_list({owner_of_alias(base_id)}, entries, at);
}

/// The base ids that the index finds for exactly the text. An operator in the text may keep it from finding
/// them.
Large DastBaseField::find_by_method(const char* text, const Large** ids, AceAttach* at,
                                    AceReporter* rep) const {
  *ids = nullptr;
  if (!has_data_loaded()) return 0;
  const std::unique_ptr<TeraScanGraph, Unref> graph(baseMethod->lookup(text, DastOptions::EXACT, rep));
  std::vector<Large> found;
  const TeraResult* result = graph != nullptr ? graph->get_first_result() : nullptr;
  if (result == nullptr) return 0;
  result->find_any([&](int, const TeraCand* cand) {
    for (Large i = 0; i < cand->get_num_infos(); ++i) {
      const Large id = cand->get_info(i);
      AceAttach strings;
      const char* string = get_string_by_baseid(id, &strings);
      if (id != 0 && string != nullptr && std::strcmp(string, text) == 0) found.push_back(id);
    }
    return false;
  });
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return copy_list(found, ids, at);
}

Large DastBaseField::find_by_strings(const char* text, const Large** ids, AceAttach* at) const {
  std::vector<Large> found;
  for (Large id = 1; id < allBaseIDs; ++id) {
    AceAttach strings;
    const char* string = get_string_by_baseid(id, &strings);
    if (string != nullptr && std::strcmp(string, text) == 0) found.push_back(id);
  }
  return copy_list(found, ids, at);
}

Large DastBaseField::find_ids(const char* text, const Large** ids, AceAttach* at, AceReporter* rep) const {
  if (!is_basic() && stringStorage != nullptr && stringStorage->get_type() != DastStringStorage::EMPTY &&
      stringStorage->get_type() != DastStringStorage::INDEX) {
    const Large id = stringStorage->get_id(text, 0, 0);
    return copy_list(id != NONE ? std::vector<Large>{id} : std::vector<Large>{}, ids, at);
  }
  if (const Large count = find_by_method(text, ids, at, rep); count > 0) return count;
  const bool isPlain = std::all_of(text, text + std::strlen(text), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == ' ';
  });
  if (isPlain && has_data_loaded() && !has_type(DastFieldFlags::NUMERIC_STORAGE)) return 0;
  return find_by_strings(text, ids, at);
}

Large DastBaseField::get_base_id(const char* text, AceReporter* rep) const {
  if (text == nullptr || text[0] == '\0') return 0;
  AceAttach at;
  const Large* ids = nullptr;
  return find_ids(text, &ids, &at, rep) > 0 ? ids[0] : NONE;
}

Large DastBaseField::get_entries_by_string(const char* text, const Large** entries, AceAttach* at,
                                           AceReporter* rep) const {
  *entries = nullptr;
  if (text == nullptr || text[0] == '\0') return 0;
  const Large* ids = nullptr;
  const Large count = find_ids(text, &ids, at, rep);
  if (count == 0) return 0;
  if (!is_basic()) return get_entry_ids(ids[0], entries, at);
  std::vector<Large> owners;
  for (Large i = 0; i < count; ++i) owners.push_back(owner_of_alias(ids[i]));
  std::sort(owners.begin(), owners.end());
  owners.erase(std::unique(owners.begin(), owners.end()), owners.end());
  return copy_list(owners, entries, at);
}

Large DastBaseField::get_records_by_string(const char* text, const Large** records, AceAttach* at,
                                           AceReporter* rep) const {
  *records = nullptr;
  const Large* entries = nullptr;
  Large count = get_entries_by_string(text, &entries, at, rep);
  if (count == 0 && has_type(DastFieldFlags::HAS_EMPTY_INDEXED) && text != nullptr &&
      std::strcmp(text, TeraCand::BLANK) == 0)
    count = get_entry_ids(0, &entries, at);  // as counts show the empty value
  if (count == 0) return 0;
  const bool isPairs = count > 2 && entries[0] == 0;
  const DastInfoList* list = isPairs ? new (at) DastInfoList(count - 1, entries + 1, true)
                                     : new (at) DastInfoList(count, entries, nullptr);
  if (has_intervals() && infoMap != nullptr && !isPairs) list = infoMap->down(list, at);
  const Large limit =
      has_intervals() && infoMap != nullptr ? infoMap->get_intervals()->get_num_records() : numEntryIDs;
  return list->get_single(records, at, limit);
}
