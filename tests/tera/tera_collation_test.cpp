#include "tera/tera_collation.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_file.h"
#include "gtest/gtest.h"
#include "oracle/collation.h"
#include "support/damage.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_unicode.h"
#include "tera/tera_utf.h"

namespace {

using Strings = std::vector<std::string>;

constexpr const char* DUCET = TEST_COLLATIONS "/ducet.txt";
constexpr const char* ROOT = TEST_COLLATIONS "/root.txt";

struct Destroy {
  void operator()(TeraCollation* collation) const { collation->destroy(); }
};
using Shared = std::unique_ptr<TeraCollation, Destroy>;

Shared make(const char* name) {
  return Shared(TeraCollation::factory(name));
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

int sort_sign(const TeraCollation& collation, const std::string& a, const std::string& b, int prefix = 0) {
  return sign(collation.compare_sort(a.c_str(), b.c_str(), prefix));
}

int limit_sign(const TeraCollation& collation, const std::string& a, const std::string& b) {
  return sign(collation.compare_limit(a.c_str(), b.c_str(), 0));
}

/// Texts of up to seven pieces.
Strings random_texts(const Strings& pieces, int count, unsigned seed) {
  std::mt19937 random(seed);
  Strings texts(count);
  for (std::string& text : texts)
    for (unsigned left = random() % 8; left > 0; --left) text += pieces[random() % pieces.size()];
  return texts;
}

/// That all pairs agree with one sorted list of classes; that what starts with a key is one run of the list;
/// and that sorting with a prefix only puts the key behind that run.
void expect_order(const TeraCollation& order, Strings texts) {
  std::ranges::stable_sort(texts, [&](const auto& a, const auto& b) { return sort_sign(order, a, b) < 0; });
  std::vector<int> classes(texts.size());
  for (size_t i = 1; i < texts.size(); ++i)
    classes[i] = classes[i - 1] + (sort_sign(order, texts[i - 1], texts[i]) != 0 ? 1 : 0);
  for (size_t i = 0; i < texts.size(); ++i) {
    int last = 1;
    for (size_t j = 0; j < texts.size(); ++j) {
      const std::string& key = texts[i];
      const int limit = limit_sign(order, key, texts[j]);
      ASSERT_EQ(sort_sign(order, key, texts[j]), sign(classes[i] - classes[j])) << key << " and " << texts[j];
      ASSERT_LE(limit, last) << key << " begins " << texts[j];
      ASSERT_EQ(sort_sign(order, key, texts[j], 1), limit != 0 ? limit : 1) << key << ", " << texts[j];
      if (classes[i] == classes[j]) ASSERT_EQ(limit, 0) << key << " begins " << texts[j];
      last = limit;
    }
  }
}

TEST(TeraCollation, every_kind_is_a_weak_order_in_which_prefixes_are_runs) {
  struct Kind {
    const char* name;
    Strings pieces;
  };
  const Strings dates = {"2020", "1",   "12",  "-",  ".", "/", " ", "January",
                         "Mai",  "Jul", "Aug", "st", "x", "-", ".", "9999999999"};
  const Strings numbers = {"0", "1", "10", ".", ",", "'", " ", "5", "x", "=", "=", "\xFF"};
  std::vector<Kind> kinds = {{"ascii", {"a", "b", "\x01", "\xC3", "\xE4"}}};
  for (const char* name : {"numeric_en", "numeric_ch", "numeric_de", "multi_price_en", "multi_price_de"})
    kinds.push_back({name, numbers});
  for (const char* name : {"date: yyyy-mm-dd", "date: dd.mm.yyyy", "date: d/m/yyyy", "date: d month yyyy",
                           "date: month dd yyyy", "date: dd. month yyyy", "date: month dst yyyy"})
    kinds.push_back({name, dates});
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    expect_order(*make(kind.name), random_texts(kind.pieces, 150, 1));
  }
}

TEST(TeraCollation, ascii_orders_and_finds_prefixes_as_strings_do) {
  const Shared ascii = make("ascii");
  const Strings texts = random_texts({"a", "b", "\xE4"}, 100, 2);
  for (const std::string& a : texts)
    for (const std::string& b : texts) {
      const size_t shorter = std::min(a.size(), b.size());
      const int start = sign(a.compare(0, shorter, b, 0, shorter));
      EXPECT_EQ(sort_sign(*ascii, a, b), sign(a.compare(b)));
      EXPECT_EQ(sort_sign(*ascii, a, b, 1), start != 0 ? start : 1) << a << ", " << b;
      EXPECT_EQ(limit_sign(*ascii, a, b) == 0, b.starts_with(a)) << a << ", " << b;
    }
  EXPECT_EQ(ascii->compare_sort("abc", "ab", 1), 1);
}

TEST(TeraCollation, is_shared_by_name_and_saved_by_name) {
  const Shared first = make(nullptr);
  const Shared second = make("ascii");
  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(first->refCount, 2);
  EXPECT_EQ(make("").get(), first.get());
  EXPECT_EQ(first->refCount, 2);
  for (const char* name : {"utf", "numeric_fr", "date", "a.b/c", "a\\b.utf-8"})
    EXPECT_EQ(make(name), nullptr) << name;

  char buffer[64] = {};
  AceFile out;
  out.init_write(buffer, sizeof buffer);
  make("numeric_de")->save(&out);
  out.put_string(nullptr);
  AceFile in;
  in.init_read(buffer, sizeof buffer);
  EXPECT_STREQ(Shared(TeraCollation::read(&in))->get_name(), "numeric_de");
  EXPECT_EQ(TeraCollation::read(&in), nullptr);
}

TEST(TeraCollation, numbers_are_ordered_by_value) {
  const Shared german = make("numeric_de");
  const Strings ascending = {"", "0", "0,05", "0,5", "1", "1,0", "01,05", " 12", "999,9", "1.000", "9.99.9"};
  for (size_t i = 0; i + 1 < ascending.size(); ++i)
    EXPECT_LT(sort_sign(*german, ascending[i], ascending[i + 1]), 0) << ascending[i];
  EXPECT_EQ(limit_sign(*german, "1.234,50", "0 1234,5"), 0);
  EXPECT_EQ(dynamic_cast<TeraNumeric&>(*german).count("1.234.567,89"), 7);

  const Shared price = make("multi_price_en");
  const Strings prices = {"pan", "pan=9=100", "pan=10=2", "pan=10.0=2.5=1", "pan=10=12", "pans=1"};
  for (size_t i = 0; i + 1 < prices.size(); ++i)
    EXPECT_LT(sort_sign(*price, prices[i], prices[i + 1]), 0) << prices[i];
  for (const char* key : {"pan=10", "pan=10.00="})
    for (size_t i = 0; i < prices.size(); ++i)
      EXPECT_EQ(limit_sign(*price, key, prices[i]) == 0, i >= 2 && i <= 4) << key << ", " << prices[i];
}

TEST(TeraCollation, dates_are_parsed_by_their_format) {
  struct Written {
    const char* format;
    const char* text;
    int year, month, day;
  };
  const Written all[] = {{"yyyy-m-d", "2020-2-1", 2020, 2, 1},
                         {"unknown", "1999-12-31x", 1999, 12, 31},
                         {"dd.mm.yyyy", "01.02.2020", 2020, 2, 1},
                         {"d/m/yyyy", " 1/2/2020", 2020, 2, 1},
                         {"dd month yyyy", "1 Feb 2020", 2020, 2, 1},
                         {"month d yyyy", "July 4 1776", 1776, 7, 4},
                         {"d. month yyyy", "3. Mai 1990", 1990, 5, 3},
                         {"month dst yyyy", "May 2nd 2001", 2001, 5, 2},
                         {"dd.mm.yyyy", "7.99", 0, 99, 7},
                         {"d. month yyyy", "3 Mai 1990", 0, 0, 3},
                         {"yyyy-mm-dd", "99999999999", 2147483647, 0, 0}};
  for (const Written& written : all) {
    const Shared order = make((std::string("date: ") + written.format).c_str());
    const auto date = dynamic_cast<TeraDate&>(*order).parse(written.text);
    EXPECT_EQ(std::vector({date.year, date.month, date.day}),
              std::vector({written.year, written.month, written.day}))
        << written.text;
  }
  const std::pair<const char*, int> months[] = {{"Au", 8},  {"AU", 8},  {"Apr", 4},         {"Dezember", 12},
                                                {"Feb", 2}, {"JUL", 7}, {"Juni", 6},        {"J", 1},
                                                {"Mai", 5}, {"MAY", 5}, {"M\xC3\xA4rz", 3}, {"Nov", 11},
                                                {"O", 10},  {"Sep", 9}, {"august", 0},      {"", 0}};
  for (const auto& [name, month] : months) EXPECT_EQ(TeraDate::get_month(name), month) << name;
  EXPECT_LT(sort_sign(*make("date: dd.mm.yyyy"), "02.01.2020", "01.02.2020"), 0);
  EXPECT_EQ(limit_sign(*make("date: yyyy-mm-dd"), "2020-02", "2020-2-17"), 0);
}

// ---------------------------------------------------------------- Unicode

std::string utf8(const std::vector<unsigned>& codes) {
  std::string text;
  for (const unsigned code : codes) {
    char bytes[TeraUtf::MAX_SIZE];
    text.append(bytes, TeraUtf::from_uni(static_cast<int>(code), bytes));
  }
  return text;
}

/// Weights by the level, those of 0 left out; each level ends with a 0.
std::vector<Large> weights_of(const TeraUnicode& order, const std::string& text, int levels) {
  std::vector<Large> weights;
  for (int level = 0; level < levels; ++level) {
    for (const char* place = text.c_str(); *place != 0;) {
      const TeraUnicode::CollElem* elements = nullptr;
      TeraUnicode::CollElem own{};
      const int count = order.get_coll_elem(&place, &elements, &own);
      for (int i = 0; i < count; ++i)
        if (elements[i].weights[level] != 0) weights.push_back(elements[i].weights[level]);
    }
    weights.push_back(0);
  }
  return weights;
}

/// Comparing steps over what texts have in common; it must not matter, wherever that ends.
void expect_as_by_weights(const TeraUnicode& order, const Strings& texts) {
  for (const std::string& a : texts)
    for (const std::string& b : texts) {
      const auto comparison = weights_of(order, a, 3) <=> weights_of(order, b, 3);
      ASSERT_EQ(sort_sign(order, a, b), (comparison > 0) - (comparison < 0)) << a << " and " << b;
      auto start = weights_of(order, a, 1);
      start.pop_back();
      const auto other = weights_of(order, b, 1);
      ASSERT_EQ(limit_sign(order, a, b) == 0, std::ranges::mismatch(start, other).in1 == start.end())
          << a << " begins " << b;
    }
}

TEST(TeraUnicode, sorts_names_of_several_languages) {
  TeraUnicode order("ducet");
  ASSERT_EQ(order.load(DUCET, "utf-8"), 0);
  const std::vector<Strings> checkedByHand = {
      {"Goethe", "Gothe", "Göthe", "Gott", "Strasse", "Straße", "Strassen"},
      {"muller", "Muller", "müller", "Müller", "Mullers"},
      {"cote", "Cote", "coté", "côte", "côté", "Éloi", "Elôn"},
      {"Łańcut", "Łodz", "Łódź", "Łomża", "Lubin", "Lublin", "Lwów", "Ząbki", "Żabno", "Zabrze"},
      {"Άβδηρα", "Αγία", "Αθήνα", "Όλυμπος", "Ορεστιάδα", "Ρόδος"},
      {"Zz", "\u042F", "\u6F22", "\uE000", "\U00010000", "\U0010FFFF", "\xFE"}};
  for (const Strings& list : checkedByHand)
    for (size_t i = 0; i + 1 < list.size(); ++i)
      EXPECT_LT(sort_sign(order, list[i], list[i + 1]), 0) << list[i] << ", " << list[i + 1];
  EXPECT_EQ(sort_sign(order, "Z\u00FCrich", "Zu\u0308rich"), 0);
  EXPECT_EQ(limit_sign(order, "mull", "M\u00FCller"), 0);
}

TEST(TeraUnicode, orders_as_sort_keys_of_the_decomposed_text_do) {
  TeraUnicode order("ducet");
  ASSERT_EQ(order.load(DUCET, "utf-8"), 0);
  const oracle::Collation plain(TEST_UNICODE_DATA "/allkeys.txt");
  const Strings pieces = {"a",    "A", "e", "l",  "L",  "s", "ß",      "ä",      "é",      "Ł", "ą", "ż",
                          "α",    "ά", "Ω", "Ώ",  "й",  "и", "\u0306", "\u0301", "ấ",      "·", " ", "-",
                          "\x01", "ไ", "ก", "각", "漢", "ﬁ", "\u0627", "\u0653", "\u0622", "字"};
  const Strings texts = random_texts(pieces, 400, 3);
  std::vector<oracle::Collation::Key> keys;
  for (const std::string& text : texts) keys.push_back(plain.key_of(text));
  for (size_t i = 0; i < texts.size(); ++i)
    for (size_t j = 0; j < texts.size(); ++j)
      ASSERT_EQ(sort_sign(order, texts[i], texts[j]), (keys[i] > keys[j]) - (keys[i] < keys[j]))
          << texts[i] << " and " << texts[j];
}

/// The published test is a list of texts in ascending order. Left out are characters that the table does not
/// have, and marks beside anything but ASCII: some are not in canonical order, some part a sequence.
TEST(TeraUnicode, passes_the_published_test_of_the_root_collation) {
  TeraUnicode order("root");
  ASSERT_EQ(order.load(ROOT, "utf-8"), 0);
  std::ifstream lines(TEST_CLDR_COLLATION "/CollationTest_CLDR_NON_IGNORABLE_SHORT.txt");
  std::string last;
  int numTexts = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('#')) continue;
    std::vector<unsigned> codes;
    std::istringstream hex(line.substr(0, line.find(';')));
    for (unsigned code = 0; hex >> std::hex >> code;) codes.push_back(code);
    const std::string text = utf8(codes);
    bool isPlain = !codes.empty() && std::ranges::find(codes, 0U) == codes.end();
    bool wasWide = false;
    bool wasMark = false;
    for (const char* place = text.c_str(); isPlain && *place != 0;) {
      const TeraUnicode::CollElem* elements = nullptr;
      TeraUnicode::CollElem own{};
      const bool isWide = static_cast<unsigned char>(*place) >= 0x80;
      const int count = order.get_coll_elem(&place, &elements, &own);
      const bool isMark = elements[count - 1].weights[0] == 0;
      isPlain = elements != &own && !(wasMark && isWide) && !(isMark && wasWide);
      wasMark = isMark;
      wasWide = isWide;
    }
    if (!isPlain) continue;
    ASSERT_LE(sort_sign(order, last, text), 0) << "at " << line;
    last = text;
    ++numTexts;
  }
  EXPECT_GT(numTexts, 80000);
}

/// Sequences that start, go on and end with the same letters, in ASCII and beyond, and tailoring.
constexpr const char* SMALL_TABLE =
    "# a comment\n@version 1\n"
    "0061 ; [.0010.0020.0002]\n0062;[.0011.0020.0002] # b\n0063 ; [.0012.0020.0002]\n"
    "0041 ; [.0010.0020.0008]\n00E4 ; [.0010.0020.0002][.0000.0030.0002]\n"
    "00C4 ; [*0010.0020.0008][.0000.0030.0002]\n00DF ; [0013 20 4][0013 20 4]\n0308 ; [.0000.0030.0002]\n"
    "0061 0062 ; [.0014.0020.0002]\n0061 0062 0061 0062 00E4 ; [.0015.0020.0002]\n"
    "0062 0308 ; [.0011.0021.0002][.0011.0020.0002]\n00E4 00E4 ; [.0000.0000.0000]\n"
    "0001 ; [.0000.0000.0000]\n10000 ; [.FFFF.FFFF.FFFF]\n0078 ; [.1.1.1]\n0078 ; [.0013.0020.0002]\n"
    "0064 0061 ; [.0009.0020.0002]\n";

TEST(TeraUnicode, compares_hostile_texts_by_their_elements) {
  const support::TempFolder folder;
  support::write_file(folder.file("small.txt"), SMALL_TABLE);
  const Strings wide = {"a",
                        "b",
                        "c",
                        "A",
                        "x",
                        "d",
                        "\u00E4",
                        "\u00C4",
                        "\u00DF",
                        "\u0308",
                        "\x01",
                        "\u00E4",
                        "\xC3",
                        "\xA4",
                        "\xE0\x81\xA2",
                        "\xC1\xA1",
                        "\xF0\x90\x80",
                        "\U00010000",
                        "\xFF"};
  const Strings narrow = {"a", "b", "c", "A", "x", "d", "\xE4", "\xC4", "\xDF", "\x81", "\x01"};
  for (const auto& [encoding, pieces] : {std::pair("utf-8", &wide), std::pair("cp1252", &narrow)}) {
    SCOPED_TRACE(encoding);
    const Shared order = make(folder.file(std::string("small.") + encoding).c_str());
    ASSERT_NE(order, nullptr);
    const auto& unicode = dynamic_cast<TeraUnicode&>(*order);
    const Strings texts = random_texts(*pieces, 150, 4);
    expect_order(unicode, texts);
    expect_as_by_weights(unicode, texts);
    EXPECT_EQ(sort_sign(*order, "x", "c"), 1);
    EXPECT_EQ(limit_sign(*order, "a", "abc"), -1);
  }
}

TEST(TeraUnicode, a_broken_table_is_refused_with_its_line) {
  const support::TempFolder folder;
  support::RecordingReporter reporter;
  reporter.set_as_default();
  TeraUnicode order("broken");
  const std::pair<std::string, const char*> broken[] = {
      {"", "found no entry"},
      {"0061\n", "expected a code point"},
      {"110000;[1.1.1]\n", "up to 10FFFF, at column 1"},
      {"0061;\n", "expected \"[\" at column 6 of the line \"0061;\""},
      {"0061;[1.2]\n", "three weights"},
      {"0061;[1.2.10000]\n", "up to FFFF"},
      {"0061;[1.2.3.4]\n", "expected \"]\""},
      {"0061;[1.2.3] x\n", "another element"},
      {"61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61;[1.2.3]\n", "at most 16 characters"}};
  for (const auto& [text, message] : broken) {
    support::write_file(folder.file("broken.txt"), text);
    EXPECT_EQ(order.load(folder.file("broken.txt").c_str(), nullptr), -1) << text;
    EXPECT_NE(reporter.all().find(message), std::string::npos) << text << reporter.all();
    EXPECT_LT(sort_sign(order, "a", "b"), 0);
  }
  EXPECT_EQ(order.load(folder.file("missing.txt").c_str(), nullptr), -1);
  EXPECT_EQ(order.load(folder.file("").c_str(), nullptr), -1);
  EXPECT_EQ(order.load(DUCET, "no page"), -1);
  EXPECT_EQ(make(folder.file("broken.utf-8").c_str()), nullptr);
  EXPECT_EQ(make((std::string(91, 'x') + ".utf-8").c_str()), nullptr);
  for (const char* message : {"ERROR in input.init(filename,100000, true), error code -1",
                              "ERROR in codepage = tera_get_charset_map(page), error code -1",
                              "ERROR in uni_coll->load(filename,encoding), error code -1"})
    EXPECT_NE(reporter.all().find(message), std::string::npos) << message;

  support::for_each_damage("0061;[.10.20.2]\n61 62 ; [*11.20.2][0 1 2] #c\n",
                           [&](const std::string& bytes, const std::string&) {
                             support::write_file(folder.file("broken.txt"), bytes);
                             order.load(folder.file("broken.txt").c_str(), "utf-8");
                             EXPECT_LE(sort_sign(order, "abab\u00E4\u00E4", "abab\u00E4\u00E4"), 0);
                           });
  AceReporter::clear_default();
}

}  // namespace
