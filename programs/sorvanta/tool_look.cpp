// sorvanta look: what an unknown source is, and settings for it.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "ace/ace_attach.h"
#include "damo/damo_odbc_conn.h"
#include "damo/damo_statistic.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_source.h"
#include "sorvanta/tool_verbs.h"

namespace {

constexpr std::size_t SAMPLE_BYTES = 40;
constexpr std::size_t SAMPLES = 3;
constexpr std::size_t WHOLE_PAGE = std::size_t{64} << 20;

struct LookOptions {
  std::string source;
  std::string table, sql, user;
  bool isStatistic = false;
  bool isSettings = false;
  OutputForm form = OutputForm::TABLE;
};

/// The first rows that a database gives for a statement, with the names of their columns.
SourceSample read_database(const LookOptions& options, const std::string& sql) {
  SourceSample sample;
  sample.source.kind = "odbc";
  sample.source.file = options.source;
  sample.source.user = options.user;
  sample.source.sql = sql;
  const auto input = open_source(sample.source, {});
  sample.columns = header_names(sample.source, input.get());
  sample.names = sample.columns;
  read_records(input.get(), &sample);
  return sample;
}

SourceSample look_at_database(const LookOptions& options) {
  SourceSample sample =
      read_database(options, !options.sql.empty() ? options.sql : "select * from " + options.table);
  if (sample.records.empty()) throw Failure(printable(options.source) + ": expected rows, found none");
  return sample;
}

/// The tables of a database, by the first statement that it understands: of the standard, of SQLite, of
/// Oracle.
SourceSample look_at_tables(const LookOptions& options) {
  std::string failure;
  for (const char* sql :
       {"select table_name from information_schema.tables "
        "where table_schema not in ('pg_catalog', 'information_schema') order by table_name",
        "select name from sqlite_master where type in ('table', 'view') order by name",
        "select table_name from user_tables order by table_name"})
    try {
      return read_database(options, sql);
    } catch (...) {
      if (failure.empty()) failure = current_failure();
    }
  throw Failure(printable(options.source) +
                ": its tables cannot be listed (which --table, or which --sql?): " + failure);
}

int list_tables(const LookOptions& options) {
  const SourceSample tables = look_at_tables(options);
  if (options.form == OutputForm::TABLE)
    std::printf("%s: a database, %zu tables\n\n", printable(options.source).c_str(), tables.records.size());
  Output output(options.form, {{"table", false}});
  for (const auto& record : tables.records) output.add({record.front()});
  output.finish();
  if (options.form == OutputForm::TABLE && !tables.records.empty())
    std::printf("\ntry:     sorvanta look %s --table %s\n", printable(options.source).c_str(),
                printable(tables.records.front().front()).c_str());
  return tables.records.empty() ? FOUND_NOTHING : FOUND;
}

/// Whether a source is a data source, and not a file of that name. Throws a `Failure` where it is neither.
bool is_database(const LookOptions& options) {
  const bool isQuery = !options.sql.empty() || !options.table.empty();
  const bool isFile = has_file(options.source) || options.source.find('/') != std::string::npos;
  if (isFile && !isQuery) return false;
  std::vector<std::string> sources;
  for (const auto& known : DamoODBCConnection().listDataSources()) sources.push_back(known.name);
  if (std::find(sources.begin(), sources.end(), options.source) != sources.end()) return true;
  throw Failure(printable(options.source) + ": expected a " + (isQuery ? "" : "file or a ") +
                "data source, found none; " +
                (sources.empty() ? "there are no data sources" : "data sources are " + listed(sources)));
}

/// The page of a statistic over the whole source, by way of a file that goes.
void print_statistic(const SourceSample& sample) {
  const auto decoder = make_decoder(sample.source.encoding);
  std::vector<const char*> names;
  for (const std::string& column : sample.columns) names.push_back(column.c_str());
  DamoStatistic statistic(1, '\t', static_cast<int>(names.size()), names.data());
  const auto input = open_source(sample.source, path_pointers(sample));
  if (sample.source.hasHeader) input->read_line(nullptr, 0);
  for (int bytes = 0; (bytes = input->read_line(nullptr, 0)) != DamoInput::AT_END;) {
    if (bytes == DamoInput::UNREADABLE)
      throw Failure(printable(sample.source.file) + ": cannot be read to its end");
    AceAttach at;
    const char** fields = nullptr;
    const int count = input->get_fields(&fields, &at);
    for (int i = 0; i < count && decoder != nullptr; ++i) fields[i] = decoder->code(fields[i], &at);
    bytes == DamoInput::REJECTED ? statistic.incr_badline() : statistic.add_fields(fields, count);
  }
  const std::string page =
      (std::filesystem::temp_directory_path() / ("sorvanta-" + std::to_string(getpid()) + ".page")).string();
  statistic.write_page(page.c_str());
  std::fputs(file_start(page, WHOLE_PAGE).c_str(), stdout);
  std::remove(page.c_str());
}

/// "Ann, Jürgen, Zoe"
std::string samples_of(const SourceSample& sample, std::size_t column) {
  std::vector<std::string> values;
  for (const auto& record : sample.records) {
    if (values.size() == SAMPLES) break;
    if (column >= record.size() || record[column].empty()) continue;
    const std::string value = printable(record[column], SAMPLE_BYTES);
    if (std::find(values.begin(), values.end(), value) == values.end()) values.push_back(value);
  }
  return listed(values);
}

void print_fields(const SourceSample& sample, const Settings& settings, OutputForm form) {
  Output output(
      form, {{"column", false}, {"field", false}, {"method", false}, {"filled", true}, {"samples", false}});
  for (std::size_t i = 0; i < sample.columns.size(); ++i) {
    std::size_t filled = 0;
    for (const auto& record : sample.records) filled += i < record.size() && !record[i].empty() ? 1 : 0;
    const FieldSettings* const field = i < settings.fields.size() ? &settings.fields[i] : nullptr;
    output.add({sample.columns[i], field != nullptr ? field->name : "", field != nullptr ? field->method : "",
                std::to_string(filled * 100 / sample.records.size()), samples_of(sample, i)});
  }
  output.finish();
}

int look(const LookOptions& options) {
  const bool isDatabase = is_database(options);
  if (isDatabase && options.table.empty() && options.sql.empty()) return list_tables(options);
  const SourceSample sample = isDatabase ? look_at_database(options) : look_at(options.source);
  const Settings settings = propose_settings(sample);
  if (options.isSettings) return std::fputs(write_settings(settings).c_str(), stdout), FOUND;
  if (options.isStatistic) return print_statistic(sample), FOUND;
  if (options.form == OutputForm::TABLE) {
    const bool isMore = sample.records.size() == SourceSample::MOST_RECORDS;
    std::printf("%s: %s, %s, %zu columns, %s%zu records%s\n\n", printable(options.source).c_str(),
                sample.source.kind.c_str(), sample.source.encoding.c_str(), sample.columns.size(),
                isMore ? "more than " : "", sample.records.size(),
                sample.source.hasHeader ? ", a header" : "");
    if (!sample.source.records.empty())
      std::printf("records: %s\n\n", printable(sample.source.records).c_str());
  }
  print_fields(sample, settings, options.form);
  if (options.form != OutputForm::TABLE) return FOUND;
  if (sample.source.kind == "odbc")
    std::printf("\nThe same with --settings > %s.settings, then: sorvanta build %s.settings\n",
                options.source.c_str(), options.source.c_str());
  else
    std::printf("\ntry:     sorvanta build %s\n", printable(options.source).c_str());
  return FOUND;
}

}  // namespace

void declare_look(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "look",
      "Tells what an unknown source is: its kind and encoding, its columns or paths with samples and the "
      "part of records that have them in percent, and what would be made of them.");
  verb->footer(
      "Examples:\n"
      "  sorvanta look people.xml\n"
      "  sorvanta look people.csv --statistic\n"
      "  sorvanta look people.csv --settings > people.settings\n"
      "  sorvanta look customers\n"
      "  sorvanta look customers --table people");
  const auto options = add_verb_action<LookOptions>(verb, action, look);
  verb->add_option("SOURCE", options->source, "A file, or a data source of odbc.ini")
      ->required()
      ->type_name("");
  verb->add_flag("--settings", options->isSettings, "Prints settings that `build` takes as they are");
  verb->add_flag("--statistic", options->isStatistic,
                 "Prints figures about all records: lengths, characters, doubts");
  verb->add_option("--table", options->table,
                   "The table of a database; without it and --sql, its tables are listed")
      ->type_name("NAME");
  verb->add_option("--sql", options->sql, "The statement that gives the records of a database")
      ->type_name("SQL");
  verb->add_option("--user", options->user, "Who asks the database")->type_name("NAME");
  add_output_option(verb, &options->form);
}
