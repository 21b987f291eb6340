/// The type word of a base field: how it is stored and indexed.
#pragma once

#include "ace/ace_types.h"

struct DastFieldFlags {
  /// The low 16 bits are the field's declaration, compared when a base is read into a declared one; those
  /// above are its state. Stored in files, not to be renumbered.
  enum ConfigFlags : int {
    OPTIMIZE_INTERVALS = 1,    ///< the records are sorted so that equal values make runs
    NUMERIC_STORAGE = 2,       ///< strings are kept as numbers
    IS_PRIMARY = 4,            ///< has an index of its own
    IN_INDEX_STORAGE = 8,      ///< strings are read back from the index
    IS_PARTIAL = 16,           ///< frequent values only are indexed
    NO_STRING_STORAGE = 32,    ///< no strings are kept
    ADVANCED_FEATURES = 64,    ///< repeating values: a base id is a distinct value
    BASIC_FEATURES = 128,      ///< (almost) unique values: a base id is an entry
    STRING_STORAGE = 256,      ///< strings are kept in an array
    IS_INTERVAL = 512,         ///< an entry is a run of records
    HAS_EMPTY_INDEXED = 1024,  ///< the empty string is a value
    SPECIAL_STORAGE = NUMERIC_STORAGE | ADVANCED_FEATURES,
    STATIC_OPTIONS = 65535,

    // Bits that building and configuring add.
    HAS_INDEX = 65536,           ///< a method file exists
    HAS_ALIASES = 131072,        ///< a value had alternatives
    LATELINK = 262144,           ///< the index is loaded from a file of its own
    HAS_VALUES = 2097152,        ///< there is a value that is not empty
    FOREIGN_INFO_MAP = 4194304,  ///< the map of runs is shared with other fields
  };
};
