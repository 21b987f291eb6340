/// A text that is wiped from memory when it is no longer needed: a password.
#pragma once

#include <cstddef>
#include <memory>

#include "ace/ace_types.h"

class SORV_API DamoSecret {
 public:
  DamoSecret() = default;
  /// A copy of `length` bytes.
  DamoSecret(const char* text, std::size_t length);
  /// A copy; null is the empty text.
  explicit DamoSecret(const char* text);
  DamoSecret(DamoSecret&& other) noexcept = default;
  DamoSecret& operator=(DamoSecret&& other) noexcept = default;

  /// Terminated; the secret's.
  const char* get() const { return bytes != nullptr ? bytes.get() : ""; }

 private:
  struct Wipe {
    Wipe() : size(0) {}
    explicit Wipe(std::size_t count) : size(count) {}
    std::size_t size;
    void operator()(char* text) const;
  };

  std::unique_ptr<char[], Wipe> bytes;
};
