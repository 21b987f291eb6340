// The DATE method: what it is made of.
#include "dime/dime_date.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_reader.h"

namespace {

constexpr const char* PAYLOAD_MAGIC = "DATE1";
constexpr int LOAD = 99;
constexpr int NO_STRINGS = -2;
constexpr int ARRAY_ALIGNMENT = 8;
/// Base ids may leave gaps, but an array by base id is not made for a few values with huge ones.
constexpr VInt MOST_IDS_PER_VALUE = 1024;
constexpr VInt FREE_IDS = VInt{1} << 24;  // with however few dates

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeDateMethod_constructor(
    []() -> DastBaseMethod* { return new DimeDateMethod; }, DimeDateMethod::NAME, DimeDateMethod::MAGIC);
const MagicConstructor<DastDetectorInterface> DastDetectorInterfaceDimeDateMethod_constructor(
    []() -> DastDetectorInterface* { return new DimeDateMethod; }, DimeDateMethod::NAME,
    DimeDateMethod::MAGIC);
const bool parsersAreListed =
    DimeDateRecallOptions::get_parser() != nullptr && DimeDateMethod::get_parser() != nullptr;

}  // namespace

/// Lines on their way into the automaton: their dates by base id are kept.
struct DimeDateMethod::Values : public TeraReader {
  Values(TeraReader* reader, const DimeDateMethod& date_method) : source(reader), method(date_method) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    Large id = 0;
    const int rc = source->get_line(string, &id, line);
    if (info != nullptr) *info = id;
    if (rc > 0 && (*string)[0] != '\0') note(*string, id);
    return rc;
  }
  int rewind() override {
    dates.clear();
    skipped = {};
    firstLost.clear();
    return source->rewind();
  }
  VInt get_estimate() override { return source->get_estimate(); }

  struct Dated {
    Large id;
    int date;
  };
  std::vector<Dated> dates;
  DimeSkippedValues skipped;
  std::string firstLost;  ///< that printing gives back in another form

 private:
  void note(const char* string, Large id) {
    const int date = DimeDateText::read_date(string, method.get_format(), &method.get_month_finder());
    if (date != DimeDateText::NO_DATE)
      dates.push_back({id, date});
    else
      skipped.add(string);
    if (!firstLost.empty()) return;
    AceAttach at;
    if (std::strcmp(method.print_time(date, &at), string) != 0) firstLost = string;
  }

  TeraReader* source;
  const DimeDateMethod& method;
};

void DimeDateMethod_init() {}

DimeDateMethod::DimeDateMethod() = default;

DimeDateMethod::~DimeDateMethod() = default;

int DimeDateMethod::configure_build_options(const char* options, const TeraMap* map) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  const TeraMap* const used = map != nullptr ? map : TeraMap::get_ident_map();
  if (prepareMap.copy(used) < 0 || datesAuto.init(&prepareMap, nullptr) < 0 ||
      DimeDateText::make_month_finder(&monthFinder) < 0)
    return ace_error(__FILE__, __LINE__, "init(map)", -1, 0, -1);
  return 0;
}

// ---------------------------------------------------------------- building
// A date is a number of days, a month alone or a year alone is one in a range behind; what is no date goes
// to the text index.

int DimeDateMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  Values values(reader, *this);
  rep->psect(reader->get_estimate(), "Building month index");
  if (monthFinder.get_num_entries() == 0 && DimeDateText::make_month_finder(&monthFinder) < 0) return -1;
  rep->psect(reader->get_estimate(), "Building string automaton");
  if (datesAuto.get_tera_map()->num_token() == 0) datesAuto.init(TeraMap::get_ident_map(), nullptr);
  if (datesAuto.make(&values, nullptr, LOAD, 0, rep, nullptr, filename) < 0)
    return ace_error(__FILE__, __LINE__, "datesAuto.make(reader, nullptr, 99, 0, rep, nullptr, filename)", -1,
                     0, -1);
  rep->psect(static_cast<VInt>(values.dates.size()), "Building date index");
  if (make_index(values, rep) < 0) return -1;
  values.skipped.warn(filename, NAME, "a date", rep);
  const bool serves = (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0;
  dateFeatures = serves ? SERVES_STRINGS : 0;
  if (!serves || values.firstLost.empty()) return 0;
  rep->printf("%s: the index cannot give back '%s'\n", filename != nullptr ? filename : NAME,
              values.firstLost.c_str());
  return NO_STRINGS;
}

int DimeDateMethod::make_index(const Values& values, AceReporter* rep) {
  infoHandle = nullptr;
  memAt.release();
  valueArray = nullptr;
  numEntry = 0;
  VInt most = 0;
  for (const auto& dated : values.dates) most = std::max(most, VInt{dated.id} + 1);
  if (most > std::max(FREE_IDS, MOST_IDS_PER_VALUE * (static_cast<VInt>(values.dates.size()) + 1))) {
    rep->printf("%zu dates with base ids up to %ld are too few for an array\n", values.dates.size(), most);
    return -1;
  }
  numEntry = static_cast<Large>(most);
  Large* array = nullptr;
  std::fill_n(memAt.malloc(array, most), most, Large{DimeDateText::NO_DATE});
  valueArray = array;
  AceBulk bulk;
  AceIdMap::ListMap bulkLists;
  for (const auto& dated : values.dates) {
    array[dated.id] = static_cast<Large>(dated.date);
    AceBulk::List*& list = bulkLists[static_cast<Large>(dated.date)];
    bulk.inc(list, dated.id);
  }
  infoHandle = std::make_unique<AceIdMap>();
  if (infoHandle->build(&bulkLists, nullptr) < 0)
    return ace_error(__FILE__, __LINE__, "handle->make(numInserts, bulkLists, 0, repObj)", -1, 0, -1);
  return 0;
}

void DimeDateMethod::clean() {
  datesAuto.clean();
  monthFinder.clean();
  prepareMap.clean();
  infoHandle = nullptr;
  valueArray = nullptr;
  numEntry = 0;
  dateFeatures = fileMapped = 0;
  memAt.release();
}

// ---------------------------------------------------------------- items
// Items are the keys in ascending order; a text is shown by its base id only.

/// Keys, by the slots of the map: those behind the last have none.
Large DimeDateMethod::lower_slot(Large key) const {
  if (infoHandle == nullptr || infoHandle->get_num_keys() == 0) return 0;
  Large low = 0;
  Large high = infoHandle->get_num_keys();
  while (low < high) {
    const Large middle = low + (high - low) / 2;
    const Large found = infoHandle->get_key(middle);
    if (found != AceIdMap::NONE && found < key)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

Large DimeDateMethod::num_keys() const {
  return lower_slot(AceIdMap::NONE);
}

int DimeDateMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  Large key = 0;
  return infoHandle != nullptr && pos >= 0
             ? static_cast<int>(
                   std::max<VInt>(infoHandle->get_by_index(static_cast<Large>(pos), key, *ids), 0))
             : 0;
}

const char* DimeDateMethod::get_item(int pos, AceAttach* at) const {
  const Large key =
      infoHandle != nullptr && pos >= 0 ? infoHandle->get_key(static_cast<Large>(pos)) : AceIdMap::NONE;
  return key != AceIdMap::NONE ? print_time(static_cast<int>(key), at) : nullptr;
}

const char* DimeDateMethod::show(Large id, AceAttach* at) const {
  if (id < numEntry && valueArray[id] != DimeDateText::NO_DATE)
    return print_time(static_cast<int>(valueArray[id]), at);
  return datesAuto.get_string(id, at);
}

// ---------------------------------------------------------------- persistence
// Keys, names of months, texts, and the base ids of each key.

VInt DimeDateMethod::save(AceFile* file) {
  file->mem_point("Date Method");
  file->put_magic(PAYLOAD_MAGIC);
  file->put_int(int{dateFormat});
  file->put_int(dateFeatures);
  file->put_int(numEntry);
  if (numEntry > 0) file->write(VInt{sizeof(Large)} * numEntry, valueArray, ARRAY_ALIGNMENT);
  file->mem_point("Month Finder");
  ACE_CALL(monthFinder.save(file));
  ACE_CALL(prepareMap.save(file));
  if (const VInt rc = datesAuto.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = int(datesAuto.save(file))", static_cast<int>(rc), 0, -1);
  file->mem_point("Info Handle");
  const AceIdMap none;
  if ((infoHandle != nullptr ? infoHandle.get() : &none)->save(file) < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->save(file)", -1, 0, -1);
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimeDateMethod::read(AceFile* file) {
  const auto payload = [&]() -> VInt {
    if (const int rc = file->get_magic(PAYLOAD_MAGIC); rc < 0)
      return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"DATE1\")", rc, 0, -1);
    const int format = file->get_int();
    dateFeatures = file->get_int();
    numEntry = file->get_large();
    if (file->is_short() || format < 0 || format >= NUM_DATE_MODES || dateFeatures < 0 ||
        dateFeatures > SERVES_STRINGS) {
      AceReporter::use_default()->printf("Date method broken before offset %ld: format %d, features %d\n",
                                         file->get_pos(), format, dateFeatures);
      return -1;
    }
    dateFormat = static_cast<DateFormat>(format);
    valueArray = numEntry > 0 ? file->read_array<Large>(numEntry, &memAt, ARRAY_ALIGNMENT) : nullptr;
    if (numEntry > 0 && valueArray == nullptr) {
      AceReporter::use_default()->printf("The days of %u base ids are cut\n", numEntry);
      return -1;
    }
    ACE_CALL(monthFinder.read(file));
    ACE_CALL(prepareMap.read(file));
    if (datesAuto.read(file) < 0)
      return ace_error(__FILE__, __LINE__, "rc = int(datesAuto.read(file))", -1, 0, -1);
    infoHandle = std::make_unique<AceIdMap>();
    ACE_CALL(infoHandle->read(file));
    ACE_CALL(recallOpts.read(file));
    fileMapped = file->is_mapped() ? 1 : 0;
    return 0;
  };
  return ace_read_or_clean([this] { clean(); }, payload);
}
