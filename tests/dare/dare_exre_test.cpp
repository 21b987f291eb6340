#include "dare/dare_exre.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <thread>

#include "ace/ace_tracer.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"
#include "support/damage.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

const std::vector<std::string> FIELDS = {"given", "name", "city", "id"};
const std::vector<std::string> COMBINATIONS = {"default", "exact", "loose"};

int index_in(const std::vector<std::string>& list, const char* name) {
  const auto found = std::find(list.begin(), list.end(), name);
  return found != list.end() ? static_cast<int>(found - list.begin()) : -1;
}

DareExreNames names_of_test(int dedup_field = -1) {
  return {[](const char* name) { return index_in(FIELDS, name); },
          [](const char* name) { return index_in(COMBINATIONS, name); }, dedup_field};
}

/// A record of the session's base: its strings, and by combination its quality and those of its fields.
struct Row {
  std::vector<std::string> strings = std::vector<std::string>(4);
  int quality[3] = {};
  int fieldQuality[4] = {};
};

constexpr int LEAST[] = {100, 150, 50};  // confidence by combination

class FakeSession : public DareExreSession {
 public:
  explicit FakeSession(std::vector<Row> table) : rows(std::move(table)) {}

  DastResult* search_combination(const DareMultiQuery*, const char* combination) override {
    ++numSearches;
    const int combi = combination != nullptr ? index_in(COMBINATIONS, combination) : 0;
    if (combi < 0 || isBroken) return nullptr;
    auto* result = new DastResult(4, LEAST[combi], 255, 100);
    for (std::size_t r = 0; r < rows.size(); ++r) {
      if (rows[r].quality[combi] < LEAST[combi]) continue;
      const int at = result->add_suggs(-1, 1);
      DastSuggestion* suggestion = result->get_sugg(at);
      suggestion->recordIndex = static_cast<Large>(r);
      for (int f = 0; f < 4; ++f) {
        suggestion->repObj->set_string(f, rows[r].strings[static_cast<std::size_t>(f)].c_str());
        if (rows[r].fieldQuality[f] > 0) suggestion->repObj->set_quality(f, rows[r].fieldQuality[f]);
      }
      suggestion->repObj->set_quality(rows[r].quality[combi]);
    }
    result->resort_suggs();
    return result;
  }
  int reevaluate(const DareMultiQuery*, const char* combination, DastResult* result) override {
    const int combi = index_in(COMBINATIONS, combination);
    for (int i = 0; i < result->get_num_suggs(); ++i) {
      DastSuggestion* suggestion = result->get_sugg(i);
      suggestion->repObj->set_quality(rows[suggestion->recordIndex].quality[combi]);
    }
    return LEAST[combi];
  }
  DastResult* create_empty_result() const override { return new DastResult(4, 0, 255, 100); }
  int get_remaining_time() const override { return remainingTime; }

  std::vector<Row> rows;
  int numSearches = 0;
  int remainingTime = 1000;
  bool isBroken = false;
};

struct Destroy {
  void operator()(DareExreConfig* config) const { config->destroy(); }
};
using Program = std::unique_ptr<DareExreConfig, Destroy>;

Program parse(const std::string& text, AceReporter* rep = AceReporter::null(), int dedup_field = -1) {
  return Program(DareExreConfig::parse_text(text.data(), static_cast<Huge>(text.size()), "test.xml",
                                            names_of_test(dedup_field), rep));
}

std::unique_ptr<DastResult> run(const Program& program, FakeSession* session,
                                AceReporter* rep = AceReporter::null()) {
  const DareMultiQuery query(4);
  return std::unique_ptr<DastResult>(DareExreEngine(program.get(), session, rep).run(&query));
}

/// Category, rule, reason, and per suggestion record, quality and info.
std::string shown(const DastResult* result) {
  if (result == nullptr) return "(null)";
  std::string text =
      std::to_string(result->get_category()) + " " + result->get_rule() + " '" + result->get_reason() + "'";
  for (int i = 0; i < result->get_num_suggs(); ++i) {
    const DastSuggestion* suggestion = result->get_sugg(i);
    const char* info = suggestion->repObj->get_record_info();
    text += " " + std::to_string(suggestion->recordIndex) + ":" + std::to_string(suggestion->get_quality()) +
            "[" + (info != nullptr ? info : "") + "]";
  }
  return text;
}

std::string in_file(const std::string& filters, const std::string& rules) {
  return "<KVConfiguration svversion=\"90.0\"><filters>" + filters + "</filters><rules>" + rules +
         "</rules></KVConfiguration>";
}

std::string element(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}

std::string with_class(const std::string& name, const std::string& kind, const std::string& text) {
  return "<" + name + " class=\"" + kind + "\">" + text + "</" + name + ">";
}

// ---------------------------------------------------------------- against a plain interpreter

/// Rules as plain data, their text, and what they do to plain lists.
struct PlainEntry {
  Large record;
  int quality;
  std::string info;
};
struct PlainCheck {  // a filter or an acceptance
  std::string kind;
  int number = 0;
  std::string text;
  int field = 0;
  std::vector<PlainCheck> parts;
};
struct PlainRule {
  std::string input;
  std::string output;
  int filter = -1;
  int penalty = 0;
  std::string relation;
  PlainCheck acceptance;
  int yes = 0;  // the rule, or after the last one a category
  int no = 0;
};
struct PlainProgram {
  std::vector<PlainCheck> filters;
  std::vector<PlainRule> rules;
};

class Generator {
 public:
  explicit Generator(unsigned seed) : random(seed) {}
  int pick(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
  std::string word() {
    return std::string(1, "abc"[pick(3)]) + (pick(2) == 0 ? "" : std::string(1, "abc"[pick(3)]));
  }

  PlainCheck check(const std::vector<std::string>& kinds, int depth) {
    PlainCheck made;
    made.kind = kinds[static_cast<std::size_t>(pick(static_cast<int>(kinds.size())))];
    made.number = made.kind.find("num") != std::string::npos ? pick(6) : pick(256);
    if (made.kind == "record_min_diff") made.number = pick(40);
    made.text = word();
    made.field = pick(4);
    const bool isCompound = made.kind == "and" || made.kind == "or" || made.kind.empty();
    for (int i = isCompound && depth > 0 ? pick(4) : 0; i > 0; --i)
      made.parts.push_back(check(kinds, depth - 1));
    return made;
  }
  PlainProgram program() {
    PlainProgram made;
    for (int i = 0; i < 3; ++i)
      made.filters.push_back(check({"record_min_qual", "field_min_qual", "field_value", "include_relation",
                                    "exclude_relation", "is_relation", "and", "or", ""},
                                   3));
    const int numRules = 1 + pick(6);
    for (int i = 0; i < numRules; ++i) made.rules.push_back(rule(i, numRules));
    return made;
  }
  std::vector<Row> table() {
    std::vector<Row> rows(static_cast<std::size_t>(pick(8)));
    for (Row& row : rows) {
      for (auto& string : row.strings) string = pick(4) == 0 ? "" : word();
      for (int& quality : row.quality) quality = 256 - 8 - pick(20) * 12;
      for (int& quality : row.fieldQuality) quality = pick(3) == 0 ? 0 : pick(256);
    }
    return rows;
  }

 private:
  PlainRule rule(int number, int num_rules) {
    PlainRule made;
    const std::string named = "result_" + std::to_string(1 + pick(num_rules));
    const std::string combi = COMBINATIONS[static_cast<std::size_t>(pick(3))];
    const std::string inputs[] = {"",
                                  combi + "()",
                                  named,
                                  combi + "(" + named + ")",
                                  combi + "(loose())",
                                  " default ( " + combi + "( " + named + " ) ) "};
    made.input = number == 0 ? combi + "()" : inputs[pick(6)];
    made.filter = pick(5) - 2;
    made.penalty = pick(2) * pick(60);
    made.relation = pick(3) == 0 ? "" : word();
    made.acceptance = check({"has_num_records", "min_num_records", "max_num_records", "record_min_qual",
                             "record_min_diff", "include_relation", "exclude_relation", "and", "or", ""},
                            3);
    made.yes = pick(num_rules + 7);
    made.no = pick(num_rules + 7);
    return made;
  }
  std::mt19937 random;
};

const char* CATEGORIES[] = {"sample", "SUGGEST", "Select", "CONFIRM", "match", "EXACT"};

std::string text_of(const PlainCheck& check, const std::string& name, const std::string& extra) {
  const bool isCompound = check.kind == "and" || check.kind == "or" || check.kind.empty();
  std::string text = "<" + name + extra + (check.kind.empty() ? "" : " class=\"" + check.kind + "\"");
  if (check.kind.starts_with("field"))
    text += " fieldname=\"" + FIELDS[static_cast<std::size_t>(check.field)] + "\"";
  text += ">";
  for (const PlainCheck& part : check.parts) text += text_of(part, name, "");
  if (!isCompound)
    text += check.kind.ends_with("relation") || check.kind == "field_value" ? "\n " + check.text + " "
                                                                            : std::to_string(check.number);
  return text + "</" + name + ">";
}

std::string text_of(const PlainProgram& program) {
  std::string filters;
  std::string rules;
  for (std::size_t i = 0; i < program.filters.size(); ++i)
    filters += text_of(program.filters[i], "filter", " name=\"f" + std::to_string(i) + "\"");
  const auto instruction = [&](const char* name, int target) {
    const int numRules = static_cast<int>(program.rules.size());
    if (target == numRules + 6) return std::string();
    return element(name, target < numRules ? "r" + std::to_string(target) : CATEGORIES[target - numRules]);
  };
  for (std::size_t i = 0; i < program.rules.size(); ++i) {
    const PlainRule& rule = program.rules[i];
    rules += "<rule name=\"r" + std::to_string(i) + "\">" + element("input", rule.input) +
             (rule.filter >= 0 ? element("filter", "f" + std::to_string(rule.filter)) : "") +
             element("penalty", std::to_string(rule.penalty)) +
             (rule.relation.empty() ? "" : element("relation", rule.relation)) +
             text_of(rule.acceptance, "acceptance", "") + instruction("decision", rule.yes) +
             instruction("otherwise", rule.no) + "</rule>";
  }
  return in_file(filters, rules);
}

class Interpreter {
 public:
  Interpreter(const PlainProgram& program, const std::vector<Row>& table, int dedup)
      : itsProgram(program), rows(table), dedupField(dedup) {}

  std::string run() {
    const int numRules = static_cast<int>(itsProgram.rules.size());
    for (int at = 0, executed = 1;; ++executed) {
      const PlainRule& rule = itsProgram.rules[static_cast<std::size_t>(at)];
      std::vector<PlainEntry> list = input(rule.input);
      if (rule.filter >= 0) {
        std::erase_if(list, [&](const auto& e) {
          return !keeps(itsProgram.filters[static_cast<std::size_t>(rule.filter)], e);
        });
        for (auto& entry : list) entry.quality = std::max(entry.quality - rule.penalty, 0);
      }
      if (rule.filter >= 0) add_relation(rule, &list);
      const bool isAccepted = accepts(rule.acceptance, list);
      if (rule.filter < 0 && isAccepted) add_relation(rule, &list);
      results["result_" + std::to_string(at + 1)] = list;
      const int target = isAccepted ? rule.yes : rule.no;
      if (target < numRules && executed < DareExreEngine::MAX_EXECUTED) {
        at = target;
        continue;
      }
      const int category = target < numRules || target == numRules + 6 ? 7 : target - numRules + 1;
      std::string text = std::to_string(category) + " r" + std::to_string(at) + " '" + rule.relation + "'";
      for (const auto& entry : list)
        text +=
            " " + std::to_string(entry.record) + ":" + std::to_string(entry.quality) + "[" + entry.info + "]";
      return text;
    }
  }

 private:
  static void add_relation(const PlainRule& rule, std::vector<PlainEntry>* list) {
    for (auto& entry : *list) {
      const bool isTooLong = entry.info.size() + rule.relation.size() >= 65536;
      if (!rule.relation.empty() && !isTooLong) entry.info += (entry.info.empty() ? "" : " ") + rule.relation;
    }
  }
  std::vector<PlainEntry> input(std::string text) {
    std::erase(text, ' ');
    if (text.empty()) text = "default()";
    const std::size_t open = text.find('(');
    if (open == std::string::npos) return results[text];
    const int combi = index_in(COMBINATIONS, text.substr(0, open).c_str());
    const std::string inner = text.substr(open + 1, text.size() - open - 2);
    std::vector<PlainEntry> list;
    if (!inner.empty())
      list = input(inner);
    else
      for (std::size_t r = 0; r < rows.size(); ++r) list.push_back({static_cast<Large>(r), 0, ""});
    for (auto& entry : list) entry.quality = rows[entry.record].quality[combi];
    std::stable_sort(list.begin(), list.end(),
                     [](const auto& a, const auto& b) { return a.quality > b.quality; });
    std::erase_if(list, [&](const auto& entry) { return entry.quality < LEAST[combi]; });
    return list;
  }
  bool keeps(const PlainCheck& filter, const PlainEntry& entry) const {
    const Row& row = rows[entry.record];
    const auto part = [&](const PlainCheck& inner) { return keeps(inner, entry); };
    const bool contains = entry.info.find(filter.text) != std::string::npos;
    if (filter.kind == "record_min_qual") return entry.quality >= filter.number;
    if (filter.kind == "field_min_qual") return row.fieldQuality[filter.field] >= filter.number;
    if (filter.kind == "field_value")
      return row.strings[static_cast<std::size_t>(filter.field)] == filter.text;
    if (filter.kind == "include_relation") return contains;
    if (filter.kind == "exclude_relation") return !contains;
    if (filter.kind == "is_relation") return entry.info == filter.text;
    if (filter.kind == "or") return std::any_of(filter.parts.begin(), filter.parts.end(), part);
    return std::all_of(filter.parts.begin(), filter.parts.end(), part);
  }
  bool accepts(const PlainCheck& wanted, const std::vector<PlainEntry>& list) const {
    const int count = static_cast<int>(list.size());
    const auto part = [&](const PlainCheck& inner) { return accepts(inner, list); };
    const bool includes = std::any_of(list.begin(), list.end(), [&](const auto& entry) {
      return entry.info.find(wanted.text) != std::string::npos;
    });
    if (wanted.kind == "has_num_records") return count == wanted.number;
    if (wanted.kind == "min_num_records") return count >= wanted.number;
    if (wanted.kind == "max_num_records") return count <= wanted.number;
    if (wanted.kind == "record_min_qual") return count > 0 && list[0].quality >= wanted.number;
    if (wanted.kind == "record_min_diff") {
      if (count == 0) return false;
      const auto value = [&](int i) {
        return dedupField < 0 ? ""
                              : rows[list[static_cast<std::size_t>(i)].record]
                                    .strings[static_cast<std::size_t>(dedupField)];
      };
      int second = 1;
      while (second < count && !value(0).empty() && value(second) == value(0)) ++second;
      return second == count ||
             list[0].quality - list[static_cast<std::size_t>(second)].quality >= wanted.number;
    }
    if (wanted.kind == "include_relation") return includes;
    if (wanted.kind == "exclude_relation") return !includes;
    if (wanted.kind == "or") return std::any_of(wanted.parts.begin(), wanted.parts.end(), part);
    return std::all_of(wanted.parts.begin(), wanted.parts.end(), part);
  }

  const PlainProgram& itsProgram;
  const std::vector<Row>& rows;
  int dedupField;
  std::map<std::string, std::vector<PlainEntry>> results;
};

TEST(DareExre, a_program_does_what_a_plain_interpreter_does) {
  for (unsigned seed = 1; seed <= 3000; ++seed) {
    Generator generator(seed);
    const PlainProgram plain = generator.program();
    const int dedup = seed % 2 == 0 ? 3 : -1;
    const Program program = parse(text_of(plain), AceReporter::null(), dedup);
    ASSERT_NE(program, nullptr) << text_of(plain);
    FakeSession session(generator.table());
    EXPECT_EQ(shown(run(program, &session).get()), Interpreter(plain, session.rows, dedup).run())
        << "seed " << seed << "\n"
        << text_of(plain);
    EXPECT_LE(session.numSearches, 4) << "each combination once, and the first one without name";
  }
}

// ---------------------------------------------------------------- by example

TEST(DareExre, every_example_of_the_reference_is_a_program) {
  std::ifstream page(TEST_RULES);
  std::string text;
  int numPrograms = 0;
  for (std::string line; std::getline(page, line);) {
    if (line == "```xml") {
      text.clear();
    } else if (line == "```" && !text.empty()) {
      support::RecordingReporter rep;
      EXPECT_NE(parse(text, &rep), nullptr) << text << rep.all();
      ++numPrograms;
      text.clear();
    } else {
      text += line + "\n";
    }
  }
  EXPECT_EQ(numPrograms, 4);
}

TEST(DareExre, the_older_format_runs_rule_after_rule) {
  const std::string text =
      "<rules><rule><combination>exact</combination><abs-threshold>250</abs-threshold>"
      "<decision>MATCH</decision><relation>exact</relation></rule>"
      "<rule><combination>nobody</combination><relation>city</relation><decision>select</decision>"
      "<field-condition name=\"city\" abs-threshold=\"200\" pot-threshold=\"50\" default=\"optional\"/>"
      "<field-condition><name>street</name></field-condition></rule></rules>";
  support::RecordingReporter rep;
  const Program program = parse(text, &rep);
  ASSERT_NE(program, nullptr);
  EXPECT_EQ(rep.all(),
            "svversion attribute:  (not compatible)\n"
            "Rule #2 refers to an unknown combination 'nobody', falling back to default combination\n"
            "Unknown session field 'street', condition on this field will be ignored\n");
  std::vector<Row> rows(2);
  rows[0].quality[0] = 240;
  rows[1].quality[0] = 230;
  rows[0].fieldQuality[2] = 220;
  FakeSession session(rows);
  EXPECT_EQ(shown(run(program, &session).get()), "3 R2 'city' 0:240[city] 1:230[city]");
  session.rows[1].fieldQuality[2] = 180;
  EXPECT_EQ(shown(run(program, &session).get()), "7 R2 'city' 0:240[] 1:230[]") << "not 50 better";
  session.rows[0].fieldQuality[2] = 0;
  EXPECT_EQ(run(program, &session)->get_category(), DastResult::SELECT) << "optional";
  session.rows[0].quality[1] = 251;
  EXPECT_EQ(shown(run(program, &session).get()), "5 R1 'exact' 0:251[exact]");
  const std::string version = "<KVConfiguration svversion=\"91.0\">" + text + "</KVConfiguration>";
  EXPECT_NE(parse(version, &rep), nullptr);
}

TEST(DareExre, traces_tell_which_acceptor_refused) {
  const Program program = parse(in_file(
      "",
      "<rule name=\"a\"><relation>rel</relation>" +
          with_class("acceptance", "or",
                     with_class("acceptance", "has_num_records", "3") +
                         with_class("acceptance", "and", with_class("acceptance", "record_min_qual", "1"))) +
          "<otherwise>b</otherwise></rule><rule name=\"b\">" +
          with_class("acceptance", "max_num_records", "9") + "<decision>MATCH</decision></rule>"));
  FakeSession session({});
  support::RecordingReporter rep;
  AceTracer::set("EXRE_ACCEPTOR", 1);
  run(program, &session, &rep);
  AceTracer::set("EXRE_ACCEPTOR", 0);
  EXPECT_EQ(rep.all(),
            "Rule a: rel: Combination: ->,AndAcceptor: Rejected by acceptor 0OrAcceptor: Rejected"
            "Rule b: : Combination: ->,Rule b acceptedMaxNumRecordsAcceptor: 9 Records max");
}

TEST(DareExre, what_is_not_there_yet_is_empty_and_failing_searches_end_a_run) {
  const Program program =
      parse(in_file("", "<rule name=\"a\"><input>exact(later)</input><otherwise>SUGGEST</otherwise>" +
                            with_class("acceptance", "min_num_records", "1") +
                            "</rule><rule name=\"b\"><output>later</output></rule>"));
  ASSERT_NE(program, nullptr);
  FakeSession session(std::vector<Row>(3));
  support::RecordingReporter rep;
  EXPECT_EQ(shown(run(program, &session, &rep).get()), "2 a ''");
  EXPECT_NE(rep.all().find("'later'"), std::string::npos);
  const Program search = parse(in_file("", "<rule name=\"a\"/>"));
  session.isBroken = true;
  EXPECT_EQ(run(search, &session), nullptr);
}

TEST(DareExre, one_program_serves_many_sessions_at_once) {
  Generator generator(5);
  const PlainProgram plain = generator.program();
  const Program program = parse(text_of(plain));
  const std::vector<Row> rows = generator.table();
  const std::string expected = Interpreter(plain, rows, -1).run();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      program->ref();
      FakeSession session(rows);
      for (int k = 0; k < 50; ++k) EXPECT_EQ(shown(run(program, &session).get()), expected);
      program->destroy();
    });
  for (auto& thread : threads) thread.join();
}

// ---------------------------------------------------------------- faults and hostile files

TEST(DareExre, faults_make_a_program_unusable_and_are_named) {
  const std::string rule = "<rule name=\"r\"/>";
  const auto with = [&](const std::string& content) {
    return in_file("", "<rule name=\"first\"/><rule name=\"r\">" + content + "</rule>");
  };
  const std::pair<std::string, const char*> faulty[] = {
      {in_file(with_class("filter", "maybe", ""), rule),
       "Unknown filter class. Filter number: 1; filter name: ; filter class: maybe\n"},
      {in_file("<filter name=\"a\"/><filter name=\"a\"/>", rule),
       "Filter number: 2; name: a; element 'filter': a name of its own"},
      {in_file("<filter name=\"a\" class=\"field_value\" fieldname=\"x\">1</filter>", rule), "'x'"},
      {in_file("<filter name=\"a\" class=\"record_min_qual\">1x</filter>", rule),
       "a number expected, '1x' found"},
      {in_file("<filter name=\"a\" class=\"is_relation\"> </filter>", rule), "a relation"},
      {in_file("<filter name=\"a\" class=\"or\"><acceptance/></filter>", rule), "'acceptance'"},
      {in_file("", "<rule/>"), "a name of its own"},
      {in_file("", rule + rule),
       "Rule number: 2; name: r; element 'rule': a name of its own expected, 'r' found\n"},
      {with("<filter>b</filter>"), "Unknown filter name. Rule number: 2; rule name: r; filter name: b\n"},
      {with("<penalty>99999999999</penalty>"), "'99999999999'"},
      {with("<relation> </relation>"), "a relation"},
      {with("<decision>perhaps</decision>"), "'perhaps'"},
      {with("<decision>first</decision><decision>first</decision>"),
       "one element expected, 'decision' found"},
      {with("<otherwize>first</otherwize>"), "'otherwize'"},
      {with("text"), "'text'"},
      {with("<acceptance class=\"most\"/>"),
       "Unknown acceptance class. Rule number: 2; acceptance class: most\n"},
      {with("<acceptance class=\"min_num_records\"/>"), "a number"},
      {with("<acceptance class=\"include_relation\"/>"), "a relation"},
      {with("<input>nowhere()</input>"), "the name of a combination expected, 'nowhere' found"},
      {with("<input>nowhere</input>"), "the name of a rule's output expected, 'nowhere' found"},
      {with("<input>exact(</input>"), "'exact('"},
      {with("<input>exact()x</input>"), "'exact()x'"},
      {with("<input>(result_1)</input>"), "'(result_1)'"},
      {with("<input>result_1)</input>"), "'result_1)'"},
      {"<KVConfiguration svversion=\"90.0\"/>", "No rules defined in file \"test.xml\"\n"},
      {"<other/>", "'other'"},
      {"<rules>", "ERROR: Unable to parse XML file \"test.xml\"\n"},
      {"", "ERROR: Unable to parse XML file \"test.xml\"\n"}};
  for (const auto& [text, message] : faulty) {
    support::RecordingReporter rep;
    EXPECT_EQ(parse(text, &rep), nullptr) << text;
    EXPECT_NE(rep.all().find(message), std::string::npos) << text << "\n" << rep.all();
  }
  support::RecordingReporter rep;
  EXPECT_EQ(DareExreConfig::parse_config("/no/such/file", names_of_test(), &rep), nullptr);
  EXPECT_EQ(rep.all(), "ERROR: Unable to parse XML file \"/no/such/file\"\n");
}

TEST(DareExre, circles_and_slow_sessions_end_without_decision) {
  const Program circle =
      parse(in_file("",
                    "<rule name=\"a\"><relation>x</relation><decision>b</decision></rule>"
                    "<rule name=\"b\"><input>result_1</input><decision>a</decision></rule>"));
  FakeSession session(std::vector<Row>(3));
  session.rows[0].quality[0] = 255;
  support::RecordingReporter rep;
  auto result = run(circle, &session, &rep);
  EXPECT_EQ(result->get_category(), DastResult::NO_DECISION);
  EXPECT_EQ(result->get_num_suggs(), 1);
  EXPECT_NE(rep.all().find("1000 were executed, they have not decided; the last ones: 'a', 'b'"),
            std::string::npos)
      << rep.all();
  session.remainingTime = 0;
  rep.messages.clear();
  EXPECT_EQ(shown(run(circle, &session, &rep).get()), "7 a 'x' 0:255[x]");
  EXPECT_NE(rep.all().find("the time of the command is over"), std::string::npos);
}

TEST(DareExre, hostile_documents_are_refused_and_large_ones_are_read) {
  std::string bomb = "<!DOCTYPE rules [<!ENTITY a0 \"aaaaaaaaaa\">";
  for (int i = 1; i < 10; ++i) {
    bomb += "<!ENTITY a" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) bomb += "&a" + std::to_string(i - 1) + ";";
    bomb += "\">";
  }
  const std::string rule = "<rule name=\"r\"/>";
  const std::string hostile[] = {
      bomb + "]><rules><rule><relation>&a9;</relation></rule></rules>",
      "<!DOCTYPE rules SYSTEM \"file:///etc/passwd\">" + in_file("", rule),
      "<!DOCTYPE rules [<!ENTITY x SYSTEM "
      "\"file:///etc/passwd\">]><rules><rule><relation>&x;</relation></rule></rules>",
      in_file("", "<rule name=\"&unknown;\"/>"),
      in_file(
          "<filter name=\"f\">" +
              [] {
                std::string text;
                for (int i = 0; i < 10000; ++i) text += "<filter>";
                for (int i = 0; i < 10000; ++i) text += "</filter>";
                return text;
              }() +
              "</filter>",
          rule),
      in_file(
          "", "<rule name=\"r\"><input>" + [] {
            std::string text;
            for (int i = 0; i < 10000; ++i) text += "exact(";
            return text + std::string(10000, ')');
          }() + "</input></rule>")};
  for (const std::string& text : hostile) {
    support::RecordingReporter rep;
    EXPECT_EQ(parse(text, &rep), nullptr) << text.substr(0, 200);
    EXPECT_NE(rep.all(), "");
    EXPECT_LT(rep.all().size(), 2000u);
  }
  std::string rules;
  for (int i = 0; i < 10000; ++i)
    rules += "<rule name=\"r" + std::to_string(i) + "\"><otherwise>r" + std::to_string((i + 1) % 10000) +
             "</otherwise>" + with_class("acceptance", "min_num_records", "1") + "</rule>";
  const Program program = parse(in_file("", rules));
  ASSERT_NE(program, nullptr);
  FakeSession session({});
  EXPECT_STREQ(run(program, &session)->get_rule(), "r999");
}

TEST(DareExre, damaged_files_are_refused_or_are_programs) {
  Generator generator(11);
  const std::string good = text_of(generator.program());
  FakeSession session(generator.table());
  support::for_each_damage(good, [&](const std::string& text, const std::string&) {
    if (const Program program = parse(text); program != nullptr) run(program, &session);
  });
}

}  // namespace
