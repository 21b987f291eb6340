#include "dare/dare_datamanager.h"

#include <algorithm>
#include <climits>
#include <fstream>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

#include "ace/ace_exception.h"
#include "ace/ace_managed_files.h"
#include "ace/ace_reporter.h"
#include "dare/dare_external.h"
#include "dare/dare_script_engine.h"
#include "dast/dast_base.h"

using Lock = std::lock_guard<std::mutex>;

namespace {

std::string base_name(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// Without folder, extension and a leading dot.
std::string core_name(const std::string& path) {
  std::string name = base_name(path);
  if (!name.empty() && name[0] == '.') name.erase(0, 1);
  return name.substr(0, name.rfind('.'));
}

std::vector<std::string> split_dots(const std::string& name) {
  std::vector<std::string> parts(1);
  for (const char c : name) {
    if (c == '.')
      parts.emplace_back();
    else
      parts.back() += c;
  }
  return parts;
}

bool read_file(const std::string& path, std::string* text) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  text->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return !file.bad();
}

}  // namespace

void DareDataManager::Ref::operator()(DastBaseRecall* base) const {
  base->destroy();
}

DareDataManager::DareDataManager(AceReporter* rep) : aceRep(rep) {}

DareDataManager::~DareDataManager() {
  recallBase.reset();
  for (const LoadedBase& loaded : loadedBases) static_cast<DastBaseRecall*>(loaded.base)->destroy();
}

// ---------------------------------------------------------------- bases
// A base is known by its path and the state of its files; one that changed is loaded beside the old one,
// which its sessions keep.

/// The files that make the main base what it is.
std::vector<DareDataManager::FileStamp> DareDataManager::stamps_of(const DareLdbFile* ldb,
                                                                   const char* local_dir) {
  std::vector<std::string> names{ldb->mainSvd};
  if (!ldb->mainCfg.empty()) names.push_back(ldb->mainCfg);
  names.insert(names.end(), ldb->mainSvf.begin(), ldb->mainSvf.end());
  std::vector<FileStamp> stamps;
  for (const std::string& name : names) {
    FileStamp stamp{DareLdbFile::join(local_dir, name), 0, 0, -1, 0, 0};
    struct stat info {};
    if (stat(stamp.path.c_str(), &info) == 0)
      stamp = {stamp.path, info.st_dev, info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
    stamps.push_back(stamp);
  }
  return stamps;
}

DareDataManager::LoadedBase* DareDataManager::find_base(const std::string& path) {
  const auto place = std::find_if(loadedBases.rbegin(), loadedBases.rend(),
                                  [&path](const LoadedBase& loaded) { return loaded.path == path; });
  return place != loadedBases.rend() ? &*place : nullptr;
}

int DareDataManager::handle_base_load_error(int code, const char* name, int map) const {
  static constexpr struct {
    int code;
    int result;
    const char* before;  // of the name
    const char* behind;
  } ERRORS[] = {
      {-8, WRONG_BYTE_ORDER, "Cannot load data file ", " because of wrong byte order"},
      {-7, WRONG_FORMAT, "Cannot load data file ", " because of binary format mismatch"},
      {-6, WRONG_MINOR, "Cannot load data file ", " because of wrong minor version"},
      {-5, WRONG_MAJOR, "Cannot load data file ", " because of wrong major version"},
      {-3, NOT_MAPPED, "Cannot load data file ", " due to memory mapping problem"},
      {-2, NOT_OPENED, "File ", " could not be opened."},
      {-1, INCOMPATIBLE, "Can't load data ", " file (maybe due to binary incompatibility)"},
  };
  for (const auto& error : ERRORS) {
    if (error.code != code) continue;
    aceRep->printf("%s%s%s", error.before, name, error.behind);
    return code == -3 && map == 2 ? NOT_LOCKED : error.result;
  }
  return -1;
}

int DareDataManager::read_base(const std::string& path, int map, std::unique_ptr<DastBase>* base) {
  aceRep->printf("Loading base file %s", path.c_str());
  auto fresh = std::make_unique<DastBase>();
  VInt code = -1;
  try {
    code = fresh->load(path.c_str(), map, aceRep);
  } catch (const AceException& exception) {
    exception.print(aceRep);
  }
  if (code < 0) return handle_base_load_error(static_cast<int>(code), path.c_str(), map);
  *base = std::move(fresh);
  return 0;
}

/// Late-linked fields and detectors: "<base>.<field>.tera", "<base>.<detector>.det".
int DareDataManager::link_files(DastBase* base, const DareLdbFile* ldb, int map,
                                const char* local_dir) const {
  constexpr std::size_t MIN_PARTS = 3;
  constexpr std::size_t MAX_PARTS = 31;
  for (const std::string& name : ldb->mainSvf) {
    const std::vector<std::string> parts = split_dots(base_name(name));
    if (parts.size() < MIN_PARTS || parts.size() > MAX_PARTS) {
      aceRep->printf("Could not load field %s due to invalid filename", name.c_str());
      return BAD_FILE_NAME;
    }
    const std::string& extension = parts.back();
    const std::string& field = parts[parts.size() - 2];
    const std::string path = DareLdbFile::join(local_dir, name);
    if (extension != "tera" && extension != "det") {
      aceRep->printf("Late-Link file '%s' is not recognized, is neither a detector nor a field.",
                     name.c_str());
      continue;
    }
    int code = -1;
    try {
      code = extension == "det" ? base->load_detector_access(field.c_str(), path.c_str(), map, aceRep)
                                : base->load_field_access(field.c_str(), path.c_str(), map, aceRep);
    } catch (const AceException& exception) {
      exception.print(aceRep);
    }
    if (code < 0) return handle_base_load_error(code, path.c_str(), map);
    aceRep->printf("Field %s successfully loaded", field.c_str());
  }
  return 0;
}

int DareDataManager::reconfigure(DastBase* base, const DareLdbFile* ldb, int map, const char* local_dir) {
  if (ldb->mainCfg.empty()) return 0;
  std::unique_ptr<DastBase> config;
  if (const int code = read_base(DareLdbFile::join(local_dir, ldb->mainCfg), map, &config); code < 0)
    return code;
  if (base->reconfigure(config.get()) < 0) return NOT_RECONFIGURED;
  aceRep->printf("Main base successfully reconfigured");
  return 0;
}

int DareDataManager::load_main_base(const DareLdbFile* ldb, int map, const char* local_dir,
                                    LoadedBase** loaded) {
  const std::string path = DareLdbFile::join(local_dir, ldb->mainSvd);
  const std::vector<FileStamp> stamps = stamps_of(ldb, local_dir);
  *loaded = find_base(path);
  if (*loaded != nullptr && (*loaded)->files == stamps) return 0;
  std::unique_ptr<DastBase> base;
  if (const int code = read_base(path, map, &base); code < 0) return code;
  if (const int code = link_files(base.get(), ldb, map, local_dir); code < 0) return code;
  if (const int code = reconfigure(base.get(), ldb, map, local_dir); code < 0) return code;
  loadedBases.push_back({path, stamps, base.release()});
  *loaded = &loadedBases.back();
  aceRep->printf("Base file %s successfully loaded.", path.c_str());
  return 0;
}

int DareDataManager::delete_unused() {
  const auto unused = [](const LoadedBase& loaded) { return loaded.base->get_ref_count() <= 1; };
  const auto before = loadedBases.size();
  for (auto place = loadedBases.begin(); place != loadedBases.end();) {
    if (!unused(*place)) {
      ++place;
      continue;
    }
    static_cast<DastBaseRecall*>(place->base)->destroy();
    place = loadedBases.erase(place);
  }
  return static_cast<int>(before - loadedBases.size());
}

int DareDataManager::maintenance() {
  const Lock guard(managerLock);
  return delete_unused();
}

int DareDataManager::lock(const DareLdbFile* ldb, int map, const char* local_dir) {
  if (ldb->mainSvd.empty()) return NO_MAIN_BASE;
  const Lock guard(managerLock);
  LoadedBase* loaded = nullptr;
  if (const int code = load_main_base(ldb, map, local_dir, &loaded); code < 0) {
    aceRep->printf("File %s could not be locked. Couldn't load files", ldb->mainSvd.c_str());
    return code;
  }
  loaded->base->incr_ref_count();
  ++loaded->locks;
  aceRep->printf("Successfully locked file %s, reference count: %d", loaded->path.c_str(),
                 loaded->base->get_ref_count() - 1);
  return 0;
}

int DareDataManager::unlock(const DareLdbFile* ldb, const char* local_dir) {
  if (ldb->mainSvd.empty()) return NO_MAIN_BASE;
  const std::string path = DareLdbFile::join(local_dir, ldb->mainSvd);
  const Lock guard(managerLock);
  const auto locked = std::find_if(loadedBases.begin(), loadedBases.end(), [&path](const LoadedBase& loaded) {
    return loaded.path == path && loaded.locks > 0;
  });
  if (locked == loadedBases.end()) {
    aceRep->printf("Successfully unlocked file '%s', no reference found", path.c_str());
    return 0;
  }
  --locked->locks;
  const int count = locked->base->get_ref_count() - 2;
  static_cast<DastBaseRecall*>(locked->base)->destroy();
  aceRep->printf("Successfully unlocked file '%s', reference count: %d", path.c_str(), count);
  if (count == 0) delete_unused();
  return 0;
}

int DareDataManager::check_ref_count(const char* name, const DastBase* base) const {
  const Lock guard(managerLock);
  for (auto loaded = loadedBases.rbegin(); loaded != loadedBases.rend(); ++loaded)
    if (loaded->path == name && (base == nullptr || base == loaded->base))
      return loaded->base->get_ref_count() - 1;
  return -1;
}

int DareDataManager::delete_base(const char* name, const DastBase* base) {
  const Lock guard(managerLock);
  for (auto loaded = loadedBases.begin(); loaded != loadedBases.end(); ++loaded) {
    if (loaded->path != name || (base != nullptr && base != loaded->base) ||
        loaded->base->get_ref_count() > 1)
      continue;
    static_cast<DastBaseRecall*>(loaded->base)->destroy();
    loadedBases.erase(loaded);
    return 1;
  }
  return 0;
}

int DareDataManager::get_num_records() const {
  const Lock guard(managerLock);
  return recallBase != nullptr ? static_cast<int>(std::min<Large>(recallBase->get_num_records(), INT_MAX))
                               : 0;
}

int DareDataManager::get_num_faulty_templates() const {
  const Lock guard(managerLock);
  return numFaultyTemplates;
}

bool DareDataManager::has_recall_base() const {
  const Lock guard(managerLock);
  return recallBase != nullptr;
}

const char* DareDataManager::get_base_encoding() const {
  const Lock guard(managerLock);
  return recallBase != nullptr ? recallBase->get_encoding() : nullptr;
}

// ---------------------------------------------------------------- other files
// Each stands in the ldb file, below the same folder; a load to which one is missing fails as a whole.

int DareDataManager::add_external(const DareLdbFile* ldb, const char* local_dir,
                                  DareSessionExternal* objects) const {
  for (const std::string& name : ldb->ebdFiles) {
    const std::string path = DareLdbFile::join(local_dir, name);
    if (access(path.c_str(), R_OK) != 0) {
      aceRep->printf("External data file %s not found", path.c_str());
      return NO_EXTERNAL_FILE;
    }
    const std::string core = core_name(path);
    if (core.empty()) {
      aceRep->printf("Skipping external base file %s because of invalid filename", path.c_str());
      return BAD_FILE_NAME;
    }
    if (objects->add(core.c_str(), path.c_str()) < 0) {
      aceRep->printf("Failed to load external data file %s", path.c_str());
      return EXTERNAL_FAILED;
    }
    aceRep->printf("Registered external data file %s", path.c_str());
  }
  return 0;
}

/// "<folder>/<file>.<alias>": the name of the file ends at its first dot.
int DareDataManager::add_managed(const DareLdbFile* ldb, const char* local_dir) const {
  for (const std::string& name : ldb->managedFiles) {
    const std::size_t dot = name.find('.', name.rfind('/') + 1);
    if (dot == std::string::npos || dot + 1 == name.size()) {
      aceRep->printf("Managed file '%s': a path, '.' and an alias expected\n", name.c_str());
      return BAD_FILE_NAME;
    }
    const std::string path = DareLdbFile::join(local_dir, name.substr(0, dot));
    const std::string alias = name.substr(dot + 1);
    if (ace_add_managed_file(path.c_str(), alias.c_str()) < 0) return BAD_FILE_NAME;
    aceRep->printf("Managing file '%s' as '%s'", path.c_str(), alias.c_str());
  }
  return 0;
}

int DareDataManager::source_scripts(const DareLdbFile* ldb, const char* local_dir,
                                    ScriptEngine* engine) const {
  for (const std::string& name : ldb->sssFiles) {
    if (engine == nullptr) return 0;
    const std::string path = DareLdbFile::join(local_dir, name);
    const char* error = nullptr;
    if (engine->source(path.c_str(), &error, aceRep) < 0) {
      aceRep->printf("%s: %s", path.c_str(), error != nullptr ? error : "");
      return SCRIPT_FAILED;
    }
    aceRep->printf("Script file %s successfully sourced.", path.c_str());
    if (path.size() >= 4 && path.compare(path.size() - 4, 4, ".jar") == 0) break;
  }
  return 0;
}

/// Record ids as ascending numbers of 32 bits, least significant byte first.
int DareDataManager::set_deletion(DastSession* session, const DareLdbFile* ldb, const char* local_dir) const {
  if (ldb->binDelSet.empty()) return 0;
  const std::string path = DareLdbFile::join(local_dir, ldb->binDelSet);
  std::string bytes;
  std::vector<Large> records;
  const bool is_read = read_file(path, &bytes) && bytes.size() % 4 == 0;
  bool is_good = is_read;
  for (std::size_t i = 0; is_good && i < bytes.size(); i += 4) {
    Large record = 0;
    for (int k = 3; k >= 0; --k)
      record = record << 8 | static_cast<unsigned char>(bytes[i + static_cast<std::size_t>(k)]);
    is_good = (records.empty() || records.back() < record) && record < session->get_base()->get_num_records();
    records.push_back(record);
  }
  if (!is_good) {
    aceRep->printf("Deletion set %s: ascending record ids of 4 bytes below %u expected%s\n", path.c_str(),
                   session->get_base()->get_num_records(),
                   is_read ? "" : "; it cannot be read, or its size is wrong");
    return -1;
  }
  const DastInfoList deleted(static_cast<Large>(records.size()), records.data(), false);
  session->get_config()->set_deletion(&deleted);
  session->init_context();
  aceRep->printf("Loaded deletion set %s", path.c_str());
  return 0;
}

// ---------------------------------------------------------------- templates
// They are made aside and take the place of the present ones when nothing can fail any more.

std::unique_ptr<DastSession> DareDataManager::make_template(DastBaseRecall* base, const std::string& name,
                                                            const std::string& path, const char* local_dir) {
  std::string config;
  if (!read_file(path, &config)) {
    aceRep->printf("File %s not found, no session created.", path.c_str());
    return nullptr;
  }
  auto session = std::make_unique<DastSession>(base, false);
  try {
    if (session->config_session(config.c_str(), aceRep) < 0) session.reset();
  } catch (const AceException& exception) {
    exception.print(aceRep);
    session.reset();
  }
  if (session != nullptr) {
    session->get_config()->set_template_name(name.c_str());
    const std::string rules = session->get_config()->get_rule_file();
    if (!rules.empty() &&
        session->get_config()->load_assess_logic(DareLdbFile::join(local_dir, rules).c_str(), aceRep) < 0)
      session.reset();
  }
  if (session == nullptr) aceRep->printf("Couldn't create session from %s", path.c_str());
  return session;
}

int DareDataManager::load_session_files(DastBaseRecall* base, const DareLdbFile* ldb, const char* local_dir,
                                        DareSessionExternal* objects, ScriptEngine* engine,
                                        DastSessionManager::TemplateList* made) {
  for (const std::string& file : ldb->sesFiles) {
    const std::string path = DareLdbFile::join(local_dir, file);
    const std::string name = core_name(path);
    const bool is_taken =
        std::any_of(made->begin(), made->end(), [&name](const auto& entry) { return entry.name == name; });
    if (is_taken || name.empty()) {
      aceRep->printf("Error adding session %s from %s", name.c_str(), path.c_str());
      continue;
    }
    std::unique_ptr<DastSession> session = make_template(base, name, path, local_dir);
    if (session == nullptr) continue;
    session->get_config()->set_external_objects(objects);
    if (set_deletion(session.get(), ldb, local_dir) < 0) return -1;
    made->push_back({name, std::move(session)});
    aceRep->printf("Session template '%s' from '%s' successfully loaded", name.c_str(), path.c_str());
  }
  numFaultyTemplates = static_cast<int>(ldb->sesFiles.size() - made->size());
  if (made->empty()) {
    std::unique_ptr<DastSession> session(DastSessionManager::make_base_session(base, aceRep));
    if (session == nullptr) return -1;
    session->get_config()->set_template_name("default");
    session->get_config()->set_external_objects(objects);
    if (set_deletion(session.get(), ldb, local_dir) < 0) return -1;
    made->push_back({"default", std::move(session)});
  }
  for (const auto& entry : *made) {
    if (engine != nullptr)
      entry.session->set_script_hook(
          [engine](DastSession* session, const DareMultiQuery* query, const char* function) {
            return engine->session_hook(session, query, function);
          });
  }
  aceRep->printf("Created %d session(s)", static_cast<int>(made->size()));
  return 0;
}

int DareDataManager::load(const DareLdbFile* ldb, int map, const char* local_dir, int instant,
                          DastSessionManager* session_manager, ScriptEngine* engine) {
  const Lock guard(managerLock);
  aceRep->printf("Loading ldb file %s", ldb->get_name());
  if (ldb->mainSvd.empty()) return NO_MAIN_BASE;
  session_manager->destroy_timedout_sessions(0);
  delete_unused();
  LoadedBase* loaded = nullptr;
  if (const int code = load_main_base(ldb, map, local_dir, &loaded); code < 0) return code;
  loaded->base->incr_ref_count();
  BaseRef base(loaded->base);
  if (!ldb->incSvd.empty()) {
    aceRep->printf("Insert base %s: insert bases are not loaded\n", ldb->incSvd.c_str());
    return -1;
  }
  if (instant != 0) {
    aceRep->printf("Instant data of %s is not loaded\n", ldb->mainSvd.c_str());
    return ldb->mainSvs.empty() ? NO_EXTENSION : EXTENSION_FAILED;
  }
  struct Unref {
    void operator()(DareSessionExternal* objects) const { objects->unref(); }
  };
  const std::unique_ptr<DareSessionExternal, Unref> objects(new DareSessionExternal);
  if (const int code = add_external(ldb, local_dir, objects.get()); code < 0) return code;
  if (const int code = add_managed(ldb, local_dir); code < 0) return code;
  if (const int code = source_scripts(ldb, local_dir, engine); code < 0) return code;
  DastSessionManager::TemplateList made;
  if (const int code = load_session_files(base.get(), ldb, local_dir, objects.get(), engine, &made); code < 0)
    return code;
  session_manager->replace_templates(made);
  made.clear();
  recallBase = std::move(base);
  delete_unused();
  aceRep->printf("Successfully loaded %s", ldb->get_name());
  return 0;
}
