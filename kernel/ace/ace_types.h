/// The kernel's integer names and the export mark.
///
/// Counts and record ids are `Large`; sizes and offsets in files and memory are `VInt` or `Huge`, which are
/// signed so that a negative value can mean "unknown" or "error". All are fixed in width, because they are
/// also the types of the index files.
#pragma once

#include <cstddef>
#include <cstdint>

/// Marks what `libsorvanta.so` exports; everything without it stays inside the library.
#define SORV_API __attribute__((visibility("default")))

using Tiny = std::uint8_t;    ///< small number, quality 0..255
using Token = std::uint8_t;   ///< mapped character; also a flag argument
using Small = std::uint16_t;  ///< unsigned 16-bit
using Little = std::int16_t;  ///< signed 16-bit
using Large = std::uint32_t;  ///< record id, count
using Huge = long;            ///< signed 64-bit: file sizes and positions
using VInt = long;            ///< signed 64-bit: sizes, keys and counts that may be negative
using VUint = unsigned long;  ///< unsigned 64-bit
using BiBit = unsigned long;  ///< unsigned 64-bit figure, such as an amount of memory
using Mask = unsigned long;   ///< 64 flags, one per field
/// 128 flags, one per node of a combination of fields.
__extension__ using GrandMask = unsigned __int128;

static_assert(sizeof(Huge) == 8 && sizeof(VUint) == 8 && sizeof(void*) == 8, "64-bit Linux (LP64) only");
