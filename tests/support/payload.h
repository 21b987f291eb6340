/// Payloads in memory: written, and read from a buffer or as a stream.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "ace/ace_file.h"

namespace support {

/// What `save` writes, aligned as in a file.
inline std::string image_by(const std::function<void(AceFile*)>& save) {
  AceFile measure;
  save(&measure);
  std::vector<long> buffer(static_cast<std::size_t>(measure.get_pos()) / 8 + 1);
  AceFile file;
  file.init_write(reinterpret_cast<char*>(buffer.data()), measure.get_pos());
  save(&file);
  return {reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(file.get_pos())};
}
template <class Object>
std::string image_of(const Object& object) {
  return image_by([&](AceFile* file) { object.save(file); });
}

/// Reads an image, whose arrays may stay in `buffer`.
template <class Object>
VInt read_image(Object* object, const std::string& image, std::vector<long>* buffer) {
  buffer->assign(image.size() / 8 + 1, 0);
  image.copy(reinterpret_cast<char*>(buffer->data()), image.size());
  AceFile file;
  file.init_read(reinterpret_cast<const char*>(buffer->data()), static_cast<VInt>(image.size()));
  return object->read(&file);
}

/// A file to read bytes from, which it keeps.
class PayloadFile {
 public:
  explicit PayloadFile(const std::string& bytes, bool as_stream = false) : buffer(bytes.size() / 8 + 1) {
    bytes.copy(reinterpret_cast<char*>(buffer.data()), bytes.size());
    if (!as_stream) {
      file.init_read(reinterpret_cast<const char*>(buffer.data()), static_cast<VInt>(bytes.size()));
      return;
    }
    descriptor = memfd_create("payload", 0);
    if (write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()))
      file.prep(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), nullptr);
  }
  PayloadFile(const PayloadFile&) = delete;
  PayloadFile& operator=(const PayloadFile&) = delete;
  ~PayloadFile() {
    if (descriptor >= 0) close(descriptor);
  }
  AceFile* get() { return &file; }

 private:
  std::vector<long> buffer;
  int descriptor = -1;
  AceFile file;
};

}  // namespace support
