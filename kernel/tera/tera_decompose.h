/// Compound queries: a query that is two entries written together.
///
///     TeraDecompose::decompose(&result, 3, 3, model, map, [&](TeraResult* part, auto, auto part_model) {
///       edit.recall(part, TeraEval::LEVENSHTEIN, part_model, 0, 0, TeraEdit::NO_RESOLVE, 100, rep);
///     });
///
///     Hauptbahnhof  ->  Haupt | bahnhof  ->  candidate "Haupt Bahnhof" of the entries of both
#pragma once

#include <functional>

#include "ace/ace_types.h"
#include "tera/tera_eval.h"

class TeraMap;
class TeraResult;

class SORV_API TeraDecompose {
 public:
  /// Longer than any compound of two entries that somebody types; each position is a cut.
  static constexpr int MAX_POSITIONS = 64;

  /// Which part of the query is recalled.
  enum Direction : int { PREFIX = 0, SUFFIX = 1 };
  /// Fills the result of a part of the query. The direction tells recalls that may find more than whole
  /// entries where the query goes on.
  using Recall = std::function<void(TeraResult* part, Direction direction, TeraEval::Model model)>;

  /// Cuts the query, read without operators, between any two characters with at least `min_left` positions
  /// (at least 1) before and `min_right` behind, and lets `recall` find both parts. Each pair found gives a
  /// candidate: a collection of what both stand for, attribute numbers or entry numbers; its string is theirs
  /// with a blank between. Its quality is the mean of both, weighted by the positions of the parts, so that
  /// the parts' results have the lowest minimum with which the pair can still reach that of `result`. A pair
  /// has the best quality of all cuts. After `TeraResult::MAX_CANDS` pairs no more are made, and the result
  /// is marked unreliable. What the result has already must be resolved if the parts are.
  ///
  /// Returns the number of candidates of the result; -1 for a null result, map or function, for a result
  /// without query, and, reported, for a query of more than MAX_POSITIONS positions. What `recall` throws
  /// passes through. Cost: two recalls per cut.
  static int decompose(TeraResult* result, int min_left, int min_right, TeraEval::Model model,
                       const TeraMap* map, const Recall& recall);

  TeraDecompose() = delete;
};
