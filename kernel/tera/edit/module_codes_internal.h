/// The codes of bit columns (tera_module.h), as tables that are made while compiling: making them takes
/// longer than a recall.
///
/// Thread safety: constants.
#pragma once

#include "ace/ace_huffman.h"

namespace module_codes {

inline constexpr int WORD_BITS = 32;
/// A word that is hardly ever there; where it is, it is escaped itself.
inline constexpr Bit ESCAPE = 0x96A55A69;

/// The tables of a code, as HuffmanTree has them.
struct Tables {
  static constexpr int MAX_ENTRIES = 1400;

  void lend(HuffmanTree* tree) const;

  Tiny help[MAX_ENTRIES] = {};
  Bit info[MAX_ENTRIES] = {};
  int width = 0;  // bits of the first table
  int numEntries = 0;
  int numCodes = 0;
};

/// The tables of a `TeraModule::CompType`.
const Tables& code_of(int type);

/// The statistics that the code of a type is made from.
SORV_API void insert_weights(int type, HuffmanStat* stat);

}  // namespace module_codes
