#include "sorvanta/tool_verbs.h"

#include <map>

namespace {

const std::map<std::string, std::string> MODES = {
    {"errors", "?"}, {"exact", "!"}, {"beginning", ">"}, {"part", "<"}};

}  // namespace

const char* find_mode(const std::string& mode) {
  return MODES.at(mode).c_str();
}

void add_mode_option(CLI::App* verb, std::string* mode) {
  verb->add_option("-m,--mode", *mode, "errors, exact, beginning or part (default: errors)")
      ->check(CLI::IsMember({"errors", "exact", "beginning", "part"}).description(""))
      ->type_name("MODE");
}

void add_output_option(CLI::App* verb, OutputForm* form) {
  static const std::map<std::string, OutputForm> forms = {
      {"table", OutputForm::TABLE}, {"tsv", OutputForm::TSV}, {"json", OutputForm::JSON}};
  verb->add_option_function<std::string>(
          "-o,--output", [form](const std::string& name) { *form = forms.at(name); },
          "table, tsv with a line of names, or json with an object a line (default: table)")
      ->check(CLI::IsMember(forms).description(""))
      ->type_name("FORM");
}
