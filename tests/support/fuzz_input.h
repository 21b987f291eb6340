/// What fuzz targets share: the ways to make something of bytes, and the end of a run that finds a fault.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ace/ace_types.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"

namespace fuzz {

inline void require(bool holds) {
  if (!holds) std::abort();
}

inline std::string text_of(const unsigned char* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// What stands before and behind the first byte 0xFF, each up to its first zero byte.
inline std::pair<std::string, std::string> two_texts(const std::string& input) {
  const std::size_t separator = input.find('\xFF');
  return {input.substr(0, separator).c_str(),
          separator != std::string::npos ? input.substr(separator + 1).c_str() : ""};
}

/// Triples of an offset (two bytes) and a value are written over an image; a last odd byte cuts it.
inline std::string damaged(std::string image, const std::string& bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<std::size_t>(static_cast<Token>(bytes[i])); };
  for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3)
    image[(byte(i) * 256 + byte(i + 1)) % image.size()] = bytes[i + 2];
  if (bytes.size() % 3 == 1) image.resize(image.size() - byte(bytes.size() - 1) % image.size());
  return image;
}

/// The letters a to h, with operators.
inline const TeraMap& letters() {
  static const std::unique_ptr<TeraMap> map = [] {
    TeraMapConfig config("utf-8");
    config.set_tokens("a-h");
    config.map_glob_chars(1);
    return std::unique_ptr<TeraMap>(config.compile());
  }();
  return *map;
}

/// A file of which each run replaces the bytes.
class MemoryFile {
 public:
  MemoryFile() : file(memfd_create("fuzz", MFD_CLOEXEC)), name("/proc/self/fd/" + std::to_string(file)) {}
  const std::string& with(const std::string& bytes) const {
    require(ftruncate(file, 0) == 0);
    require(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    return name;
  }

 private:
  int file;
  std::string name;
};

/// A document, in a file, and what is asked of it: the first two lines.
struct Document {
  static std::optional<Document> of(const std::string& text) {
    const std::size_t first = text.find('\n');
    const std::size_t second = first == std::string::npos ? first : text.find('\n', first + 1);
    if (second == std::string::npos) return std::nullopt;
    static const MemoryFile file;
    return Document{text.substr(0, first), text.substr(first + 1, second - first - 1),
                    file.with(text.substr(second + 1))};
  }

  std::string recordPath;
  std::string fieldPath;
  std::string name;
};

}  // namespace fuzz
