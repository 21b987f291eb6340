#include "dime/dime_regex_detector.h"

#include <map>
#include <regex>
#include <set>

#include "support/recording_reporter.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

/// Spans of bytes, with number, string and quality.
using Hits = std::set<std::tuple<int, int, Large, std::string, int>>;

Hits detect(const DimeRegexDetector& detector, const std::string& text) {
  TeraScanGraph* graph = detector.lookup(text.c_str(), DastOptions::FS_DETECT, AceReporter::null());
  Hits hits;
  if (graph == nullptr) return hits;
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      for (auto* group = edge->get_result()->get_first_group(); group != nullptr; group = group->get_next())
        for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
          hits.insert({graph->get_node(i)->get_char_pos(),
                       graph->get_node(edge->get_target())->get_char_pos(), cand->get_first_info(),
                       cand->get_string(), group->get_value()});
  graph->decr_ref();
  return hits;
}

int position(const std::string& text, std::ptrdiff_t pos) {
  while (pos > 0 && text[static_cast<std::size_t>(pos) - 1] == ' ') --pos;
  return static_cast<int>(pos);
}

TEST(DimeRegexDetector, hits_are_the_matches_of_every_expression_one_after_the_other) {
  const char* patterns[] = {"a+b?", "\\bb", "(?:a|b)c", "c(b*)", "[ab] +c", "b|(a)b", "x*"};
  DimeRegexDetector detector;
  detector.init(static_cast<int>(std::size(patterns)), patterns, nullptr, nullptr);
  ASSERT_EQ(detector.make(nullptr, 0, AceReporter::null(), nullptr), 0);
  for (unsigned word = 0; word < 4 * 4 * 4 * 4 * 4 * 4; ++word) {
    std::string text;
    for (unsigned rest = word; rest > 0; rest /= 4) text += "abc "[rest % 4];
    Hits expected;
    for (std::size_t i = 0; i < std::size(patterns); ++i) {
      const std::regex regex(patterns[i]);
      for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        const std::size_t group = match->size() > 1 && match->length(1) > 0 ? 1 : 0;
        const int from = position(text, match->position(group));
        const int to = position(text, match->position(group) + match->length(group));
        if (from < to) expected.insert({from, to, static_cast<Large>(i), match->str(group), 255});
      }
    }
    EXPECT_EQ(detect(detector, text), expected) << "'" << text << "'";
  }
}

TEST(DimeRegexDetector, hits_are_transformed_and_penalties_lower_their_quality) {
  DimeRegexDetector detector;
  detector.add_regexp("(?i:tel)\\.? *(\\d[\\d ]*\\d)", "TRIM_ALL", 30, 7);
  detector.add_regexp("\\p{L}+straße", nullptr, 0, 2);
  EXPECT_EQ(detect(detector, "tel 12"), Hits{}) << "not made yet";
  ASSERT_EQ(detector.make(nullptr, 0, AceReporter::null(), nullptr), 0);
  const Hits hits = detect(detector, "Königstraße Tel. 030 12");
  EXPECT_EQ(hits.count({0, 13, 2, "Königstraße", 255}), 1u);
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(std::get<4>(*hits.rbegin()), 225);
  EXPECT_EQ(std::get<2>(*hits.rbegin()), 7u);
  EXPECT_EQ(detector.lookup("tel 12", DastOptions::EMPTY, AceReporter::null()), nullptr);
}

TEST(DimeRegexDetector, mistakes_are_named_and_hostile_texts_end) {
  support::RecordingReporter rep;
  rep.set_as_default();
  DimeRegexDetector detector;
  EXPECT_EQ(detector.add_regexp(nullptr, nullptr, 0, 0), -1);
  EXPECT_EQ(detector.add_regexp("a", nullptr, 256, 0), -1);
  EXPECT_NE(rep.all().find("256"), std::string::npos);
  const auto make = [&](const std::string& pattern, const char* transform) {
    rep.messages.clear();
    rep.events.clear();
    const char* patterns[] = {pattern.c_str()};
    detector.init(1, patterns, nullptr, &transform);
    return detector.make(nullptr, 0, &rep, nullptr);
  };
  EXPECT_EQ(make("(a", nullptr), -1);
  EXPECT_NE(rep.all().find("'(a'"), std::string::npos);
  EXPECT_EQ(make(std::string(100000, '('), nullptr), -1);
  EXPECT_EQ(make("a", "NO_SUCH_TRANSFORM"), -1);
  EXPECT_NE(rep.all().find("'NO_SUCH_TRANSFORM'"), std::string::npos);
  EXPECT_EQ(detect(detector, "a"), Hits{});

  ASSERT_EQ(make("(a+)+$", nullptr), 0);
  EXPECT_EQ(detect(detector, std::string(200, 'a') + "b"), Hits{});
  EXPECT_NE(rep.all().find("too many steps"), std::string::npos) << rep.all();
  EXPECT_EQ(detect(detector, "a\xFF\xC3"), Hits{});
  EXPECT_NE(rep.all().find("error"), std::string::npos) << rep.all();
  ASSERT_EQ(make("(?=a\\Kb|ab\\K)", nullptr), 0);  // a match that ends before it starts
  EXPECT_EQ(detect(detector, "abab").size(), 0u);
  ASSERT_EQ(make("a", nullptr), 0);
  EXPECT_EQ(detect(detector, std::string(TeraSplitResult::MAX_LENGTH + 1, 'a')), Hits{});
  EXPECT_EQ(detect(detector, std::string(TeraSplitResult::MAX_LENGTH, 'a')).size(),
            static_cast<std::size_t>(TeraSplitResult::MAX_LENGTH));
}

}  // namespace
