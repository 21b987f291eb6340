// The payload of a base: what stands above `DastBase` in dast_base.h, written and read in that order.
#include <algorithm>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_md5.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_detector.h"

namespace {

constexpr const char* MAGIC = "BASE6";
constexpr int INT_ALIGNMENT = 4;
constexpr int MASK_ALIGNMENT = 8;
/// More abstraction levels than fields make no sense, but do no harm; a number that no file can hold does.
constexpr int MAX_ABSTRACTIONS = 1 << 16;

template <class T>
void write_array(AceFile* file, const std::vector<T>& values, int alignment) {
  file->write(static_cast<VInt>(values.size() * sizeof(T)), values.data(), alignment);
}

/// -1 when the file ends before.
template <class T>
int read_array(AceFile* file, int count, int alignment, std::vector<T>* values) {
  AceAttach at;
  const T* array = file->read_array<T>(count, &at, alignment);
  if (array == nullptr && count > 0) return -1;
  values->assign(array, array + count);
  return 0;
}

}  // namespace

/// What a field was declared as, before the base is read into it.
struct DastBase::Declared {
  std::string name;
  int type = 0;
};

VInt DastBase::save(AceFile* file) {
  file->mem_open("DastBase");
  file->mem_info("Encoding: '%s'", stringEncoding != nullptr ? stringEncoding : "");
  file->mem_info("Number of records: %d", static_cast<int>(numRecords));
  file->put_magic(MAGIC);
  file->put_string(baseName);
  file->put_string(fileName);
  file->put_string(accessDir);
  file->put_int(optionFlags);
  file->put_int(get_num_fields());
  file->put_mask(get_detector_mask());
  for (const auto& field : fieldComp) {
    file->put_int(field->get_type());
    if (const VInt rc = field->save(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "fieldComp[i]->save(file)", static_cast<int>(rc), 0, -1);
  }
  file->put_int(get_num_detectors());
  for (const auto& detector : detectorArray)
    if (const VInt rc = detector->save(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "detectorArray[i]->save(file)", static_cast<int>(rc), 0, -1);
  file->put_int(numRecords);
  file->put_string(sessionConfig);
  file->put_string(stringEncoding);
  file->put_int(preSort);
  file->put_int(sortLevel);
  if (save_abstractions(file) < 0) return -1;
  for (const auto* fields : {&primIndexFields, &secIndexFields}) {
    file->put_int(static_cast<int>(fields->size()));
    if (!fields->empty()) write_array(file, *fields, INT_ALIGNMENT);
  }
  file->put_string(versionString);
  file->put_huge(toBlockId);
  file->mem_close();
  return 0;
}

VInt DastBase::save_abstractions(AceFile* file) {
  file->put_int(numAbstractions);
  if (numAbstractions > 0) {
    file->put_int(numHierarchies);
    for (const auto& level : abstractionLevel)
      if (const VInt rc = level->save(file); rc < 0)
        return ace_error(__FILE__, __LINE__, "abstractionLevel[i]->save(file)", static_cast<int>(rc), 0, -1);
    write_array(file, abstractionPattern, MASK_ALIGNMENT);
  }
  if (!fieldComp.empty()) {
    write_array(file, fieldToAbstr, INT_ALIGNMENT);
    write_array(file, fieldToHierarchy, INT_ALIGNMENT);
  }
  file->put_mask(masterIntMask);
  if (masterIntMask == 0) return 0;
  if (const VInt rc = DastInfoMap::save_map(masterInterval, file); rc < 0)
    return ace_error(__FILE__, __LINE__, "masterInterval->save_map(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

VInt DastBase::read(AceFile* file) {
  file->mem_message("READ_BASE");
  std::vector<Declared> declared;
  for (const auto& field : fieldComp)
    declared.push_back({field->get_name() != nullptr ? field->get_name() : "", field->get_type()});
  clean();
  const VInt rc = read_payload(file, std::move(declared));
  file->mem_message("---END---");
  return rc;
}

VInt DastBase::read_payload(AceFile* file, std::vector<Declared> declared) {
  if (const int compat = file->get_magic(MAGIC); compat < 0)
    return ace_error(__FILE__, __LINE__, "compat = file->get_magic(\"BASE6\")", compat, 0, -1);
  baseName = file->get_string(&memAt);
  fileName = file->get_string(&memAt);
  accessDir = file->get_string(&memAt);
  optionFlags = file->get_int();
  const int count = file->get_int();
  const Mask detectorMask = file->get_mask();
  if (count < 0 || count > MAX_FIELDS) return refuse(file, "0 to 64 fields", count);
  if (!declared.empty() && static_cast<int>(declared.size()) != count)
    return refuse(file, "as many fields as are declared", count);
  if (read_fields(file, count, declared) < 0) return -1;
  if (read_detectors(file, detectorMask) < 0) return -1;
  numRecords = file->get_large();
  sessionConfig = file->get_string(&memAt);
  stringEncoding = file->get_string(&memAt);
  preSort = file->get_int();
  sortLevel = file->get_int();
  if (read_abstractions(file) < 0 || read_master(file) < 0) return -1;
  if (read_index_fields(file, &primIndexFields) < 0 || read_index_fields(file, &secIndexFields) < 0)
    return -1;
  versionString = file->get_string(&memAt);
  toBlockId = file->get_huge();
  if (file->is_short() || file->get_left() > 0)
    return refuse(file, "the end of the base; bytes left:", file->get_left());
  for (const auto& field : fieldComp)
    if (field->check_records(numRecords) < 0) return -1;
  configString = config_string(&memAt);
  configHash = ace_md5::MD5_from_string(configString, &memAt);
  return 0;
}

VInt DastBase::read_fields(AceFile* file, int count, const std::vector<Declared>& declared) {
  for (int i = 0; i < count; ++i) {
    fieldComp.push_back(std::make_unique<DastBaseField>());
    DastBaseField& field = *fieldComp.back();
    const int type = file->get_int();
    if (!declared.empty()) {
      const Declared& expected = declared[static_cast<std::size_t>(i)];
      if (!expected.name.empty()) field.set_name(expected.name.c_str());
      if (expected.type != 0 && ((expected.type ^ type) & DastFieldFlags::STATIC_OPTIONS) != 0) {
        AceReporter::use_default()->printf(
            "Field %d, '%s' is declared with type %d, the file has type %d\n", i, expected.name.c_str(),
            expected.type & DastFieldFlags::STATIC_OPTIONS, type & DastFieldFlags::STATIC_OPTIONS);
        return -1;
      }
    }
    field.set_type(type);
    if (const VInt rc = field.read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "fieldComp[i]->read(file)", static_cast<int>(rc), 0, -1);
  }
  return 0;
}

VInt DastBase::read_detectors(AceFile* file, Mask expected) {
  const int count = file->get_int();
  if (count < 0 || count > MAX_DETECTORS) return refuse(file, "0 to 64 detectors", count);
  for (int i = 0; i < count; ++i) {
    detectorArray.push_back(std::make_unique<DastDetector>());
    DastDetector& detector = *detectorArray.back();
    if (const VInt rc = detector.read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "detectorArray[i]->read(file)", static_cast<int>(rc), 0, -1);
    for (int k = 0; k < detector.get_num_fields(); ++k)
      if (get_field_index(detector.get_field(k).fieldName.c_str()) != detector.get_field(k).baseField)
        return refuse(file, "detectors of the fields of the base; field:", detector.get_field(k).baseField);
    detectorFieldMask |= detector.get_field_mask();
  }
  if (detectorFieldMask != expected)
    return refuse(file, "the fields of the detectors; bits of the fields:", static_cast<VInt>(expected));
  return 0;
}

VInt DastBase::read_abstractions(AceFile* file) {
  const int count = file->get_int();
  if (count < 0 || count > MAX_ABSTRACTIONS) return refuse(file, "0 to 65536 abstraction levels", count);
  if (count > 0) {
    numHierarchies = file->get_int();
    for (int i = 0; i < count; ++i) {
      abstractionLevel.push_back(std::make_unique<DastInterval>());
      if (const VInt rc = abstractionLevel.back()->read(file); rc < 0)
        return ace_error(__FILE__, __LINE__, "abstractionLevel[i]->read(file)", static_cast<int>(rc), 0, -1);
    }
    if (read_array(file, count, MASK_ALIGNMENT, &abstractionPattern) < 0)
      return refuse(file, "the fields of abstraction levels", count);
  }
  numAbstractions = count;
  if (fieldComp.empty()) return 0;
  if (read_array(file, get_num_fields(), INT_ALIGNMENT, &fieldToAbstr) < 0 ||
      read_array(file, get_num_fields(), INT_ALIGNMENT, &fieldToHierarchy) < 0)
    return refuse(file, "abstraction levels of fields", get_num_fields());
  const auto isLevel = [this](int level) { return level >= -1 && level < numAbstractions; };
  if (!std::all_of(fieldToAbstr.begin(), fieldToAbstr.end(), isLevel))
    return refuse(file, "abstraction levels of fields below", numAbstractions);
  return 0;
}

VInt DastBase::read_master(AceFile* file) {
  masterIntMask = file->get_mask();
  if (masterIntMask == 0) return 0;
  masterInterval = DastInfoMap::read_map(file);
  if (masterInterval == nullptr) return refuse(file, "the shared map of runs", 0);
  for (int i = 0; i < MAX_FIELDS; ++i) {
    if ((masterIntMask >> i & 1) == 0) continue;
    if (!has_field(i)) return refuse(file, "a field that shares the map of runs", i);
    if (const int rc = get_field(i)->add_foreign_interval(masterInterval); rc < 0)
      return ace_error(__FILE__, __LINE__, "fieldComp[i]->add_foreign_interval(masterInterval)", rc, 0, -1);
  }
  return 0;
}

VInt DastBase::read_index_fields(AceFile* file, std::vector<int>* fields) {
  const int count = file->get_int();
  if (count < 0 || count > MAX_FIELDS) return refuse(file, "0 to 64 index fields", count);
  if (count > 0 && read_array(file, count, INT_ALIGNMENT, fields) < 0)
    return refuse(file, "index fields", count);
  const auto isField = [this](int field) { return has_field(field); };
  if (!std::all_of(fields->begin(), fields->end(), isField))
    return refuse(file, "index fields below", get_num_fields());
  return 0;
}

int DastBase::refuse(const AceFile* file, const char* expected, VInt found) const {
  AceReporter::use_default()->printf("Base that is broken at offset %ld: %s expected, %ld found\n",
                                     file->get_pos(), expected, found);
  return -1;
}
