#include <algorithm>
#include <map>

#include "ace/ace_tracer.h"
#include "dast/dast_base.h"
#include "dast/dast_info_list.h"
#include "dast/dast_quality_cache.h"
#include "support/by_threads.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

using support::FieldPlan;
using support::Table;
using support::TempFolder;

struct GraphUnref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using Graph = std::unique_ptr<TeraScanGraph, GraphUnref>;

/// What a query on a field must find: per string its quality and the records that have it.
struct Hit {
  int quality = 0;
  std::set<Large> records;
  bool operator==(const Hit&) const = default;
};
using Hits = std::map<std::string, Hit>;

void PrintTo(const Hit& hit, std::ostream* out) {
  *out << hit.quality << " {";
  for (const Large record : hit.records) *out << " " << record;
  *out << " }";
}

constexpr int LEAST_QUALITY = 190;

std::string normal(const FieldPlan& plan, const std::string& part) {
  if (!plan.type.ends_with("NUMERIC") || part.empty()) return part;
  const std::size_t first = part.find_first_not_of('0');
  return first == std::string::npos ? "0" : part.substr(first);
}

/// The base as a table: every string of every record is scored by itself.
class OracleBase {
 public:
  explicit OracleBase(const Table& table) : itsTable(table) {}

  /// Records by string.
  std::map<std::string, std::set<Large>> strings(std::size_t field) const {
    std::map<std::string, std::set<Large>> found;
    for (std::size_t r = 0; r < itsTable.records.size(); ++r)
      for (const auto& part : Table::parts(itsTable.records[r][field]))
        found[normal(itsTable.fields[field], part)].insert(static_cast<Large>(r + 1));
    return found;
  }

  Hits ask(std::size_t field, const std::vector<TeraQuery*>& queries) const {
    const FieldPlan& plan = itsTable.fields[field];
    Hits hits;
    for (const auto& [string, records] : strings(field)) {
      if (string.empty()) continue;
      const bool isPartial =
          plan.type.starts_with("ADVANCED") && plan.type.find("PARTIAL") != std::string::npos;
      if (isPartial && static_cast<int>(records.size()) < plan.partialFreq) continue;
      int quality = 0;
      for (TeraQuery* query : queries) quality = std::max(quality, query->compare(string.c_str()));
      if (quality >= LEAST_QUALITY) hits[string] = {quality, records};
    }
    return hits;
  }

 private:
  const Table& itsTable;
};

/// Candidates of all results, by string; BASIC fields have one for each entry.
Hits hits_of(const TeraScanGraph* graph, const DastBaseField* field) {
  Hits hits;
  AceAttach at;
  graph->find_any([&](int, const TeraCand*) { return false; });
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      const TeraResult* result = edge->get_result();
      if (result == nullptr) continue;
      for (auto* group = result->get_first_group(); group != nullptr; group = group->get_next())
        for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
          const Large* records = nullptr;
          const Large count = field->get_info_list(cand, &at)->get_single(&records, &at, 1 << 30);
          Hit& hit = hits[cand->get_string() != nullptr ? cand->get_string() : "(null)"];
          hit.quality = std::max(hit.quality, group->get_value());
          hit.records.insert(records, records + count);
        }
    }
  return hits;
}

Graph ask(const DastBaseField* field, const std::string& query, DastOptions::Call call = DastOptions::APPROX,
          int empty_qual = 0, DastQualityCache* cache = nullptr) {
  return Graph(field->full_scan_resolve(call, query.c_str(), cache, empty_qual, 0, AceReporter::null()));
}

class DastBaseRecallTest : public testing::Test {
  support::QuietReports quiet;
};

TEST_F(DastBaseRecallTest, a_field_finds_the_values_records_and_qualities_of_a_scan_of_the_table) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::vector<FieldPlan> plans = support::all_field_plans(seed % 3 == 0 ? "BASIC" : "ADVANCED");
    std::shuffle(plans.begin(), plans.end(), std::mt19937(seed));
    plans.resize(12);
    for (auto& plan : plans)
      if (seed % 2 == 0) plan.buildOptions = "-filter 3";
    const Table table = support::random_table(seed, plans, seed * seed * 4);
    const TempFolder folder;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr) << "seed " << seed;
    const OracleBase oracle(table);
    std::mt19937 random(seed);
    for (std::size_t f = 0; f < plans.size(); ++f) {
      const DastBaseField* field = base->get_field(static_cast<int>(f));
      for (int i = 0; i < 10; ++i) {
        const std::string query = support::random_value(random, plans[f].type.ends_with("NUMERIC"), true);
        const Graph graph = ask(field, query);
        if (plans[f].type.find("NONE") != std::string::npos) {
          EXPECT_EQ(graph, nullptr);
          continue;
        }
        std::vector<TeraQuery*> queries;
        for (const auto& part : Table::parts(query))
          queries.push_back(
              field->get_method()->eval(DastOptions::APPROX, part.c_str(), AceReporter::null()));
        if (graph != nullptr)  // null for an empty index
          EXPECT_EQ(hits_of(graph.get(), field), oracle.ask(f, queries))
              << "seed " << seed << ", field " << plans[f].type << ", query '" << query << "'";
        for (TeraQuery* object : queries) object->unref();
      }
    }
  }
}

TEST_F(DastBaseRecallTest, shows_every_record_as_it_came_in) {
  for (const char* features : {"BASIC", "ADVANCED"}) {
    const std::vector<FieldPlan> plans = support::all_field_plans(features);
    const Table table = support::random_table(1, plans, 100);
    const TempFolder folder;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr);
    for (std::size_t f = 0; f < plans.size(); ++f) {
      if (plans[f].type.ends_with("NOT_AT_ALL")) continue;
      const DastBaseField* field = base->get_field(static_cast<int>(f));
      for (std::size_t r = 0; r < table.records.size(); ++r) {
        AceAttach at;
        std::vector<std::string> expected;  // each string of an ADVANCED field once
        for (const auto& part : Table::parts(table.records[r][f])) {
          const std::string text = normal(plans[f], part);
          const bool isThere = std::find(expected.begin(), expected.end(), text) != expected.end();
          if (field->is_basic() || !isThere) expected.push_back(text);
        }
        std::string joined;
        for (std::size_t i = 0; i < expected.size(); ++i) joined += (i > 0 ? "|" : "") + expected[i];
        const char* shown =
            field->get_string_by_recordid(static_cast<Large>(r + 1), nullptr, nullptr, &at, DastOptions::ALL);
        ASSERT_NE(shown, nullptr);
        EXPECT_EQ(shown, joined) << plans[f].type << ", record " << r + 1 << ": " << table.records[r][f];
      }
    }
  }
}

TEST_F(DastBaseRecallTest, exact_texts_lead_to_all_entries_that_have_them) {
  for (const char* features : {"BASIC", "ADVANCED"}) {
    const std::vector<FieldPlan> plans = support::all_field_plans(features);
    const Table table = support::random_table(7, plans, 80);
    const TempFolder folder;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr);
    const OracleBase oracle(table);
    for (std::size_t f = 0; f < plans.size(); ++f) {
      const DastBaseField* field = base->get_field(static_cast<int>(f));
      if (plans[f].type.ends_with("NOT_AT_ALL")) continue;
      for (const auto& [string, expected] : oracle.strings(f)) {
        if (string.empty()) continue;
        AceAttach at;
        const Large* records = nullptr;
        const Large count = field->get_records_by_string(string.c_str(), &records, &at, AceReporter::null());
        EXPECT_EQ(std::set<Large>(records, records + count), expected)
            << plans[f].type << " '" << string << "'";
      }
      EXPECT_EQ(field->get_base_id("no such text", AceReporter::null()), ~Large{0}) << plans[f].type;
      EXPECT_EQ(field->get_base_id("", AceReporter::null()), 0u);
    }
  }
}

TEST_F(DastBaseRecallTest, global_aliases_lead_to_their_targets_less_a_penalty_and_anti_aliases_apart) {
  FieldPlan plan{.name = "name", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"};
  plan.globalAliases = "robert\t20\tbob|rob\nelisabeth\tlisa\nwilliam\t0\trobert\nnobody\t5\tghost\nanyone\n";
  plan.antiAliases = "roberta\trobert\n";
  const Table table{{plan}, {{"robert"}, {"roberta"}, {"elisabeth"}, {"william"}, {"rob"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const DastBaseField* field = base->get_field(0);
  EXPECT_EQ(hits_of(ask(field, "bob").get(), field), (Hits{{"robert", {235, {1}}}}));
  EXPECT_EQ(hits_of(ask(field, "rob").get(), field), (Hits{{"robert", {235, {1}}}, {"rob", {255, {5}}}}));
  EXPECT_EQ(hits_of(ask(field, "lisa").get(), field), (Hits{{"elisabeth", {255, {3}}}}));
  EXPECT_EQ(hits_of(ask(field, "ghost").get(), field), Hits{});
  const Hits robert = hits_of(ask(field, "robert").get(), field);
  EXPECT_EQ(robert.count("roberta"), 0u) << "excluded by the perfect hit";
  EXPECT_EQ(robert.at("william"), (Hit{255, {4}}));
  EXPECT_EQ(hits_of(ask(field, "robertb").get(), field).count("roberta"), 1u);
  const Graph all = ask(field, "anyone");
  const TeraCand* cand = all->get_first_result()->get_best_cand();
  ASSERT_NE(cand, nullptr);
  EXPECT_TRUE(cand->is(TeraCand::FREQUENT));
  AceAttach at;
  EXPECT_TRUE(field->get_info_list(cand, &at)->is_frequent());
}

TEST_F(DastBaseRecallTest, generated_aliases_lead_to_their_values) {
  FieldPlan plan{.name = "name",
                 .type = "ADVANCED|CHANGING|PARTIAL|ORIGINAL",
                 .partialFreq = 2,
                 .generator = "LASTNAME"};
  const Table table{{plan}, {{"berg-tanner"}, {"berg-tanner"}, {"tanner"}, {"holm-berg"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const DastBaseField* field = base->get_field(0);
  const Hits tanner = hits_of(ask(field, "tanner").get(), field);
  EXPECT_EQ(tanner, (Hits{{"berg-tanner", {250, {1, 2}}}, {"tanner", {255, {3}}}}));
  EXPECT_EQ(hits_of(ask(field, "holm").get(), field), (Hits{{"holm-berg", {250, {4}}}}))
      << "rare, but an alias leads there";
  AceAttach at;
  EXPECT_STREQ(field->get_string_by_recordid(1, nullptr, nullptr, &at, DastOptions::ALL), "berg-tanner");
  base->dump(folder.file("image").c_str(), AceReporter::null());
  DastBase read;
  ASSERT_GE(read.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  EXPECT_EQ(hits_of(ask(read.get_field(0), "tanner").get(), read.get_field(0)), tanner);
}

TEST_F(DastBaseRecallTest, empty_values_are_found_where_they_are_asked_for) {
  for (const char* features : {"BASIC", "ADVANCED"})
    for (const bool indexed : {false, true}) {
      FieldPlan plan{
          .name = "f", .type = std::string(features) + "|CHANGING|FULL|ORIGINAL", .indexEmpty = indexed};
      const Table table{{plan}, {{"aaa"}, {""}, {"bbb"}, {""}}};
      const TempFolder folder;
      const auto base = support::build_base(table, folder);
      ASSERT_NE(base, nullptr);
      const DastBaseField* field = base->get_field(0);
      const Hit empty{200, indexed ? std::set<Large>{2, 4} : std::set<Large>{}};
      EXPECT_EQ(hits_of(ask(field, "aaa", DastOptions::APPROX, 200).get(), field),
                (Hits{{"aaa", {255, {1}}}, {"", empty}}));
      EXPECT_EQ(hits_of(ask(field, "aaa", DastOptions::APPROX, 100).get(), field),
                (Hits{{"aaa", {255, {1}}}}));
      const Graph blank = ask(field, "-BLANK-");
      ASSERT_NE(blank, nullptr);
      EXPECT_EQ(hits_of(blank.get(), field), indexed ? (Hits{{"", {255, {2, 4}}}}) : Hits{});
    }
}

TEST_F(DastBaseRecallTest, bars_cut_queries_unless_they_are_escaped) {
  FieldPlan plan{.name = "f", .type = "BASIC|CHANGING|FULL|ORIGINAL"};
  const Table table{{plan}, {{"abc"}, {"xyz"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  const DastBaseField* field = base->get_field(0);
  EXPECT_EQ(hits_of(ask(field, "abc|xyz").get(), field), (Hits{{"abc", {255, {1}}}, {"xyz", {255, {2}}}}));
  EXPECT_EQ(hits_of(ask(field, "abc\\|xyz").get(), field), Hits{});
  std::string many = "abc";
  for (int i = 0; i < 64; ++i) many += "|xyz";
  EXPECT_EQ(ask(field, many), nullptr);
}

TEST_F(DastBaseRecallTest, the_cache_knows_what_the_recall_has_met) {
  FieldPlan plan{.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"};
  const Table table{{plan}, {{"abcdefgh"}, {"abcdefgx"}, {"zzz"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  const DastBaseField* field = base->get_field(0);
  DastQualityCache cache;
  const Graph graph = ask(field, "abcdefgh", DastOptions::APPROX, 0, &cache);
  const auto quality_of = [&](const char* text) {
    return cache.lookup(field->get_base_id(text, AceReporter::null()));
  };
  EXPECT_EQ(quality_of("abcdefgh"), 255);
  EXPECT_EQ(quality_of("abcdefgx"), hits_of(graph.get(), field).at("abcdefgx").quality);
  EXPECT_EQ(quality_of("zzz"), DastQualityCache::NONE);
  EXPECT_EQ(cache.get_max_value(), 255);
}

/// The weight of each record, from hit lists and by adding.
TEST_F(DastBaseRecallTest, a_sweep_of_hit_lists_gives_each_record_the_sum_of_its_best_weights) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const std::string interval = seed % 2 == 0 ? "CHANGING" : "OPTIMIZED";
    std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|" + interval + "|FULL|ORIGINAL"},
                                 {.name = "b", .type = "BASIC|CHANGING|FULL|ORIGINAL"},
                                 {.name = "c", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"}};
    const Table table = support::random_table(seed, plans, 200);
    const TempFolder folder;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr);
    std::mt19937 random(seed);
    AceAttach at;
    std::map<Large, int> expected;
    std::vector<HitList*> lists;
    std::vector<Graph> graphs;
    for (int f = 0; f < 3; ++f) {
      const DastBaseField* field = base->get_field(f);
      graphs.push_back(ask(field, support::random_value(random, false, false) + "a"));
      if (graphs.back() == nullptr) continue;
      std::map<Large, int> best;
      for (const auto& [string, hit] : hits_of(graphs.back().get(), field))
        for (const Large record : hit.records) best[record] = std::max(best[record], hit.quality);
      for (const auto& [record, quality] : best) expected[record] += quality * (f + 1);
      HitList::Settings settings;
      settings.queryFlag = Mask{1} << f;
      settings.weight = f + 1;
      settings.maxRecord = base->get_num_records();
      HitList** own = nullptr;
      const int count =
          HitList::separate(graphs.back()->get_first_result(),
                            field->has_intervals() ? field->get_info_map() : nullptr, settings, &own, &at);
      lists.insert(lists.end(), own, own + count);
    }
    const Large cut = static_cast<Large>(random() % 201);
    std::map<Large, int> swept;
    for (const auto& [from, to] : {std::pair<Large, Large>{0, cut}, {cut, HitList::NONE}}) {
      for (HitList* list : lists) list->set_view(from, to);
      Mask active = 0;
      int weight = 0;
      for (Large record = 1; record < base->get_num_records(); ++record) {
        for (HitList* list : lists)  // ends first
          while (list->is_inside() && list->get_record() == record) weight += list->promote(&active);
        for (HitList* list : lists)
          while (!list->is_inside() && list->get_record() == record) weight += list->promote(&active);
        if (weight > 0 && record >= from && record < to) swept[record] = weight;
      }
    }
    EXPECT_EQ(swept, expected) << "seed " << seed << ", cut " << cut;
  }
}

TEST_F(DastBaseRecallTest, records_are_sorted_by_fields_and_shown_line_by_line) {
  const std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
                                     {.name = "n", .type = "BASIC|CHANGING|NONE|NUMERIC"},
                                     {.name = "x", .type = "BASIC|CHANGING|NONE|NOT_AT_ALL"}};
  const Table table{plans, {{"b", "10", "q"}, {"a", "9", "q"}, {"b|c", "9", "q"}, {"", "", "q"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const auto sorted = [&](std::vector<int> fields, std::vector<int> descending) {
    std::vector<Large> records{1, 2, 3, 4};
    EXPECT_EQ(base->sort_records(static_cast<int>(fields.size()), fields.data(), descending.data(),
                                 records.data(), 4, AceReporter::null()),
              0);
    return records;
  };
  EXPECT_EQ(sorted({0}, {0}), (std::vector<Large>{4, 2, 1, 3}));
  EXPECT_EQ(sorted({0, 1}, {1, 0}), (std::vector<Large>{3, 1, 2, 4}));
  EXPECT_EQ(sorted({1}, {0}), (std::vector<Large>{4, 2, 3, 1}));
  const int without = 2;
  Large record = 1;
  EXPECT_EQ(base->sort_records(1, &without, nullptr, &record, 1, AceReporter::null()), -1);
  AceAttach at;
  const char* values[3];
  Large lengths[3];
  ASSERT_EQ(base->get_line(3, lengths, values, &at), 3);
  EXPECT_STREQ(values[0], "b|c");
  EXPECT_EQ(lengths[0], 3u);
  EXPECT_STREQ(values[1], "9");
  EXPECT_EQ(base->get_line(5, lengths, values, &at), -1);
  EXPECT_EQ(base->get_line(0, lengths, values, &at), -1);
}

TEST_F(DastBaseRecallTest, contexts_are_abstracted_and_deletions_are_kept_in_files) {
  const std::vector<FieldPlan> plans{
      {.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL", .abstraction = 0}};
  const Table table{plans, {{"x"}, {"x"}, {"y"}, {"z"}, {"z"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  AceAttach at;
  const Large records[] = {2, 4};
  const DastInfoList context(2, records, nullptr);
  const DastInfoList* entries = base->abstract_context(&context, &at);
  EXPECT_EQ(std::vector<Large>(entries->get_infos().begin(), entries->get_infos().end()),
            (std::vector<Large>{1, 3}));
  const DastInfoList* back = base->unabstract_context(entries, &at);
  EXPECT_EQ(std::vector<Large>(back->get_infos().begin(), back->get_infos().end()),
            (std::vector<Large>{1, 3, 4, 6}));

  const Large single[] = {1, 2, 3, 7, 9, 10};
  const DastInfoList deleted(6, single, nullptr);
  ASSERT_EQ(DastBase::dump_delset(&deleted, folder.file("deleted").c_str(), AceReporter::null()), 0);
  const DastInfoList* read = base->load_delset(folder.file("deleted").c_str(), &at, AceReporter::null());
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(std::vector<Large>(read->get_infos().begin(), read->get_infos().end()),
            (std::vector<Large>{1, 4, 7, 8, 9, 11}));
  support::write_file(folder.file("broken"), support::read_file(folder.file("deleted")) + "x");
  EXPECT_EQ(base->load_delset(folder.file("broken").c_str(), &at, AceReporter::null()), nullptr);
}

TEST_F(DastBaseRecallTest, records_show_their_best_value_those_that_were_hit_or_all_that_leads_to_them) {
  FieldPlan plan{.name = "name", .type = "ADVANCED|CHANGING|FULL|ORIGINAL", .generator = "LASTNAME"};
  plan.globalAliases = "berg-tanner\tbt\n";
  const Table table{{plan}, {{"smith|smyth|berg-tanner|jones"}, {"other"}}};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const DastBaseField* field = base->get_field(0);
  const auto shown = [&](DastOptions::AliasDisplay display, const std::string& query) {
    DastQualityCache cache;
    const Graph graph = ask(field, query, DastOptions::APPROX, 0, &cache);
    AceAttach at;
    return std::string(
        field->get_string_by_recordid(1, nullptr, nullptr, &at, display, query.empty() ? nullptr : &cache));
  };
  EXPECT_EQ(shown(DastOptions::BEST, "smyth"), "smyth");
  EXPECT_EQ(shown(DastOptions::HIT, "smyth"), "smith|smyth");
  EXPECT_EQ(shown(DastOptions::HIT, "tanner"), "berg-tanner") << "through an alias";
  for (const auto display : {DastOptions::BEST, DastOptions::HIT}) {
    EXPECT_EQ(shown(display, "other"), "smith");
    EXPECT_EQ(shown(display, ""), "smith");
  }
  EXPECT_EQ(shown(DastOptions::FIRST, "smyth"), "smith");
  EXPECT_EQ(shown(DastOptions::EVERYTHING, ""), "smith|smyth|berg-tanner|jones|bt|berg|tanner");
  EXPECT_EQ(shown(DastOptions::ALL, ""), "smith|smyth|berg-tanner|jones");
}

TEST_F(DastBaseRecallTest, long_lists_of_partial_fields_become_one_candidate_for_all_records) {
  const FieldPlan partial{.name = "a", .type = "ADVANCED|CHANGING|PARTIAL|ORIGINAL", .partialFreq = 1};
  const FieldPlan full{.name = "b", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"};
  Table table{{partial, full}, {}};
  for (int i = 0; i < 9; ++i) table.records.push_back({"abcdefgx", "abcdefgx"});
  for (int i = 0; i < 8; ++i) table.records.push_back({"abcdefgh", "abcdefgh"});
  table.records.push_back({"abcdefgy", "abcdefgy"});
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  AceTracer::set("MAX_INFO_LIST_LENGTH", 7);
  const Graph cut = ask(base->get_field(0), "abcdefgh");
  const Graph whole = ask(base->get_field(1), "abcdefgh");
  AceTracer::set("MAX_INFO_LIST_LENGTH", 0);
  EXPECT_EQ(whole->get_first_result()->num_cands(), 3);
  const TeraResult* result = cut->get_first_result();
  EXPECT_EQ(result->num_cands(), 2);
  EXPECT_EQ(result->get_max_value(), 255);
  AceAttach at;
  EXPECT_TRUE(base->get_field(0)->get_info_list(result->get_cand("abcdefgh", 255), &at)->is_frequent());
  EXPECT_NE(result->get_cand("abcdefgy", 0), nullptr);
}

TEST_F(DastBaseRecallTest, threads_on_one_mapped_base_find_what_one_finds) {
  const std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL"},
                                     {.name = "b", .type = "BASIC|CHANGING|FULL|INDEXED"},
                                     {.name = "c", .type = "ADVANCED|CHANGING|FULL|NUMERIC"}};
  const Table table = support::random_table(9, plans, 200);
  const TempFolder folder;
  support::build_base(table, folder)->dump(folder.file("image").c_str(), AceReporter::null());
  const auto ask_all = [&](const DastBase& base) {
    std::vector<Hits> found;
    for (int f = 0; f < 3; ++f)
      for (const char* query : {"abc", "aab|cca", "12", "cabbac", ""}) {
        const Graph graph = ask(base.get_field(f), query);
        found.push_back(graph != nullptr ? hits_of(graph.get(), base.get_field(f)) : Hits{});
      }
    return found;
  };
  DastBase alone;
  ASSERT_GE(alone.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  const std::vector<Hits> expected = ask_all(alone);
  DastBase shared;  // nothing of it has been asked yet
  ASSERT_GE(shared.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  for (const auto& own : support::answers_by_threads(8, [&] { return ask_all(shared); }))
    EXPECT_EQ(own, expected);
}

}  // namespace
