/// Managed files: logical names of files, and the paths under which they are found at run time.
///
/// Thread safety: any thread may call; paths that were given out stay.
#pragma once

#include <mutex>

#include "ace/ace_attach.h"
#include "ace/ace_str_avl.h"
#include "ace/ace_types.h"

/// The process-wide registry.
class SORV_API AceManagedFiles {
 public:
  AceManagedFiles(const AceManagedFiles&) = delete;
  AceManagedFiles& operator=(const AceManagedFiles&) = delete;

  /// Registers `access_name` for `runtime_path` (both are copied), in place of an earlier path.
  /// Returns 0, or -1 when one of them is null or empty.
  static int add_file(const char* runtime_path, const char* access_name);
  /// In local-directory mode the name itself, or null where no such file can be read; otherwise the
  /// registered path, or null. Null for a null or empty name.
  static const char* get_file(const char* access_name);
  /// 1 switches local-directory mode on, as it is at first; 0 off. Returns `mode`.
  static int set_local_mode(int mode);

 private:
  AceManagedFiles() = default;
  static AceManagedFiles& instance();

  std::mutex fileMutex;
  AceAttach memAt;                           // the copies of the paths
  StrAvlTree<const char*> fileSet{nullptr};  // from access name to path
  int localDirMode = 1;
};

/// `AceManagedFiles::add_file`.
SORV_API int ace_add_managed_file(const char* runtime_path, const char* access_name);
/// `AceManagedFiles::get_file`.
SORV_API const char* ace_get_managed_file(const char* access_name);
