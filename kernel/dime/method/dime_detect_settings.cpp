#include "dime/dime_detect_settings.h"

#include <array>
#include <cstring>

namespace {

constexpr int NOT_SET = -1;

struct Row {
  TeraEval::Mode mode;
  TeraEval::Model model;
  int minValue = NOT_SET;
  int maxDist = NOT_SET;
  int numCands = NOT_SET;
  int transpose = 1;
  int phonetics = 1;
};

std::array<Row, 10> rows = {{{TeraEval::SEQ, TeraEval::MAXIMUM},
                             {TeraEval::BLOCKEDIT, TeraEval::PARTIAL},
                             {TeraEval::MID, TeraEval::PARTIAL},
                             {TeraEval::EXTEND, TeraEval::LONG},
                             {TeraEval::CLOSE, TeraEval::LONG},
                             {TeraEval::FACTOR, TeraEval::SHORT},
                             {TeraEval::SUFFIX, TeraEval::SHORT},
                             {TeraEval::POSITION, TeraEval::MAXIMUM},
                             {TeraEval::SUBSET, TeraEval::QUERY},
                             {TeraEval::SUPERSET, TeraEval::ENTRY}}};

Row* get_row(int row) {
  return row >= 0 && row < static_cast<int>(rows.size()) ? &rows[static_cast<std::size_t>(row)] : nullptr;
}

template <class T>
int set(int row, T Row::*place, T value) {
  if (get_row(row) == nullptr) return -1;
  get_row(row)->*place = value;
  return 0;
}

void copy(int value, int* out) {
  if (out != nullptr && value != NOT_SET) *out = value;
}

}  // namespace

int set_edit_detect_algorithm(int row, const char* mode, const char* model) {
  if (get_row(row) == nullptr || (mode == nullptr && model == nullptr)) return -1;
  TeraEval::Model proposed = TeraEval::MAXIMUM;
  const TeraEval::Mode named = TeraEval::get_mode(mode, &proposed);
  if (model != nullptr) proposed = TeraEval::get_model_enum(model);
  if (proposed == TeraEval::UNKNOWN) return -1;
  return set_edit_detect_algorithm_enum(row, named, proposed);
}

int set_edit_detect_algorithm_enum(int row, TeraEval::Mode mode, TeraEval::Model model) {
  return set(row, &Row::mode, mode) < 0 ? -1 : set(row, &Row::model, model);
}

int set_edit_detect_min(int row, int value) {
  return value > 255 ? -1 : set(row, &Row::minValue, value);
}

int set_edit_detect_dist(int row, int value) {
  return value > 255 ? -1 : set(row, &Row::maxDist, value);
}

int set_edit_detect_cands(int row, int value) {
  return set(row, &Row::numCands, value);
}

int set_edit_detect_option_transpose(int row, int flag) {
  return set(row, &Row::transpose, flag > 0 ? 1 : 0);
}

int set_edit_detect_option_phonetics(int row, int flag) {
  return set(row, &Row::phonetics, flag > 0 ? 1 : 0);
}

int adjust_edit_detect_options(DastOptions::Call call, TeraEval::Mode* mode, TeraEval::Model* model, int* min,
                               int* dist, int* cands, int* transpose, int* phonetics) {
  const int index = call - DastOptions::DETECT0;
  const Row* row = get_row(index);
  if (row == nullptr) return -1;
  if (mode != nullptr) *mode = row->mode;
  if (model != nullptr) *model = row->model;
  copy(row->minValue, min);
  copy(row->maxDist, dist);
  copy(row->numCands, cands);
  copy(row->transpose, transpose);
  copy(row->phonetics, phonetics);
  return index;
}
