// Suggestions, and two results into one.
#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ace/ace_reporter.h"
#include "dare/dare_result.h"
#include "tera/tera_rand.h"

int DastResult::add_suggs(int first, int n) {
  if (!has_sugg(first)) first = get_num_suggs();
  std::vector<DastSuggestion> fresh(static_cast<std::size_t>(std::max(n, 0)));
  for (DastSuggestion& suggestion : fresh) suggestion.repObj = std::make_unique<DastRecord>(get_num_fields());
  currentSuggs.insert(currentSuggs.begin() + first, std::make_move_iterator(fresh.begin()),
                      std::make_move_iterator(fresh.end()));
  maxRecords = std::max(maxRecords, get_num_suggs());
  return first;
}

void DastResult::set_current_suggs(std::vector<DastSuggestion> suggestions) {
  currentSuggs = std::move(suggestions);
  maxRecords = get_num_suggs();
}

DastSuggestion* DastResult::get_sugg(int index) {
  return has_sugg(index) ? &currentSuggs[static_cast<std::size_t>(index)] : nullptr;
}

const DastSuggestion* DastResult::get_sugg(int index) const {
  return has_sugg(index) ? &currentSuggs[static_cast<std::size_t>(index)] : nullptr;
}

template <class Condemned>
int DastResult::remove_suggs(int start, Condemned condemned) {
  if (start >= get_num_suggs()) return 0;
  const auto end = std::remove_if(currentSuggs.begin() + std::max(start, 0), currentSuggs.end(), condemned);
  const auto gone = static_cast<int>(currentSuggs.end() - end);
  currentSuggs.erase(end, currentSuggs.end());
  maxRecords -= gone;
  return gone;
}

int DastResult::remove_sugg(int index) {
  if (!has_sugg(index)) return -1;
  currentSuggs.erase(currentSuggs.begin() + index);
  --maxRecords;
  return get_num_suggs();
}

int DastResult::filter(int field, const char* text) {
  if (!has_field(field) || text == nullptr) return -1;
  return remove_suggs(0, [=](const DastSuggestion& suggestion) {
    return DastCandidate::cmp_string(suggestion.get_field(field), text) == 0;
  });
}

int DastResult::filter_suggs(int start, Large record) {
  return remove_suggs(start,
                      [=](const DastSuggestion& suggestion) { return suggestion.recordIndex == record; });
}

void DastResult::swap_suggs(int i, int j) {
  if (has_sugg(i) && has_sugg(j)) std::swap(*get_sugg(i), *get_sugg(j));
}

void DastResult::move_sugg(int old_pos, int new_pos) {
  if (!has_sugg(old_pos) || !has_sugg(new_pos)) return;
  const auto old_place = currentSuggs.begin() + old_pos;
  const auto new_place = currentSuggs.begin() + new_pos;
  if (old_pos < new_pos)
    std::rotate(old_place, old_place + 1, new_place + 1);
  else
    std::rotate(new_place, old_place, old_place + 1);
}

int DastResult::shuffle_suggs(int from, int to) {
  if (from < 0 || to > get_num_suggs() || from >= to) return 0;
  for (int k = to - from; k >= 2; --k) swap_suggs(from + k - 1, from + tera_rand(k));
  return to - from;
}

int DastResult::cut(int n) {
  if (n < 0) {
    AceReporter::use_default()->printf(
        "DastResult::cut was called with invalid length '%i'. Size must be a positive number.", n);
    return 0;
  }
  const int gone = get_num_suggs() - n;
  if (gone <= 0) return 0;
  currentSuggs.resize(static_cast<std::size_t>(n));
  maxRecords = n;
  return gone;
}

int DastResult::cut_suggs(int num, int dist) {
  const int count = get_num_suggs();
  if (count < 1 || num < 0) return 0;
  const auto quality = [this](int index) { return get_sugg(index)->get_quality(); };
  int kept = std::min(count, num);
  if (count > kept && kept > 0 && quality(kept - 1) == quality(kept)) ++kept;
  if (dist >= 0 && kept > 2) {
    const int threshold = quality(0) - dist;
    int index = kept - 1;
    while (index >= 2 && quality(index) > threshold) --index;
    if (index >= 2) kept = index + 1;
  }
  currentSuggs.resize(static_cast<std::size_t>(kept));
  maxRecords = kept;
  return count - kept;
}

void DastResult::resort_suggs() {
  std::stable_sort(currentSuggs.begin(), currentSuggs.end(),
                   [](const auto& a, const auto& b) { return DastSuggestion::cmp_quality(a, b) < 0; });
}

void DastResult::resort_suggs(const SuggestionOrder& order) {
  std::stable_sort(currentSuggs.begin(), currentSuggs.end(),
                   [&order](const auto& a, const auto& b) { return order(a, b) < 0; });
}

int DastResult::remove_later_of_value(int field,
                                      const std::function<void(DastRecord*, const DastRecord*)>& join) {
  field = field_or_current(field);
  if (!has_field(field)) return -1;
  std::unordered_map<std::string_view, DastRecord*> first_of;
  for (const DastSuggestion& suggestion : currentSuggs) {
    const char* const value = suggestion.get_field(field);
    const auto [place, is_new] = first_of.emplace(value != nullptr ? value : "", suggestion.repObj.get());
    if (!is_new && place->second != nullptr && suggestion.repObj != nullptr)
      join(place->second, suggestion.repObj.get());
  }
  return remove_suggs(0, [&](const DastSuggestion& suggestion) {
    const char* const value = suggestion.get_field(field);
    return first_of.at(value != nullptr ? value : "") != suggestion.repObj.get();
  });
}

int DastResult::dedup_suggs(int field) {
  return remove_later_of_value(field, [](DastRecord*, const DastRecord*) {});
}

namespace {

std::vector<std::string_view> parts_of(std::string_view text) {
  std::vector<std::string_view> parts;
  for (std::size_t end = 0; end != std::string_view::npos; text.remove_prefix(end + 1)) {
    end = text.find('|');
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
  }
  return parts;
}

/// Adds the parts of `more` that `text` lacks.
std::string joined_parts(const char* text, const char* more) {
  std::string joined = text != nullptr ? text : "";
  for (const std::string_view part : parts_of(more != nullptr ? more : "")) {
    const auto present = parts_of(joined);
    if (!part.empty() && std::find(present.begin(), present.end(), part) == present.end())
      joined.append(joined.empty() ? "" : "|").append(part);
  }
  return joined;
}

}  // namespace

int DastResult::group_suggs(int field) {
  const int key = field_or_current(field);
  return remove_later_of_value(field, [key](DastRecord* first, const DastRecord* later) {
    for (int i = 0; i < first->get_num_strings(); ++i)
      if (i != key) first->set_string(i, joined_parts(first->get_string(i), later->get_string(i)).c_str());
  });
}

int DastResult::copy_suggs(const DastResult* other, int first, int count) {
  std::vector<DastSuggestion> copies;
  const int end =
      static_cast<int>(std::min<VInt>(other->get_num_suggs(), VInt{std::max(first, 0)} + std::max(count, 0)));
  for (int i = std::max(first, 0); i < end; ++i) copies.emplace_back().copy(*other->get_sugg(i));
  set_current_suggs(std::move(copies));
  return get_num_suggs();
}

bool DastResult::can_take(const DastResult* other) const {
  return other != nullptr && other != this && other->get_num_fields() == get_num_fields();
}

void DastResult::take(DastResult* other) {
  for (int field = 0; field < get_num_fields(); ++field) {
    get_field_status(field)->merge(*other->get_field_status(field));
    alts(field).insert(alts(field).end(), other->alts(field).begin(), other->alts(field).end());
    other->alts(field).clear();
  }
  std::move(other->currentSuggs.begin(), other->currentSuggs.end(), std::back_inserter(currentSuggs));
  other->set_current_suggs({});
  maxRecords = get_num_suggs();
  AceMerge::merge(other);  // the strings are here now
  other->inputStatus.assign(other->inputStatus.size(), DastStatus());
  other->decisionReason = other->decisionRule = nullptr;
}

int DastResult::concat(DastResult* other) {
  if (!can_take(other)) return -1;
  take(other);
  return 0;
}

void DastResult::dedup_records() {
  std::unordered_set<Large> seen;
  resort_suggs();                                              // so that the best of a record comes first
  remove_suggs(0, [&seen](const DastSuggestion& suggestion) {  // 0: of no base, and so like no other
    return suggestion.recordIndex != 0 && !seen.insert(suggestion.recordIndex).second;
  });
}

int DastResult::merge(DastResult* other) {
  if (!can_take(other)) return -1;
  take(other);
  dedup_records();
  resort();
  return 0;
}

int DastResult::add(DastResult* other) {
  if (!can_take(other)) return -1;
  take(other);
  const auto before = [](const DastCandidate& a, const DastCandidate& b) {
    return DastCandidate::cmp_quality(a, b) < 0;
  };
  for (FieldAlts& field : fieldAlts) {
    std::stable_sort(field.cands.begin(), field.cands.end(), before);
    std::vector<DastCandidate> joined;
    for (const DastCandidate& cand : field.cands) {
      if (!joined.empty() && DastCandidate::cmp_quality(joined.back(), cand) == 0)
        joined.back().add(cand);
      else
        joined.push_back(cand);
    }
    field.cands = std::move(joined);
  }
  dedup_records();
  resort();
  return 0;
}
