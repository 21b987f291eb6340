#include "tera/tera_edit.h"

#include <algorithm>
#include <climits>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "tera/edit/edit_store_internal.h"
#include "tera/tera_transform.h"

namespace {

constexpr const char* MAGIC = "EDITC";
constexpr int SORTED_ALIGNMENT = 4;

const MagicFactory<AceWrap> factory(TeraEditfactory, TeraEditfactoryCreate, "TeraEdit");

}  // namespace

TeraEdit::TeraEdit() = default;

TeraEdit::TeraEdit(const TeraMap* map, TeraTransform* phonetics) {
  init(map, phonetics);
}

TeraEdit::~TeraEdit() = default;

void TeraEdit::clean() {
  clean_entries();
  phoneCoding = nullptr;
  mapConfig.clean();
  editFeatures = 0;
}

/// What is left is the map, the phonetic coding, and that there is one.
void TeraEdit::clean_entries() {
  editStore = nullptr;
  clean_phone();
  clean_matrix();
  filterEdit = nullptr;
  stringHandle = nullptr;
  infoHandle = nullptr;
  aliasMap = nullptr;
  sortedEntries = nullptr;
  ownSorted = {};
  memAt.release();
  editFeatures &= HAS_PHONETICS;
  numEntry = 0;
  alignMode = filterLog = fileMapped = 0;
}

void TeraEdit::clean_sim() {
  if (editStore != nullptr) editStore = std::make_unique<EditStore>(*this);
  if (phoneEdit != nullptr) phoneEdit->clean_sim();
}

void TeraEdit::clean_phone() {
  phoneEdit = nullptr;
}

// ---------------------------------------------------------------- access
// A slot has a string and a length; both are found by its number alone.

const char* TeraEdit::get_string_heap() const {
  return stringHandle != nullptr ? stringHandle->get_string_heap() : nullptr;
}

const TeraMap* TeraEdit::get_phone_map() const {
  return phoneEdit != nullptr ? phoneEdit->get_tera_map() : nullptr;
}

int TeraEdit::get_map_config(TeraMap* map) const {
  return map != nullptr ? map->copy(&mapConfig) : -1;
}

const char* TeraEdit::get_string(Large id, AceAttach* at) const {
  return stringHandle != nullptr ? stringHandle->get_line(id, at) : nullptr;
}

const char* TeraEdit::get_entry(Large slot, AceAttach* at) const {
  return get_string(slot, at);
}

TeraEdit::GetString TeraEdit::get_string_hook() const {
  return [this](Large id, AceAttach* at) { return get_string(id, at); };
}

int TeraEdit::get_length(Large slot) const {
  const int* const end = lengthSum + maxLength;
  return static_cast<int>(std::upper_bound(lengthSum, end, static_cast<int>(slot)) - lengthSum);
}

int TeraEdit::is_parallelizable() const {
  return phoneCoding == nullptr ? 1 : phoneCoding->is_parallelizable();
}

std::vector<int> TeraEdit::slots_of_lengths() const {
  std::vector<int> slots(static_cast<std::size_t>(maxLength));
  for (int length = 0; length < maxLength; ++length)
    slots[static_cast<std::size_t>(length)] = lengthSum[length] - first_slot(length);
  return slots;
}

// ---------------------------------------------------------------- persistence
// What bounds the rest is read and checked first; parts follow in the order of their features.

VInt TeraEdit::save(AceFile* file) {
  file->mem_open("Edit structure");
  file->mem_info("Number of entries: %d", static_cast<int>(numEntry));
  file->mem_info("Maximal length: %d", maxLength);
  file->put_magic(MAGIC);
  if (numEntry == 0) {
    file->put_int(0);
    file->mem_close();
    return 0;
  }
  file->put_int(numCols);
  file->mem_point("Config");
  ACE_CALL(mapConfig.save(file));
  const int sections = filterLog > 0 ? 0 : numSections;
  file->put_int(maxLength);
  file->put_int(numEntry);
  file->put_int(sections);
  file->put_int(filterLog);
  file->put_int(alignMode);
  file->put_int(editFeatures);
  file->mem_point("Bit Matrix");
  save_sums(file, sections);
  save_modules(file);
  if (const int rc = save_parts(file); rc < 0) return rc;
  file->mem_close();
  return 0;
}

int TeraEdit::save_parts(AceFile* file) {
  if ((editFeatures & HAS_DATA) != 0) {
    file->mem_point("Info structure");
    ACE_CALL(infoHandle->save(file));
  }
  if ((editFeatures & HAS_ALIASES) != 0) {
    file->mem_point("Alias structure");
    ACE_CALL(aliasMap->save(file));
  }
  if ((editFeatures & HAS_STRINGS) != 0) {
    file->mem_point("Original strings");
    ACE_CALL(stringHandle->save(file));
    file->mem_point("Sorted Entry Array");
    file->write(static_cast<VInt>(sizeof(Large)) * numEntry, sortedEntries, SORTED_ALIGNMENT);
  }
  if (filterLog > 0) {
    file->mem_point("Filter Matrix");
    ACE_CALL(filterEdit->save(file));
  }
  if ((editFeatures & HAS_PHONETICS) == 0) return 0;
  ACE_CALL(phoneCoding->magic_save(file));
  if ((editFeatures & HAS_DATA) == 0) return 0;
  file->mem_point("Phonetic Index");
  const bool isSaved = phoneEdit != nullptr && phoneEdit->save(file) >= 0;
  return !isSaved ? ace_error(__FILE__, __LINE__, "phoneEdit->save(file)", -1, 0, -1) : 0;
}

VInt TeraEdit::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
}

int TeraEdit::refuse(const char* reason) const {
  AceReporter::use_default()->printf(
      "Edit index broken, %s: %u entries, %d lengths, %d columns, filter %d, features %d\n", reason, numEntry,
      maxLength, numCols, filterLog, editFeatures);
  return -1;
}

VInt TeraEdit::read_payload(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"EDITC\")", rc, 0, -1);
  numCols = file->get_int();
  if (file->is_short()) return refuse("its head is cut");
  if (numCols == 0) return 0;
  ACE_CALL(mapConfig.read(file));
  maxLength = file->get_int();
  numEntry = file->get_large();
  const int sections = file->get_int();
  filterLog = file->get_int();
  alignMode = file->get_int();
  editFeatures = file->get_int();
  if (file->is_short()) return refuse("its head is cut");
  if (const char* reason = check_head(sections); reason != nullptr) return refuse(reason);
  if (read_sums(file, sections) < 0) return -1;
  if (static_cast<Large>(get_num_slots()) != numEntry) return refuse("its lengths have not its entries");
  if (alignMode != 0 &&
      std::any_of(lengthSum, lengthSum + maxLength, [](int sum) { return sum % SECTION_SLOTS != 0; }))
    return refuse("its lengths are not aligned");
  if (const bool hasMatrix = filterLog > 0 && (editFeatures & HAS_STRINGS) == 0; hasMatrix) {
    // Each section has at least one bit in the file.
    if (file->get_left() >= 0 && numEntry / SECTION_SLOTS > 8 * file->get_left()) return refuse("it is cut");
    sectionStart = make_sections(lengthSum, maxLength);
    numSections = static_cast<int>(sectionStart.size()) - 1;
  }
  if (read_modules(file) < 0) return -1;
  if (read_parts(file) < 0) return -1;
  fileMapped = file->is_mapped() ? 1 : 0;
  editStore = std::make_unique<EditStore>(*this);
  return 0;
}

/// What is wrong with the numbers in front; null for nothing.
const char* TeraEdit::check_head(int sections) const {
  if (numCols != mapConfig.num_token()) return "it has not the columns of its map";
  if (maxLength < 1) return "it has no lengths";
  if (numEntry < 1 || numEntry > INT_MAX) return "it has no entries or too many";
  if (filterLog < 0 || filterLog > MAX_FILTER) return "its filter is none that is built";
  if ((filterLog > 0) == (sections > 0)) return "it has both sections and a filter, or none";
  if (alignMode != 0 && alignMode != 1) return "it is neither aligned nor not";
  if (filterLog > 0 && alignMode == 0) return "it is filtered and not aligned";
  if (isCompanion && (editFeatures & HAS_PHONETICS) != 0) return "it is a companion with a companion";
  constexpr int known = BUILD_OPTIONS | HAS_DATA | HAS_STRINGS | HAS_ALIASES | HAS_PHONETICS;
  return (editFeatures & ~known) == 0 ? nullptr : "it has features that are not known";
}

/// Whether the heap can hold distinct strings of these lengths, so that recall makes no more tokens of them
/// than a multiple of the file. A byte makes four tokens at most, and a code takes at least a bit.
bool TeraEdit::are_strings_long() const {
  constexpr VInt maxTokens = 4;
  VInt numTokens = 0;
  for (int length = 1; length < maxLength; ++length) {
    const int slots = lengthSum[length] - first_slot(length);
    const int padding = alignMode != 0 ? std::min(SECTION_SLOTS, slots) - 1 : 0;
    if (slots > 0) numTokens += VInt{length} * (slots - padding);
  }
  const VInt bytes = stringHandle->get_heap_size() * (stringHandle->is_compressed() ? CHAR_BIT : 1);
  return numTokens <= maxTokens * bytes;
}

int TeraEdit::read_parts(AceFile* file) {
  if ((editFeatures & HAS_DATA) != 0) {
    infoHandle = std::make_unique<AceIdMap>();
    ACE_CALL(infoHandle->read(file));
  }
  if ((editFeatures & HAS_ALIASES) != 0) {
    aliasMap = std::make_unique<TeraAliasMap>();
    ACE_CALL(aliasMap->read(file));
  }
  if ((editFeatures & HAS_STRINGS) != 0) {
    stringHandle = std::make_unique<TeraIndex>();
    ACE_CALL(stringHandle->read(file));
    if (stringHandle->get_size() != numEntry) return refuse("it has not a string for each entry");
    if (!are_strings_long()) return refuse("its strings are too short for its lengths");
    sortedEntries = file->read_array<Large>(numEntry, &memAt, SORTED_ALIGNMENT);
    if (sortedEntries == nullptr) return refuse("its sorted entries are cut");
  }
  if (filterLog > 0) {
    filterEdit = std::make_unique<TeraFilter>();
    if (filterEdit->read(file, numCols, slots_of_lengths(), filterLog) < 0)
      return ace_error(__FILE__, __LINE__, "filterEdit->read(file)", -1, 0, -1);
  }
  if ((editFeatures & HAS_PHONETICS) == 0) return 0;
  phoneCoding.reset(TeraTransform::magic_read(file));
  if (phoneCoding == nullptr)
    return ace_error(__FILE__, __LINE__, "phoneCoding = TeraTransform::magic_read(file)", -1, 0, -1);
  if ((editFeatures & HAS_DATA) == 0) return 0;
  phoneEdit = std::make_unique<TeraEdit>();
  if (phoneEdit->read_companion(file) < 0)
    return ace_error(__FILE__, __LINE__, "phoneEdit->read(file)", -1, 0, -1);
  return 0;
}

/// A companion has none itself, so that a file cannot nest them.
VInt TeraEdit::read_companion(AceFile* file) {
  isCompanion = true;
  return read(file);
}

AceWrap* TeraEditfactory(AceFile* file) {
  if (file->preview_int() != magic_number(MAGIC)) return nullptr;
  auto edit = std::make_unique<TeraEdit>();
  return edit->read(file) >= 0 ? edit.release() : nullptr;
}

AceWrap* TeraEditfactoryCreate() {
  return new TeraEdit;
}
