/// The CRC-32 byte step and its table (reflected, polynomial 0xEDB88320, as in Ethernet and ISO 3309).
///
/// `AceFile::map` folds the bytes with which it pre-faults a file into such a checksum, and the hash
/// functions of the kernel mix their bytes through the same table.
///
/// Thread safety: the table is a constant.
#pragma once

#include <array>
#include <cstdint>

/// `CRC32_TABLE[b]` is the checksum register after eight steps from register `b`.
inline constexpr std::array<std::uint32_t, 256> CRC32_TABLE = [] {
  constexpr std::uint32_t POLYNOMIAL = 0xEDB88320U;
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1U) != 0 ? POLYNOMIAL : 0U);
    table[byte] = value;
  }
  return table;
}();

/// `crc` after one more byte, of which the low eight bits count. Nothing is inverted: the caller starts from
/// a value of its choice and inverts the end where a format asks for it.
constexpr unsigned crc32_update(int byte, unsigned crc) {
  return (crc >> 8) ^ CRC32_TABLE[(crc ^ static_cast<unsigned>(byte)) & 0xFFU];
}
