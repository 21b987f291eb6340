#include "dime/dime_direct.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "ace/ace_bulk.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_parse_internal.h"
#include "dime/method/dime_values_internal.h"
#include "dime/number/dime_number_text_internal.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"

namespace {

constexpr const char* OPTIONS_MAGIC = "DIROP";
constexpr int NO_INDEX = -2;
constexpr int MAX_DIGITS = 20;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeDirectMethod_constructor(
    []() -> DastBaseMethod* { return new DimeDirectMethod; }, DimeDirectMethod::NAME,
    DimeDirectMethod::MAGIC);
const bool parsersAreListed =
    DimeDirectRecallOptions::get_parser() != nullptr && DimeDirectMethod::get_parser() != nullptr;

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_int_option("log_max", 0, "Value that should definitely be mapped to 255");
  parser->add_int_option("factor", 100, "Scaling factor before further processing");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("secondary", "Use as a secondary method; primary index will be disabled.");
}

const char* print(Huge value, AceAttach* at) {
  char* text = nullptr;
  at->malloc(text, MAX_DIGITS + 1);
  *std::to_chars(text, text + MAX_DIGITS, value).ptr = '\0';
  return text;
}

}  // namespace

void DimeDirectMethod_init() {}

// ---------------------------------------------------------------- options
// Of recalls, which say how far numbers may be apart, and of builds.

AceOptionsParser* DimeDirectRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeDirectMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeDirectMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeDirectMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeDirectRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeDirectRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.logMax = parser->get_int_value("log_max");
  parsed.scaleFactor = parser->get_int_value("factor");
  if (parsed.logMax < 0 || parsed.scaleFactor < 0) {
    rep->ev_wprintf("A log_max and a factor from 0 on expected, %d and %d found\n", parsed.logMax,
                    parsed.scaleFactor);
    return -1;
  }
  configure(parsed);
  return 0;
}

VInt DimeDirectRecallOptions::save(AceFile* file) const {
  file->put_magic(OPTIONS_MAGIC);
  ACE_CALL(primaryOptions.save(file));
  file->put_int(logMax);
  file->put_int(scaleFactor);
  return 0;
}

VInt DimeDirectRecallOptions::read(AceFile* file) {
  if (file->get_magic(OPTIONS_MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"DIROP\")", -1, 0, -1);
  DimeDirectRecallOptions stored;
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  stored.logMax = file->get_int();
  stored.scaleFactor = file->get_int();
  if (file->is_short() || stored.logMax < 0 || stored.scaleFactor < 0) {
    AceReporter::use_default()->printf("Options of whole numbers that are broken at offset %ld: %d, %d\n",
                                       file->get_pos(), stored.logMax, stored.scaleFactor);
    return -1;
  }
  configure(stored);
  return 0;
}

int DimeDirectMethod::parse_options(const char* config_string) {
  const DimeParse parser(get_parser(), config_string, AceReporter::use_default());
  if (parser.has_failed()) return -1;
  directFeatures = parser->get_bool_value("secondary") ? 0 : IS_PRIMARY;
  return 0;
}

int DimeDirectMethod::configure_build_options(const char* options, const TeraMap*) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  return 0;
}

void DimeDirectMethod::clean() {
  denseArray = std::make_unique<BlockIndex>();
  infoHandle.reset();
  farArray = nullptr;
  numFar = 0;
  memAt.release();
}

// ---------------------------------------------------------------- building
// Distinct numbers, ascending, with their lists of base ids; those too large for the array lie beside it.

/// What `make` gathers: numbers with base ids, and then the distinct ones with their lists.
struct DimeDirectMethod::KeyList {
  struct Entry {
    Huge value;
    Large id;
    auto operator<=>(const Entry& other) const = default;
  };
  void gather_lists();
  /// How many of the distinct numbers have a key in a block index.
  std::size_t num_dense() const {
    return static_cast<std::size_t>(std::upper_bound(values.begin(), values.end(), MAX_DENSE) -
                                    values.begin());
  }

  std::vector<Entry> entries;
  std::vector<Huge> values;
  std::vector<AceBulk::List*> lists;
  AceBulk bulk;
  DimeSkippedValues skipped;
};

void DimeDirectMethod::KeyList::gather_lists() {
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  for (const Entry& entry : entries) {
    if (values.empty() || values.back() != entry.value) {
      values.push_back(entry.value);
      lists.push_back(nullptr);
    }
    bulk.inc(lists.back(), entry.id);
  }
}

/// Returns 0; -1 when reading fails, -2 for a value that cannot be given back.
int DimeDirectMethod::read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                                  KeyList* keys) const {
  const char* string = nullptr;
  Large id = 0;
  int rc = 0;
  while ((rc = reader->get_line(&string, &id, nullptr)) > 0) {
    if (string[0] == '\0') continue;
    Huge value = 0;
    const bool isNumber = dime_read_whole(string, &value) != nullptr;
    AceAttach at;
    if (serves && (!isNumber || std::strcmp(print(value, &at), string) != 0)) {
      rep->printf("%s: '%s' cannot be given back by the index, which keeps whole numbers\n",
                  filename != nullptr ? filename : NAME, string);
      return NO_INDEX;
    }
    if (isNumber)
      keys->entries.push_back({value, id});
    else
      keys->skipped.add(string);
  }
  return rc;
}

int DimeDirectMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  clean();
  if ((directFeatures & IS_PRIMARY) == 0) return NO_INDEX;
  KeyList keys;
  const bool serves = (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0;
  if (const int rc = read_values(reader, serves, filename, rep, &keys); rc < 0) return rc;
  keys.skipped.warn(filename, NAME, "whole numbers", rep);
  return build(&keys, rep);
}

int DimeDirectMethod::build(KeyList* keys, AceReporter* rep) {
  keys->gather_lists();
  if (const int rc = fill_dense(*keys); rc < 0)
    return ace_error(__FILE__, __LINE__, "denseArray->in_order_count(key)", rc, 0, -1);
  const std::span<const Huge> far = std::span(keys->values).subspan(keys->num_dense());
  numFar = static_cast<Large>(far.size());
  Huge* copy = nullptr;
  memAt.malloc(copy, static_cast<long>(far.size()));
  std::copy(far.begin(), far.end(), copy);
  farArray = copy;
  if (const int rc = fill_infos(*keys, rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->build(numKeys, lists, rep)", rc, 0, -1);
  return 0;
}

int DimeDirectMethod::fill_dense(const KeyList& keys) {
  const std::span<const Huge> values(keys.values.data(), keys.num_dense());
  for (const Huge value : values)
    if (denseArray->in_order_count(static_cast<Large>(value)) < 0) return -1;
  if (denseArray->prepare() < 0) return -1;
  for (const Huge value : values)
    if (denseArray->in_order_insert(static_cast<Large>(value)) < 0) return -1;
  return denseArray->finish();
}

/// Positions are those of the numbers, with empty lists in the holes between them.
int DimeDirectMethod::fill_infos(const KeyList& keys, AceReporter* rep) {
  std::vector<AceBulk::List*> lists(static_cast<std::size_t>(num_positions()), nullptr);
  for (std::size_t i = 0; i < keys.values.size(); ++i)
    lists[static_cast<std::size_t>(position_of(keys.values[i]))] = keys.lists[i];
  infoHandle = std::make_unique<AceIdMap>();
  if (infoHandle->build(static_cast<Large>(lists.size()), lists.data(), rep) < 0) return -1;
  return infoHandle->build_reverse(rep);
}

// ---------------------------------------------------------------- numbers and positions
// Numbers are positions in their order: first those of the array, then those that are too large for it.

VInt DimeDirectMethod::position_of(Huge value) const {
  if (value <= 0) return 0;
  const VInt numDense = denseArray->size();
  if (value <= MAX_DENSE) return std::min<VInt>(denseArray->get_pos(static_cast<Large>(value), 1), numDense);
  return numDense + (std::lower_bound(farArray, farArray + numFar, value) - farArray);
}

Huge DimeDirectMethod::number_at(VInt pos) const {
  const VInt numDense = denseArray->size();
  return pos < numDense ? Huge{denseArray->get_orig(static_cast<Large>(pos))} : farArray[pos - numDense];
}

Huge DimeDirectMethod::get_max_key() const {
  if (infoHandle == nullptr || num_positions() == 0) return -1;
  return number_at(num_positions() - 1);
}

// ---------------------------------------------------------------- looking up
// The numbers within reach of the query are a range of positions.

TeraQuery* DimeDirectMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  return new DimeDirectQuery(query, get_eval_type(call), recallOpts.get_scale_factor(),
                             get_expo_bits(recallOpts.get_log_max()));
}

TeraScanGraph* DimeDirectMethod::lookup(const char* query, DastOptions::Call call, AceReporter*) const {
  if (infoHandle == nullptr || query == nullptr) return nullptr;
  const TeraQueryRef object(new DimeDirectQuery(query, get_eval_type(call), recallOpts.get_scale_factor(),
                                                get_expo_bits(recallOpts.get_log_max())));
  const auto* asked = static_cast<const DimeDirectQuery*>(object.get());
  const DimeRecallOptions& limits = recallOpts.get_primary();
  auto result =
      std::make_unique<TeraResult>(query, limits.minValue, limits.numCands, limits.maxDist, object.get());
  result->use_collection();
  if (asked->is_empty() != 0) return dime_resolved_graph(std::move(result), query);
  const auto quality = [&](VInt pos) { return asked->compare_item(number_at(pos)); };
  const auto add = [&](int qual, VInt pos) {
    const IdList ids = infoHandle->get(static_cast<Large>(pos));
    if (!ids.empty())
      result->add(qual, new TeraCand(print(number_at(pos), result.get()), ids.count, ids.values));
  };
  const VInt end = asked->get_to() == std::numeric_limits<Huge>::max() ? num_positions()
                                                                       : position_of(asked->get_to() + 1);
  dime_walk_outwards(position_of(asked->get_from()), end, num_positions(), result.get(), quality, add);
  return dime_resolved_graph(std::move(result), query);
}

// ---------------------------------------------------------------- items
// Items are the positions, with an empty list where no value has the number.

const char* DimeDirectMethod::show(Large id, AceAttach* at) const {
  const Large pos = infoHandle != nullptr ? infoHandle->get_index(id) : AceIdMap::NONE;
  return pos < num_positions() ? print(number_at(pos), at) : nullptr;
}

int DimeDirectMethod::get_num_items() const {
  return static_cast<int>(std::min<VInt>(num_positions(), std::numeric_limits<int>::max()));
}

int DimeDirectMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  return infoHandle != nullptr && pos >= 0
             ? static_cast<int>(infoHandle->get_array(static_cast<Large>(pos), ids))
             : 0;
}

const char* DimeDirectMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 && pos < get_num_items() ? print(number_at(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// Far numbers, the array, and the base ids of each position; a secondary index has the first only.

VInt DimeDirectMethod::save(AceFile* file) {
  file->put_int(directFeatures);
  ACE_CALL(recallOpts.save(file));
  file->put_int(numFar);
  if (numFar > 0) file->write(VInt{numFar} * VInt{sizeof(Huge)}, farArray, sizeof(Huge));
  if ((directFeatures & IS_PRIMARY) == 0) return 0;
  file->mem_point("Dense array");
  ACE_CALL(denseArray->save(file));
  static AceIdMap none;
  if (const VInt rc = (infoHandle != nullptr ? infoHandle.get() : &none)->save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->save(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

VInt DimeDirectMethod::read(AceFile* file) {
  clean();
  directFeatures = file->get_int();
  ACE_CALL(recallOpts.read(file));
  const Large count = file->get_large();
  farArray = count > 0 ? file->read_array<Huge>(count, &memAt, sizeof(Huge)) : nullptr;
  numFar = farArray != nullptr ? count : 0;
  auto infos = std::make_unique<AceIdMap>();
  if ((directFeatures & IS_PRIMARY) != 0) {
    ACE_CALL(denseArray->read(file));
    if (const VInt rc = infos->read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "infoHandle->read(file)", static_cast<int>(rc), 0, -1);
  }
  if (file->is_short() || (directFeatures & ~IS_PRIMARY) != 0 || numFar != count ||
      infos->get_num_keys() != num_positions()) {
    AceReporter::use_default()->printf(
        "Direct method that is broken at offset %ld: features %d, %u large numbers, %ld positions with %u "
        "lists "
        "of ids\n",
        file->get_pos(), directFeatures, count, num_positions(), infos->get_num_keys());
    clean();
    return -1;
  }
  if ((directFeatures & IS_PRIMARY) != 0) infoHandle = std::move(infos);
  return 0;
}
