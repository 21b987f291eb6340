#include "damo/damo_diff.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <new>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "damo/diff/damo_key_table_internal.h"
#include "damo/diff/damo_record_key_internal.h"
#include "damo/output/damo_output_internal.h"

namespace {

constexpr int BUFFER_SIZE = 4 << 20;
constexpr int MAX_FIELDS = 1 << 30;  // so that one more, for a marker, is a number
constexpr char SEPARATOR = '\t';
constexpr std::string_view DELETION_MARKER = "<del>";

/// Joined keys in the order of their columns: a TAB, which ends one, comes before every other byte.
bool key_less(std::string_view a, std::string_view b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    const auto rank = [](char c) { return c == SEPARATOR ? 0 : static_cast<unsigned char>(c) + 1; };
    return rank(x) < rank(y);
  });
}

std::unique_ptr<AceInput> open_input(const char* file) {
  try {
    return std::make_unique<AceInput>(file, BUFFER_SIZE, false);
  } catch (const AceException&) {
    throw AceException("Couldn't open input file", "File name: '%s'", file != nullptr ? file : "");
  }
}

std::unique_ptr<DamoOutput> open_output(const char* file, const char* condition) {
  try {
    return std::make_unique<DamoOutput>(file);
  } catch (const AceException&) {
    throw AceException(condition, "File name: '%s'", file != nullptr ? file : "");
  }
}

void check_readable(const AceInput& input, VInt line) {
  if (input.read_error() != 0)
    throw AceException("Cannot read file", "'%s' cannot be read beyond line %ld", input.get_filename(), line);
}

}  // namespace

int DifKey::cmp(const DifKey* a, const DifKey* b) {
  if (a == nullptr || b == nullptr) return static_cast<int>(a != nullptr) - static_cast<int>(b != nullptr);
  for (int i = 0; i < std::min(a->numKeys, b->numKeys); ++i)
    if (const int order = std::strcmp(a->keyStrings[i], b->keyStrings[i]); order != 0) return order;
  return a->numKeys - b->numKeys;
}

std::string StrList::to_string() const {
  std::string whole;
  for (const std::string& text : texts) whole += text;
  return whole;
}

struct DamoDiff::Part {
  std::string inName;
  std::string outName;
  std::unique_ptr<AceInput> inStream;
  std::unique_ptr<DamoOutput> outStream;
  VInt outStreamSize = 0;
};

/// The differences of each key. A key without lines is deleted.
class DamoDiff::Collected {
 public:
  struct Line {
    std::string_view text;
    const Line* next;
  };
  struct Difference {
    const Line* first = nullptr;
    Line* last = nullptr;
    bool isExplicit = false;  // deleted by "<del>"
    bool isMet = false;       // by a record of the inputs
  };

  Difference* find(std::string_view key) {
    const std::size_t number = keys.find(key);
    return number != DamoKeyTable::NONE ? &differences[number] : nullptr;
  }
  Difference* get(std::string_view key) {
    if (Difference* const present = find(key); present != nullptr) return present;
    // Where memory runs out there may be one more than keys, which is the next one's.
    if (differences.size() == keys.size()) differences.emplace_back();
    return &differences[keys.add(texts.keep(key))];
  }
  void append(Difference* difference, std::string_view text) {
    Line* const line = &lines.emplace_back(Line{texts.keep(text), nullptr});
    (difference->first != nullptr ? difference->last->next : difference->first) = line;
    difference->last = line;
  }
  /// Of the keys that were not met, in their order, the differences.
  std::vector<const Difference*> inserts() const {
    std::vector<std::pair<std::string_view, const Difference*>> sorted;
    for (std::size_t i = 0; i < keys.size(); ++i)
      if (!differences[i].isMet && differences[i].first != nullptr)
        sorted.emplace_back(keys.key(i), &differences[i]);
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& a, const auto& b) { return key_less(a.first, b.first); });
    std::vector<const Difference*> inOrder;
    for (const auto& entry : sorted) inOrder.push_back(entry.second);
    return inOrder;
  }
  void start() {
    for (Difference& difference : differences) difference.isMet = false;
  }

 private:
  DamoTexts texts;
  DamoKeyTable keys;
  std::deque<Difference> differences;  // of each key
  std::deque<Line> lines;
};

DamoDiff::DamoDiff(const int* id_cols, int num_ids, int num_fields, int is_purge, int implicit_delete)
    : numFields(num_fields),
      idCols(id_cols, id_cols + (id_cols != nullptr ? std::max(num_ids, 0) : 0)),
      implicitDelete(implicit_delete != 0),
      isPurge(is_purge != 0),
      collectTree(std::make_unique<Collected>()) {
  if (num_fields < 1) throw AceException("A record has no fields", "%d", num_fields);
  if (num_fields > MAX_FIELDS) throw AceException("A record has too many fields", "%d", num_fields);
  for (std::size_t i = 0; i < idCols.size(); ++i)
    if (idCols[i] < 0 || idCols[i] >= num_fields || std::count(idCols.begin(), idCols.end(), idCols[i]) > 1)
      throw AceException("Bad key columns", "Column %d: expected columns 0 to %d, each once", idCols[i],
                         num_fields - 1);
}

DamoDiff::~DamoDiff() = default;

// ---------------------------------------------------------------- files
// Inputs and outputs in pairs, one for each part; nothing is opened before the update.

int DamoDiff::add_file(const char* input, const char* output) {
  if (parts.size() >= MAX_PARTS)
    throw AceException("Maximum number of file parts exceeded in FileIO::insert", "Maximum=%d", MAX_PARTS);
  auto part = std::make_unique<Part>();
  part->inStream = open_input(input);
  part->outStream = open_output(output, "Couldn't open output file in FileIO constructor");
  part->inName = input;
  part->outName = output;
  parts.push_back(std::move(part));
  return static_cast<int>(parts.size());
}

int DamoDiff::set_del_file(const char* file) {
  if (outStreamDelete != nullptr) return 1;
  outStreamDelete = open_output(file, "Couldn't open delete output file in FileIO constructor");
  return 0;
}

int DamoDiff::set_explicit_del_file(const char* file) {
  if (outStreamDeleteExplicit != nullptr) return 1;
  outStreamDeleteExplicit =
      open_output(file, "Couldn't open explicit delete output file in FileIO constructor");
  return 0;
}

VInt DamoDiff::get_sizek() const {
  VInt size = 0;
  for (const auto& part : parts) size += part->inStream != nullptr ? part->inStream->get_sizek() : 0;
  return size;
}

// ---------------------------------------------------------------- differences
// All differences lie in one table by key; a key without lines is deleted.

bool DamoDiff::is_delete(const char* const* words, int num_words) const {
  if (num_words == numFields + 1) return words[0] == DELETION_MARKER;
  if (num_words != numFields || get_num_ids() == numFields) return false;
  for (int i = 0; i < numFields; ++i)
    if (*words[i] != '\0' && std::find(idCols.begin(), idCols.end(), i) == idCols.end()) return false;
  return true;
}

DifKey* DamoDiff::create_key(const char* const* words, AceAttach* at) const {
  const char** values = nullptr;
  at->malloc(values, get_num_ids());
  for (std::size_t i = 0; i < idCols.size(); ++i) values[i] = at->attach(words[idCols[i]]);
  DifKey* key = nullptr;
  return new (at->malloc(key, 1)) DifKey{values, get_num_ids()};
}

namespace {

/// Cuts a line, in place, into its fields; beyond `most` they are counted as one.
void cut(char* line, int most, std::vector<const char*>* words) {
  words->assign(1, line);
  for (char* tab = line;
       static_cast<int>(words->size()) < most && (tab = std::strchr(tab, SEPARATOR)) != nullptr;) {
    *tab++ = '\0';
    words->push_back(tab);
  }
}

}  // namespace

void DamoDiff::process_diff(DiffStructure* diff, AceReporter* /*rep*/) {
  process_single_diff(*diff);
}

void DamoDiff::process_single_diff(const DiffStructure& diff) {
  Collected::Difference* const collected = collectTree->get(damo_joined(*diff.difKey));
  if (diff.isDeletion || implicitDelete) collected->first = collected->last = nullptr;
  collected->isExplicit = diff.isDeletion && diff.isExplicit;
  if (!diff.isDeletion) collectTree->append(collected, diff.procLine);
}

int DamoDiff::is_deleted(const DifKey& key) const {
  const Collected::Difference* const collected = collectTree->find(damo_joined(key));
  return collected == nullptr ? -1 : collected->first == nullptr ? 1 : 0;
}

VInt DamoDiff::add_diff(const char* file, AceReporter* rep) {
  constexpr const char* PROGRESS = "Reading difference file";
  constexpr VInt KIB = 1024;
  if (file == nullptr) throw AceException("Diff name is null in add_diff\n");
  if (rep == nullptr) rep = AceReporter::use_default();
  const std::unique_ptr<AceInput> input = open_input(file);
  rep->pstart(input->get_sizek(), PROGRESS);
  VInt line_num = 0;
  std::string text;
  std::vector<const char*> values(idCols.size());
  const DifKey key{values.data(), get_num_ids()};
  DiffStructure diff{{}, false, false, {}, &key};
  char* line = nullptr;
  for (int length; (length = input->read_line(&line)) >= 0;) {
    const std::string_view whole = damo_without_mark({line, static_cast<std::size_t>(length)}, ++line_num);
    text = whole;
    const bool isText = !whole.empty() && whole.find('\0') == std::string_view::npos;
    std::vector<const char*>& words = diff.entryWords;
    words.clear();
    if (isText) cut(text.data(), numFields + 2, &words);
    const auto found = static_cast<int>(words.size());
    diff.isExplicit = found > 0 && words[0] == DELETION_MARKER;
    if (found != numFields + (diff.isExplicit ? 1 : 0)) {
      rep->printf("Ignored record %ld in dif file %s: %d fields instead of %d expected\n", line_num, file,
                  found, numFields);
      continue;
    }
    diff.isDeletion = is_delete(words.data(), found);
    if (diff.isExplicit) words.erase(words.begin());
    for (std::size_t i = 0; i < idCols.size(); ++i) values[i] = words[static_cast<std::size_t>(idCols[i])];
    diff.procLine = whole;
    process_diff(&diff, rep);
    rep->ppset(input->get_pos() / KIB, PROGRESS);
  }
  rep->pstop(PROGRESS);
  check_readable(*input, line_num);
  rep->printf("Added %ld difference lines from file '%s'\n", line_num, file);
  return line_num;
}

// ---------------------------------------------------------------- applying
// Records are read in turn, and the keys that they meet are noted; lines of keys that no record met are
// new.

bool DamoDiff::read_line(std::string_view* line, VInt* line_num) {
  char* text = nullptr;
  const int length = parts[static_cast<std::size_t>(curPart)]->inStream->read_line(&text);
  if (length < 0) return false;
  *line_num = ++lineNum;
  *line = damo_without_mark({text, static_cast<std::size_t>(length)}, lineNum);
  return true;
}

void DamoDiff::print_line(std::string_view line) {
  Part& part = *parts[static_cast<std::size_t>(curPart)];
  part.outStream->write(line);
  part.outStream->put('\n');
  ++part.outStreamSize;
}

namespace {

[[gnu::format(printf, 2, 0)]] void write_formatted(DamoOutput* out, const char* format, std::va_list values) {
  if (out != nullptr) out->vprintf(format, values);
}

}  // namespace

void DamoDiff::fprintf(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  write_formatted(parts[static_cast<std::size_t>(curPart)]->outStream.get(), format, values);
  va_end(values);
  ++parts[static_cast<std::size_t>(curPart)]->outStreamSize;
}

void DamoDiff::d_fprintf(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  write_formatted(outStreamDelete.get(), format, values);
  va_end(values);
}

void DamoDiff::ed_fprintf(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  write_formatted(outStreamDeleteExplicit.get(), format, values);
  va_end(values);
}

void DamoDiff::next() {
  curPart = (curPart + 1) % static_cast<int>(parts.size());
}

void DamoDiff::update_record(std::string_view line, std::string* room) {
  Collected::Difference* const difference = collectTree->find(damo_key_of(line, idCols, room));
  if (difference == nullptr && !isPurge) {
    print_line(line);
    return;
  }
  if (difference != nullptr && difference->first != nullptr) {
    for (const Collected::Line* next = difference->isMet ? nullptr : difference->first; next != nullptr;
         next = next->next)
      print_line(next->text);
    difference->isMet = true;
    return;
  }
  const auto length = static_cast<int>(line.size());
  d_fprintf("%.*s\n", length, line.data());
  if (difference != nullptr && difference->isExplicit) ed_fprintf("%.*s\n", length, line.data());
}

void DamoDiff::update_part(AceReporter* rep, VInt* num_bad) {
  const Part& part = *parts[static_cast<std::size_t>(curPart)];
  std::string_view text;
  VInt line_num = 0;
  std::string room;
  lineNum = 0;
  while (read_line(&text, &line_num)) {
    const int found = strncount(text.data(), SEPARATOR, static_cast<int>(text.size())) + 1;
    if (found == numFields) {
      update_record(text, &room);
      continue;
    }
    rep->printf("Wrong number of fields found in record %ld when applying diffs (found %d, expected %d)\n",
                line_num, found, numFields);
    ++*num_bad;
  }
  check_readable(*part.inStream, line_num);
  rep->printf("Updated %ld lines from input '%s' to output '%s'\n", line_num, part.inName.c_str(),
              part.outName.c_str());
}

VInt DamoDiff::add_inserts() {
  VInt count = 0;
  for (const Collected::Difference* difference : collectTree->inserts())
    for (const Collected::Line* line = difference->first; line != nullptr; line = line->next) {
      if (line->text.empty()) continue;
      next();
      fprintf("%.*s\n", static_cast<int>(line->text.size()), line->text.data());
      ++count;
    }
  return count;
}

/// Lines that neither a record nor `add_inserts` has taken: there are none.
int DamoDiff::add_remaining(AceReporter* rep) {
  constexpr int REMAINING = 0;
  rep->printf("Processed %d remaining difference lines\n", REMAINING);
  return REMAINING;
}

void DamoDiff::commit() {
  const std::string list = parts[0]->outName + ".incomplete";
  DamoOutput names(list.c_str());
  for (const auto& part : parts) names.printf("%s\n", part->outName.c_str());
  names.commit();
  for (const auto& part : parts) part->outStream->commit();
  for (DamoOutput* out : {outStreamDelete.get(), outStreamDeleteExplicit.get()})
    if (out != nullptr) out->commit();
  std::remove(list.c_str());
}

VInt DamoDiff::update(AceReporter* rep) {
  if (rep == nullptr) rep = AceReporter::use_default();
  if (parts.empty() || parts[0]->outStream == nullptr) {
    rep->printf("No input/output files configured in DamoDiff::update\n");
    throw AceException("No input/output files configured in DamoDiff::update");
  }
  collectTree->start();
  VInt numBad = 0;
  // The inputs are read once, whatever happens: a second call finds no parts and refuses.
  const auto close = [this](DamoDiff*) {
    for (const auto& part : parts) part->inStream.reset(), part->outStream.reset();
    outStreamDelete.reset();
    outStreamDeleteExplicit.reset();
  };
  const std::unique_ptr<DamoDiff, decltype(close)> closing(this, close);
  try {
    for (curPart = 0; curPart < static_cast<int>(parts.size()); ++curPart) update_part(rep, &numBad);
    curPart = static_cast<int>(parts.size()) - 1;
    add_inserts();
    add_remaining(rep);
    commit();
  } catch (const AceException&) {
    rep->printf("Cannot write record to file in applying diffs\n");
    throw;
  }
  return numBad;
}
