#include "svcpp/sorvanta_result.h"

#include <utility>

#include "dare/dare_result.h"

SorvantaSessionResult::SorvantaSessionResult(SorvantaSessionResult&& other) noexcept
    : dastResult(std::exchange(other.dastResult, nullptr)), external(std::exchange(other.external, 0)) {}

SorvantaSessionResult& SorvantaSessionResult::operator=(SorvantaSessionResult&& other) noexcept {
  std::swap(dastResult, other.dastResult);
  std::swap(external, other.external);
  return *this;
}

SorvantaSessionResult::~SorvantaSessionResult() {
  clean();
}

void SorvantaSessionResult::clean() {
  if (external == 0) delete dastResult;
  dastResult = nullptr;
  external = 0;
}

int SorvantaSessionResult::init(void* result) {
  if (result == dastResult && external == 0) return 0;
  clean();
  dastResult = static_cast<DastResult*>(result);
  return 0;
}

void SorvantaSessionResult::init_external(DastResult* result) {
  clean();
  dastResult = result;
  external = 1;
}

DastResult* SorvantaSessionResult::detach() {
  if (external != 0 && dastResult != nullptr)
    dastResult = new DastResult(dastResult, 0, dastResult->get_num_suggs());
  external = 0;
  return std::exchange(dastResult, nullptr);
}

int SorvantaSessionResult::get_size_context() const {
  return dastResult != nullptr ? dastResult->get_size_context() : -1;
}

int SorvantaSessionResult::get_num_fields() const {
  return dastResult != nullptr ? dastResult->get_num_fields() : -1;
}

int SorvantaSessionResult::get_num_alts(int field) const {
  return dastResult != nullptr ? dastResult->get_num_alts(field) : -1;
}

int SorvantaSessionResult::get_num_suggs() const {
  return dastResult != nullptr ? dastResult->get_num_suggs() : -1;
}

int SorvantaSessionResult::get_max_suggs() const {
  return dastResult != nullptr ? dastResult->get_max_suggs() : -1;
}

int SorvantaSessionResult::get_alt_field() const {
  return dastResult != nullptr ? dastResult->get_curr_field() : -1;
}

int SorvantaSessionResult::can_undo() const {
  return dastResult != nullptr ? dastResult->can_undo() : 0;
}

int SorvantaSessionResult::can_redo() const {
  return dastResult != nullptr ? dastResult->can_redo() : 0;
}

int SorvantaSessionResult::get_category() const {
  return dastResult != nullptr ? dastResult->get_category() : 0;
}

const char* SorvantaSessionResult::get_category_name() const {
  return dastResult != nullptr ? dastResult->get_category_name() : "NONE";
}

const char* SorvantaSessionResult::get_reason() const {
  return dastResult != nullptr && dastResult->get_reason() != nullptr ? dastResult->get_reason() : "";
}

const char* SorvantaSessionResult::get_rule() const {
  return dastResult != nullptr && dastResult->get_rule() != nullptr ? dastResult->get_rule() : "";
}

int SorvantaSessionResult::get_field_status(SorvantaStatus* out, int index) const {
  if (out == nullptr) return -1;
  out->res = this;
  out->currentField = index;
  out->dastStatus = dastResult != nullptr ? std::as_const(*dastResult).get_field_status(index) : nullptr;
  return out->dastStatus != nullptr ? 0 : -1;
}

int SorvantaSessionResult::get_alternative(SorvantaAlternative* out, int index) const {
  return get_alternative(out, get_alt_field(), index);
}

int SorvantaSessionResult::get_alternative(SorvantaAlternative* out, int field, int index) const {
  if (out == nullptr) return -1;
  out->res = this;
  out->currentField = field;
  out->currentCand = index;
  out->dastCandidate = dastResult != nullptr ? std::as_const(*dastResult).get_alt(field, index) : nullptr;
  return out->dastCandidate != nullptr ? 0 : -1;
}

int SorvantaSessionResult::get_suggestion(SorvantaSuggestion* out, int index) const {
  if (out == nullptr) return -1;
  out->res = this;
  out->currentSugg = index;
  out->dastSuggestion = dastResult != nullptr ? std::as_const(*dastResult).get_sugg(index) : nullptr;
  return out->dastSuggestion != nullptr ? 0 : -1;
}

// ---------------------------------------------------------------- iterators
// Each stands on one item of a result that it borrows; behind the last one it gives nulls and -1.

SorvantaStatus::SorvantaStatus(const SorvantaSessionResult* result) {
  if (result != nullptr) result->get_first_field(this);
}

int SorvantaStatus::go_next() {
  return res != nullptr ? res->get_field_status(this, currentField + 1) : -1;
}

const char* SorvantaStatus::get_field_name() const {
  return dastStatus != nullptr ? dastStatus->fieldName : nullptr;
}

const char* SorvantaStatus::get_string() const {
  return dastStatus != nullptr ? dastStatus->queryString : nullptr;
}

SorvantaStatus::State SorvantaStatus::get_status() const {
  return dastStatus != nullptr ? static_cast<State>(dastStatus->matchStatus) : EMPTY;
}

int SorvantaStatus::get_mode() const {
  return dastStatus != nullptr ? dastStatus->queryMode : -1;
}

int SorvantaStatus::num_records() const {
  return dastStatus != nullptr ? dastStatus->numRecords : -1;
}

int SorvantaStatus::get_best_qual() const {
  return dastStatus != nullptr ? dastStatus->bestCand : -1;
}

int SorvantaStatus::get_weight() const {
  return dastStatus != nullptr ? dastStatus->combineWeight : -1;
}

SorvantaAlternative::SorvantaAlternative(const SorvantaSessionResult* result) {
  if (result != nullptr) result->get_first_alt(this);
}

SorvantaAlternative::SorvantaAlternative(const SorvantaSessionResult* result, int field) {
  if (result != nullptr) result->get_alternative(this, field, 0);
}

int SorvantaAlternative::go_next() {
  return res != nullptr ? res->get_alternative(this, currentField, currentCand + 1) : -1;
}

const char* SorvantaAlternative::get_rep() const {
  return dastCandidate != nullptr ? dastCandidate->repObj : nullptr;
}

int SorvantaAlternative::get_quality() const {
  return dastCandidate != nullptr ? dastCandidate->compQuality : -1;
}

int SorvantaAlternative::get_num_hits() const {
  return dastCandidate != nullptr ? dastCandidate->numHits : -1;
}

SVAlternativeStatus SorvantaAlternative::get_context_status() const {
  const int status = dastCandidate != nullptr ? dastCandidate->candStatus : 0;
  return status == DastStatus::NO_CONTEXT   ? SVAlternativeStatus::POSSIBLY_IN_CONTEXT
         : status == DastStatus::IN_CONTEXT ? SVAlternativeStatus::IN_CONTEXT
                                            : SVAlternativeStatus::OUT_OF_CONTEXT;
}

SorvantaSuggestion::SorvantaSuggestion(const SorvantaSessionResult* result) {
  if (result != nullptr) result->get_first_sugg(this);
}

int SorvantaSuggestion::go_next() {
  return res != nullptr ? res->get_suggestion(this, currentSugg + 1) : -1;
}

long SorvantaSuggestion::get_idx() const {
  return dastSuggestion != nullptr ? long{dastSuggestion->recordIndex} : -1;
}

int SorvantaSuggestion::get_quality() const {
  return dastSuggestion != nullptr ? dastSuggestion->get_quality() : -1;
}

namespace {

const DastRecord* record_of(const DastSuggestion* suggestion) {
  return suggestion != nullptr ? suggestion->repObj.get() : nullptr;
}

}  // namespace

int SorvantaSuggestion::get_num_strings() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record != nullptr ? record->get_num_strings() : -1;
}

int SorvantaSuggestion::has_strings() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record == nullptr ? -1 : record->get_num_strings() > 0 ? 1 : 0;
}

int SorvantaSuggestion::has_qualities() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record == nullptr ? -1 : record->has_qualities() ? 1 : 0;
}

int SorvantaSuggestion::has_field_infos() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record == nullptr ? -1 : record->has_field_infos() ? 1 : 0;
}

int SorvantaSuggestion::has_record_info() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record == nullptr ? -1 : record->get_record_info() != nullptr ? 1 : 0;
}

const char* SorvantaSuggestion::operator[](int field) const {
  return dastSuggestion != nullptr ? dastSuggestion->get_field(field) : nullptr;
}

const char* SorvantaSuggestion::get_record_info() const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record != nullptr ? record->get_record_info() : nullptr;
}

const char* SorvantaSuggestion::get_field_info(int field) const {
  const DastRecord* const record = record_of(dastSuggestion);
  return record != nullptr ? record->get_field_info(field) : nullptr;
}

int SorvantaSuggestion::get_field_quality(int field) const {
  return dastSuggestion != nullptr ? dastSuggestion->get_field_quality(field) : -1;
}
