#include "dare/dare_candidate.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_attach.h"

void DastStatus::update(int status, int best) {
  matchStatus = std::max(matchStatus, status);
  update_status(best);
}

void DastStatus::update_status(int best) {
  bestCand = static_cast<Tiny>(std::max<int>(bestCand, std::min(best, DastRecord::MAX_QUALITY)));
}

void DastStatus::merge(int status, int best, int num_records) {
  update(status, best);
  numRecords += num_records;
}

void DastStatus::merge(const DastStatus& other) {
  merge(other.matchStatus, other.bestCand, other.numRecords);
}

void DastStatus::copy(const DastStatus& other, AceAttach* at) {
  *this = other;
  fieldName = at->attach(other.fieldName);
  queryString = at->attach(other.queryString);
}

void DastCandidate::add(const DastCandidate& other) {
  candStatus = std::max(candStatus, other.candStatus);
  numHits = numHits < 0 || other.numHits < 0 ? -1 : numHits + other.numHits;
}

int DastCandidate::cmp_string(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return static_cast<int>(a != nullptr) - static_cast<int>(b != nullptr);
  return std::strcmp(a, b);
}

int DastCandidate::deduplicate(DastCandidate* array, int n) {
  int length = 0;
  for (int i = 0; i < n; ++i) {
    if (length > 0 && cmp_string(array[length - 1].repObj, array[i].repObj) == 0)
      array[length - 1].numHits += array[i].numHits;
    else
      array[length++] = array[i];
  }
  return length;
}

namespace {

int cmp_rank(const DastCandidate& a, const DastCandidate& b) {
  return a.candStatus != b.candStatus ? b.candStatus - a.candStatus : b.compQuality - a.compQuality;
}

}  // namespace

int DastCandidate::cmp_quality(const DastCandidate& a, const DastCandidate& b) {
  const int rank = cmp_rank(a, b);
  return rank != 0 ? rank : cmp_string(a.repObj, b.repObj);
}

int DastCandidate::cmp_freq(const DastCandidate& a, const DastCandidate& b) {
  const int rank = cmp_rank(a, b);
  return rank != 0 ? rank : b.numHits - a.numHits;
}

int DastCandidate::cmp_collation(const DastCandidate& a, const DastCandidate& b) {
  const int order = cmp_string(a.repObj, b.repObj);
  return order != 0 ? order : cmp_rank(a, b);
}

int DastSuggestion::copy(const DastSuggestion& other) {
  if (other.repObj == nullptr) return -1;
  if (repObj != nullptr && repObj->get_num_strings() != other.repObj->get_num_strings()) return -1;
  repObj = std::make_unique<DastRecord>(other.repObj.get());
  recordIndex = other.recordIndex;
  rawStrings = other.rawStrings;
  return 0;
}
