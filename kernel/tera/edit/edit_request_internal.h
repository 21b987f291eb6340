/// A recall on its way through its steps: what is asked for is prepared, entries are looked at, and the
/// candidates are completed.
#pragma once

#include "tera/edit/edit_look_internal.h"
#include "tera/tera_edit.h"

class AceReporter;
class TeraResult;

/// What a caller asks for.
struct TeraEdit::Request {
  TeraResult* result;
  TeraEval::Mode mode;
  TeraEval::Model model;
  int len_min;
  int len_max;
  int options;
  int percent;
  AceReporter* rep;
  EditBudget* budget;

  EditAsk ask() const {
    return {mode, TeraEval::get_model_func(model, 0), (options & TRANSPOSE) != 0, len_min, len_max};
  }
};

/// How it is answered.
struct TeraEdit::Prepared {
  enum Way { DONE, EXACTLY, BY_PATTERN, BY_MEASURE };

  Way way = DONE;
  int done = 0;                    ///< what DONE returns
  EditScratch* scratch = nullptr;  ///< with the query, unless it is looked up EXACTLY
  const Token* tokens = nullptr;   ///< in the scratch
};
