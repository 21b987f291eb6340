// Session scripts: a command a line, over a small base. Whatever a host sends in whatever order ends with an
// answer or an error; what is undone to the start and redone to the end is as it was.
//
//     u FIELD MODE TEXT    update_result            s / d / c FIELD    select, deselect, clear
//     p / y FIELD [TO]     persist_result, copy     < / >              undo, redo
//     ? [NUMBER]           suggest                  = COMBINATION      switch_combination
//     f TEXT               search, all fields       m TEXT             multi_select
//     n FIELD              count, sample            r FIELD            resort, view, cached suggestions
//     x                    clear_all                w FIELD            widen and dedup the context
//     a FIELD              abstraction              g NUMBER           globals
#include <cstdlib>
#include <memory>
#include <sstream>

#include "dare/dare_multi_query.h"
#include "dare/dare_session.h"
#include "people.h"

namespace {

using Result = std::unique_ptr<DastResult>;

constexpr const char* TEMPLATE =
    "FIELDS\t{\nname\t{\nBUILD_FIELD\tsurname\n}\ncity\t{\nBUILD_FIELD\tcity\nSHAPE\tFILTER\nRESCALE\t200\n}"
    "\n"
    "id\t{\nBUILD_FIELD\tid\nREEVAL\tSECONDARY_ONLY\n}\nall\t{\nFS_FIELDS\t{\nsurname\t{}\ncity\t{}\n}\n}\n"
    "mode\t{\nCONTROL_CANDS\tVALUES\n}\n}\nCOMBINATIONS\t{\ndefault\t{\nMIN_CONF\t120\nMAX_DIST\t90\n"
    "FIXED_CONFIG\t{\nLOGIC\t((name|all)&city&id)\n}\n}\nother\t{\nFIXED_CONFIG\t{\nLOGIC\t(name&!city)\n"
    "CONTEXT\t{\nFIELD\tid\nDEF_MODE\t!\nDEF_STRING\t2\n}\n}\n}\nflex\t{\nFLEX_CONFIG\t{\n}\n}\n}\n"
    "SORT_ORDER\t{\n1\t{\nFIELD_NAME\tcity\n}\n}\n";

const DastSession* pattern() {
  static const DastSession* const session = [] {
    auto* made = new DastSession(people(), false);
    if (made->config_session(TEMPLATE, AceReporter::null()) < 0) std::abort();
    return made;
  }();
  return session;
}

class Script {
 public:
  Script() : session(pattern(), AceReporter::null()) { session.set_reporter(AceReporter::null()); }

  void run(const std::string& line) {
    std::istringstream words(line.size() > 1 ? line.substr(1) : "");
    std::string first, second, text;
    words >> first >> second;
    std::getline(words >> std::ws, text);
    const char* const field = first.c_str();
    const char* const fields[] = {field};
    switch (line[0]) {
      case 'u':
        keep(session.update_result(field, text.c_str(),
                                   DastOptions::get_call_from_token(second.empty() ? ' ' : second[0])));
        break;
      case 's':
        session.select(field);
        break;
      case 'd':
        session.deselect(1, fields);
        break;
      case 'c':
        session.clear(field, second.empty() ? 0 : 1);
        break;
      case 'p':
        session.persist_result(field);
        break;
      case 'y':
        session.copy_result(field, second.c_str());
        break;
      case '<':
        keep(session.undo(1));
        break;
      case '>':
        keep(session.redo(1));
        break;
      case '=':
        session.switch_active_combination(field);
        break;
      case 'x':
        session.clear_all();
        break;
      case 'g':
        session.set_globals(nullptr, nullptr, std::atoi(field), std::atoi(second.c_str()), 5);
        break;
      case 'w':
        session.widen_context(field);
        session.dedup_context(second.c_str());
        break;
      case 'a':
        session.set_abstraction_level(field);
        break;
      default:
        ask(line[0], first, second);
    }
  }

  void walk() {
    while (session.can_redo() != 0) keep(session.redo(0));
    const std::string end = state();
    while (session.can_undo() != 0) keep(session.undo(0));
    while (session.can_redo() != 0) keep(session.redo(0));
    if (state() != end) std::abort();
    keep(session.suggest(0, nullptr, 0, -1));
  }

 private:
  /// The queries, and which fields are selected.
  std::string state() const {
    const DareSessionConfig* const config = session.get_config();
    AceAttach at;
    std::string text = config->get_summary(&at);
    for (int i = 0; i < config->get_num_fields(); ++i)
      text += config->get_session_field(i)->get_context_event() > 0 ? '1' : '0';
    return text + config->get_active_combination()->get_name();
  }
  void keep(DastResult* result) { const Result owned(result); }

  /// The commands whose answers are looked at again.
  void ask(char command, const std::string& first, const std::string& second) {
    const char* const field = first.c_str();
    const int numFields = session.get_config()->get_num_fields();
    DareMultiQuery query(numFields);
    for (int i = 0; i < numFields; ++i) {
      query.set_mode(i, i == 3 ? DastOptions::FS_DETECT : DastOptions::APPROX);
      query.set_query(i, i % 2 == 0 ? field : second.c_str());
    }
    if (command == '?') keep(session.suggest(0, nullptr, 0, first.empty() ? -1 : std::atoi(field)));
    if (command == 'f') keep(session.search(&query, -1));
    if (command == 'm') session.multi_select(&query);
    if (command == 'n') {
      keep(session.count(field, nullptr, DastOptions::EMPTY, DastCountOptions(), 5));
      keep(session.generate_sample(field));
      keep(session.get_row(field, second.c_str(), 0, 5));
    }
    if (command == 'r') {
      const Result result(session.suggest(1, field, 1, 3));
      if (result != nullptr) session.resort(result.get(), field, std::atoi(second.c_str()));
      keep(session.view(0, -1));
    }
  }

  DastSession session;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::null()->set_as_default();
  if (size > 2000) return 0;
  Script script;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) script.run(line);
  script.walk();
  return 0;
}
