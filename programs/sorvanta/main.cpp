// The command line tool: parses, runs a verb, tells what went wrong.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <sstream>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_verbs.h"
#include "svcpp/sorvanta_reporter.h"

namespace {

constexpr const char* DESCRIPTION =
    "Finds words and records in spite of typing errors: builds a base from a file of any kind, and asks it.";
constexpr const char* FOOTER =
    "Examples:\n"
    "  sorvanta build people.csv                       base people.base; its settings in people.settings\n"
    "  sorvanta find people.base surname=Mayr city=Brn\n"
    "Exit codes: 0 something was found or done, 1 nothing was found, 2 an error, which is explained.";

constexpr int LEAST_HELP = 40, MOST_HELP = 100;  // columns
constexpr std::size_t HELP_COLUMN = 30;          // where descriptions begin

void declare(CLI::App* tool, Action* action) {
  tool->get_formatter()->column_width(HELP_COLUMN);
  tool->get_formatter()->label("SUBCOMMAND", "VERB");
  tool->get_formatter()->label("Needs", "with");
  tool->name("sorvanta");
  tool->description(DESCRIPTION);
  tool->footer(FOOTER);
  tool->set_help_flag("-h,--help", "Print this help");
  tool->set_version_flag("--version", SORVANTA_VERSION, "Print the version");
  tool->require_subcommand(1);
  declare_look(tool, action);
  declare_build(tool, action);
  declare_find(tool, action);
  declare_form(tool, action);
  declare_explain(tool, action);
  declare_read(tool, action);
  declare_diff(tool, action);
  declare_check(tool, action);
  for (CLI::App* verb : tool->get_subcommands(nullptr)) verb->group("Verbs");
}

std::vector<std::string> verb_names(const CLI::App& tool) {
  std::vector<std::string> names;
  for (const CLI::App* verb : tool.get_subcommands(nullptr)) names.push_back(verb->get_name());
  return names;
}

/// A text whose lines end before the terminal does, or at a width that reads well; what is described beside
/// its name goes on below the description.
std::string wrapped(const std::string& text) {
  const int columns = terminal_width(stdout);
  const auto width =
      static_cast<std::size_t>(columns > 0 ? std::clamp(columns, LEAST_HELP, MOST_HELP) : MOST_HELP);
  std::string shown;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::string indent(line.starts_with("  ") ? HELP_COLUMN : 0, ' ');
    while (line.size() > width) {
      const std::size_t gap = line.rfind(' ', width);
      if (gap == std::string::npos || gap <= indent.size()) break;
      shown += line.substr(0, gap) + "\n";
      line = indent + line.substr(gap + 1);
    }
    shown += line + "\n";
  }
  return shown;
}

/// What is wrong with the command line, in a sentence that helps.
std::string explain(const CLI::App& tool, const CLI::ParseError& error, const std::string& first) {
  const auto chosen = tool.get_subcommands();
  if (chosen.empty() && !first.empty() && first[0] != '-') return refusal("verb", first, verb_names(tool));
  if (chosen.empty() && first.empty())
    return "which verb? There are " + listed(verb_names(tool)) + "; `sorvanta --help` explains them";
  const CLI::App& verb = chosen.empty() ? tool : *chosen.front();
  const std::vector<std::string> rest = verb.remaining(true);
  if (rest.empty()) return std::string(error.what());
  std::vector<std::string> names;
  for (const CLI::Option* option : verb.get_options())
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return rest.front()[0] == '-' ? refusal("option", rest.front(), names)
                                : "'" + printable(rest.front()) + "' is one argument too many";
}

int fail(const CLI::App& tool, const std::string& text) {
  ToolReporter::get().end();
  const auto chosen = tool.get_subcommands();
  const std::string verb = chosen.empty() ? "" : " " + chosen.front()->get_name();
  std::fprintf(stderr, "sorvanta%s: %s\n", verb.c_str(), text.c_str());
  if (const std::string more = ToolReporter::get().take_messages(); !more.empty())
    std::fprintf(stderr, "%s\n", more.c_str());
  return BROKEN;
}

/// Stops exceptions.
int run(const CLI::App& tool, const Action& action) {
  try {
    const int code = action();
    Output::check(stdout, "standard output");
    ToolReporter::get().end();
    return code;
  } catch (...) {
    return fail(tool, current_failure());
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_DFL);  // who reads us may stop, whatever our parent ignores
  std::setlocale(LC_CTYPE, "C.UTF-8");
  sv_init();
  ToolReporter::get();
  CLI::App tool;
  Action action;
  declare(&tool, &action);
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "--man" || first == "--completion") {
    action = [&] {
      return std::fputs((first == "--man" ? manual_page(tool) : bash_completion(tool)).c_str(), stdout),
             FOUND;
    };
    return run(tool, action);
  }
  try {
    tool.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return run(tool, [&] {
      std::ostringstream text;
      tool.exit(help, text, text);
      return std::fputs(wrapped(text.str()).c_str(), stdout), FOUND;
    });
  } catch (const CLI::ParseError& error) {
    return fail(tool, explain(tool, error, first));
  }
  ToolReporter::get().show_progress();
  return run(tool, action);
}
