#include "dime/dime_auto.h"

#include "ace/ace_file.h"
#include "dast/dast_field_flags.h"
#include "dime/dime_detect_settings.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"
#include "support/word_samples.h"

namespace {

using Texts = std::map<std::string, int>;
using support::find_texts;

std::unique_ptr<DimeAutoMethod> make_method(const std::vector<std::string>& values, const char* options = "",
                                            int flags = 0) {
  auto method = std::make_unique<DimeAutoMethod>();
  EXPECT_EQ(method->configure_build_options(options, &support::letter_map()), 0) << options;
  EXPECT_EQ(support::build(method.get(), values, flags), 0) << options;
  return method;
}

/// Qualities by string on all edges.
Texts find_in_text(const DimeAutoMethod& method, const char* text, DastOptions::Call call) {
  Texts found;
  TeraScanGraph* graph = method.lookup(text, call, AceReporter::null());
  if (graph == nullptr) return found;
  graph->find_any([&](int node, const TeraCand* cand) {
    found[cand->represent()] = node;
    return false;
  });
  graph->decr_ref();
  return found;
}

const std::vector<std::string> NAMES = {"mayer", "maier", "mayerhofer", "hofer", "mayre"};

}  // namespace

TEST(DimeAutoMethod, each_call_finds_what_it_is_for) {
  for (const char* options : {"", "-fast", "-path_compress", "-fast -path_compress"}) {
    const auto method = make_method(NAMES, options);
    EXPECT_EQ(find_texts(*method, "mayer", DastOptions::EXACT), (Texts{{"mayer", 255}}));
    EXPECT_EQ(find_texts(*method, "ma[iy]er", DastOptions::EXACT), (Texts{{"maier", 255}, {"mayer", 255}}));
    const Texts begun = find_texts(*method, "maye", DastOptions::COMPLETE);
    EXPECT_EQ(begun.count("mayer") + begun.count("mayerhofer"), 2U);
    EXPECT_EQ(begun.count("hofer"), 0U);
    EXPECT_EQ(find_texts(*method, "mayr", DastOptions::APPROX).count("mayer"), 1U);
    EXPECT_EQ(find_texts(*method, "hofer mayer", DastOptions::DETECT),
              (Texts{{"hofer", 255}, {"maier", 208}, {"mayer", 255}, {"mayre", 208}}));
    EXPECT_EQ(find_texts(*method, "mayer", DastOptions::EMPTY).at("mayer"), 255) << "as every other call";
    EXPECT_EQ(find_texts(*method, "", DastOptions::APPROX), Texts{});
    EXPECT_EQ(method->lookup(nullptr, DastOptions::APPROX, AceReporter::null()), nullptr);
    EXPECT_EQ(find_in_text(*method, "der hofer und mayer", DastOptions::FS_DETECT).at("hofer"), 1);
    EXPECT_EQ(find_in_text(*method, "hofer mayerhof", DastOptions::FS_COMPLETE).at("mayerhofer"), 1);
    EXPECT_EQ(find_in_text(*method, "hofer mayerho", DastOptions::FS_DETECT).count("mayerhofer"), 0U);
  }
}

TEST(DimeAutoMethod, look_ups_and_query_objects_of_a_call_agree) {
  const auto method = make_method(NAMES);
  // Query objects allow swaps when look-ups do not, so none of these queries has one.
  for (const char* query : {"maier", "mayerh", "hofers", "maye", "layer"})
    for (const DastOptions::Call call : {DastOptions::EXACT, DastOptions::COMPLETE, DastOptions::APPROX})
      for (const auto& [value, quality] : find_texts(*method, query, call))
        if (value != "mayre") {
          EXPECT_EQ(support::quality_of(*method, query, call, value), quality) << query << " to " << value;
        }
  EXPECT_LT(support::quality_of(*method, "mayer", DastOptions::APPROX, "mayre"),
            find_texts(*method, "mayer", DastOptions::APPROX).at("mayre"));
  method->configure_recall_options("-no_transpose -min_value 100");
  EXPECT_GT(support::quality_of(*method, "mayer", DastOptions::APPROX, "mayre"),
            find_texts(*method, "mayer", DastOptions::APPROX).at("mayre"));
}

TEST(DimeAutoMethod, every_option_has_an_effect_and_unknown_ones_are_refused) {
  const auto method = make_method(NAMES);
  const auto with = [&](const char* options, const char* query,
                        DastOptions::Call call = DastOptions::APPROX) {
    EXPECT_EQ(method->configure_recall_options(options), 0) << options;
    return find_texts(*method, query, call);
  };
  EXPECT_EQ(with("", "mayer").size(), 3U);
  EXPECT_EQ(with("-min_value 255", "mayer").size(), 1U);
  EXPECT_EQ(with("-max_dist 1", "mayer").size(), 1U);
  EXPECT_EQ(with("-num_cands 1", "mayer").size(), 1U);
  EXPECT_EQ(with("-max_edit 0", "mayer").size(), 1U);
  EXPECT_EQ(with("-max_edit -7", "mayer").size(), 1U);
  EXPECT_EQ(with("-max_edit 99 -min_value 1", "mayer").size(), 5U);
  EXPECT_EQ(with("-eval_type PREFIX -eval_model SHORT", "mayerh").size(), 2U);
  EXPECT_EQ(with("-no_glob", "ma[iy]er", DastOptions::EXACT).size(), 0U);
  EXPECT_EQ(with("-add_seps ;", "hofer;maier", DastOptions::DETECT).size(), 3U);
  EXPECT_EQ(with("", "hofer;maier", DastOptions::DETECT).size(), 0U);
  EXPECT_EQ(with("-split_unmapped", "hofer/maier", DastOptions::DETECT).size(), 3U);
  EXPECT_EQ(with("-complete_markers +", "hof+", DastOptions::DETECT).count("hofer"), 1U);
  set_edit_detect_algorithm(0, "SUFFIX", "SHORT");
  EXPECT_EQ(with("-min_value 255", "hofer", DastOptions::get_custom_mode(0)).count("hofer"), 1U);
  set_edit_detect_algorithm(0, "SEQ", "MAXIMUM");

  const auto wild = make_method({"a?c", "b*"}, "-allow_wild");
  EXPECT_EQ(find_texts(*wild, "axc", DastOptions::EXACT), (Texts{{"a?c", 255}}));
  EXPECT_EQ(find_texts(*wild, "bcd", DastOptions::APPROX).at("b*"), 255);
  const auto heard = make_method({"meier", "weber"}, "-phonetics KOELNER");
  heard->configure_recall_options("-min_value 128 -orig_weight 50");
  const int mixed = find_texts(*heard, "mayr", DastOptions::APPROX).at("meier");
  heard->configure_recall_options("-min_value 100 -orig_weight 100");
  EXPECT_LT(find_texts(*heard, "mayr", DastOptions::APPROX)["meier"], mixed);

  const support::TempFolder folder;
  support::write_file(folder.file("aliases"), "meier\t5\tmaia\n");
  const auto aliased = make_method({"meier"}, ("-alias " + folder.file("aliases")).c_str());
  EXPECT_EQ(find_texts(*aliased, "maia", DastOptions::EXACT).count("meier"), 1U);

  const support::QuietReports quiet;
  for (const char* wrong : {"-min_val 3", "-min_value 256", "-orig_weight 101", "-eval_model NONE"})
    EXPECT_EQ(method->configure_recall_options(wrong), -1) << wrong;
  for (const char* wrong : {"-fst", "-phonetics no_such_code"}) {
    DimeAutoMethod other;
    EXPECT_EQ(other.configure_build_options(wrong, &support::letter_map()), -1) << wrong;
  }
  EXPECT_EQ(method->configure_build_options("", nullptr), -1);
}

TEST(DimeAutoMethod, items_stand_in_sorted_order) {
  const auto method = make_method(NAMES, "", DastFieldFlags::IN_INDEX_STORAGE);
  AceAttach at;
  EXPECT_EQ(method->can_sort(), 1);
  ASSERT_EQ(method->get_num_items(), 6);
  std::vector<std::string> items;
  for (int i = 0; i < method->get_num_items(); ++i) items.emplace_back(method->get_item(i, &at));
  EXPECT_EQ(items, (std::vector<std::string>{"", "hofer", "maier", "mayer", "mayerhofer", "mayre"}));
  EXPECT_EQ(method->get_item(6, &at), nullptr);
  EXPECT_EQ(method->get_item(-1, &at), nullptr);
  for (size_t i = 0; i < NAMES.size(); ++i) {
    EXPECT_STREQ(method->show(support::id_of(i), &at), NAMES[i].c_str());
    const Large* keys = nullptr;
    ASSERT_EQ(method->get_items(static_cast<int>(support::id_of(i)), &keys, &at), 1);
    EXPECT_EQ(items[keys[0]], NAMES[i]);
  }
  const Large* keys = nullptr;
  EXPECT_EQ(method->get_items(9999, &keys, &at), -1);

  DimeAutoMethod lossy;
  lossy.configure_build_options("", &support::letter_map());
  support::RecordingReporter rep;
  EXPECT_EQ(support::build(&lossy, {"mayer", "ma-yer"}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
  EXPECT_NE(rep.all().find("cannot give back 'ma-yer'"), std::string::npos) << rep.all();
}

TEST(DimeAutoMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  const auto method = make_method(NAMES, "-fast -path_compress");
  method->configure_recall_options(
      "-min_value 150 -no_glob -add_seps ;, -complete_markers + -max_edit 1 -eval_type SEQ");
  const std::string record = support::record_of(method.get());
  DimeAutoMethod read;
  support::PayloadFile file(record);
  ASSERT_GE(read.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&read), record);
  for (const char* query : {"mayr", "hof", "hofer;maier"})
    for (const DastOptions::Call call : {DastOptions::APPROX, DastOptions::COMPLETE, DastOptions::DETECT})
      EXPECT_EQ(find_texts(read, query, call), find_texts(*method, query, call));
  DimeAutoMethod other;
  EXPECT_EQ(other.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const std::string options = support::image_by([&](AceFile* out) { DimeAutoRecallOptions().save(out); });
  DimeAutoRecallOptions older;
  support::PayloadFile threeInts(options.substr(4, 12));
  ASSERT_GE(older.read(threeInts.get()), 0);
  EXPECT_EQ(support::image_by([&](AceFile* out) { older.save(out); }), options);
  constexpr size_t HEAD = 2048;  // tables of the map
  const std::string head = record.substr(0, HEAD);
  const support::QuietReports quiet;
  int numDamaged = 0;
  support::for_each_damage(record.substr(HEAD), [&](const std::string& rest, const std::string&) {
    if (++numDamaged % (samples::SLOW ? 40 : 4) != 0) return;
    support::PayloadFile damaged(head + rest);
    DimeAutoMethod hostile;
    try {
      if (hostile.read(damaged.get()) >= 0) find_texts(hostile, "maxer", DastOptions::APPROX);
    } catch (const AceException&) {
    }
  });
}

TEST(DimeAutoMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  const support::FieldPlan plan{
      .name = "name", .type = "ADVANCED|CHANGING|FULL|INDEXED", .method = "AUTO", .buildOptions = "-fast"};
  support::for_each_form_of_base(plan, NAMES, "-max_edit 1", [](const DastBaseFieldRecall* field) {
    EXPECT_EQ(support::find_in_field(field, "hofer", DastOptions::EXACT), (Texts{{"hofer", 255}}));
    EXPECT_EQ(support::find_in_field(field, "mayr", DastOptions::APPROX).count("mayer"), 1U);
    EXPECT_EQ(support::find_in_field(field, "mayerh", DastOptions::COMPLETE).count("mayerhofer"), 1U);
  });
}

TEST(DimeAutoMethod, the_options_have_their_documented_bytes) {
  const std::string bytes = support::image_by([](AceFile* file) { DimeAutoRecallOptions().save(file); });
  EXPECT_EQ(bytes, support::documented_bytes(TEST_FORMATS, "Recall options of the automaton method"));
}
