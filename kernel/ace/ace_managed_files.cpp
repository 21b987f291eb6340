#include "ace/ace_managed_files.h"

#include "ace/ace_file.h"

namespace {

bool is_blank(const char* text) {
  return text == nullptr || *text == '\0';
}

}  // namespace

AceManagedFiles& AceManagedFiles::instance() {
  static AceManagedFiles files;
  return files;
}

int AceManagedFiles::add_file(const char* runtime_path, const char* access_name) {
  if (is_blank(runtime_path) || is_blank(access_name)) return -1;
  AceManagedFiles& files = instance();
  const std::scoped_lock lock(files.fileMutex);
  files.fileSet[access_name] = files.memAt.attach(runtime_path);
  return 0;
}

const char* AceManagedFiles::get_file(const char* access_name) {
  if (is_blank(access_name)) return nullptr;
  AceManagedFiles& files = instance();
  const std::scoped_lock lock(files.fileMutex);
  if (files.localDirMode != 0) return AceFile::exists(access_name) != 0 ? access_name : nullptr;
  return files.fileSet.search(access_name);
}

int AceManagedFiles::set_local_mode(int mode) {
  AceManagedFiles& files = instance();
  const std::scoped_lock lock(files.fileMutex);
  return files.localDirMode = mode;
}

int ace_add_managed_file(const char* runtime_path, const char* access_name) {
  return AceManagedFiles::add_file(runtime_path, access_name);
}

const char* ace_get_managed_file(const char* access_name) {
  return AceManagedFiles::get_file(access_name);
}
