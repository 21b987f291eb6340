/// Named storages of variables, shared by the scripts of a process.
///
///     DamoStorage* shared = DamoStorage::get_instance();
///     shared->create_storage("run");
///     shared->declare_variable("run", "last_customer");
///     shared->write_variable("run", "last_customer", "4711");
///
/// A value is a text, or a block of bytes; a variable that was declared and not written is the empty text.
///
/// Errors: -1, explained on the default reporter, for names that are empty, unknown or (variables) taken.
/// Thread safety: any number of threads; values that are read are copies.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "ace/ace_types.h"

class AceAttach;

class SORV_API DamoStorage {
 public:
  /// The process's.
  static DamoStorage* get_instance();
  DamoStorage(const DamoStorage&) = delete;
  DamoStorage& operator=(const DamoStorage&) = delete;

  /// Returns 0; also for a storage that exists, which is found again.
  int create_storage(const char* name);
  int declare_variable(const char* storage, const char* variable);
  int write_variable(const char* storage, const char* variable, const char* value);
  int write_variable_raw(const char* storage, const char* variable, const void* value, int length);
  /// The text, in `at`, up to its first zero byte; null for what is not there.
  char* read_variable(const char* storage, const char* variable, AceAttach* at) const;
  /// The bytes, in `at`, and their number; null and -1 for what is not there.
  char* read_variable_raw(const char* storage, const char* variable, int* length, AceAttach* at) const;
  /// Forgets all storages.
  void reset_data();

 private:
  using Variables = std::map<std::string, std::string, std::less<>>;

  DamoStorage() = default;
  const std::string* find(const char* storage, const char* variable) const;

  mutable std::mutex lock;
  std::map<std::string, Variables, std::less<>> storIndex;
};
