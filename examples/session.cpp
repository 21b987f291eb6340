// A form of four fields over the people of the records example, by the C++ API alone.
//
//   session FOLDER      has people.base; the session template, the rules and the ldb file are written there
// A dialogue is played. `sorvanta form FOLDER/people.ldb` is a form over the same site.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "svcpp/sorvanta.h"

namespace {

const char* const FIELDS[] = {"given", "surname", "street", "city"};
constexpr int NUM_FIELDS = 4;

const char* const RULES = R"(<KVConfiguration svversion="90.0"><rules>
  <rule name="one clear person"> <input>default()</input>
    <acceptance class="and">
      <acceptance class="record_min_qual">235</acceptance> <acceptance class="record_min_diff">5</acceptance>
    </acceptance>
    <relation>the best is clearly better than the next</relation>
    <decision>MATCH</decision> <otherwise>several</otherwise> </rule>
  <rule name="several"> <input>default()</input> <relation>somebody has to choose</relation>
    <acceptance class="min_num_records">1</acceptance> <decision>SELECT</decision> </rule>
</rules></KVConfiguration>)";

void write_site(const std::string& folder) {
  std::ofstream form(folder + "/people.ses");
  form << "RUNTIME\t1000\nRULE_FILE\tpeople.rules\nFIELDS\t{\n";
  for (const char* field : FIELDS) form << field << "\t{\n\tBUILD_FIELD\t" << field << "\n}\n";
  form << "}\nCOMBINATIONS\t{\ndefault\t{\n\tMIN_CONF\t200\n\tNUM_ALTS\t10\n\tFIXED_CONFIG\t{\n"
          "\t\tLOGIC\t(given&surname&street&city)\n\t}\n}\n}\n";
  std::ofstream(folder + "/people.rules") << RULES;
  std::ofstream(folder + "/people.ldb") << "main_svd\tpeople.base\nses\tpeople.ses\n";
}

/// A line for each field: query, mark (. nothing typed, x nothing found, - not in the context, + possible, *
/// selected).
void print_form(const SorvantaSessionResult& result) {
  for (SorvantaStatus field(&result); field.get_field_name() != nullptr; field.go_next())
    std::printf("  %-8s [%c] %-20s %d people, best %d\n", field.get_field_name(),
                ".x?-+*"[field.get_status()], field.get_string() != nullptr ? field.get_string() : "",
                field.num_records(), field.get_best_qual());
}

void print_values(const SorvantaSessionResult& result, int most) {
  SorvantaAlternative value(&result);
  for (int i = 0; i < most && value.get_rep() != nullptr; ++i, value.go_next())
    std::printf("      %3d  %s (%d)%s\n", value.get_quality(), value.get_rep(), value.get_num_hits(),
                value.get_context_status() == SVAlternativeStatus::IN_CONTEXT ? "" : "  not in the context");
}

/// Differences from what was typed are marked by "~".
void print_people(const SorvantaSessionResult& result, int most) {
  SorvantaSuggestion person(&result);
  for (int i = 0; i < most && person.get_idx() >= 0; ++i, person.go_next()) {
    std::printf("      %3d ", person.get_quality());
    for (int k = 0; k < NUM_FIELDS; ++k)
      std::printf(" %s%s", person.get_field_quality(k) > 0 && person.get_field_quality(k) < 255 ? "~" : "",
                  person[k]);
    std::printf("\n");
  }
}

void play(SorvantaSession* session) {
  SorvantaSessionResult result;
  const auto type = [&](const char* field, const char* text) {
    std::printf("\ntype \"%s\" into %s\n", text, field);
    session->update(&result, field, text, "?");
    print_values(result, 3);
  };
  type("surname", "Moulan");
  type("city", "Mirovitse");
  if (session->select("city") > 0) std::printf("\nselect the city: only its people are left\n");
  type("given", "Pierr");
  if (session->suggest(&result, 0, nullptr) > 0) std::printf("\nsuggest\n");
  print_people(result, 3);
  for (int i = 0; i < 2; ++i) session->undo(&result, 0);
  std::printf("\nundo what was typed last, and the selection\n");
  print_form(result);
  const char* const modes[] = {"?", "?", nullptr, "?"};
  const char* const queries[] = {"Piere", "Moulin", nullptr, "Mirovice"};
  session->assess(&result, NUM_FIELDS, modes, queries);
  std::printf("\nassess Piere Moulin, Mirovice: %s (%s)\n", result.get_category_name(), result.get_reason());
  print_people(result, 3);
  session->clear_all();
}

int report(const char* text) {
  return std::fprintf(stderr, "%s%s", text, text[std::strlen(text) - 1] == '\n' ? "" : "\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: session FOLDER\n"), 2;
  sv_init();
  SorvantaReporter reporter(report, nullptr);
  reporter.set_as_default();
  write_site(argv[1]);
  SorvantaLdbFile ldb;
  SorvantaManager manager;
  SorvantaDataManager data(&reporter);
  if (ldb.read_from_file("people.ldb", nullptr, argv[1]) < 0 ||
      data.load(&ldb, 1, argv[1], 0, &manager, nullptr) < 0)
    return 1;
  SorvantaSession session;
  if (manager.get_session(manager.create_session("people", 0), &session) < 0) return 1;
  play(&session);
}
