/// Scan graphs: what an index has found for the spans of a query text.
///
///     text       Karl _ Maria _ Weber
///     nodes      0    1      2       3          positions in the text: 0, 4, 10, 16
///     edges      0 -> 1, 1 -> 2, 2 -> 3         single words, each with the result of its recall
///                0 -> 2, 1 -> 3, 0 -> 3         runs of words
///
/// An edge starts at a node, in whose list it is, and leads to another; several edges may lead to the same
/// one. Their origins say who made them. A recall of the whole text gives the simplest graph: two nodes and
/// one edge.
///
///     TeraScanGraph graph(TeraScanGraph::ORIGINAL_EDGES, text, 191, 100, 255, 0);
///     TeraSplitResult split(text, TeraSplitter::BLANKS, map, nullptr, nullptr);
///     graph.init(&split, 0, 0);
///     edit.scan(&graph, TeraEval::REDUNDANT, TeraEdit::TRANSPOSE, &split, 50, rep);
///     graph.dedup_resolved(false);
///
/// Invariants: every edge leads to a node of the graph (one that a producer lets lead elsewhere is deleted
/// when nodes move); numEdges is the length of the node's list; when the graph is ordered, so is every result
/// that it was given.
///
/// Ownership: a graph owns its nodes, edges and results. Graphs are shared by reference count: the last
/// `decr_ref` deletes them. A graph that is not shared may as well be a local object. The query text is kept
/// by pointer unless it is said to be copied.
/// Errors: -1 or null, and nothing changes, for nodes that are not there, and without character positions
/// where they are needed; failures of results are reported with `ace_error`. Memory exhaustion throws
/// `std::bad_alloc`.
/// Thread safety: the reference count is atomic; else as that of TeraResult.
#pragma once

#include <functional>
#include <limits>
#include <vector>

#include "ace/ace_atomic.h"
#include "ace/ace_attach.h"
#include "ace/ace_avl_map.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"
#include "tera/tera_cand.h"
#include "tera/tera_eval.h"

class AceIdMap;
class AceReporter;
class TeraMap;
class TeraQuery;
class TeraResult;
class TeraSplitResult;

class SORV_API TeraScanGraph : public AceMerge, public AceCheckType<TeraScanGraph> {
 public:
  /// Persisted nowhere, but known to hosts.
  enum Option : int {
    ORIGINAL_EDGES = 1,     ///< `init` from a split makes an edge for every word
    CHAR_POSITIONS = 2,     ///< the nodes know where in the query they stand
    USE_COLLECTION = 4,     ///< this and the following: properties of every result that is made
    LITERAL_MATCHES = 8,    ///< `TeraResult::add_literal_matches`
    NO_ALIAS_STRINGS = 16,  ///< `TeraResult::set_no_alias_strings`
    ARTIFICIAL = 32,        ///< `TeraResult::set_artificial_cands`
  };
  /// Stands for the graph's default origin.
  static constexpr int DEFAULT_ORIGIN = std::numeric_limits<int>::min();
  /// Of edges that tell nobody who made them.
  static constexpr int NO_ORIGIN = -1;
  /// Results that a graph makes have no lower minimum.
  static constexpr int LEAST_MIN_VALUE = 128;

  using GetInfo = unsigned int(const TeraCand* cand);
  using GetString = TeraCand::GetString;

  /// A span on which a key was found, and the best quality there.
  struct EdgeRange : public AceCheckType<EdgeRange> {
    /// Takes in what was found on an overlapping span: a better quality replaces the range; the same widens
    /// it to both spans or narrows it to what they share; a worse one is ignored.
    void update(int quality, int from, int to, bool wider);
    bool overlaps(int from, int to) const { return from < toPos && to > fromPos; }
    bool is_span(int from, int to) const { return from == fromPos && to == toPos; }
    /// Whether the candidate stands for what was found on the range, given that it has the same key.
    bool is_of(const TeraCand& cand) const;
    /// Whether the span begins with the range and goes on, or begins behind its start and does not end before
    /// it.
    bool is_in_longer(int from, int to) const {
      return (from == fromPos && to > toPos) || (from > fromPos && to >= toPos);
    }

    EdgeRange* nextRange = nullptr;  ///< of the same key
    int fromPos = 0;
    int toPos = 0;
    int hitQual = 0;
    bool isKept = false;  ///< a span that keeps the key where ranges of the same quality leave it nowhere
    int entryNum = TeraCand::NO_ENTRY;  ///< of the first candidate found
    const char* repString = nullptr;
    // Its attribute numbers, where those behind the first count as well:
    Large numInfos = 0;            ///< 0: they do not
    const Large* infos = nullptr;  ///< of more than one
    Large infoShift = 0;
  };
  /// From keys of candidates to the lists of their ranges.
  using EdgeRangeMap = AVLMap<EdgeRange*>;

  class SORV_API Edge : public AceCheckType<Edge> {
   public:
    enum EdgeOption : int {
      UNIFY = 1,      ///< the result is to be unified with those of other fields
      AMORTIZED = 2,  ///< the result was evaluated together with others
    };
    /// Takes over the result, which may be null.
    Edge(int target, TeraResult* result, int origin, int options, int state)
        : hitResult(result), edgeOptions(options), toTarget(target), originId(origin), stateOptions(state) {}
    Edge(const Edge&) = delete;
    Edge& operator=(const Edge&) = delete;
    ~Edge();

    Edge* get_next() const { return nextEdge; }
    TeraResult* get_result() const { return hitResult; }
    int get_target() const { return toTarget; }
    int get_origin() const { return originId; }
    int get_options() const { return edgeOptions; }
    int get_state() const { return stateOptions; }
    void set_state(int state) { stateOptions = state; }
    void set_unify() { edgeOptions |= UNIFY; }
    bool is_unify() const { return (edgeOptions & UNIFY) != 0; }
    void set_amortized() { edgeOptions |= AMORTIZED; }
    bool get_amortized() const { return (edgeOptions & AMORTIZED) != 0; }

    /// Adds to the result. As `TeraResult::add`; without a result the candidate is deleted: -1.
    int add_cand(int quality, TeraCand* cand);
    /// Merges a result by string into the edge's, and deletes it. Returns the number of candidates; without a
    /// result of its own -1.
    int merge_results(TeraResult* result);
    /// Takes over a result in place of its own, which is deleted.
    void replace_result(TeraResult* result);
    /// Gives the result away.
    TeraResult* detach_result();
    /// Copies the text into the result. Returns 0, or -1 without a result.
    int set_query(const char* query);
    /// No result, or one without candidates.
    bool is_empty() const;
    /// Gives the result the limits of another one. Returns 0; -1 if either is missing.
    int adjust_limits(const TeraResult* other);
    void high_first();
    void low_first();
    /// Removes the candidates that the ranges say are better elsewhere. `node` is where the edge starts.
    /// Returns how many were removed.
    int dedup(const EdgeRangeMap* ranges, int node, GetInfo* key, bool wider);
    /// Merges a phonetic recall of the same span. Its attribute numbers (entry numbers, if it is not
    /// resolved) are entries here: the quality of each is `TeraEval::phone_eval` of what its string and the
    /// edge's query have in common by `eval`, and of the phonetic one, with the weight `orig_weight` of the
    /// former in percent. An entry that is there already keeps its better quality. Returns the number of
    /// candidates; -1 without either result, and when that of this edge is resolved.
    int merge_phonetic_edge(const Edge* phonetic, int orig_weight, TeraEval::Eval* eval,
                            const GetString* str_func, const TeraMap* map);

   private:
    friend class TeraScanGraph;

    Edge* nextEdge = nullptr;
    TeraResult* hitResult;
    int edgeOptions;
    int toTarget;
    int originId;
    int stateOptions;
  };

  /// A place between words. Nodes are values; only the graph deletes edges.
  class SORV_API Node : public AceCheckType<Node> {
   public:
    static constexpr int UNKNOWN = -1;

    int get_num_edges() const { return numEdges; }
    Edge* get_first_edge() const { return edgeList; }
    int get_state() const { return stateFlags; }
    void set_state(int state) { stateFlags = state; }
    /// The byte of the query at which it stands; `UNKNOWN`.
    int get_char_pos() const { return charPos; }

    /// Puts an edge at the head of the list. Returns 1; -1 for null.
    int add(Edge* edge);
    /// Merges the result of an edge by string into that of the first edge with the same target and origin
    /// that has one, and deletes the edge; returns 0. When there is none, adds it; returns 1.
    int add_and_dedup(Edge* edge);
    /// Gives the edges away, linked.
    Edge* detach_edge_list();
    /// Becomes a copy, with the same edges; unless both are to keep them, `from` is left without.
    void copy(Node* from, bool keep);
    /// Orders the results worst first.
    void low_first();
    /// Takes over the edges of another node, which lead `shift` nodes further here: as `add_and_dedup`.
    /// Returns how many edges there are more than before.
    int merge_egde_list(Node* other, int shift);

   private:
    friend class TeraScanGraph;

    int numEdges = 0;
    Edge* edgeList = nullptr;
    int stateFlags = 0;
    int charPos = UNKNOWN;
  };

  // Construction.

  /// Without nodes. `min` is raised to `LEAST_MIN_VALUE`; the three limits are those of the results made.
  TeraScanGraph(int options, const char* query, int min, int cands, int dist, int origin);
  /// Of a single result, which is taken over unless this throws: two nodes, at the ends of the query, and one
  /// edge. The query, that of the result when it is null, is copied.
  TeraScanGraph(TeraResult* result, const char* query, int origin);
  /// Options, query and limits of another graph, whose query must stay; with its nodes, but no edges, when
  /// `with_nodes` is set.
  TeraScanGraph(const TeraScanGraph* other, bool with_nodes);
  ~TeraScanGraph();

  // All of these replace the nodes there are, and return the number of the new ones, or -1.

  int init(int num);
  /// The nodes of a split of the query; `origin` and `state` are for the edges of ORIGINAL_EDGES.
  int init(const TeraSplitResult* split, int origin, int state);
  /// As many nodes, at the same positions.
  int init_from_other(const TeraScanGraph* other);

  /// Copies the query, which then need not stay.
  void keep_query() { origQuery = attach(origQuery); }

  void incr_ref() { refCount.modify(1); }
  /// Deletes the graph when it was the last reference.
  void decr_ref();

  // Access.

  int get_num_nodes() const { return static_cast<int>(nodeArray.size()); }
  /// Null outside.
  Node* get_node(int index);
  const Node* get_node(int index) const;
  /// The node at that byte of the query; -1 for none.
  int get_node_index(int char_pos) const;
  bool has_node(int char_pos) const { return get_node_index(char_pos) >= 0; }
  /// Returns 0 or -1.
  int set_char_pos(int node, int pos);
  const char* get_orig_query() const { return origQuery; }
  /// The query's bytes from one node's position to the other's, in `at` or, by the other name, in the graph.
  /// Null without positions inside the query, or when the first is behind the second.
  const char* get_orig_query_part(int from, int to, AceAttach* at) const;
  const char* get_literal_string(int from, int to) { return get_orig_query_part(from, to, this); }
  /// The edge that has all of these; null for none.
  Edge* get_edge(int from, int to, int origin, int options, int state) const;
  /// A new edge with an empty result for that query text.
  Edge* create_edge(int from, int to, const char* query, int origin, int options, int state);
  /// The result of the first edge of the first node; null for fewer than two nodes.
  TeraResult* get_first_result() const;
  /// The first candidate for which the predicate, given the node where its edge starts, holds.
  TeraCand* find_any(const std::function<bool(int node, const TeraCand* cand)>& satisfies) const;

  int get_options() const { return optFlags; }
  bool has_original_edges() const { return has_option(ORIGINAL_EDGES); }
  bool has_char_positions() const { return has_option(CHAR_POSITIONS); }
  bool does_use_collection() const { return has_option(USE_COLLECTION); }
  bool has_literal_matches() const { return has_option(LITERAL_MATCHES); }
  bool is_artificial_cands() const { return has_option(ARTIFICIAL); }
  bool is_resolved() const { return has_state(RESOLVED); }
  bool is_abstract() const { return has_state(ABSTRACT); }
  void set_resolved() { stateFlags |= RESOLVED; }
  void set_abstract() { stateFlags |= ABSTRACT; }
  /// The results that are made from now on have strings of their own for aliases, and join the query text to
  /// the strings.
  void set_alias_strings() { optFlags &= ~NO_ALIAS_STRINGS; }
  void set_literal_strings() { optFlags |= LITERAL_MATCHES; }
  int get_min_value() const { return minValue; }
  int get_num_cands() const { return numCands; }
  int get_max_dist() const { return maxDist; }
  int get_default_origin() const { return defaultOriginId; }

  // Summaries of the edges of all nodes but the last.

  int get_num_candidates() const;
  VInt get_num_infos() const;
  /// The best quality of that origin; 0 without any.
  int get_max_value(int origin) const;
  /// The least minimum between 1 and 254 of the results of that origin; 255 without any.
  int get_min_value(int origin) const;
  /// The largest `TeraResult::get_best_frequent`. Stores the smallest `next_value` if that is positive; the
  /// pointer may be null.
  int get_best_frequent(int* next) const;
  /// Writes the tagged form of every result. Returns 0 or -1.
  int print(AceReporter* rep, const char* fieldname) const;

  /// Whether the invariants above hold for nodes, edges and results. Asserted when nodes have moved.
  bool is_consistent() const;

  // Changes of all edges.

  void set_next_value(int value);
  void force_exact();
  void high_first();
  void low_first();
  void set_unify();
  void set_edge_origin(int origin);
  /// Gives every candidate that shift, unless it is 0.
  void set_cand_offset(Large shift);
  /// The same by the edge's origin; `offsets` has an element for every origin there is. Edges with negative
  /// origins keep theirs.
  void set_cand_offsets(const Large* offsets);
  /// Replaces entry numbers by attribute numbers, which stay in the map. Returns the number of candidates, or
  /// -1.
  int resolve(const AceIdMap* infos);
  void clear_resolved();
  /// Returns the number of candidates that are left.
  int remove_no_info_cands();
  /// Lets each entry, or once resolved each list of attribute numbers, survive only on its best span; see
  /// `dedup`. Lists that differ never go for each other, so no number is lost; neither do collections. Return
  /// the number of candidates removed.
  int dedup_unresolved(bool wider);
  int dedup_resolved(bool wider);
  /// Lets each key survive only where its quality is best: a candidate goes if the same key has a better
  /// quality on a span that overlaps its own (with `wider`, unless its own is the longer one), or the same
  /// quality on an overlapping span that is not its own. Ranges of the same quality that overlap are united
  /// (`wider`), or what they share is kept; where that is the span of none of them, the first one stays. So
  /// no key vanishes. Candidates without key (~0) stay. Orders the results best first.
  int dedup(GetInfo* key, bool wider);

  // Results and queries.

  /// A query for the whole graph, with a reference for the caller: the best of the results' query objects.
  /// Without any, nothing matches.
  TeraQuery* create_merged_query() const;
  /// Takes the first result away, with the candidates of all others merged into it by string, for the caller.
  /// Null without results.
  TeraResult* merge_to_result();
  /// Merges all results that are not empty by string into another one. Returns how many were merged; -1 for a
  /// null target and for fewer than two nodes.
  int merge_into_result(TeraResult* target);

  // Nodes. Return 0 or -1 unless stated otherwise. Edges follow the nodes to which they lead.

  /// Puts an empty node in front of `node`, or at the end.
  int insert_node(int node);
  /// Deletes the node and the edges that start or end there.
  int remove_node(int node);
  /// The later of the two nodes disappears; its edges, and those that lead to it, move to the earlier one.
  int merge_nodes(int one, int other);
  /// Returns the number of edges deleted.
  int remove_empty_edges();
  /// Removes the nodes from `first` on at which no edge starts or ends. Returns their number.
  int remove_empty_nodes(int first);
  /// Whether no edge starts at the node, and no edge of an earlier one leads to `node` - `shift`.
  bool is_empty_node(int node, int shift) const;
  /// Lets edges that lead to nodes behind `limit` lead `shift` nodes further, also out of the graph: whoever
  /// moves the nodes themselves moves them before or after. Returns 0.
  int adjust_edge_target(int limit, int shift);
  /// Moves the edges onto the nodes of a new split of the query, by their positions; edges that do not start
  /// and end at such nodes are deleted.
  int prune(const TeraSplitResult* split);

  // Two graphs over the same query (tera_scan_graph_merge.cpp). They are laid onto each other by their
  // character positions, which must ascend, or else node by node when they have as many nodes. The other
  // graph keeps its nodes, and the edges that are not taken. Edges of one target and one origin are merged.
  // Return the number of edges, or nodes, that came in; or -1.

  /// Takes the nodes that are missing here.
  int merge_nodes(const TeraScanGraph* other);
  /// Takes the edges whose nodes are here.
  int merge_edges(TeraScanGraph* other);
  /// Takes the nodes, and then all edges.
  int merge_graph(TeraScanGraph* other);
  /// Becomes the union of both, without what was here before. Returns the number of nodes.
  int merge_graphs(TeraScanGraph* first, TeraScanGraph* second);
  /// How both are laid onto each other: for each node of the union its position and its index in either graph
  /// (-1: none), for each node of either graph its index in the union. The arrays may be null. Returns the
  /// number of nodes of the union.
  int get_num_combined_nodes(const TeraScanGraph* other, int* positions, int* own_nodes, int* other_nodes,
                             int* own_places, int* other_places) const;

  // Phonetic merging (tera_scan_graph_phonetic.cpp), before this graph is resolved.

  /// Merges a graph over the phonetic form of the query: `node_positions` has for each node the position of
  /// the same word boundary there. See `Edge::merge_phonetic_edge`. Returns 0 or -1.
  int add_phonetics(const GetString* str_func, TeraScanGraph* phonetic, const int* node_positions,
                    int orig_weight, TeraEval::Model model, const TeraMap* map);
  /// Adds the entries that only the phonetic recall has found on a span. The phonetic graph has the same
  /// nodes. Qualities as in `add_phonetics`; those below `min_value` are dropped. Returns the number of
  /// candidates added, or -1.
  int add_phonetic(const TeraScanGraph* phonetic, const GetString* str_func, int orig_weight, int min_value,
                   TeraEval::Eval* eval_func, const TeraMap* map);

 private:
  enum State : int { RESOLVED = 1, ABSTRACT = 2, BEST_FIRST = 4 };
  using NodeList = std::vector<Node>;
  struct Combined;
  class PhoneReevalScan;

  bool has_option(int option) const { return (optFlags & option) != 0; }
  bool has_state(State state) const { return (stateFlags & state) != 0; }
  int origin_of(int origin) const { return origin == DEFAULT_ORIGIN ? defaultOriginId : origin; }
  bool is_node(int index) const { return index >= 0 && index < get_num_nodes(); }
  static void delete_edges(NodeList* nodes);
  void order(Edge* edge) const;
  template <class Visit>
  void for_each_edge(Visit visit) const;
  template <class Visit>
  void for_each_result(Visit visit) const;
  template <class Visit>
  void for_each_inner_result(Visit visit) const;
  void lay_out(const std::vector<int>& places, NodeList fresh);
  bool combine(const TeraScanGraph& other, Combined* combined) const;
  bool has_ascending_positions() const;
  Edge* get_original_edge(int from, int to);

  int optFlags;
  NodeList nodeArray;
  const char* origQuery;
  int stateFlags = 0;
  const int minValue;
  const int numCands;
  const int maxDist;
  int defaultOriginId;
  AceCount refCount;
};
