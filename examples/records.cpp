// Records by several fields at once: builds a base of people from a text file, maps it, answers questions.
//
//   records FOLDER RECORDS QUESTIONS      RECORDS: eight fields between tabs. QUESTIONS: number of the record
//                                         that is meant, given name, surname, street and city between tabs
// On a terminal it goes on with questions that you type. Empty fields are not asked.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_magic_constructor.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr std::pair<const char*, const char*> FIELDS[] = {  // features, intervals, index, strings
    {"given", "ADVANCED|CHANGING|FULL|ORIGINAL"},   {"surname", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"street", "ADVANCED|CHANGING|FULL|ORIGINAL"},  {"number", "ADVANCED|CHANGING|NONE|ORIGINAL"},
    {"postcode", "ADVANCED|CHANGING|NONE|NUMERIC"}, {"city", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"birth", "ADVANCED|CHANGING|NONE|ORIGINAL"},   {"email", "BASIC|CHANGING|NONE|ORIGINAL"}};
constexpr int NUM_FIELDS = static_cast<int>(std::size(FIELDS));
constexpr std::array ASKED = {0, 1, 2, 5};  // the fields of a question
using Question = std::array<std::string, ASKED.size()>;
using Qualities = std::array<int, ASKED.size() + 1>;  // 0 to 255 by field, and their sum

/// Prints each section of a build as it begins. A negative result would stop the build.
struct Progress : AceReporter {
  int report_func(const char* text) override {
    if (std::strncmp(text, "PROGRESS\t", 9) == 0 && (text[9] == '<' || text[9] == '-'))
      std::printf("  %s\n", std::strrchr(text, '\t') + 1);
    return std::fflush(stdout);
  }
};

/// Declares the fields, with a method for those that can be asked, and builds them from the file.
int build(const std::string& folder, const char* records, AceReporter* rep) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9");
  config.map_upper();
  config.deaccentuate();
  TeraMap map;
  config.compile_map(&map);
  const char* names[NUM_FIELDS];
  for (int i = 0; i < NUM_FIELDS; ++i) names[i] = FIELDS[i].first;
  DastBase base(NUM_FIELDS, names, nullptr, nullptr, folder.c_str(), "utf-8", 0, 0, "1", 0, 0);
  for (const auto& [name, type] : FIELDS) {
    if (base.assign(name, type, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, -1,
                    rep, 0) < 0)
      return -1;
    if (std::strstr(type, "FULL") == nullptr) continue;
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
    if (method->configure_build_options("", &map) < 0 ||
        method->configure_recall_options("-min_value 180") < 0)
      return -1;
    base.configure_field(name, method.release());
  }
  const bool isBuilt =
      base.make(records, "NONE", nullptr, nullptr, nullptr, rep) == 0 && base.make_all_access(rep) == 0;
  return isBuilt ? base.dump((folder + "/people.base").c_str(), nullptr) : -1;
}

/// The best records: each field gives lists of records by quality, and the qualities of a record add up.
std::vector<Large> ask(const DastBase& base, const Question& question, std::vector<Qualities>* qualities) {
  qualities->assign(base.get_num_records(), Qualities{});
  std::vector<Large> found;
  for (std::size_t i = 0; i < ASKED.size(); ++i) {
    if (question[i].empty()) continue;
    TeraScanGraph* graph = base.get_field(ASKED[i])->full_scan_resolve(
        DastOptions::APPROX, question[i].c_str(), nullptr, 0, 0, AceReporter::null());
    if (graph == nullptr) continue;
    AceAttach at;
    const HitList::Settings settings{.weight = 1, .maxRecord = base.get_num_records()};
    HitList** lists = nullptr;
    const int count = HitList::separate(graph->get_first_result(), nullptr, settings, &lists, &at);
    for (HitList* list : std::vector(lists, lists + count))
      for (; list->promote() > 0; list->promote())  // the start of a run of records; then its end
        for (Large record = list->get_start(); record < list->get_record(); ++record) {
          Qualities& quality = (*qualities)[record];
          if (quality.back() == 0) found.push_back(record);
          quality.back() += std::max(list->get_weight() - quality[i], 0);
          quality[i] = std::max(list->get_weight(), quality[i]);
        }
    graph->decr_ref();
  }
  std::sort(found.begin(), found.end(), [&](Large a, Large b) {
    return std::pair(-(*qualities)[a].back(), a) < std::pair(-(*qualities)[b].back(), b);
  });
  found.resize(std::min<std::size_t>(3, found.size()));
  return found;
}

/// Answers a question with the best records, and tells whether the first is the one that is meant.
bool answer(const DastBase& base, const std::string& line, char separator) {
  std::istringstream parts(line);
  Question question;
  Large expected = 0;
  parts >> expected;
  parts.ignore();  // the separator
  for (std::string& part : question) std::getline(parts, part, separator);
  const auto start = std::chrono::steady_clock::now();
  std::vector<Qualities> qualities;
  const std::vector<Large> found = ask(base, question, &qualities);
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  for (const std::string& part : question) std::printf("%s | ", part.c_str());
  std::printf("%.1f ms\n", time.count());
  for (const Large record : found) {
    AceAttach at;
    Large lengths[NUM_FIELDS];
    const char* values[NUM_FIELDS];
    base.get_line(record, lengths, values, &at);
    const Qualities& q = qualities[record];
    std::printf("  %s%7u %5d = %3d + %3d + %3d + %3d  %s %s, %s %s, %s %s\n",
                record == expected ? "=>" : "  ", record, q.back(), q[0], q[1], q[2], q[3], values[0],
                values[1], values[2], values[3], values[4], values[5]);
  }
  return !found.empty() && found[0] == expected;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) return std::fprintf(stderr, "usage: records FOLDER RECORDS QUESTIONS\n"), 2;
  Progress progress;
  AceReporter::set_progress(1);
  if (build(argv[1], argv[2], &progress) < 0) return 1;
  DastBase base;  // mode 1 maps the file
  if (base.load((std::string(argv[1]) + "/people.base").c_str(), 1, nullptr) < 0) return 1;
  std::printf("%u people\n", base.get_num_records() - 1);
  int numFound = 0, numAsked = 0;
  std::ifstream questions(argv[3]);
  std::string line;
  for (; std::getline(questions, line); ++numAsked) numFound += answer(base, line, '\t') ? 1 : 0;
  std::printf("%d of %d questions have the record that was meant first\n", numFound, numAsked);
  while (isatty(0) != 0 && std::printf("given, surname, street, city: ") > 0 && std::getline(std::cin, line))
    answer(base, "0," + line, ',');
  return 0;
} catch (const AceException& failure) {
  return failure.print(static_cast<AceReporter*>(nullptr)), 1;
}
