/// ldb files: what a host loads.
///
///     main_svd   people.base                    the base
///     main_svfs  people.name.tera               late-linked indexes (".tera") and detectors (".det")
///     delete_bin deleted.bin                    records that never appear
///     ses        people.ses  clerks.ses         session templates
///                                               (tabs between key and values; '#' starts a comment line)
///
/// Each key has one line; a later one replaces it. docs/ldb.md has all keys.
///
/// Ownership: texts are copied. Thread safety: read by one thread; then constant.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class SORV_API DareLdbFile {
 public:
  using List = std::vector<std::string>;

  DareLdbFile() = default;
  DareLdbFile(const DareLdbFile&) = delete;
  DareLdbFile& operator=(const DareLdbFile&) = delete;

  /// Reads the file from the run path, else from the build path, else as it is named; paths may be null.
  /// Returns the number of lines that were assigned; -1, explained, for a file that is not there, an unknown
  /// key, and a second call.
  int read_from_file(const char* file_name, const char* build_path, const char* run_path);
  /// Takes the values of a key; empty ones are dropped. Returns their number; -1 for an unknown key.
  int assign_var(const char* const* parts, int num_parts);
  /// Stores all file names, the ldb file first; the array stays. Returns their number.
  int get_file_list(const char*** files) const;

  const char* get_name() const { return ldbName.c_str(); }

  std::string mainSvd, mainCfg, mainSvs, incSvd, incSvs, binDelSet;
  List mainSvf, sesFiles, sssFiles, ebdFiles, managedFiles, sssDependencies;

  /// A name, in a folder unless it is absolute or the folder is null or empty.
  static std::string join(const char* folder, const std::string& name);

 private:
  std::string ldbName;
  bool isRead = false;
  mutable std::vector<const char*> allFiles;
};
