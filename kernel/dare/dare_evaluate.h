/// Fixed-form evaluation: from what each field has found to the records that match the form best.
///
///     fields          name: "Mayer" 255 {3 7 8}, "Meyer" 230 {5}      city: "Bern" 255 {5 7 9}
///                     not listed: 189 at most                          not listed: 189 at most
///
///     collection      record   name   city      bound
///                       3      255    <= 189     <= 222        signature (255, -)
///                       5      230      255         242        signature (230, 255)
///                       7      255      255         255
///                       9    <= 189     255      <= 222
///
///     refinement      7: 255.  5: 242.  3: its city is "Berlin", 120: 187, dropped.  9: ...
///
/// 1. Collection. Every record that a field has found gets a signature: the quality in each field, one byte a
///    field. Records of equal signature share one state: the values of the slots of the logic, in which
///    fields that have not found the record count as much as they can at most. Records whose bound is below
///    the minimum are dropped, and those that no field has found are never looked at. A field whose hits
///    could not bring a record to the minimum on their own collects nothing: it only adds to what others have
///    found (H. Turtle, J. Flood, "Query evaluation: strategies and optimizations", IPM 31(6), 1995:
///    max-score).
/// 2. Refinement, best bound first. The fields that are not known of a record are evaluated exactly, those
///    that matter most first, until the bound falls: then the record goes back among those of that bound, or
///    is dropped. A record of which all is known is an answer, with the quality of its total.
///    Secondary fields, which no index is asked for, count as the minimum until all others are known: they
///    cannot lift a record over it.
/// 3. When as many answers as asked for have a quality, it becomes the minimum; ties are all kept.
///
/// Where few answers are asked for, records that several fields have found are looked at before all others
/// (steps 1 to 3 with a minimum that no field reaches alone); the others only if these were too few.
///
/// The answer does not depend on the number of parts, nor on the order of work.
///
/// Values are exact qualities times weights, as in dare_logic_eval.h; while a record is refined they are
/// doubled, and bounds odd, so that no exact value looks like one that is not known.
///
/// Ownership: what is given stays the caller's. Errors: -1, explained on the default reporter.
/// Thread safety: one evaluation belongs to one thread, and has its own for the other parts.
/// Cost: a hit costs one access to an array with a word per 7 fields for each record of the base; arrays are
/// kept for later evaluations of the process.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_field.h"
#include "dare/dare_logic.h"
#include "dare/dare_logic_eval.h"

class DastBaseRecall;
class DastInfoList;
class TeraResult;

class SORV_API DareEvaluate {
 public:
  /// `fields` has an element for each session field, null for those that take no part; their `logicId` says
  /// where they stand in `logic`. `context`: the records that are possible; null for all. `filters`: by array
  /// index, fields whose misses exclude. With `has_abstraction` records that show the same in all fields
  /// become one. Answers: with `represent_hits` a candidate for each record, with what the fields show of it;
  /// else one for each quality.
  DareEvaluate(TeraResult* result, int num_fields, DareField** fields, const DareLogicConfig* logic,
               int has_abstraction, const DastInfoList* context, GrandMask filters, bool represent_hits);
  DareEvaluate(const DareEvaluate&) = delete;
  DareEvaluate& operator=(const DareEvaluate&) = delete;
  ~DareEvaluate();

  /// By array id, the fields that records of an abstraction show; all without a call.
  void set_display_fields(GrandMask fields) { displayFields = fields; }
  /// Cuts the records into the parts that `DastParallelResource` asks for, one without a call.
  void init_parallel_parts(const DastBaseRecall* base);
  /// Fills the result. After `run_limit` seconds it stops, which is warned about, with what it has. 0, or -1
  /// without parts.
  int do_evaluation(double run_limit);
  /// In place of an evaluation: the exact quality of single records, whether fields have found them or not;
  /// -1 for those that are excluded. `init_scores` first: -1 when no field takes part.
  int init_scores();
  int score(Large record);
  /// Whether the time was not enough.
  bool is_broken() const;
  /// Records that were refined.
  VInt get_num_iterations() const { return numIterations; }

 private:
  struct EvalField;
  struct EvalData;
  struct Shared;
  class Collector;
  class HitSlotsHeap;

  int prepare();
  void prepare_field(int index);
  const DareLogicConfig::Node* leaf_of(int logic_id) const;
  bool is_exclusive(int logic_id) const;
  bool prepare_listed();
  void optimize_logic();
  bool is_reached_alone(int quality) const;
  static bool can_deepen(const EvalField& eval);
  bool deepen_fields();
  bool deepen_fields_down_to(int quality, const std::vector<DareField*>& fields);
  int value_alone(const EvalField& field, int* values) const;
  bool evaluate_best();
  int get_num_parts() const { return static_cast<int>(partOffsets.size()) - 1; }
  void evaluate_parts(int minimum);
  void push_and_collect(EvalData* part);
  void evaluate_intervals(EvalData* part);
  void simple_reeval(EvalData* part, Large record, int state, int bucket);
  int reeval_value(EvalData* part, const EvalField& field, Large record) const;
  bool passes_without_secondary(EvalData* part) const;
  int final_quality(EvalData* part) const;
  void finish_evaluation();
  void add_represented();
  bool takes_away(const EvalField& eval) const;
  std::vector<int> essential_fields(int threshold) const;
  void run_part(EvalData* part);

  TeraResult* finalResult;
  int numFields;
  DareField** dareFields;
  const DareLogicConfig* logicConfig;
  bool hasAbstraction;
  const DastInfoList* contextList;
  GrandMask filterFields;
  bool representHits;

  std::vector<Large> partOffsets;
  std::vector<EvalField> evalFields;
  std::vector<int> logicToField;  // by logic id: position in evalFields
  DareLogicEval boundLogic;       // doubled; secondary fields may be perfect
  DareLogicEval collectLogic;     // doubled; secondary fields just reach the minimum
  DareLogicEval evalLogic;        // exact
  bool usesDeeper = false;        // deeper look-ups count in this evaluation
  int totalWeight = 0;
  GrandMask displayFields = ~GrandMask{0};
  char fieldSep = ';';
  VInt numIterations = 0;
  std::unique_ptr<Shared> shared;
  std::unique_ptr<EvalData> scored;  // of `score`
};
