// From sources to the record file that a base is built from (records.cpp): places of a JSON file, people of a
// CSV file and of databases; tidied, profiled, joined; then a delivery of changes.
//
//   extract FOLDER PLACES [PEOPLE CHANGES [DATA_SOURCE...]]
//
// PLACES: objects with name, country, lat and lng. PEOPLE: given name; surname; street; number; postcode;
// city; year, month, day of birth; e-mail, behind a header. CHANGES: lines of the record file, as they are
// now, "<del>" and TAB in front of those that are gone. DATA_SOURCE: of odbc.ini, with a table `people` of
// the same columns. FOLDER gets the record files, beside each its profile and what was rejected.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_diff.h"
#include "damo/damo_extract.h"
#include "damo/damo_field.h"
#include "damo/damo_standard_input.h"
#include "damo/damo_statistic.h"
#include "tera/tera_standard_transform.h"

namespace {

/// A field of a record file: from one field of the source, or from several with a text in between.
struct Plan {
  const char* name;
  std::vector<int> sources;
  const char* between = "";
};
const std::vector<Plan> PLACE = {{"name", {0}}, {"country", {1}}, {"position", {2, 3}, ","}};
const std::vector<Plan> PERSON = {
    {"given", {1}},    {"surname", {2}}, {"street", {3}},           {"number", {4}},
    {"postcode", {5}}, {"city", {6}},    {"birth", {7, 8, 9}, "-"}, {"email", {10}}};
constexpr int PERSON_COLUMNS = 11;
constexpr int CITY = 5;
constexpr int KEY[] = {0, 1, 6, 7};  // what tells people apart: names, birth, e-mail

/// Warnings only.
struct Quiet : AceReporter {
  int report_func(const char*) override { return 1; }
  int event_func(const char* text, const char*) override { return std::printf("  %s", text); }
};

std::string contents(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Writes the record file of a source, its profile and its rejects.
void extract(const std::string& file, const std::vector<Plan>& plans, int num_columns,
             const std::function<void(DamoExtract*)>& select_source) {
  const auto numFields = static_cast<int>(plans.size());
  DamoExtract run(num_columns, numFields, file.c_str(), 0, 1);  // goes on past bad records
  run.set_rejects((file + ".rejected").c_str());
  run.set_for_build();
  select_source(&run);
  StandardTransform tidy(StandardTransform::TRIM_ALL);
  std::vector<std::unique_ptr<DamoField>> fields;
  const auto make = [&](const char* name, int source) {
    fields.push_back(std::make_unique<DamoField>(name));
    fields.back()->set_source(source);
    fields.back()->set_transform(&tidy);
    return fields.back().get();
  };
  std::vector<const char*> names;
  for (const auto& [name, sources, between] : plans) {
    names.push_back(name);
    DamoField* const field = make(name, sources[0]);
    field->set_concat(between);
    for (const int source : sources)
      if (sources.size() > 1) field->add_subfield(make("", source));
    run.add_field(field);
  }
  Quiet reporter;
  DamoStatistic input(1, '\t', num_columns, nullptr), output(1, '\t', numFields, names.data());
  const VInt numLines = run.extract(0, nullptr, 0, &reporter, &input, &output, 0, 1);
  output.write_page((file + ".profile").c_str());
  std::printf("%s: %ld records, %ld bad ones\n", file.c_str(), numLines, input.get_num_bad_lines());
}

/// Calls `use(fields)` for each record of a record file.
void for_each_record(const std::string& file, const std::function<void(const DamoInput&)>& use) {
  const std::unique_ptr<DamoInput> input(DamoStandardInput(file.c_str(), '\t', AceReporter::null(), 0));
  while (input != nullptr && input->read_line(nullptr, 0) >= 0) use(*input);
}

/// Where the people live: their cities joined with the places.
void join(const std::string& places, const std::string& people) {
  std::unordered_map<std::string, std::string> countries;
  for_each_record(places,
                  [&](const DamoInput& place) { countries.emplace(place.get_field(0), place.get_field(1)); });
  std::map<std::string, int> counts;
  for_each_record(people, [&](const DamoInput& person) {
    const auto found = countries.find(person.get_field(CITY));
    ++counts[found != countries.end() ? found->second : "unknown places"];
  });
  std::vector<std::pair<std::string, int>> order(counts.begin(), counts.end());
  std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  order.resize(std::min<std::size_t>(order.size(), 6));
  for (const auto& [country, count] : order) std::printf("  %7d in %s\n", count, country.c_str());
}

/// Applies what has changed since. People who are neither there nor in the changes stay as they are.
void apply(const std::string& old, const std::string& changes, const std::string& now) {
  DamoDiff diff(KEY, static_cast<int>(std::size(KEY)), static_cast<int>(PERSON.size()), 0, 0);
  diff.add_file(old.c_str(), now.c_str());
  diff.set_del_file((now + ".deleted").c_str());
  const VInt numChanges = diff.add_diff(changes.c_str(), AceReporter::null());
  diff.update(AceReporter::null());
  const std::string deleted = contents(now + ".deleted");
  const auto numDeleted = std::count(deleted.begin(), deleted.end(), '\n');
  std::printf("%s: after %ld changes, %ld people deleted\n", now.c_str(), numChanges, numDeleted);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3 || argc == 4)
    return std::fprintf(stderr, "usage: extract FOLDER PLACES [PEOPLE CHANGES [DATA_SOURCE...]]\n"), 2;
  const std::string folder = argv[1], places = folder + "/places.txt", people = folder + "/people_old.txt";
  extract(places, PLACE, 4, [&](DamoExtract* run) {
    const char* paths[] = {"name", "country", "lat", "lng"};
    run->json_file(argv[2], "@", paths, 4);
  });
  std::printf("%s\n", contents(places + ".profile").c_str());
  if (argc == 3) return 0;
  extract(people, PERSON, PERSON_COLUMNS,
          [&](DamoExtract* run) { run->csv_file(argv[3], ';', 1, PERSON_COLUMNS, '"', '\0'); });
  for (int i = 5; i < argc; ++i) {
    const std::string table = folder + "/people_table.txt";
    extract(table, PERSON, PERSON_COLUMNS, [&](DamoExtract* run) {
      run->odbc_conn(argv[i], nullptr, nullptr, nullptr, nullptr, "select * from people order by id");
    });
    std::printf("  from %s: %s\n", argv[i], contents(table) == contents(people) ? "the same" : "different");
  }
  join(places, people);
  apply(people, argv[4], folder + "/people_now.txt");
  return 0;
} catch (const AceException& failure) {
  return failure.print(static_cast<AceReporter*>(nullptr)), 1;
}
