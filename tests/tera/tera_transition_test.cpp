#include "tera/tera_transition.h"

#include <map>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/payload.h"
#include "support/temp_folder.h"
#include "tera/tera_map_config.h"

namespace {

/// Letters a to d, and one of two bytes, so that the others are read as UTF-8; all else has no token.
std::unique_ptr<TeraMap> small_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-d\u00DF");
  config.map_globs(nullptr);
  return std::unique_ptr<TeraMap>(config.compile());
}

/// Counts by sequences of letters, '#' for the border; levels by the number of thresholds reached.
struct Oracle {
  static int level(int count) {
    int reached = 0;
    std::vector<int> limits = {4, 5, 6, 7, 8, 10, 12, 14, 17, 20};
    while (limits.size() < 60) limits.push_back(2 * limits[limits.size() - 4]);
    for (const int limit : limits) reached += count >= limit ? 1 : 0;
    return reached;
  }
  static bool is_letter(char c) { return c >= 'a' && c <= 'd'; }
  void stat(const std::string& text) {
    std::string padded = "##";
    for (const char c : text)
      if (is_letter(c)) padded += c;
    padded += "##";
    for (std::size_t i = 2; i < padded.size(); ++i) ++counts[padded.substr(i - 2, 3)];
    for (std::size_t i = 2; i + 1 < padded.size(); ++i) {
      ++counts[padded.substr(i - 1, 2)];
      ++counts[padded.substr(i - 1, 1)];
    }
    ++numWords;
  }
  int eval(const std::string& text, bool triples) const {
    const int total = level(numWords * (triples ? 2 : 1));
    if (total == 0) return 0;
    const auto of = [&](const std::string& key) {
      const auto found = counts.find(key);
      return found != counts.end() ? level(found->second) : 0;
    };
    std::string padded = "##";
    int sum = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (is_letter(text[i]))
        padded += text[i];
      else if ((text[i] & 0xC0) != 0x80)
        sum += total;
    }
    padded += '#';
    for (std::size_t i = 2; i < padded.size(); ++i) {
      sum += of(padded.substr(i - 1, 1)) - of(padded.substr(i - 1, 2));
      if (triples) sum += of(padded.substr(i - 1, 1)) - of(padded.substr(i - 2, 3));
    }
    if (!triples) return sum;
    padded += '#';
    return (sum + of("#") - of(padded.substr(padded.size() - 3))) / 3;
  }
  std::map<std::string, int> counts;
  int numWords = 0;
};

std::string random_word(std::mt19937* random) {
  static const std::vector<std::string> PIECES = {"a", "a", "ab", "b", "c", "cd", "d", "-", "é", "*", "[ab]"};
  std::string word;
  for (unsigned n = (*random)() % 7; n > 0; --n) word += PIECES[(*random)() % PIECES.size()];
  return word;
}

TEST(TeraTransition, scores_are_those_of_counted_letters_in_every_form) {
  std::mt19937 random(1);
  const auto map = small_map();
  for (const bool triples : {false, true})
    for (const int numWords : {0, 1, 3, 4, 50, 3000}) {
      TeraTransition model(map.get(), triples ? 1 : 0);
      Oracle oracle;
      for (int i = 0; i < numWords; ++i) {
        const std::string word = random_word(&random);
        ASSERT_EQ(model.stat(word.c_str()), 0);
        oracle.stat(word);
      }
      EXPECT_EQ(model.get_total(), numWords * (triples ? 2 : 1));
      const std::string image = support::image_by([&](AceFile* file) { model.save(file); });
      support::PayloadFile mapped(image), stream(image, true);
      TeraTransition second, third;
      ASSERT_EQ(second.read(mapped.get()), 0);
      ASSERT_EQ(third.read(stream.get()), 0);
      EXPECT_EQ(mapped.get()->get_left(), 0) << "consumed whole";
      EXPECT_EQ(second.stat("a"), -1) << "mapped";
      for (int i = 0; i < 300; ++i) {
        const std::string word = random_word(&random);
        for (const TeraTransition* form : {&model, &second, &third})
          ASSERT_EQ(form->eval(word.c_str()), oracle.eval(word, triples)) << word << ' ' << numWords;
      }
      EXPECT_EQ(third.stat("abcd"), 0);
      oracle.stat("abcd");
      EXPECT_EQ(third.eval("dcba"), oracle.eval("dcba", triples)) << "learns on";
    }
}

TEST(TeraTransition, learns_from_files_that_common_spellings_are_more_probable) {
  const support::TempFolder folder;
  std::string lines;
  for (int i = 0; i < 40; ++i) lines += i % 2 == 0 ? "0000002a\tabcd\n" : "abca\n";
  support::write_file(folder.file("words"), lines);
  const auto map = small_map();
  TeraTransition model(map.get(), 1);
  ASSERT_EQ(model.make(folder.file("words").c_str()), 0);
  EXPECT_EQ(model.get_count(1, 2), 40);
  EXPECT_LT(model.eval("abcd"), model.eval("dbca"));
  EXPECT_THROW(model.make(folder.file("none").c_str()), AceException);
  AceReporter::null()->set_as_default();
  support::write_file(folder.file("bad"), "xyz\tabcd\n");
  EXPECT_EQ(model.make(folder.file("bad").c_str()), -1);
  AceReporter::clear_default();
}

TEST(TeraTransition, is_saved_as_documented_and_damage_is_refused_or_harmless) {
  TeraTransition smallest;
  const auto image_of = [](TeraTransition* model) {
    return support::image_by([=](AceFile* file) { model->save(file); });
  };
  // Behind the magic and the switch, a map without tokens takes 2 x 256 words and its counts.
  const std::string image = image_of(&smallest);
  const std::string documented = support::documented_bytes(TEST_FORMATS, "Transition models (TRANS)");
  ASSERT_GT(documented.size(), 8U);
  EXPECT_EQ(image.substr(0, 8), documented.substr(0, 8));
  EXPECT_EQ(image.substr(image.size() - (documented.size() - 8)), documented.substr(8));

  const auto map = small_map();
  TeraTransition model(map.get(), 1);
  for (const char* word : {"abcd", "ab", "ab", "ab", "ca", ""}) model.stat(word);
  const std::string good = image_of(&model);
  EXPECT_EQ(support::read_file(TEST_DATA "/formats/letters.trans"), good)
      << "written once, by the first version with that format";
  AceReporter::null()->set_as_default();
  const auto use = [](const std::string& damaged, const std::string& what) {
    support::PayloadFile file(damaged);
    TeraTransition read;
    try {
      if (read.read(file.get()) == 0)
        read.eval("abc-d");
      else
        EXPECT_EQ(read.eval("abcd"), 0) << what;
    } catch (const AceException&) {
    }
  };
  for (std::size_t length = 0; length < good.size(); length += 7) use(support::cut(good, length), "cut");
  for (std::size_t bit = 0; bit < 8 * good.size(); bit += 5) use(support::flip(good, bit), "flip");
  AceReporter::clear_default();
}

}  // namespace
