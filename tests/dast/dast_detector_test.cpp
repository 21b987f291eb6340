#include "dast/dast_detector.h"

#include <algorithm>
#include <map>

#include "ace/ace_exception.h"
#include "dast/dast_base.h"
#include "dast/dast_info_list.h"
#include "dime/dime_regex_detector.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "tera/tera_edit.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

using support::FieldPlan;
using support::Table;
using support::TempFolder;

/// What is found for a field on a span of bytes: for each string its quality and records.
struct Found {
  int from;
  int to;
  std::string field;
  std::string string;
  auto operator<=>(const Found&) const = default;
};
struct Hit {
  int quality = 0;
  std::set<Large> records;
  bool isInitial = false;
  bool operator==(const Hit&) const = default;
};
using Hits = std::map<Found, Hit>;

void PrintTo(const Hits& hits, std::ostream* out) {
  for (const auto& [found, hit] : hits) {
    *out << "\n  " << found.from << "-" << found.to << " " << found.field << " '" << found.string << "' "
         << hit.quality << (hit.isInitial ? " initial" : "") << " {";
    for (const Large record : hit.records) *out << " " << record;
    *out << " }";
  }
}

Hits hits_of(const TeraScanGraph& graph, const DastBase& base) {
  Hits hits;
  AceAttach at;
  for (int i = 0; i < graph.get_num_nodes(); ++i)
    for (auto* edge = graph.get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      const TeraResult* result = edge->get_result();
      const DastBaseField* field = base.get_field(edge->get_origin());
      if (result == nullptr || field == nullptr) continue;
      for (auto* group = result->get_first_group(); group != nullptr; group = group->get_next())
        for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
          const Large* records = nullptr;
          const Large count = cand->is(TeraCand::ARTIFICIAL)
                                  ? 0
                                  : field->get_info_list(cand, &at)->get_single(&records, &at, 1 << 30);
          Hit& hit =
              hits[{graph.get_node(i)->get_char_pos(), graph.get_node(edge->get_target())->get_char_pos(),
                    field->get_name(), cand->get_string() != nullptr ? cand->get_string() : "(null)"}];
          hit.quality = std::max(hit.quality, group->get_value());
          hit.records.insert(records, records + count);
          hit.isInitial = cand->is(TeraCand::INITIAL);
        }
    }
  return hits;
}

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using Graph = std::unique_ptr<TeraScanGraph, Unref>;

constexpr Mask ALL = ~Mask{0};

Hits detect(const DastBase& base, const std::string& text, Mask fields = ALL, Mask* initials = nullptr) {
  const Graph graph(
      base.detector_detect(text.c_str(), fields, DastOptions::FS_DETECT, initials, AceReporter::null()));
  return graph != nullptr ? hits_of(*graph, base) : Hits{};
}

DastDetectorInterface* edit_detector(const char* options) {
  std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
  method->configure_build_options(options, &support::letter_map());
  return method.release();
}

/// Detectors of a base, to be declared before it is built.
struct DetectorPlan {
  std::string name;
  std::vector<const char*> fields;
  std::vector<const char*> prefixes = std::vector<const char*>(8, nullptr);
  std::vector<const char*> suffixes = std::vector<const char*>(8, nullptr);
  std::vector<int> initials = std::vector<int>(8, 0);
  std::string extraFile = {};
};

std::unique_ptr<DastBase> build(const Table& table, const std::vector<DetectorPlan>& detectors,
                                const TempFolder& folder) {
  auto base = support::declare_base(table, folder, 1);
  for (const DetectorPlan& plan : detectors) {
    const int features = plan.extraFile.empty() ? 0 : DastDetector::EXTRA_FILE;
    const int index = base->assign_detector(
        plan.name.c_str(), 1, plan.extraFile.c_str(), static_cast<int>(plan.fields.size()),
        plan.fields.data(), 0, plan.prefixes.data(), plan.suffixes.data(), features, plan.initials.data());
    EXPECT_GE(index, 0);
    EXPECT_EQ(base->configure_detector(index, edit_detector("-filter 0")), 0);
  }
  support::write_file(folder.file("records"), table.text());
  const bool isBuilt = base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr,
                                  AceReporter::null()) == 0 &&
                       base->make_all_access(AceReporter::null()) == 0;
  EXPECT_TRUE(isBuilt);
  return base;
}

class DastDetectorTest : public testing::Test {
  support::QuietReports quiet;
};

// ---------------------------------------------------------------- against a plain detection

constexpr int LEAST_QUALITY = 190;

int count_words(const std::string& text) {
  return 1 + static_cast<int>(std::count(text.begin(), text.end(), ' '));
}

/// Compares every run of words with every value.
class OracleDetection {
 public:
  OracleDetection(const Table& table, const DetectorPlan& plan, const DastDetectorInterface* detector)
      : itsMethod(dynamic_cast<const DastBaseMethod*>(detector)) {
    for (std::size_t i = 0; i < plan.fields.size(); ++i) add_values(table, plan, i);
  }

  void add(const std::string& text, Hits* hits) const {
    std::vector<int> ends{0};  // of words
    for (std::size_t i = 0; i <= text.size(); ++i)
      if (i == text.size() || text[i] == ' ') ends.push_back(static_cast<int>(i));
    for (std::size_t i = 0; i < ends.size(); ++i)
      for (std::size_t k = i + 1; k < ends.size(); ++k) {
        if (static_cast<int>(k - i) > longestValue && k - i + 1 < ends.size()) continue;
        const int start = ends[i] + (i > 0 ? 1 : 0);
        add_span(ends[i], ends[k], text.substr(static_cast<std::size_t>(start), ends[k] - start), hits);
      }
  }

 private:
  struct Value {
    std::string indexed;
    std::string shown;
    std::string field;
    std::set<Large> records;
  };

  void add_values(const Table& table, const DetectorPlan& plan, std::size_t place) {
    const auto field = std::find_if(table.fields.begin(), table.fields.end(),
                                    [&](const auto& f) { return f.name == plan.fields[place]; });
    std::map<std::string, std::set<Large>> strings;
    for (std::size_t r = 0; r < table.records.size(); ++r)
      for (const auto& part : Table::parts(table.records[r][field - table.fields.begin()]))
        strings[part].insert(static_cast<Large>(r + 1));
    for (const auto& [string, records] : strings) {
      const bool isRare = field->type.starts_with("ADVANCED|CHANGING|PARTIAL") &&
                          records.size() < std::size_t(field->partialFreq);
      if (string.empty() || isRare) continue;
      const auto text = [&](const std::vector<const char*>& texts) {
        return std::string(texts[place] != nullptr ? texts[place] : "");
      };
      values.push_back({text(plan.prefixes) + string + text(plan.suffixes), string, field->name, records});
      longestValue = std::max(longestValue, count_words(values.back().indexed));
    }
  }
  void add_span(int from, int to, const std::string& run, Hits* hits) const {
    const TeraQueryRef query(itsMethod->eval(DastOptions::FS_DETECT, run.c_str(), AceReporter::null()));
    for (const Value& value : values) {
      const int quality = query->compare(value.indexed.c_str());
      if (quality < LEAST_QUALITY) continue;
      Hit& hit = (*hits)[{from, to, value.field, value.shown}];
      hit.quality = std::max(hit.quality, quality);
      hit.records.insert(value.records.begin(), value.records.end());
    }
  }

  const DastBaseMethod* itsMethod;
  std::vector<Value> values;
  int longestValue = TeraEdit::MIN_SCAN_WORDS;
};

std::string random_phrase(std::mt19937& random, unsigned most_words) {
  std::string text;
  for (unsigned words = 1 + static_cast<unsigned>(random()) % most_words; words > 0; --words) {
    if (!text.empty()) text += ' ';
    for (unsigned i = 1 + static_cast<unsigned>(random()) % 5; i > 0; --i)
      text += static_cast<char>('a' + random() % 3);
  }
  return text;
}

TEST_F(DastDetectorTest, detectors_find_what_comparing_every_run_of_words_with_every_value_finds) {
  const char* types[] = {"ADVANCED|CHANGING|FULL|ORIGINAL", "BASIC|CHANGING|NONE|ORIGINAL",
                         "ADVANCED|OPTIMIZED|FULL|ORIGINAL", "ADVANCED|CHANGING|PARTIAL|ORIGINAL"};
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::mt19937 random(seed);
    Table table;
    for (const char* type : types)
      table.fields.push_back(
          {.name = std::string(1, "abcd"[table.fields.size()]), .type = type, .partialFreq = 2});
    for (unsigned r = 0; r < 10 * seed; ++r) {
      table.records.emplace_back();
      for (std::size_t i = 0; i < std::size(types); ++i)
        table.records.back().push_back(random() % 10 == 0 ? "" : random_phrase(random, 2));
      if (random() % 5 == 0) table.records.back()[random() % 2] += "|" + random_phrase(random, 1);
    }
    std::vector<DetectorPlan> plans{{.name = "one", .fields = {"a", "c", "b"}},
                                    {.name = "two", .fields = {"d", "a"}}};
    plans[0].prefixes[1] = "zz ";
    plans[0].suffixes[1] = "z";
    const TempFolder folder;
    const auto base = build(table, plans, folder);
    for (int i = 0; i < 20; ++i) {
      const std::string text = i % 4 == 0 ? "zz " + random_phrase(random, 2) + "z" : random_phrase(random, 5);
      const Mask fields = i % 3 == 0 ? 1 + random() % 15 : ALL;
      Hits expected;
      for (std::size_t d = 0; d < plans.size(); ++d)
        OracleDetection(table, plans[d], base->get_detector(static_cast<int>(d))->get_detector())
            .add(text, &expected);
      std::erase_if(expected,
                    [&](const auto& hit) { return (fields >> (hit.first.field[0] - 'a') & 1) == 0; });
      EXPECT_EQ(detect(*base, text, fields), expected) << "seed " << seed << ", text '" << text << "'";
    }
  }
}

// ---------------------------------------------------------------- by example

Table people() {
  return {{{.name = "given", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
           {.name = "last", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
           {.name = "code", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"},
           {.name = "house", .type = "BASIC|CHANGING|NONE|ORIGINAL"}},
          {{"maria", "weber", "10115", "7"},
           {"martin", "maria", "20095", "12"},
           {"jonas", "undt", "10117", "3"}}};
}

TEST_F(DastDetectorTest, letters_stand_for_values_of_fields_with_initials_and_extra_strings_cover_words) {
  const TempFolder folder;
  support::write_file(folder.file("extra"), "and\nwith\n");
  std::vector<DetectorPlan> plans{
      {.name = "names", .fields = {"given", "last"}, .extraFile = folder.file("extra")}};
  plans[0].initials[0] = 1;
  const auto base = build(people(), plans, folder);
  Mask initials = 0;
  Hits hits = detect(*base, "m. weber", ALL, &initials);
  hits.erase({0, 8, "last", "weber"});  // the whole text resembles it, too
  EXPECT_EQ(hits, (Hits{{{0, 2, "given", "maria"}, {200, {1}, true}},
                        {{0, 2, "given", "martin"}, {200, {2}, true}},
                        {{2, 8, "last", "weber"}, {255, {1}}}}));
  EXPECT_EQ(initials, 1u);
  EXPECT_EQ(detect(*base, "maria", ALL),
            (Hits{{{0, 5, "given", "maria"}, {255, {1}}}, {{0, 5, "last", "maria"}, {255, {2}}}}));
  EXPECT_EQ(detect(*base, "undt", ALL).size(), 1u);
  EXPECT_EQ(detect(*base, "and", ALL), Hits{}) << "the extra string is no value, and 'undt' is worse";
  EXPECT_EQ(base->detector_detect("maria", 4, DastOptions::FS_DETECT, &initials, AceReporter::null()),
            nullptr);
  const Graph nothing(
      base->detector_detect("qqqqq", ALL, DastOptions::FS_DETECT, nullptr, AceReporter::null()));
  ASSERT_NE(nothing, nullptr);
  EXPECT_EQ(nothing->get_num_nodes(), 0);
}

TEST_F(DastDetectorTest, patterns_fill_fields_and_are_looked_up_where_there_is_a_method) {
  const TempFolder folder;
  Table table = people();
  auto base = support::declare_base(table, folder, 1);
  const char* names[] = {"house", "code"};
  EXPECT_EQ(base->assign_detector("shapes", 2, nullptr, 2, names, 0, nullptr, nullptr, 0, nullptr), 0);
  const char* index[] = {"last"};
  base->assign_detector("names", 1, nullptr, 1, index, 0, nullptr, nullptr, 0, nullptr);
  base->configure_detector(1, edit_detector("-filter 0"));
  auto* regex = new DimeRegexDetector;
  regex->add_regexp("no\\.? *(\\d{1,3})\\b", nullptr, 5, 0);
  regex->add_regexp("\\b\\d{5}\\b", nullptr, 0, 1);
  EXPECT_EQ(base->configure_detector(0, regex), 0);
  support::write_file(folder.file("records"), table.text());
  base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null());
  ASSERT_EQ(base->make_all_access(AceReporter::null()), 0);
  const Hits expected{{{0, 5, "last", "weber"}, {255, {1}}},
                      {{8, 10, "house", "7"}, {250, {}}},
                      {{10, 16, "code", "10115"}, {255, {1}}}};
  Hits hits = detect(*base, "weber no 7 10115");
  std::erase_if(hits, [](const auto& hit) { return hit.second.quality < 250; });
  EXPECT_EQ(hits, expected);
  EXPECT_GT(detect(*base, "10119").count({0, 5, "code", "10117"}), 0u) << "with an error";
  base->dump(folder.file("image").c_str(), AceReporter::null());
  // The second was written once, by the first version with that format, and opens for ever.
  for (const std::string& file : {folder.file("image"), std::string(TEST_DATA "/formats/detectors.base")}) {
    DastBase read;
    ASSERT_GE(read.load(file.c_str(), 1, AceReporter::null()), 0) << file;
    EXPECT_EQ(detect(read, "weber no 7 10115"), detect(*base, "weber no 7 10115")) << file;
  }
}

TEST_F(DastDetectorTest, candidates_are_evaluated_again_by_their_fields_when_asked) {
  const TempFolder folder;
  const auto base = build(people(), {{.name = "names", .fields = {"last"}}}, folder);
  const Hits before = detect(*base, "webe");
  base->get_field(1)->get_method()->configure_recall_options("-no_transpose");
  base->get_detector(0)->set_reeval(2);
  EXPECT_EQ(detect(*base, "webe"), before);
  base->get_field(1)->get_method()->configure_recall_options("-eval_type PREFIX -eval_model SHORT");
  EXPECT_EQ(detect(*base, "webe"), (Hits{{{0, 4, "last", "weber"}, {254, {1}}}})) << "204 in the index";
}

TEST_F(DastDetectorTest, an_index_may_be_empty_or_of_other_strings_than_the_values) {
  const TempFolder folder;
  Table table = people();
  for (auto& record : table.records) record[0] = "";
  const auto base =
      build(table, {{.name = "none", .fields = {"given"}}, {.name = "last", .fields = {"last"}}}, folder);
  EXPECT_EQ(detect(*base, "weber"), (Hits{{{0, 5, "last", "weber"}, {255, {1}}}})) << "nothing is no failure";

  struct Reader : TeraReader {  // base id 3
    int get_line(const char** string, Large* info, VInt* line) override {
      *string = "the weaver";
      if (info != nullptr) *info = 3;
      if (line != nullptr) *line = 0;
      return numRead++ == 0 ? 1 : 0;
    }
    int rewind() override { return numRead = 0; }
    VInt get_estimate() override { return 1; }
    int numRead = 0;
  } reader;
  base->get_detector(1)->set_special_reader(&reader);
  ASSERT_EQ(base->make_detector(1, AceReporter::null()), 0);
  EXPECT_EQ(detect(*base, "the weaver"), (Hits{{{0, 10, "last", "weber"}, {255, {1}}}}));
}

// ---------------------------------------------------------------- declaration and files

TEST_F(DastDetectorTest, mistakes_of_a_declaration_are_named) {
  const TempFolder folder;
  const auto base = support::declare_base(people(), folder, 1);
  support::RecordingReporter rep;
  rep.set_as_default();
  const char* fields[] = {"given", "nobody"};
  const auto assign = [&](const char* name, int num, int features) {
    rep.messages.clear();
    return base->assign_detector(name, 1, "", num, fields, 0, nullptr, nullptr, features, nullptr);
  };
  EXPECT_EQ(assign("names", 1, 0), 0);
  EXPECT_EQ(base->get_detector_mask(), 1u);
  for (const char* bad : {"names", "", "a/b", static_cast<const char*>(nullptr)})
    EXPECT_EQ(assign(bad, 1, 0), -1);
  EXPECT_EQ(assign("other", 2, 0), -1);
  EXPECT_NE(rep.all().find("'nobody'"), std::string::npos) << rep.all();
  EXPECT_EQ(assign("other", 65, 0), -1);
  EXPECT_EQ(assign("other", 1, DastDetector::EXTRA_FILE), -1);
  EXPECT_EQ(base->make_detector(0, &rep), -1) << "without an object";
  EXPECT_EQ(base->configure_detector(0, nullptr), -2);
  EXPECT_EQ(base->configure_detector(1, nullptr), -1);
  EXPECT_EQ(base->assign_detector("shapes", 2, nullptr, 1, fields, 0, nullptr, nullptr, 0, nullptr), 1);
  const std::unique_ptr<DastDetectorInterface> method(edit_detector(""));
  EXPECT_EQ(base->configure_detector(1, method.get()), -1) << "a method has no patterns";
  EXPECT_EQ(base->load_detector_access("none", "file", 0, &rep), -1);
  EXPECT_NE(rep.all().find("Cannot load access file 'file': 'none' is not recognized as a detector\n"),
            std::string::npos);
  for (int i = base->get_num_detectors(); i < 64; ++i) EXPECT_EQ(assign(std::to_string(i).c_str(), 1, 0), i);
  EXPECT_EQ(assign("more", 1, 0), -1);
}

TEST_F(DastDetectorTest, a_base_with_detectors_is_the_same_after_reading_in_all_modes_and_linking_late) {
  const TempFolder folder;
  const auto base =
      build(people(), {{.name = "names", .fields = {"given", "last"}}, {.name = "codes", .fields = {"code"}}},
            folder);
  const std::string text = "mria webr 10115";
  const Hits expected = detect(*base, text);
  EXPECT_GE(expected.size(), 3u);
  AceAttach at;
  const std::string part = base->get_detector_bin_name(1, &at);
  EXPECT_EQ(part, folder.file("access/codes.det"));
  EXPECT_GE(base->dump_detector(1, part.c_str(), AceReporter::null()), 0);
  base->dump(folder.file("whole").c_str(), AceReporter::null());
  EXPECT_EQ(base->del_detector(1), 1);
  EXPECT_EQ(base->del_detector(1), 0);
  base->dump(folder.file("late").c_str(), AceReporter::null());
  for (int mode = 0; mode < 4; ++mode) {
    DastBase whole;
    ASSERT_GE(whole.load(folder.file("whole").c_str(), mode, AceReporter::null()), 0);
    EXPECT_EQ(detect(whole, text), expected) << "mode " << mode;
    whole.dump(folder.file("again").c_str(), AceReporter::null());
    EXPECT_EQ(support::read_file(folder.file("again")), support::read_file(folder.file("whole")));
    DastBase late;
    ASSERT_GE(late.load(folder.file("late").c_str(), mode, AceReporter::null()), 0);
    EXPECT_EQ(late.detector_detect(text.c_str(), ALL, DastOptions::FS_DETECT, nullptr, AceReporter::null()),
              nullptr);
    EXPECT_LT(late.load_detector_access("names", part.c_str(), mode, AceReporter::null()), 0);
    ASSERT_EQ(late.load_detector_access("codes", part.c_str(), mode, AceReporter::null()), 0);
    EXPECT_EQ(detect(late, text), expected) << "mode " << mode;
    EXPECT_EQ(late.reconfigure(base.get()) < 0, true) << "one detector has no object";
  }
}

/// What is asked of a base that was read from a damaged file.
void use(const DastBase& base) {
  for (const char* text : {"aa b", "a", "b 12"}) {
    Mask initials = 0;
    const Graph graph(
        base.detector_detect(text, ALL, DastOptions::FS_DETECT, &initials, AceReporter::null()));
    if (graph != nullptr) hits_of(*graph, base);
  }
}

TEST_F(DastDetectorTest, the_smallest_record_is_the_documented_one_and_no_damage_does_harm) {
  Table table{{{.name = "n", .type = "ADVANCED|CHANGING|NONE|ORIGINAL"}}, {{"aa"}}};
  const TempFolder folder;
  auto base = support::declare_base(table, folder);
  const char* names[] = {"n"};
  base->assign_detector("d", 2, nullptr, 1, names, 0, nullptr, nullptr, 0, nullptr);
  auto* regex = new DimeRegexDetector;
  regex->add_regexp("\\d+", nullptr, 1, 0);
  base->configure_detector(0, regex);
  base->make_detector(0, AceReporter::null());
  base->dump_detector(0, folder.file("d.det").c_str(), AceReporter::null());
  EXPECT_EQ(support::read_file(folder.file("d.det")),
            support::documented_bytes(TEST_FORMATS, "Detectors (DTCT1)"));

  std::vector<DetectorPlan> plans{{.name = "x", .fields = {"n"}, .prefixes = {"b "}, .initials = {1}}};
  const TempFolder other;
  const auto indexed = build(table, plans, other);
  indexed->dump(other.file("image").c_str(), AceReporter::null());
  const std::string image = support::read_file(other.file("image"));
  support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
    try {
      DastBase read;
      if (read.read_with_magic(damaged.data(), damaged.size()) >= 0) use(read);
    } catch (const AceException&) {
    } catch (const std::bad_alloc&) {
      ADD_FAILURE() << what << ": memory for what is not there";
    }
  });
}

}  // namespace
