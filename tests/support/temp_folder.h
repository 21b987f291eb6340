/// A fresh folder for the files of one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace support {

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sorvanta_XXXXXX").string();
    path = mkdtemp(pattern.data()) != nullptr ? pattern : "";
    if (path.empty()) std::abort();
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::string file(std::string_view name) const { return path + "/" + std::string(name); }

 private:
  std::string path;
};

inline void write_file(const std::string& name, std::string_view bytes) {
  std::ofstream(name, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string read_file(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace support
