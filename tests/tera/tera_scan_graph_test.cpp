#include "tera/tera_scan_graph.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "support/recording_reporter.h"
#include "support/word_samples.h"
#include "tera/tera_decompose.h"
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_splitter.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_word.h"

namespace {

using Graph = TeraScanGraph;

// ---------------------------------------------------------------- the model

/// Entries and their qualities, as edges have them.
using Cands = std::multimap<int, int>;

struct ModelEdge {
  int from, to, origin;
  Cands cands;
  bool operator==(const ModelEdge&) const = default;
};
/// Edges in the order of nodes and lists, and the positions of the nodes.
struct Model {
  std::vector<int> positions;
  std::vector<ModelEdge> edges;
  bool operator==(const Model&) const = default;

  int size() const { return static_cast<int>(positions.size()); }
  void head(ModelEdge edge) {
    const auto place =
        std::find_if(edges.begin(), edges.end(), [&](const auto& e) { return e.from >= edge.from; });
    edges.insert(place, std::move(edge));
  }
  /// The same entry once, with its best quality.
  void merge(ModelEdge edge) {
    const auto own = std::find_if(edges.begin(), edges.end(), [&](const ModelEdge& e) {
      return e.from == edge.from && e.to == edge.to && e.origin == edge.origin;
    });
    if (own == edges.end()) return head(std::move(edge));
    std::map<int, int> best;
    for (const Cands& cands : {own->cands, edge.cands})
      for (const auto& [entry, quality] : cands) best[entry] = std::max(best[entry], quality);
    own->cands = Cands(best.begin(), best.end());
  }
  void raise(int above, int shift) {
    for (ModelEdge& edge : edges) {
      edge.from += edge.from > above ? shift : 0;
      edge.to += edge.to > above ? shift : 0;
    }
  }
  void remove(int node) {
    std::erase_if(edges, [node](const ModelEdge& edge) { return edge.from == node || edge.to == node; });
    raise(node, -1);
    positions.erase(positions.begin() + node);
  }
  void unite(int low, int high) {
    std::vector<ModelEdge> moved;
    for (ModelEdge& edge : edges) {
      if (edge.to == high) edge.to = low;
      if (edge.from == high) moved.insert(moved.begin(), edge);
    }
    std::erase_if(edges, [high](const ModelEdge& edge) { return edge.from == high; });
    for (ModelEdge& edge : moved) edge.from = low, merge(edge);
    raise(high, -1);
    positions.erase(positions.begin() + high);
  }
  void insert(int node, int position) {
    raise(node - 1, 1);
    positions.insert(positions.begin() + node, position);
  }
  int place_of(int position) const {
    const auto found = std::find(positions.begin(), positions.end(), position);
    return found != positions.end() ? static_cast<int>(found - positions.begin()) : -1;
  }
};

Cands cands_of(const TeraResult* result) {
  Cands cands;
  if (result != nullptr)
    result->find_any([&cands](int quality, const TeraCand* cand) {
      cands.emplace(cand->get_entry(), quality);
      return false;
    });
  return cands;
}

Model model_of(const Graph& graph) {
  Model model;
  for (int i = 0; i < graph.get_num_nodes(); ++i) {
    const Graph::Node* const node = graph.get_node(i);
    model.positions.push_back(node->get_char_pos());
    int num = 0;
    for (const Graph::Edge* edge = node->get_first_edge(); edge != nullptr; edge = edge->get_next(), ++num) {
      EXPECT_NE(graph.get_node(edge->get_target()), nullptr);
      model.edges.push_back({i, edge->get_target(), edge->get_origin(), cands_of(edge->get_result())});
    }
    EXPECT_EQ(num, node->get_num_edges());
  }
  return model;
}

// ---------------------------------------------------------------- graphs

const char* const NAMES[] = {"ann", "bob", "cid", "dot", "eve", "fay", "gus", "hal"};
constexpr int NUM_NAMES = 8;

void add_named(Graph::Edge* edge, int entry, int quality) {
  auto cand = std::make_unique<TeraCand>(static_cast<Large>(entry));
  cand->set_string(NAMES[entry]);
  edge->add_cand(quality, cand.release());
}

/// Nodes at some of the positions 0, 3, 6, ...; edges forward, of two origins, some without candidates. An
/// edge may have an entry twice.
std::unique_ptr<Graph> random_graph(samples::Random& random, int max_nodes) {
  static const std::string text(99, 'x');
  auto graph = std::make_unique<Graph>(Graph::CHAR_POSITIONS, text.c_str(), 0, 1000, 255, 1);
  std::vector<int> positions;
  for (int i = 0; i < max_nodes; ++i)
    if (random.below(3) != 0) positions.push_back(3 * i);
  graph->init(static_cast<int>(positions.size()));
  for (size_t i = 0; i < positions.size(); ++i) graph->set_char_pos(static_cast<int>(i), positions[i]);
  for (int i = random.below(12); i > 0 && positions.size() > 1; --i) {
    const int from = random.below(graph->get_num_nodes() - 1);
    const int to = from + 1 + random.below(graph->get_num_nodes() - 1 - from);
    const int origin = 1 + random.below(2);
    if (graph->get_edge(from, to, origin, 0, 0) != nullptr) continue;
    Graph::Edge* const edge = graph->create_edge(from, to, "q", origin, 0, 0);
    for (int k = random.below(5); k > 0; --k) add_named(edge, random.below(NUM_NAMES), 250 + random.below(4));
  }
  return graph;
}

class Graphs : public testing::Test {
 protected:
  Graphs() {
    TeraMapConfig config("utf-8");
    config.set_tokens("a-z");
    config.map_glob_chars(1);
    config.compile_map(&map);
  }
  TeraMap map;
};

}  // namespace

TEST_F(Graphs, surgery_moves_edges_and_targets_as_a_list_of_spans_says) {
  samples::Random random(11);
  for (int round = 0; round < 3000; ++round) {
    const auto graph = random_graph(random, 7);
    Model model = model_of(*graph);
    for (int step = 0; step < 3; ++step) {
      const int operation = random.below(8);
      SCOPED_TRACE("round " + std::to_string(round) + ", operation " + std::to_string(operation));
      const int one = random.below(8);
      const int other = random.below(8);
      const bool isOutside = std::max(one, operation == 1 ? other : 0) >= model.size();
      switch (operation) {
        case 0:
          ASSERT_EQ(graph->remove_node(one), isOutside ? -1 : 0);
          if (!isOutside) model.remove(one);
          break;
        case 1:
          ASSERT_EQ(graph->merge_nodes(one, other), isOutside ? -1 : 0);
          if (!isOutside && one != other) model.unite(std::min(one, other), std::max(one, other));
          break;
        case 2:
          ASSERT_EQ(graph->insert_node(one), one > model.size() ? -1 : 0);
          if (one <= model.size()) model.insert(one, -1);
          break;
        case 3:
          ASSERT_EQ(graph->remove_empty_edges(),
                    std::erase_if(model.edges, [](const ModelEdge& edge) { return edge.cands.empty(); }));
          break;
        case 4: {
          const Model before = model;
          for (int node = before.size() - 1; node >= 0; --node) {
            const bool isUsed =
                std::any_of(before.edges.begin(), before.edges.end(), [node](const ModelEdge& edge) {
                  return edge.from == node || (edge.to == node && edge.from < node);
                });
            ASSERT_EQ(graph->is_empty_node(node, 0), !isUsed);
            if (!isUsed && node >= one) model.remove(node);
          }
          ASSERT_EQ(graph->remove_empty_nodes(one), one > before.size() ? -1 : before.size() - model.size());
          break;
        }
        case 5: {  // a new split, with nodes at 0, 6, 12 and 18
          const TeraSplitResult split("abcde fghij klmnop", TeraSplitter::BLANKS, &map, nullptr, nullptr);
          const Model old = model;
          model = {{0, 5, 11, 18}, {}};
          for (auto edge = old.edges.rbegin(); edge != old.edges.rend(); ++edge) {
            const int from = model.place_of(old.positions[edge->from]);
            const int to = model.place_of(old.positions[edge->to]);
            if (from >= 0 && to >= 0) model.head({from, to, edge->origin, edge->cands});
          }
          ASSERT_EQ(graph->prune(&split), 0);
          break;
        }
        default: {  // another graph
          const auto added = random_graph(random, 7);
          const Model theirs = model_of(*added);
          const bool isKnown = !model.positions.empty() &&
                               std::is_sorted(model.positions.begin(), model.positions.end()) &&
                               model.positions.front() >= 0;
          if (!isKnown) break;
          if (operation == 7)
            for (const int position : theirs.positions) {
              const auto place = std::lower_bound(model.positions.begin(), model.positions.end(), position);
              if (place == model.positions.end() || *place != position)
                model.insert(static_cast<int>(place - model.positions.begin()), position);
            }
          int taken = 0;
          for (int node = 0; node < theirs.size(); ++node)
            for (auto edge = theirs.edges.rbegin(); edge != theirs.edges.rend(); ++edge) {
              const int from = model.place_of(theirs.positions[edge->from]);
              const int to = model.place_of(theirs.positions[edge->to]);
              if (edge->from != node || from < 0 || to < 0) continue;
              model.merge({from, to, edge->origin, edge->cands});
              ++taken;
            }
          ASSERT_EQ(operation == 7 ? graph->merge_graph(added.get()) : graph->merge_edges(added.get()),
                    taken);
          ASSERT_EQ(model_of(*added).edges.size() + static_cast<size_t>(taken), theirs.edges.size());
        }
      }
      ASSERT_TRUE(model_of(*graph) == model);
    }
  }
}

TEST_F(Graphs, duplicates_stay_where_they_are_best) {
  struct Range {
    int quality, from, to;
  };
  samples::Random random(13);
  for (int round = 0; round < 3000; ++round) {
    const auto graph = random_graph(random, 6);
    const bool wider = random.below(2) != 0;
    Model model = model_of(*graph);
    for (ModelEdge& edge : model.edges) {
      std::map<int, int> best;
      for (const auto& [entry, quality] : edge.cands) best[entry] = std::max(best[entry], quality);
      edge.cands = Cands(best.begin(), best.end());
    }
    std::map<int, std::vector<Range>> ranges;
    for (const ModelEdge& edge : model.edges)
      for (const auto& [entry, quality] : edge.cands) {
        bool isNoted = false;
        for (Range& range : ranges[entry]) {
          if (edge.from >= range.to || edge.to <= range.from) continue;
          isNoted = true;
          if (range.quality < quality) range = {quality, edge.from, edge.to};
          if (range.quality > quality) continue;
          range.from = wider ? std::min(range.from, edge.from) : std::max(range.from, edge.from);
          range.to = wider ? std::max(range.to, edge.to) : std::min(range.to, edge.to);
        }
        if (!isNoted) ranges[entry].push_back({quality, edge.from, edge.to});
      }
    // What stays, and what goes for the sake of the same quality only, of which the first ones stay after
    // all.
    enum Fate { STAYS, EQUAL, WORSE };
    const auto fate_of = [&](const ModelEdge& edge, int entry, int quality) {
      Fate fate = STAYS;
      for (const Range& range : ranges[entry]) {
        if (edge.from >= range.to || edge.to <= range.from) continue;
        const bool isLonger = (edge.from == range.from && edge.to > range.to) ||
                              (edge.from > range.from && edge.to >= range.to);
        if (range.quality > quality && !(wider && isLonger)) return WORSE;
        if (range.quality == quality && (edge.from != range.from || edge.to != range.to)) fate = EQUAL;
      }
      return fate;
    };
    std::map<int, std::vector<Range>> stay;
    for (const Fate pass : {STAYS, EQUAL})
      for (const ModelEdge& edge : model.edges)
        for (const auto& [entry, quality] : edge.cands) {
          const auto isRival = [&edge, quality = quality](const Range& range) {
            return range.quality == quality && edge.from < range.to && edge.to > range.from;
          };
          std::vector<Range>& known = stay[entry];
          if (fate_of(edge, entry, quality) == pass &&
              (pass == STAYS || std::none_of(known.begin(), known.end(), isRival)))
            known.push_back({quality, edge.from, edge.to});
        }
    int removed = graph->get_num_candidates();
    for (ModelEdge& edge : model.edges)
      std::erase_if(edge.cands, [&](const auto& cand) {
        const std::vector<Range>& known = stay[cand.first];
        EXPECT_FALSE(known.empty()) << "entry " << cand.first << " vanished";
        return std::none_of(known.begin(), known.end(), [&](const Range& range) {
          return range.quality == cand.second && range.from == edge.from && range.to == edge.to;
        });
      });
    for (const ModelEdge& edge : model.edges) removed -= static_cast<int>(edge.cands.size());
    ASSERT_EQ(graph->dedup_unresolved(wider), removed);
    ASSERT_TRUE(model_of(*graph) == model) << "round " << round;
  }
}

TEST_F(Graphs, a_word_repeated_over_thousands_of_nodes_keeps_its_best_spans) {
  constexpr int NODES = 4000;
  for (const bool wider : {false, true}) {
    Graph graph(0, "der", 0, 100, 255, 0);
    graph.init(NODES);
    for (int from = 0; from + 1 < NODES; ++from)
      for (int to = from + 1; to < std::min(from + 4, NODES); ++to)
        for (Large entry = 1; entry < 9; ++entry)
          graph.create_edge(from, to, "der", 0, 0, 0)
              ->add_cand(to == from + 1 ? 255 : 200, new TeraCand(entry));
    graph.dedup_unresolved(wider);
    EXPECT_EQ(graph.get_num_candidates(), (NODES - 1) * 8);  // all ranges meet, and none of them overlap
  }
}

TEST_F(Graphs, attribute_numbers_are_only_duplicates_with_their_whole_list) {
  const Large lists[][2] = {{3, 7}, {3, 9}, {3, 7}};
  Graph graph(0, "ann bob", 0, 100, 255, 0);
  graph.init(3);
  Graph::Edge* const best = graph.create_edge(0, 1, "ann", 0, 0, 0);
  Graph::Edge* const other = graph.create_edge(0, 2, "ann bob", 0, 0, 0);
  best->add_cand(250, new TeraCand("ann", 2, lists[0]));
  best->add_cand(240, new TeraCand("anna", 2, lists[1]));
  other->add_cand(230, new TeraCand("ann", 2, lists[2]));
  other->add_cand(220, new TeraCand("an", 1, lists[0]));
  other->add_cand(210, new TeraCand("a", 1, lists[1]));
  auto* const collection = TeraCand::create_collection_cand("", 2, lists[0]);
  collection->add_state(TeraCand::RESOLVED);
  other->add_cand(200, collection);
  EXPECT_EQ(graph.dedup_resolved(false), 2);
  EXPECT_EQ(best->get_result()->num_cands(), 2);
  EXPECT_NE(other->get_result()->get_cand("an", 0), nullptr);
  EXPECT_NE(other->get_result()->get_cand("", 0), nullptr);
}

TEST_F(Graphs, a_single_result_is_wrapped_summed_up_and_given_back) {
  auto* const result = new TeraResult("ann", 200, 10, 255);
  Graph graph(result, nullptr, -1);
  TeraQuery* const query = new TeraStandardQuery("ann", TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, &map, 0);
  result->add_query(query, 1);
  query->unref();
  Graph::Edge* const edge = graph.get_edge(0, 1, Graph::DEFAULT_ORIGIN, 0, 0);
  ASSERT_TRUE(edge != nullptr && graph.has_char_positions() && graph.get_node_index(3) == 1);
  add_named(edge, 0, 255);
  add_named(edge, 1, 210);
  EXPECT_STREQ(graph.get_literal_string(0, 1), "ann");
  EXPECT_EQ(graph.get_literal_string(1, 0), nullptr);
  EXPECT_EQ(graph.get_max_value(-1), 255);
  EXPECT_EQ(graph.get_max_value(0), 0);
  EXPECT_EQ(graph.get_min_value(-1), 200);
  EXPECT_EQ(graph.get_min_value(0), 255);
  int next = 0;
  EXPECT_EQ(graph.get_best_frequent(&next), 0);
  EXPECT_EQ(next, 199);
  EXPECT_EQ(graph.find_any([](int node, const TeraCand* c) { return node == 0 && c->get_entry() == 1; })
                ->get_string(),
            NAMES[1]);
  TeraQuery* const merged = graph.create_merged_query();
  EXPECT_EQ(merged, query);
  merged->unref();
  support::RecordingReporter rep;
  EXPECT_EQ(graph.print(&rep, "name"), 0);
  EXPECT_NE(rep.all().find("source=\"name\" query=\"ann\""), std::string::npos);
  EXPECT_EQ(graph.print(nullptr, "name"), -1);

  // Aliases, entry + 4, come into the same groups.
  const std::vector<Large> aliases = {4, 5};
  const TeraAliasMap::GetAlias hook = [&aliases](Large entry, const Large** found, const Large** penalties) {
    *found = aliases.data() + entry % 2;
    *penalties = nullptr;
    return entry < 2 ? Large{1} : Large{0};
  };
  EXPECT_EQ(TeraAliasMap::add_aliases(&graph, &hook, nullptr, 0), 4);
  EXPECT_EQ(cands_of(result), (Cands{{0, 255}, {1, 210}, {4, 255}, {5, 210}}));

  const std::unique_ptr<TeraResult> back(graph.merge_to_result());
  EXPECT_EQ(back.get(), result);
  EXPECT_EQ(edge->get_result(), nullptr);
  EXPECT_EQ(graph.merge_to_result(), nullptr);
  EXPECT_EQ(edge->add_cand(255, new TeraCand(Large{1})), -1);
  EXPECT_EQ(edge->merge_results(new TeraResult("x", 0, 1, 0)), -1);
  TeraQuery* const none = graph.create_merged_query();
  EXPECT_EQ(none->compare("ann"), 0);
  none->unref();
}

TEST_F(Graphs, results_are_made_with_the_graphs_limits_properties_and_order) {
  auto* const graph = new Graph(Graph::ORIGINAL_EDGES | Graph::USE_COLLECTION | Graph::LITERAL_MATCHES,
                                "ann - bob ", 100, 5, 77, 9);
  graph->incr_ref();
  const TeraSplitResult split("ann - bob ", TeraSplitter::BLANKS, &map, "-", nullptr);
  EXPECT_EQ(graph->init(&split, 3, 4), 3);
  const Graph::Edge* const second = graph->get_edge(1, 2, 3, 0, 4);
  ASSERT_NE(second, nullptr);
  EXPECT_STREQ(second->get_result()->get_string(), "bob");
  EXPECT_STREQ(graph->get_literal_string(1, 2), " - bob");
  graph->high_first();
  Graph::Edge* const edge = graph->create_edge(0, 2, "annbob", Graph::DEFAULT_ORIGIN, 0, 0);
  add_named(edge, 2, 150);
  add_named(edge, 3, 200);
  const TeraResult* const result = edge->get_result();
  EXPECT_EQ(edge->get_origin(), 9);
  EXPECT_EQ(result->get_min_value(), 128);
  EXPECT_EQ(result->get_max_dist(), 77);
  EXPECT_EQ(result->get_num_cands(), 5);
  EXPECT_TRUE(result->does_use_collection() && result->has_literal_matches() && !result->is_resolved());
  EXPECT_EQ(result->get_first_group()->get_value(), 200);
  graph->low_first();
  EXPECT_EQ(result->get_first_group()->get_value(), 150);
  EXPECT_EQ(graph->create_edge(0, 3, "x", 0, 0, 0), nullptr);
  EXPECT_EQ(graph->adjust_edge_target(1, 2), 0);
  EXPECT_NE(graph->get_edge(0, 4, 9, 0, 0), nullptr);  // outside, and back
  Graph without(graph, true);
  EXPECT_EQ(without.merge_edges(graph), 1);
  EXPECT_EQ(graph->merge_edges(&without), 1);
  EXPECT_NE(graph->get_edge(0, 1, 3, 0, 4), nullptr);
  EXPECT_EQ(graph->adjust_edge_target(3, -2), 0);

  Graph copy(graph, true);
  EXPECT_EQ(copy.get_node_index(graph->get_node(1)->get_char_pos()), 1);
  EXPECT_EQ(copy.merge_edges(graph), 3);
  TeraResult all("ann - bob", 0, 100, 255);
  EXPECT_EQ(copy.merge_into_result(&all), 1);
  EXPECT_EQ(all.num_cands(), 2);
  graph->decr_ref();
}

TEST_F(Graphs, phonetic_hits_get_both_qualities_and_never_worsen_an_entry) {
  samples::Random random(17);
  const Graph::GetString strings = [](Large entry, AceAttach* at) { return at->attach(NAMES[entry]); };
  TeraEval::Eval* const eval = TeraEval::get_model_func(TeraEval::MAXIMUM, 0);
  const int positions[] = {0, 2, 4};
  for (int round = 0; round < 300; ++round) {
    const bool isPure = round % 2 != 0;
    const int weight = random.below(101);
    const int min_value = isPure ? 128 + random.below(60) : 128;
    Graph graph(Graph::CHAR_POSITIONS | Graph::LITERAL_MATCHES, "dot gas", 128, 100, 255, 0);
    Graph phonetic(Graph::CHAR_POSITIONS, "T3K2", 128, 100, 255, 1);
    for (Graph* made : {&graph, &phonetic}) made->init(3);
    for (int i = 0; i < 3; ++i) {
      graph.set_char_pos(i, std::min(4 * i, 7) - (i == 1 ? 1 : 0));
      phonetic.set_char_pos(i, positions[i]);
    }
    const int from = random.below(2);
    Graph::Edge* const heard = phonetic.create_edge(from, from + 1, "code", 1, 0, 0);
    Cands expected;
    std::map<int, int> known, sound;
    if (random.below(2) != 0) {
      Graph::Edge* const literal = graph.create_edge(from, from + 1, from == 0 ? "dot" : "gas", 0, 0, 0);
      for (int i = random.below(3); i > 0; --i) known[random.below(NUM_NAMES)] = 130 + random.below(126);
      for (const auto& [entry, quality] : known) add_named(literal, entry, quality);
    }
    for (int i = random.below(4); i > 0; --i) {
      const int entry = random.below(NUM_NAMES);
      const int quality = 128 + random.below(128);
      sound[entry] = std::max(sound[entry], quality);
      add_named(heard, entry, quality);
    }
    for (const auto& [entry, quality] : sound) {
      const int plain = TeraWord::cmp(from == 0 ? "dot" : "gas", NAMES[entry], &map, TeraEval::MAXIMUM, 0);
      const int mixed = TeraEval::phone_eval(plain, quality, weight);
      if (mixed >= min_value && (!isPure || known.count(entry) == 0))
        known[entry] = std::max(known[entry], mixed);
    }
    if (isPure)
      ASSERT_GE(graph.add_phonetic(&phonetic, &strings, weight, min_value, eval, &map), 0);
    else
      ASSERT_EQ(graph.add_phonetics(&strings, &phonetic, positions, weight, TeraEval::MAXIMUM, &map), 0);
    const Graph::Edge* const edge = graph.get_edge(from, from + 1, 0, 0, 0);
    ASSERT_TRUE(cands_of(edge != nullptr ? edge->get_result() : nullptr) ==
                Cands(known.begin(), known.end()));
    graph.find_any([](int, const TeraCand* cand) {
      EXPECT_TRUE(std::string(cand->get_string()).rfind(NAMES[cand->get_entry()], 0) == 0);
      return false;
    });
  }
}

TEST_F(Graphs, a_scan_finds_on_each_run_of_words_what_its_recall_finds) {
  samples::Random random(19);
  ListTree tree(nullptr);
  AceBulk bulk;
  for (Large i = 0; i < 150; ++i) {
    const std::string word = samples::letters(random, 2 + random.below(7));
    bulk.inc(tree[word.c_str()], i);
  }
  // A title says how long runs are looked up; the whole text always is.
  constexpr int titleWords = 13;
  std::string title;
  for (int i = 0; i < titleWords; ++i) title += (i > 0 ? " " : "") + samples::letters(random, 1 + i % 3);
  bulk.inc(tree[title.c_str()], 150);
  TeraEdit edit;
  ASSERT_EQ(edit.make(&tree, &map, 0, 0, 0, AceReporter::null()), 0);
  for (int round = 0; round < 60; ++round) {
    std::string text;
    if (round % 4 == 0) text += "ab " + title + (round % 8 == 0 ? " " : "");
    for (int i = random.below(9); i > 0; --i)
      text += samples::letters(random, 1 + random.below(4)) + (random.below(4) == 0 ? "-" : " ");
    if (round % 10 == 0) text += " a[b";
    const bool isFull = round % 3 == 0;
    const int options = TeraEdit::TRANSPOSE + (round % 2 == 0 ? TeraEdit::NO_RESOLVE : 0);
    Graph graph(0, text.c_str(), 180, 20, 60, 0);
    TeraSplitResult split(text.c_str(), TeraSplitter::BLANKS, &map, "-", nullptr);
    const int spans = isFull ? edit.full_scan(&graph, TeraEval::REDUNDANT, options, &split, 100, nullptr)
                      : round % 3 == 1
                          ? edit.scan_sep(&graph, TeraEval::REDUNDANT, options, "-", 100, nullptr)
                          : edit.scan(&graph, TeraEval::REDUNDANT, options, &split, 100, nullptr);
    ASSERT_EQ(graph.get_num_nodes(), split.numNodes);
    ASSERT_EQ(graph.is_resolved(), round % 2 != 0);
    int runs = 0;
    AceAttach at;
    for (int from = 0; from < split.numNodes; ++from)
      for (int to = from + 1; to < split.numNodes; ++to) {
        const bool isWhole = from == 0 && to == split.numNodes - 1;
        if (!isFull && !isWhole && to > from + titleWords) continue;
        const Graph::Edge* const edge = graph.get_edge(from, to, 0, 0, 0);
        runs += edge != nullptr ? 1 : 0;
        const char* const words = split.get_lit_string(from, to, &at);
        TeraResult own(words, 180, 20, 60);
        const int plain = std::string(words).find('[') != std::string::npos ? TeraEdit::NO_OPERATORS : 0;
        ASSERT_GE(edit.recall(&own, TeraEval::LEVENSHTEIN, TeraEval::REDUNDANT, 0, 0, options | plain, 100,
                              nullptr),
                  0);
        if (edge == nullptr) {  // too long for every entry
          EXPECT_TRUE(to > from + 1 && own.num_cands() == 0) << words;
          continue;
        }
        EXPECT_STREQ(edge->get_result()->get_string(), words);
        EXPECT_TRUE(own.equal_cands(edge->get_result())) << words;
      }
    EXPECT_EQ(spans, runs);
    if (round % 8 == 0) {
      EXPECT_EQ(graph.get_max_value(0), 255) << text;
    }
    // Nodes of another text.
    graph.insert_node(0);
    EXPECT_EQ(edit.scan(&graph, TeraEval::REDUNDANT, options, &split, 100, nullptr), -1);
  }
}

TEST_F(Graphs, compounds_are_decomposed_into_all_pairs_that_reach_the_quality) {
  samples::Random random(23);
  const auto quality_of = [this](const std::string& part, int entry) {
    return TeraWord::cmp(part.c_str(), NAMES[entry], &map, TeraEval::MAXIMUM, 0);
  };
  for (int round = 0; round < 300; ++round) {
    std::string query = std::string(NAMES[random.below(NUM_NAMES)]) + NAMES[random.below(NUM_NAMES)];
    for (int i = random.below(3); i > 0; --i) query[random.below(6)] = 'a';
    const int min_left = random.below(4);
    const int min_right = random.below(4);
    const int min_value = 150 + random.below(106);
    std::map<std::set<Large>, int> expected, found;
    for (int cut = std::max(min_left, 1); cut <= 6 - std::max(min_right, 1); ++cut)
      for (int left = 0; left < NUM_NAMES; ++left)
        for (int right = 0; right < NUM_NAMES; ++right) {
          const int one = quality_of(query.substr(0, cut), left);
          const int other = quality_of(query.substr(cut), right);
          const int quality = (cut * one + (6 - cut) * other + 3) / 6;
          int& best = expected[{Large(left), Large(right)}];
          if (one > 0 && other > 0 && quality >= min_value) best = std::max(best, quality);
        }
    std::erase_if(expected, [](const auto& pair) { return pair.second == 0; });
    TeraResult result(query.c_str(), min_value, 100000, 255);
    const int num = TeraDecompose::decompose(
        &result, min_left, min_right, TeraEval::MAXIMUM, &map,
        [&](TeraResult* part, TeraDecompose::Direction direction, TeraEval::Model) {
          const std::string text = part->get_string();
          EXPECT_TRUE(direction == TeraDecompose::PREFIX ? query.starts_with(text) : query.ends_with(text));
          for (int entry = 0; entry < NUM_NAMES; ++entry)
            part->add(quality_of(part->get_string(), entry), static_cast<Large>(entry));
        });
    result.find_any([&found](int quality, const TeraCand* cand) {
      EXPECT_TRUE(cand->is(TeraCand::COLLECTION));
      found[{cand->get_infos(), cand->get_infos() + cand->get_num_infos()}] = quality;
      return false;
    });
    EXPECT_EQ(found, expected) << query << ' ' << min_left << ' ' << min_right << ' ' << min_value;
    EXPECT_EQ(num, static_cast<int>(expected.size()));
  }
}

TEST_F(Graphs, what_takes_too_many_recalls_is_refused_before_the_first) {
  support::RecordingReporter reporter;
  reporter.set_as_default();
  std::string letters;
  for (int i = 0; i < 5000; ++i) letters += "a ";
  ListTree tree(nullptr);
  tree["a"];
  tree["b a"];
  TeraEdit edit;
  ASSERT_EQ(edit.make(&tree, &map, 0, 0, 0, AceReporter::null()), 0);
  Graph graph(0, letters.c_str(), 200, 10, 255, 0);
  EXPECT_EQ(edit.scan(&graph, TeraEval::REDUNDANT, 0, nullptr, 100, nullptr), -1);
  EXPECT_NE(reporter.all().find("Query refused"), std::string::npos);
  EXPECT_EQ(graph.get_num_candidates(), 0);
  TeraResult compound(std::string(TeraDecompose::MAX_POSITIONS + 1, 'a').c_str(), 200, 10, 255);
  EXPECT_EQ(TeraDecompose::decompose(&compound, 1, 1, TeraEval::REDUNDANT, edit.get_tera_map(),
                                     [](auto...) { ADD_FAILURE(); }),
            -1);
}
