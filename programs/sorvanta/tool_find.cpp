// sorvanta find: one query.

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_find_file.h"
#include "sorvanta/tool_form_query.h"
#include "sorvanta/tool_verbs.h"

namespace {

struct FindOptions {
  std::string base;
  std::vector<std::string> query;
  std::string mode = "errors";
  QueryLimits limits;
  bool hasNumber = false;
  FileQuery file;
  OutputForm form = OutputForm::TABLE;
};

int print(const std::vector<OutputColumn>& columns, const std::vector<Output::Row>& rows, OutputForm form) {
  Output output(form, columns);
  for (const Output::Row& row : rows) output.add(row);
  output.finish();
  if (rows.empty() && form == OutputForm::TABLE) std::fputs("nothing found\n", stderr);
  return rows.empty() ? FOUND_NOTHING : FOUND;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

/// "field=value" arguments go to their fields, the others are words of a free search.
void read_query(const Target& target, const std::vector<std::string>& arguments, FormQuery* query) {
  std::vector<std::string> words;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos)
      words.push_back(argument);
    else
      query->set(target.find_field(argument.substr(0, equals)), argument.substr(equals + 1));
  }
  query->set_free(joined(words));
}

int find(const FindOptions& options) {
  Target target(options.base);
  QueryLimits limits = options.limits;
  limits.mode = find_mode(options.mode)[0];
  if (!options.file.name.empty()) {
    if (!options.query.empty()) throw Failure("expected a query or --from, found both");
    if (!options.hasNumber) limits.number = 1;
    limits.isLiteral = true;
    return find_file(&target, options.file, limits, options.form);
  }
  if (options.query.empty())
    throw Failure(
        "what? Expected words" +
        (target.has_words() ? "" : " or field=value, fields are " + listed(target.get_field_names())) +
        "; or --from FILE");
  if (target.has_words())
    return print(word_columns(), ask_words(target.get_words(), joined(options.query), limits), options.form);
  FormQuery query(&target, limits);
  read_query(target, options.query, &query);
  const std::vector<Output::Row> rows = query.ask();
  if (const std::string obstacle = query.obstacle(); rows.empty() && !obstacle.empty())
    throw Failure(obstacle);
  return print(FormQuery::columns(target), rows, options.form);
}

}  // namespace

void declare_find(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "find",
      "Finds the records of a base, or the words of an index, that resemble what is asked: field by "
      "field, or words of any fields. With --from, every record of a file is asked.");
  verb->footer(
      "Examples:\n"
      "  sorvanta find people.base surname=Mayr 'city=Sankt Galen'\n"
      "  sorvanta find people.base -o json ann mayr bern\n"
      "  sorvanta find words.edit recieve\n"
      "  sorvanta find people.base --from customers.csv --to matches.tsv");
  const auto options = add_verb_action<FindOptions>(verb, action, find);
  verb->add_option("BASE", options->base, "A base, an ldb file or a word index")->required()->type_name("");
  verb->add_option("QUERY", options->query, "Words, or field=value")->type_name("");
  add_mode_option(verb, &options->mode);
  verb->add_option("-q,--quality", options->limits.quality, "Least quality of a record, 0 to 255")
      ->check(CLI::Range(0, 255).description(""))
      ->type_name("NUMBER");
  auto* const number = verb->add_option("-n,--number", options->limits.number,
                                        "Most records (default: 10; with --from 1 for each query)");
  number->check(CLI::Range(1, 100000).description(""))->type_name("NUMBER");
  number->each([options](const std::string&) { options->hasNumber = true; });
  verb->add_option("--from", options->file.name, "Asks each record of this file, of any kind")
      ->type_name("FILE");
  verb->add_option("--to", options->file.output,
                   "Where the answers to --from go; a run that was killed goes on where it was")
      ->type_name("FILE");
  verb->add_option("--column", options->file.columns,
                   "field=NAME: the column, or path, of the file that a field is asked with")
      ->type_name("TEXT")
      ->allow_extra_args(false);
  verb->add_option("--threads", options->file.numThreads, "Threads of --from (default: all processors)")
      ->check(CLI::Range(1, 256).description(""))
      ->type_name("NUMBER");
  add_output_option(verb, &options->form);
}
