/// What the benchmarks of sessions ask: forms over a table of people (dast/people.h), each with an edit in
/// two of its four fields, and templates over a base of them.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "dare/dare_result.h"
#include "dare/dare_session.h"
#include "dast/people.h"
#include "ratio.h"

namespace forms {

inline constexpr int NUM_FORMS = 1000;
inline constexpr int MAPPED = 1;
inline constexpr const char* FIELDS[] = {"given", "surname", "street", "city"};
inline constexpr int NUM_FIELDS = 4;
inline constexpr int COLUMNS[] = {people::GIVEN, people::SURNAME, people::STREET, people::CITY};

struct Form {
  Large record;
  std::string values[NUM_FIELDS];
};

/// Each with an edit in two of its fields.
inline const std::vector<Form>& all() {
  static const std::vector<Form> made = [] {
    if (!people::make_tables()) std::abort();
    std::vector<std::string> columns[NUM_FIELDS];
    for (int i = 0; i < NUM_FIELDS; ++i) columns[i] = people::column(COLUMNS[i]);
    std::mt19937 random(7);
    std::vector<Form> list(NUM_FORMS);
    for (Form& form : list) {
      form.record = static_cast<Large>(random() % columns[0].size()) + 1;
      for (int i = 0; i < NUM_FIELDS; ++i) form.values[i] = columns[i][form.record - 1];
      const unsigned first = random() % NUM_FIELDS;
      form.values[first] = lookup::edited(form.values[first], random);
      const unsigned second = (first + 1 + random() % (NUM_FIELDS - 1)) % NUM_FIELDS;
      form.values[second] = lookup::edited(form.values[second], random);
    }
    return list;
  }();
  return made;
}

/// All people, mapped.
inline DastBase* base() {
  static DastBase* const shared = [] {  // stays as long as the templates
    auto* const loaded = new DastBase;
    const std::string image = people::file("imageNONE");
    if (!std::filesystem::exists(image) &&
        people::build(people::FIELDS, people::NUM_FIELDS, people::file("people"), image, "NONE") < 0)
      std::abort();
    if (loaded->load(image.c_str(), MAPPED, AceReporter::null()) < 0) std::abort();
    return loaded;
  }();
  return shared;
}

/// The block of the four fields in a template.
inline std::string field_blocks(const std::string& reeval) {
  std::string text = "FIELDS\t{\n";
  for (const char* name : FIELDS)
    text += std::string(name) + "\t{\nBUILD_FIELD\t" + name + "\nREEVAL\t" + reeval + "\n}\n";
  return text + "}\n";
}

/// A template of the four fields, with the limits as they are at first.
inline const DastSession* pattern(const char* reeval) {
  static std::vector<std::pair<std::string, std::unique_ptr<DastSession>>> made;
  for (const auto& [mode, session] : made)
    if (mode == reeval) return session.get();
  const std::string text = field_blocks(reeval) + "COMBINATIONS\t{\ndefault\t{\nFIXED_CONFIG\t{\n}\n}\n}\n";
  auto session = std::make_unique<DastSession>(base(), false);
  if (session->config_session(text.c_str(), AceReporter::use_default()) < 0) std::abort();
  return made.emplace_back(reeval, std::move(session)).second.get();
}

inline void report_times(benchmark::State& state, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  state.counters["median_us"] = times[times.size() / 2] * 1e6;
  state.counters["p99_us"] = times[times.size() * 99 / 100] * 1e6;
}

inline void fill(DastSession* session, const Form& form) {
  for (int i = 0; i < NUM_FIELDS; ++i)
    session->update(FIELDS[i], form.values[i].c_str(), DastOptions::APPROX, 0);
}

/// Whether the record is among the suggestions, or no better than the last of them.
inline bool has_record(const DastResult* result, const Form& form) {
  for (int i = 0; result != nullptr && i < result->get_num_suggs(); ++i)
    if (result->get_sugg(i)->recordIndex == form.record) return true;
  return false;
}

}  // namespace forms
