// The detectors of a base: declared, built, and kept in files of their own.
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_detector.h"

namespace {

constexpr int INDEX_KIND = 1;

const char* text_at(const char* const* texts, int index) {
  return texts != nullptr ? texts[index] : nullptr;
}

int refuse_detector(const char* name, const char* expected, const char* found) {
  AceReporter::use_default()->printf("Detector '%s' cannot be assigned: %s expected, '%s' found\n",
                                     name != nullptr ? name : "", expected, found != nullptr ? found : "");
  return -1;
}

}  // namespace

int DastBase::assign_detector(const char* name, int kind, const char* extra_file, int num_fields,
                              const char* const* field_names, Mask options, const char* const* prefixes,
                              const char* const* suffixes, int features, const int* initials) {
  if (name == nullptr || name[0] == '\0' || std::strchr(name, '/') != nullptr ||
      get_detector_index(name) >= 0)
    return refuse_detector(name, "a name of its own without '/'", name);
  if (get_num_detectors() == MAX_DETECTORS || num_fields < 0 || num_fields > DastDetector::MAX_FIELDS)
    return refuse_detector(name, "at most 64 fields, and 64 detectors,", std::to_string(num_fields).c_str());
  const bool needsFile = (features & DastDetector::EXTRA_FILE) != 0;
  if (needsFile && (extra_file == nullptr || extra_file[0] == '\0'))
    return refuse_detector(name, "a file of extra strings", extra_file);
  std::vector<int> fields;
  for (int i = 0; i < num_fields; ++i) {
    fields.push_back(get_field_index(field_names[i]));
    if (fields.back() < 0) return refuse_detector(name, "the name of a field", field_names[i]);
  }
  auto detector = std::make_unique<DastDetector>(name, num_fields, options, extra_file, features);
  detector->set_index(kind == INDEX_KIND);
  if (kind != INDEX_KIND) detector->assign_pattern(field_names, fields.data(), num_fields);
  for (int i = 0; i < num_fields && kind == INDEX_KIND; ++i) {
    DastBaseField* field = get_field(fields[static_cast<std::size_t>(i)]);
    field->add_type(DastFieldFlags::HAS_INDEX);  // its text of values is written
    AceAttach at;
    detector->assign_field(i, fields[static_cast<std::size_t>(i)], field_names[i],
                           field->get_tera_name(accessDir, &at), text_at(prefixes, i), text_at(suffixes, i),
                           initials != nullptr ? initials[i] : 0);
  }
  detectorFieldMask |= detector->get_field_mask();
  detectorArray.push_back(std::move(detector));
  return get_num_detectors() - 1;
}

int DastBase::configure_detector(int index, DastDetectorInterface* detector) {
  if (!has_detector(index)) return -1;
  return get_detector(index)->configure(detector);
}

int DastBase::reconfigure_detector(int index, const DastDetector* other) {
  return has_detector(index) ? get_detector(index)->reconfigure(other) : -1;
}

DastDetector* DastBase::get_detector(int index) const {
  return has_detector(index) ? detectorArray[static_cast<std::size_t>(index)].get() : nullptr;
}

int DastBase::get_detector_index(const char* name) const {
  for (int i = 0; name != nullptr && i < get_num_detectors(); ++i)
    if (std::strcmp(get_detector(i)->get_name(), name) == 0) return i;
  return -1;
}

const char* DastBase::get_detector_bin_name(int index, AceAttach* at) const {
  if (!has_detector(index) || accessDir == nullptr) return nullptr;
  return at->attach((std::string(accessDir) + "/" + get_detector(index)->get_name() + ".det").c_str());
}

int DastBase::make_detector(int index, AceReporter* rep) {
  if (!has_detector(index) || rep->psect(1, "MAKE_DETECTOR") < 0) return -1;
  DastDetector* detector = get_detector(index);
  Mask reeval = detector->get_reeval_mask();
  for (int i = 0; i < detector->get_num_fields(); ++i) {
    const DastBaseField* field = get_field(detector->get_field(i).baseField);
    AceAttach at;
    if (detector->is_index())
      detector->set_tera_name(i, field->get_tera_name(accessDir, &at));  // the folder may have changed
    else if (field->get_method() != nullptr)
      reeval |= Mask{1} << detector->get_field(i).baseField;
  }
  detector->set_reeval(reeval);
  return detector->make(nullptr, rep);
}

int DastBase::dump_detector(int index, const char* filename, AceReporter* rep) {
  rep->psect(1, "DUMP_DETECTOR");
  return has_detector(index) && filename != nullptr ? get_detector(index)->dump(filename, rep) : -1;
}

int DastBase::load_detector(int index, const char* filename, int mode, AceReporter* rep) {
  rep->psect(1, "LOAD_DETECTOR");
  return has_detector(index) && filename != nullptr ? get_detector(index)->load_detector(filename, mode, rep)
                                                    : -1;
}

int DastBase::load_detector_access(const char* name, const char* filename, int mode, AceReporter* rep) {
  const int index = get_detector_index(name);
  if (index >= 0) return load_detector(index, filename, mode, rep);
  rep->printf("Cannot load access file '%s': '%s' is not recognized as a detector\n",
              filename != nullptr ? filename : "", name != nullptr ? name : "");
  return -1;
}

int DastBase::del_detector(int index) {
  return has_detector(index) ? get_detector(index)->del_detector() : -1;
}
