/// An image in memory whose middle cannot be touched: for readers that must not walk through what they read.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace support {

class SealedImage {
 public:
  explicit SealedImage(std::string_view bytes) : imageSize(bytes.size()) {
    memory = static_cast<char*>(
        mmap(nullptr, imageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::memcpy(memory, bytes.data(), imageSize);
  }
  SealedImage(const SealedImage&) = delete;
  SealedImage& operator=(const SealedImage&) = delete;
  ~SealedImage() { munmap(memory, imageSize); }

  const char* data() const { return memory; }
  long size() const { return static_cast<long>(imageSize); }
  /// Touching anything but the first and the last 8 KiB or so ends the process from now on.
  void seal() const { protect(PROT_NONE); }
  void open() const { protect(PROT_READ); }

 private:
  void protect(int protection) const {
    const auto page = static_cast<std::size_t>(getpagesize());
    const std::size_t end = (imageSize / page - 2) * page;
    mprotect(memory + 2 * page, end - 2 * page, protection);
  }

  std::size_t imageSize;
  char* memory;
};

}  // namespace support
