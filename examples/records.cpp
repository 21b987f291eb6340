// Records by several fields at once: builds a base of people from a text file, maps it, and answers
// questions.
//
//   records FOLDER RECORDS QUESTIONS      RECORDS: eight fields between tabs. QUESTIONS: a record number,
//   given name,
//                                         surname, street and city between tabs; empty fields are not asked
//
// On a terminal it goes on with questions that you type.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

struct Field {
  const char* name;
  const char* type;  // features, intervals, index, strings
};
constexpr Field FIELDS[] = {
    {"given", "ADVANCED|CHANGING|FULL|ORIGINAL"},   {"surname", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"street", "ADVANCED|CHANGING|FULL|ORIGINAL"},  {"number", "ADVANCED|CHANGING|NONE|ORIGINAL"},
    {"postcode", "ADVANCED|CHANGING|NONE|NUMERIC"}, {"city", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"birth", "ADVANCED|CHANGING|NONE|ORIGINAL"},   {"email", "BASIC|CHANGING|NONE|ORIGINAL"}};
constexpr int NUM_FIELDS = static_cast<int>(std::size(FIELDS));
constexpr int ASKED[] = {0, 1, 2, 5};  // the fields of a question
constexpr int NUM_ASKED = static_cast<int>(std::size(ASKED));
constexpr int MAPPED = 1;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Declares the fields, with a method for those that can be asked, and builds them from the file.
int build(const std::string& folder, const char* records) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9");
  config.map_upper();
  config.deaccentuate();
  TeraMap map;
  config.compile_map(&map);

  const char* names[NUM_FIELDS];
  std::transform(std::begin(FIELDS), std::end(FIELDS), names, [](const Field& field) { return field.name; });
  DastBase base(NUM_FIELDS, names, nullptr, nullptr, folder.c_str(), "utf-8", 0, 0, "1", 0, 0);
  AceReporter* rep = AceReporter::null();
  for (const Field& field : FIELDS) {
    if (base.assign(field.name, field.type, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr, -1, AceReporter::use_default(), 0) < 0)
      return -1;
    if (std::strstr(field.type, "FULL") == nullptr) continue;
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
    if (method->configure_build_options("", &map) < 0 ||
        method->configure_recall_options("-min_value 180") < 0)
      return -1;
    base.configure_field(field.name, method.release());
  }
  if (base.make(records, "NONE", nullptr, nullptr, nullptr, rep) < 0 || base.make_all_access(rep) < 0)
    return -1;
  return base.dump((folder + "/people.base").c_str(), rep);
}

/// A record that answers a question: its weight is the sum of the qualities of its fields.
struct Answer {
  Large record;
  int weight;
};

/// The best records for up to four fields. Each field gives lists of records by quality; the weights of a
/// record add up.
std::vector<Answer> ask(const DastBase& base, const std::string (&query)[NUM_ASKED], std::size_t wanted) {
  std::vector<int> weights(base.get_num_records(), 0);
  std::vector<Large> touched;
  for (int i = 0; i < NUM_ASKED; ++i) {
    if (query[i].empty()) continue;
    const DastBaseField* field = base.get_field(ASKED[i]);
    TeraScanGraph* graph =
        field->full_scan_resolve(DastOptions::APPROX, query[i].c_str(), nullptr, 0, 0, AceReporter::null());
    if (graph == nullptr) continue;
    AceAttach at;
    HitList::Settings settings;
    settings.weight = 1;
    settings.maxRecord = base.get_num_records();
    HitList** lists = nullptr;
    const int count = HitList::separate(graph->get_first_result(), nullptr, settings, &lists, &at);
    for (int k = 0; k < count; ++k)
      while (lists[k]->promote() > 0) {  // the start of a run of records; then its end
        const Large end = lists[k]->get_record();
        for (Large record = lists[k]->get_start(); record < end; ++record) {
          if (weights[record] == 0) touched.push_back(record);
          weights[record] += lists[k]->get_weight();
        }
        lists[k]->promote();
      }
    graph->decr_ref();
  }
  const auto is_better = [&](Large a, Large b) {
    return weights[a] != weights[b] ? weights[a] > weights[b] : a < b;
  };
  const auto kept = static_cast<long>(std::min(wanted, touched.size()));
  std::partial_sort(touched.begin(), touched.begin() + kept, touched.end(), is_better);
  std::vector<Answer> best;
  for (auto record = touched.begin(); record != touched.begin() + kept; ++record)
    best.push_back({*record, weights[*record]});
  return best;
}

/// Reads the fields of a question, prints the three best records, and tells whether the first is the one
/// expected.
bool answer(const DastBase& base, std::istringstream* parts, char separator, Large expected) {
  std::string query[NUM_ASKED];
  for (std::string& part : query) std::getline(*parts, part, separator);
  const auto start = std::chrono::steady_clock::now();
  const std::vector<Answer> answers = ask(base, query, 3);
  const double seconds = seconds_since(start);
  std::printf("%s | %s | %s | %s    (%.1f ms)\n", query[0].c_str(), query[1].c_str(), query[2].c_str(),
              query[3].c_str(), 1000 * seconds);
  for (const Answer& found : answers) {
    AceAttach at;
    Large lengths[NUM_FIELDS];
    const char* values[NUM_FIELDS];
    base.get_line(found.record, lengths, values, &at);
    std::printf("  %s%7u  %4d  %s %s, %s %s, %s %s\n", found.record == expected ? "=>" : "  ", found.record,
                found.weight, values[0], values[1], values[2], values[3], values[4], values[5]);
  }
  return !answers.empty() && answers[0].record == expected;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) return std::fprintf(stderr, "usage: records FOLDER RECORDS QUESTIONS\n"), 2;
  auto start = std::chrono::steady_clock::now();
  if (build(argv[1], argv[2]) < 0) return 1;
  std::printf("built in %.1f s\n", seconds_since(start));
  start = std::chrono::steady_clock::now();
  DastBase base;
  if (base.load((std::string(argv[1]) + "/people.base").c_str(), MAPPED, nullptr) < 0) return 1;
  std::printf("mapped %u records in %.1f ms\n", base.get_num_records() - 1, 1000 * seconds_since(start));

  int numFound = 0;
  int numAsked = 0;
  std::ifstream questions(argv[3]);
  for (std::string line; std::getline(questions, line); ++numAsked) {
    std::istringstream parts(line);
    std::string expected;
    std::getline(parts, expected, '\t');
    numFound += answer(base, &parts, '\t', static_cast<Large>(std::stoul(expected))) ? 1 : 0;
  }
  std::printf("%d of %d questions have the record that was meant first\n", numFound, numAsked);
  if (isatty(STDIN_FILENO) == 0) return 0;
  const char* prompt = "given name, surname, street, city: ";
  for (std::string line; std::printf("%s", prompt), std::getline(std::cin, line);) {
    std::istringstream parts(line);
    answer(base, &parts, ',', 0);
  }
  return 0;
} catch (const AceException& failure) {
  failure.print(static_cast<AceReporter*>(nullptr));
  return 1;
}
