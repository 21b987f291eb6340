#include "dast/dast_base.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_md5.h"
#include "ace/ace_reporter.h"
#include "dast/dast_alias_gen_config.h"
#include "dast/dast_base_method.h"
#include "dast/dast_detector.h"
#include "tera/tera_alias_reader.h"

namespace {

constexpr int ALIAS_BUFFER = 10000;
/// Opens the configuration string.
constexpr const char* LAYOUT_VERSION = "9-";

Mask bit_of(int field) {
  return Mask{1} << field;
}

bool is_given(const char* text) {
  return text != nullptr && text[0] != '\0';
}

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

/// An alias list that was given by its file.
struct DastBase::AliasFile {
  explicit AliasFile(const char* name) : input(name, ALIAS_BUFFER, true), reader(&input, nullptr, 0) {}

  AceInput input;
  TeraAliasFileReader reader;
};

DastBase::DastBase() = default;

DastBase::DastBase(int num_fields, const char* const* names, const char* session_config,
                   const char* file_name, const char* access_dir, const char* encoding, int pre_sort,
                   int sort_level, const char* version, int num_abstractions, int num_hierarchies)
    : versionString(own(version)),
      fileName(own(file_name)),
      accessDir(own(access_dir)),
      sessionConfig(own(session_config)),
      stringEncoding(own(encoding)),
      preSort(pre_sort),
      sortLevel(sort_level),
      numAbstractions(num_abstractions),
      numHierarchies(num_hierarchies) {
  if (num_fields < 0 || num_fields > MAX_FIELDS || (num_fields > 0 && names == nullptr))
    throw AceException("Invalid number of fields", "0 to %d expected, %d found", MAX_FIELDS, num_fields);
  if (num_abstractions < 0 || num_hierarchies < 0)
    throw AceException("Invalid number of abstraction levels", "%d levels, %d hierarchies", num_abstractions,
                       num_hierarchies);
  for (int i = 0; i < num_fields; ++i) declare(names[i]);
  fieldToAbstr.assign(fieldComp.size(), -1);
  fieldToHierarchy.assign(fieldComp.size(), 0);
  abstractionPattern.assign(static_cast<std::size_t>(num_abstractions), 0);
  for (int i = 0; i < num_abstractions; ++i) abstractionLevel.push_back(std::make_unique<DastInterval>());
}

DastBase::~DastBase() {
  drop_master();
}

void DastBase::declare(const char* name) {
  // The name is part of the names of files.
  if (name != nullptr && (name[0] == '\0' || std::strchr(name, '/') != nullptr))
    throw AceException("Invalid field name", "field %d: a name without '/' expected, '%s' found",
                       get_num_fields(), name);
  if (name != nullptr && get_field_index(name) >= 0)
    throw AceException("Invalid field name", "field %d: '%s' is the name of field %d already",
                       get_num_fields(), name, get_field_index(name));
  fieldComp.push_back(std::make_unique<DastBaseField>());
  fieldComp.back()->set_name(name);
}

void DastBase::drop_master() {
  if (masterInterval != nullptr) masterInterval->unref();
  masterInterval = nullptr;
}

void DastBase::clean() {
  detectorArray.clear();
  detectorFieldMask = 0;
  fieldComp.clear();
  drop_master();
  abstractionLevel.clear();
  abstractionPattern.clear();
  fieldToAbstr.clear();
  fieldToHierarchy.clear();
  primIndexFields.clear();
  secIndexFields.clear();
  aliasFiles.clear();
  configString = configHash = versionString = baseName = fileName = accessDir = sessionConfig =
      stringEncoding = nullptr;
  optionFlags = HAS_IMPLICIT_DELETE;
  preSort = sortLevel = numAbstractions = numHierarchies = 0;
  numRecords = 1;
  masterIntMask = 0;
  toBlockId = 0;
  memAt.release();
}

// ---------------------------------------------------------------- declaration
// Before a build; a base that was read takes only what replaces methods and names.

TeraAliasReader* DastBase::open_alias_file(const char* name) {
  if (!is_given(name)) return nullptr;
  aliasFiles.push_back(std::make_unique<AliasFile>(name));
  return &aliasFiles.back()->reader;
}

int DastBase::assign(const char* fieldname, const char* type, int partial_freq, const char* collation,
                     const char* global_alias, const char* anti_alias, const char* alias_generator_type,
                     const char* alias_generator_name, const char* alias_generator_options,
                     const char* alias_generator_configure_cmd, const char* alias_generator_generate_cmd,
                     int abstraction, AceReporter* rep, int do_index_empty) {
  TeraAliasReader* global = open_alias_file(global_alias);
  TeraAliasReader* anti = open_alias_file(anti_alias);
  return assign_reader(fieldname, type, partial_freq, collation, global, anti, alias_generator_type,
                       alias_generator_name, alias_generator_options, alias_generator_configure_cmd,
                       alias_generator_generate_cmd, abstraction, rep, do_index_empty);
}

int DastBase::assign_reader(const char* fieldname, const char* type, int partial_freq, const char* collation,
                            TeraAliasReader* global_alias, TeraAliasReader* anti_alias,
                            const char* alias_generator_type, const char* alias_generator_name,
                            const char* alias_generator_options, const char* alias_generator_configure_cmd,
                            const char* alias_generator_generate_cmd, int abstraction, AceReporter* rep,
                            int do_index_empty) {
  const int index = get_field_index(fieldname);
  if (index < 0) return -1;
  DastBaseField& field = *fieldComp[static_cast<std::size_t>(index)];
  const char* error = nullptr;
  const int flags = DastBaseField::gen_storage_type(type, &error);
  if (flags < 0) {
    rep->printf("Field %d, %s with %s cannot be assigned!\n%s\n", index, fieldname, text_or_empty(type),
                error);
    return -1;
  }
  field.set_type(flags | (do_index_empty != 0 ? DastFieldFlags::HAS_EMPTY_INDEXED : 0));
  if (field.has_type(DastFieldFlags::IS_PARTIAL)) field.set_partial_freq(partial_freq);
  if (field.set_collation(collation) < 0) {
    rep->printf("Field %d, %s cannot be sorted by the collation '%s', which is not known\n", index, fieldname,
                collation);
    return -1;
  }
  field.set_global_alias(global_alias);
  field.set_anti_alias(anti_alias);
  if (is_given(alias_generator_type) || is_given(alias_generator_name))
    field.set_alias_generator(
        std::make_unique<AliasGenConfig>(alias_generator_type, alias_generator_name, alias_generator_options,
                                         alias_generator_configure_cmd, alias_generator_generate_cmd));
  if (abstraction >= 0 && abstraction < numAbstractions)
    fieldToAbstr[static_cast<std::size_t>(index)] = abstraction;
  return 0;
}

int DastBase::configure_field(const char* fieldname, DastBaseMethod* method) {
  return access(get_field_index(fieldname), method);
}

int DastBase::access(int field, DastBaseMethod* method) {
  if (!has_field(field)) return -1;
  if (const int rc = fieldComp[static_cast<std::size_t>(field)]->reconfigure(method); rc < 0)
    return ace_error(__FILE__, __LINE__, "fieldComp[field]->reconfigure(method)", rc, 0, -1);
  return field;
}

int DastBase::reconfigure(const DastBase* other) {
  int rc = 0;
  for (int i = 0; i < get_num_fields(); ++i) rc |= reconfigure_field(i, other->get_method(i));
  for (int i = 0; i < get_num_detectors(); ++i) rc |= reconfigure_detector(i, other->get_detector(i));
  return rc;
}

int DastBase::reconfigure_field(int field, const DastBaseMethod* primary) {
  return has_field(field) ? get_field(field)->reconfigure(primary) : -1;
}

int DastBase::set_index_fields(const int* primary_fields, int num_primary_fields, const int* secondary_fields,
                               int num_secondary_fields) {
  const auto is_list = [this](const int* fields, int num) {
    return num >= 0 && num <= MAX_FIELDS && (num == 0 || fields != nullptr) &&
           std::all_of(fields, fields + num, [this](int field) { return has_field(field); });
  };
  if (!is_list(primary_fields, num_primary_fields) || !is_list(secondary_fields, num_secondary_fields))
    return -1;
  if (num_primary_fields == 0 && num_secondary_fields > 0) return -1;
  primIndexFields.assign(primary_fields, primary_fields + num_primary_fields);
  secIndexFields.assign(secondary_fields, secondary_fields + num_secondary_fields);
  return 0;
}

int DastBase::get_primary_fields(const int** fields) const {
  *fields = primIndexFields.data();
  return static_cast<int>(primIndexFields.size());
}

int DastBase::get_secondary_fields(const int** fields) const {
  *fields = secIndexFields.data();
  return static_cast<int>(secIndexFields.size());
}

int DastBase::set_latelink_field(int field, int latelink) {
  if (!has_field(field)) return -1;
  if (latelink != 0)
    get_field(field)->add_type(DastFieldFlags::LATELINK);
  else
    get_field(field)->clear_type(DastFieldFlags::LATELINK);
  return field;
}

int DastBase::get_latelink_field(int field) const {
  return has_field(field) ? get_field(field)->has_type(DastFieldFlags::LATELINK) : -1;
}

int DastBase::add_abstract(int index, int, int num_fields, const char* const* fieldnames) {
  if (num_fields <= 0 || index < 0 || index >= numAbstractions) return 0;
  Mask pattern = 0;
  std::vector<int> depths = fieldToHierarchy;
  for (int i = 0; i < num_fields; ++i) {
    if (!is_given(fieldnames[i])) continue;
    const int field = get_field_index(fieldnames[i]);
    if (field < 0) {
      AceReporter::use_default()->printf("Unknown Field '%s' in abstractions configuration", fieldnames[i]);
      return -1;
    }
    int& depth = depths[static_cast<std::size_t>(field)];
    depth = std::max(numHierarchies - index, depth);
    pattern |= bit_of(field);
  }
  fieldToHierarchy = std::move(depths);
  if (pattern != 0) abstractionPattern[static_cast<std::size_t>(index)] = pattern;
  return 0;
}

void DastBase::set_session(const char* config) {
  sessionConfig = own(config);
}

void DastBase::set_base_name(const char* name) {
  baseName = own(name);
}

void DastBase::set_filename(const char* name) {
  fileName = own(name);
}

void DastBase::set_implicit_delete(int flag) {
  optionFlags = flag != 0 ? optionFlags | HAS_IMPLICIT_DELETE : optionFlags & ~HAS_IMPLICIT_DELETE;
}

// ---------------------------------------------------------------- what it is
// A field that is not there is answered with null or -1.

bool DastBase::is_utf() const {
  std::string name(text_or_empty(stringEncoding));
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name == "utf-8" || name == "utf8";
}

Mask DastBase::get_abstraction(int level) const {
  return level >= 0 && level < numAbstractions ? abstractionPattern[static_cast<std::size_t>(level)] : 0;
}

Mask DastBase::get_all_abstraction() const {
  Mask mask = 0;
  for (int i = 0; i < get_num_fields(); ++i)
    if (get_field(i)->has_intervals()) mask |= bit_of(i);
  return mask;
}

int DastBase::get_field_index(const char* name) const {
  if (name == nullptr) return -1;
  const auto has_name = [name](const auto& field) {
    return field->get_name() != nullptr && std::strcmp(field->get_name(), name) == 0;
  };
  const auto found = std::find_if(fieldComp.begin(), fieldComp.end(), has_name);
  return found != fieldComp.end() ? static_cast<int>(found - fieldComp.begin()) : -1;
}

int DastBase::get_field_type(int field) const {
  if (field < 0) return DastFieldFlags::NO_STRING_STORAGE;
  return has_field(field) ? get_field(field)->get_type() : -1;
}

Large DastBase::get_field_num_unique(int field) const {
  return has_field(field) ? get_field(field)->get_num_base_ids() : 0;
}

DastBaseField* DastBase::get_field(int field) const {
  return has_field(field) ? fieldComp[static_cast<std::size_t>(field)].get() : nullptr;
}

int DastBase::get_record_ranges(int num_parts, Large* part_offsets) const {
  if (num_parts < 1 || part_offsets == nullptr) return -1;
  for (int i = 0; i <= num_parts; ++i)
    part_offsets[i] = static_cast<Large>(Huge{i} * get_num_records() / num_parts);
  return num_parts;
}

const char* DastBase::get_field_name(int field) const {
  return has_field(field) ? get_field(field)->get_name() : nullptr;
}

DastBaseMethod* DastBase::get_method(int field) const {
  return has_field(field) ? get_field(field)->get_method() : nullptr;
}

const DastInfoMap* DastBase::get_info_map(int field) const {
  return has_field(field) ? get_field(field)->get_info_map() : nullptr;
}

const char* DastBase::get_field_tera_name(int field, AceAttach* at) const {
  if (!has_field(field) || !get_field(field)->has_type(DastFieldFlags::HAS_INDEX)) return "";
  const char* name = get_field(field)->get_tera_name(accessDir, at);
  return name != nullptr ? name : "";
}

int DastBase::get_field_abstraction(int field) const {
  return has_field(field) ? fieldToAbstr[static_cast<std::size_t>(field)] : -1;
}

int DastBase::get_field_hierarchy(int field) const {
  return has_field(field) ? fieldToHierarchy[static_cast<std::size_t>(field)] : 0;
}

const DastInterval* DastBase::get_abstraction_level(int level) const {
  return level >= 0 && level < numAbstractions ? abstractionLevel[static_cast<std::size_t>(level)].get()
                                               : nullptr;
}

int DastBase::compare_collation(int field, const char* a, const char* b) const {
  return has_field(field) ? get_field(field)->compare_collation(a, b, 0) : 0;
}

const char* DastBase::config_string(AceAttach* at) const {
  std::string text = LAYOUT_VERSION + std::to_string(get_num_fields()) + "-";
  for (const auto& field : fieldComp)
    text += std::string(text_or_empty(field->get_name())) + "-" + std::to_string(field->get_type()) + "-";
  if (sessionConfig != nullptr) text += std::string(sessionConfig) + "-";
  if (stringEncoding != nullptr) text += std::string(stringEncoding) + "-";
  text += std::to_string(preSort) + "-" + std::to_string(sortLevel) + "-";
  return at->attach(text.c_str());
}

void DastBase::print(AceReporter* rep) const {
  rep->printf("FILENAMES\t%s\n", text_or_empty(fileName));
  rep->printf("RECORDS\t%d\n", static_cast<int>(numRecords));
  for (const auto& field : fieldComp) field->print(rep);
}
