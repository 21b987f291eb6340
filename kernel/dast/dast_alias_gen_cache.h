/// Cache of generated aliases, so that repeated builds need not generate them again.
///
/// File "alias.cache" in the cache folder, one line for each value: the value, then for each alias a tab, the
/// alias, a tab and its penalty. It is written while the trace flag "ALIAS_GEN_WRITE_CACHE" is set: anew for
/// 1, behind what is there for larger values.
///
/// Errors: -1, explained on the default reporter.
/// Thread safety: all operations but `read` may be called from any thread.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ace/ace_types.h"
#include "dast/dast_alias_generator.h"

class SORV_API DastAliasGenCache {
 public:
  static constexpr const char* FILE_NAME = "alias.cache";

  DastAliasGenCache() = default;
  DastAliasGenCache(const DastAliasGenCache&) = delete;
  DastAliasGenCache& operator=(const DastAliasGenCache&) = delete;
  ~DastAliasGenCache() = default;

  /// Opens the file in the folder for writing, if the flag asks for it. Returns 1 when it is open, 0 when it
  /// is not asked for, or -1.
  int open_cache_file(const char* cache_dir);
  /// Writes what is pending and closes. Returns 0; -1 when a line could not be written.
  int close_cache_file();
  /// Adds the lines of a file to the cache; later ones of a value replace earlier ones. Returns the number of
  /// lines; -1, and the cache is as it was, for a file that cannot be read and for lines that are none.
  int read(const char* filename);
  /// Adds the aliases of a value to the result. Returns how many are new there; -1 for an unknown value.
  int lookup(const char* value, DastAliasResult* result) const;
  /// Keeps the aliases of a value, and writes them when a file is open. Texts with tabs or line ends are left
  /// out. Returns 0 or -1.
  int add(const char* value, const DastAliasResult* result);

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  mutable std::mutex cacheMutex;
  std::map<std::string, std::unique_ptr<DastAliasResult>, std::less<>> valueTree;
  std::unique_ptr<std::FILE, Close> cacheFile;
};
