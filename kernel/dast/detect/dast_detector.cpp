#include "dast/dast_detector.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "dast/detect/dast_detector_reader_internal.h"
#include "tera/tera_cand.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr const char* MAGIC = "DTCT1";
constexpr int NO_OBJECT = 0;
constexpr int MAX_BASE_FIELDS = 64;

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

std::string read_text(AceFile* file) {
  AceAttach at;
  return text_or_empty(file->get_string(&at));
}

void write_text(AceFile* file, const std::string& text) {
  file->put_string(text.empty() ? nullptr : text.c_str());
}

/// What is not registered could be written, but not read.
bool is_registered(int magic) {
  const auto* entry = MagicConstructor<DastDetectorInterface>::get_constructors();
  while (entry != nullptr && entry->get_magic() != magic) entry = entry->get_next();
  return entry != nullptr;
}

}  // namespace

DastDetector::DastDetector() = default;

DastDetector::DastDetector(const char* name, int num_fields, Mask options, const char* extra_file,
                           int features)
    : detectorName(text_or_empty(name)),
      extraFile(text_or_empty(extra_file)),
      detectorFields(static_cast<std::size_t>(std::clamp(num_fields, 0, MAX_FIELDS))),
      detectorOptions(options),
      detectorFeatures(features & ~INT_DETECTOR) {}

DastDetector::~DastDetector() = default;

// ---------------------------------------------------------------- declaration
// Fields are declared before the detector is built; afterwards only where its file is may change.

int DastDetector::assign_field(int index, int base_field, const char* field_name, const char* tera_name,
                               const char* prefix, const char* suffix, int initials) {
  if (index < 0 || index >= get_num_fields() || base_field < 0 || base_field >= MAX_BASE_FIELDS) return -1;
  detectorFields[static_cast<std::size_t>(index)] = {.baseField = base_field,
                                                     .hasInitials = initials != 0,
                                                     .idOffset = 0,
                                                     .fieldName = text_or_empty(field_name),
                                                     .teraName = text_or_empty(tera_name),
                                                     .prefix = text_or_empty(prefix),
                                                     .suffix = text_or_empty(suffix)};
  fieldFlag |= Mask{1} << base_field;
  return 0;
}

int DastDetector::assign_pattern(const char* const* field_names, const int* base_fields, int num_fields) {
  if (num_fields < 0 || num_fields > get_num_fields()) return -1;
  for (int i = 0; i < num_fields; ++i) {
    if (assign_field(i, base_fields[i], field_names[i], nullptr, nullptr, nullptr, 0) < 0) return -1;
    detectorFields[static_cast<std::size_t>(i)].idOffset = static_cast<Large>(i);
  }
  return 0;
}

void DastDetector::set_index(bool is_index) {
  detectorOptions = is_index ? detectorOptions | IS_INDEX : detectorOptions & ~Mask{IS_INDEX};
}

void DastDetector::set_tera_name(int index, const char* tera_name) {
  detectorFields[static_cast<std::size_t>(index)].teraName = text_or_empty(tera_name);
}

int DastDetector::configure(DastDetectorInterface* detector) {
  if (detector == nullptr) return -2;
  if (!is_index() && dynamic_cast<const DastBaseMethod*>(detector) != nullptr) {
    AceReporter::use_default()->printf("Detector '%s' needs patterns, method %s found\n",
                                       detectorName.c_str(), detector->get_name());
    return -1;
  }
  if (!is_registered(detector->magic())) {
    AceReporter::use_default()->printf("Detector '%s': one of %s expected, %s found\n", detectorName.c_str(),
                                       MagicConstructor<DastDetectorInterface>::list_names().c_str(),
                                       detector->get_name());
    return -1;
  }
  if (intDetector != nullptr)
    return intDetector->magic() == detector->magic() ? intDetector->reconfigure(detector) : -1;
  intDetector.reset(detector);
  detectorFeatures |= INT_DETECTOR;
  return 0;
}

int DastDetector::reconfigure(const DastDetector* other) {
  if (intDetector == nullptr || other == nullptr || other->intDetector == nullptr) return -1;
  return intDetector->reconfigure(other->intDetector.get());
}

int DastDetector::del_detector() {
  if (intDetector == nullptr) return 0;
  intDetector.reset();
  loadedFrom.reset();
  detectorFeatures &= ~INT_DETECTOR;
  return 1;
}

bool DastDetector::is_like(const DastDetector& other) const {
  const auto isSame = [](const DetectorField& a, const DetectorField& b) {
    return a.baseField == b.baseField && a.fieldName == b.fieldName && a.prefix == b.prefix &&
           a.suffix == b.suffix;
  };
  return other.detectorName == detectorName && other.is_index() == is_index() &&
         std::ranges::equal(detectorFields, other.detectorFields, isSame);
}

/// A file of one detector.
class DastDetector::File : public AceWrap {
 public:
  VInt read(AceFile* file) override {
    if (const VInt rc = detector.read(file); rc < 0) return rc;
    return file->get_left() == 0
               ? 0
               : detector.refuse(file, "the end of the file; bytes left:", file->get_left());
  }
  VInt save(AceFile* file) override { return detector.save(file); }

  DastDetector detector;
};

int DastDetector::load_detector(const char* filename, int mode, AceReporter* rep) {
  auto file = std::make_unique<File>();
  if (const VInt rc = file->load(filename, mode, rep); rc < 0) {
    rep->printf("Could not read file '%s' completely. May be binary incompatibility\n",
                text_or_empty(filename));
    return static_cast<int>(rc);
  }
  if (!is_like(file->detector)) {
    rep->printf("'%s' has detector '%s', but '%s' with the same fields is expected\n", filename,
                file->detector.get_name(), get_name());
    return -1;
  }
  del_detector();
  detectorFields = file->detector.detectorFields;
  reevalFlag = file->detector.reevalFlag;
  detectorFeatures = file->detector.detectorFeatures;
  intDetector = std::move(file->detector.intDetector);
  loadedFrom = std::move(file);
  return 0;
}

// ---------------------------------------------------------------- building
// The values of all fields are given to one index, with a shift of their ids for each field.

int DastDetector::make(const char* filename, AceReporter* rep) {
  if (intDetector == nullptr) {
    rep->printf("ERROR: No object present to be made for detector %s\n", detectorName.c_str());
    return -1;
  }
  if (specialReader != nullptr && get_num_fields() != 1) {
    rep->printf("Detector '%s': a reader of its own serves 1 field, %d found\n", detectorName.c_str(),
                get_num_fields());
    return -1;
  }
  const std::string source = filename != nullptr ? filename : detectorName;
  int rc = 0;
  if (specialReader != nullptr) {
    detectorFields[0].idOffset = 0;
    rc = intDetector->make(specialReader, 0, rep, source.c_str());
  } else {
    const bool hasValues = is_index() && (detectorOptions & NO_FIELD_DATA) == 0;
    DetectorReader reader(hasValues ? std::span(detectorFields) : std::span<DetectorField>(),
                          is_index() && has_feature(EXTRA_FILE) ? get_extra_file() : nullptr, rep);
    if (is_index() && !hasValues)
      for (DetectorField& field : detectorFields) field.idOffset = TeraCand::NO_INFO;
    rc = intDetector->make(&reader, 0, rep, source.c_str());
  }
  if (rc == -2) rep->printf("Detector '%s': %s keeps no index\n", source.c_str(), intDetector->get_name());
  return rc < 0 ? ace_error(__FILE__, __LINE__, "intDetector->make(reader, 0, rep, filename)", rc, 0, -1) : 0;
}

// ---------------------------------------------------------------- use
// Thread-safe, as nothing is changed.

TeraScanGraph* DastDetector::lookup(const char* text, DastOptions::Call call, AceReporter* rep) const {
  const AceTimeSection section("DETECTOR_DETECT");
  if (intDetector == nullptr || text == nullptr) return nullptr;
  return intDetector->lookup(text, call, rep);
}

int DastDetector::info_to_field(Large info) const {
  if (!is_index())  // the offset of a field is its position
    return info < detectorFields.size() ? static_cast<int>(info) : -1;
  const auto behind = std::upper_bound(detectorFields.begin(), detectorFields.end(), info,
                                       [](Large a, const DetectorField& b) { return a < b.idOffset; });
  return static_cast<int>(behind - detectorFields.begin()) - 1;
}

Mask DastDetector::needs_initial_cands(const TeraScanGraph* graph, Mask fields, Mask* initial_fields) const {
  Mask wanted = 0;
  if (graph == nullptr || graph->get_num_nodes() < 2) return wanted;
  for (int i = 0; i < get_num_fields(); ++i) {
    const Mask baseField = Mask{1} << get_field(i).baseField;
    if (!get_field(i).hasInitials || (fields & baseField) == 0) continue;
    wanted |= Mask{1} << i;
    if (initial_fields != nullptr) *initial_fields |= baseField;
  }
  return wanted;
}

// ---------------------------------------------------------------- persistence
// Names, masks, fields, and then the detecting object behind its magic number, or none.

VInt DastDetector::save(AceFile* file) {
  file->mem_open("DastDetector");
  file->put_magic(MAGIC);
  write_text(file, detectorName);
  write_text(file, extraFile);
  file->put_mask(fieldFlag);
  file->put_mask(reevalFlag);
  file->put_mask(detectorOptions);
  file->put_int(detectorFeatures);
  file->put_int(get_num_fields());
  for (const DetectorField& field : detectorFields) {
    file->put_int(field.baseField);
    file->put_int(field.hasInitials ? 1 : 0);
    file->put_int(field.idOffset);
    for (const std::string* text : {&field.fieldName, &field.teraName, &field.prefix, &field.suffix})
      write_text(file, *text);
  }
  file->put_int(intDetector != nullptr ? intDetector->magic() : NO_OBJECT);
  if (intDetector != nullptr) ACE_CALL(intDetector->save(file));
  file->mem_close();
  return 0;
}

VInt DastDetector::read(AceFile* file) {
  const AceTimeSection section("READ_DETECTOR");
  if (const int compat = file->get_magic(MAGIC); compat < 0)
    return ace_error(__FILE__, __LINE__, "compat = file->get_magic(\"DTCT1\")", compat, 0, -1);
  del_detector();
  detectorFields.clear();
  detectorName = read_text(file);
  extraFile = read_text(file);
  fieldFlag = file->get_mask();
  reevalFlag = file->get_mask();
  detectorOptions = file->get_mask();
  detectorFeatures = file->get_int();
  const int count = file->get_int();
  if (count < 0 || count > MAX_FIELDS) return refuse(file, "0 to 64 fields", count);
  return read_fields(file, count) < 0 ? -1 : read_object(file);
}

VInt DastDetector::read_fields(AceFile* file, int count) {
  Mask fields = 0;
  for (int i = 0; i < count && !file->is_short(); ++i) {
    DetectorField field;
    field.baseField = file->get_int();
    field.hasInitials = file->get_int() != 0;
    field.idOffset = file->get_large();
    for (std::string* text : {&field.fieldName, &field.teraName, &field.prefix, &field.suffix})
      *text = read_text(file);
    if (field.baseField < 0 || field.baseField >= MAX_BASE_FIELDS)
      return refuse(file, "a field from 0 to 63", field.baseField);
    if (is_index() && i > 0 && field.idOffset < detectorFields.back().idOffset)
      return refuse(file, "ascending offsets", field.idOffset);
    fields |= Mask{1} << field.baseField;
    detectorFields.push_back(std::move(field));
  }
  if (fields != fieldFlag || (reevalFlag & ~fields) != 0)
    return refuse(file, "the fields of its masks; bits of the fields:", static_cast<VInt>(fields));
  return 0;
}

VInt DastDetector::read_object(AceFile* file) {
  const int magic = file->get_int();
  if (file->is_short()) return refuse(file, "the end of the record; bytes left:", file->get_left());
  if ((magic != NO_OBJECT) != has_feature(INT_DETECTOR))
    return refuse(file, "a matching object where the features say so; its magic:", magic);
  if (magic == NO_OBJECT) return 0;
  intDetector.reset(MagicConstructor<DastDetectorInterface>::produce(magic));
  if (intDetector == nullptr)
    return ace_error(__FILE__, __LINE__,
                     "intDetector = MagicConstructor<DastDetectorInterface>::produce(magic)", magic, 0, -1);
  if (const VInt rc = intDetector->read(file); rc < 0) {
    intDetector.reset();
    return ace_error(__FILE__, __LINE__, "intDetector->read(file)", static_cast<int>(rc), 0, -1);
  }
  return file->is_short() ? refuse(file, "the end of the record; bytes left:", file->get_left()) : 0;
}

int DastDetector::refuse(const AceFile* file, const char* expected, VInt found) const {
  AceReporter::use_default()->printf("Detector '%s' that is broken at offset %ld: %s expected, %ld found\n",
                                     detectorName.c_str(), file->get_pos(), expected, found);
  return -1;
}
