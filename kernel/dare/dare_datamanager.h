/// Data manager: loads what an ldb file names, and shares bases between loads.
///
///     load(ldb)      base file --> DastBase (mapped), late-linked fields and detectors, reconfiguration
///                    session files --> templates of the session manager, with deletion set, rules, objects
///
/// A base is read once while its files stay as they are (device, inode, size and time of each); when one has
/// changed, the base is read anew beside the old one, which goes with its last session. Templates are swapped
/// at the end of a load that succeeds; one that fails changes nothing. Sessions go on with what they have.
///
/// Ownership: the manager has a reference to each base that it has loaded, until nobody else has one and
/// `maintenance` (or the next load) comes.
/// Errors: the codes of `Failure`, explained on the manager's reporter.
/// Thread safety: any thread may call; loads wait for each other.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "dare/dare_ldb.h"
#include "dare/dare_manager.h"

class AceReporter;
class DareSessionExternal;
class DastBase;
class DastBaseRecall;
class ScriptEngine;

class SORV_API DareDataManager {
 public:
  enum Failure : int {
    BAD_FILE_NAME = -6,
    NO_MAIN_BASE = -11,
    WRONG_MAJOR = -12,
    WRONG_MINOR = -13,
    WRONG_FORMAT = -14,
    INCOMPATIBLE = -15,
    NOT_MAPPED = -16,
    NOT_LOCKED = -17,
    NOT_OPENED = -18,
    WRONG_BYTE_ORDER = -19,
    NOT_RECONFIGURED = -20,
    SCRIPT_FAILED = -24,
    NO_EXTERNAL_FILE = -26,
    EXTERNAL_FAILED = -27,
    NO_EXTENSION = -31,
    EXTENSION_FAILED = -32,
  };

  explicit DareDataManager(AceReporter* rep);
  DareDataManager(const DareDataManager&) = delete;
  DareDataManager& operator=(const DareDataManager&) = delete;
  ~DareDataManager();

  /// `map`: as for `AceWrap::load`; `local_dir`: the folder of all files that are not absolute. `engine` may
  /// be null: then scripts are skipped. Insert bases and instant data are refused. Returns 0 or a `Failure`.
  int load(const DareLdbFile* ldb, int map, const char* local_dir, int instant,
           DastSessionManager* session_manager, ScriptEngine* engine);
  /// Session files of the last load that gave no template, each of which was reported.
  int get_num_faulty_templates() const;
  /// Adds a reference to the main base of an ldb file, which is read if need be; and gives one back.
  int lock(const DareLdbFile* ldb, int map, const char* local_dir);
  int unlock(const DareLdbFile* ldb, const char* local_dir);
  /// Deletes bases that nobody uses. Returns their number.
  int maintenance();
  /// Of the base of the last load; 0 without one.
  int get_num_records() const;
  bool has_recall_base() const;
  bool has_instant_loaded() const { return false; }
  /// Null without a base; the text lasts as long as the base.
  const char* get_base_encoding() const;
  /// How many use a base beside the manager; -1 for one that is not loaded. `base` null: the newest of the
  /// path.
  int check_ref_count(const char* name, const DastBase* base) const;
  /// Deletes a base that nobody uses. Returns 1; 0 when somebody does, or it is not loaded.
  int delete_base(const char* name, const DastBase* base);

 private:
  struct FileStamp {
    std::string path;
    unsigned long device, inode;
    long size, seconds, nanoseconds;
    bool operator==(const FileStamp&) const = default;
  };
  struct LoadedBase {
    std::string path;
    std::vector<FileStamp> files;  // as they were when it was read
    DastBase* base;
    int locks = 0;
  };
  struct Ref {
    void operator()(DastBaseRecall* base) const;
  };
  using BaseRef = std::unique_ptr<DastBaseRecall, Ref>;

  static std::vector<FileStamp> stamps_of(const DareLdbFile* ldb, const char* local_dir);
  LoadedBase* find_base(const std::string& path);
  int load_main_base(const DareLdbFile* ldb, int map, const char* local_dir, LoadedBase** loaded);
  int read_base(const std::string& path, int map, std::unique_ptr<DastBase>* base);
  int handle_base_load_error(int code, const char* name, int map) const;
  int link_files(DastBase* base, const DareLdbFile* ldb, int map, const char* local_dir) const;
  int reconfigure(DastBase* base, const DareLdbFile* ldb, int map, const char* local_dir);
  int add_external(const DareLdbFile* ldb, const char* local_dir, DareSessionExternal* objects) const;
  int add_managed(const DareLdbFile* ldb, const char* local_dir) const;
  int source_scripts(const DareLdbFile* ldb, const char* local_dir, ScriptEngine* engine) const;
  int load_session_files(DastBaseRecall* base, const DareLdbFile* ldb, const char* local_dir,
                         DareSessionExternal* objects, ScriptEngine* engine,
                         DastSessionManager::TemplateList* made);
  std::unique_ptr<DastSession> make_template(DastBaseRecall* base, const std::string& name,
                                             const std::string& path, const char* local_dir);
  int set_deletion(DastSession* session, const DareLdbFile* ldb, const char* local_dir) const;
  int delete_unused();

  mutable std::mutex managerLock;
  AceReporter* aceRep;
  std::vector<LoadedBase> loadedBases;  // the newest of a path last
  BaseRef recallBase;
  int numFaultyTemplates = 0;
};
