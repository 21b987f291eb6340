#include "damo/damo_json_input.h"

#include <random>
#include <regex>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_json.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

const char* paths[] = {"name", "\"first tag\"", "tags[*]", "in.vip"};

/// A record as JSON, and its fields; "?" stands for a missing one.
struct Sample {
  std::string json, name = "?", tag = "?", tags = "?", vip = "?";
};

Sample sample_of(std::mt19937* random) {
  Sample made;
  std::string members;
  const auto add = [&](const std::string& member) { members += (members.empty() ? "" : ", ") + member; };
  if ((*random)() % 4 != 0) {
    made.name = std::string((*random)() % 3, 'x') + "\xC3\xA4\"";
    add("\"name\": \"" + made.name.substr(0, made.name.size() - 1) + "\\\"\"");
  } else if ((*random)() % 2 == 0) {
    add("\"name\": 42");
  }
  if ((*random)() % 2 == 0) {
    made.tag = "t\n";
    add("\"first tag\": \"t\\n\"");
  }
  if ((*random)() % 2 == 0) {
    const unsigned n = (*random)() % 3;
    made.tags = n == 0 ? "" : n == 1 ? "u" : "u|1";
    add(std::string("\"tags\": [") + (n == 0 ? "" : n == 1 ? "\"u\"" : "\"u\", true") + "]");
  }
  if ((*random)() % 2 == 0) {
    made.vip = (*random)() % 2 == 0 ? "1" : "0";
    add(std::string("\"in\": {\"more\": {\"name\": [{}]}, \"vip\": ") + (made.vip == "1" ? "true" : "false") +
        "}");
  }
  made.json = "{" + members + "}";
  return made;
}

std::string read_all(DamoInput* input) {
  std::string text;
  VInt line = 0;
  for (int size; (size = input->read_line(&line, 0)) != DamoInput::AT_END;) {
    text += std::to_string(line) + (size == DamoInput::REJECTED ? " rejected " : " ");
    for (int i = 0; i < 4; ++i)
      text += std::string(input->get_field(i) != nullptr ? input->get_field(i) : "?") + (i < 3 ? ";" : "\n");
  }
  EXPECT_TRUE(input->eof());
  return text;
}

TEST(DamoJsonInput, reads_the_same_records_by_stream_whole_and_by_lines) {
  const support::TempFolder folder;
  std::mt19937 random(1);
  for (int round = 0; round < 60; ++round) {
    std::string list, lines, expected, wholes;  // `wholes`: the records without a missing field
    int number = 0;
    for (unsigned n = random() % 12; n > 0; --n) {
      const Sample sample = sample_of(&random);
      list += (list.empty() ? "" : ",\n ") + sample.json;
      lines += sample.json + "\n" + (random() % 4 == 0 ? " \n" : "");
      const bool isBad = sample.name == "?" || sample.tag == "?" || sample.tags == "?" || sample.vip == "?";
      ++number;
      const std::string fields = sample.name + ";" + sample.tag + ";" + sample.tags + ";" + sample.vip + "\n";
      expected += std::to_string(number) + (isBad ? " rejected " : " ") + fields;
      wholes += isBad ? "" : fields;
    }
    const std::pair<const char*, std::string> documents[] = {
        {"@", "[" + list + "]"},
        {"[*]", "[" + list + "]"},
        {"data.items", "{\"x\": [[{\"data\": 1}]], \"data\": {\"before\": {\"items\": []}, \"items\": [" +
                           list + "], \"y\": 1}}"},
        {"data.\"items\"[*]",
         "\xEF\xBB\xBF{\"data\": {\"items\": [" + list + "]}, \"data\": {\"items\": [1]}}"},
        {"[0].list[?@]", "[{\"list\": [" + list + "]}]"}};
    for (const auto& [path, text] : documents) {
      support::write_file(folder.file("json"), text);
      const std::unique_ptr<DamoInput> input(
          DamoJsonInput(folder.file("json").c_str(), path, paths, 4, AceReporter::null()));
      if (std::string(path) != "[0].list[?@]" ||
          list.find("{}") == std::string::npos)  // an empty object is false there
        EXPECT_EQ(read_all(input.get()), expected) << path << text;
    }
    support::write_file(folder.file("lines"), lines);
    for (const int numParts : {1, 3}) {
      std::string found;
      for (int part = 0; part < numParts; ++part) {
        const std::unique_ptr<DamoInput> input(
            DamoJsonLinesInput(folder.file("lines").c_str(), paths, 4, AceReporter::null()));
        EXPECT_EQ(input->partition(part, numParts), 0);
        input->set_error_correction(DamoInput::IGNORE_RECORD, nullptr, nullptr);
        found += read_all(input.get());
      }
      EXPECT_EQ(std::regex_replace(found, std::regex("(^|\n)[0-9]+ "), "$1"), wholes);
    }
  }
}

/// Any value: few names, so that members have the same one.
std::string any_json(std::mt19937* random, unsigned depth) {
  static constexpr const char* SCALARS[] = {"null",
                                            "true",
                                            "false",
                                            "7",
                                            "-1.5e3",
                                            "\"\"",
                                            "\"\\ud83d\\ude00\"",
                                            "\"x\\u00e4\\n\"",
                                            "\"y|\\\"\"",
                                            "\"a\\u0000b\"",
                                            "\"\xC3\xA4\"",
                                            "123456789012345678901"};
  static constexpr const char* NAMES[] = {"a", "b", "\\u0061", "c d", "e", "f"};
  const unsigned kind = (*random)() % 4;
  if (depth == 0 || kind == 0) return SCALARS[(*random)() % 12];
  std::string text;
  for (unsigned n = (*random)() % (depth == 3 ? 40 : 4); n > 0; --n) {
    text += text.empty() ? "" : ", ";
    if (kind > 1) text += std::string("\"") + (n > 6 ? std::to_string(n) : NAMES[(*random)() % 6]) + "\":";
    text += any_json(random, depth - 1);
  }
  return kind > 1 ? "{" + text + "}" : "[" + text + "]";
}

TEST(DamoJsonInput, reads_selected_members_as_it_reads_documents) {
  const support::TempFolder folder;
  const char* const members[] = {"@", "a", "b", "a.b", "\"c d\"", "a.a.b", "b.\"c d\"", "a.\"c d\".a"};
  std::mt19937 random(5);
  std::string lines;
  for (int depth = 1022; depth < 1027; ++depth)
    lines += "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + "}\n";
  for (int round = 0; round < 300; ++round) {
    for (int i = 0; i < 3; ++i) lines += any_json(&random, 1 + random() % 3) + "\n";
    const std::string whole = any_json(&random, 2 + random() % 2);
    for (std::size_t end = 1; end < std::min<std::size_t>(whole.size(), 200); ++end)
      lines += whole.substr(0, end) + "\n";
    for (int i = 0; i < 10; ++i) {
      std::string wrong = whole;
      wrong[random() % wrong.size()] = "\",:{}[]\\1 \xC3"[random() % 11];
      lines += wrong + "\n";
    }
    support::write_file(folder.file("lines"), lines);
    lines.clear();
    // A field more, which is always there, needs the document.
    const char* fields[5] = {nullptr, nullptr, nullptr, nullptr, "'x'"};
    for (int i = 0; i < 4; ++i) fields[i] = members[random() % 8];
    const int corrections = static_cast<int>(random() % 2) * DamoInput::FILL_MISSING;
    std::string found[2];
    for (int way = 0; way < 2; ++way) {
      support::RecordingReporter rep;
      const std::unique_ptr<DamoInput> input(
          DamoJsonLinesInput(folder.file("lines").c_str(), fields, 4 + way, &rep));
      input->set_error_correction(corrections, "F", nullptr);
      found[way] = read_all(input.get()) + rep.all();
    }
    EXPECT_EQ(found[0], found[1]) << fields[0] << " " << fields[1] << " " << fields[2] << " " << fields[3];
  }
}

TEST(DamoJsonInput, refuses_what_is_none_and_says_why) {
  const support::TempFolder folder;
  const auto fault = [&](const std::string& text, const char* path, const char** fields, int num) {
    support::write_file(folder.file("json"), text);
    try {
      const std::unique_ptr<DamoInput> input(
          DamoJsonInput(folder.file("json").c_str(), path, fields, num, AceReporter::null()));
      while (input->read_line(nullptr, 0) != DamoInput::AT_END) continue;
    } catch (const AceException& exception) {
      return std::string(exception.get_info() != nullptr ? exception.get_info() : exception.get_cond());
    }
    return std::string();
  };
  const char* bad[] = {"name", "a[["};
  EXPECT_EQ(fault("[]", "", paths, 4), "No record JMESPath defined.");
  EXPECT_EQ(fault("[]", "@", nullptr, 0), "No field JMESPaths are defined.");
  EXPECT_EQ(fault("[]", "@", paths, 0), "No source fields are defined.");
  EXPECT_EQ(fault("[]", "@", bad, 2).find("Internal Exception: field path 1, 'a[[': "), 0U);
  for (const char* path : {"length(a b)", "length (a\t#)", "length(a}", "a.{:b}", "[{2", "a)b", "[a)]",
                           "[length(a)b,join('|', (c) to_string(d)]", "max_by(a, &b c)"}) {
    const char* wrong[] = {path};
    EXPECT_EQ(fault("[]", "@", wrong, 1).find("Internal Exception: field path 0, '"), 0U) << path;
    EXPECT_EQ(fault("[]", path, paths, 4).find("Internal Exception: "), 0U) << path;
  }
  for (const char* path : {"join('\\'(,', [?contains(a, ')')].b)", "sort_by(@, &length(\"a(b\"))",
                           "max([`[1, 2]`, length(@)])", "not_null()", "{a: b, \"c\": d}.a", "{ a: b}.a"}) {
    const char* good[] = {path};
    EXPECT_EQ(fault("[]", "@", good, 1), "") << path;
  }
  EXPECT_EQ(fault("7", "@", paths, 4),
            "Internal Exception: the record JMESPath selects a number, a list or an object is expected");
  EXPECT_EQ(fault("{\"a\": 1}", "b", paths, 4), "");
  EXPECT_EQ(fault("{\"a\": 1}", "a[*]", paths, 4), "");
  EXPECT_EQ(fault("", "@", paths, 4).find("Internal Exception: "), 0U);
  for (const char* text : {"[{}", "[{},", "[{}] x", "{\"a\": [{}]", "[{\"a\": }]", "[{}, nonsense]",
                           "{\"a\": {}} x", "{\"b\": {}} x"})
    EXPECT_NE(fault(text, *text == '[' ? "@" : "a", paths, 4), "") << text;
  EXPECT_NE(fault(std::string(100000, '['), "@", paths, 4), "");
  EXPECT_NE(fault("[" + std::string(100000, '['), "[0]", paths, 4), "");
  EXPECT_THROW(DamoJsonInput(folder.file("none").c_str(), "@", paths, 4, AceReporter::null()), AceException);
  EXPECT_THROW(DamoJsonLinesInput(folder.file("none").c_str(), paths, 4, AceReporter::null()), AceException);
  EXPECT_THROW(DamoJsonLinesInput(nullptr, paths, 4, AceReporter::null()), AceException);
  support::RecordingReporter rep;
  support::write_file(
      folder.file("lines"),
      "{\"name\": \"a\\u0000b\"}\n{\"name\": 1}\n\n{\"name\": [\"x\", null]}\nno\n{\"name\": \"z\"}\n");
  const std::unique_ptr<DamoInput> lines(DamoJsonLinesInput(folder.file("lines").c_str(), paths, 1, &rep));
  lines->set_error_correction(DamoInput::FILL_MISSING, "F", nullptr);
  std::string found;
  AceAttach at;
  for (int size; (size = lines->read_line(nullptr, 0)) != DamoInput::AT_END;)
    found += size == DamoInput::REJECTED ? "rejected " + std::string(lines->get_source_text(&at))
                                         : lines->get_field(0);
  EXPECT_EQ(found, "FFFrejected noz");
  EXPECT_NE(
      rep.all().find("Field path 0, 'name', gives a value that is no text; to_string(name) makes it one\n"),
      std::string::npos);
  for (const char* path : {"a", "a[*]", "a | @", "a[*] | @"}) {  // "[*]" leaves nulls out
    support::write_file(folder.file("json"),
                        R"({"a": [null, {"name": "x"}, null, null, {"name": "y"}, null]})");
    const std::unique_ptr<DamoInput> nulls(
        DamoJsonInput(folder.file("json").c_str(), path, paths, 1, AceReporter::null()));
    std::string names;
    for (int size; (size = nulls->read_line(nullptr, 0)) != DamoInput::AT_END;)
      names += size == DamoInput::REJECTED ? "-" : nulls->get_field(0);
    EXPECT_EQ(names, path[1] == '[' ? "xy" : "-x--y-") << path;
  }
  support::write_file(
      folder.file("json"),
      R"([{"name": "x", "in": [{"a": {}}, {"a": 1}]}, {"in": [{"a": 1, "name": "z", "a": 2}]}, {"name": "y", "name": "z"}])");
  for (const char* path : {"@", "[*]", "@ | @"}) {  // members of the same name
    support::RecordingReporter twice;
    const std::unique_ptr<DamoInput> input(
        DamoJsonInput(folder.file("json").c_str(), path, paths, 1, &twice));
    for (int i = 0; i < 3; ++i) input->read_line(nullptr, 0);
    EXPECT_STREQ(input->get_field(0), "y");
    EXPECT_NE(twice.all().find(*path == '@' && path[1] != '\0'
                                   ? "record 1: an object has members of the same name"
                                   : "record 2: an object has members of the same name"),
              std::string::npos);
    EXPECT_EQ(twice.all().find("record 3: "), std::string::npos);
  }
  support::write_file(folder.file("json"), "{\"name\": \"one\"}");
  const std::unique_ptr<DamoInput> single(DamoJsonInput(folder.file("json").c_str(), "@", paths, 1, &rep));
  EXPECT_EQ(single->partition(0, 2), -1);
  EXPECT_EQ(single->read_line(nullptr, 0), 3);
  EXPECT_STREQ(single->get_source_text(&at), "{\"name\":\"one\"}");
  EXPECT_EQ(single->read_line(nullptr, 0), DamoInput::AT_END);
}

/// Depth, key and sample of each node.
std::string shown(DamoJsonBase* json) {
  std::string text;
  for (const JsonOutput& node : json->get_structure())
    text +=
        std::string(static_cast<std::size_t>(node.nodeDepth), ' ') + node.nodeKey + "=" + node.nodeVal + "\n";
  return text;
}

TEST(DamoJson, shows_every_path_once) {
  const support::TempFolder folder;
  EXPECT_EQ(DamoJsonBase::protect_key("name_x"), "name_x");
  EXPECT_EQ(DamoJsonBase::protect_key("a1"), "\"a1\"");
  EXPECT_EQ(DamoJsonBase::protect_key("a\"\\b"), "\"a\\\"\\\\b\"");
  EXPECT_EQ(DamoJsonBase::protect_key(""), "");
  const std::string text =
      R"({"items": [{"a1": 5, "n": null}, {"b": "x", "a1": 6}], "deep": [[], [[true]]], "none": [],
                               "mixed": ["s", {"k": 1.5}], "o": {"p": {"q": "r"}}})";
  support::write_file(folder.file("json"), text);
  DamoJson json;
  json.init(folder.file("json").c_str());
  const std::string expected =
      "docRoot=\n deep[*][*][*]=true\n items[*]=\n  \"a1\"=5\n  b=x\n  n=\n mixed[*]=s\n  k=1.5\n none[*]=\n "
      "o=\n  p=\n   q=r\n";
  EXPECT_EQ(shown(&json), expected);
  EXPECT_EQ(shown(&json), expected);
  DamoJsonLines lines;
  support::write_file(folder.file("lines"), std::regex_replace(text, std::regex("\n"), "") +
                                                "\n{\"o\": [1}\n\n{\"o\": 3}\n{\"late\": 1}\n");
  EXPECT_EQ(lines.init(folder.file("lines").c_str(), 4), 2);
  EXPECT_EQ(shown(&lines), std::regex_replace(expected, std::regex(" o=\n"), " o=3\n"));
  // Paths lead to their samples.
  const char* sample[] = {"items[*].\"a1\" | [0] | to_string(@)", "o.p.q"};
  const std::unique_ptr<DamoInput> input(
      DamoJsonInput(folder.file("json").c_str(), "@", sample, 2, AceReporter::null()));
  EXPECT_EQ(input->read_line(nullptr, 0), 2);
  EXPECT_STREQ(input->get_field(0), "5");
  EXPECT_STREQ(input->get_field(1), "r");
  for (const char* broken : {"{\"a\": ", "[1,]", "x"}) {
    support::write_file(folder.file("json"), broken);
    EXPECT_THROW(DamoJson().init(folder.file("json").c_str()), AceException);
    EXPECT_EQ(DamoJsonLines().parse_line(broken), -1);
  }
  // The start of a document, whatever follows.
  support::write_file(folder.file("json"), R"([{"a": 1, "b": null}, {"b": 2, "c": 3}, ?)");
  DamoJson start;
  start.init(folder.file("json").c_str(), 2);
  EXPECT_EQ(shown(&start), "docRoot=\n [*]=\n  a=1\n  b=2\n");
  EXPECT_THROW(DamoJson().init(folder.file("none").c_str()), AceException);
}

}  // namespace
