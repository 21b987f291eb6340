#include "dast/dast_string_storage.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "ace/ace_bits.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base_method.h"
#include "tera/tera_index.h"

namespace {

constexpr int MAX_DIGITS = 20;

int sign(VInt value) {
  return value < 0 ? -1 : value > 0 ? 1 : 0;
}

}  // namespace

DastStringStorage::DastStringStorage() = default;

DastStringStorage::DastStringStorage(std::unique_ptr<TeraIndex> array)
    : storageType(ARRAY),
      numEntries(array->get_size() > 0 ? array->get_size() - 1 : 0),
      stringArray(std::move(array)) {}

DastStringStorage::DastStringStorage(std::unique_ptr<AceBits> numbers)
    : storageType(NUMERIC),
      numEntries(static_cast<Large>(std::max<VInt>(numbers->get_num_keys() - 1, 0))),
      numericArray(std::move(numbers)) {}

DastStringStorage::DastStringStorage(const DastBaseMethod* method, Large num_entries)
    : storageType(INDEX), numEntries(num_entries), indexMethod(method) {}

DastStringStorage::~DastStringStorage() = default;

std::unique_ptr<DastStringStorage> DastStringStorage::create_array_storage(const char* collation) {
  auto array = std::make_unique<TeraIndex>(1, 1);
  if (collation != nullptr && array->resort(collation) < 0) return nullptr;
  return std::make_unique<DastStringStorage>(std::move(array));
}

std::unique_ptr<DastStringStorage> DastStringStorage::create_numeric_storage(VUint max_value,
                                                                             int num_entries) {
  // One value more than there are numbers: all ones say that there is none.
  auto numbers = std::make_unique<AceBits>(AceBits::num_bits(max_value + 1), VInt{num_entries} + 1);
  numbers->set_all();
  return std::make_unique<DastStringStorage>(std::move(numbers));
}

bool DastStringStorage::parse_number(const char* text, VUint* value) {
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, *value);
  return error == std::errc() && stop == end && text != end && static_cast<VInt>(*value) >= 0;
}

int DastStringStorage::add_entry(Large id, const char* string) {
  if (storageType == ARRAY) {
    if (stringArray->update(id, string, 1) < 0) return -1;
  } else if (storageType == NUMERIC) {
    VUint value = numericArray->get_max_value();
    if (string[0] != '\0' && (!parse_number(string, &value) || value >= numericArray->get_max_value()))
      return -1;
    if (numericArray->set(id, value) < 0) return -1;
  } else {
    return -1;
  }
  numEntries = std::max(numEntries, id);
  return 0;
}

const char* DastStringStorage::get_string(Large id, AceAttach* at) const {
  if (storageType == EMPTY || id > numEntries) return nullptr;
  if (id == 0) return "";
  if (storageType == ARRAY) return stringArray->get_line(id, at);
  if (storageType == INDEX) return indexMethod != nullptr ? indexMethod->show(id, at) : nullptr;
  const VUint value = numericArray->get(id);
  if (value == numericArray->get_max_value()) return "";
  char* text = nullptr;
  at->malloc(text, MAX_DIGITS + 1);
  *std::to_chars(text, text + MAX_DIGITS, value).ptr = '\0';
  return text;
}

char* DastStringStorage::get_string_copy(Large id, AceAttach* at) const {
  const char* string = get_string(id, at);
  if (string == nullptr) return nullptr;
  const auto size = static_cast<VInt>(std::strlen(string)) + 1;
  char* copy = nullptr;
  at->malloc(copy, size);
  std::memcpy(copy, string, static_cast<std::size_t>(size));
  return copy;
}

Large DastStringStorage::num_slots() const {
  return static_cast<Large>(std::max<VInt>(numericArray->get_num_keys(), 1));
}

/// Binary search behind slot 0, which is no number.
Large DastStringStorage::find_number(VUint value) const {
  Large first = 1;
  Large last = num_slots();
  while (first < last) {
    const Large middle = first + (last - first) / 2;
    if (numericArray->get(middle) < value)
      first = middle + 1;
    else
      last = middle;
  }
  return first < num_slots() && numericArray->get(first) == value && value != numericArray->get_max_value()
             ? first
             : NONE;
}

/// Of the run of strings that are equal under the collation, in the order of their bytes, the one that is the
/// same.
Large DastStringStorage::find_exact(const char* string) const {
  const TeraCollation* collation = stringArray->get_collation();
  Large id = stringArray->search(string, 0, 0);
  if (id == TeraIndex::NONE) return NONE;
  AceAttach at;
  for (; id < stringArray->get_size(); ++id) {
    const char* line = stringArray->get_line(id, &at);
    if (std::strcmp(line, string) == 0) return id;
    if (collation->compare_sort(string, line, 0) != 0) break;
  }
  return NONE;
}

Large DastStringStorage::get_id(const char* string, int prefix, int) const {
  if (string == nullptr || string[0] == '\0') return 0;
  if (storageType == ARRAY && stringArray->get_collation() != nullptr)
    return prefix != 0 ? stringArray->search_interval(string, 0, 0) : find_exact(string);
  VUint value = 0;
  if (storageType == NUMERIC && parse_number(string, &value)) return find_number(value);
  return NONE;
}

int DastStringStorage::compare(const char* a, const char* b, int prefix) const {
  if (a == nullptr || b == nullptr) return (a != nullptr) - (b != nullptr);
  if (storageType == ARRAY && stringArray->get_collation() != nullptr) return stringArray->cmp(a, b, prefix);
  if (storageType != NUMERIC) return get_collation()->compare_sort(a, b, prefix);
  VUint first = 0;
  VUint second = 0;
  const bool isFirst = parse_number(a, &first);
  const bool isSecond = parse_number(b, &second);
  if (!isFirst || !isSecond) return static_cast<int>(isFirst) - static_cast<int>(isSecond);
  return sign(static_cast<VInt>(first) - static_cast<VInt>(second));
}

VInt DastStringStorage::get_count_weight(Large id) const {
  if (storageType != NUMERIC || id == 0 || id > numEntries) return -1;
  const VUint value = numericArray->get(id);
  return value == numericArray->get_max_value() ? -1 : static_cast<VInt>(value);
}

const TeraCollation* DastStringStorage::get_collation() const {
  const TeraCollation* collation = stringArray != nullptr ? stringArray->get_collation() : nullptr;
  if (collation == nullptr) collation = ownCollation.get();
  return collation != nullptr ? collation : &defCollation;
}

int DastStringStorage::set_collation(const char* name) {
  const bool isNamed = name != nullptr && *name != '\0';
  ownCollation.reset(isNamed ? TeraCollation::factory(name) : nullptr);
  return isNamed && ownCollation == nullptr ? -1 : 0;
}

VInt DastStringStorage::save(AceFile* file) const {
  file->put_int(storageType);
  file->put_int(numEntries);
  if (storageType == ARRAY) {
    ACE_CALL(stringArray->save(file));
  } else if (storageType == NUMERIC) {
    ACE_CALL(numericArray->save(file));
  }
  return 0;
}

VInt DastStringStorage::read(AceFile* file, const DastBaseMethod* method) {
  const int type = file->get_int();
  numEntries = file->get_large();
  indexMethod = method;
  VInt room = numEntries;
  if (type == ARRAY) {
    stringArray = std::make_unique<TeraIndex>();
    ACE_CALL(stringArray->read(file));
    room = VInt{stringArray->get_size()} - 1;
  } else if (type == NUMERIC) {
    numericArray = std::make_unique<AceBits>();
    ACE_CALL(numericArray->read(file));
    room = numericArray->get_num_keys() - 1;
  }
  if (type < EMPTY || type > INDEX || (numEntries > 0 && room < numEntries)) {
    AceReporter::use_default()->printf(
        "String storage that is broken at offset %ld: kind %d, %u strings expected, room for %ld\n",
        file->get_pos(), type, numEntries, room);
    return -1;
  }
  storageType = static_cast<Type>(type);
  return 0;
}
