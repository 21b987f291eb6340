/// The path and time helpers of `AceFile`.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_str.h"

namespace {

/// The last component of a path.
std::string_view last_component(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

/// The last component up to its last '.'.
std::string_view base_name(std::string_view path) {
  const std::string_view file = last_component(path);
  return file.substr(0, file.rfind('.'));  // all of it when there is none
}

char* attach_text(std::string_view text, AceAttach* at) {
  return at->attach(text.data(), static_cast<VInt>(text.size()));
}

/// A component that ".." behind it leaves again.
bool can_be_left(std::string_view component) {
  return !component.empty() && component != "." && component != "..";
}

/// Number of bytes at the start of `path` that are its root: see `AceFile::normalize`.
std::size_t root_length(std::string_view path, const char* root) {
  if (root == nullptr) return 0;
  constexpr std::less<const char*> before;
  if (!before(root, path.data()) && !before(path.data() + path.size(), root))
    return static_cast<std::size_t>(root - path.data());
  const std::string_view text = root;
  if (!path.starts_with(text)) return 0;
  const bool endsComponent = text.size() == path.size() || text.ends_with('/') || path[text.size()] == '/';
  return endsComponent ? text.size() : 0;
}

std::vector<std::string_view> split(std::string_view path) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0;;) {
    const std::size_t slash = path.find('/', start);
    parts.push_back(path.substr(start, slash - start));
    if (slash == std::string_view::npos) return parts;
    start = slash + 1;
  }
}

}  // namespace

int AceFile::exists(const char* name) {
  std::FILE* stream = open(name, "r");
  if (stream == nullptr) return 0;
  std::fclose(stream);
  return 1;
}

char* AceFile::tidy_path(char* path) {
  if (path == nullptr) return nullptr;
  const std::size_t length = std::strlen(path);
  std::replace(path, path + length, '\\', '/');
  if (length > 0 && path[length - 1] == '/') path[length - 1] = '\0';
  return path;
}

const char* AceFile::get_extension(const char* path) {
  if (path == nullptr) return nullptr;
  const char* file = get_filename(path);
  const char* dot = std::strrchr(file, '.');
  return dot != nullptr ? dot + 1 : file + std::strlen(file);
}

const char* AceFile::get_filename(const char* path) {
  return path != nullptr ? last_component(path).data() : nullptr;
}

char* AceFile::get_filename(const char* path, AceAttach* at) {
  return at->attach(get_filename(path));
}

char* AceFile::get_basename(const char* path, AceAttach* at) {
  return path != nullptr ? attach_text(base_name(path), at) : nullptr;
}

char* AceFile::get_corename(const char* path, AceAttach* at) {
  if (path == nullptr) return nullptr;
  const std::string_view base = base_name(path);
  const std::size_t dot = base.find('.');
  return attach_text(dot == std::string_view::npos ? base : base.substr(dot), at);
}

int AceFile::get_file_parts(const char* path, char** dir, char** file, char** ext, AceAttach* at) {
  char* unused = nullptr;
  char*& folder = dir != nullptr ? *dir : unused;
  char*& name = file != nullptr ? *file : unused;
  char*& extension = ext != nullptr ? *ext : unused;
  folder = name = extension = nullptr;
  if (path == nullptr) return -1;

  char* copy = at->attach(path);
  char* end = copy + std::strlen(copy);
  char* slash = std::strrchr(copy, '/');
  char* start = slash != nullptr ? slash + 1 : copy;
  char* dot = std::strrchr(start, '.');
  if (dot != nullptr) *dot = '\0';
  if (slash != nullptr) *slash = '\0';
  extension = dot != nullptr ? dot + 1 : end;
  name = start;
  folder = slash != nullptr ? copy : end;
  return 0;
}

char* AceFile::get_dirname(const char* path, AceAttach* at) {
  char* dir = nullptr;
  get_file_parts(path, &dir, nullptr, nullptr, at);
  return dir;
}

char* AceFile::join_path(const char* a, const char* b, AceAttach* at) {
  return strjoin(a, b, '/', at);
}

char* AceFile::join_ext(const char* a, const char* b, AceAttach* at) {
  return strjoin(a, b, '.', at);
}

int AceFile::normalize(char* path, char* root) {
  if (path == nullptr) return 0;
  const std::string_view text = path;
  const std::size_t kept = root_length(text, root);
  std::vector<std::string_view> parts;
  for (const std::string_view part : split(text.substr(kept))) {
    if (part == ".." && !parts.empty() && can_be_left(parts.back()))
      parts.pop_back();
    else
      parts.push_back(part);
  }
  std::string result(text.substr(0, kept));
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) result += '/';
    result += parts[i];
  }
  // "/a/.." leaves one empty component of the root folder.
  if (result.empty() && kept == 0 && text.starts_with('/')) result = "/";
  if (result.size() > std::max<std::size_t>(kept, 1) && result.ends_with('/')) result.pop_back();
  const auto removed = static_cast<int>(text.size() - result.size());
  std::memcpy(path, result.c_str(), result.size() + 1);
  return removed;
}

Huge AceFile::get_modification_time(const char* name) {
  struct stat info {};
  return name != nullptr && *name != '\0' && stat(name, &info) == 0 ? info.st_mtime : -1;
}

Huge AceFile::get_access_time(const char* name) {
  struct stat info {};
  return name != nullptr && *name != '\0' && stat(name, &info) == 0 ? info.st_atime : -1;
}

Huge AceFile::get_current_time() {
  return std::time(nullptr);
}

char* AceFile::format_file_size(Huge size, AceAttach* at) {
  static constexpr std::array UNITS = {"B", "KB", "MB", "GB", "TB"};
  constexpr Huge STEP = 1024;
  if (size < 0) return at->attach("");
  std::size_t unit = 0;
  for (; size >= STEP && unit + 1 < UNITS.size(); ++unit) size /= STEP;
  char text[32];
  std::snprintf(text, sizeof text, "%ld %s", size, UNITS[unit]);
  return at->attach(text);
}

int AceFile::get_version_magic_reason(int found) {
  const auto word = static_cast<Large>(found);
  const auto expected = static_cast<Large>(get_version_magic());
  if (word == expected) return 0;
  if ((word >> 24) != 0xFFU && (word & 0xFFU) == 0xFFU) return 4;  // the bytes in reverse order
  int byte = 0;
  while (((word ^ expected) >> (8 * byte) & 0xFFU) == 0) ++byte;
  return byte + 1;
}
