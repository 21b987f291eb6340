/// The data of the record benchmarks: a table of made people, the same in every run, and a base of it.
///
/// The environment variable BENCH_PEOPLE says how many people; 50,000 if it is not set. Tables are kept from
/// run to run in the build folder.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "lookup/data.h"

namespace people {

struct Field {
  const char* name;
  const char* type;
};
inline constexpr Field FIELDS[] = {
    {"given", "ADVANCED|CHANGING|FULL|ORIGINAL"},   {"surname", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"street", "ADVANCED|CHANGING|FULL|ORIGINAL"},  {"number", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"postcode", "ADVANCED|CHANGING|FULL|NUMERIC"}, {"city", "ADVANCED|CHANGING|FULL|ORIGINAL"},
    {"birth", "ADVANCED|CHANGING|FULL|ORIGINAL"},   {"email", "BASIC|CHANGING|FULL|ORIGINAL"}};
enum FieldNumber { GIVEN, SURNAME, STREET, NUMBER, POSTCODE, CITY, BIRTH, EMAIL, NUM_FIELDS };
inline constexpr int ASKED[] = {GIVEN, SURNAME, STREET};
inline constexpr int NUM_ASKED = 3;

inline long number() {
  const char* text = std::getenv("BENCH_PEOPLE");
  const long count = text != nullptr ? std::strtol(text, nullptr, 10) : 50'000;
  return count > 0 ? count : 50'000;
}

inline std::string file(const std::string& name) {
  const std::string folder = std::string(BENCH_FOLDER) + "/" + std::to_string(number());
  std::filesystem::create_directories(folder + "/access");
  return folder + "/" + name;
}

/// Makes the tables where they are not there yet: people, and their names as one field of two words.
inline bool make_tables() {
  if (std::filesystem::exists(file("names"))) return true;
  const std::string command = std::string(BENCH_PYTHON) + " " + BENCH_GENERATOR + " " + file("people") + " " +
                              file("questions") + " " + std::to_string(number());
  if (std::system(command.c_str()) != 0) return false;
  std::ifstream table(file("people"));
  std::ofstream names(file("names.new"));
  for (std::string line; std::getline(table, line);) {
    const std::size_t tab = line.find('\t');
    names << line.substr(0, tab) << ' ' << line.substr(tab + 1, line.find('\t', tab + 1) - tab - 1) << '\n';
  }
  names.close();
  std::filesystem::rename(file("names.new"), file("names"));
  return true;
}

/// One column of the table, by record from 0.
inline std::vector<std::string> column(int field) {
  std::ifstream table(file("people"));
  std::vector<std::string> values;
  for (std::string line; std::getline(table, line);) {
    std::size_t start = 0;
    for (int i = 0; i < field; ++i) start = line.find('\t', start) + 1;
    values.push_back(line.substr(start, line.find('\t', start) - start));
  }
  return values;
}

/// A question about a record: values of `ASKED` with one or two edits each.
struct Question {
  Large record;
  std::string values[NUM_ASKED];
};

inline std::vector<Question> questions(const std::vector<std::string> (&columns)[NUM_ASKED], int count) {
  std::mt19937 random(3);
  std::vector<Question> made;
  for (int i = 0; i < count; ++i) {
    Question question;
    question.record = static_cast<Large>(random() % columns[0].size()) + 1;
    for (int k = 0; k < NUM_ASKED; ++k)
      question.values[k] = lookup::edited(columns[k][question.record - 1], random);
    made.push_back(question);
  }
  return made;
}

/// Builds a base with an edit index for each field, and writes it. Returns 0 or a negative value.
inline int build(const Field* fields, int num_fields, const std::string& table, const std::string& image,
                 const char* sort) {
  TeraMap map;
  lookup::make_map(&map);
  std::vector<const char*> names;
  for (int i = 0; i < num_fields; ++i) names.push_back(fields[i].name);
  DastBase base(num_fields, names.data(), nullptr, nullptr, file("access").c_str(), "utf-8", 0, 0, "1", 0, 0);
  AceReporter* rep = AceReporter::null();
  for (int i = 0; i < num_fields; ++i) {
    if (base.assign(fields[i].name, fields[i].type, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr, -1, rep, 0) < 0)
      return -1;
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
    if (method->configure_build_options("", &map) < 0) return -1;
    base.configure_field(fields[i].name, method.release());
  }
  if (base.make(table.c_str(), sort, nullptr, nullptr, nullptr, rep) < 0) return -1;
  if (base.make_all_access(rep) < 0) return -1;
  return base.dump(image.c_str(), rep);
}

/// The base of all people, and that of their names, mapped.
const DastBase& base();
const DastBase& names();
/// What `--alone FOLDER` does (peers/people_peers.h): answers the queries of three fields.
int ask_alone(const std::string& folder);

}  // namespace people
