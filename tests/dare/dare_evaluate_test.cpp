#include "dare/dare_evaluate.h"

#include <map>
#include <random>

#include "ace/ace_tracer.h"
#include "dare/dare_session_config.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_info_list.h"
#include "dast/dast_parallel_resource.h"
#include "gtest/gtest.h"
#include "oracle/logic_values.h"
#include "support/logic_samples.h"
#include "support/record_bases.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"

namespace {

using support::FieldPlan;
using support::Table;
using Answers = std::map<Large, int>;

/// A form over a random base, and what a walk over all records says of it.
struct Form {
  Form(unsigned seed, const DastBase* of, const Table& table)
      : base(of), config(const_cast<DastBase*>(of)), random(seed) {
    const int num_fields = static_cast<int>(table.fields.size());
    for (const auto& plan : table.fields) config.add_session_field(plan.name.c_str(), plan.name.c_str());
    int used = 0;
    do {
      used = 0;
      text = "(" + support::text_of(support::random_logic(&random, 2, true, &used)) + ")";
    } while (used > num_fields || used < 1);
    if (pick(3) == 0)
      text = "(f0" + std::string(num_fields > 1 ? "&f1" : "") + (num_fields > 2 ? "&f2)" : ")");
    // Columns beyond the first word of a signature.
    if (pick(8) == 0) {
      text = "(f0";
      for (int i = 1; i < num_fields; ++i) text += "&f" + std::to_string(i);
      text += ")";
    }
    EXPECT_EQ(logic.parse(text.c_str(), false, AceReporter::null()), 0) << text;
    values.fields.resize(static_cast<std::size_t>(logic.get_num_slots()));
    for (int i = 0; i < num_fields; ++i) prepare_field(i, table);
    minimum = static_cast<int>(pick(3) == 0 ? pick(256) : 100 + pick(110));
    distance = static_cast<int>(pick(2) == 0 ? 255 : pick(100));
    wanted = static_cast<int>(pick(3) == 0 ? 100000 : 1 + pick(20));
    if (pick(3) == 0) {
      for (Large r = 1; r < base->get_num_records(); ++r)
        if (pick(3) != 0) contextIds.push_back(r);
      context = DastInfoList(static_cast<Large>(contextIds.size()), contextIds.data(), false);
    }
  }

  void prepare_field(int i, const Table& table) {
    static constexpr const char* SHAPES[] = {"IDENTITY", "MANDATORY", "OPTIONAL", "FILTER", "NOT", "RESCALE"};
    static constexpr ReevalMode MODES[] = {ReevalMode::ON_DEMAND, ReevalMode::ON_DEMAND,
                                           ReevalMode::PRIMARY_ONLY, ReevalMode::SECONDARY_ONLY};
    DareSessionField* const field = config.get_session_field(i);
    DareField* const unit = field->get_unit();
    unit->logicId = logic.get_logic_id(field->get_name());
    units.push_back(unit);
    unit->set_weight(static_cast<int>(pick(4) == 0 ? pick(3) : 1 + pick(255)));
    const auto set_shape = [&] {
      if (pick(2) == 0) unit->set_shape(SHAPES[pick(6)]);
      if (pick(3) == 0) unit->set_rescale(static_cast<int>(pick(256)));
    };
    const bool isShapedLate = pick(2) == 0;  // a live session may be told another shape
    if (!isShapedLate) set_shape();
    if (pick(3) == 0) unit->set_empty_qual(static_cast<int>(1 + pick(255)));
    if (table.fields[static_cast<std::size_t>(i)].type.find("NONE") == std::string::npos)
      field->set_reeval_mode(MODES[pick(4)]);
    std::string query =
        table.records[pick(static_cast<unsigned>(table.records.size()))][static_cast<std::size_t>(i)];
    if (query.size() > 2 && pick(2) == 0) query[pick(static_cast<unsigned>(query.size()))] = 'a';
    if (!query.empty() && pick(8) != 0) {
      static constexpr auto DETECT2 = static_cast<DastOptions::Call>(DastOptions::DETECT0 + 2);
      static constexpr DastOptions::Call CALLS[] = {DastOptions::EXACT, DastOptions::COMPLETE,
                                                    DastOptions::DETECT, DastOptions::DETECT0, DETECT2};
      field->sync_query(query.c_str(), pick(2) == 0 ? CALLS[pick(5)] : DastOptions::APPROX, 0, nullptr);
      EXPECT_EQ(field->process_fixed_query(nullptr, AceReporter::null()), 0);
    }
    if (isShapedLate) set_shape();
    if (unit->is_filter()) filters |= GrandMask{1} << i;
    queries.emplace_back(
        unit->has_compare()
            ? field->get_base_field()->eval(field->get_query(), field->get_mode(), 0, AceReporter::null())
            : nullptr);
  }

  Answers ask(int parts, double limit = 100) {
    DastParallelResource::set_multifield_eval_parts(parts);
    DastParallelResource::set_multifield_collect_parts(parts);
    TeraResult result("", minimum, wanted, distance);
    DareEvaluate evaluate(&result, static_cast<int>(units.size()), units.data(), &logic, 0,
                          contextIds.empty() ? nullptr : &context, filters, false);
    evaluate.init_parallel_parts(base);
    EXPECT_EQ(evaluate.do_evaluation(limit), 0);
    Answers answers;
    result.find_any([&](int quality, const TeraCand* cand) {
      for (Large i = 0; i < cand->get_num_infos(); ++i) answers[cand->get_info(i)] = quality;
      return false;
    });
    DastParallelResource::set_multifield_eval_parts(1);
    DastParallelResource::set_multifield_collect_parts(1);
    return answers;
  }

  /// The answers with what each record is worth by itself.
  Answers rescored(Answers answers) {
    TeraResult result("", minimum, wanted, distance);
    DareEvaluate evaluate(&result, static_cast<int>(units.size()), units.data(), &logic, 0, nullptr, filters,
                          false);
    if (!answers.empty()) EXPECT_EQ(evaluate.init_scores(), 0);
    for (auto& [record, quality] : answers) quality = evaluate.score(record);
    return answers;
  }

  /// The quality of each hit, by record.
  std::map<Large, int> hits_of(const DareField* unit) const {
    std::map<Large, int> hits;
    AceAttach at;
    unit->for_each_cand([&](int quality, const TeraCand* cand) {
      if (cand->get_num_infos() == 0) return;
      const Large* records = nullptr;
      const Large count = unit->get_base_field()->get_info_list(cand, &at)->get_single(
          &records, &at, base->get_num_records());
      for (Large i = 0; i < count; ++i) hits[records[i]] = std::max(hits[records[i]], quality);
    });
    return hits;
  }

  int exact_quality(int i, Large record) const {
    const DastBaseFieldRecall* const recall = config.get_session_field(i)->get_base_field();
    AceAttach at;
    const Large* ids = nullptr;
    const Large count = recall->get_base_ids(record, &ids, &at);
    const TeraQueryRef& query = queries[static_cast<std::size_t>(i)];
    int best = count == 0 ? units[static_cast<std::size_t>(i)]->empty_conf() : 0;
    for (Large k = 0; query != nullptr && k < count; ++k) {
      const char* const value = recall->get_string_by_baseid(ids[k], &at);
      best = std::max(best,
                      recall->is_empty_string(ids[k]) ? units[static_cast<std::size_t>(i)]->empty_conf() : 0);
      if (value != nullptr && *value != '\0') best = std::max(best, query->compare(value));
    }
    return best;
  }

  /// A field lists each value that is worth more than the bound of those that it does not list.
  void expect_bounds() const {
    for (std::size_t i = 0; i < units.size(); ++i) {
      if (units[i]->get_graph() == nullptr || queries[i] == nullptr) continue;
      const std::map<Large, int> hits = hits_of(units[i]);
      const int bound = std::max(units[i]->get_raw_base(), units[i]->empty_conf());
      for (Large record = 1; record < base->get_num_records(); ++record)
        if (hits.count(record) == 0)
          ASSERT_LE(exact_quality(static_cast<int>(i), record), bound) << record << describe();
    }
  }

  Answers walk() {
    std::vector<std::map<Large, int>> hits;
    for (const DareField* unit : units) hits.push_back(hits_of(unit));
    const auto takes_part = [&](std::size_t i) {
      return units[i]->logicId >= 0 && units[i]->get_weight() > 0 &&
             (units[i]->get_graph() != nullptr || units[i]->has_compare());
    };
    constexpr long EXCLUDED = -1000000000;
    long lost = 0;  // more than all fields together can make good
    for (std::size_t i = 0; i < units.size(); ++i) lost -= takes_part(i) ? 255 * units[i]->get_weight() : 0;
    const auto shaped = [&](std::size_t i, long reshaped) {
      const bool excludes = reshaped < 0 || ((filters >> i & 1) != 0 && reshaped < 1);
      if (!excludes) return reshaped * units[i]->get_weight();
      const int id = units[i]->logicId;
      return num_above(id, DareLogicConfig::OR) + num_above(id, DareLogicConfig::NOT) > 0 ? lost : EXCLUDED;
    };
    for (std::size_t i = 0; i < units.size(); ++i) {
      if (units[i]->logicId < 0) continue;
      auto& leaf = values.fields[static_cast<std::size_t>(units[i]->logicId)];
      leaf.hasQuery = takes_part(i);
      leaf.weight = leaf.hasQuery ? units[i]->get_weight() : 0;
    }
    const long weight = values.weight(logic.get_root());
    if (weight <= 0) return {};
    const auto bound = [&](Large record) {
      for (std::size_t i = 0; i < units.size(); ++i) {
        if (!takes_part(i)) continue;
        const bool primary = units[i]->get_reeval_mode() == ReevalMode::PRIMARY_ONLY;
        long value = shaped(i, units[i]->get_graph() == nullptr ? minimum
                               : primary                        ? units[i]->reshape(0)
                                                                : units[i]->get_base_value());
        if (num_above(units[i]->logicId, DareLogicConfig::NOT) > 0) value = 0;
        if (hits[i].count(record) > 0) value = shaped(i, units[i]->reshape(hits[i][record]));
        values.fields[static_cast<std::size_t>(units[i]->logicId)].value = value;
      }
      return values.value(logic.get_root());
    };
    const long nothing = bound(0);
    std::vector<bool> speaks;  // whether a hit of the field alone makes a record possible
    for (std::size_t i = 0; i < units.size(); ++i) {
      const auto value_of = [&](int quality) { return shaped(i, units[i]->reshape(quality)); };
      const int nots = num_above(units[i]->logicId, DareLogicConfig::NOT);
      bool speaks_for = takes_part(i) && (value_of(255) >= value_of(0)) == (nots % 2 == 0);
      static_cast<void>(bound(0));
      for (int quality = 0; takes_part(i) && quality <= 255; ++quality) {
        values.fields[static_cast<std::size_t>(units[i]->logicId)].value = value_of(quality);
        speaks_for |= values.value(logic.get_root()) > nothing;
      }
      speaks.push_back(speaks_for);
    }
    std::vector<std::pair<int, Large>> rated;
    for (Large record = 1; record < base->get_num_records(); ++record) {
      bool is_hit = false;
      for (std::size_t i = 0; i < units.size(); ++i) is_hit |= speaks[i] && hits[i].count(record) > 0;
      if (!is_hit || (!contextIds.empty() && !context.has(record))) continue;
      const long most = bound(record);
      if (most < minimum * weight) continue;  // secondary fields cannot lift it
      const auto total_of = [&](bool with_secondary) {
        for (std::size_t i = 0; i < units.size(); ++i) {
          if (!takes_part(i)) continue;
          const bool primary = units[i]->get_reeval_mode() == ReevalMode::PRIMARY_ONLY;
          const bool secondary = units[i]->get_graph() == nullptr;
          const int quality = hits[i].count(record) > 0      ? hits[i][record]
                              : primary                      ? 0
                              : secondary && !with_secondary ? minimum
                                                             : exact_quality(static_cast<int>(i), record);
          values.fields[static_cast<std::size_t>(units[i]->logicId)].value =
              shaped(i, secondary && !with_secondary ? minimum : units[i]->reshape(quality));
        }
        return values.value(logic.get_root());
      };
      if (total_of(false) < minimum * weight) continue;
      const long total = total_of(true);
      if (total >= 0 && total / weight >= minimum) rated.emplace_back(std::min(255L, total / weight), record);
    }
    std::sort(rated.rbegin(), rated.rend());
    int least = minimum;
    if (!rated.empty()) least = std::max(least, rated.front().first - distance);
    if (static_cast<int>(rated.size()) >= wanted)
      least = std::max(least, rated[static_cast<std::size_t>(wanted) - 1].first);
    Answers answers;
    for (const auto& [quality, record] : rated)
      if (quality >= least) answers[record] = quality;
    return answers;
  }

  std::string describe() const {
    std::string lines;
    for (std::size_t i = 0; i < units.size(); ++i)
      lines += "\n  " + std::string(config.get_field_name(static_cast<int>(i))) + " weight " +
               std::to_string(units[i]->get_weight()) + " shape " +
               units[i]->get_rescale_config()->get_shape_name() + " threshold " +
               std::to_string(units[i]->get_rescale_config()->get_threshold()) + " base " +
               std::to_string(units[i]->get_base_value()) + " reeval " +
               std::to_string(static_cast<int>(units[i]->get_reeval_mode())) + " graph " +
               std::to_string(units[i]->get_graph() != nullptr) + " query " +
               (config.get_field_query(static_cast<int>(i)) != nullptr
                    ? config.get_field_query(static_cast<int>(i))
                    : "none") +
               " empty " + std::to_string(units[i]->empty_conf());
    return lines;
  }
  int num_above(int id, DareLogicConfig::NodeType type) const {
    auto iter = logic.get_node_iter();
    const auto* node = iter.next();
    while (node != nullptr && node->logicId != id) node = iter.next();
    int count = 0;
    for (; node != nullptr; node = node->parentNode) count += node->nodeType == type ? 1 : 0;
    return count;
  }
  unsigned pick(unsigned n) { return random() % n; }

  const DastBase* base;
  DareSessionConfig config;
  std::mt19937 random;
  std::string text;
  DareLogicConfig logic;
  oracle::LogicValues values;
  std::vector<DareField*> units;
  std::vector<TeraQueryRef> queries;
  GrandMask filters = 0;
  int minimum = 0, distance = 255, wanted = 100;
  std::vector<Large> contextIds;
  DastInfoList context;
};

/// A method, what it is built with, and how its values are made of random digits: `9` is a digit, `a` a
/// letter.
struct Kind {
  const char* method;
  const char* options;
  std::vector<const char*> shapes;
  const char* recallOptions = "";
};
const std::vector<Kind> KINDS = {{"EDIT", "-filter 0", {"aaaa", "aa", "aaaaaaa", ""}},
                                 {"EDIT", "-phonetics SOUNDEX", {"aaaaa"}},
                                 {"WORDS", "-skip 100", {"aa aaa", "aaaa", ""}},
                                 {"WORDS", "-skip 20", {"aa aaa", "a aaaa", "a aa", "a", ""}},
                                 {"WORDS", "-skip 100", {"a aaa aa", "aa aaa"}, "-num_cands 3"},
                                 {"WORDS", "-use_auto", {"aaaaaaaa aa", "aaaaaaaa"}, "-single_maxedit 1"},
                                 {"AUTO", "", {"aaaa", "aaa", ""}},
                                 {"AUTO", "-phonetics SOUNDEX", {"aaaaaaaaa", "aaaa"}, "-max_edit 1"},
                                 {"DATE", "", {"9.9.1989", "1989", "19.9.1989"}},
                                 {"DOUBLE", "", {"9.9", "99", ""}},
                                 {"DOUBLE", "-secondary", {"9.9", "99"}},
                                 {"DIRECT", "", {"99", "999", ""}},
                                 {"DIRECT", "-secondary", {"99", "999"}},
                                 {"NUMBER", "", {"999", "99999", ""}},
                                 {"POSTCODE", "", {"99999", "9999", "9999999", ""}},
                                 {"UUID", "-sorted", {"6ba7b8109dad41d180b400c04fd43099", ""}},
                                 {"PREMISE", "", {"9", "19a", "9-29"}},
                                 {"GEOMETRIC", "", {"900,900", "1900,90"}}};

std::string value_of(const Kind& kind, std::mt19937* random) {
  std::string value = kind.shapes[(*random)() % kind.shapes.size()];
  const bool is_code = value.size() > 9;
  for (std::size_t i = is_code ? value.size() - 2 : 0; i < value.size(); ++i)
    if (value[i] == '9' || value[i] == 'a')
      value[i] = static_cast<char>((value[i] == '9' ? '1' : 'a') + (*random)() % 3);
  return (*random)() % 8 == 0 ? value + "|" + value_of(kind, random) : value;
}

/// Fields of every method, and of every storage that shows its strings.
std::vector<FieldPlan> plans_of(std::mt19937* random, unsigned count, std::vector<const Kind*>* kind_of) {
  std::vector<FieldPlan> plans;
  for (unsigned i = 0; i < count; ++i) {
    FieldPlan plan;
    plan.name = "f" + std::to_string(i);
    plan.type = std::string((*random)() % 3 == 0 ? "BASIC" : "ADVANCED") +
                ((*random)() % 4 == 0 ? "|OPTIMIZED" : "|CHANGING") +
                ((*random)() % 5 == 0 ? "|PARTIAL" : "|FULL") + "|ORIGINAL";
    plan.partialFreq = 3;
    plan.indexEmpty = (*random)() % 2 == 0;
    if (kind_of != nullptr) {
      kind_of->push_back(&KINDS[(*random)() % KINDS.size()]);
      plan.method = kind_of->back()->method;
      plan.buildOptions = kind_of->back()->options;
      plan.recallOptions = kind_of->back()->recallOptions;
    }
    plans.push_back(plan);
  }
  return plans;
}

TEST(DareEvaluate, EqualsAWalkOverAllRecords) {
  AceReporter::clear_default();
  int answers = 0;
  for (unsigned seed = 1; seed <= 24; ++seed) {
    std::mt19937 random(seed);
    const bool isLarge = seed == 24;
    std::vector<const Kind*> kinds;
    std::vector<FieldPlan> plans =
        plans_of(&random, isLarge ? 12 : 1 + seed % 9, seed % 4 == 0 ? nullptr : &kinds);
    Table table = support::random_table(seed, std::move(plans), isLarge ? 5000 : 1 + seed * seed);
    for (auto& record : table.records)
      for (std::size_t i = 0; i < kinds.size(); ++i) record[i] = value_of(*kinds[i], &random);
    const support::TempFolder folder;
    const auto base = support::build_base(table, folder, seed % 3 == 0 ? "FULL" : "NONE");
    ASSERT_NE(base, nullptr);
    for (unsigned i = 0; i < (isLarge ? 6 : 30); ++i) {
      Form form(seed * 100 + i, base.get(), table);
      form.expect_bounds();
      ASSERT_FALSE(testing::Test::HasFatalFailure());
      const Answers expected = form.walk();
      const Answers found = form.ask(1);
      AceTracer::set("DEEPEN_ALWAYS", 1);
      Form other(seed * 100 + i, base.get(), table);
      const int least = form.minimum;
      for (const int minimum : {least + 40, least / 2, least}) {
        form.minimum = other.minimum = std::min(minimum, 255);
        AceTracer::set("DEEPEN_ALWAYS", 0);
        const Answers plain = other.ask(1);
        AceTracer::set("DEEPEN_ALWAYS", 1);
        ASSERT_EQ(form.ask(1), plain) << "after others, " << form.text << form.minimum << form.describe();
      }
      ASSERT_EQ(form.ask(1), found) << "deepened, " << form.text << form.minimum << form.describe();
      AceTracer::set("DEEPEN_ALWAYS", static_cast<int>(i % 2));
      ASSERT_EQ(Form(seed * 100 + i, base.get(), table).ask(3), found)
          << form.text << form.minimum << " " << form.wanted << " " << form.distance << form.describe();
      AceTracer::set("DEEPEN_ALWAYS", 0);
      answers += static_cast<int>(found.size());
      ASSERT_EQ(form.rescored(found), found) << form.text << form.minimum << form.describe();
      ASSERT_EQ(found, expected) << "seed " << seed << ", form " << i << " " << form.text << " minimum "
                                 << form.minimum << " wanted " << form.wanted << " distance " << form.distance
                                 << form.describe();
    }
  }
  EXPECT_GT(answers, 1000);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DareEvaluate, StopsWhenTheTimeIsOver) {
  AceReporter::clear_default();
  std::mt19937 random(1);
  const Table table = support::random_table(5, plans_of(&random, 3, nullptr), 800);
  const support::TempFolder folder;
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  Answers all;
  unsigned seed = 0;
  while (all.size() < 100) all = Form(++seed, base.get(), table).ask(1);
  Form form(seed, base.get(), table);
  const Answers some = form.ask(1, 0);
  EXPECT_LT(some.size(), all.size());
  for (const auto& [record, quality] : some) EXPECT_EQ(all.at(record), quality);
  AceTracer::set("INFINITE_REFINEMENT", 1);
  EXPECT_EQ(form.ask(1, 0), all);
  AceTracer::set("INFINITE_REFINEMENT", 0);
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
