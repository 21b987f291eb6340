/// Values of tokens, and how several of them are packed.
///
/// A token is one byte (`Token`, ace_types.h): 0 ends a token string, 1 to 249 are ordinary tokens, and 250
/// to 255 are the pattern operators. The identity maps (tera_map.h) use all values from 1 to 255 as ordinary
/// tokens; `TeraMap::is_operator` knows the difference.
///
/// A `Sequence` packs up to four tokens, the first in the lowest byte; a zero byte ends it.
#pragma once

#include "ace/ace_types.h"

using Sequence = std::uint32_t;
using VBit = VUint;  ///< a 64-bit key

inline constexpr Token TOKEN_WILDCARD = 250;   ///< matches any one token; "?" unless configured otherwise
inline constexpr Token TOKEN_ALT_START = 251;  ///< opens an alternative; "["
inline constexpr Token TOKEN_ALT_STOP = 252;   ///< closes it; "]"
inline constexpr Token TOKEN_WORD_SEP = 253;   ///< separates words; "|"
inline constexpr Token TOKEN_ALT_SEG = 254;    ///< alternative segment; "!"
inline constexpr Token TOKEN_WILDSEQ = 255;    ///< matches any run of tokens; "*"

inline constexpr int MAX_TOKEN_NUMBERS = 250;  ///< of a configured map, counting 0
inline constexpr int MAX_SEQUENCE = 4;         ///< tokens in a `Sequence`
