#include "dime/dime_double.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "ace/ace_bulk.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_values_internal.h"
#include "dime/number/dime_number_text_internal.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"

namespace {

constexpr int NO_INDEX = -2;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeDoubleMethod_constructor(
    []() -> DastBaseMethod* { return new DimeDoubleMethod; }, DimeDoubleMethod::NAME,
    DimeDoubleMethod::MAGIC);
const bool parsersAreListed =
    DimeDoubleRecallOptions::get_parser() != nullptr && DimeDoubleMethod::get_parser() != nullptr;

/// A range of numbers, asked in one way. Without method, when the text was no number, nothing matches.
class DoubleQuery : public TeraQuery {
 public:
  DoubleQuery(double from, double to, DimeDoubleMethod::EvalType type, const DimeDoubleMethod* method)
      : queryFrom(from), queryTo(to), evalType(type), refMethod(method) {}

  int is_empty() const override { return refMethod == nullptr ? 1 : 0; }
  int compare(const char* entry) override {
    double value = 0;
    const bool isNumber =
        refMethod != nullptr && entry != nullptr && dime_read_double(entry, &value) != nullptr;
    return isNumber ? refMethod->compare(queryFrom, queryTo, value, evalType) : 0;
  }
  using TeraQuery::compare;
  bool equals(const char* entry) const override {
    double value = 0;
    return refMethod != nullptr && entry != nullptr && dime_read_double(entry, &value) != nullptr &&
           value >= queryFrom && value <= queryTo;
  }

 private:
  double queryFrom;
  double queryTo;
  DimeDoubleMethod::EvalType evalType;
  const DimeDoubleMethod* refMethod;
};

/// The numbers that a text begins with, up to two with ';' between them.
struct NumberText {
  explicit NumberText(const char* text) {
    rest = text != nullptr ? dime_read_double(text, &numbers[0]) : nullptr;
    if (rest == nullptr) return;
    count = 1;
    rest = dime_skip_blanks(rest);
    if (*rest != ';') return;
    if (const char* end = dime_read_double(rest + 1, &numbers[1]); end != nullptr) {
      count = 2;
      rest = end;
    }
  }

  double numbers[2] = {};
  int count = 0;
  const char* rest = nullptr;  // behind them
};

void warn_of_query(const char* text, AceReporter* rep) {
  if (text == nullptr || rep == nullptr) return;
  const NumberText read(text);
  if (read.count == 2)
    rep->ev_wprintf(
        "A single number expected, the range '%s' found: ask COMPLETE for numbers from its start on, or "
        "DETECT "
        "for numbers up to its end\n",
        text);
  else if (read.count == 0 && *dime_skip_blanks(text) != '\0')
    rep->ev_wprintf("A number expected, '%s' found\n", text);
  else if (read.count == 1 && *read.rest != '\0')
    rep->ev_wprintf("A number expected, '%s' found: '%s' behind it counts for nothing\n", text, read.rest);
}

}  // namespace

void DimeDoubleMethod_init() {}

/// What `make` gathers: numbers with base ids.
struct DimeDoubleMethod::ValueList {
  struct Entry {
    double value;
    Large id;
    bool operator<(const Entry& other) const {
      return value != other.value ? value < other.value : id < other.id;
    }
    bool operator==(const Entry& other) const = default;
  };
  std::vector<Entry> entries;
  DimeSkippedValues skipped;
  DimeSkippedValues cut;  // with something behind the number
};

int DimeDoubleMethod::configure_build_options(const char* options, const TeraMap*) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  return 0;
}

void DimeDoubleMethod::clean() {
  infoHandle.reset();
  keyArray = nullptr;
  numKeys = 0;
  isMapped = false;
  memAt.release();
}

// ---------------------------------------------------------------- building
// Distinct values, ascending, with their base ids.

bool DimeDoubleMethod::is_printable(double value) const {
  AceAttach at;
  double shown = 0;
  return dime_read_double(recallOpts.print(value, &at), &shown) != nullptr && shown == value;
}

/// Returns 0; -1 when reading fails, -2 for a value that cannot be given back.
int DimeDoubleMethod::read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                                  ValueList* values) const {
  const char* string = nullptr;
  Large id = 0;
  int rc = 0;
  while ((rc = reader->get_line(&string, &id, nullptr)) > 0) {
    if (string[0] == '\0') continue;
    double value = 0;
    const char* rest = dime_read_double(string, &value);
    const bool isWhole = rest != nullptr && *dime_skip_blanks(rest) == '\0';
    if (serves && !(isWhole && is_printable(value))) {
      rep->printf("%s: '%s' cannot be given back by the index, which keeps numbers as it prints them\n",
                  filename != nullptr ? filename : NAME, string);
      return NO_INDEX;
    }
    if (rest == nullptr) {
      values->skipped.add(string);
      continue;
    }
    if (!isWhole) values->cut.add(string);
    values->entries.push_back({value + 0.0, id});  // a negative zero is 0
  }
  return rc;
}

int DimeDoubleMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  clean();
  if ((doubleFeatures & IS_PRIMARY) == 0) return NO_INDEX;
  ValueList values;
  const bool serves = (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0;
  if (const int rc = read_values(reader, serves, filename, rep, &values); rc < 0) return rc;
  values.skipped.warn(filename, NAME, "numbers", rep);
  values.cut.warn(filename, NAME, "nothing but numbers", rep);
  return build(&values, rep);
}

int DimeDoubleMethod::build(ValueList* values, AceReporter* rep) {
  auto& entries = values->entries;
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  double* keys = nullptr;
  memAt.malloc(keys, static_cast<long>(entries.size()));
  AceBulk bulk;
  std::vector<AceBulk::List*> lists;
  for (const auto& entry : entries) {
    if (numKeys == 0 || keys[numKeys - 1] != entry.value) {
      keys[numKeys++] = entry.value;
      lists.push_back(nullptr);
    }
    bulk.inc(lists.back(), entry.id);
  }
  keyArray = keys;
  infoHandle = std::make_unique<AceIdMap>();
  if (const int rc = infoHandle->build(numKeys, lists.data(), rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->build(numKeys, lists, rep)", rc, 0, -1);
  ACE_CALL(infoHandle->build_reverse(rep));
  return 0;
}

// ---------------------------------------------------------------- comparing
// A query is a value or a range; quality falls with the distance: of numbers, of logarithms, or its root.

DimeDoubleMethod::EvalType DimeDoubleMethod::get_eval_type(DastOptions::Call call) {
  switch (call) {
    case DastOptions::EXACT:
      return EQUAL;
    case DastOptions::COMPLETE:
      return AT_LEAST;
    case DastOptions::DETECT:
      return AT_MOST;
    default:
      return ABOUT;
  }
}

int DimeDoubleMethod::convert(const char* text, double* from, double* to) {
  const NumberText read(text);
  if (read.count != 1) return -1;
  *from = *to = read.numbers[0];
  return 0;
}

/// Below 0 where the function has no distance.
double DimeDoubleMethod::distance(double a, double b) const {
  switch (recallOpts.get_eval_mode()) {
    case DimeDoubleRecallOptions::LINEAR:
      return std::fabs(a - b);
    case DimeDoubleRecallOptions::DIFF_OF_LOGS:
      return a > logLow && b > logLow ? std::fabs(std::log(a - logLow) - std::log(b - logLow)) : -1;
    case DimeDoubleRecallOptions::SQRT_OF_DIFF:
      return std::sqrt(std::fabs(a - b));
    default:
      return -1;
  }
}

int DimeDoubleMethod::compare(double a, double b) const {
  const double apart = distance(a, b);
  if (apart < 0) return 0;
  const double quality = TeraEval::PERFECT - apart * recallOpts.get_scale_factor();
  return quality > 0 ? static_cast<int>(quality) : 0;  // nor where numbers are too large to be subtracted
}

int DimeDoubleMethod::compare(double from, double to, double value, EvalType type) const {
  if (value >= from && value <= to) return TeraEval::PERFECT;
  if (type == EQUAL) return 0;
  if (value < from) return type == AT_MOST ? TeraEval::PERFECT : compare(from, value);
  return type == AT_LEAST ? TeraEval::PERFECT : compare(to, value);
}

TeraQuery* DimeDoubleMethod::eval(DastOptions::Call call, const char* query, AceReporter* rep) const {
  double from = 0;
  double to = 0;
  const bool isNumber = convert(query, &from, &to) >= 0;
  warn_of_query(query, rep);
  return new DoubleQuery(from, to, get_eval_type(call), isNumber ? this : nullptr);
}

// ---------------------------------------------------------------- looking up
// The values within reach are a range of the array.

VInt DimeDoubleMethod::bin_search(double value, int upper) const {
  const std::span<const double> keys(keyArray, numKeys);
  const auto found = std::lower_bound(keys.begin(), keys.end(), value);
  const bool isThere = found != keys.end() && *found == value;
  return found - keys.begin() - (upper != 0 && !isThere ? 1 : 0);
}

TeraScanGraph* DimeDoubleMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (infoHandle == nullptr || query == nullptr) return nullptr;
  const TeraQueryRef object(eval(call, query, rep));
  const DimeRecallOptions& limits = recallOpts.get_primary();
  auto result =
      std::make_unique<TeraResult>(query, limits.minValue, limits.numCands, limits.maxDist, object.get());
  result->use_collection();
  double from = 0;
  double to = 0;
  if (convert(query, &from, &to) < 0) return dime_resolved_graph(std::move(result), query);
  const EvalType type = get_eval_type(call);
  const auto quality = [&](VInt pos) { return compare(from, to, keyArray[pos], type); };
  const auto add = [&](int qual, VInt pos) {
    const IdList ids = infoHandle->get(static_cast<Large>(pos));
    if (!ids.empty())
      result->add(qual, new TeraCand(recallOpts.print(keyArray[pos], result.get()), ids.count, ids.values));
  };
  dime_walk_outwards(bin_search(from, 0), bin_search(to, 1) + 1, numKeys, result.get(), quality, add);
  return dime_resolved_graph(std::move(result), query);
}

// ---------------------------------------------------------------- items
// Items are the values in ascending order.

const char* DimeDoubleMethod::show(Large id, AceAttach* at) const {
  const Large pos = infoHandle != nullptr ? infoHandle->get_index(id) : AceIdMap::NONE;
  return pos < numKeys ? recallOpts.print(keyArray[pos], at) : nullptr;
}

int DimeDoubleMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  return infoHandle != nullptr && pos >= 0
             ? static_cast<int>(infoHandle->get_array(static_cast<Large>(pos), ids))
             : 0;
}

const char* DimeDoubleMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 && pos < get_num_items() ? recallOpts.print(keyArray[pos], at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// Keys, and the base ids of each; a secondary index has the keys only.

VInt DimeDoubleMethod::save(AceFile* file) {
  file->put_int(doubleFeatures);
  ACE_CALL(recallOpts.save(file));
  file->put_double(logLow);
  file->mem_point("Key array");
  file->put_int(numKeys);
  if (numKeys > 0) file->write(VInt{numKeys} * VInt{sizeof(double)}, keyArray, sizeof(double));
  if ((doubleFeatures & IS_PRIMARY) == 0) return 0;
  static AceIdMap none;
  if (const VInt rc = (infoHandle != nullptr ? infoHandle.get() : &none)->save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->save(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

VInt DimeDoubleMethod::read(AceFile* file) {
  clean();
  const int features = file->get_int();
  ACE_CALL(recallOpts.read(file));
  const double smallest = file->get_double();
  const Large count = file->get_large();
  const double* keys = count > 0 ? file->read_array<double>(count, &memAt, sizeof(double)) : nullptr;
  auto infos = std::make_unique<AceIdMap>();
  if ((features & IS_PRIMARY) != 0)
    if (const VInt rc = infos->read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "infoHandle->read(file)", static_cast<int>(rc), 0, -1);
  const bool isSound = (features & ~IS_PRIMARY) == 0 && std::isfinite(smallest) &&
                       (count == 0 || keys != nullptr) && infos->get_num_keys() == count;
  if (file->is_short() || !isSound) {
    AceReporter::use_default()->printf(
        "Double method that is broken at offset %ld: features %d, smallest %g, %u numbers with %u lists of "
        "ids\n",
        file->get_pos(), features, smallest, count, infos->get_num_keys());
    return -1;
  }
  doubleFeatures = features;
  logLow = smallest;
  numKeys = count;
  keyArray = keys;
  isMapped = file->is_mapped();
  if ((features & IS_PRIMARY) != 0) infoHandle = std::move(infos);
  return 0;
}
