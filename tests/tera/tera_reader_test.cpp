#include "tera/tera_reader.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "gtest/gtest.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_data_file.h"
#include "tera/tera_edit.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_reader.h"
#include "tera/tera_string_trie.h"
#include "tera/tera_transform.h"
#include "tera/tera_words_reader.h"

namespace {

struct Entry {
  std::string string;
  Large info;
  VInt line;
  bool operator==(const Entry&) const = default;
};
using Entries = std::vector<Entry>;

std::ostream& operator<<(std::ostream& out, const Entry& entry) {
  return out << entry.string << "/" << entry.info << "/" << entry.line;
}

/// All entries, read twice with a rewind between; `*rc` is the last result.
Entries read_all(TeraReader* reader, int* rc = nullptr) {
  Entries twice[2];
  for (Entries& entries : twice) {
    EXPECT_EQ(reader->rewind(), 0);
    const char* string = nullptr;
    Large info = 0;
    VInt line = 0;
    int last = 0;
    while ((last = reader->get_line(&string, &info, &line)) > 0) entries.push_back({string, info, line});
    EXPECT_EQ(reader->get_line(&string, &info, &line), last) << "the end stays the end";
    EXPECT_EQ(last, rc != nullptr ? *rc : 0);
  }
  EXPECT_EQ(twice[0], twice[1]);
  return twice[0];
}

struct TextReader {
  explicit TextReader(const std::string& text, int base = 16)
      : bytes(text), input(bytes.data(), false), reader(&input, base) {}
  std::string bytes;
  AceInput input;
  TeraStandardReader reader;
};

TEST(TeraReader, entry_lines_give_strings_attributes_and_line_numbers) {
  TextReader text("0000002a\tMayer\nSmith\n00000000\tnull\nffffffff\tnone\n7\ta\tb\n\n\tblank");
  EXPECT_EQ(read_all(&text.reader), (Entries{{"Mayer", 42, 0},
                                             {"Smith", 1, 1},
                                             {"null", 2, 2},
                                             {"none", 3, 3},
                                             {"a\tb", 7, 4},
                                             {"", 5, 5},
                                             {"blank", 6, 6}}));
  EXPECT_EQ(text.reader.get_estimate(), 6);
  support::RecordingReporter rep;
  rep.set_as_default();
  int failure = -1;
  for (const char* bad : {"x1\tz", "1 \tz", "-1\tz", "100000000\tz"}) {
    TextReader broken(std::string("1\ta\n") + bad);
    EXPECT_EQ(read_all(&broken.reader, &failure), (Entries{{"a", 1, 0}}));
    EXPECT_EQ(rep.messages.back(), "Error reading tera file, line 1: " + std::string(bad) + "\n");
  }
  AceReporter::clear_default();
  TextReader decimal("42\tz", 10);
  EXPECT_EQ(read_all(&decimal.reader), (Entries{{"z", 42, 0}}));
  for (const int base : {-1, 0, 1, 37}) {
    TextReader broken("1\ta", base);
    EXPECT_EQ(read_all(&broken.reader, &failure), Entries());
  }
}

TEST(TeraReader, adapters_map_transform_and_split) {
  TextReader text("1\tMeier\n2\t\n3\tAb c");
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z");
  config.map_upper();
  const std::unique_ptr<TeraMap> map(config.compile());
  TeraMappedReader mapped(&text.reader, map.get(), true);
  AceAttach at;
  const auto token_text = [&](const char* string) {
    return std::string(reinterpret_cast<const char*>(map->convert(string, true, &at)));
  };
  EXPECT_EQ(read_all(&mapped), (Entries{{token_text("meier"), 1, 0}, {"", 2, 1}, {token_text("abc"), 3, 2}}));

  struct Variants : TeraTransform {
    using TeraTransform::code;
    char* code(const char* string, AceAttach* to) const override {
      return *string == '\0' ? nullptr : to->attach((std::string(string) + "|x|").c_str());
    }
    VInt read(AceFile*) override { return 0; }
    VInt save(AceFile*) const override { return 0; }
    int magic() const override { return 0; }
    TeraTransform* make(const char*, const char*) const override { return nullptr; }
    TeraTransform* copy() const override { return nullptr; }
  } variants;
  AceReporter::clear_default();
  int failure = -1;
  TeraTransformReader all(&text.reader, &variants, false);
  EXPECT_EQ(read_all(&all, &failure), (Entries{{"Meier", 1, 0}, {"x", 1, 0}, {"", 1, 0}}));
  TeraTransformReader first(&text.reader, &variants, true);
  EXPECT_EQ(read_all(&first, &failure), (Entries{{"Meier", 1, 0}}));

  char words[] = " one, two\n\n,\nthree four,";
  AceInput input(words, false);
  SingleWordReader split(&input, ",");
  EXPECT_EQ(read_all(&split), (Entries{{"one", 1, 0}, {"two", 2, 0}, {"three", 3, 3}, {"four", 4, 3}}));
}

TEST(TeraReader, several_sorted_streams_are_one_that_falls) {
  std::mt19937 random(1);
  const support::TempFolder folder;
  for (int round = 0; round < 30; ++round) {
    std::vector<std::pair<std::string, Large>> expected;
    std::vector<std::FILE*> streams;
    Large info = 0;
    for (unsigned n = random() % 6; n > 0; --n) {
      std::vector<std::string> words(random() % 20);
      for (std::string& word : words)
        for (unsigned i = 1 + random() % 3; i > 0; --i) word += static_cast<char>('a' + random() % 3);
      std::sort(words.rbegin(), words.rend());
      const std::string name = folder.file(std::to_string(streams.size()));
      std::FILE* out = std::fopen(name.c_str(), "w");
      for (const std::string& word : words) {
        expected.emplace_back(word, ++info);
        tera_simple_print(out, info, word.c_str());
      }
      std::fclose(out);
      streams.push_back(std::fopen(name.c_str(), "r"));
    }
    std::sort(expected.begin(), expected.end(), [](const auto& a, const auto& b) {
      return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    Entries merged;
    for (const auto& [word, number] : expected)
      merged.push_back({word, number, static_cast<VInt>(merged.size())});
    MultiStreamReader reader(static_cast<int>(streams.size()), streams.data(), nullptr, true);
    EXPECT_EQ(read_all(&reader), merged);
  }
}

TEST(TeraReader, a_tree_has_each_string_once_with_its_attributes) {
  TextReader text("1\tb\n2\ta\n3\tb\n3\tb\n4\tab");
  ListTree tree(nullptr);
  AceBulk bulk;
  support::RecordingReporter rep;
  int count = 0;
  EXPECT_EQ(text.reader.fill_tree(&tree, &bulk, &count, 0, 0, &rep), 3);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(rep.all(), "Reading strings\nREAD 3 different strings\nAfter 5 scanned strings\n");
  std::string seen;
  tree.for_each([&](const char* string, const AceBulk::List* list) {
    seen += string;
    for (const Large info : *list) seen += " " + std::to_string(info);
    seen += ";";
    return 0;
  });
  EXPECT_EQ(seen, "a 2;ab 4;b 1 3;");
  ListTree turned(nullptr);
  ASSERT_EQ(text.reader.rewind(), 0);
  EXPECT_EQ(text.reader.fill_tree(&turned, nullptr, nullptr, 1, 1, nullptr), 3);
  EXPECT_TRUE(turned.contains("ba") && turned.search("ba") == nullptr);

  const support::TempFolder folder;
  EXPECT_EQ(text.reader.dump_file(folder.file("dump").c_str()), 5);
  TextReader dumped(support::read_file(folder.file("dump")));
  EXPECT_EQ(read_all(&dumped.reader), read_all(&text.reader));
  // What cannot be rewound is written from where it stands.
  int numLines = 3;
  AceCustomReader lines(
      [](const char** line, void* left) {
        *line = "7\tx y";
        return --*static_cast<int*>(left) < 0 ? -1 : 5;
      },
      &numLines);
  SingleWordReader once(&lines, "\t");
  const char* first = nullptr;
  ASSERT_EQ(once.get_line(&first, nullptr, nullptr), 1);
  EXPECT_EQ(once.dump_file(folder.file("dump").c_str()), 8);
  EXPECT_EQ(support::read_file(folder.file("dump")).substr(0, 21), "00000002\tx\n00000003\ty");
  TeraReaderStream stream(&text.reader);
  EXPECT_EQ(stream.for_each([](const char*, unsigned) { return 0; }), 5);
  EXPECT_EQ(stream.for_each([](const char* string, unsigned) { return *string == 'a' ? -7 : 0; }), -7);
  TextReader broken("1\tb\nx\ty");
  EXPECT_EQ(TeraReaderStream(&broken.reader).for_each([](const char*, unsigned) { return 0; }), -1);
}

TEST(TeraReader, a_source_that_cannot_be_read_is_no_shorter_one) {
  const support::TempFolder folder;
  const std::string file = folder.file("f");
  const std::string text = "a\tb\nc\td\ne\tf\n";
  support::write_file(file, text);
  support::write_file(folder.file("other"), "x\n");
  const auto read_to_end = [](auto* reader) {
    const char* string = nullptr;
    int rc = 0;
    while ((rc = reader->get_line(&string, nullptr, nullptr)) > 0) {
    }
    EXPECT_EQ(reader->get_line(&string, nullptr, nullptr), rc);
    return rc;
  };
  const std::pair<const char*, std::function<int()>> sources[] = {
      {"tera file",
       [&] {
         AceInput input(file.c_str(), 16, false);
         TeraStandardReader reader(&input, 16);
         return read_to_end(&reader);
       }},
      {"words",
       [&] {
         AceInput input(file.c_str(), 16, false);
         SingleWordReader reader(&input, "\t");
         return read_to_end(&reader);
       }},
      {"tera file",
       [&] {
         AceInput input(file.c_str(), 16, false);
         const std::unique_ptr<TeraTransform> coding(TeraTransform::factory("METAPHONE", nullptr));
         PhoneReader codes(&input, coding.get());
         TeraStandardReader reader(&codes, 16);
         TeraEdit edit(TeraMap::get_ident_map(), nullptr);
         return edit.make(&reader, nullptr, 0, 0, 0, 0, nullptr, nullptr);
       }},
      {"lines",
       [&] {
         WordsReader reader(file.c_str(), nullptr);
         const char* line = nullptr;
         Large info = 0;
         int rc = 0;
         while ((rc = reader.get_line(&line, &info)) > 0) {
         }
         return rc;
       }},
      {"alias file",
       [&] {
         AceInput input(file.c_str(), 16, false);
         TeraAliasFileReader aliases(&input, nullptr, 0);
         ListTree tree(nullptr);
         return aliases.add_to_tree(&tree, nullptr) < 0 ? -1 : 0;
       }},
      {"f", [&] { return TeraMapConfig("utf-8").parse_map_file(file.c_str(), AceReporter::use_default()); }},
      {"f",
       [&] {
         return tera_mix_files(file.c_str(), folder.file("other").c_str(), folder.file("m").c_str(), 50, 1);
       }},
  };
  for (const auto& [name, read] : sources)
    for (size_t offset = 0; offset < text.size(); ++offset) {
      support::RecordingReporter rep;
      rep.set_as_default();
      const support::FailingReads fault(static_cast<long>(offset), EIO);
      EXPECT_EQ(read(), -1) << name << ", byte " << offset;
      EXPECT_NE(rep.all().find("line "), std::string::npos) << rep.all();
      EXPECT_NE(rep.all().find(name), std::string::npos) << rep.all();
    }
  TeraIndex index;
  support::RecordingReporter rep;
  rep.set_as_default();
  for (const bool isCompressed : {true, false}) {
    rep.messages.clear();
    EXPECT_EQ(index.make("/proc/self/mem", isCompressed, &rep),
              -1);  // a file, but its first byte is in no page
    EXPECT_NE(rep.all().find("Error reading /proc/self/mem, line 1: "), std::string::npos) << rep.all();
    EXPECT_EQ(index.make("/proc/self/limits", isCompressed, &rep), 0);  // of size 0, says the system
    EXPECT_GT(index.get_size(), 10U);
  }
}

std::string pairs(TeraAliasReader* reader, bool withPenalty) {
  std::string all;
  const char* target = nullptr;
  const char* alias = nullptr;
  int penalty = 0;
  VInt line = 0;
  int rc = 0;
  while ((rc = reader->read_entry(&target, &alias, withPenalty ? &penalty : nullptr, &line)) > 0)
    all += std::string(target != nullptr ? target : "-") + "=" + alias + "/" + std::to_string(penalty) + "@" +
           std::to_string(line) + " ";
  return all + std::to_string(rc);
}

TEST(TeraAliasReader, lines_give_all_pairs_with_their_penalty) {
  char text[] = "T|U\t3\ta|b|c\n\nR\tx\none||two\n\tnobody";
  AceInput input(text, false);
  TeraAliasFileReader reader(&input, nullptr, 0);
  const std::string expected =
      "T=a/3@0 U=a/3@0 T=b/3@0 U=b/3@0 T=c/3@0 U=c/3@0 R=x/0@2 -=one/0@3 -=two/0@3 0";
  EXPECT_EQ(pairs(&reader, true), expected);
  ASSERT_EQ(reader.rewind(), 0);
  EXPECT_EQ(pairs(&reader, true), expected);
  ASSERT_EQ(reader.rewind(), 0);
  TeraBigTree<AceBulk::List*> tree(nullptr);
  EXPECT_EQ(reader.add_to_tree(&tree, nullptr), 9);
  EXPECT_EQ(tree.num_strings(), 9);

  support::RecordingReporter rep;
  rep.set_as_default();
  for (const char* bad : {"a\t3x\tb", "a\t\tb", "a\t99999999999\tb", "a\t1\tb\tc"}) {
    std::string line(bad);
    AceInput broken(line.data(), false);
    TeraAliasFileReader refused(&broken, nullptr, 0);
    EXPECT_EQ(pairs(&refused, true), "-1");
    EXPECT_NE(rep.messages.back().find("line 0"), std::string::npos);
  }
  std::string many = "t\t";
  for (int i = 0; i < 65; ++i) many += "a|";
  AceInput manyInput(many.data(), false);
  TeraAliasFileReader cut(&manyInput, nullptr, 0);
  int count = 0;
  while (cut.read_entry(nullptr, nullptr, nullptr, nullptr) > 0) ++count;
  EXPECT_EQ(count, 64);
  EXPECT_EQ(rep.events.size(), 1U);
  AceReporter::clear_default();

  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z");
  config.map_upper();
  const std::unique_ptr<TeraMap> map(config.compile());
  for (const int normalize : {0, 1}) {
    std::string line = "T-T\tA b";
    AceInput mappedInput(line.data(), false);
    TeraAliasFileReader mapped(&mappedInput, map.get(), normalize);
    AceAttach at;
    const auto form = [&](const char* string) {
      return std::string(normalize != 0 ? map->normalize(string, true, &at)
                                        : reinterpret_cast<const char*>(map->convert(string, true, &at)));
    };
    EXPECT_EQ(pairs(&mapped, false), form("tt") + "=" + form("ab") + "/0@0 0");
  }
}

TEST(StringTrie, answers_as_a_list_of_words_does) {
  std::mt19937 random(1);
  const auto word = [&] {
    std::string text;
    for (unsigned length = 1 + random() % 5; length > 0; --length)
      text += static_cast<char>('a' + random() % 3);
    return text;
  };
  for (int round = 0; round < 50; ++round) {
    std::vector<std::string> words(random() % 8);
    std::string list;
    for (std::string& each : words) list += (each = word()) + (random() % 2 == 0 ? " " : "|\n");
    const StringTrie trie(list.c_str());
    const auto any = [&](auto is) { return std::any_of(words.begin(), words.end(), is); };
    for (int i = 0; i < 50; ++i) {
      const std::string text = i == 0 ? "" : word();
      const char* string = text.c_str();
      EXPECT_EQ(trie.is_exact(string), any([&](const auto& w) { return w == text; })) << list << text;
      EXPECT_EQ(trie.is_prefix(string), any([&](const auto& w) { return w.starts_with(text); }))
          << list << text;
      EXPECT_EQ(trie.is_part(string), any([&](const auto& w) { return w.find(text) != w.npos; }))
          << list << text;
      EXPECT_EQ(trie.is_extension(string), any([&](const auto& w) { return text.starts_with(w); }))
          << list << text;
    }
    EXPECT_FALSE(trie.is_prefix(nullptr) || trie.is_part(nullptr) || trie.is_exact(nullptr));
  }
}

TEST(TeraDataFile, entries_are_printed_whole_or_not_at_all) {
  char buffer[16];
  EXPECT_EQ(tera_entry_print(buffer, sizeof buffer, 42, "Mayer"), 15);
  EXPECT_STREQ(buffer, "0000002a\tMayer\n");
  EXPECT_EQ(tera_entry_print(buffer, 15, 42, "Mayer"), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(tera_entry_print(buffer, sizeof buffer, 42, ""), 0);
  EXPECT_EQ(tera_entry_print(buffer, sizeof buffer, 42, "a\nb"), -1);
  EXPECT_EQ(tera_entry_print(buffer, 0, 42, "a"), -1);
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  std::setvbuf(full, nullptr, _IONBF, 0);
  AceAttach at;
  try {
    tera_simple_print(full, 42, "Mayer");
    ADD_FAILURE() << "a short write goes unnoticed";
  } catch (const AceException& exception) {
    EXPECT_STREQ(exception.what(&at),
                 "Error writing into .tera file!: Only 0 of 15 bytes written (0000002a Mayer)");
  }
  std::fclose(full);
}

TEST(TeraDataFile, made_files_have_what_was_asked_for) {
  AceReporter::clear_default();
  const support::TempFolder folder;
  const std::string first = folder.file("first");
  const std::string second = folder.file("second");
  ASSERT_EQ(tera_random_file(first.c_str(), 200, 2, 5, 1, "xyz"), 200);
  TextReader made(support::read_file(first));
  const Entries entries = read_all(&made.reader);
  ASSERT_EQ(entries.size(), 200U);
  std::map<std::size_t, int> lengths;
  for (const Entry& entry : entries) {
    EXPECT_EQ(entry.string.find_first_not_of("xyz"), std::string::npos);
    ++lengths[entry.string.size()];
  }
  EXPECT_EQ(lengths.begin()->first, 2U);
  EXPECT_EQ(lengths.size(), 4U);
  EXPECT_EQ(lengths.rbegin()->first, 5U);
  EXPECT_EQ(entries.back().info, 200U);

  ASSERT_EQ(tera_template_file(second.c_str(), "N\\[[0-2\\-]", 50, 7), 50);
  TextReader shaped(support::read_file(second));
  for (const Entry& entry : read_all(&shaped.reader)) {
    ASSERT_EQ(entry.string.size(), 3U);
    EXPECT_EQ(entry.string.substr(0, 2), "N[");
    EXPECT_NE(std::string("012-").find(entry.string[2]), std::string::npos);
  }
  for (const char* bad : {"", "[", "[]", "[b-a]", "a\\", "[a", "[\t-\x20]"})
    EXPECT_EQ(tera_template_file(second.c_str(), bad, 1, 1), -1) << bad;

  const std::string mixed = folder.file("mixed");
  ASSERT_EQ(tera_mix_files(first.c_str(), second.c_str(), mixed.c_str(), 30, 1), 250);
  TextReader both(support::read_file(mixed));
  Entries parts[2];
  for (const Entry& entry : read_all(&both.reader)) parts[entry.string[0] == 'N' ? 1 : 0].push_back(entry);
  ASSERT_EQ(parts[0].size(), 200U);
  for (const Entries& part : parts)
    for (std::size_t i = 0; i < part.size(); ++i) EXPECT_EQ(part[i].info, i + 1) << "order is kept";
  EXPECT_EQ(support::read_file(mixed).find('N') < 700, true) << "lines take turns";
}

TEST(TeraDataFile, words_of_a_text_are_counted_and_sorted_out) {
  char text[] = "the cat; the CAT,\nx the";
  const support::TempFolder folder;
  std::FILE* in = fmemopen(text, sizeof text - 1, "r");
  std::FILE* words = std::fopen(folder.file("words").c_str(), "w");
  std::FILE* others = std::fopen(folder.file("others").c_str(), "w");
  support::RecordingReporter rep;
  EXPECT_EQ(tera_extract_words(in, words, others, ";,", 2, "abcdefghijklmnopqrstuvwxyz", &rep), 2);
  for (std::FILE* file : {in, words, others}) std::fclose(file);
  EXPECT_EQ(support::read_file(folder.file("words")), "00000001\tcat\n00000003\tthe\n");
  EXPECT_EQ(support::read_file(folder.file("others")), "00000001\tCAT\n00000001\tx\n");
  EXPECT_EQ(rep.all(), "4 different words in 6 words\n");
}

}  // namespace
