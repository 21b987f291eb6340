/// A recall on its way through its steps.
#pragma once

#include "tera/auto/tera_auto_walk_internal.h"
#include "tera/tera_auto_recall.h"

class AceReporter;

/// What a caller asks for.
struct TeraAutoRecall::Request {
  TeraResult* result;
  TeraEval::Mode mode;
  TeraEval::Model model;
  int options;
  int maxEdit;
  int aliasPenalty;
  int percent;
  AceReporter* rep;
  TeraAutoBudget* budget;
  const Token* tokens = nullptr;
  bool hasOperators = false;  ///< among the tokens are some
  int restrictLen = 0;        ///< above 0: lengths differ by at most that,
  bool goesOn = false;        ///< or only those of shorter entries
};
