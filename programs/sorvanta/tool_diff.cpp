// sorvanta diff: what has changed between two record files, and changes applied.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "ace/ace_input.h"
#include "damo/damo_diff_maker.h"
#include "damo/damo_dimension_diff.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_verbs.h"

namespace {

constexpr int MOST_FIELDS = 100000;

struct DiffOptions {
  std::string oldFile, newFile;
  std::vector<int> key;
  std::string changes;  // where they go
  bool isChecked = false;
  std::string applied;  // where the result of applying goes
  bool isComplete = false;
  std::string deleted;
  std::string rows;  // of another table
  std::vector<int> rowKey, rowMaster;
  std::string cascade;
};

/// Of the first record, or change; 0 where there is none.
int count_fields(const std::string& file) {
  AceInput lines(file.c_str(), 1 << 16, true);
  const char* line = nullptr;
  if (lines.read_line(&line) < 0) return 0;
  const std::string text(line);
  const auto tabs = static_cast<int>(std::count(text.begin(), text.end(), '\t'));
  if (tabs == 0 && text.find_first_of(";,") != std::string::npos)
    ToolReporter::get().ev_wprintf(
        "%s: no TAB in '%s', so records have one field; 'sorvanta read' makes records of other files\n",
        file.c_str(), text.c_str());
  return tabs + (text.starts_with("<del>\t") ? 0 : 1);  // changes have a mark in front
}

/// Of either file: there may be no records before the first changes, or after the last.
int count_fields(const std::string& file, const std::string& other) {
  int fields = count_fields(file);
  if (fields == 0) fields = count_fields(other);
  if (fields == 0) throw Failure(printable(file) + ": expected records, found none");
  return fields;
}

/// Columns from 0, of those that users count from 1.
std::vector<int> from_zero(std::vector<int> columns, int num_fields, const std::string& file) {
  for (int& column : columns)
    if (--column >= num_fields)
      throw Failure(printable(file) + ": expected column " + std::to_string(column + 1) + ", found " +
                    std::to_string(num_fields) + " columns");
  return columns;
}

VInt make(const std::vector<int>& key, int num_fields, const std::string& from, const std::string& to,
          const std::string& changes) {
  DamoDiffMaker maker(key.data(), static_cast<int>(key.size()), num_fields);
  maker.add_old(from.c_str());
  maker.add_new(to.c_str());
  const VInt count = maker.make(changes.c_str(), &ToolReporter::get());
  ToolReporter::get().end();
  return count;
}

void apply(DamoDiff* diff, const std::string& from, const std::string& to, const std::string& deleted) {
  diff->add_file(from.c_str(), to.c_str());
  if (!deleted.empty()) diff->set_del_file(deleted.c_str());
  const VInt bad = diff->update(&ToolReporter::get());
  ToolReporter::get().end();
  if (bad > 0) std::printf("left out: %ld lines with another number of fields\n", bad);
}

/// Applied to the old file, the changes must give the new one.
void check(const std::vector<int>& key, int num_fields, const DiffOptions& options) {
  const std::string result = options.changes + ".checked", rest = result + ".dif";
  DamoDiff diff(key.data(), static_cast<int>(key.size()), num_fields, 0, 0);
  diff.add_diff(options.changes.c_str(), &ToolReporter::get());
  apply(&diff, options.oldFile, result, "");
  const VInt left = make(key, num_fields, result, options.newFile, rest);
  std::remove(result.c_str());
  std::remove(rest.c_str());
  if (left != 0)
    throw Failure(options.changes + ": applied, it leaves " + std::to_string(left) + " differences");
  std::printf("checked:  applied to %s it gives %s\n", options.oldFile.c_str(), options.newFile.c_str());
}

int make_changes(const std::vector<int>& key, int num_fields, DiffOptions options) {
  if (options.changes.empty()) options.changes = without_ending(options.newFile) + ".dif";
  const VInt count = make(key, num_fields, options.oldFile, options.newFile, options.changes);
  std::printf("changes:  %s, %ld\n", options.changes.c_str(), count);
  if (options.isChecked) check(key, num_fields, options);
  return count > 0 ? FOUND : FOUND_NOTHING;
}

int apply_changes(const std::vector<int>& key, int num_fields, const DiffOptions& options) {
  const auto numKeys = static_cast<int>(key.size());
  DamoDimensionDiff diff(key.data(), numKeys, num_fields, options.isComplete ? 1 : 0, 0);
  if (!options.rows.empty()) {
    const int numRowFields = count_fields(options.rows, options.rows);
    const std::vector<int> masters = from_zero(options.rowMaster, numRowFields, options.rows);
    const std::vector<int> rowKey = from_zero(options.rowKey, numRowFields, options.rows);
    if (masters.size() != key.size() || rowKey.empty() || options.cascade.empty())
      throw Failure("--rows needs --rows-key, --rows-master with as many columns as --key, and --cascade");
    diff.set_relation(masters.data(), rowKey.data(), static_cast<int>(rowKey.size()), numRowFields);
    diff.add_rows(options.rows.c_str());
    diff.set_cascade_file(options.cascade.c_str());
  }
  const VInt count = diff.add_diff(options.newFile.c_str(), &ToolReporter::get());
  if (!options.rows.empty())
    std::printf("cascade:  %s, %ld rows are deleted\n", options.cascade.c_str(),
                diff.cascade_master_deletions(&ToolReporter::get()));
  apply(&diff, options.oldFile, options.applied, options.deleted);
  std::printf("applied:  %s, %ld changes\n", options.applied.c_str(), count);
  return FOUND;
}

int diff(const DiffOptions& options) {
  const int numFields = count_fields(options.oldFile, options.newFile);
  const std::vector<int> key = from_zero(options.key, numFields, options.oldFile);
  return options.applied.empty() ? make_changes(key, numFields, options)
                                 : apply_changes(key, numFields, options);
}

}  // namespace

void declare_diff(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "diff",
      "Makes a file of the changes between two record files, whose records a key tells apart; or, with "
      "--apply, applies such a file to a record file. Exit code 1: there are no changes.");
  verb->footer(
      "Examples:\n"
      "  sorvanta diff monday.records tuesday.records --key 1 --to tuesday.dif --check\n"
      "  sorvanta diff monday.records tuesday.dif --key 1 --apply tuesday.records --deleted gone.records\n"
      "  sorvanta diff people.records tuesday.dif --key 1 --apply people.records \\\n"
      "    --rows orders.records --rows-key 1 --rows-master 2 --cascade orders.dif");
  const auto options = add_verb_action<DiffOptions>(verb, action, diff);
  const auto columns = [verb](const char* name, std::vector<int>* target, const char* text) {
    return verb->add_option(name, *target, text)
        ->delimiter(',')
        ->type_name("COLUMNS")
        ->allow_extra_args(false)
        ->check(CLI::Range(1, MOST_FIELDS).description(""));
  };
  const auto file = [verb](const char* name, std::string* target, const char* text) {
    verb->add_option(name, *target, text)->type_name("FILE");
  };
  verb->add_option("OLD", options->oldFile, "A record file")->required()->type_name("");
  verb->add_option("NEW", options->newFile, "The newer record file; with --apply, changes")
      ->required()
      ->type_name("");
  columns("--key", &options->key, "The columns that tell records apart, as 1,3")->required();
  file("--to", &options->changes, "Where the changes go (default: NEW with the ending dif)");
  verb->add_flag("--check", options->isChecked, "Applies the changes, and compares the result with NEW");
  file("--apply", &options->applied, "Applies changes; the result goes to this file");
  verb->add_flag("--complete", options->isComplete, "With --apply: what has no change is deleted");
  file("--deleted", &options->deleted, "With --apply: where deleted records go");
  file("--rows", &options->rows, "A record file whose records go with those that are deleted");
  columns("--rows-key", &options->rowKey, "The columns that tell its records apart");
  columns("--rows-master", &options->rowMaster, "The columns that have the key of OLD");
  file("--cascade", &options->cascade, "Where the changes of --rows go");
}
