#include "dast/dast_base_field.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string_view>

#include "ace/ace_bits.h"
#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_flags.h"
#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "ace/ace_wrap.h"
#include "dast/dast_alias_gen_config.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "dast/dast_string_storage.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_collation.h"

namespace {

constexpr const char* MAGIC = "BFLD1";

// ---------------------------------------------------------------- the words of a storage type
// "ADVANCED|OPTIMIZED|FULL|ORIGINAL": each of the four words sets bits, and some combinations mean
// nothing.

struct Word {
  std::string_view name;
  int bits;
};

constexpr Word FEATURES[] = {{"BASIC", DastFieldFlags::BASIC_FEATURES},
                             {"ADVANCED", DastFieldFlags::ADVANCED_FEATURES}};
constexpr Word INTERVALS[] = {
    {"CHANGING", 0}, {"OPTIMIZED", DastFieldFlags::IS_INTERVAL | DastFieldFlags::OPTIMIZE_INTERVALS}};
constexpr Word INDEXES[] = {
    {"FULL", DastFieldFlags::HAS_INDEX | DastFieldFlags::IS_PRIMARY},
    {"PARTIAL", DastFieldFlags::HAS_INDEX | DastFieldFlags::IS_PRIMARY | DastFieldFlags::IS_PARTIAL},
    {"NONE", 0}};
constexpr Word STRINGS[] = {{"ORIGINAL", DastFieldFlags::STRING_STORAGE},
                            {"NUMERIC", DastFieldFlags::NUMERIC_STORAGE},
                            {"INDEXED", DastFieldFlags::IN_INDEX_STORAGE},
                            {"NOT_AT_ALL", DastFieldFlags::NO_STRING_STORAGE}};

struct Setting {
  std::span<const Word> words;
  const char* error;
};

constexpr Setting SETTINGS[] = {{FEATURES, "unknown option for feature set setting!"},
                                {INTERVALS, "unknown option for interval setting!"},
                                {INDEXES, "unknown option for index setting!"},
                                {STRINGS, "unknown option for string storage setting!"}};
constexpr std::size_t NUM_SETTINGS = std::size(SETTINGS);
constexpr const char* INCOMPLETE = "incomplete storage type, must have 4 values";

/// The four words between the bars; false when there are fewer or more.
bool split_type(std::string_view type, std::array<std::string_view, NUM_SETTINGS>* words) {
  for (std::size_t i = 0; i < NUM_SETTINGS; ++i) {
    const std::size_t bar = type.find('|');
    if ((bar == std::string_view::npos) != (i + 1 == NUM_SETTINGS)) return false;
    (*words)[i] = type.substr(0, bar);
    if (bar != std::string_view::npos) type.remove_prefix(bar + 1);
  }
  return true;
}

/// What the words mean together: an index that may miss values cannot serve strings.
int settle_type(int bits) {
  if ((bits & DastFieldFlags::BASIC_FEATURES) != 0) bits &= ~DastFieldFlags::IS_PARTIAL;
  const bool hasAll = (bits & DastFieldFlags::IS_PRIMARY) != 0 && (bits & DastFieldFlags::IS_PARTIAL) == 0;
  if ((bits & DastFieldFlags::IN_INDEX_STORAGE) != 0 && !hasAll)
    bits = (bits & ~DastFieldFlags::IN_INDEX_STORAGE) | DastFieldFlags::STRING_STORAGE;
  return bits;
}

// ---------------------------------------------------------------- the parts of a record
// A word of bits tells which parts follow; a part that is absent takes no byte.

enum Presence : int {
  METHOD = 1,
  ALIAS_MAP = 2,
  ALIAS_BITS = 4,
  COMP_ALIASES = 8,
  BASE_TO_ENTRY = 16,
  ENTRY_TO_BASE = 32,
  STORAGE = 64,
  INFO_MAP = 128,
  REVERSE_ALIAS_MAP = 256,
  ALWAYS = 1024,
  ARTIFICIAL_ALIAS = 2048,
  ALIAS_GENERATOR = 4096,
  ALL_PARTS = METHOD | ALIAS_MAP | ALIAS_BITS | COMP_ALIASES | BASE_TO_ENTRY | ENTRY_TO_BASE | STORAGE |
              INFO_MAP | REVERSE_ALIAS_MAP | ALWAYS | ARTIFICIAL_ALIAS | ALIAS_GENERATOR,
};

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

/// A method in a file of its own: the magic of its class, then its record.
class MethodFile : public AceWrap {
 public:
  /// Of a method that stays the caller's, to be written; null to read one.
  explicit MethodFile(DastBaseMethod* method) : toSave(method) {}

  VInt read(AceFile* file) override {
    const int magic = file->get_int();
    readMethod.reset(MagicConstructor<DastBaseMethod>::produce(magic));
    if (readMethod == nullptr)
      return ace_error(__FILE__, __LINE__, "baseMethod = MagicConstructor<DastBaseMethod>::produce(magic)",
                       magic, 0, -1);
    if (const VInt rc = readMethod->read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "baseMethod->read(file)", static_cast<int>(rc), 0, -1);
    return file->get_left() == 0 ? 0 : -1;
  }
  VInt save(AceFile* file) override {
    file->put_int(toSave->magic());
    if (const VInt rc = toSave->save(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "baseMethod->save(file)", static_cast<int>(rc), 0, -1);
    return 0;
  }
  const DastBaseMethod* method() const { return readMethod.get(); }
  std::unique_ptr<DastBaseMethod> take() { return std::move(readMethod); }

 private:
  DastBaseMethod* toSave;
  std::unique_ptr<DastBaseMethod> readMethod;
};

template <class Part>
VInt save_part(AceFile* file, const char* label, const std::unique_ptr<Part>& part, const char* call) {
  if (part == nullptr) return 0;
  file->mem_point(label);
  if (const VInt rc = part->save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, call, static_cast<int>(rc), 0, -1);
  return 0;
}

template <class Part>
VInt read_part(AceFile* file, bool is_there, std::unique_ptr<Part>* part, const char* call) {
  if (!is_there) return 0;
  *part = std::make_unique<Part>();
  if (const VInt rc = (*part)->read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, call, static_cast<int>(rc), 0, -1);
  return 0;
}

}  // namespace

int DastBaseField::gen_storage_type(const char* type, const char** error) {
  std::string upper(text_or_empty(type));
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::array<std::string_view, NUM_SETTINGS> words;
  *error = INCOMPLETE;
  if (!split_type(upper, &words)) return -1;
  int bits = 0;
  for (std::size_t i = 0; i < NUM_SETTINGS; ++i) {
    const auto found = std::find_if(SETTINGS[i].words.begin(), SETTINGS[i].words.end(),
                                    [&](const Word& word) { return word.name == words[i]; });
    *error = SETTINGS[i].error;
    if (found == SETTINGS[i].words.end()) return -1;
    bits |= found->bits;
  }
  *error = nullptr;
  return settle_type(bits);
}

DastBaseField::DastBaseField() = default;

DastBaseField::~DastBaseField() {
  drop_info_map();
}

void DastBaseField::drop_info_map() {
  if (infoMap != nullptr) infoMap->unref();
  infoMap = nullptr;
}

void DastBaseField::set_name(const char* name) {
  if (fieldName.empty()) fieldName = text_or_empty(name);
}

int DastBaseField::set_collation(const char* name) {
  collationName.clear();
  if (name == nullptr || name[0] == '\0' || is_basic()) return 0;
  TeraCollation* collation = TeraCollation::factory(name);
  if (collation == nullptr) return -1;
  collation->destroy();
  collationName = name;
  return 0;
}

void DastBaseField::set_alias_generator(std::unique_ptr<AliasGenConfig> generator) {
  aliasGenerator = std::move(generator);
}

// ---------------------------------------------------------------- method
// It finds texts; a field without one can be shown and counted, and not asked.

int DastBaseField::reconfigure(DastBaseMethod* method) {
  if (method == nullptr) return -2;
  if (baseMethod != nullptr) {
    if (baseMethod->magic() != method->magic()) return -1;
    return baseMethod->reconfigure(static_cast<const DastBaseMethod*>(method));
  }
  baseMethod.reset(method);
  if (stringStorage != nullptr) stringStorage->bind(method);
  return 0;
}

int DastBaseField::reconfigure(const DastBaseMethod* method) {
  return baseMethod != nullptr && method != nullptr ? baseMethod->reconfigure(method) : -1;
}

const char* DastBaseField::get_tera_name(const char* access_dir, AceAttach* at) const {
  if (access_dir == nullptr) return nullptr;
  return at->attach((std::string(access_dir) + "/" + fieldName + ".tera").c_str());
}

int DastBaseField::make_method(const char* access_dir, int flags, AceReporter* rep) {
  if (baseMethod == nullptr) {
    rep->printf("ERROR: No method present to be made for %s\n", fieldName.c_str());
    return -1;
  }
  AceAttach at;
  const int rc = baseMethod->make(get_tera_name(access_dir, &at), flags, rep);
  if (rc == -2 && (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0) {
    rep->printf("Cannot make '%s'. So IN_FIELD flag cannot be used", fieldName.c_str());
    throw AceException("Secondary method can not store strings", "field '%s', method %s", fieldName.c_str(),
                       baseMethod->get_name());
  }
  return rc;
}

int DastBaseField::dump_method(const char* filename, AceReporter* rep) {
  if (baseMethod == nullptr) {
    rep->printf("Field '%s' has no method to be written to '%s'\n", fieldName.c_str(),
                text_or_empty(filename));
    return -1;
  }
  return MethodFile(baseMethod.get()).dump(filename, rep);
}

int DastBaseField::load_method(const char* filename, int mode, AceReporter* rep) {
  auto file = std::make_unique<MethodFile>(nullptr);
  if (const VInt rc = file->load(filename, mode, rep); rc < 0) {
    rep->printf("Could not read file '%s' completely. May be binary incompatibility\n",
                text_or_empty(filename));
    return static_cast<int>(rc);
  }
  if (baseMethod != nullptr && baseMethod->magic() != file->method()->magic()) {
    rep->printf("'%s' has a method %s, but field '%s' has %s\n", filename, file->method()->get_name(),
                fieldName.c_str(), baseMethod->get_name());
    return -1;
  }
  delete_method();
  baseMethod = file->take();
  methodFile = std::move(file);
  if (stringStorage != nullptr) stringStorage->bind(baseMethod.get());
  return 0;
}

int DastBaseField::delete_method() {
  if (baseMethod == nullptr) return 0;
  if (stringStorage != nullptr) stringStorage->bind(nullptr);
  baseMethod.reset();
  methodFile.reset();
  return 1;
}

// ---------------------------------------------------------------- what the field is
// Settings and sizes, of what was declared or read.

const TeraMap* DastBaseField::get_method_map() const {
  return baseMethod != nullptr ? baseMethod->get_map() : nullptr;
}

const char* DastBaseField::get_method_name() const {
  return baseMethod != nullptr ? baseMethod->get_name() : nullptr;
}

bool DastBaseField::is_alias_cand(Large base_id) const {
  if (is_basic() && base_id >= numEntryIDs) return base_id < allBaseIDs;
  return aliasBits != nullptr && aliasBits->get(base_id);
}

bool DastBaseField::has_data_loaded() const {
  return has_type(DastFieldFlags::IS_PRIMARY) && baseMethod != nullptr;
}

bool DastBaseField::is_parallelizable() const {
  return baseMethod == nullptr || baseMethod->is_parallelizable();
}

int DastBaseField::compare_collation(const char* a, const char* b, int prefix) const {
  static const DastStringStorage byBytes;
  return (stringStorage != nullptr ? stringStorage.get() : &byBytes)->compare(a, b, prefix);
}

void DastBaseField::forget_values() {
  drop_info_map();
  clear_type(DastFieldFlags::HAS_ALIASES | DastFieldFlags::HAS_VALUES | DastFieldFlags::FOREIGN_INFO_MAP);
  numEntryIDs = numBaseIDs = allBaseIDs = 0;
  aliasBits.reset();
  compAliasArray.reset();
  baseToEntry.reset();
  entryToBase.reset();
  aliasMap.reset();
  reverseAliasMap.reset();
  artificialAlias.reset();
  generatedAlias.clear();
  stringStorage.reset();
}

int DastBaseField::add_foreign_interval(DastInfoMap* map) {
  if (map == nullptr) return -1;
  map->ref();
  drop_info_map();
  infoMap = map;
  add_type(DastFieldFlags::FOREIGN_INFO_MAP);
  return 0;
}

void DastBaseField::print(AceReporter* rep) const {
  rep->printf("FIELD\t%s\n", fieldName.c_str());
  rep->printf("TYPE\t%s\n", is_basic() ? "(Almost) unique values" : "Repeating values");
  rep->printf("ALIASES\t%s\n", aliasBits != nullptr || compAliasArray != nullptr ? "Yes" : "No");
}

// ---------------------------------------------------------------- persistence
// Head, method, maps. Ids of one part are checked against the size of the next where they are used.

int DastBaseField::presence() const {
  const bool hasMethod = baseMethod != nullptr && !has_type(DastFieldFlags::LATELINK);
  const bool hasInfoMap = infoMap != nullptr && !has_type(DastFieldFlags::FOREIGN_INFO_MAP);
  const struct {
    bool isThere;
    int bit;
  } parts[] = {{hasMethod, METHOD},
               {aliasMap != nullptr, ALIAS_MAP},
               {aliasBits != nullptr, ALIAS_BITS},
               {compAliasArray != nullptr, COMP_ALIASES},
               {baseToEntry != nullptr, BASE_TO_ENTRY},
               {entryToBase != nullptr, ENTRY_TO_BASE},
               {stringStorage != nullptr, STORAGE},
               {hasInfoMap, INFO_MAP},
               {reverseAliasMap != nullptr, REVERSE_ALIAS_MAP},
               {artificialAlias != nullptr, ARTIFICIAL_ALIAS},
               {aliasGenerator != nullptr, ALIAS_GENERATOR}};
  int present = ALWAYS;
  for (const auto& part : parts)
    if (part.isThere) present |= part.bit;
  return present;
}

VInt DastBaseField::save(AceFile* file) const {
  file->mem_open("DastBaseField");
  file->put_magic(MAGIC);
  file->put_string(get_name());
  file->put_string(get_collation_name());
  file->put_int(partialFreq);
  file->put_int(presence());
  file->put_int(numEntryIDs);
  file->put_int(fieldType);
  if (save_method(file) < 0 || save_maps(file) < 0) return -1;
  file->mem_close();
  return 0;
}

VInt DastBaseField::save_method(AceFile* file) const {
  if ((presence() & METHOD) == 0) return 0;
  file->mem_point("Access Method");
  file->put_int(baseMethod->magic());
  ACE_CALL(baseMethod->save(file));
  return 0;
}

VInt DastBaseField::save_maps(AceFile* file) const {
  const int present = presence();
  if (save_part(file, "Alias Bit Mask", aliasBits, "aliasBits->save(file)") < 0 ||
      save_part(file, "Compressed Alias Array", compAliasArray, "compAliasArray->save(file)") < 0 ||
      save_part(file, "Mapping BaseID to RecordID", baseToEntry, "baseToEntry->save(file)") < 0 ||
      save_part(file, "Mapping RecordID to BaseID", entryToBase, "entryToBase->save(file)") < 0 ||
      save_part(file, "String Storage", stringStorage, "stringStorage->save(file)") < 0)
    return -1;
  if ((present & INFO_MAP) != 0) {
    file->mem_point("Interval Array");
    if (const VInt rc = DastInfoMap::save_map(infoMap, file); rc < 0)
      return ace_error(__FILE__, __LINE__, "infoMap->save_map(file)", static_cast<int>(rc), 0, -1);
  } else if (infoMap != nullptr) {
    file->mem_message("Not saving foreign info map");
  }
  if (save_part(file, "Global and Anti Aliases", aliasMap, "aliasMap->save(file)") < 0 ||
      save_part(file, "Global and Anti Aliases (reverse)", reverseAliasMap, "reverseAliasMap->save(file)") <
          0)
    return -1;
  file->put_int(numBaseIDs);
  file->put_int(allBaseIDs);
  if (save_part(file, "Artificial alias generation list", artificialAlias, "artificialAlias->save(file)") < 0)
    return -1;
  return save_part(file, "Alias generator", aliasGenerator, "aliasGenerator->save(file)");
}

VInt DastBaseField::read(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "compat = file->get_magic(\"BFLD1\")", rc, 0, -1);
  AceAttach at;
  const char* name = file->get_string(&at);
  if (fieldName.empty()) set_name(name);
  if (fieldName != text_or_empty(name)) {
    AceReporter::use_default()->printf("Field '%s' expected in the base, field '%s' found\n",
                                       fieldName.c_str(), text_or_empty(name));
    return -1;
  }
  collationName = text_or_empty(file->get_string(&at));
  partialFreq = file->get_int();
  const int present = file->get_int();
  numEntryIDs = file->get_large();
  const int type = file->get_int();
  if ((present & ALWAYS) == 0 || (present & ~ALL_PARTS) != 0)
    return refuse(file, "its parts are none that are built");
  if (type != fieldType) return refuse(file, "its two type words differ");
  if ((present & METHOD) != 0 && read_method(file) < 0) return -1;
  if (read_maps(file, present) < 0) return -1;
  if (file->is_short()) return refuse(file, "it is cut");
  return check_ids();
}

VInt DastBaseField::read_method(AceFile* file) {
  const int magic = file->get_int();
  if (baseMethod != nullptr && baseMethod->magic() != magic)
    return refuse(file, "its method is of another class");
  std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::produce(magic));
  if (method == nullptr)
    return ace_error(__FILE__, __LINE__, "baseMethod = MagicConstructor<DastBaseMethod>::produce(magic)",
                     magic, 0, -1);
  if (const VInt rc = method->read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "baseMethod->read(file)", static_cast<int>(rc), 0, -1);
  baseMethod = std::move(method);
  return 0;
}

VInt DastBaseField::read_maps(AceFile* file, int present) {
  const auto has = [present](int bit) { return (present & bit) != 0; };
  if (read_part(file, has(ALIAS_BITS), &aliasBits, "aliasBits->read(file)") < 0 ||
      read_part(file, has(COMP_ALIASES), &compAliasArray, "compAliasArray->read(file)") < 0 ||
      read_part(file, has(BASE_TO_ENTRY), &baseToEntry, "baseToEntry->read(file)") < 0 ||
      read_part(file, has(ENTRY_TO_BASE), &entryToBase, "entryToBase->read(file)") < 0)
    return -1;
  if (has(STORAGE)) {
    stringStorage = std::make_unique<DastStringStorage>();
    if (const VInt rc = stringStorage->read(file, baseMethod.get()); rc < 0)
      return ace_error(__FILE__, __LINE__, "stringStorage->read(file)", static_cast<int>(rc), 0, -1);
    if (stringStorage->get_type() == DastStringStorage::INDEX &&
        stringStorage->set_collation(get_collation_name()) < 0)
      return refuse(file, "its collation is unknown");
  }
  if (has(INFO_MAP)) {
    drop_info_map();
    infoMap = DastInfoMap::read_map(file);
    if (infoMap == nullptr) return refuse(file, "its map of runs cannot be read");
  }
  if (read_part(file, has(ALIAS_MAP), &aliasMap, "aliasMap->read(file)") < 0 ||
      read_part(file, has(REVERSE_ALIAS_MAP), &reverseAliasMap, "reverseAliasMap->read(file)") < 0)
    return -1;
  numBaseIDs = file->get_large();
  allBaseIDs = file->get_large();
  if (read_part(file, has(ARTIFICIAL_ALIAS), &artificialAlias, "artificialAlias->read(file)") < 0) return -1;
  return read_part(file, has(ALIAS_GENERATOR), &aliasGenerator, "aliasGenerator->read(file)");
}

/// That the ids of the parts fit together, as far as that costs nothing: what maps hold is checked where it
/// is used.
int DastBaseField::check_ids() const {
  const char* reason = nullptr;
  if (is_basic() && allBaseIDs < numEntryIDs) reason = "it has fewer base ids than entries";
  if (numBaseIDs > allBaseIDs) reason = "it has more values than base ids";
  if (is_basic() && compAliasArray != nullptr &&
      compAliasArray->get_num_keys() != VInt{allBaseIDs} - numEntryIDs)
    reason = "its aliases are not as many as their ids";
  if (baseToEntry != nullptr && baseToEntry->get_num_keys() > allBaseIDs)
    reason = "it has lists of ids that are not there";
  if (entryToBase != nullptr && entryToBase->get_num_keys() > numEntryIDs)
    reason = "it has lists of entries that are not there";
  if (reason == nullptr) return 0;
  AceReporter::use_default()->printf("Field '%s' is broken, %s: %u entries, %u base ids, %u with aliases\n",
                                     fieldName.c_str(), reason, numEntryIDs, numBaseIDs, allBaseIDs);
  return -1;
}

int DastBaseField::check_records(Large num_records) const {
  const bool isBuilt = numEntryIDs > 0;
  const bool fits =
      !isBuilt || (has_intervals() ? infoMap != nullptr && infoMap->get_intervals() != nullptr &&
                                         infoMap->get_intervals()->get_num_records() <= num_records
                                   : numEntryIDs == num_records);
  if (fits) return 0;
  AceReporter::use_default()->printf(
      "Field '%s' has %u entries, which do not fit the %u records of the base\n", fieldName.c_str(),
      numEntryIDs, num_records);
  return -1;
}

int DastBaseField::refuse(const AceFile* file, const char* reason) const {
  AceReporter::use_default()->printf("Field '%s' is broken at offset %ld, %s\n", fieldName.c_str(),
                                     file->get_pos(), reason);
  return -1;
}
