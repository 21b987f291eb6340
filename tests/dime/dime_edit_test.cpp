#include "dime/dime_edit.h"

#include <map>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/dime_detect_settings.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

struct Quiet {
  Quiet() { AceReporter::clear_default(); }
  ~Quiet() {
    static AceReporter standard;
    standard.set_as_default();
  }
};

/// An index of lines "number TAB value", numbers in hexadecimal.
std::unique_ptr<DimeEditMethod> make_method(std::string lines, const char* options = "-filter 0",
                                            int flags = 0) {
  auto method = std::make_unique<DimeEditMethod>();
  EXPECT_EQ(method->configure_build_options(options, &support::letter_map()), 0) << options;
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 16);
  EXPECT_GE(method->make(&reader, flags, AceReporter::null(), nullptr), 0) << options;
  return method;
}

/// Qualities by string of what a query finds.
std::map<std::string, int> find(const DimeEditMethod& method, const char* query, DastOptions::Call call) {
  std::map<std::string, int> found;
  TeraScanGraph* graph = method.lookup(query, call, AceReporter::null());
  if (graph == nullptr) return found;
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr)
        edge->get_result()->find_any([&](int quality, const TeraCand* cand) {
          int& best = found[cand->represent()];
          best = std::max(best, quality);
          return false;
        });
  graph->decr_ref();
  return found;
}

std::string image_of(DimeEditMethod* method) {
  std::string image(1 << 20, '\0');
  AceFile file;
  file.init_write(image.data(), static_cast<VInt>(image.size()));
  EXPECT_GE(method->save(&file), 0);
  image.resize(static_cast<std::size_t>(file.get_pos()));
  return image;
}

/// The image must stay: the method points into it.
VInt read(DimeEditMethod* method, const std::string& image) {
  AceFile file;
  file.init_read(image.data(), static_cast<VInt>(image.size()));
  return method->read(&file);
}

TEST(DimeEditMethod, is_made_by_name_and_by_magic) {
  for (const char* name : {"edit", "EDIT"}) {
    const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(name));
    ASSERT_NE(method, nullptr);
    EXPECT_STREQ(method->get_name(), "EDIT");
    const std::unique_ptr<DastDetectorInterface> same(
        MagicConstructor<DastDetectorInterface>::produce(method->magic()));
    EXPECT_NE(dynamic_cast<DimeEditMethod*>(same.get()), nullptr);
  }
  EXPECT_EQ(MagicConstructor<DastBaseMethod>::create("EDITX"), nullptr);
  EXPECT_EQ(MagicConstructor<DastBaseMethod>::create(nullptr), nullptr);
  const std::string names = ", " + MagicConstructor<DastBaseMethod>::list_names() + ", ";
  for (const char* name : {", CATEGORY, ", ", EDIT, ", ", REGEXP, "})
    EXPECT_NE(names.find(name), std::string::npos) << names;
}

TEST(DimeEditMethod, each_call_mode_finds_what_it_is_for) {
  const auto method = make_method("1\tmayer\n2\tmaier\n3\tmayerhofer\n4\thofer\n5\tmayerhof\n");
  using Found = std::map<std::string, int>;
  EXPECT_EQ(find(*method, "mayer", DastOptions::EXACT), (Found{{"mayer", 255}}));
  const Found complete = find(*method, "mayerh", DastOptions::COMPLETE);
  EXPECT_GT(complete.at("mayerhofer"), 250) << "what goes on is as good as what ends";
  EXPECT_GT(complete.at("mayerhof"), 250);
  EXPECT_EQ(complete.count("hofer"), 0u);
  EXPECT_EQ(find(*method, "maxer", DastOptions::APPROX).count("mayer"), 1u);
  EXPECT_EQ(find(*method, "xxmayerhofxx", DastOptions::DETECT).at("mayerhof"), 251);
  const Found detected = find(*method, "der hofer und mayer", DastOptions::FS_DETECT);
  EXPECT_EQ(detected.at("hofer"), 255);
  EXPECT_EQ(detected.at("mayer"), 255);
  const Quiet quiet;
  EXPECT_EQ(method->lookup("mayer", DastOptions::EMPTY, AceReporter::null()), nullptr);
  EXPECT_EQ(method->lookup(nullptr, DastOptions::APPROX, AceReporter::null()), nullptr);
}

TEST(DimeEditMethod, every_recall_option_has_an_effect_and_unknown_ones_are_refused) {
  const auto method = make_method("1\tmayer\n2\tmayre\n3\tmaxer\n", "-filter 0 -allow_glob");
  const auto with = [&](const char* options, const char* query,
                        DastOptions::Call call = DastOptions::APPROX) {
    EXPECT_EQ(method->configure_recall_options(options), 0) << options;
    return find(*method, query, call);
  };
  EXPECT_EQ(with("", "mayer").size(), 3u);
  EXPECT_EQ(with("-min_value 255", "mayer").size(), 1u);
  EXPECT_EQ(with("-max_dist 1", "mayer").size(), 1u);
  EXPECT_LT(with("-num_cands 1", "mayer").size(), 3u);
  EXPECT_LT(with("-no_transpose -min_value 128", "mayer").at("mayre"),
            with("-min_value 128", "mayer").at("mayre"));
  EXPECT_EQ(with("-min_value 255", "ma[yx]er").size(), 2u);
  EXPECT_EQ(with("-min_value 255 -no_glob", "ma[yx]er").size(), 0u);
  EXPECT_EQ(with("-eval_type PREFIX -eval_model SHORT", "may").size(), 2u);
  EXPECT_EQ(with("-eval_type BLOCKEDIT -min_value 128", "yer", DastOptions::COMPLETE).size(), 0u);
  EXPECT_GT(with("-eval_type BLOCKEDIT -min_value 128 -subset_cont", "yer", DastOptions::COMPLETE).size(),
            0u);
  method->configure_recall_options("-allow_wildcards");
  const TeraQueryRef pattern(method->eval(DastOptions::APPROX, "m*r", nullptr));
  EXPECT_EQ(pattern->compare("mayer"), 255);
  const Quiet quiet;
  for (const char* wrong :
       {"-min_val 3", "-min_value 256", "-num_cands 0", "-orig_weight 101", "-eval_model NONE"})
    EXPECT_EQ(method->configure_recall_options(wrong), -1) << wrong;
  for (const char* wrong : {"-filter 7", "-filter -1", "-phonetics no_such_code", "-refine -1"}) {
    DimeEditMethod other;
    EXPECT_EQ(other.configure_build_options(wrong, &support::letter_map()), -1) << wrong;
  }
}

TEST(DimeEditMethod, sounds_weigh_as_the_options_say) {
  const auto method = make_method("1\tmeier\n2\tmayer\n", "-filter 0 -phonetics KOELNER");
  method->configure_recall_options("-min_value 128 -orig_weight 50");
  const int mixed = find(*method, "mayer", DastOptions::APPROX)["meier"];
  method->configure_recall_options("-min_value 128 -orig_weight 100");
  EXPECT_GT(mixed, find(*method, "mayer", DastOptions::APPROX)["meier"]);
}

TEST(DimeEditMethod, detect_rows_are_settings_of_the_process) {
  EXPECT_EQ(set_edit_detect_min(3, 256), -1);
  EXPECT_EQ(set_edit_detect_min(10, 5), -1);
  EXPECT_EQ(set_edit_detect_algorithm(3, nullptr, nullptr), -1);
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;
  TeraEval::Model model = TeraEval::REDUNDANT;
  int min = 1;
  int dist = 2;
  int cands = 3;
  int transpose = 4;
  int phonetics = 5;
  const auto adjust = [&](DastOptions::Call call) {
    return adjust_edit_detect_options(call, &mode, &model, &min, &dist, &cands, &transpose, &phonetics);
  };
  EXPECT_EQ(adjust(DastOptions::APPROX), -1);
  EXPECT_EQ(std::tie(mode, model, transpose), std::make_tuple(TeraEval::LEVENSHTEIN, TeraEval::REDUNDANT, 4));
  EXPECT_EQ(adjust(DastOptions::get_custom_mode(4)), 4);
  EXPECT_EQ(std::tie(mode, model, min, dist, cands, transpose, phonetics),
            std::make_tuple(TeraEval::CLOSE, TeraEval::LONG, 1, 2, 3, 1, 1));
  set_edit_detect_min(4, 200);
  set_edit_detect_option_phonetics(4, 0);
  adjust(DastOptions::get_custom_mode(4));
  EXPECT_EQ(std::tie(min, phonetics), std::make_tuple(200, 0));
  set_edit_detect_min(4, -1);
  set_edit_detect_option_phonetics(4, 1);
  const auto method = make_method("1\tmayer\n2\thofmayer\n");
  EXPECT_EQ(find(*method, "mayer", DastOptions::get_custom_mode(6)).at("hofmayer"), 252) << "SUFFIX, SHORT";
}

TEST(DimeEditMethod, an_index_that_serves_strings_has_all_of_them_in_columns_as_asked_for) {
  std::string lines = "ffff\thofer\n";
  for (int i = 1; i < 1000; ++i) lines += std::to_string(i) + "\tmayer" + std::to_string(i * i) + "\n";
  AceAttach at;
  for (const char* options : {"-filter 0", "", "-plain_columns"}) {
    const auto built = make_method(lines, options, DastFieldFlags::IN_INDEX_STORAGE);
    EXPECT_STREQ(built->show(0xffff, &at), "hofer") << options;
    EXPECT_EQ(built->show(0xfffe, &at), nullptr);
    DimeEditMethod method;
    const std::string image = image_of(built.get());
    ASSERT_GE(read(&method, image), 0);
    EXPECT_EQ(find(method, "hoffer", DastOptions::APPROX).count("hofer"), 1u);
    const TeraBitMatrix* filter = method.get_edit()->get_filter();
    bool isCoded = false;
    for (int tok = 1; filter != nullptr && tok < filter->num_modules(); ++tok)
      isCoded |= filter->get_module(tok).is_compressed();
    EXPECT_EQ(isCoded, options[0] == '\0') << options;
  }
  DimeEditMethod secondary;
  secondary.configure_build_options("-secondary", &support::letter_map());
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 16);
  EXPECT_EQ(secondary.make(&reader, 0, AceReporter::null(), nullptr), -2);
  const TeraQueryRef query(secondary.eval(DastOptions::APPROX, "mayer", nullptr));
  EXPECT_EQ(query->compare("mayer"), 255);
}

TEST(DimeEditMethod, is_the_same_after_saving_and_reading_an_older_record_included) {
  const auto method = make_method("1\tmayer\n2\tmaier\n3\thofer\n", "-filter 0 -refine 7");
  method->configure_recall_options("-min_value 150 -orig_weight 70 -no_transpose");
  const std::string image = image_of(method.get());
  DimeEditMethod same;
  ASSERT_GE(read(&same, image), 0);
  EXPECT_EQ(image_of(&same), image);
  EXPECT_EQ(find(same, "maxer", DastOptions::APPROX), find(*method, "maxer", DastOptions::APPROX));
  // Before options had a code of their own, there were the three numbers alone.
  constexpr std::size_t OPTIONS_SIZE = 4 + 3 * 4 + 4 + 3 * 4;
  const std::size_t head = image.size() - OPTIONS_SIZE;
  const std::string olderImage = image.substr(0, head) + image.substr(head + 4, 12);
  DimeEditMethod older;
  ASSERT_GE(read(&older, olderImage), 0);
  EXPECT_EQ(find(older, "mayre", DastOptions::APPROX).count("mayer"), 1u) << "transpositions are on again";
  const Quiet quiet;
  support::for_each_damage(image.substr(head), [&](const std::string& damaged, const std::string&) {
    const std::string whole = image.substr(0, head) + damaged;
    DimeEditMethod broken;
    try {
      if (read(&broken, whole) >= 0) find(broken, "maxer", DastOptions::APPROX);
    } catch (const AceException&) {
    }
  });
  DimeEditMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("REGEXP"));
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimeEditMethod, the_smallest_record_is_the_documented_one) {
  DimeEditMethod method;
  method.configure_build_options("", &support::letter_map());
  EXPECT_EQ(image_of(&method), support::documented_bytes(TEST_FORMATS, "Edit method"));
}

}  // namespace
