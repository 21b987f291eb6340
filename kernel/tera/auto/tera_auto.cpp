#include "tera/tera_auto.h"

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_transform.h"

namespace {

constexpr const char* MAGIC = "AUTOC";
constexpr int TURNER_ALIGNMENT = 8;
constexpr int KNOWN_FEATURES = TeraAuto::HAS_PHONETICS | TeraAuto::HAS_ALIASES | TeraAuto::HAS_DATA |
                               TeraAuto::HAS_BACK | TeraAuto::HAS_PHONE_BACK;

const MagicFactory<AceWrap> factory(TeraAutofactory, TeraAutofactoryCreate, "TeraAuto");

}  // namespace

TeraAuto::TeraAuto() = default;

TeraAuto::TeraAuto(const TeraMap* map, TeraTransform* phonetic) {
  init(map, phonetic);
}

TeraAuto::~TeraAuto() = default;

int TeraAuto::init(const TeraMap* map, TeraTransform* phonetic) {
  clean();
  if (map == nullptr || mapConfig.copy(map) < 0)
    return ace_error(__FILE__, __LINE__, "mapConfig.copy(map)", -1, 0, -1);
  if (phonetic != nullptr) {
    phoneTrafo.reset(phonetic->copy());
    autoFeatures |= HAS_PHONETICS;
  }
  return 0;
}

void TeraAuto::clean() {
  clean_phonetic();
  mapConfig.clean();
  infoHandle = nullptr;
  aliasMap = nullptr;
  forwardAutoData = nullptr;
  backAutoData = nullptr;
  reverseToForward = nullptr;
  ownTurner = {};
  memAt.release();
  autoFeatures = isMapped = 0;
  bind();
}

void TeraAuto::clean_phonetic() {
  phoneInfo = nullptr;
  phoneTrafo = nullptr;
  phoneAutoData = nullptr;
  phoneBackAutoData = nullptr;
  phoneReverseToForward = nullptr;
  ownPhoneTurner = {};
  autoFeatures &= ~(HAS_PHONETICS | HAS_PHONE_BACK);
  bind();
}

/// Lets recall see what there is.
void TeraAuto::bind() {
  mainAuto = {{forwardAutoData.get()}, {backAutoData.get()}, reverseToForward, nullptr};
  phoneAuto = {{phoneInfo != nullptr ? phoneAutoData.get() : nullptr},
               {phoneBackAutoData.get()},
               phoneReverseToForward,
               phoneTrafo.get()};
}

// ---------------------------------------------------------------- access
// An entry is the number of its path; 0 is the empty path, and no entry.

Large TeraAuto::get_internal_id(const char* string) const {
  return forwardAutoData != nullptr ? forwardAutoData->get_path_index(string) : 0;
}

Large TeraAuto::get_infos(const char* string, int* num, const Large** infos) const {
  *num = 0;
  *infos = nullptr;
  const Large index = get_internal_id(string);
  if (index > 0 && infoHandle != nullptr) *num = static_cast<int>(infoHandle->get_array(index, infos));
  return index;
}

const char* TeraAuto::get_entry(Large index, AceAttach* at) const {
  return forwardAutoData != nullptr ? forwardAutoData->get_entry(static_cast<int>(index), at) : nullptr;
}

/// By the reverse index; without one, where entries share attributes, by looking at all lists.
Large TeraAuto::find_attribute(Large attribute) const {
  if (infoHandle == nullptr) return AceIdMap::NONE;
  if (infoHandle->has_reverse()) return infoHandle->get_index(attribute);
  for (Large index = 0; index < infoHandle->get_num_keys(); ++index)
    for (const Large info : infoHandle->get(index))
      if (info == attribute) return index;
  return AceIdMap::NONE;
}

const char* TeraAuto::get_string(Large attribute, AceAttach* at) const {
  const Large index = find_attribute(attribute);
  return index != AceIdMap::NONE ? get_entry(index, at) : nullptr;
}

Large TeraAuto::get_sort_key(Large attribute) const {
  if (attribute == 0 || attribute == TeraCand::NO_INFO) return attribute;
  return find_attribute(attribute);
}

int TeraAuto::is_parallelizable() const {
  return phoneTrafo == nullptr ? 1 : phoneTrafo->is_parallelizable();
}

int TeraAuto::verify(AceReporter* rep) const {
  for (const auto* data : {&forwardAutoData, &backAutoData, &phoneAutoData, &phoneBackAutoData})
    if (*data != nullptr && (*data)->verify(rep) < 0) return -1;
  for (const AceIdMap* map : {infoHandle.get(), phoneInfo.get(), static_cast<AceIdMap*>(aliasMap.get())})
    if (map != nullptr && map->verify(rep) < 0) return -1;
  return 0;
}

void TeraAuto::print(AceReporter* rep) const {
  rep->printf("Automaton index, features %d\n", autoFeatures);
  for (const auto* data : {&forwardAutoData, &backAutoData, &phoneAutoData, &phoneBackAutoData})
    if (*data != nullptr) (*data)->print(rep);
  if (infoHandle != nullptr) infoHandle->print(rep);
}

// ---------------------------------------------------------------- candidates
// Candidates carry paths until they are resolved, and strings are made of paths when they are asked for.

TeraAliasMap::GetString TeraAuto::string_hook() const {
  return [this](Large entry, AceAttach* at) { return get_entry(entry, at); };
}

/// Penalties of the map and `penalty`, in memory of the hook until it is asked again.
TeraAliasMap::GetAlias TeraAuto::alias_hook(int penalty) const {
  const TeraAliasMap::GetAlias own = aliasMap->get_alias_hook(get_capacity());
  if (penalty == 0) return own;
  const auto sums = std::make_shared<std::vector<Large>>();
  return [own, sums, penalty](Large entry, const Large** aliases, const Large** penalties) {
    const Large num = own(entry, aliases, penalties);
    sums->assign(num, static_cast<Large>(penalty));
    for (Large i = 0; i < num && *penalties != nullptr; ++i) (*sums)[i] += (*penalties)[i];
    *penalties = sums->data();
    return num;
  };
}

int TeraAuto::resolve(TeraResult* result) const {
  if (result == nullptr) return -1;
  return infoHandle != nullptr ? result->resolve(infoHandle.get(), nullptr) : 0;
}

int TeraAuto::resolve_phonetic(TeraResult* result) const {
  if (result == nullptr) return -1;
  return phoneInfo != nullptr ? result->resolve(phoneInfo.get(), nullptr) : 0;
}

int TeraAuto::add_aliases(TeraResult* result, int penalty) const {
  if (result == nullptr) return -1;
  if (aliasMap == nullptr) return result->num_cands();
  const auto aliases = alias_hook(penalty);
  const auto strings = string_hook();
  return TeraAliasMap::add_aliases(result, &aliases, &strings, 0);
}

int TeraAuto::resolve(TeraScanGraph* graph) const {
  if (graph == nullptr) return -1;
  return infoHandle != nullptr ? graph->resolve(infoHandle.get()) : 0;
}

int TeraAuto::resolve_phonetic(TeraScanGraph* graph) const {
  if (graph == nullptr) return -1;
  return phoneInfo != nullptr ? graph->resolve(phoneInfo.get()) : 0;
}

int TeraAuto::add_aliases(TeraScanGraph* graph, int penalty) const {
  if (graph == nullptr) return -1;
  if (aliasMap == nullptr) return graph->get_num_candidates();
  const auto aliases = alias_hook(penalty);
  const auto strings = string_hook();
  return TeraAliasMap::add_aliases(graph, &aliases, &strings, 0);
}

// ---------------------------------------------------------------- persistence
// Reverse automata have numbers of their own, and an array that leads to those of the forward one.

VInt TeraAuto::save(AceFile* file) {
  file->mem_open("Automaton");
  file->mem_info("Number of paths: %ld", VInt{get_capacity()});
  file->mem_info("Number of nodes: %ld",
                 VInt{forwardAutoData != nullptr ? forwardAutoData->get_num_nodes() : 0});
  file->put_magic(MAGIC);
  file->put_int(autoFeatures);
  ACE_CALL(mapConfig.save(file));
  if ((autoFeatures & HAS_DATA) != 0 && save_data(file) < 0) return -1;
  if ((autoFeatures & HAS_ALIASES) != 0) {
    file->mem_point("Alias Mapping");
    ACE_CALL(aliasMap->save(file));
  }
  if ((autoFeatures & HAS_PHONETICS) != 0 && save_phonetic(file) < 0) return -1;
  file->mem_close();
  return 0;
}

namespace {

void save_turner(AceFile* file, const int* turner, const TeraAutoData& back) {
  file->mem_point("Reverse to forward mapping");
  file->write((VInt{back.get_num_paths()} + 1) * VInt{sizeof(int)}, turner, TURNER_ALIGNMENT);
}

}  // namespace

int TeraAuto::save_data(AceFile* file) const {
  file->mem_point("Forward Automaton");
  ACE_CALL(forwardAutoData->save(file));
  file->mem_point("Hit Lists");
  const AceIdMap none;
  if ((infoHandle != nullptr ? infoHandle.get() : &none)->save(file) < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->save(file)", -1, 0, -1);
  if ((autoFeatures & HAS_BACK) == 0) return 0;
  file->mem_point("Suffix Structure (Small)");
  ACE_CALL(backAutoData->save(file));
  save_turner(file, reverseToForward, *backAutoData);
  return 0;
}

int TeraAuto::save_phonetic(AceFile* file) const {
  file->mem_point("Phonetic Transformation");
  ACE_CALL(phoneTrafo->magic_save(file));
  if ((autoFeatures & HAS_DATA) == 0) return 0;
  file->mem_point("Phonetic Hit Lists");
  ACE_CALL(phoneInfo->save(file));
  file->mem_point("Phonetic Automaton");
  ACE_CALL(phoneAutoData->save(file));
  if ((autoFeatures & HAS_PHONE_BACK) == 0) return 0;
  file->mem_point("Phonetic Back Automaton");
  ACE_CALL(phoneBackAutoData->save(file));
  save_turner(file, phoneReverseToForward, *phoneBackAutoData);
  return 0;
}

VInt TeraAuto::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
}

VInt TeraAuto::read_payload(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"AUTOC\")", rc, 0, -1);
  autoFeatures = file->get_int();
  const bool isKnown = (autoFeatures & ~KNOWN_FEATURES) == 0;
  const bool isWhole =
      (autoFeatures & HAS_DATA) != 0 || (autoFeatures & (HAS_BACK | HAS_ALIASES | HAS_PHONE_BACK)) == 0;
  if (file->is_short() || !isKnown || !isWhole) {
    AceReporter::use_default()->printf("Automaton index with features %d, of which %d are known\n",
                                       autoFeatures, KNOWN_FEATURES);
    return -1;
  }
  ACE_CALL(mapConfig.read(file));
  if ((autoFeatures & HAS_DATA) != 0 && read_data(file) < 0) return -1;
  if ((autoFeatures & HAS_ALIASES) != 0) {
    aliasMap = std::make_unique<TeraAliasMap>();
    ACE_CALL(aliasMap->read(file));
  }
  if ((autoFeatures & HAS_PHONETICS) != 0 && read_phonetic(file) < 0) return -1;
  isMapped = file->is_mapped() ? 1 : 0;
  bind();
  return get_capacity();
}

std::unique_ptr<TeraAutoData> TeraAuto::read_auto(AceFile* file, const TeraMap* map, const char* call) const {
  auto data = std::make_unique<TeraAutoData>(map);
  if (data->read(file) >= 0) return data;
  ace_error_msg(__FILE__, __LINE__, call, -1);
  return nullptr;
}

/// Null, reported, for numbers that are cut.
const int* TeraAuto::read_turner(AceFile* file, const TeraAutoData& back) {
  const int* const turner = file->read_array<int>(VInt{back.get_num_paths()} + 1, &memAt, TURNER_ALIGNMENT);
  if (turner == nullptr)
    AceReporter::use_default()->printf("The numbers of %u reversed entries are cut\n", back.get_num_paths());
  return turner;
}

int TeraAuto::read_data(AceFile* file) {
  forwardAutoData = read_auto(file, &mapConfig, "forwardAutoData->read(file)");
  if (forwardAutoData == nullptr) return -1;
  infoHandle = std::make_unique<AceIdMap>();
  ACE_CALL(infoHandle->read(file));
  if (infoHandle->get_num_keys() == 0) infoHandle = nullptr;
  if ((autoFeatures & HAS_BACK) == 0) return 0;
  backAutoData = read_auto(file, &mapConfig, "backAutoData->read(file)");
  if (backAutoData == nullptr) return -1;
  reverseToForward = read_turner(file, *backAutoData);
  return reverseToForward != nullptr ? 0 : -1;
}

int TeraAuto::read_phonetic(AceFile* file) {
  phoneTrafo.reset(TeraTransform::magic_read(file));
  if (phoneTrafo == nullptr)
    return ace_error(__FILE__, __LINE__, "phoneTrafo = TeraTransform::magic_read(file)", -1, 0, -1);
  if ((autoFeatures & HAS_DATA) == 0) return 0;
  phoneInfo = std::make_unique<AceIdMap>();
  ACE_CALL(phoneInfo->read(file));
  phoneAutoData = read_auto(file, TeraMap::get_ident_map(), "phoneAutoData->read(file)");
  if (phoneAutoData == nullptr) return -1;
  if ((autoFeatures & HAS_PHONE_BACK) == 0) return 0;
  phoneBackAutoData = read_auto(file, TeraMap::get_ident_map(), "phoneBackAutoData->read(file)");
  if (phoneBackAutoData == nullptr) return -1;
  phoneReverseToForward = read_turner(file, *phoneBackAutoData);
  return phoneReverseToForward != nullptr ? 0 : -1;
}

AceWrap* TeraAutofactory(AceFile* file) {
  if (file->preview_int() != magic_number(MAGIC)) return nullptr;
  auto automaton = std::make_unique<TeraAuto>();
  return automaton->read(file) >= 0 ? automaton.release() : nullptr;
}

AceWrap* TeraAutofactoryCreate() {
  return new TeraAuto;
}
