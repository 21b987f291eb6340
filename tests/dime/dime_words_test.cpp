#include "dime/dime_words.h"

#include <thread>

#include "ace/ace_file.h"
#include "dast/dast_field_flags.h"
#include "dime/dime_detect_settings.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

using Texts = std::map<std::string, int>;
using support::find_ids;
using support::find_texts;
using Values = std::vector<std::string>;

int make(DimeWordsMethod* method, const Values& values, int flags = 0,
         AceReporter* rep = AceReporter::null()) {
  const support::TempFolder folder;
  std::string lines;
  for (std::size_t i = 0; i < values.size(); ++i) lines += std::to_string(i + 1) + "\t" + values[i] + "\n";
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 10);
  return method->make(&reader, flags, rep, folder.file("values").c_str());
}

std::unique_ptr<DimeWordsMethod> make_method(const Values& values,
                                             const char* options = "-filter 0 -skip 100", int flags = 0) {
  auto method = std::make_unique<DimeWordsMethod>();
  EXPECT_EQ(method->configure_build_options(options, &support::letter_map()), 0) << options;
  EXPECT_EQ(make(method.get(), values, flags), 0) << options;
  return method;
}

const Values NAMES = {"karl weber",      "weber karl",   "karl maria weber", "hotel adler",
                      "hotel zum adler", "hauptbahnhof", "haupt bahnhof",    "k weber"};
using Ids = std::map<Large, int>;

TEST(DimeWordsMethod, each_call_finds_what_it_is_for) {
  const auto method = make_method(NAMES);
  method->configure_recall_options("-no_teaser");
  EXPECT_EQ(find_texts(*method, "KARL weber", DastOptions::EXACT).size(), 0U) << "the map has no upper case";
  EXPECT_EQ(find_texts(*method, "karl weber", DastOptions::EXACT), (Texts{{"karl weber", 255}}));
  const Texts approx = find_texts(*method, "webre karl", DastOptions::APPROX);
  EXPECT_GT(approx.at("weber karl"), 220);
  EXPECT_GT(approx.at("karl weber"), 220);
  EXPECT_EQ(find_texts(*method, "weber karl", DastOptions::APPROX).at("weber karl"), 255);
  EXPECT_EQ(find_texts(*method, "adler hot", DastOptions::COMPLETE).count("hotel adler"), 1U);
  EXPECT_EQ(find_texts(*method, "adler hot", DastOptions::APPROX).count("hotel adler"), 0U);
  EXPECT_GT(find_texts(*method, "hotel adler heute", DastOptions::DETECT).at("hotel adler"), 240);
  EXPECT_EQ(find_ids(*method, "ist weber karl im hotel adler", DastOptions::FS_DETECT).at(2), 255);
  EXPECT_EQ(find_ids(*method, "im adl", DastOptions::FS_COMPLETE).count(4), 1U);
  EXPECT_EQ(find_ids(*method, "im adl", DastOptions::FS_DETECT).count(4), 0U);
  EXPECT_EQ(find_ids(*method, "adler", DastOptions::DETECT0), (Ids{{4, 255}, {5, 255}}))
      << "all with that word";
  EXPECT_EQ(support::quality_of(*method, "adler", DastOptions::DETECT0, "hotel adler"), 255);
  const TeraQueryRef byNumber(method->eval(DastOptions::DETECT0, "adler", AceReporter::null()));
  EXPECT_EQ(byNumber->compare(4U), 255);
  EXPECT_EQ(byNumber->compare(99U), 0) << "no such value";
  const support::QuietReports quiet;
  EXPECT_EQ(method->lookup("weber", DastOptions::EMPTY, AceReporter::null()), nullptr);
  EXPECT_EQ(method->scan(DastOptions::FS_DETECT, "weber", nullptr), nullptr);
  EXPECT_EQ(method->lookup(nullptr, DastOptions::APPROX, AceReporter::null()), nullptr);
}

TEST(DimeWordsMethod, query_objects_give_what_the_look_up_gives) {
  const auto method = make_method(NAMES);
  for (const auto call :
       {DastOptions::EXACT, DastOptions::COMPLETE, DastOptions::APPROX, DastOptions::DETECT})
    for (const char* query : {"karl weber", "webre", "adler hotel", "hauptbahnhof", "k", "maria karl"}) {
      const Ids found = find_ids(*method, query, call);
      for (std::size_t i = 0; i < NAMES.size(); ++i) {
        const int quality = support::quality_of(*method, query, call, NAMES[i]);
        const auto known = found.find(static_cast<Large>(i + 1));
        EXPECT_TRUE(known != found.end() ? known->second == quality : quality < 190)
            << query << " " << NAMES[i];
      }
    }
}

TEST(DimeWordsMethod, only_the_words_of_the_query_in_its_order_are_the_query) {
  const auto method = make_method(NAMES, "-filter 0 -skip 100 -add -");
  for (const auto& [query, call, same, other] :
       {std::tuple("karl weber", DastOptions::APPROX, "karl-weber", "weber karl"),
        {"hotel adl", DastOptions::COMPLETE, "hotel adl", "hotel adler"},
        {"adler", DastOptions::DETECT0, "adler", "hotel adler"}}) {
    const TeraQueryRef object(method->eval(call, query, AceReporter::null()));
    EXPECT_GT(object->compare(other), 190) << query;
    TeraForceExactQuery exact(object.get());
    object->ref();
    EXPECT_EQ(exact.compare(same), 255) << query;
    EXPECT_EQ(exact.compare(other), 0) << query;
  }
}

TEST(DimeWordsMethod, every_recall_option_has_an_effect_and_unknown_ones_are_refused) {
  const auto method = make_method(NAMES);
  const auto with = [&](const std::string& options, const char* query,
                        DastOptions::Call call = DastOptions::APPROX) {
    EXPECT_EQ(method->configure_recall_options(options.c_str()), 0) << options;
    return find_ids(*method, query, call);
  };
  EXPECT_EQ(with("-reeval", "karl unkn").count(1), 0U);
  EXPECT_EQ(with("-min_value 100", "karl unkn").count(1), 1U);
  EXPECT_EQ(with("-min_value 100 -reeval", "karl unkn").count(1), 0U);
  EXPECT_EQ(with("-min_value 255", "karl weber"), (Ids{{1, 255}}));
  EXPECT_EQ(with("-max_dist 0", "karl weber"), (Ids{{1, 255}}));
  EXPECT_EQ(with("-num_cands 1", "karl weber"), (Ids{{1, 255}}));
  EXPECT_GT(with("", "webre karl").at(2), with("-no_transpose", "webre karl")[2]);
  EXPECT_EQ(with("-single_minqual 240", "wexer karl").count(2), 0U);
  EXPECT_EQ(with("-decompose", "hoteladler").count(4), 1U);
  EXPECT_EQ(with("", "hoteladler").count(4), 0U);
  EXPECT_EQ(with("-complete_markers ~", "karl web~").count(1), 1U);
  EXPECT_EQ(with("", "karl web~").count(1), 0U);
  EXPECT_EQ(with("-split_unmapped", "hotel,adler").at(4), 255);
  EXPECT_EQ(with("", "hotel,adler").count(4), 0U);
  EXPECT_LT(with("-model MAXIMUM -min_value 100", "karl weber").at(3), with("", "karl weber").at(3));
  EXPECT_EQ(with("-eval_mode PREFIX", "kar web").count(1), 1U);
  EXPECT_LT(with("-det_model ENTRY -min_value 128", "im hotel adler", DastOptions::FS_DETECT)[5],
            with("-det_model QUERY -min_value 128", "im hotel adler", DastOptions::FS_DETECT)[5]);
  method->configure_recall_options("");
  EXPECT_EQ(find_texts(*method, "adler hotel", DastOptions::APPROX).count("<b>hotel</b> <b>adler</b>"), 1U);
  const support::QuietReports quiet;
  for (const char* wrong : {"-min_val 3", "-min_value 256", "-single_minqual 0", "-single_minqual 256",
                            "-orig_weight 101", "-model NONE", "-det_model NONE"})
    EXPECT_EQ(method->configure_recall_options(wrong), -1) << wrong;
}

TEST(DimeWordsMethod, every_build_option_has_an_effect_and_wrong_ones_are_refused) {
  const support::TempFolder folder;
  const auto found = [](const std::string& options, const Values& values, const char* query) {
    return find_ids(*make_method(values, ("-filter 0 " + options).c_str()), query, DastOptions::APPROX);
  };
  for (const char* joins : {"-merge_entries", "-unbound_recall"}) {
    EXPECT_EQ(found(joins, NAMES, "hauptbahnhof").at(7), 254) << joins;
    EXPECT_EQ(found(joins, NAMES, "haupt bahnhof").at(6), 254) << joins;
    const auto method = make_method(NAMES, (std::string("-filter 0 ") + joins).c_str());
    EXPECT_EQ(find_ids(*method, "hauptbahnhof", DastOptions::COMPLETE).count(7), joins[1] == 'm' ? 1U : 0U);
  }
  EXPECT_EQ(found("", NAMES, "hauptbahnhof").count(7), 0U);
  for (const char* few : {"0", "3"}) {
    const auto automaton = make_method(NAMES, "-use_auto");
    automaton->configure_recall_options((std::string("-single_maxedit ") + few).c_str());
    EXPECT_EQ(find_ids(*automaton, "webre karl", DastOptions::APPROX).count(2), few[0] == '3' ? 1U : 0U);
    EXPECT_EQ(find_ids(*automaton, "karl weber", DastOptions::EXACT), (Ids{{1, 255}}));
  }
  EXPECT_EQ(found("-add -", {"baden-wuerttemberg"}, "wuerttemberg").count(1), 1U);
  EXPECT_EQ(found("-add - -add_len 6", {"baden-wuerttemberg"}, "baden").count(1), 0U);
  EXPECT_GT(found("-add - -add_len 5", {"baden-wuerttemberg"}, "baden").count(1), 0U);
  EXPECT_EQ(found("-sep ,", {"new york,usa"}, "usa,new york").at(1), 254);
  const std::string aliases = folder.file("aliases"), skips = folder.file("skips"), out = folder.file("out");
  support::write_file(aliases, "bahnhof\tstation\n");
  support::write_file(skips, "hotel\n");
  EXPECT_GT(found("-single_alias_file " + aliases, NAMES, "haupt station").at(7), 250);
  EXPECT_EQ(found("-single_alias_file {}", NAMES, "haupt station").count(7), 0U);
  make_method(NAMES, ("-filter 0 -skip 30 -skip_file " + skips + " -skip_export_file " + out).c_str());
  EXPECT_EQ(support::read_file(out), "hotel\nkarl\nweber\n");
  make_method({"a b", "a b", "c"}, ("-filter 0 -unique -skip 50 -skip_export_file " + out).c_str());
  EXPECT_EQ(support::read_file(out), "");
  EXPECT_EQ(found("-phonetics KOELNER -sort 1 -refine 3", {"meier hans"}, "mayer hans").count(1), 1U);
  EXPECT_EQ(found("", {"meier hans"}, "mayer hans").count(1), 0U);
  const support::QuietReports quiet;
  for (const char* wrong : {"-filter 7", "-refine -1", "-sort 0", "-sort 101", "-skip -1", "-add_len 0",
                            "-phonetics no_such_code", "-sepp x"}) {
    DimeWordsMethod method;
    EXPECT_EQ(method.configure_build_options(wrong, &support::letter_map()), -1) << wrong;
  }
  DimeWordsMethod nameless;
  nameless.configure_build_options("", &support::letter_map());
  std::string lines = "1\ta\n";
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 10);
  EXPECT_EQ(nameless.make(&reader, 0, AceReporter::null(), nullptr), -1);
}

TEST(DimeWordsMethod, single_words_are_detected_with_lists_of_their_own) {
  const auto method = make_method(NAMES, "-filter 0 -single_hits");
  EXPECT_EQ(support::ids_in(method->detect_single("im adler", DastOptions::APPROX, AceReporter::null())),
            (Ids{{4, 255}, {5, 255}}));
  support::RecordingReporter rep;
  EXPECT_EQ(make_method(NAMES)->detect_single("adler", DastOptions::APPROX, &rep), nullptr);
  EXPECT_EQ(rep.all(), "ERROR! Cannot detect single words without direct hit lists\n");
}

TEST(DimeWordsMethod, values_are_scored_from_the_qualities_of_words) {
  const auto method = make_method({"karl weber", "karl"});
  method->configure_recall_options("-det_model MAXIMUM");
  TeraScanGraph graph(0, "karl xx weber", 128, 10, 255, 0);
  graph.init(4);
  for (const auto& [node, place] : {std::pair{0, 0}, {1, 4}, {2, 7}, {3, 13}})
    graph.set_char_pos(node, place);
  const std::unique_ptr<TeraAmortizedQuery> query(
      method->create_amortized_query(DastOptions::FS_DETECT, &graph));
  EXPECT_EQ(query->get_num_words(), 3);
  const int all[] = {255, 0, 255}, some[] = {2 * 255, 0, 2 * 204}, none[] = {0, 0, 0},
            above[] = {400, 0, 400};
  EXPECT_EQ(query->get_quality(all, 1, 1), 255) << "words without hit count nowhere";
  EXPECT_EQ(query->get_quality(some, 1, 2), (4 * 255 + 5 * 204) / 9);
  EXPECT_EQ(query->get_quality(all, 2, 1), 255);
  EXPECT_EQ(query->get_quality(none, 1, 1), 0);
  EXPECT_EQ(query->get_quality(above, 1, 1), 254);
}

TEST(DimeWordsMethod, values_are_given_back_where_they_are_kept_or_the_build_fails) {
  const auto method = make_method(NAMES, "-filter 0", DastFieldFlags::IN_INDEX_STORAGE);
  AceAttach at;
  EXPECT_STREQ(method->show(3, &at), "karl maria weber");
  EXPECT_EQ(method->show(99, &at), nullptr);
  const Large* ids = nullptr;
  EXPECT_EQ(method->get_items(4, &ids, &at), 1);
  EXPECT_EQ(ids[0], 4U);
  EXPECT_STREQ(method->get_item(4, &at), "hotel adler");
  support::RecordingReporter rep;
  DimeWordsMethod other;
  other.configure_build_options("", &support::letter_map());
  EXPECT_EQ(make(&other, {"two  blanks"}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
  EXPECT_NE(rep.all().find("two  blanks"), std::string::npos);
}

TEST(DimeWordsMethod, is_the_same_after_saving_and_reading_and_survives_damage) {
  const auto method = make_method({"karl weber", "weber"}, "-filter 0 -single_hits -merge_entries -add -");
  method->configure_recall_options("-min_value 150 -single_minqual 150 -no_transpose -decompose -model LONG");
  const std::string record = support::record_of(method.get());
  DimeWordsMethod same;
  support::PayloadFile file(record);
  ASSERT_GE(same.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&same), record);
  for (const char* query : {"karl wexer", "karlweber", "weber"})
    EXPECT_EQ(find_ids(same, query, DastOptions::APPROX), find_ids(*method, query, DastOptions::APPROX))
        << query;
  DimeWordsMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const support::QuietReports quiet;
  const std::unique_ptr<DastBaseMethod> edit(MagicConstructor<DastBaseMethod>::create("EDIT"));
  EXPECT_EQ(configured.reconfigure(edit.get()), -1);
  const std::size_t options = record.size() - 150;
  for (std::size_t bit = 8 * options; bit < 8 * record.size(); ++bit) {
    DimeWordsMethod broken;
    support::PayloadFile damaged(support::flip(record, bit));
    try {
      if (broken.read(damaged.get()) >= 0) find_ids(broken, "weber", DastOptions::APPROX);
    } catch (const AceException&) {
    }
  }
}

TEST(DimeWordsMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  const support::FieldPlan plan{.name = "name",
                                .type = "ADVANCED|CHANGING|FULL|INDEXED",
                                .method = "WORDS",
                                .buildOptions = "-filter 0 -skip 100"};
  support::for_each_form_of_base(plan, NAMES, "-no_teaser", [](const DastBaseFieldRecall* field) {
    EXPECT_EQ(support::find_in_field(field, "karl weber", DastOptions::EXACT), (Texts{{"karl weber", 255}}));
    EXPECT_EQ(support::find_in_field(field, "adlre hotel", DastOptions::APPROX).count("hotel adler"), 1U);
    EXPECT_EQ(support::find_in_field(field, "adler hot", DastOptions::COMPLETE).count("hotel adler"), 1U);
  });
}

TEST(DimeWordsMethod, many_threads_find_what_one_finds) {
  const auto method = make_method(NAMES);
  const Ids expected = find_ids(*method, "webre karl", DastOptions::APPROX);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 20; ++k) EXPECT_EQ(find_ids(*method, "webre karl", DastOptions::APPROX), expected);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(DimeWordsMethod, the_options_have_their_documented_bytes) {
  const std::string bytes = support::image_by([](AceFile* file) { DimeWordsRecallOptions().save(file); });
  EXPECT_EQ(bytes, support::documented_bytes(TEST_FORMATS, "Recall options of the words method"));
}

}  // namespace
