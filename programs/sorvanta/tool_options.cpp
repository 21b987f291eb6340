#include "sorvanta/tool_verbs.h"

#include <map>

void add_output_option(CLI::App* verb, OutputForm* form) {
  static const std::map<std::string, OutputForm> forms = {
      {"table", OutputForm::TABLE}, {"tsv", OutputForm::TSV}, {"json", OutputForm::JSON}};
  verb->add_option_function<std::string>(
          "-o,--output", [form](const std::string& name) { *form = forms.at(name); },
          "table, tsv with a line of names, or json with an object a line (default: table)")
      ->check(CLI::IsMember(forms).description(""))
      ->type_name("FORM");
}
