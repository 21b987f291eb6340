#include "tera/tera_splitter.h"

#include <algorithm>
#include <memory>

#include "support/recording_reporter.h"
#include "support/word_samples.h"
#include "tera/tera_map_config.h"
#include "tera/tera_scan.h"

namespace {

using Split = TeraSplitResult;

/// A part of a text that is never split, and what it is worth.
struct Piece {
  std::string text;
  int positions;
  bool separates;
};
using Pieces = std::vector<Piece>;

std::string join(const Pieces& pieces) {
  std::string text;
  for (const Piece& piece : pieces) text += piece.text;
  return text;
}

/// Runs of pieces without separators that have positions.
struct Word {
  int from = 0, to = 0;       // bytes
  int first = 0, behind = 0;  // positions
};

struct Expected {
  explicit Expected(const Pieces& pieces) {
    Word word;
    const auto finish = [&](int gap_bytes, int gap_positions) {
      if (word.behind > word.first) words.push_back(word);
      word = {word.to + gap_bytes, word.to + gap_bytes, word.behind + gap_positions,
              word.behind + gap_positions};
    };
    for (const Piece& piece : pieces) {
      const int size = static_cast<int>(piece.text.size());
      if (piece.separates) {
        finish(size, piece.positions);
        continue;
      }
      word.to += size;
      word.behind += piece.positions;
    }
    const Word end = word;
    finish(0, 0);
    int tokOut = 0;
    int litOut = 0;
    for (const Word& next : words) {
      nodes.push_back({short(tokOut), short(next.first), short(litOut), short(next.from)});
      tokOut = next.behind;
      litOut = next.to;
    }
    nodes.push_back({short(tokOut), short(end.behind), short(litOut), short(end.to)});
  }
  /// The node at which the word with the position ends, or in which the position lies.
  int node_of(int pos) const {
    int node = 0;
    for (const Word& word : words) node += pos >= word.first ? 1 : 0;
    return node;
  }

  std::vector<Word> words;
  std::vector<Split::NodePos> nodes;
};

struct Setting {
  const char* name;
  const char* charset;
  const char* tokens;
  int options;
  const char* separators;
  Pieces alphabet;
};

const Piece A{"a", 1, false}, B{"b", 1, false}, BLANK{" ", 0, true}, TAB{"\t", 0, true}, DASH{"-", 0, false};
const Setting SETTINGS[] = {
    {"operators",
     "utf-8",
     "a-z",
     TeraSplitter::BLANKS,
     ".\xC3",
     {A,
      B,
      BLANK,
      TAB,
      DASH,
      {"[a b]", 1, false},
      {"*", 0, false},
      {"?", 1, false},
      {".", 0, true},
      {"\xC3\xA4", 2, false},
      {"\xC3\xA9", 0, false},
      {"]", 0, false}}},
    {"plain, mapped separators",
     "utf-8",
     "a-z .",
     TeraSplitter::BLANKS | TeraSplitter::NO_OPERATORS,
     ".\xA9",
     {A,
      B,
      {" ", 1, true},
      TAB,
      DASH,
      {".", 1, true},
      {"[", 0, false},
      {"\xC3\xA4", 2, false},
      {"*", 0, false}}},
    {"plain, blanks are letters, split at unmapped characters",
     "utf-8",
     "a-z ",
     TeraSplitter::SPLIT_UNMAPPED | TeraSplitter::NO_OPERATORS,
     nullptr,
     {A,
      B,
      {" ", 1, false},
      TAB,
      {"-", 0, true},
      {"?", 0, true},
      {"\xC3\xA4", 2, false},
      {"\xC3\xA9", 0, true}}},
    {"code page, separators above 127",
     "iso8859-1",
     "a-z",
     TeraSplitter::SPLIT_UNMAPPED,
     "\xE4",
     {A, B, BLANK, {"-", 0, true}, {"\xE4", 2, true}, {"\xE9", 0, true}, {"?", 1, false}, {"*", 0, false}}},
};

void make_map(const Setting& setting, TeraMap* map) {
  TeraMapConfig config(setting.charset);
  config.set_tokens(setting.tokens);
  config.expand_umlauts();
  config.map_glob_chars(1);
  config.compile_map(map);
}

void expect_as(const Split& split, const Expected& expected) {
  ASSERT_EQ(split.numNodes, static_cast<int>(expected.nodes.size()));
  for (int i = 0; i < split.numNodes; ++i) {
    const Split::NodePos& own = split.nodePos[i];
    EXPECT_TRUE(own == expected.nodes[i])
        << i << ": " << own.tokOut << ' ' << own.tokIn << ' ' << own.litOut << ' ' << own.litIn;
  }
  for (int pos = 0; pos < split.logLen; ++pos)
    EXPECT_EQ(split.get_node_num(pos), expected.node_of(pos)) << pos;
  EXPECT_EQ(split.get_node_num(split.logLen), split.numNodes - 1);
  EXPECT_EQ(split.get_node_num(split.logLen + 1), -1);
  AceAttach at;
  const char** words = nullptr;
  ASSERT_EQ(split.get_words(&words, &at), static_cast<int>(expected.words.size()));
  for (size_t i = 0; i < expected.words.size(); ++i) {
    const Word& word = expected.words[i];
    EXPECT_EQ(words[i], std::string(split.litStr).substr(word.from, word.to - word.from));
  }
}

/// The same tokens, positions and nodes.
void expect_same(const Split& one, const Split& other) {
  EXPECT_STREQ(one.litStr, other.litStr);
  EXPECT_EQ(one.genMark, other.genMark);
  EXPECT_TRUE(
      std::equal(one.tokStr, one.tokStr + one.tokLen + 1, other.tokStr, other.tokStr + other.tokLen + 1));
  ASSERT_EQ(one.logLen, other.logLen);
  for (int pos = 0; pos <= one.logLen; ++pos) {
    EXPECT_EQ(one.tokPos[pos] - one.tokStr, other.tokPos[pos] - other.tokStr);
    EXPECT_EQ(one.tokMark[pos], other.tokMark[pos]);
    EXPECT_EQ(one.nodeNum[pos], other.nodeNum[pos]);
  }
  EXPECT_TRUE(
      std::equal(one.nodePos, one.nodePos + one.numNodes, other.nodePos, other.nodePos + other.numNodes));
}

}  // namespace

TEST(TeraSplitter, nodes_stand_between_the_words_of_random_texts) {
  samples::Random random(3);
  for (const Setting& setting : SETTINGS) {
    TeraMap map;
    make_map(setting, &map);
    const TeraSplitter splitter(setting.separators, nullptr, &map, setting.options);
    for (int round = 0; round < 400; ++round) {
      Pieces pieces;
      for (int i = random.below(12); i > 0; --i)
        pieces.push_back(setting.alphabet[random.below(static_cast<int>(setting.alphabet.size()))]);
      const std::string text = join(pieces);
      SCOPED_TRACE(std::string(setting.name) + ": '" + text + "'");
      Split split(text.c_str());
      std::vector<Token> work(4 * text.size() + 1);
      ASSERT_GT(splitter.convert(&split, round % 2 == 0 ? work.data() : nullptr), 0);
      expect_as(split, Expected(pieces));
      AceAttach at;
      const bool isPlain = (setting.options & TeraSplitter::NO_OPERATORS) != 0;
      EXPECT_STREQ(reinterpret_cast<const char*>(split.tokStr),
                   reinterpret_cast<const char*>(map.convert(text.c_str(), isPlain, &at)));

      Split reversed, again;
      ASSERT_EQ(reversed.init_rev(&split), split.numNodes);
      ASSERT_EQ(again.init_rev(&reversed), split.numNodes);
      expect_same(split, again);
      if (isPlain) {
        std::reverse(pieces.begin(), pieces.end());
        EXPECT_EQ(reversed.litStr, join(pieces));
        expect_as(reversed, Expected(pieces));
      }
      if (::testing::Test::HasFailure()) return;
    }
  }
}

TEST(TeraSplitter, removed_nodes_join_the_words_around_them) {
  samples::Random random(5);
  TeraMap map;
  make_map(SETTINGS[1], &map);
  for (int round = 0; round < 200; ++round) {
    Split split("ab. cd e - fg hij", SETTINGS[1].options, &map, ".", nullptr);
    Expected expected(Pieces{{"ab", 2, false},
                             {". ", 2, true},
                             {"cd", 2, false},
                             {" ", 1, true},
                             {"e", 1, false},
                             {" ", 1, true},
                             {"-", 0, false},
                             {" ", 1, true},
                             {"fg", 2, false},
                             {" ", 1, true},
                             {"hij", 3, false}});
    while (split.numNodes > 2 && random.below(4) != 0) {
      const int node = 1 + random.below(split.numNodes - 2);
      ASSERT_EQ(split.remove_node_data(node), 0);
      Word& joined = expected.words[node - 1];
      joined.to = expected.words[node].to;
      joined.behind = expected.words[node].behind;
      expected.words.erase(expected.words.begin() + node);
      expected.nodes.erase(expected.nodes.begin() + node);
      expect_as(split, expected);
    }
    EXPECT_EQ(split.remove_node_data(0), -1);
    EXPECT_EQ(split.remove_node_data(split.numNodes - 1), -1);
    const Split::NodePos last = split.nodePos[split.numNodes - 1];
    EXPECT_EQ(split.remove_inner_nodes(), static_cast<int>(expected.words.size()) - 1);
    EXPECT_TRUE(split.numNodes == 2 && split.nodePos[1] == last && split.get_node_num(0) == 1);
    EXPECT_EQ(split.genMark, Split::BOUNDARY);
  }
}

TEST(TeraSplitter, marks_completions_and_refuses_what_is_too_long) {
  TeraMap map;
  make_map(SETTINGS[0], &map);
  const TeraSplitter splitter("+\xC3", "%", &map, TeraSplitter::COMPLETE_END);
  EXPECT_TRUE(splitter.is_space('+') && splitter.is_space('\f') && splitter.is_space('%'));
  EXPECT_FALSE(splitter.is_space(' ') || splitter.is_space('\xC3') || splitter.is_complete('+'));
  EXPECT_TRUE(splitter.is_complete('%') && splitter.is_complete('\0'));
  EXPECT_EQ(splitter.get_next_sep_pos("a b%c"), 3);
  EXPECT_EQ(splitter.get_next_sep_pos("a b"), 3);
  Split split("a%b+c");
  ASSERT_EQ(splitter.convert(&split, nullptr), 4);
  EXPECT_EQ(split.tokMark[1], Split::BOUNDARY | Split::COMPLETE);
  EXPECT_EQ(split.tokMark[2], Split::BOUNDARY);
  EXPECT_EQ(split.tokMark[3], Split::BOUNDARY | Split::COMPLETE);

  support::RecordingReporter rep;
  EXPECT_EQ(split.print(&rep), 0);
  EXPECT_EQ(rep.all(),
            "literalString 'a%b+c' length 5\ntoken string with length 3\n  1  2  3\n"
            "token Position for 3 logical positions  0  1  2\n"
            "markers for each logical position|..|.c|..\n"
            "3 node indeces for each logical position\n  1  2  3\n"
            "4 node position for each node start (literal position range)\n"
            " 0:  0 ( 0- 0) \n 1:  1 ( 1- 2) \n 2:  2 ( 3- 4) \n 3:  3 ( 5- 5) \n");
  Split none;
  EXPECT_EQ(none.print(&rep), 0);
  EXPECT_EQ(rep.messages.back(), "Not initialized");

  const auto nodes_of = [&](const std::string& text) {
    Split longer(text.c_str());
    const int nodes = splitter.convert(&longer, nullptr);
    EXPECT_EQ(longer.numNodes, std::max(nodes, 0));
    return nodes;
  };
  std::string repeated;
  for (int i = 0; i < Split::MAX_LENGTH / 2; ++i) repeated += "a+";
  EXPECT_EQ(nodes_of(repeated), Split::MAX_LENGTH / 2 + 1);
  EXPECT_EQ(nodes_of(std::string(Split::MAX_LENGTH, 'a')), 2);
  EXPECT_EQ(nodes_of(std::string(Split::MAX_LENGTH + 1, '-')), -1);
  // An alternative that is not closed is ordinary text.
  EXPECT_EQ(nodes_of("a+[b+c"), 4);
  EXPECT_EQ(nodes_of("a+[b+c]"), 3);
}
