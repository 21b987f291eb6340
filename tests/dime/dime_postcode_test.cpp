#include "dime/dime_postcode.h"

#include <tuple>

#include "ace/ace_file.h"
#include "dast/dast_field_flags.h"
#include "oracle/postcode.h"
#include "oracle/words.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"
#include "support/word_samples.h"

namespace {

using Texts = std::map<std::string, int>;
using support::find_texts;

std::unique_ptr<DimePostCodeMethod> make_method(const std::vector<std::string>& values) {
  auto method = std::make_unique<DimePostCodeMethod>();
  EXPECT_EQ(method->configure_build_options("", &support::letter_map()), 0);
  EXPECT_EQ(support::build(method.get(), values), 0);
  return method;
}

std::string random_code(samples::Random& random) {
  std::string code;
  for (int length = 1 + random.below(7); length > 0; --length)
    code += static_cast<char>('0' + random.below(3));
  return code;
}

struct Settings {
  const char* options;
  oracle::PostCodeRules rules;
};
const Settings SETTINGS[] = {
    {"", {{5, 4, 3, 2, 1}}},
    {"-weight_str 3-2 -lead_zero_pen 7", {{3, 2}, 7}},
    {"-weight_str 9-0-1-4 -length_pen 13", {{9, 0, 1, 4}, 20, 13}},
    {"-leven_comp", {{5, 4, 3, 2, 1}, 20, 0, true}},
    {"-leven_comp -weight_str 1-7-2-2-5-1 -length_pen 3 -lead_zero_pen 0", {{1, 7, 2, 2, 5, 1}, 0, 3, true}},
};

std::string bare(const std::string& code) {
  return code.substr(std::min(code.find_first_not_of('0'), code.size()));
}

/// Within as many errors as the query has digits, at least 3: itself or, with zeros in front, what is left
/// without them; or another code that is this one with zeros in front.
bool is_looked_up(const std::vector<std::string>& codes, const std::string& query, const std::string& code) {
  const auto is_near = [&](const std::string& text) {
    const auto positions = [](const std::string& s) {
      return oracle::Positions(reinterpret_cast<const unsigned char*>(s.c_str()));
    };
    const oracle::Edit edit = oracle::leven(oracle::Matrix(positions(query), positions(text)), 2);
    return edit.match > 0 && edit.distance <= std::max(3, static_cast<int>(query.size()));
  };
  return is_near(code) || is_near(bare(code)) ||
         std::any_of(codes.begin(), codes.end(),
                     [&](const auto& other) { return bare(other) == code && is_near(other); });
}

const std::vector<std::string> CODES = {"80331", "80339", "01234", "8000", "10115", "00123"};

}  // namespace

TEST(DimePostCodeMethod, query_objects_and_look_ups_are_the_definition) {
  samples::Random random(7);
  std::vector<std::string> codes;
  for (int i = 0; i < 120; ++i) codes.push_back(random_code(random));
  std::sort(codes.begin(), codes.end());
  codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  const auto method = make_method(codes);
  for (const Settings& settings : SETTINGS)
    for (const char* limits : {" -min_value 1 -auto_max_edit 9 -restricted_length 0",
                               " -min_value 100 -num_cands 7 -auto_max_edit 9 -restricted_length 9"}) {
      ASSERT_EQ(method->configure_recall_options((std::string(settings.options) + limits).c_str()), 0);
      const bool isFew = limits[12] == '0' + 1 && limits[13] == '0';
      for (int round = 0; round < (samples::SLOW ? 2 : 12); ++round) {
        const std::string query = random_code(random);
        std::map<Large, int> all;
        for (size_t i = 0; i < codes.size(); ++i) {
          const int expected = oracle::score_codes(settings.rules, query, codes[i]);
          ASSERT_EQ(support::quality_of(*method, query, DastOptions::APPROX, codes[i]), expected)
              << query << " to " << codes[i] << " with '" << settings.options << "'";
          all[support::id_of(i)] = expected;
        }
        for (auto& [id, quality] : all)
          if (!is_looked_up(codes, query, codes[id / 3])) quality = 0;
        const auto found = support::find_ids(*method, query, DastOptions::APPROX);
        const auto kept = support::cut_by_limits(all, isFew ? 100 : 1, isFew ? 7 : 2500, 255);
        ASSERT_EQ(found, kept) << query << " with '" << settings.options << limits << "'";
      }
    }
}

TEST(DimePostCodeMethod, dropped_zeros_are_put_back_at_a_penalty) {
  const auto method = make_method(CODES);
  EXPECT_EQ(support::quality_of(*method, "1234", DastOptions::APPROX, "01234"), 235);
  EXPECT_EQ(find_texts(*method, "1234", DastOptions::APPROX), (Texts{{"01234", 235}}));
  EXPECT_EQ(find_texts(*method, "1234", DastOptions::EXACT), (Texts{{"01234", 235}}));
  EXPECT_EQ(find_texts(*method, "01234", DastOptions::EXACT), (Texts{{"01234", 255}}));
  EXPECT_EQ(find_texts(*method, "123", DastOptions::APPROX).count("00123"), 0U) << "of two zeros none is";
}

TEST(DimePostCodeMethod, a_country_in_front_of_a_query_counts_where_codes_have_it) {
  const auto method = make_method({"80331", "80339", "01234", "d-10115", "10115", "sw1a 1aa"});
  for (const DastOptions::Call call : {DastOptions::EXACT, DastOptions::APPROX, DastOptions::COMPLETE}) {
    EXPECT_EQ(find_texts(*method, "d - 80331", call).at("80331"), 254);
    EXPECT_EQ(support::quality_of(*method, "de-80331", call, "80331"), 254);
    EXPECT_EQ(find_texts(*method, "ch 1234", call).at("01234"), 235);
    EXPECT_EQ(find_texts(*method, "d-10115", call).at("d10115"), 255);
  }
  EXPECT_EQ(find_texts(*method, "d-10115", DastOptions::APPROX).at("10115"), 254);
  EXPECT_EQ(find_texts(*method, "f-803*", DastOptions::APPROX), (Texts{{"80331", 254}, {"80339", 254}}));
  EXPECT_EQ(find_texts(*method, "d-80331", DastOptions::APPROX), (Texts{{"80331", 254}, {"80339", 238}}));
  EXPECT_EQ(find_texts(*method, "sw1a 1aa", DastOptions::APPROX), (Texts{{"sw1a1aa", 255}}));
  EXPECT_EQ(find_texts(*method, "ABCd-80331", DastOptions::EXACT), Texts{});
}

TEST(DimePostCodeMethod, each_call_finds_what_it_is_for) {
  const auto method = make_method(CODES);
  EXPECT_EQ(find_texts(*method, "80331", DastOptions::APPROX), (Texts{{"80331", 255}, {"80339", 238}}));
  EXPECT_EQ(find_texts(*method, "8033[19]", DastOptions::EXACT), (Texts{{"80331", 255}, {"80339", 255}}));
  EXPECT_EQ(find_texts(*method, "8033", DastOptions::EXACT), (Texts{{"80331", 238}, {"80339", 238}}))
      << "codes that go on";
  const TeraQueryRef exact(method->eval(DastOptions::EXACT, "8033[19]", AceReporter::null()));
  EXPECT_EQ(exact->compare("80339"), 255);
  EXPECT_EQ(exact->compare("80338") + exact->compare("8033") + exact->compare("803390"), 0);
  for (const DastOptions::Call call : {DastOptions::EXACT, DastOptions::COMPLETE, DastOptions::APPROX}) {
    EXPECT_EQ(find_texts(*method, "80*", call), (Texts{{"80331", 255}, {"80339", 255}, {"8000", 255}}));
    EXPECT_EQ(find_texts(*method, "*3*9", call), (Texts{{"80339", 255}}));
    EXPECT_EQ(find_texts(*method, "9*", call), Texts{});
    EXPECT_EQ(support::quality_of(*method, "8*1", call, "80331"), 255);
    EXPECT_EQ(support::quality_of(*method, "8*1", call, "80339"), 0);
  }
  EXPECT_EQ(find_texts(*method, "803", DastOptions::COMPLETE), (Texts{{"80331", 204}, {"80339", 204}}));
  EXPECT_EQ(find_texts(*method, "Berlin 10115", DastOptions::DETECT), (Texts{{"10115", 255}}));
  for (const DastOptions::Call call : {DastOptions::FS_DETECT, DastOptions::FS_COMPLETE}) {
    TeraScanGraph* graph = method->lookup("8000 zurich 8033", call, AceReporter::null());
    ASSERT_NE(graph, nullptr);
    Texts found;
    graph->find_any([&](int node, const TeraCand* cand) {
      found[cand->represent()] = node;
      return false;
    });
    graph->decr_ref();
    EXPECT_EQ(found, (Texts{{"8000", 0}, {"80331", 2}, {"80339", 2}}));
  }
  // A code stays where its positions say, not where an automaton finds it best.
  TeraScanGraph* spans =
      make_method({"66400"})->lookup("664 26007", DastOptions::FS_DETECT, AceReporter::null());
  int node = -1;
  spans->find_any([&](int from, const TeraCand*) { return node = from, true; });
  spans->decr_ref();
  EXPECT_EQ(node, 0);
  EXPECT_EQ(find_texts(*method, "", DastOptions::APPROX), Texts{});
  EXPECT_EQ(method->lookup(nullptr, DastOptions::APPROX, AceReporter::null()), nullptr);
  const TeraQueryRef unmapped(method->eval(DastOptions::APPROX, "--", AceReporter::null()));
  EXPECT_EQ(unmapped->compare("-"), 255);
  EXPECT_EQ(unmapped->compare(""), 0);
  EXPECT_EQ(unmapped->compare("8000"), 0);
  EXPECT_EQ(unmapped->compare(nullptr), 0);
}

TEST(DimePostCodeMethod, every_option_has_an_effect_and_wrong_ones_are_refused) {
  const auto method = make_method(CODES);
  const auto with = [&](const char* options, const char* query,
                        DastOptions::Call call = DastOptions::APPROX) {
    EXPECT_EQ(method->configure_recall_options(options), 0) << options;
    return find_texts(*method, query, call);
  };
  EXPECT_EQ(with("-max_dist 10", "80331").size(), 1U);
  EXPECT_EQ(with("-num_cands 1", "80331").size(), 1U);
  EXPECT_EQ(with("-auto_max_edit 0", "80331").size(), 1U);
  EXPECT_EQ(with("-no_glob", "8033[19]", DastOptions::EXACT).size(), 0U);
  EXPECT_EQ(with("-min_value 100 -auto_max_edit 1", "80313").size(), 1U) << "a swap is one error";
  EXPECT_EQ(with("-min_value 100 -auto_max_edit 1 -no_transpose", "80313").size(), 0U);
  EXPECT_EQ(with("-no_glob", "80*", DastOptions::EXACT).size(), 0U);
  EXPECT_EQ(with("-min_value 100", "80", DastOptions::COMPLETE).size(), 3U) << "codes that go on may be long";
  EXPECT_EQ(with("-min_value 100", "80").size(), 1U);
  EXPECT_EQ(with("-min_value 100 -restricted_length 3", "80").size(), 3U);
  EXPECT_EQ(with("-min_value 100 -restricted_length 0 -eval_mode PREFIX", "80").size(), 3U);
  EXPECT_EQ(with("-weight_str 1-1-1-1-1", "80331").at("80339"), 204);

  DimePostCodeRecallOptions weights;
  EXPECT_EQ(weights.set_weights("3-2"), 0);
  EXPECT_EQ(weights.get_weight(0) * 100 + weights.get_weight(1) * 10 + weights.get_weight(31), 322);
  EXPECT_EQ(weights.get_expected_len(), 2);
  const support::QuietReports quiet;
  std::string tooMany = "1";
  for (int i = 0; i < 32; ++i) tooMany += "-1";
  for (const std::string& wrong :
       {std::string("3--2"), std::string("-3"), std::string(""), std::string("0-0"), std::string("3-x"),
        std::string("3-"), std::string("3-2 "), std::string("99999999999"), tooMany}) {
    EXPECT_EQ(weights.set_weights(wrong.c_str()), -1) << wrong;
    EXPECT_EQ(weights.get_expected_len(), 2) << "the old weights stay";
  }
  EXPECT_EQ(weights.set_weights(nullptr), -1);
  for (const char* wrong :
       {"-weight_str 3--2", "-lead_zero_pen -1", "-length_pen 256", "-min_value 300", "-weights 3"})
    EXPECT_EQ(method->configure_recall_options(wrong), -1) << wrong;
  DimePostCodeMethod other;
  EXPECT_EQ(other.configure_build_options("-fast", &support::letter_map()), -1);
  EXPECT_EQ(other.configure_build_options("", nullptr), -1);
}

TEST(DimePostCodeMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  const auto method = make_method(CODES);
  ASSERT_EQ(method->configure_recall_options(
                "-weight_str 3-2-2 -leven_comp -length_pen 4 -eval_mode PREFIX -no_glob"),
            0);
  const std::string record = support::record_of(method.get());
  DimePostCodeMethod read;
  support::PayloadFile file(record);
  ASSERT_GE(read.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&read), record);
  for (const char* query : {"8033", "1234", "8000"})
    EXPECT_EQ(find_texts(read, query, DastOptions::APPROX), find_texts(*method, query, DastOptions::APPROX));
  AceAttach at;
  EXPECT_STREQ(read.show(support::id_of(0), &at), "80331");
  EXPECT_STREQ(read.get_item(0, &at), "");
  DimePostCodeMethod other;
  EXPECT_EQ(other.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  constexpr size_t HEAD = 2048;  // tables of the map
  const support::QuietReports quiet;
  int numDamaged = 0;
  support::for_each_damage(record.substr(HEAD), [&](const std::string& rest, const std::string&) {
    if (++numDamaged % (samples::SLOW ? 40 : 4) != 0) return;
    support::PayloadFile damaged(record.substr(0, HEAD) + rest);
    DimePostCodeMethod hostile;
    try {
      if (hostile.read(damaged.get()) >= 0) find_texts(hostile, "8033", DastOptions::APPROX);
    } catch (const AceException&) {
    }
  });
}

TEST(DimePostCodeMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  for (const char* type : {"ADVANCED|CHANGING|FULL|INDEXED", "BASIC|CHANGING|FULL|INDEXED"}) {
    const support::FieldPlan plan{.name = "code", .type = type, .method = "POSTCODE", .buildOptions = ""};
    support::for_each_form_of_base(plan, CODES, "-lead_zero_pen 10", [](const DastBaseFieldRecall* field) {
      EXPECT_EQ(support::find_in_field(field, "80331", DastOptions::EXACT), (Texts{{"80331", 255}}));
      EXPECT_EQ(support::find_in_field(field, "1234", DastOptions::APPROX), (Texts{{"01234", 245}}));
    });
  }
}

TEST(DimePostCodeMethod, an_index_that_serves_strings_gives_them_back) {
  DimePostCodeMethod method;
  method.configure_build_options("", &support::letter_map());
  EXPECT_EQ(support::build(&method, CODES, DastFieldFlags::IN_INDEX_STORAGE), 0);
  AceAttach at;
  EXPECT_STREQ(method.show(support::id_of(2), &at), "01234");
  support::RecordingReporter rep;
  EXPECT_EQ(support::build(&method, {"8000", "80 331"}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
  EXPECT_NE(rep.all().find("'80 331'"), std::string::npos) << rep.all();
}

TEST(DimePostCodeMethod, the_options_have_their_documented_bytes) {
  EXPECT_EQ(support::image_by([](AceFile* file) { DimePostCodeRecallOptions().save(file); }),
            support::documented_bytes(TEST_FORMATS, "Recall options of the postcode method"));
}
