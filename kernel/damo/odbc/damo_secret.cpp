#include "damo/damo_secret.h"

#include <cstring>

void DamoSecret::Wipe::operator()(char* text) const {
  explicit_bzero(text, size);
  delete[] text;
}

DamoSecret::DamoSecret(const char* text, std::size_t length) : bytes(new char[length + 1], Wipe{length + 1}) {
  std::memcpy(bytes.get(), text, length);
  bytes[length] = '\0';
}

DamoSecret::DamoSecret(const char* text)
    : DamoSecret(text != nullptr ? text : "", text != nullptr ? std::strlen(text) : 0) {}
