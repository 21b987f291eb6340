// sorvanta build: settings to a record base or a word index.
#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "ace/ace_input.h"
#include "dast/dast_base.h"
#include "dast/dast_magic_constructor.h"
#include "seam/seam_base.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_records.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"
#include "sorvanta/tool_template.h"
#include "sorvanta/tool_verbs.h"
#include "tera/tera_edit.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_reader.h"

namespace {

constexpr int INPUT_BUFFER = 1 << 16;
constexpr int INDEX_FILTER = 5;  // the values that docs/performance.md measures
constexpr int INDEX_REFINE = 4;

struct BuildOptions {
  std::string file;
  bool isForced = false;
};

/// The words of a record file, with the numbers of their lines, from 1.
class WordLines : public TeraReader {
 public:
  explicit WordLines(const std::string& file) : input(file.c_str(), INPUT_BUFFER, false) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    VInt number = 0;
    do {
      if (input.read_line(string, &number) < 0) return input.read_error() != 0 ? -1 : 0;
    } while (**string == '\0');
    if (info != nullptr) *info = static_cast<Large>(number + 1);
    if (line != nullptr) *line = number;
    return 1;
  }
  int rewind() override { return input.rewind(); }
  VInt get_estimate() override { return 0; }

 private:
  AceInput input;
};

void make_map(const Settings& settings, TeraMap* map) {
  const char* const keys[] = {"-tokens", "-complex_flags", "-map_glob_chars"};
  const char* const values[] = {settings.tokens.c_str(), settings.folding.c_str(), ""};
  if (TeraMapConfig::configure(3, keys, values, map, &ToolReporter::get()) < 0)
    throw Failure(settings.name + ": 'tokens' and 'folding' give no character map");
}

/// The folder of a build's pieces, which goes with it.
class BuildFolder {
 public:
  explicit BuildFolder(const std::string& target) : name(target + ".building") {
    std::error_code error;
    std::filesystem::create_directories(name, error);
    if (error) throw Failure(printable(name) + ": " + error.message());
  }
  BuildFolder(const BuildFolder&) = delete;
  BuildFolder& operator=(const BuildFolder&) = delete;
  ~BuildFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
  }
  const char* get_name() const { return name.c_str(); }

 private:
  std::string name;
};

[[noreturn]] void fail_field(const Settings& settings, const FieldSettings& field) {
  throw Failure(settings.name + ":" + std::to_string(field.line) + ": field " + field.name +
                " cannot be made as it is described");
}

void check_method(const Settings& settings, const FieldSettings& field) {
  std::vector<std::string> known;
  for (const auto* entry = MagicConstructor<DastBaseMethod>::get_constructors(); entry != nullptr;
       entry = entry->get_next()) {
    known.emplace_back(entry->get_name());
    if (strcasecmp(entry->get_name(), field.method.c_str()) == 0) return;
  }
  throw Failure(settings.name + ":" + std::to_string(field.line) + ": field " + field.name + ": " +
                refusal("method", field.method, known));
}

std::string storage_of(const FieldSettings& field) {
  if (!field.storage.empty()) return field.storage;
  return field.method.empty() ? "BASIC|CHANGING|NONE|ORIGINAL" : "ADVANCED|CHANGING|FULL|ORIGINAL";
}

void make_base(const Settings& settings) {
  ToolReporter* const rep = &ToolReporter::get();
  const BuildFolder folder(settings.base);
  TeraMap map;
  make_map(settings, &map);
  std::vector<const char*> names;
  for (const FieldSettings& field : settings.fields) names.push_back(field.name.c_str());
  DastBase base(static_cast<int>(names.size()), names.data(), session_template(settings).c_str(), nullptr,
                folder.get_name(), "utf-8", 0, 0, "1", 0, 0);
  rep->keep_warnings(true);
  for (const FieldSettings& field : settings.fields) {
    rep->take_messages();
    if (base.assign(field.name.c_str(), storage_of(field).c_str(), 0, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr, nullptr, nullptr, -1, rep, 0) < 0)
      fail_field(settings, field);
    if (field.method.empty()) continue;
    check_method(settings, field);
    if (seam_configure_field(&base, field.name.c_str(), field.method.c_str(), &map,
                             field.buildOptions.c_str(), field.recallOptions.c_str()) < 0)
      fail_field(settings, field);
  }
  rep->keep_warnings(false);
  if (base.make(settings.records.c_str(), "NONE", nullptr, nullptr, nullptr, rep) != 0 ||
      base.make_all_access(rep) != 0 || base.dump(settings.base.c_str(), nullptr) != 0)
    throw Failure(printable(settings.base) + " cannot be built");
  rep->take_messages();
}

void make_index(const Settings& settings) {
  TeraMap map;
  make_map(settings, &map);
  WordLines words(settings.records);
  TeraEdit index;
  if (index.make(&words, &map, INDEX_FILTER, INDEX_REFINE, 0, 0, &ToolReporter::get(), nullptr) < 0 ||
      index.dump(settings.index.c_str(), nullptr) < 0)
    throw Failure(printable(settings.index) + " cannot be built");
}

/// What a result depends on, and how it was afterwards, beside the result: a build with the same is done.
class BuildMark {
 public:
  BuildMark(std::string result, const std::string& causes) : resultFile(std::move(result)) {
    causeSum = text_sum(SORVANTA_VERSION + causes);
  }
  bool is_done() const {
    std::ifstream mark(mark_file());
    std::string text;
    return std::getline(mark, text) && text == line();
  }
  void set_done() const { write_file(mark_file(), line() + "\n"); }

 private:
  std::string mark_file() const { return resultFile + ".built"; }
  std::string line() const { return causeSum + " " + file_stamp(resultFile); }

  std::string resultFile;
  std::string causeSum;
};

/// Everything that the record file depends on.
std::string record_causes(const Settings& settings) {
  Settings parts = settings;
  parts.quality = parts.suggestions = 0;
  for (FieldSettings& field : parts.fields) field.method.clear();
  std::string causes = write_settings(parts);
  for (const SourceSettings& source : settings.sources)
    causes += file_stamp(source.file) + "\n" + source.user + "\n" + source.keyFile;
  for (const FieldSettings& field : settings.fields) causes += "\n" + field.between + "\n" + field.transform;
  return causes;
}

std::string base_causes(const Settings& settings) {
  std::string causes = write_settings(settings) + file_stamp(settings.records) + settings.tokens + "\n" +
                       settings.folding + session_template(settings);
  for (const FieldSettings& field : settings.fields) causes += "\n" + field.storage;
  return causes;
}

/// Columns of files of which no field is made.
std::vector<std::string> unused_columns(const Settings& settings) {
  std::vector<std::string> unused;
  for (const SourceSettings& source : settings.sources)
    if (source.kind != "odbc")
      for (const std::string& name : SourceColumns(settings, source).get_unused()) unused.push_back(name);
  return unused;
}

/// What an earlier build of a source has proposed. The source may look otherwise by now.
Settings read_kept(const std::string& file) {
  std::printf("settings: %s", file.c_str());
  try {
    Settings settings = read_settings(file);
    const std::vector<std::string> unused = unused_columns(settings);
    std::printf("%s\n", unused.empty() ? "" : printable(", without the columns " + listed(unused)).c_str());
    return settings;
  } catch (const Failure& failure) {
    std::printf("\n");
    throw Failure(std::string(failure.what()) + "\n" + printable(file) +
                  " is from an earlier build; without it, settings are proposed anew");
  }
}

/// Settings, or what is proposed for a source; that is written beside it for the next time.
Settings settings_of(const std::string& file) {
  const std::string start = file_start(file, 1 << 16);
  const bool isSettings = file.ends_with(".settings") || start.find("\nsource ") != std::string::npos ||
                          start.starts_with("source ");
  if (isSettings) return read_settings(file);
  const std::string proposed = without_ending(file) + ".settings";
  if (has_file(proposed)) return read_kept(proposed);
  const Settings settings = propose_settings(look_at(file));
  write_file(proposed, write_settings(settings));
  std::printf("settings: %s, proposed from what is in the file\n", proposed.c_str());
  return read_settings(proposed);
}

/// "sorvanta find people.base given=Pierre surname=Moulin", from the first record.
void print_example(const Settings& settings) {
  const std::string target = settings.base + settings.index;
  std::string command = "sorvanta find " + printable(target);
  AceInput records(settings.records.c_str(), INPUT_BUFFER, false);
  const char* line = nullptr;
  if (records.read_line(&line) < 0) return;
  std::string rest(line);
  int shown = 0;
  for (const FieldSettings& field : settings.fields) {
    const std::string value = rest.substr(0, rest.find('\t'));
    rest.erase(0, value.size() + 1);
    if (field.method.empty() || value.empty() || value.size() > 30 || shown == 2) continue;
    const bool isPlain = value.find_first_of(" '\"$`\\!*?[]()<>|&;#") == std::string::npos;
    if (value.find('\'') != std::string::npos) continue;
    const std::string query = (settings.index.empty() ? field.name + "=" : "") + value;
    command += " " + (isPlain ? query : "'" + query + "'");
    ++shown;
  }
  if (shown > 0) std::printf("try:      %s\n", printable(command).c_str());
}

int build(const BuildOptions& options) {
  const Settings settings = settings_of(options.file);
  const FileLock alone(settings.name);  // the pieces of two builds must not mix
  const std::string target = settings.base + settings.index;
  const BuildMark records(settings.records, record_causes(settings));
  const bool isDatabase = std::any_of(settings.sources.begin(), settings.sources.end(),
                                      [](const SourceSettings& source) { return source.kind == "odbc"; });
  if (options.isForced || isDatabase || !records.is_done()) {
    const RecordsMade made = make_records(settings);
    std::printf("records:  %s, %ld\n", settings.records.c_str(), made.numRecords);
    for (const SourceRejects& rejects : made.rejects)
      std::printf("rejected: %s, %ld, their reasons in %s.reasons\n", rejects.file.c_str(), rejects.count,
                  rejects.file.c_str());
    if (made.numRecords == 0)
      throw Failure(printable(settings.sources[0].file) + ": expected records, found none");
    records.set_done();
  }
  const BuildMark whole(target, base_causes(settings));
  if (!options.isForced && whole.is_done()) {
    std::printf("%s:%s %s, nothing has changed\n", settings.base.empty() ? "index" : "base",
                settings.base.empty() ? "   " : "    ", target.c_str());
    return FOUND;
  }
  settings.base.empty() ? make_index(settings) : make_base(settings);
  ToolReporter::get().end();
  whole.set_done();
  std::printf("%s:%s %s\n", settings.base.empty() ? "index" : "base", settings.base.empty() ? "   " : "    ",
              target.c_str());
  print_example(settings);
  return FOUND;
}

}  // namespace

void declare_build(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "build",
      "Builds a record base or a word index from settings, or from a source: a file of lines, CSV, "
      "JSON or XML, whose settings are then proposed and kept beside it. Where nothing has changed "
      "since the last time, nothing is done.");
  verb->footer("Examples:\n  sorvanta build people.csv\n  sorvanta build people.settings");
  const auto options = add_verb_action<BuildOptions>(verb, action, build);
  verb->add_option("FILE", options->file, "Settings, or a source of records")->required()->type_name("");
  verb->add_flag("-f,--force", options->isForced, "Builds everything, changed or not");
}
