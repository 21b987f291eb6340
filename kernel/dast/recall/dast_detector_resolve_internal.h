/// From what a detector has found in a text to candidates of the fields.
///
///     graph of the detector               recall graph
///     0 --"maria": numbers 18, 420--> 1   0 --origin "given": base id 17, its records--> 1
///                                         0 --origin "last": base id 12, its records--> 1
///
/// Thread safety: an object belongs to one query; the base is only read.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "dast/dast_options.h"
#include "tera/tera_scan_graph.h"

class AceReporter;
class DastBase;
class DastDetector;
class TeraResult;

class DetectorResolve {
 public:
  struct Unref {
    void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
  };
  using GraphRef = std::unique_ptr<TeraScanGraph, Unref>;

  DetectorResolve(const DastBase* base, const DastDetector* detector, Mask hit_fields, AceReporter* rep)
      : itsBase(base), indDetector(detector), hitFields(hit_fields), aceRep(rep) {}

  /// The recall graph: nodes as in `graph`, as far as edges start or end there. Returns 0 or -1.
  int resolve_detect_graph(TeraScanGraph* graph, GraphRef* recall_graph);
  /// The same with an evaluation of the fields that want one: of an index detector's candidates in that mode,
  /// of a pattern detector's texts by a recall.
  int detector_field_resolve(TeraScanGraph* graph, GraphRef* recall_graph, DastOptions::Call call);

 private:
  /// The candidates of one edge, by field.
  using FieldResults = std::map<int, std::unique_ptr<TeraResult>>;
  /// What an extra string covers.
  struct Cover {
    int from;
    int to;
    int quality;
  };

  int resolve_graph(TeraScanGraph* graph, GraphRef* recall_graph);
  int resolve_edge(int from, const TeraScanGraph::Edge& edge);
  void find_covers(TeraScanGraph* graph);
  bool is_covered(int from, int to, int quality) const;
  void collect(int from, const TeraScanGraph::Edge& edge, FieldResults* found) const;
  void collect_candidate(const TeraCand& cand, int quality, const TeraResult& source,
                         FieldResults* found) const;
  void resolve_pattern_infos(const TeraCand& cand, int quality, const TeraResult& source,
                             FieldResults* found) const;
  std::unique_ptr<TeraResult> detector_field_recall(int field, const char* text) const;
  void detector_field_eval(int field, std::unique_ptr<TeraResult>* result) const;
  int resolve_field(int field, std::unique_ptr<TeraResult>* result) const;
  void add_initial_cands(TeraScanGraph* graph);
  void add_initials_of(int field, const std::string& letter, int node);
  void add_edge(int field, int from, int to, std::unique_ptr<TeraResult> result);
  bool is_evaluated(int field) const { return isEvaluating && (evalFields >> field & 1) != 0; }

  const DastBase* itsBase;
  const DastDetector* indDetector;
  Mask hitFields;
  AceReporter* aceRep;
  bool isEvaluating = false;
  Mask evalFields = 0;
  DastOptions::Call evalCall = DastOptions::APPROX;
  GraphRef recallGraph;
  std::vector<Cover> extraCovers;
};
