/// ldb files, data manager and session manager (see sorvanta.h). Each handle owns its object.
#pragma once

#include <memory>

#include "svcpp/sv_types.h"

class SorvantaReporter;
class SorvantaScripting;
class SorvantaSession;

class SV_API SorvantaLdbFile {
 public:
  SorvantaLdbFile();
  SorvantaLdbFile(const SorvantaLdbFile&) = delete;
  SorvantaLdbFile& operator=(const SorvantaLdbFile&) = delete;
  ~SorvantaLdbFile();

  /// From the run path, else from the build path, else as named. Returns the number of lines, or -1.
  int read_from_file(const char* ldb, const char* build_path, const char* run_path);
  int get_file_list(const char*** list) const;
  const char* get_ldb() const;
  const char* get_main_svd() const;
  /// Null outside.
  const char* get_sss_file(int index) const;
  int get_num_sss_files() const;
  const char* const* get_sss_dependencies();
  int get_num_sss_dependencies() const;
  const DareLdbFile* get_internal_file() const { return internalStructure.get(); }

 private:
  std::unique_ptr<DareLdbFile> internalStructure;
  std::unique_ptr<const char*[]> dependencies;
};

class SV_API SorvantaManager {
 public:
  SorvantaManager();
  SorvantaManager(const SorvantaManager&) = delete;
  SorvantaManager& operator=(const SorvantaManager&) = delete;
  ~SorvantaManager();

  /// Returns the number of the session; negative for an unknown template.
  int create_session(const char* template_name, int is_auto);
  /// Lets the handle refer to a session. -1: the handle is empty then.
  int get_session(int id, SorvantaSession* out);
  int destroy_session(int id);
  int destroy_timedout_sessions(int milliseconds);
  int clean_all_templates();
  int get_num_sessions() const;
  /// Stores the names, ascending; the array stays until the next call.
  int get_template_names(const char*** names);
  DastSessionManager* get_internal_manager() const { return internalManager.get(); }

 private:
  std::unique_ptr<DastSessionManager> internalManager;
};

class SV_API SorvantaDataManager {
 public:
  /// The reporter must stay, and not be null.
  explicit SorvantaDataManager(SorvantaReporter* reporter);
  SorvantaDataManager(const SorvantaDataManager&) = delete;
  SorvantaDataManager& operator=(const SorvantaDataManager&) = delete;
  ~SorvantaDataManager();

  /// `mode`: 0 reads files, 1 maps them, 2 locks them in memory, 3 touches every page. `scripting` may be
  /// null. Returns 0 or a negative code (dare_datamanager.h).
  int load(const SorvantaLdbFile* ldb, int mode, const char* run_path, int instant, SorvantaManager* manager,
           SorvantaScripting* scripting);
  int lock(const SorvantaLdbFile* ldb, int mode, const char* run_path);
  int unlock(const SorvantaLdbFile* ldb, const char* run_path);
  /// Deletes bases that nobody uses. Returns their number.
  int maintenance();
  int get_num_records() const;
  int has_recall_base() const;
  int has_instant_loaded() const;
  const char* get_base_encoding() const;

 private:
  std::unique_ptr<DareDataManager> internalStructure;
};
