#include "dime/dime_uuid.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_parse_internal.h"
#include "dime/method/dime_values_internal.h"
#include "tera/store/tera_progress_internal.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"

namespace {

constexpr const char* OPTIONS_MAGIC = "UUROP";
constexpr int NO_STRINGS = -2;
constexpr int MOST_CANDS = 2000;
constexpr int NUM_SECTIONS = 3;
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int KNOWN_OPTIONS = DimeUuidMethod::SORTED | DimeUuidMethod::SKIP_INVALID |
                              DimeUuidMethod::HAS_DENSE | DimeUuidMethod::HAS_HOLES;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeUuidMethod_constructor(
    []() -> DastBaseMethod* { return new DimeUuidMethod; }, DimeUuidMethod::NAME, DimeUuidMethod::MAGIC);
const bool parsersAreListed =
    DimeUuidRecallOptions::get_parser() != nullptr && DimeUuidMethod::get_parser() != nullptr;

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("capital", "Flag to display UUIDs with capital letters");
  parser->add_flag_option("no_sep", "Flag to display UUIDs without separators");
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("sorted", "Build a sorted array for fast search");
  parser->add_flag_option("skip_invalid", "Skip invalid UUID entries during build");
}

/// The UUIDs that a query text means.
struct UuidRange {
  /// Returns 0; -1 for a text that is no UUID and, unless it may go on, no beginning of one.
  int init(const char* text, DastOptions::Call call) {
    const int count = from.parse(text);
    const bool mayGoOn = call == DastOptions::COMPLETE && count > 0 && count < Uuid::NUM_DIGITS;
    if (!mayGoOn && from.init(text) < 0) return -1;
    to = mayGoOn ? from.last_with_prefix(count) : from;
    return 0;
  }

  Uuid from;
  Uuid to;
};

/// Bisection without branches: which way it goes cannot be foreseen.
const VUint* first_not_below(const VUint* array, Large size, VUint word) {
  while (size > 0) {
    const Large half = size / 2;
    array += array[half] < word ? size - half : 0;
    size = half;
  }
  return array;
}

class UuidQuery : public TeraQuery {
 public:
  explicit UuidQuery(const UuidRange& range) : asked(range) {}
  int is_empty() const override { return 0; }
  int compare(const char* entry) override { return equals(entry) ? TeraEval::PERFECT : 0; }
  using TeraQuery::compare;
  bool equals(const char* entry) const override {
    Uuid value;
    return value.parse(entry) == Uuid::NUM_DIGITS && value >= asked.from && value <= asked.to;
  }

 private:
  UuidRange asked;
};

}  // namespace

void DimeUuidMethod_init() {}

// ---------------------------------------------------------------- options
// Of recalls, which only say how identifiers are shown, and of builds.

AceOptionsParser* DimeUuidRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeUuidMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeUuidMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeUuidMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeUuidRecallOptions::apply(const char* string) {
  const DimeParse parser(get_parser(), string, AceReporter::use_default(), "parser->parse(string, rep)");
  if (parser.has_failed()) return -1;
  capitalLetters = parser->get_bool_value("capital");
  noSeparators = parser->get_bool_value("no_sep");
  return 0;
}

VInt DimeUuidRecallOptions::save(AceFile* file) const {
  file->put_magic(OPTIONS_MAGIC);
  file->put_bool(capitalLetters);
  file->put_bool(noSeparators);
  return 0;
}

VInt DimeUuidRecallOptions::read(AceFile* file) {
  if (file->get_magic(OPTIONS_MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"UUROP\")", -1, 0, -1);
  capitalLetters = file->get_bool();
  noSeparators = file->get_bool();
  return file->is_short() ? -1 : 0;
}

int DimeUuidMethod::parse_options(const char* config_string) {
  const DimeParse parser(get_parser(), config_string, AceReporter::use_default());
  if (parser.has_failed()) return -1;
  optionFlags = (parser->get_bool_value("sorted") ? SORTED : 0) |
                (parser->get_bool_value("skip_invalid") ? SKIP_INVALID : 0);
  return 0;
}

int DimeUuidMethod::configure_build_options(const char* options, const TeraMap*) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  return 0;
}

void DimeUuidMethod::clean() {
  denseArray = std::make_unique<BlockIndex>();
  presence.reset();
  valueArray = nullptr;
  sortArray = nullptr;
  guideArray = nullptr;
  numEntries = numValues = 0;
  optionFlags &= SORTED | SKIP_INVALID;
  isMapped = false;
  memAt.release();
}

// ---------------------------------------------------------------- building
// Identifiers are numbers of 128 bits, sorted; a guide of every so many of them stays in the cache.

struct DimeUuidMethod::ValueList {
  struct Entry {
    Large id;
    Uuid value;
  };
  std::vector<Entry> entries;
  DimeSkippedValues skipped;
};

/// Returns 1; 0 for a value to be left out; -1 for one that ends the build, -2 for one that cannot be given
/// back.
int DimeUuidMethod::read_value(const char* string, bool serves, const char* filename, AceReporter* rep,
                               Uuid* value) const {
  const bool isUuid = value->parse(string) == Uuid::NUM_DIGITS;
  AceAttach at;
  if (serves && !(isUuid && recallOpts.print(*value, &at) != nullptr)) {
    rep->printf("%s: '%s' cannot be given back by the index: it is %s\n",
                filename != nullptr ? filename : NAME, string,
                isUuid ? "a UUID of version 0, which is not shown" : "no UUID");
    return NO_STRINGS;
  }
  if (isUuid) return 1;
  if (has(SKIP_INVALID)) return 0;
  return value->init(string);  // says why
}

int DimeUuidMethod::read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                                ValueList* values) const {
  static const AceTraceFlag progressFlag("TERA_PROGRESS", __FILE__, __LINE__);
  TeraProgress progress(&progressFlag);
  const char* string = nullptr;
  Large id = 0;
  int rc = 0;
  for (Huge numRead = 1; (rc = reader->get_line(&string, &id, nullptr)) > 0; ++numRead) {
    if (progress.is_due()) rep->pset(numRead, "Reading UUIDs");
    if (string[0] == '\0') continue;
    Uuid value;
    const int kind = read_value(string, serves, filename, rep, &value);
    if (kind < 0) return kind;
    if (kind > 0)
      values->entries.push_back({id, value});
    else
      values->skipped.add(string);
  }
  const auto isBefore = [](const auto& a, const auto& b) { return a.id < b.id; };
  if (!std::is_sorted(values->entries.begin(), values->entries.end(), isBefore))
    std::stable_sort(values->entries.begin(), values->entries.end(), isBefore);
  return rc;
}

int DimeUuidMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  clean();
  rep->pstart(NUM_SECTIONS, NAME);
  const int rc = build(reader, (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0, rep, filename);
  rep->pstop(NAME);
  if (rc < 0) clean();
  return rc;
}

int DimeUuidMethod::build(TeraReader* reader, bool serves, AceReporter* rep, const char* filename) {
  ValueList values;
  if (rep->psect(1, "Counting values") < 0) return -1;
  if (const int rc = read_values(reader, serves, filename, rep, &values); rc < 0) return rc;
  values.skipped.warn(filename, NAME, "UUIDs", rep);
  if (rep->psect(1, "Filling value array") < 0 || fill_dense(values) < 0) return -1;
  fill_values(values);
  if (rep->psect(1, "Creating sorted array") < 0) return -1;
  if (has(SORTED)) sort_values();
  return 0;
}

int DimeUuidMethod::fill_dense(const ValueList& values) {
  for (const auto& entry : values.entries)
    if (const int rc = denseArray->in_order_count(entry.id); rc < 0)
      return ace_error(__FILE__, __LINE__, "denseArray.in_order_count(info)", rc, 0, -1);
  denseArray->prepare();
  for (const auto& entry : values.entries) denseArray->in_order_insert(entry.id);
  if (const int rc = denseArray->finish(); rc < 0)
    return ace_error(__FILE__, __LINE__, "denseArray.finish()", rc, 0, -1);
  optionFlags |= HAS_DENSE;
  return 0;
}

void DimeUuidMethod::fill_values(const ValueList& values) {
  numEntries = denseArray->size();
  numValues = static_cast<Large>(values.entries.size());
  if (numValues < numEntries) {
    presence = std::make_unique<AceBits>(1, numEntries);
    optionFlags |= HAS_HOLES;
  }
  Uuid* filled = nullptr;
  memAt.malloc(filled, numEntries);
  std::fill_n(filled, numEntries, Uuid());
  for (const auto& entry : values.entries) {
    const Large pos = denseArray->get_key(entry.id);
    filled[pos] = entry.value;
    if (presence != nullptr) presence->set(pos, 1);
  }
  valueArray = filled;
}

void DimeUuidMethod::sort_values() {
  Large* sorted = nullptr;
  memAt.malloc(sorted, numValues);
  Large* end = sorted;
  for (Large pos = 0; pos < numEntries; ++pos)
    if (is_value(pos)) *end++ = pos;
  std::sort(sorted, end, [this](Large a, Large b) {
    const int order = valueArray[a].compare(valueArray[b]);
    return order != 0 ? order < 0 : a < b;
  });
  sortArray = sorted;
  make_guide();
}

void DimeUuidMethod::make_guide() {
  VUint* guide = nullptr;
  memAt.malloc(guide, num_guides());
  for (Large i = 0; i < num_guides(); ++i) guide[i] = sorted_value(VInt{i} * GUIDE_STEP).get_word(0);
  guideArray = guide;
}

// ---------------------------------------------------------------- searching
// What begins alike lies side by side, so that patterns are ranges, too.

/// The guide leaves the values between two neighbours in it, or more where many begin alike. Interpolation
/// between the ends then asks on both sides of where the value should be, so that as a rule it lies between
/// the two: of random values, n apart, the guess is wrong by the root of n at most. Others are bisected.
Large DimeUuidMethod::count_below(const Uuid& value) const {
  constexpr VInt FEW = 4;
  constexpr int BISECTION = 3;  // every third step
  constexpr double WHOLE = 18446744073709551616.0;
  const VUint* const guideEnd = guideArray + num_guides();
  const VUint* const from = first_not_below(guideArray, num_guides(), value.get_word(0));
  const bool isShared = from != guideEnd && *from == value.get_word(0);
  const VUint* const to = isShared ? std::upper_bound(from, guideEnd, *from) : from;
  VInt low = from != guideArray ? (from - guideArray - 1) * VInt{GUIDE_STEP} + 1 : 0;
  VInt high = std::min((to - guideArray) * VInt{GUIDE_STEP}, VInt{numValues});
  double lowKey = from != guideArray ? static_cast<double>(from[-1]) : 0;
  double highKey = to != guideEnd ? static_cast<double>(*to) : WHOLE;
  const auto key = static_cast<double>(value.get_word(0));
  for (int step = 1; high - low > FEW; ++step) {
    const auto size = static_cast<double>(high - low);
    const bool isBisection = step % BISECTION == 0 || !(highKey > lowKey);
    const double share = isBisection ? 0.5 : std::clamp((key - lowKey) / (highKey - lowKey), 0.0, 1.0);
    const VInt guess = low + static_cast<VInt>(share * size);
    const VInt margin = isBisection ? 0 : static_cast<VInt>(std::sqrt(size) / 2);
    const VInt first = std::clamp(guess - margin, low, high - 1);
    const VInt second = std::clamp(guess + margin, low, high - 1);
    const Uuid& firstValue = sorted_value(first);
    const Uuid& secondValue = sorted_value(second);
    if (secondValue < value) {
      low = second + 1;
      lowKey = static_cast<double>(secondValue.get_word(0));
    } else if (firstValue < value) {
      high = second;
      highKey = static_cast<double>(secondValue.get_word(0));
      low = first + 1;
      lowKey = static_cast<double>(firstValue.get_word(0));
    } else {
      high = first;
      highKey = static_cast<double>(firstValue.get_word(0));
    }
  }
  VInt numBelow = 0;
  for (VInt rank = low; rank < high; ++rank) numBelow += sorted_value(rank) < value ? 1 : 0;
  return static_cast<Large>(low + numBelow);
}

template <class Visit>
void DimeUuidMethod::for_each_match(const Uuid& from, const Uuid& to, Visit visit) const {
  if (sortArray != nullptr) {
    for (VInt rank = count_below(from); rank < numValues && sorted_value(rank) <= to; ++rank)
      visit(sorted_position(rank));
    return;
  }
  for (Large pos = 0; pos < numEntries; ++pos)
    if (valueArray[pos] >= from && valueArray[pos] <= to && is_value(pos)) visit(pos);
}

TeraResult* DimeUuidMethod::scan(const char* query, DastOptions::Call call) const {
  if (query == nullptr || query[0] == '\0') return nullptr;
  auto result =
      std::make_unique<TeraResult>(query, TeraEval::PERFECT, MOST_CANDS, TeraEval::PERFECT, nullptr);
  result->use_collection();
  UuidRange asked;
  if (asked.init(query, call) < 0) return result.release();
  const TeraQueryRef object(new UuidQuery(asked));
  result->add_query(object.get(), 1);
  const bool isOne = asked.from == asked.to;
  const char* shown = isOne ? recallOpts.print(asked.from, result.get()) : nullptr;
  for_each_match(asked.from, asked.to, [&](Large pos) {
    const Large id = denseArray->get_orig(pos);
    if (id == BlockIndex::NONE) return;
    const char* text = isOne ? shown : recallOpts.print(valueArray[pos], result.get());
    result->add(TeraEval::PERFECT, new TeraCand(text, id));
  });
  return result.release();
}

TeraScanGraph* DimeUuidMethod::lookup(const char* query, DastOptions::Call call, AceReporter*) const {
  std::unique_ptr<TeraResult> result(scan(query, call));
  return result != nullptr ? dime_resolved_graph(std::move(result), query) : nullptr;
}

TeraQuery* DimeUuidMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  UuidRange asked;
  if (asked.init(query, call) < 0) {
    ace_error_msg(__FILE__, __LINE__, "uuid.init(query)", -1);
    return nullptr;
  }
  return new UuidQuery(asked);
}

// ---------------------------------------------------------------- items
// Items are the identifiers in ascending order, each with its one base id.

const char* DimeUuidMethod::show(Large id, AceAttach* at) const {
  const Large pos = has(HAS_DENSE) ? denseArray->get_key(id) : BlockIndex::NONE;
  return pos < numEntries && is_value(pos) ? recallOpts.print(valueArray[pos], at) : nullptr;
}

/// NONE past the end.
Large DimeUuidMethod::position_of_item(int item) const {
  if (item < 0 || static_cast<Large>(item) >= numValues) return BlockIndex::NONE;
  if (sortArray != nullptr) return sorted_position(item);
  if (presence == nullptr) return static_cast<Large>(item);
  for (Large pos = 0; pos < numEntries; ++pos)
    if (is_value(pos) && item-- == 0) return pos;
  return BlockIndex::NONE;
}

int DimeUuidMethod::get_items(int pos, const Large** ids, AceAttach* at) const {
  *ids = nullptr;
  const Large entry = position_of_item(pos);
  if (entry == BlockIndex::NONE) return 0;
  Large* id = nullptr;
  at->malloc(id, 1);
  *id = denseArray->get_orig(entry);
  *ids = id;
  return 1;
}

const char* DimeUuidMethod::get_item(int pos, AceAttach* at) const {
  const Large entry = position_of_item(pos);
  return entry != BlockIndex::NONE ? recallOpts.print(valueArray[entry], at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// Options and sizes, then the arrays, which are used as they lie in a mapped file.

VInt DimeUuidMethod::save(AceFile* file) {
  ACE_CALL(recallOpts.save(file));
  file->put_int(uuidFeatures);
  file->put_int(optionFlags);
  file->put_int(numEntries);
  file->put_int(numValues);
  save_arrays(file);
  if (!has(HAS_DENSE)) return 0;
  file->mem_point("Dense array");
  if (const VInt rc = denseArray->save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "denseArray.save(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

void DimeUuidMethod::save_arrays(AceFile* file) const {
  file->mem_point("Value array");
  file->mem_info("Number of entries: %d", static_cast<int>(numEntries));
  if (numEntries > 0) file->write(VInt{numEntries} * VInt{sizeof(Uuid)}, valueArray, ARRAY_ALIGNMENT);
  file->mem_point("Sorted array");
  if (sortArray != nullptr && numValues > 0) {
    file->write(VInt{numValues} * VInt{sizeof(Large)}, sortArray, ARRAY_ALIGNMENT);
    file->write(VInt{num_guides()} * VInt{sizeof(VUint)}, guideArray, ARRAY_ALIGNMENT);
  }
  if (presence != nullptr) presence->save(file);
}

bool DimeUuidMethod::read_arrays(AceFile* file) {
  if (numEntries > 0) valueArray = file->read_array<Uuid>(numEntries, &memAt, ARRAY_ALIGNMENT);
  if (has(SORTED) && numValues > 0) {
    sortArray = file->read_array<Large>(numValues, &memAt, ARRAY_ALIGNMENT);
    guideArray = file->read_array<VUint>(num_guides(), &memAt, ARRAY_ALIGNMENT);
  }
  if (has(HAS_HOLES)) {
    presence = std::make_unique<AceBits>();
    if (presence->read(file) != numEntries || presence->get_num_bits() != 1) return false;
  }
  if (has(HAS_DENSE) && denseArray->read(file) < 0) return false;
  const bool isThere = (numEntries == 0 || valueArray != nullptr) &&
                       (!has(SORTED) || numValues == 0 || (sortArray != nullptr && guideArray != nullptr));
  return isThere && !file->is_short() && denseArray->size() == numEntries;
}

VInt DimeUuidMethod::read(AceFile* file) {
  clean();
  ACE_CALL(recallOpts.read(file));
  uuidFeatures = file->get_int();
  optionFlags = file->get_int();
  numEntries = file->get_large();
  numValues = file->get_large();
  const bool isSound = (optionFlags & ~KNOWN_OPTIONS) == 0 && numValues <= numEntries &&
                       (has(HAS_HOLES) || numValues == numEntries);
  if (!isSound || !read_arrays(file)) {
    AceReporter::use_default()->printf(
        "Uuid method that is broken at offset %ld: options %d, %u values at %u positions, of which the index "
        "of ids has %u\n",
        file->get_pos(), optionFlags, numValues, numEntries, denseArray->size());
    clean();
    return -1;
  }
  isMapped = file->is_mapped();
  return 0;
}
