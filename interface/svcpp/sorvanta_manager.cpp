#include "svcpp/sorvanta_manager.h"

#include <algorithm>

#include "ace/ace_reporter.h"
#include "dare/dare_datamanager.h"
#include "dare/dare_ldb.h"
#include "dare/dare_manager.h"
#include "svcpp/sorvanta_reporter.h"
#include "svcpp/sorvanta_scripting.h"
#include "svcpp/sorvanta_session.h"

namespace {

constexpr int TIMEOUT_SECONDS = 30;

}  // namespace

SorvantaLdbFile::SorvantaLdbFile() : internalStructure(std::make_unique<DareLdbFile>()) {}

SorvantaLdbFile::~SorvantaLdbFile() = default;

int SorvantaLdbFile::read_from_file(const char* ldb, const char* build_path, const char* run_path) {
  return internalStructure->read_from_file(ldb, build_path, run_path);
}

int SorvantaLdbFile::get_file_list(const char*** list) const {
  return list != nullptr ? internalStructure->get_file_list(list) : -1;
}

const char* SorvantaLdbFile::get_ldb() const {
  return internalStructure->get_name();
}

const char* SorvantaLdbFile::get_main_svd() const {
  return internalStructure->mainSvd.c_str();
}

const char* SorvantaLdbFile::get_sss_file(int index) const {
  return index >= 0 && index < get_num_sss_files()
             ? internalStructure->sssFiles[static_cast<std::size_t>(index)].c_str()
             : nullptr;
}

int SorvantaLdbFile::get_num_sss_files() const {
  return static_cast<int>(internalStructure->sssFiles.size());
}

const char* const* SorvantaLdbFile::get_sss_dependencies() {
  const auto& names = internalStructure->sssDependencies;
  dependencies = std::make_unique<const char*[]>(names.size());
  std::transform(names.begin(), names.end(), dependencies.get(),
                 [](const std::string& name) { return name.c_str(); });
  return dependencies.get();
}

int SorvantaLdbFile::get_num_sss_dependencies() const {
  return static_cast<int>(internalStructure->sssDependencies.size());
}

SorvantaManager::SorvantaManager()
    : internalManager(std::make_unique<DastSessionManager>(TIMEOUT_SECONDS, AceReporter::use_default())) {}

SorvantaManager::~SorvantaManager() = default;

int SorvantaManager::create_session(const char* template_name, int is_auto) {
  if (template_name == nullptr) return -1;
  return internalManager->create_session(template_name, is_auto, AceReporter::use_default());
}

int SorvantaManager::get_session(int id, SorvantaSession* out) {
  if (out == nullptr) return -1;
  out->clean();
  out->dastSession = internalManager->pin_session(id, AceReporter::use_default());
  if (out->dastSession == nullptr) return -1;
  out->isReference = 1;
  return 0;
}

int SorvantaManager::destroy_session(int id) {
  return internalManager->destroy_session(id);
}

int SorvantaManager::destroy_timedout_sessions(int milliseconds) {
  internalManager->destroy_timedout_sessions(milliseconds);
  return 0;
}

int SorvantaManager::clean_all_templates() {
  internalManager->clean_all_templates();
  return 0;
}

int SorvantaManager::get_num_sessions() const {
  return internalManager->get_num_sessions();
}

int SorvantaManager::get_template_names(const char*** names) {
  return names != nullptr ? internalManager->get_template_names(names) : -1;
}

SorvantaDataManager::SorvantaDataManager(SorvantaReporter* reporter)
    : internalStructure(std::make_unique<DareDataManager>(reporter->get_internal_reporter())) {}

SorvantaDataManager::~SorvantaDataManager() = default;

int SorvantaDataManager::load(const SorvantaLdbFile* ldb, int mode, const char* run_path, int instant,
                              SorvantaManager* manager, SorvantaScripting* scripting) {
  if (ldb == nullptr || manager == nullptr) return -1;
  ScriptEngine* const engine = scripting != nullptr ? scripting->get_internal_engine() : nullptr;
  return internalStructure->load(ldb->get_internal_file(), mode, run_path, instant,
                                 manager->get_internal_manager(), engine);
}

int SorvantaDataManager::lock(const SorvantaLdbFile* ldb, int mode, const char* run_path) {
  return ldb != nullptr ? internalStructure->lock(ldb->get_internal_file(), mode, run_path) : -1;
}

int SorvantaDataManager::unlock(const SorvantaLdbFile* ldb, const char* run_path) {
  return ldb != nullptr ? internalStructure->unlock(ldb->get_internal_file(), run_path) : -1;
}

int SorvantaDataManager::maintenance() {
  return internalStructure->maintenance();
}

int SorvantaDataManager::get_num_records() const {
  return internalStructure->get_num_records();
}

int SorvantaDataManager::has_recall_base() const {
  return internalStructure->has_recall_base() ? 1 : 0;
}

int SorvantaDataManager::has_instant_loaded() const {
  return internalStructure->has_instant_loaded() ? 1 : 0;
}

const char* SorvantaDataManager::get_base_encoding() const {
  return internalStructure->get_base_encoding();
}
