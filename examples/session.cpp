// A form of four fields over the people of the records example, by the C++ API alone.
//
//   session FOLDER      has people.base; the session template, the rules and the ldb file are written there
// First a dialogue is played. On a terminal the form follows: values while you type, people when you press
// Enter.
#include <termios.h>
#include <unistd.h>

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
void print_form(const SorvantaSessionResult& result, int focus) {
  for (SorvantaStatus field(&result); field.get_field_name() != nullptr; field.go_next())
    std::printf("%s %-8s [%c] %-20s %d people, best %d\n", field.get_rank() == focus ? ">" : " ",
                field.get_field_name(), ".x?-+*"[field.get_status()],
                field.get_string() != nullptr ? field.get_string() : "", field.num_records(),
                field.get_best_qual());
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
  print_form(result, -1);
  const char* const modes[] = {"?", "?", nullptr, "?"};
  const char* const queries[] = {"Piere", "Moulin", nullptr, "Mirovice"};
  session->assess(&result, NUM_FIELDS, modes, queries);
  std::printf("\nassess Piere Moulin, Mirovice: %s (%s)\n", result.get_category_name(), result.get_reason());
  print_people(result, 3);
  session->clear_all();
}

void press(char key, SorvantaSession* session, SorvantaSessionResult* res, const char* field,
           std::string& text) {
  const bool isText = static_cast<unsigned char>(key) >= ' ' && key != 127;
  if (key == 127 && !text.empty()) text.pop_back();
  if (isText) text += key;
  if (isText || key == 127 || key == '\t')
    session->update(res, field, text.c_str(), text.empty() ? "-" : key == '\t' ? "?" : ">");
  if (key == '\n') session->suggest(res, 0, nullptr);
  if (key == 'T' - '@' && session->select(field) > 0) session->suggest(res, 0, field);
  if (key == 'U' - '@' || key == 'R' - '@') key == 'U' - '@' ? session->undo(res, 0) : session->redo(res, 0);
  if (key == 'X' - '@') text.clear(), session->clear(res, field, 0, 1);
}

void run_form(SorvantaSession* session) {
  termios before{};
  tcgetattr(0, &before);
  termios raw = before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  tcsetattr(0, TCSANOW, &raw);
  SorvantaSessionResult result;
  std::string texts[NUM_FIELDS];
  int focus = 0;
  session->clear(&result, FIELDS[0], 0, 1);
  for (char key = 0; key != 'Q' - '@'; press(key, session, &result, FIELDS[focus], texts[focus])) {
    std::printf("\033[2J\033[HTab next, Enter people, ^T select, ^U undo, ^R redo, ^X clear, ^Q quit\n\n");
    print_form(result, focus);
    result.get_num_suggs() > 0 ? print_people(result, 10) : print_values(result, 10);
    if (std::fflush(stdout) != 0 || read(0, &key, 1) != 1) break;
    if (key == '\t') focus = (focus + 1) % NUM_FIELDS;
  }
  tcsetattr(0, TCSANOW, &before);
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
  if (isatty(0) != 0) run_form(&session);
}
