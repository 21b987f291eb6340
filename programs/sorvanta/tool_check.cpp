// sorvanta check: whether files are what they should be.
#include <cstdio>
#include <memory>

#include "ace/ace_exception.h"
#include "dare/dare_exre.h"
#include "dare/dare_session.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_settings.h"
#include "sorvanta/tool_source.h"
#include "sorvanta/tool_target.h"
#include "sorvanta/tool_verbs.h"

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::string base;
};

Target target_of(const CheckOptions& options, const std::string& file) {
  if (options.base.empty()) throw Failure(printable(file) + ": whose fields? Expected --base");
  return Target(options.base);
}

/// Rules name the fields and combinations of a session.
std::string check_rules(const std::string& file, const CheckOptions& options) {
  Target target(target_of(options, file));
  SorvantaSession session = target.make_session();
  DareSessionConfig* const config = session.get_internal_session()->get_config();
  if (config->load_assess_logic(file.c_str(), &ToolReporter::get()) < 0)
    throw Failure(printable(file) + ": expected rules, found a program that cannot be run");
  return "rules, " + std::to_string(config->get_rules()->get_num_rules());
}

std::string check_template(const std::string& file, const std::string& text, const CheckOptions& options) {
  Target target(target_of(options, file));
  DastSession session(target.make_session().get_internal_session()->get_base(), false);
  if (session.config_session(text.c_str(), &ToolReporter::get()) < 0)
    throw Failure(printable(file) + ": expected a session template, found a faulty one");
  return "a session template of " + std::to_string(session.get_config()->get_num_fields()) + " fields";
}

std::string check_settings(const std::string& file) {
  const Settings settings = read_settings(file);
  std::string counts;
  for (const SourceSettings& source : settings.sources) {
    make_decoder(source.encoding);
    const SourceColumns columns(settings, source);
    counts += (counts.empty() ? "" : " and ") + std::to_string(columns.get_num_columns());
  }
  return "settings of " + std::to_string(settings.fields.size()) + " fields over " + counts + " columns";
}

std::string check_target(const std::string& file) {
  const Target target(file);
  return target.has_words() ? "a word index" : "a base of the fields " + listed(target.get_field_names());
}

std::string check_file(const std::string& file, const CheckOptions& options) {
  const std::string text = file_start(file, MOST_TEXT_BYTES);
  const bool isText = text.find('\0') == std::string::npos;
  if (isText && text.find("<rule") != std::string::npos) return check_rules(file, options);
  if (isText && text.find("COMBINATIONS") != std::string::npos) return check_template(file, text, options);
  if (isText && text.find("main_svd") == std::string::npos) return check_settings(file);
  return check_target(file);
}

int check(const CheckOptions& options) {
  int code = FOUND;
  ToolReporter& rep = ToolReporter::get();
  for (const std::string& file : options.files) {
    std::string fault;
    rep.keep_warnings(true);
    try {
      std::printf("%s: %s\n", printable(file).c_str(), check_file(file, options).c_str());
    } catch (const Failure& failure) {
      fault = failure.what();
    } catch (const AceException& failure) {
      AceAttach at;
      fault = printable(file) + ": " + printable(failure.what(&at));
    }
    const std::string more = rep.take_messages();
    if (fault.empty()) continue;
    code = BROKEN;
    std::fprintf(stderr, "%s\n%s%s", fault.c_str(), more.c_str(), more.empty() ? "" : "\n");
  }
  return code;
}

}  // namespace

void declare_check(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "check",
      "Tells whether files are as they should be: settings and their source, ldb files and what they name, "
      "bases and word indexes; with --base session templates and rules, too. What is wrong is told with "
      "file and line, what was expected and what was found.");
  verb->footer(
      "Examples:\n  sorvanta check people.settings people.base\n"
      "  sorvanta check people.ses people.rules --base people.base");
  const auto options = add_verb_action<CheckOptions>(verb, action, check);
  verb->add_option("FILES", options->files, "Files of any of these kinds")->required()->type_name("");
  verb->add_option("--base", options->base, "A base, or an ldb file, whose fields templates and rules name")
      ->type_name("FILE");
}
