// sorvanta read: sources to record files.
#include <cstdio>

#include "ace/ace_input.h"
#include "sorvanta/tool_records.h"
#include "sorvanta/tool_verbs.h"

namespace {

struct ReadOptions {
  std::string settings;
  OutputForm form = OutputForm::TABLE;
};

/// The bad records: where they are in their source, and why. Each file has a line for each.
void print_rejects(const std::vector<SourceRejects>& rejects, OutputForm form) {
  Output output(form, {{"source", false}, {"line", true}, {"reason", false}});
  for (const SourceRejects& bad : rejects) {
    AceInput reasons((bad.file + ".reasons").c_str(), 1 << 16, true);
    for (const char* text = nullptr; reasons.read_line(&text) >= 0;) {
      const std::string line(text);
      const std::size_t first = line.find('\t'), second = line.find('\t', first + 1);
      if (second != std::string::npos)
        output.add({bad.source, line.substr(first + 1, second - first - 1), line.substr(second + 1)});
    }
  }
  output.finish();
}

int read(const ReadOptions& options) {
  const Settings settings = read_settings(options.settings);
  const RecordsMade made = make_records(settings);
  if (options.form == OutputForm::TABLE) {
    std::printf("records:  %s, %ld\n", settings.records.c_str(), made.numRecords);
    for (const SourceRejects& bad : made.rejects)
      std::printf("rejected: %s, %ld\n", bad.file.c_str(), bad.count);
    if (!made.rejects.empty()) std::printf("\n");
  }
  print_rejects(made.rejects, options.form);
  return made.numRecords > 0 ? FOUND : FOUND_NOTHING;
}

}  // namespace

void declare_read(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "read",
      "Reads a source into a record file, as settings describe it: the lines that a base is built from. "
      "Bad records are left out, kept as the source has them in a file beside, and listed with line and "
      "reason; mended, that file is read with the same settings.");
  verb->footer("Example:\n  sorvanta read people.settings");
  const auto options = add_verb_action<ReadOptions>(verb, action, read);
  verb->add_option("SETTINGS", options->settings, "Settings, as `look --settings` proposes them")
      ->required()
      ->type_name("");
  add_output_option(verb, &options->form);
}
