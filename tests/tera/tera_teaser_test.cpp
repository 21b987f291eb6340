#include "tera/tera_teaser.h"

#include <algorithm>

#include "oracle/teaser.h"
#include "support/word_samples.h"
#include "tera/tera_map_config.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_utf.h"

namespace {

class Teaser : public ::testing::Test {
 protected:
  Teaser() {
    TeraMapConfig config("utf-8");
    config.set_tokens("a-z");
    config.map_lower();
    config.set_map("ue", "\xC3\xBC");
    config.compile_map(&map);
  }
  std::string generate(const TeraTeaser& teaser, const std::string& text, int max = -1, bool start = false,
                       bool end = false) {
    const char* made = teaser.generate(text.c_str(), &at, start, end, max);
    return made != nullptr ? made : "(null)";
  }
  TeraMap map;
  AceAttach at;
};

std::string without_marks(std::string text) {
  for (const char* mark : {"<b>", "</b>"})
    for (std::size_t place; (place = text.find(mark)) != std::string::npos;)
      text.erase(place, std::string(mark).size());
  return text;
}

bool is_utf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if ((lead & 0xC0) == 0x80 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k)
      if ((text[i + k] & 0xC0) != 0x80) return false;
    i += length;
  }
  return true;
}

TEST_F(Teaser, settings_follow_the_longest_length) {
  const TeraTeaser open(&map, nullptr, nullptr, 0), narrow(&map, "[", "]", 40),
      wide(&map, nullptr, nullptr, 60);
  EXPECT_EQ(open.get_max_length(), 32768);
  EXPECT_EQ(narrow.get_min_context_length(), 10);
  EXPECT_EQ(narrow.get_min_infix_length(), 23);
  EXPECT_EQ(wide.get_min_context_length(), 15);
  EXPECT_EQ(wide.get_min_infix_length(), 33);
  const TeraTeaser copy(&narrow);
  EXPECT_STREQ(copy.get_mark_prefix(), "[");
  EXPECT_EQ(copy.get_max_length(), 40);
}

TEST_F(Teaser, marks_what_a_search_for_each_string_finds) {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z0-9 ");
  config.map_lower();
  TeraMap every;
  config.compile_map(&every);
  samples::Random random(7);
  for (int round = 0; round < 5000; ++round) {
    TeraTeaser teaser(&every, nullptr, nullptr, 0);
    std::vector<std::string> strings;
    for (int i = 1 + random.below(4); i > 0; --i) {
      strings.emplace_back();
      for (int k = 1 + random.below(4); k > 0; --k) strings.back() += "abc1 "[random.below(5)];
      teaser.add_match(strings.back().c_str(), i, 200, false);
    }
    std::string text;
    for (int i = random.below(30); i > 0; --i) text += "abcAB1  "[random.below(8)];
    const bool start = random.below(2) == 0, end = random.below(2) == 0;
    EXPECT_EQ(generate(teaser, text, -1, start, end), oracle::marked_text(text, strings, start, end)) << text;
  }
}

TEST_F(Teaser, words_begin_and_end_at_separators_and_at_accented_letters) {
  TeraTeaser teaser(&map, nullptr, nullptr, 0);
  for (const char* string : {"bern", "m", "ller", "M\xC3\xBCller", "west berlin"})
    teaser.add_match(string, 0, 255, false);
  EXPECT_EQ(generate(teaser, "(Bern) Bernau -bern"), "(<b>Bern</b>) Bernau -<b>bern</b>");
  EXPECT_EQ(generate(teaser, "Bernau", -1, false, true), "<b>Bern</b>au");
  EXPECT_EQ(generate(teaser, "Hibern", -1, true, false), "Hi<b>bern</b>");
  EXPECT_EQ(generate(teaser, "\xC3\xA4ller"), "\xC3\xA4<b>ller</b>");
  EXPECT_EQ(generate(teaser, "der M\xC3\xBCller."), "der <b>M\xC3\xBCller</b>.");
  EXPECT_EQ(generate(teaser, "mueller"), "<b>mueller</b>");
  EXPECT_EQ(generate(teaser, "in West-Berlin"), "in <b>West-Berlin</b>");
}

TEST_F(Teaser, a_string_keeps_its_best_quality_and_poor_ones_are_ignored) {
  TeraTeaser teaser(&map, nullptr, nullptr, 0);
  EXPECT_EQ(teaser.add_match("alpha", 0, 120, false), 0);
  EXPECT_EQ(teaser.add_match(nullptr, 0, 255, false), 0);
  EXPECT_EQ(teaser.add_match("123", 0, 255, false), 0);
  EXPECT_EQ(teaser.num_matches(), 0);
  EXPECT_EQ(teaser.add_match("alpha", 0, 180, false), 1);
  EXPECT_EQ(teaser.add_match("Alpha", 1, 200, false), 0);
  EXPECT_EQ(teaser.num_matches(), 1);
  // Of two words the better one stays where there is no room for both: the second spelling belongs to word 1.
  teaser.add_match("beta", 0, 255, false);
  teaser.add_match("gamma", 1, 199, false);
  const std::string text = "beta " + std::string(60, 'x') + " alpha " + std::string(60, 'y') + " gamma";
  EXPECT_EQ(generate(teaser, text, 50), "<b>beta</b> xxxxxxxxxxx...xxxxxxxxxxx <b>alpha</b>...");
}

TEST_F(Teaser, a_long_text_is_cut_around_its_marks) {
  TeraTeaser teaser(&map, nullptr, nullptr, 60);
  teaser.add_match("station", 0, 255, false);
  const std::string text =
      "the way to the old town leads along the river to the station and from there up to the castle";
  EXPECT_EQ(generate(teaser, text), "... the river to the <b>station</b> and from there up to ...");
  EXPECT_EQ(generate(teaser, "station " + std::string(80, 'x')).substr(0, 20), "<b>station</b> xxxxx");
  EXPECT_EQ(generate(teaser, std::string(80, 'x'), 10), "xxxxxxxxxx...");
  EXPECT_EQ(generate(teaser, text, 0), "...");
  EXPECT_EQ(generate(teaser, ""), "");
  EXPECT_STREQ(teaser.generate(nullptr, &at, 0, 0, -1), nullptr);
  EXPECT_STREQ(teaser.clip("four", &at, 5), "four");
  EXPECT_STREQ(teaser.clip("four", &at, 4), "four...");
  const TeraTeaser plain(&map, "", nullptr, 10);
  EXPECT_EQ(generate(plain, "one and two and three"), "one and tw...");
}

TEST_F(Teaser, the_context_of_many_marks_grows_in_few_steps) {
  TeraTeaser teaser(&map, nullptr, nullptr, 0);
  teaser.add_match("beta", 0, 255, false);
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "beta ";
  text += std::string(2'000'000, 'x');
  constexpr int most = 1'000'000;  // one step after the other would be as many, of 20,000 marks each
  const std::string made = generate(teaser, text, most);
  EXPECT_EQ(made.size(), most + 0U);
  EXPECT_EQ(made.substr(0, 23), "<b>beta</b> <b>beta</b>");
  EXPECT_EQ(made.substr(made.size() - 5), "xx...");
}

TEST_F(Teaser, whatever_the_text_a_teaser_is_short_whole_and_made_of_it) {
  samples::Random random(11);
  static const char* const PIECES[] = {"alpha",    "beta", " ",           " ",           "-",
                                       "\xC3\xBC", "x",    "gamma delta", "\xE2\x82\xAC"};
  for (int round = 0; round < 3000; ++round) {
    TeraTeaser teaser(&map, nullptr, nullptr, 1 + random.below(90));
    teaser.add_match("alpha", 0, random.below(2) == 0 ? 255 : 190, false);
    teaser.add_match("beta", 1, -1, false);
    teaser.add_match("gamma delta", 2, 200, false);
    std::string text;
    for (int i = random.below(40); i > 0; --i) text += PIECES[random.below(std::size(PIECES))];
    const std::string made = generate(teaser, text);
    const bool isCut = static_cast<int>(text.size()) > teaser.get_max_length();
    EXPECT_TRUE(is_utf8(made)) << made;
    if (!isCut) EXPECT_EQ(without_marks(made), text);
    if (isCut) EXPECT_LE(static_cast<int>(made.size()), teaser.get_max_length() + 3) << text;
    std::string rest = without_marks(made);
    std::size_t from = 0;
    for (std::size_t dots; !rest.empty();) {  // the pieces occur in the text, in their order
      dots = rest.find("...");
      const std::string piece = rest.substr(0, dots);
      from = text.find(piece, from);
      ASSERT_NE(from, std::string::npos) << made << " of " << text;
      from += piece.size();
      rest = dots == std::string::npos ? "" : rest.substr(dots + 3);
    }
  }
}

TEST_F(Teaser, results_and_graphs_give_their_strings_with_aliases_on_demand) {
  auto result = std::make_unique<TeraResult>("bern", 150, 100, 255);
  result->add(255, new TeraCand("Berne|Bern", 1));
  result->add(200, new TeraCand("Barn", 2));
  result->add(200, new TeraCand("", 3));
  result->add(200, new TeraCand(nullptr, Large{4}));
  TeraTeaser limited(&map, nullptr, nullptr, 0), both(&map, nullptr, nullptr, 0),
      graphed(&map, nullptr, nullptr, 0);
  EXPECT_EQ(limited.add_result_matches(result.get(), true, 255), 1);
  EXPECT_EQ(generate(limited, "barn bern blank"), "<b>barn</b> bern blank");
  EXPECT_EQ(both.add_result_matches(result.get(), true, 256), 3);
  EXPECT_EQ(generate(both, "berne bern undef"), "<b>berne</b> <b>bern</b> undef");
  EXPECT_STREQ(both.get_query_word(0), "bern");
  TeraScanGraph graph(result.release(), "bern", 0);
  EXPECT_EQ(graphed.add_graph_matches(&graph, 0, 256), 2);
  EXPECT_EQ(generate(graphed, "berne bern"), "berne <b>bern</b>");
  TeraResult lines("kaisre weber", 0, 10, 255);
  lines.add(230, new TeraCand("<b>Kaiser</b> zum <b>Weber</b>", Large{1}));
  lines.add(220, new TeraCand("a <b>b", Large{2}));
  TeraTeaser marked(&map, "[", "]", 0);
  EXPECT_EQ(marked.add_result_matches(&lines, true, 256), 3);
  EXPECT_EQ(generate(marked, "Weber zum Kaiser, Kaiser zum Weber"),
            "[Weber] zum [Kaiser], [Kaiser] zum [Weber]");
  const char* strings[] = {"uno", "due"};
  EXPECT_EQ(graphed.add_query_matches(2, strings, "", 255), 0);
  EXPECT_EQ(graphed.add_query_matches(2, strings, "one two", 255), 2);
  EXPECT_EQ(graphed.get_num_words(), 2);
}

TEST_F(Teaser, without_strings_the_words_themselves_are_looked_for) {
  TeraTeaser teaser(&map, nullptr, nullptr, 0);
  const char* words[] = {"Kaiser", "str"};
  EXPECT_EQ(teaser.set_query_words(2, words), 2);
  EXPECT_EQ(teaser.get_query_word_id("KAISER"), 0);
  EXPECT_EQ(generate(teaser, "An der Keiserstrasse, Kaisre-Strasse"),
            "An der <b>Keiserstrasse</b>, <b>Kaisre</b>-<b>Strasse</b>");
  EXPECT_EQ(teaser.get_quality("kaiser", 0), 255);
  EXPECT_EQ(teaser.get_quality("kaiser", 9), -1);
  const TeraWord word("weber", &map, true);
  EXPECT_STREQ(word.make_teaser("Carl Maria von Wbeer, who wrote", "[", "]", 20, 3, &at),
               "...on [Wbeer], wh...");
  EXPECT_EQ(word.make_teaser(nullptr, "[", "]", 20, 3, &at), nullptr);
}

}  // namespace
