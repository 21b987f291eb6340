#include "sorvanta/tool_find_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "ace/ace_attach.h"
#include "ace/ace_parallel.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"
#include "sorvanta/tool_verbs.h"
#include "svcpp/sorvanta_reporter.h"

namespace {

constexpr std::size_t QUERIES_AT_ONCE = 256;

/// The queries of a file: for each field of the target, the column that has its value.
class QueryFile {
 public:
  QueryFile(const Target& target, const FileQuery& query) {
    SourceSample sample = look_at(query.name);
    if (!target.has_words() && query.columns.empty()) find_header(target, &sample);
    match_columns(target, query, sample.names);
    decoder = make_decoder(sample.source.encoding);
    input = open_source(sample.source, path_pointers(sample));
    input->set_error_correction(DamoInput::FILL_MISSING | DamoInput::IGNORE_SUPERFLUOUS, "", nullptr);
    if (sample.source.hasHeader) input->read_line(nullptr, 0);
  }

  /// The values by field and the number of the line; false at the end.
  bool next(std::vector<std::string>* values, VInt* line) {
    int bytes = DamoInput::REJECTED;
    while (bytes == DamoInput::REJECTED) bytes = input->read_line(line, 0);
    if (bytes < 0 && bytes != DamoInput::AT_END) throw Failure("the queries cannot be read to their end");
    if (bytes < 0) return false;
    bytesRead += bytes;
    values->assign(fieldColumns.size(), "");
    AceAttach at;
    for (std::size_t i = 0; i < fieldColumns.size(); ++i) {
      const char* const text = fieldColumns[i] >= 0 ? input->get_field(fieldColumns[i]) : nullptr;
      if (text != nullptr) (*values)[i] = decoder != nullptr ? decoder->code(text, &at) : text;
    }
    return true;
  }
  /// Passes by what was asked before.
  void skip(VInt count) {
    std::vector<std::string> values;
    VInt line = 0;
    for (; count > 0; --count) next(&values, &line);
  }
  double get_bytes_read() const { return bytesRead; }

 private:
  /// A first line of names of fields is a header, whatever the lines behind it look like.
  static void find_header(const Target& target, SourceSample* sample) {
    if (sample->source.hasHeader || sample->records.empty()) return;
    const std::vector<std::string>& first = sample->records[0];
    const auto is_field = [&target](const std::string& text) {
      return std::any_of(
          target.get_fields().begin(), target.get_fields().end(),
          [&text](const TargetField& field) { return plain_name(field.name) == plain_name(text); });
    };
    for (std::size_t i = 0; i < first.size(); ++i)
      if (sample->columns[i] != std::to_string(i + 1) || !is_field(first[i])) return;
    sample->source.hasHeader = true;
    sample->names = first;
  }
  void match_columns(const Target& target, const FileQuery& query, const std::vector<std::string>& columns) {
    const std::size_t count = target.has_words() ? 1 : target.get_fields().size();
    fieldColumns.assign(count, -1);
    if (target.has_words()) {
      fieldColumns[0] = query.columns.empty()
                            ? 0
                            : find_column(columns, query.columns[0].substr(query.columns[0].find('=') + 1));
      return;
    }
    for (std::size_t i = 0; i < columns.size(); ++i)
      for (std::size_t k = 0; k < count; ++k)
        if (plain_name(columns[i]) == plain_name(target.get_fields()[k].name))
          fieldColumns[k] = static_cast<int>(i);
    for (const std::string& pair : query.columns) {
      const std::size_t equals = pair.find('=');
      if (equals == std::string::npos)
        throw Failure("--column: expected field=NAME, found '" + printable(pair) + "'");
      fieldColumns[target.find_field(pair.substr(0, equals))] = find_column(columns, pair.substr(equals + 1));
    }
    if (std::all_of(fieldColumns.begin(), fieldColumns.end(), [](int column) { return column < 0; }))
      throw Failure(printable(query.name) + ": expected columns named like the fields " +
                    listed(target.get_field_names()) + ", found " + printable(listed(columns)) +
                    "; --column field=NAME tells which is which");
  }
  static int find_column(const std::vector<std::string>& columns, const std::string& name) {
    const auto found = std::find(columns.begin(), columns.end(), name);
    if (found == columns.end()) throw Failure("--column: " + refusal("column of the file", name, columns));
    return static_cast<int>(found - columns.begin());
  }

  std::unique_ptr<TeraTransform> decoder;
  std::unique_ptr<DamoInput> input;
  std::vector<int> fieldColumns;
  double bytesRead = 0;
};

/// To a query.
struct Answer {
  std::vector<Output::Row> rows;
  std::string fault;  // why it could not be asked
};

/// What one thread does of a round: its session, and the queries that are its own.
struct Lane {
  std::unique_ptr<FormQuery> form;  // null for words
  const Target* target;
  QueryLimits limits;
  std::vector<std::vector<std::string>> queries;
  std::vector<Answer> answers;

  void answer() {
    answers.clear();
    for (const auto& values : queries) answers.push_back(answer_to(values));
  }

 private:
  using Values = std::vector<std::string>;

  std::vector<Output::Row> ask(const Values& values) {
    if (std::all_of(values.begin(), values.end(), [](const auto& value) { return value.empty(); })) return {};
    if (form == nullptr) return ask_words(target->get_words(), values[0], limits);
    for (std::size_t i = 0; i < values.size(); ++i) form->set(i, values[i]);
    return form->ask();
  }
  /// What cannot be asked is the fault of one line: the others have their answers.
  Answer answer_to(const Values& values) {
    try {
      return {ask(values), ""};
    } catch (const Failure& failure) {
      const std::string why = ToolReporter::get().take_own_messages();
      return {{}, "not asked: " + (why.empty() ? failure.what() : why)};
    }
  }
};

/// Where the answers go; a file can be gone on with.
class Answers {
 public:
  Answers(const std::string& file, const std::string& causes) : outputFile(file) {
    if (file.empty()) return;
    if (std::filesystem::exists(file) && !std::filesystem::is_regular_file(file))
      throw Failure(
          printable(file) +
          ": expected a file, found a folder or device; without --to the answers go to standard output");
    causeSum = text_sum(causes);
    std::ifstream resume(file + ".resume");
    std::string sum;
    long bytes = 0;
    const bool isSame = static_cast<bool>(resume >> sum >> numDone >> numFound >> bytes) && sum == causeSum &&
                        has_file(part_file()) && file_size(part_file()) >= static_cast<double>(bytes);
    if (!isSame) numDone = numFound = bytes = 0;
    stream = std::fopen(part_file().c_str(), isSame ? "r+b" : "wb");
    if (stream == nullptr) throw Failure(printable(part_file()) + ": " + std::strerror(errno));
    if (isSame && (ftruncate(fileno(stream), bytes) != 0 || std::fseek(stream, 0, SEEK_END) != 0))
      throw Failure(printable(part_file()) + ": " + std::strerror(errno));
  }
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;
  ~Answers() {
    if (stream != stdout) std::fclose(stream);
  }

  std::FILE* get_stream() const { return stream; }
  VInt get_done() const { return numDone; }
  bool has_found() const { return numFound > 0; }
  void note(VInt done, VInt found) {
    numDone += done;
    numFound += found;
    Output::check(stream, outputFile.empty() ? "standard output" : part_file().c_str());
    if (outputFile.empty()) return;
    write_file(outputFile + ".resume", causeSum + " " + std::to_string(numDone) + " " +
                                           std::to_string(numFound) + " " +
                                           std::to_string(std::ftell(stream)) + "\n");
  }
  void commit() {
    if (outputFile.empty()) return;
    Output::check(stream, part_file().c_str());
    if (std::rename(part_file().c_str(), outputFile.c_str()) != 0)
      throw Failure(printable(outputFile) + ": " + std::strerror(errno));
    std::remove((outputFile + ".resume").c_str());
  }

 private:
  std::string part_file() const { return outputFile + ".part"; }

  std::string outputFile;
  std::string causeSum;
  std::FILE* stream = stdout;
  VInt numDone = 0;   // queries
  VInt numFound = 0;  // of these, found
};

std::vector<Lane> make_lanes(Target* target, const QueryLimits& limits, int count) {
  std::vector<Lane> lanes(static_cast<std::size_t>(count));
  for (Lane& lane : lanes) {
    lane.target = target;
    lane.limits = limits;
    if (!target->has_words()) lane.form = std::make_unique<FormQuery>(target, limits);
  }
  return lanes;
}

void answer_all(std::vector<Lane>* lanes) {
  const auto count = static_cast<int>(lanes->size());
  AceParallel<Lane, Lane, int>::map(
      lanes->data(), nullptr, count, nullptr, nullptr,
      [](Lane* all, Lane*, int*, VInt index) { all[index].answer(); }, count, &ToolReporter::get());
}

/// Everything that the answers depend on.
std::string causes_of(const FileQuery& query, const QueryLimits& limits, OutputForm form,
                      const std::string& base) {
  std::ostringstream text;
  text << base << '\n'
       << file_stamp(base) << '\n'
       << query.name << '\n'
       << file_stamp(query.name) << '\n'
       << limits.mode << limits.quality << ' ' << limits.number << ' ' << static_cast<int>(form);
  for (const std::string& column : query.columns) text << '\n' << column;
  return text.str();
}

/// Gives each lane its next queries, with the numbers of their lines. False when the file has ended.
bool deal_out(QueryFile* queries, std::vector<Lane>* lanes, std::vector<VInt>* lines) {
  lines->clear();
  bool isMore = true;
  for (Lane& lane : *lanes) {
    lane.queries.clear();
    std::vector<std::string> values;
    for (VInt line = 0; isMore && lane.queries.size() < QUERIES_AT_ONCE;) {
      isMore = queries->next(&values, &line);
      if (!isMore) break;
      lane.queries.push_back(values);
      lines->push_back(line);
    }
  }
  return isMore;
}

/// Writes the rows of all lanes, with the numbers of lines in front. Returns how many queries found
/// something.
VInt write_rows(std::vector<Lane>* lanes, const std::vector<VInt>& lines, std::size_t num_columns,
                Output* output) {
  VInt found = 0;
  std::size_t next = 0;
  for (Lane& lane : *lanes)
    for (auto& [rows, fault] : lane.answers) {
      const std::string number = std::to_string(lines[next++]);
      found += rows.empty() ? 0 : 1;
      if (rows.empty()) {
        rows.emplace_back(num_columns - 1);
        rows[0].back() = fault.empty() ? "nothing found" : fault;
      }
      for (Output::Row& row : rows) {
        row.insert(row.begin(), number);
        output->add(std::move(row));
      }
    }
  return found;
}

}  // namespace

int find_file(Target* target, const FileQuery& query, const QueryLimits& limits, OutputForm form) {
  QueryFile queries(*target, query);
  const OutputForm written = !query.output.empty() && form == OutputForm::TABLE ? OutputForm::TSV : form;
  Answers answers(query.output, causes_of(query, limits, written, target->get_file_name()));
  std::vector<OutputColumn> columns = target->has_words() ? word_columns() : FormQuery::columns(*target);
  columns.insert(columns.begin(), {"line", true});
  Output output(written, columns, answers.get_stream(), answers.get_done() == 0);
  std::vector<Lane> lanes =
      make_lanes(target, limits, query.numThreads > 0 ? query.numThreads : ace_get_system_num_threads());
  sv_trace_on("NO_CONTEXT_STATUS_COUNT", 1);  // nobody is shown in how many records a value occurs
  ToolReporter& rep = ToolReporter::get();
  rep.begin(query.name, file_size(query.name));
  queries.skip(answers.get_done());
  const auto start = std::chrono::steady_clock::now();
  double numAsked = 0;
  std::vector<VInt> lines;
  for (bool isMore = true; isMore;) {
    isMore = deal_out(&queries, &lanes, &lines);
    answer_all(&lanes);
    answers.note(static_cast<VInt>(lines.size()), write_rows(&lanes, lines, columns.size(), &output));
    numAsked += static_cast<double>(lines.size());
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    rep.step(queries.get_bytes_read(),
             std::to_string(static_cast<long>(numAsked / spent.count())) + " a second");
  }
  output.finish();
  answers.commit();
  rep.end();
  return answers.has_found() ? FOUND : FOUND_NOTHING;
}
