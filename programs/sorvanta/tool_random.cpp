#include "sorvanta/tool_random.h"

#include <sys/random.h>

#include <array>
#include <stdexcept>

std::string random_name() {
  constexpr const char* DIGITS = "0123456789abcdef";
  std::array<unsigned char, 16> bytes;
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("the system has no random numbers");
  std::string name;
  for (const unsigned char byte : bytes) name += {DIGITS[byte >> 4], DIGITS[byte & 15]};
  return name;
}
