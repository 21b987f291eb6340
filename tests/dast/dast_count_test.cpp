#include "dast/dast_count.h"

#include <algorithm>
#include <map>

#include "ace/ace_tracer.h"
#include "dast/dast_base.h"
#include "dast/dast_info_list.h"
#include "dast/dast_info_list_cache.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "tera/tera_result.h"

namespace {

using support::FieldPlan;
using support::Table;
using support::TempFolder;
using Options = DastCountOptions;
using Records = std::set<Large>;

/// The table, counted with maps.
class PlainCount {
 public:
  explicit PlainCount(const Table& table) : itsTable(table) {}

  /// In the order in which they came in, each once.
  std::vector<std::string> values(std::size_t field, Large record) const {
    const FieldPlan& plan = itsTable.fields[field];
    std::vector<std::string> found;
    for (std::string part : Table::parts(itsTable.records[record - 1][field])) {
      if (plan.type.ends_with("NUMERIC") && !part.empty()) part = std::to_string(std::stoul(part));
      if (std::find(found.begin(), found.end(), part) == found.end()) found.push_back(part);
    }
    return found;
  }
  std::map<std::string, Records> count(std::size_t field, const Records& context,
                                       const Options& options) const {
    std::map<std::string, Records> counts;
    for (const Large record : context)
      for (const std::string& value : values(field, record)) {
        if (value.empty() && (options.disableBlank || !itsTable.fields[field].indexEmpty)) continue;
        counts[value].insert(record);
        if (options.dedupAliases) break;
      }
    return counts;
  }
  /// -1 for none.
  VInt number(std::size_t field, Large record) const {
    const std::string value = values(field, record)[0];
    return value.empty() ? -1 : static_cast<VInt>(std::stoul(value));
  }
  VInt figure(const Options& options, const Records& records) const {
    if (options.relOp == Options::NO_ACTION) return static_cast<VInt>(records.size());
    std::set<VInt> numbers;
    VInt sum = 0;
    for (const Large record : records) {
      const VInt number_ = number(static_cast<std::size_t>(options.relFieldID), record);
      if (number_ >= 0) numbers.insert(number_), sum += number_;
    }
    if (options.relOp == Options::SUM) return sum;
    if (options.relOp == Options::DEDUP) return static_cast<VInt>(numbers.size());
    if (numbers.empty()) return -1;
    return options.relOp == Options::MIN ? *numbers.begin() : *numbers.rbegin();
  }

 private:
  const Table& itsTable;
};

struct Shown {
  std::string label;
  VInt value;
  bool operator==(const Shown&) const = default;
};
void PrintTo(const Shown& shown, std::ostream* out) {
  *out << shown.label << " " << shown.value;
}

std::vector<const TeraCand*> cands_of(const TeraResult& result) {
  std::vector<const TeraCand*> cands;
  for (auto* group = result.get_first_group(); group != nullptr; group = group->get_next())
    for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      cands.push_back(cand);
  return cands;
}

std::vector<Shown> shown_by(const TeraResult& result) {
  std::vector<Shown> all;
  for (const TeraCand* cand : cands_of(result))
    all.push_back({cand->get_string(), DastCount::get_value(cand)});
  return all;
}

Records records_of(const TeraCand* cand) {
  AceAttach at;
  const Large* records = nullptr;
  const Large count = DastInfoList(cand).get_single(&records, &at, 1 << 30);
  return {records, records + count};
}

/// A random set of records, in each encoding.
struct Context {
  Context(std::mt19937* random, Large num_records, bool as_ranges) {
    const unsigned share = 1 + (*random)() % 4;
    for (Large record = 1; record < num_records; ++record)
      if ((*random)() % share == 0) records.insert(record);
    for (const Large record : records) {
      if (!as_ranges) infos.push_back(record);
      if (as_ranges) infos.insert(infos.end(), {record, record + 1});
    }
    if (as_ranges && records.empty()) infos = {num_records + 5, num_records + 9};
    list = DastInfoList(static_cast<Large>(infos.size()), infos.data(), as_ranges);
  }
  Context(const Context&) = delete;

  Records records;
  std::vector<Large> infos;
  DastInfoList list;
};

class DastCountTest : public testing::Test {
 protected:
  void SetUp() override { AceReporter::clear_default(); }
  void TearDown() override {
    AceTracer::set("SPARSE_COUNT_WORKER", 0);
    AceTracer::set("MAX_COUNT_ACTIONS", 0);
    static AceReporter standard;
    standard.set_as_default();
  }

  /// A random base whose last field has numbers.
  void make_base(unsigned seed, unsigned num_records) {
    std::vector<FieldPlan> plans;
    for (const auto& plan : support::all_field_plans("ADVANCED"))
      if (!plan.type.ends_with("NOT_AT_ALL")) plans.push_back(plan);
    std::shuffle(plans.begin(), plans.end(), std::mt19937(seed));
    plans.resize(5);
    plans.push_back({.name = "number", .type = "BASIC|CHANGING|NONE|NUMERIC"});
    itsTable = support::random_table(seed, plans, num_records);
    for (auto& record : itsTable.records)  // few different numbers
      if (record[5].size() > 2) record[5].resize(1);
    itsBase = support::build_base(itsTable, itsFolder);
    ASSERT_NE(itsBase, nullptr) << "seed " << seed;
  }
  void make_base(const FieldPlan& plan, const std::vector<std::string>& values) {
    itsTable = {{plan}, {}};
    for (const std::string& value : values) itsTable.records.push_back({value});
    itsBase = support::build_base(itsTable, itsFolder);
    ASSERT_NE(itsBase, nullptr);
  }
  std::vector<Shown> count(const Options& options, int num_cands, const char* query = nullptr) {
    TeraResult result(query, 0, num_cands, 255);
    EXPECT_GE(itsBase->count_context(0, options, &result, nullptr, AceReporter::null()), 0);
    return shown_by(result);
  }

  Table itsTable;
  TempFolder itsFolder;
  std::unique_ptr<DastBase> itsBase;
};

bool is_less(const FieldPlan& plan, const std::string& a, const std::string& b) {
  if (!plan.type.ends_with("NUMERIC") || a.empty() || b.empty()) return a < b;
  return std::stoul(a) < std::stoul(b);
}

/// What a count must show: the most frequent values, in the order of the field.
std::vector<Shown> expected_of(const PlainCount& plain, const FieldPlan& plan,
                               const std::map<std::string, Records>& counts, const Options& options,
                               std::size_t wanted) {
  struct Value {
    std::string label;
    std::size_t freq;
    VInt figure;
  };
  std::vector<Value> values;
  for (const auto& [label, records] : counts) {
    std::size_t freq = records.size();
    if (options.relOp == Options::MIN || options.relOp == Options::MAX)
      freq = static_cast<std::size_t>(std::count_if(
          records.begin(), records.end(), [&](Large record) { return plain.number(5, record) >= 0; }));
    if (freq > 0) values.push_back({label, freq, plain.figure(options, records)});
  }
  const auto before = [&](const Value& a, const Value& b) { return is_less(plan, a.label, b.label); };
  std::sort(values.begin(), values.end(), before);
  std::stable_sort(values.begin(), values.end(), [](auto& a, auto& b) { return a.freq > b.freq; });
  if (values.size() > wanted) values.resize(wanted);
  std::sort(values.begin(), values.end(), before);
  std::vector<Shown> expected;
  for (const Value& value : values) expected.push_back({value.label, value.figure});
  return expected;
}

TEST_F(DastCountTest, shows_the_most_frequent_values_of_a_context_as_maps_count_them) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    make_base(seed, seed * seed * 6);
    const PlainCount plain(itsTable);
    std::mt19937 random(seed);
    for (int i = 0; i < 60; ++i) {
      const std::size_t f = random() % 5;
      const Context context(&random, itsBase->get_num_records(), random() % 2 == 0);
      Options options;
      options.disableBlank = random() % 2 == 0;
      options.dedupAliases = random() % 3 == 0;
      options.relOp = static_cast<Options::RelatedAction>(static_cast<int>(random() % 5) - 1);
      options.relFieldID = 5;
      const bool isWhole = random() % 4 == 0;
      Records all;
      for (Large record = 1; record < itsBase->get_num_records(); ++record) all.insert(record);
      const auto counts = plain.count(f, isWhole ? all : context.records, options);
      const int wanted = random() % 2 == 0 ? 1000 : 1 + static_cast<int>(random() % 6);
      AceTracer::set("SPARSE_COUNT_WORKER", static_cast<int>(random() % 2));
      const DastInfoListCache cache(isWhole ? nullptr : &context.list);
      TeraResult result(nullptr, 0, wanted, 255);
      const int number =
          itsBase->count_context(static_cast<int>(f), options, &result, &cache, AceReporter::null());
      EXPECT_EQ(number, result.num_cands());
      EXPECT_EQ(shown_by(result),
                expected_of(plain, itsTable.fields[f], counts, options, static_cast<std::size_t>(wanted)))
          << "seed " << seed << "." << i << ", " << itsTable.fields[f].type << ", action " << options.relOp;
      TeraResult hits(nullptr, 0, 1000, 255);
      options.info = Options::INFO_RECORDS;
      options.relOp = Options::NO_ACTION;
      itsBase->count_context(static_cast<int>(f), options, &hits, &cache, AceReporter::null());
      EXPECT_EQ(static_cast<std::size_t>(hits.num_cands()), counts.size());
      for (const TeraCand* cand : cands_of(hits))
        EXPECT_EQ(records_of(cand), counts.at(cand->get_string())) << itsTable.fields[f].type;
    }
  }
}

TEST_F(DastCountTest, fields_count_the_records_of_candidates_results_and_limits_in_a_context) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    make_base(seed, seed * seed * 6);
    const PlainCount plain(itsTable);
    std::mt19937 random(seed);
    for (int i = 0; i < 20; ++i) {
      const std::size_t f = random() % 5;
      const DastBaseField* field = itsBase->get_field(static_cast<int>(f));
      const Context context(&random, itsBase->get_num_records(), random() % 2 == 0);
      const DastInfoListCache cache(&context.list);
      const auto counts = plain.count(f, context.records, {});
      TeraResult result(nullptr, 0, 1000, 255);
      for (Large id = 1; id < field->get_all_base_ids(); ++id)
        if (random() % 3 != 0) {
          const Large* entries = nullptr;
          const Large count = field->get_entry_ids(id, &entries, nullptr);
          AceAttach at;
          result.add(200, new TeraCand(result.attach(field->get_string_by_baseid(id, &at)), count, entries));
        }
      Records all;
      for (const TeraCand* cand : cands_of(result)) {
        const auto found = counts.find(cand->get_string());
        const Records own = found != counts.end() ? found->second : Records{};
        EXPECT_EQ(field->count_cand(cand, &cache), own.size()) << itsTable.fields[f].type;
        all.insert(own.begin(), own.end());
        EXPECT_EQ(field->get_total_count(cand->get_string(), AceReporter::null()),
                  field->count_cand(cand, nullptr));
      }
      EXPECT_EQ(field->count_result(&result, &cache), all.size()) << itsTable.fields[f].type;
      LimitsContainer limits;
      ASSERT_EQ(field->get_limits(&limits, "1-5|b-bb-c", AceReporter::null()), 0);
      for (const LimitStruct& limit : limits) {
        Records within;
        for (const auto& [label, records] : counts) {
          const Large id = field->get_base_id(label.c_str(), AceReporter::null());
          if (id >= limit.first && id < limit.end) within.insert(records.begin(), records.end());
        }
        AceAttach at;
        const std::unique_ptr<TeraCand> cand(field->limit_cand(&cache, limit, &at));
        EXPECT_EQ(records_of(cand.get()), within) << itsTable.fields[f].type << " " << limit.label;
      }
      TeraResult sample(nullptr, 0, 1000, 255);
      Options options;
      options.disableBlank = true;
      field->get_cands(&cache, 4, &sample, AceReporter::null());
      EXPECT_EQ(shown_by(sample),
                expected_of(plain, itsTable.fields[f], plain.count(f, context.records, options), options, 4));
    }
    const DastBaseField* numbers = itsBase->get_field(5);  // which cannot be counted
    Records all;
    for (Large record = 1; record < itsBase->get_num_records(); ++record) all.insert(record);
    std::vector<Shown> first =
        expected_of(plain, itsTable.fields[5],
                    plain.count(5, all, {.disableBlank = true, .dedupAliases = true}), {}, 1000);
    TeraResult sample(nullptr, 0, 1000, 255);
    numbers->get_cands(nullptr, 3, &sample, AceReporter::null());
    if (first.size() > 3) first.resize(3);
    EXPECT_EQ(shown_by(sample), first);
  }
}

TEST_F(DastCountTest, groups_share_out_all_values_in_order_and_their_figures_are_those_of_their_records) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    make_base(seed, 40 + seed * seed * 4);
    const PlainCount plain(itsTable);
    std::mt19937 random(seed);
    for (int i = 0; i < 60; ++i) {
      const auto f = static_cast<int>(random() % 5);
      const Context context(&random, itsBase->get_num_records(), false);
      const DastInfoListCache cache(&context.list);
      Options options;
      options.group = true;
      options.groupEquidistant = random() % 3 == 0;
      options.removeEmpty = true;
      options.collapse = random() % 3 == 0;
      options.enforceGroups = random() % 2 == 0;
      const int action = static_cast<int>(random() % 3);
      if (action != 0) options.relOp = action == 1 ? Options::SUM : Options::DEDUP;
      options.relFieldID = 5;
      options.info = Options::INFO_BASE_ID;
      const int wanted = 3 + static_cast<int>(random() % 10);
      AceTracer::set("SPARSE_COUNT_WORKER", static_cast<int>(random() % 2));
      const auto run = [&](TeraResult* result) {
        result->set_biggest_group(1);
        EXPECT_GE(itsBase->count_context(f, options, result, &cache, AceReporter::null()), 0);
        return cands_of(*result);
      };
      TeraResult ids(nullptr, 0, wanted, 255);
      TeraResult figures(nullptr, 0, wanted, 255);
      const auto idCands = run(&ids);
      options.info = Options::INFO_COUNT;
      const auto figureCands = run(&figures);
      ASSERT_EQ(idCands.size(), figureCands.size());
      if (idCands.empty() || !idCands[0]->is(TeraCand::GROUP)) continue;
      EXPECT_LE(idCands.size(), static_cast<std::size_t>(wanted) + 1) << "one more for the empty value";
      const auto counts = plain.count(static_cast<std::size_t>(f), context.records, options);
      std::vector<Large> met;
      for (std::size_t g = 0; g < idCands.size(); ++g) {
        Records records;
        VInt sum = 0;
        for (Large k = 0; k < idCands[g]->get_num_infos(); ++k) {
          AceAttach at;
          met.push_back(idCands[g]->get_info(k));
          const Records& own = counts.at(itsBase->get_field(f)->get_string_by_baseid(met.back(), &at));
          records.insert(own.begin(), own.end());
          sum += plain.figure(options, own);
        }
        const bool isDistinct = options.relOp == Options::DEDUP;
        EXPECT_EQ(DastCount::get_value(figureCands[g]), isDistinct ? plain.figure(options, records) : sum)
            << "seed " << seed << "." << i << ", " << itsTable.fields[static_cast<std::size_t>(f)].type;
      }
      EXPECT_TRUE(std::is_sorted(met.begin(), met.end()));
      EXPECT_EQ(met.size(), counts.size());
    }
  }
}

TEST_F(DastCountTest, groups_are_labelled_by_what_they_hold) {
  make_base({.name = "f", .type = "ADVANCED|CHANGING|FULL|NUMERIC", .indexEmpty = true},
            {"1", "2", "3", "10", "11", "12", "20", "40", "", "5|7"});
  Options options;
  options.enforceGroups = true;
  EXPECT_EQ(count(options, 3), (std::vector<Shown>{{"-3", 4}, {"5-11", 4}, {"12-40", 3}}));
  options.disableBlank = true;
  EXPECT_EQ(count(options, 2), (std::vector<Shown>{{"1-10", 6}, {"11-40", 4}}));
  options.groupEquidistant = true;
  EXPECT_EQ(count(options, 4), (std::vector<Shown>{{"1-10", 6}, {"11-20", 3}, {"21-30", 0}, {"31-40", 1}}));
  options.removeEmpty = true;
  EXPECT_EQ(count(options, 4), (std::vector<Shown>{{"1-10", 6}, {"11-20", 3}, {"31-40", 1}}));

  make_base(
      {.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
      {"arbon", "aarau", "baden", "basel", "bern", "biel", "chur", "cham", "\xC3\x84lter", "\xC3\x96sch"});
  options = {};
  options.enforceGroups = true;
  EXPECT_EQ(count(options, 4),
            (std::vector<Shown>{{"a-bad", 3}, {"bas-bi", 3}, {"c-\xC3\x84", 3}, {"\xC3\x96", 1}}));
  options.limit = "arbon-bern-c|ch>|<ba-b>|nothing|\xC3\x96sch|a\\-b";
  EXPECT_EQ(
      count(options, 4),
      (std::vector<Shown>{{"arbon-bern", 4}, {"bern-c", 1}, {"ch>", 2}, {"<ba-b>", 4}, {"\xC3\x96sch", 1}}));
}

TEST_F(DastCountTest, groups_follow_the_collation_wherever_strings_are) {
  Options options;
  options.limit = "2-33|100-1000";
  for (const char* type : {"ADVANCED|CHANGING|FULL|ORIGINAL", "ADVANCED|CHANGING|FULL|INDEXED"}) {
    make_base({.name = "f", .type = type, .collation = "numeric_en"},
              {"1000", "9", "100", "2", "33", "10", "2000"});
    const std::vector<Shown> expected{{"2-33", 4}, {"100-1000", 2}};
    EXPECT_EQ(count(options, 5), expected) << type;
    ASSERT_GE(itsBase->dump(itsFolder.file("image").c_str(), AceReporter::null()), 0);
    itsBase = std::make_unique<DastBase>();
    ASSERT_GE(itsBase->load(itsFolder.file("image").c_str(), 1, AceReporter::null()), 0);
    EXPECT_EQ(count(options, 5), expected) << type << ", read";
  }
}

TEST_F(DastCountTest, few_values_and_small_groups_stay_single_and_large_fields_collapse) {
  const FieldPlan plan{.name = "f", .type = "ADVANCED|CHANGING|FULL|NUMERIC"};
  make_base(plan, {"1", "2", "3"});
  Options options;
  options.group = true;
  EXPECT_EQ(count(options, 5).size(), 3u);
  std::vector<std::string> values;
  for (int i = 0; i < 30; ++i) values.push_back(std::to_string(i % 10));
  make_base(plan, values);
  EXPECT_EQ(count(options, 3), (std::vector<Shown>{{"0-3", 12}, {"4-7", 12}, {"8-9", 6}}));
  options.group = false;
  options.collapse = true;  // implies groups
  TeraResult result(nullptr, 0, 4, 255);
  result.set_biggest_group(5);
  itsBase->count_context(0, options, &result, nullptr, AceReporter::null());
  EXPECT_EQ(shown_by(result), (std::vector<Shown>{{"0", 9}, {"3", 6}, {"5", 9}, {"8", 6}}));
}

TEST_F(DastCountTest, queries_restrict_what_counts_and_the_rest_is_combined) {
  make_base({.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
            {"meierhof", "meierhof", "meyerhof", "zumstein", "zumstein", "zumstein", "rest"});
  const std::vector<Shown> hof = count({}, 10, "meierhof");
  EXPECT_EQ(std::set<std::string>({hof.at(0).label, hof.at(1).label}),
            (std::set<std::string>{"meierhof", "meyerhof"}));
  EXPECT_EQ(hof.size(), 2u);
  Options options;
  options.callMode = DastOptions::EXACT;
  EXPECT_EQ(count(options, 10, "meierhof"), (std::vector<Shown>{{"meierhof", 2}}));
  options.combine = true;
  EXPECT_EQ(count(options, 2), (std::vector<Shown>{{"meierhof", 2}, {"zumstein", 3}, {"COMBINED", 2}}));
  AceTracer::set("MAX_COUNT_ACTIONS", 6);
  support::RecordingReporter rep;
  TeraResult result(nullptr, 0, 10, 255);
  EXPECT_EQ(itsBase->count_context(0, options, &result, nullptr, &rep), 0);
  EXPECT_TRUE(result.is_unreliable());
  EXPECT_NE(rep.all().find("Estimated number of 7 count actions crosses limit of 6. Breaking counting."),
            std::string::npos);
}

TEST_F(DastCountTest, sums_beyond_32_bits_come_back_whole) {
  const std::vector<FieldPlan> plans{{.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
                                     {.name = "n", .type = "BASIC|CHANGING|NONE|NUMERIC"}};
  itsTable = {plans, {{"a", "5000000000"}, {"a", "6000000001"}, {"b", "9223372036854775806"}, {"b", "7"}}};
  itsBase = support::build_base(itsTable, itsFolder);
  ASSERT_NE(itsBase, nullptr);
  Options options;
  options.relOp = Options::SUM;
  options.relFieldID = 1;
  EXPECT_EQ(count(options, 9), (std::vector<Shown>{{"a", 11000000001}, {"b", 9223372036854775807}}));
  TeraResult result(nullptr, 0, 9, 255);
  for (const int field : {-1, 0, 2}) {  // without strings, not numeric, not there
    options.relFieldID = field;
    EXPECT_EQ(itsBase->count_context(0, options, &result, nullptr, AceReporter::null()), -1);
  }
  for (const int field : {-1, 1, 2})
    EXPECT_EQ(itsBase->count_context(field, {}, &result, nullptr, AceReporter::null()), -1);
  const int fields[] = {0, 0};
  TeraResult second(nullptr, 0, 1, 255);
  TeraResult* results[] = {&result, &second};
  EXPECT_EQ(itsBase->cross_count(2, fields, {}, results, nullptr, AceReporter::null()), 0);
  EXPECT_EQ(shown_by(result), (std::vector<Shown>{{"a", 2}, {"b", 2}}));
  EXPECT_EQ(shown_by(second), (std::vector<Shown>{{"a", 2}})) << "of equal counts the first";
}

TEST_F(DastCountTest, limit_strings_from_anywhere_are_cut_refused_or_empty) {
  std::vector<std::string> values(50, "b");
  for (int i = 0; i < 50; ++i) values.push_back("v" + std::to_string(i));
  make_base({.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"}, values);
  std::mt19937 random(1);
  const std::string letters = "-|\\<>abv1 \xC3";
  for (int i = 0; i < 3000; ++i) {
    std::string limit;
    for (unsigned n = random() % (i % 10 == 0 ? 400 : 20); n > 0; --n)
      limit += letters[random() % letters.size()];
    Options options;
    options.limit = limit.c_str();
    TeraResult result(nullptr, 0, 5, 255);
    const int number = itsBase->count_context(0, options, &result, nullptr, AceReporter::null());
    if (!limit.empty()) EXPECT_LE(number, DastCount::MAX_LIMITS) << limit;
    EXPECT_GE(number, -1);
  }
  const auto number_of = [&](const std::string& limit) {
    Options options;
    options.limit = limit.c_str();
    TeraResult result(nullptr, 0, 5, 255);
    return itsBase->count_context(0, options, &result, nullptr, AceReporter::null());
  };
  std::string many = "b";
  for (int i = 0; i < 63; ++i) many += "|b>";
  EXPECT_GT(number_of(many), 0);
  EXPECT_EQ(number_of(many + "|x"), -1);
}

TEST_F(DastCountTest, contexts_are_deduplicated_and_widened_by_shared_values) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    make_base(seed, seed * 20);
    const PlainCount plain(itsTable);
    std::mt19937 random(seed);
    for (int i = 0; i < 20; ++i) {
      const std::size_t f = random() % 5;
      const Context context(&random, itsBase->get_num_records(), random() % 2 == 0);
      const DastInfoListCache cache(&context.list);
      Records lowest;
      Records sharing = context.records;
      std::set<std::string> met;
      for (const Large record : context.records) {
        bool isNew = true;
        for (const std::string& value : plain.values(f, record)) {
          if (value.empty()) continue;
          isNew = false;
          if (met.insert(value).second) lowest.insert(record);
        }
        if (isNew) lowest.insert(record);
      }
      for (Large record = 1; record < itsBase->get_num_records(); ++record)
        for (const std::string& value : plain.values(f, record))
          if (met.count(value) > 0) sharing.insert(record);
      TeraResult dedup(nullptr, 0, 1, 255);
      TeraResult widened(nullptr, 0, 1, 255);
      const auto field = static_cast<int>(f);
      EXPECT_EQ(itsBase->dedup_context(field, &dedup, &cache, AceReporter::null()),
                static_cast<VInt>(lowest.size()));
      EXPECT_EQ(itsBase->widen_context(field, &widened, &cache, AceReporter::null()),
                static_cast<VInt>(sharing.size()));
      EXPECT_EQ(records_of(dedup.get_best_cand()), lowest) << itsTable.fields[f].type;
      EXPECT_EQ(records_of(widened.get_best_cand()), sharing) << itsTable.fields[f].type;
    }
  }
  support::RecordingReporter rep;
  TeraResult result(nullptr, 0, 1, 255);
  EXPECT_EQ(itsBase->dedup_context(0, &result, nullptr, &rep), -1);
  EXPECT_NE(rep.all().find("Trying to deduplicate without a context"), std::string::npos);
  EXPECT_GT(itsBase->widen_context(0, &result, nullptr, &rep), 0);
  EXPECT_TRUE(DastInfoList(result.get_best_cand()).is_frequent());
}

}  // namespace
