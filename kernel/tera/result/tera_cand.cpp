#include "tera/tera_cand.h"

#include <algorithm>
#include <cstring>
#include <utility>

TeraCand::TeraCand(const TeraCand& other)
    : AceCheckType<TeraCand>(other),
      repString(other.repString),
      infoPart(other.infoPart),
      numInfos(other.numInfos),
      entryNumber(other.entryNumber),
      stateFlags(other.stateFlags),
      mappedLen(other.mappedLen),
      shiftVal(other.shiftVal) {}

TeraCand* TeraCand::create_null_cand() {
  auto* cand = new TeraCand(nullptr, 0, nullptr);
  cand->add_state(NULL_CAND);
  return cand;
}

TeraCand* TeraCand::create_frequent_cand(const char* string) {
  auto* cand = new TeraCand(string, 0, nullptr);
  cand->add_state(FREQUENT);
  return cand;
}

TeraCand* TeraCand::create_always_hits_cand() {
  TeraCand* cand = create_frequent_cand();
  cand->add_state(ARTIFICIAL);
  return cand;
}

TeraCand* TeraCand::create_collection_cand(const char* string, int num, const Large* numbers) {
  auto* cand = new TeraCand(NO_INFO);
  cand->set_string(string);
  cand->set_infos(static_cast<Large>(std::max(num, 0)), numbers);
  cand->add_state(COLLECTION);
  return cand;
}

const char* TeraCand::represent() const {
  if (repString == nullptr) return UNDEFINED;
  return *repString != '\0' ? repString : BLANK;
}

const char* TeraCand::identify() const {
  return is(NULL_CAND) ? "<NULL>" : represent();
}

void TeraCand::set_infos(Large num_infos, const Large* infos) {
  numInfos = infos != nullptr ? num_infos : 0;
  if (numInfos > 1)
    infoPart.array = infos;
  else
    infoPart.single = numInfos == 1 ? *infos : NO_INFO;
}

void TeraCand::resolve(Large num_infos, const Large* infos) {
  set_infos(num_infos, infos);
  entryNumber = NO_ENTRY;
  add_state(RESOLVED);
}

int TeraCand::cmp_cand(const TeraCand* first, const TeraCand* second) {
  if (first->numInfos != second->numInfos) return first->numInfos > second->numInfos ? -1 : 1;
  if (first->numInfos > 1) {
    if (first->shiftVal != second->shiftVal) return first->shiftVal > second->shiftVal ? -1 : 1;
    const Large* end = first->infoPart.array + first->numInfos;
    const auto [one, other] = std::mismatch(first->infoPart.array, end, second->infoPart.array);
    if (one != end) return *one > *other ? -1 : 1;
  }
  return std::strcmp(first->represent(), second->represent());
}

TeraCandGroup::~TeraCandGroup() {
  for (TeraCand* cand = candList; cand != nullptr;) delete std::exchange(cand, cand->nextCand);
}

void TeraCandGroup::remove(TeraCandGroup* list) {
  while (list != nullptr) delete std::exchange(list, list->nextGroup);
}

void TeraCandGroup::append_all(TeraCandGroup* other) {
  if (other == this || other->candList == nullptr) return;
  (candList != nullptr ? lastCand->nextCand : candList) = other->candList;
  lastCand = other->lastCand;
  numCands += other->numCands;
  other->detach();
}

TeraCand* TeraCandGroup::detach() {
  numCands = 0;
  lastCand = nullptr;
  return std::exchange(candList, nullptr);
}
