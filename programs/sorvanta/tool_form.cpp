// sorvanta form: a session, field by field, on a terminal or as a page.
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_form_page.h"
#include "sorvanta/tool_form_terminal.h"
#include "sorvanta/tool_page_server.h"
#include "sorvanta/tool_target.h"
#include "sorvanta/tool_verbs.h"

namespace {

struct FormOptions {
  std::string base;
  bool isPage = false;
  int port = ANY_PORT;
};

int form(const FormOptions& options) {
  Target target(options.base);
  if (target.has_words()) throw Failure(printable(options.base) + ": expected a base, found a word index");
  options.isPage ? serve_form(&target, options.port) : run_terminal_form(&target);
  return FOUND;
}

}  // namespace

void declare_form(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "form",
      "A form on the terminal: values while you type, records on Enter, fields that are selected, undo and "
      "redo, and the decision of the rules. With --page the same as a page for a browser on this machine.");
  verb->footer(terminal_form_help() +
               "\nExamples:\n  sorvanta form people.base\n  sorvanta form people.base --page --port 8080");
  const auto options = add_verb_action<FormOptions>(verb, action, form);
  verb->add_option("BASE", options->base, "A base, or an ldb file")->required()->type_name("");
  auto* const page =
      verb->add_flag("--page", options->isPage, "Prints an address to open in a browser; ends with Ctrl-C");
  verb->add_option("--port", options->port, "The port of the page, on 127.0.0.1 only (default: a free one)")
      ->needs(page)
      ->check(CLI::Range(1, 65535).description(""))
      ->type_name("NUMBER");
}
