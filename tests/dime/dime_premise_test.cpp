#include "dime/dime_premise.h"

#include <random>
#include <set>

#include "dast/dast_field_flags.h"
#include "oracle/premise.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

constexpr const char* SHAPES[] = {"12",
                                  "13",
                                  "14",
                                  "012",
                                  " 12",
                                  "12a",
                                  "12A",
                                  "12b",
                                  "12 A.",
                                  "12a-c",
                                  "12b-d",
                                  "12B*F",
                                  "12x-z",
                                  "12a-",
                                  "12-a",
                                  "12ab",
                                  "12a1",
                                  "12a-c x",
                                  "12 bis",
                                  "12BIS",
                                  "12 ter",
                                  "12 bi",
                                  "12 1/2",
                                  "12/2",
                                  "12/3",
                                  "10-20",
                                  "11-21",
                                  "20-10",
                                  "21-10",
                                  "1*9",
                                  "1!9",
                                  "2%10",
                                  "1*99",
                                  "12*13",
                                  "14!30",
                                  "12-12",
                                  "10-20a",
                                  "10-20 bis",
                                  "10-20b",
                                  "12-",
                                  "12*",
                                  "12!",
                                  "12%",
                                  "12%x",
                                  "10--20",
                                  "10-0",
                                  "12.",
                                  ". .",
                                  "",
                                  "a",
                                  "a-c",
                                  "b",
                                  "bis",
                                  "bi",
                                  "-5",
                                  "+12",
                                  "0",
                                  "0a",
                                  "99999999999",
                                  "12\xC3\xA4",
                                  "99999999998",
                                  "12-99999999999",
                                  "2147483647",
                                  "2147483648"};
static_assert(std::size(SHAPES) >= 60);

struct Variant {
  const char* options;
  oracle::PremiseRules rules;
};
const Variant VARIANTS[] = {
    {"", {}},
    {"-extension_penalty", {20, 50, 60, 30, true, false}},
    {"-use_lcs", {20, 50, 60, 30, false, true}},
    {"-missing_extension 7 -incorrect_extension 33 -boundary_fault 100 -parity_fault 90 "
     "-extension_penalty -use_lcs",
     {7, 33, 100, 90, true, true}}};

TEST(DimePremiseMethod, all_pairs_of_shapes_are_scored_by_the_rule_table) {
  for (const Variant& variant : VARIANTS) {
    DimePremiseMethod method;
    ASSERT_EQ(method.configure_recall_options(variant.options), 0);
    for (const char* query : SHAPES) {
      const TeraQueryRef approx(method.eval(DastOptions::APPROX, query, nullptr));
      const TeraQueryRef exact(method.eval(DastOptions::EXACT, query, nullptr));
      for (const char* entry : SHAPES) {
        ASSERT_EQ(approx->compare(entry), oracle::premise_quality(query, entry, variant.rules))
            << "'" << query << "' '" << entry << "' " << variant.options;
        ASSERT_EQ(exact->compare(entry),
                  oracle::premise_quality(query, entry, {255, 255, 255, 255, true, false}))
            << "'" << query << "' '" << entry << "'";
      }
    }
  }
}

TEST(DimePremiseMethod, random_texts_are_scored_by_the_rule_table) {
  std::mt19937 random(1);
  const auto text = [&] {
    static constexpr char LETTERS[] = "1112034abAB-*!%. /";
    std::string made;
    for (unsigned i = random() % 8; i > 0; --i) made += LETTERS[random() % (sizeof LETTERS - 1)];
    return made;
  };
  for (int i = 0; i < 6000; ++i) {
    const Variant& variant = VARIANTS[random() % std::size(VARIANTS)];
    DimePremiseMethod method;
    ASSERT_EQ(method.configure_recall_options(variant.options), 0);
    const std::string query = text();
    const TeraQueryRef object(method.eval(DastOptions::APPROX, query.c_str(), nullptr));
    EXPECT_EQ(static_cast<DimePremiseQuery*>(object.get())->get_premise().queryString,
              oracle::Premise(query).normalized);
    for (int k = 0; k < 50; ++k) {
      const std::string entry = text();
      ASSERT_EQ(object->compare(entry.c_str()), oracle::premise_quality(query, entry, variant.rules))
          << "'" << query << "' '" << entry << "' " << variant.options;
    }
  }
}

TEST(DimePremiseMethod, named_cases) {
  DimePremiseMethod method;
  const auto quality = [&](const char* query, const char* entry) {
    return support::quality_of(method, query, DastOptions::APPROX, entry);
  };
  EXPECT_EQ(quality("14", "10-20"), 255);
  EXPECT_EQ(quality("14", "11-21"), 225);
  EXPECT_EQ(quality("14", "1*99"), 255);
  EXPECT_EQ(quality("12a", "12"), 235);
  EXPECT_EQ(quality("12a", "12b"), 205);
  EXPECT_EQ(quality("12a", "12a-c"), 255);
  EXPECT_EQ(quality("12", "13"), 0);
  EXPECT_EQ(support::quality_of(method, "12 bis", DastOptions::EXACT, "12 bit"), 128) << "half of 255";
  const auto shown = [&](const char* query, const char* entry, DastOptions::Call call = DastOptions::APPROX) {
    AceAttach at;
    const TeraQueryRef object(method.eval(call, query, nullptr));
    return std::string(object->display(entry, &at));
  };
  EXPECT_EQ(shown("14 a.", "10-20"), "14A");
  EXPECT_EQ(shown("14", "11-21"), "14");
  EXPECT_EQ(shown("14", "11-21", DastOptions::EXACT), "11-21");
  EXPECT_EQ(shown("10-12", "10-20"), "10-20");
  EXPECT_EQ(shown("30", "10-20"), "10-20") << "a range that refuses it";
  EXPECT_EQ(shown("12", "12a"), "12a");
  EXPECT_EQ(method.configure_recall_options("-display_minqual 226"), 0);
  EXPECT_EQ(shown("14", "11-21"), "11-21");
  EXPECT_EQ(method.configure_recall_options("-use_lcs"), 0);
  EXPECT_EQ(quality("12", "13"), 127);
  const std::string many(200, '1');
  EXPECT_GE(quality(many.c_str(), (many + "x").c_str()), 0) << "positions modulo 64";
  const support::QuietReports quiet;
  for (const char* wrong : {"-missing_extension 256", "-parity_fault -1", "-no_such", "-min_value 3"})
    EXPECT_EQ(method.configure_recall_options(wrong), -1) << wrong;
}

/// Texts, numbers and states of what is found.
using Shapes = std::multiset<std::tuple<std::string, Large, bool>>;
Shapes shapes_in(TeraScanGraph* graph) {
  Shapes found;
  for (int i = 0; graph != nullptr && i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      edge->get_result()->find_any([&](int, const TeraCand* cand) {
        found.insert({cand->represent(), cand->get_first_info(), cand->is(TeraCand::ARTIFICIAL)});
        return false;
      });
  if (graph != nullptr) graph->decr_ref();
  return found;
}

TEST(DimePremiseMethod, shapes_are_found_in_free_text) {
  DimePremiseMethod method;
  ASSERT_EQ(method.configure_build_options("", nullptr), 0);
  EXPECT_EQ(method.lookup("12", DastOptions::FS_DETECT, AceReporter::null()), nullptr) << "not made yet";
  EXPECT_EQ(support::build(&method, {"12"}), -2);
  const Shapes expected = {
      {"12 a", 0, true}, {"12 a", 1, true}, {"10-20", 0, true}, {"10-20", 1, true}, {"7bis", 1, true}};
  EXPECT_EQ(
      shapes_in(method.lookup("Hauptstr. 12 a, 10-20; 7bis", DastOptions::FS_DETECT, AceReporter::null())),
      expected);
  EXPECT_EQ(shapes_in(method.lookup("12\xFF", DastOptions::FS_COMPLETE, AceReporter::null())), Shapes{});
  EXPECT_EQ(method.lookup("12", DastOptions::APPROX, AceReporter::null()), nullptr);
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(method.configure_build_options("-x", nullptr), -1);
  EXPECT_NE(rep.all().find("Unknown build option(s) for premise method: '-x'"), std::string::npos);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DimePremiseMethod, a_record_scores_as_before_and_damaged_ones_are_survived) {
  DimePremiseMethod method;
  ASSERT_EQ(method.configure_build_options("", nullptr), 0);
  ASSERT_EQ(method.configure_recall_options("-missing_extension 7 -use_lcs"), 0);
  const std::string record = support::record_of(&method);
  support::PayloadFile file(record);
  DimePremiseMethod same;
  ASSERT_GE(same.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&same), record);
  EXPECT_EQ(support::quality_of(same, "12a", DastOptions::APPROX, "12"), 248);
  support::ask_damaged_records<DimePremiseMethod>(record, [](const DimePremiseMethod& damaged) {
    support::quality_of(damaged, "12a-c", DastOptions::APPROX, "10-20");
    shapes_in(damaged.lookup("12 a", DastOptions::FS_DETECT, AceReporter::null()));
  });
  DimePremiseMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(&method)), 0);
  EXPECT_EQ(support::quality_of(configured, "12a", DastOptions::APPROX, "12"), 248);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("REGEXP"));
  const support::QuietReports quiet;
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimePremiseMethod, a_field_of_a_base_scores_and_detects_alike_in_all_load_modes) {
  const support::FieldPlan plan{
      .name = "house", .type = "ADVANCED|CHANGING|FULL|ORIGINAL", .method = "PREMISE", .buildOptions = ""};
  support::for_each_form_of_base(
      plan, {"10-20", "12 a", ""}, "-missing_extension 9", [](const DastBaseField* field) {
        const TeraQueryRef object(field->eval("12", DastOptions::APPROX, 0, AceReporter::null()));
        AceAttach at;
        EXPECT_EQ(object->compare(field->get_string_by_baseid(1, &at)), 255);
        EXPECT_EQ(object->compare(field->get_string_by_baseid(2, &at)), 246);
        const Shapes expected = {{"12 a", TeraCand::NO_INFO, true}, {"12 a", TeraCand::NO_INFO, true}};
        EXPECT_EQ(shapes_in(field->detect("street 12 a", DastOptions::FS_DETECT, AceReporter::null())),
                  expected);
      });
}

TEST(DimePremiseMethod, the_smallest_record_is_the_documented_one) {
  DimePremiseMethod method;
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Premise method"));
}

}  // namespace
