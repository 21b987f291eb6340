// Fields, decision and alternatives; for suggestions see dare_result_suggs.cpp.
#include "dare/dare_result.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <strings.h>

DastResult::DastResult(Tiny num_fields, int min_quality, int max_distance, int max_suggestions)
    : suggMinQual(min_quality),
      suggMaxDist(max_distance),
      suggMaxNum(max_suggestions),
      inputStatus(num_fields),
      fieldAlts(num_fields) {
  set_time_stamp();
}

DastResult::DastResult(const DastResult* other, int first, int count)
    : suggMinQual(other->suggMinQual),
      suggMaxDist(other->suggMaxDist),
      suggMaxNum(other->suggMaxNum),
      sizeContext(other->sizeContext),
      canUndo(other->canUndo),
      canRedo(other->canRedo),
      currentField(other->currentField),
      inputStatus(other->inputStatus.size()),
      fieldAlts(other->fieldAlts),
      resultCategory(other->resultCategory),
      decisionReason(attach(other->decisionReason)),
      decisionRule(attach(other->decisionRule)),
      rawStrings(other->rawStrings) {
  set_time_stamp();
  for (std::size_t i = 0; i < inputStatus.size(); ++i) inputStatus[i].copy(other->inputStatus[i], this);
  for (FieldAlts& field : fieldAlts)
    for (DastCandidate& cand : field.cands) cand.repObj = attach(cand.repObj);
  copy_suggs(other, first, count);
}

void DastResult::set_status(std::vector<DastStatus> input_status) {
  inputStatus = std::move(input_status);
  fieldAlts.resize(inputStatus.size());
}

DastStatus* DastResult::get_field_status(int field) {
  return has_field(field) ? &inputStatus[static_cast<std::size_t>(field)] : nullptr;
}

const DastStatus* DastResult::get_field_status(int field) const {
  return has_field(field) ? &inputStatus[static_cast<std::size_t>(field)] : nullptr;
}

const char* DastResult::set_status_string(int field, const char* text) {
  DastStatus* const status = get_field_status(field);
  return status != nullptr ? status->queryString = attach(text) : nullptr;
}

void DastResult::set_undo_status(int can_undo, int can_redo) {
  canUndo = can_undo;
  canRedo = can_redo;
}

void DastResult::set_time_stamp() {
  timeStamp = static_cast<int>(std::clock());
}

void DastResult::set_limits(int min_quality, int max_distance, int max_suggestions) {
  suggMinQual = min_quality;
  suggMaxDist = max_distance;
  suggMaxNum = max_suggestions;
}

namespace {

constexpr std::pair<const char*, DastResult::Category> CATEGORIES[] = {
    {"SAMPLE", DastResult::SAMPLE},   {"SUGGEST", DastResult::SUGGEST}, {"SELECT", DastResult::SELECT},
    {"CONFIRM", DastResult::CONFIRM}, {"MATCH", DastResult::MATCH},     {"EXACT", DastResult::EXACT},
};

}  // namespace

const char* DastResult::get_category_name() const {
  for (const auto& [name, category] : CATEGORIES)
    if (category == resultCategory) return name;
  return "NONE";
}

DastResult::Category DastResult::get_category(const char* name) {
  for (const auto& [known, category] : CATEGORIES)
    if (name != nullptr && strcasecmp(name, known) == 0) return category;
  return NONE;
}

int DastResult::set_field_alts(std::vector<DastCandidate> cands, int field, int no_sort) {
  field = field_or_current(field);
  if (!has_field(field)) return -1;
  DastStatus& status = inputStatus[static_cast<std::size_t>(field)];
  if (no_sort != 0) {
    for (const DastCandidate& cand : cands)
      status.update(cand.candStatus, static_cast<Tiny>(std::max(cand.compQuality, 0)));
  } else if (!cands.empty()) {
    std::stable_sort(cands.begin(), cands.end(),
                     [](const auto& a, const auto& b) { return DastCandidate::cmp(a, b) < 0; });
    std::vector<DastCandidate> joined;
    for (const DastCandidate& cand : cands) {
      if (!joined.empty() && joined.back().compQuality == cand.compQuality &&
          DastCandidate::cmp_string(joined.back().repObj, cand.repObj) == 0)
        joined.back().add(cand);
      else
        joined.push_back(cand);
    }
    cands = std::move(joined);
    status.update(cands.front().candStatus, std::max(cands.front().compQuality, 0));
  }
  alts(field) = std::move(cands);
  return get_num_alts(field);
}

int DastResult::set_current_alts(std::vector<DastCandidate> cands, int no_sort) {
  return set_field_alts(std::move(cands), -1, no_sort);
}

int DastResult::add_cands(int field, int n) {
  if (!has_field(field) || n < 0) return -1;
  alts(field).resize(alts(field).size() + static_cast<std::size_t>(n));
  return get_num_alts(field);
}

int DastResult::set_rep(int field, int index, const char* text) {
  DastCandidate* const cand = get_alt(field, index);
  if (cand == nullptr) return -1;
  cand->repObj = attach(text);
  return 0;
}

int DastResult::set_quality(int field, int index, int quality) {
  DastCandidate* const cand = get_alt(field, index);
  if (cand == nullptr) return -1;
  cand->compQuality = quality;
  return 0;
}

int DastResult::get_num_alts(int field) const {
  return has_field(field) ? static_cast<int>(fieldAlts[static_cast<std::size_t>(field)].cands.size()) : 0;
}

const DastCandidate* DastResult::get_alt(int field, int index) const {
  if (index < 0 || index >= get_num_alts(field)) return nullptr;
  return &fieldAlts[static_cast<std::size_t>(field)].cands[static_cast<std::size_t>(index)];
}

DastCandidate* DastResult::get_alt(int field, int index) {
  return const_cast<DastCandidate*>(std::as_const(*this).get_alt(field, index));
}

int DastResult::sum_alt_hits(int field) const {
  if (!has_field(field)) return -1;
  int sum = 0;
  for (const DastCandidate& cand : fieldAlts[static_cast<std::size_t>(field)].cands) sum += cand.numHits;
  return sum;
}

int DastResult::remove_cand(int field, int index) {
  if (get_alt(field, index) == nullptr) return -1;
  alts(field).erase(alts(field).begin() + index);
  return get_num_alts(field);
}

int DastResult::filter_alts(int field, int start, const char* text) {
  if (!has_field(field) || text == nullptr || start < 0) return -1;
  int hits = 0;
  std::vector<DastCandidate>& cands = alts(field);
  if (start >= get_num_alts(field)) return 0;
  const auto goes = [&](const DastCandidate& cand) {
    if (DastCandidate::cmp_string(cand.repObj, text) != 0) return false;
    hits += cand.numHits;
    return true;
  };
  cands.erase(std::remove_if(cands.begin() + start, cands.end(), goes), cands.end());
  return hits;
}

void DastResult::cut_cands(int field, int n) {
  if (has_field(field) && n >= 0 && n < get_num_alts(field)) alts(field).resize(static_cast<std::size_t>(n));
}

namespace {

void sort_cands(std::vector<DastCandidate>* cands, DastCandidate::Compare* order) {
  std::stable_sort(cands->begin(), cands->end(),
                   [order](const auto& a, const auto& b) { return order(a, b) < 0; });
}

DastCandidate::Compare* order_of_key(int key) {
  switch (key) {
    case DastResult::BY_QUALITY:
      return &DastCandidate::cmp_quality;
    case DastResult::BY_COLLATION:
      return &DastCandidate::cmp_collation;
    case DastResult::BY_FREQ:
      return &DastCandidate::cmp_freq;
    case -DastResult::BY_QUALITY:
      return &DastCandidate::cmp_quality_rev;
    case -DastResult::BY_COLLATION:
      return &DastCandidate::cmp_collation_rev;
    case -DastResult::BY_FREQ:
      return &DastCandidate::cmp_freq_rev;
    default:
      return &DastCandidate::cmp;
  }
}

}  // namespace

void DastResult::resort_cands(int sort_freq) {
  for (int field = 0; field < get_num_fields(); ++field) {
    std::vector<DastCandidate>& cands = alts(field);
    if (cands.empty()) continue;
    sort_cands(&cands, &DastCandidate::cmp);
    get_field_status(field)->bestCand = static_cast<Tiny>(cands.front().compQuality);
    cands.resize(static_cast<std::size_t>(DastCandidate::deduplicate(cands.data(), get_num_alts(field))));
    if (sort_freq != 0) sort_cands(&cands, &DastCandidate::cmp_freq);
  }
}

int DastResult::set_field_sort(int field, int key) {
  if (!has_field(field)) return -1;
  fieldAlts[static_cast<std::size_t>(field)].sortKey = key;
  return 0;
}

int DastResult::get_field_sort(int field) const {
  return has_field(field) ? fieldAlts[static_cast<std::size_t>(field)].sortKey : 0;
}

int DastResult::dedup_cands(int field) {
  field = field_or_current(field);
  if (!has_field(field)) return -1;
  std::vector<DastCandidate>& cands = alts(field);
  std::unordered_map<std::string_view, std::size_t> first_of;
  std::size_t kept = 0;
  for (const DastCandidate& cand : cands) {
    const auto [place, is_new] = first_of.emplace(cand.repObj != nullptr ? cand.repObj : "", kept);
    if (is_new)
      cands[kept++] = cand;
    else
      cands[place->second].add(cand);
  }
  const auto gone = static_cast<int>(cands.size() - kept);
  cands.resize(kept);
  return gone;
}

void DastResult::resort() {
  resort_suggs();
  for (FieldAlts& field : fieldAlts) sort_cands(&field.cands, order_of_key(field.sortKey));
}
