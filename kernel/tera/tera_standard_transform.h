/// The standard operations on strings: trimming, cutting, replacing.
#pragma once

#include "tera/tera_transform.h"

/// Saved form: magic "STDX", the operation as an int, 0..14 (never renumber).
///
/// Operations work on bytes; an empty input gives the empty string.
class SORV_API StandardTransform final : public TeraTransform {
 public:
  enum Operation : int {
    TRIM_LEFT = 0,             ///< leading blanks removed
    TRIM_RIGHT = 1,            ///< trailing blanks removed
    TRIM_ALL = 2,              ///< both, and inner runs of blanks reduced to one
    USE_PREFIX_3 = 3,          ///< the first three bytes
    DEL_PREFIX_3 = 4,          ///< all but the first three bytes; empty for fewer than four
    FIRST_CHAR = 5,            ///< the first character of every blank-separated word
    FIRST_WORD = 6,            ///< up to the first blank (within the first 256 bytes); all without one
    DEL_FIRST = 7,             ///< everything behind the first blank; empty without one
    TAB2SPACE = 8,             ///< tabs become blanks
    PIPE2BROKEN = 9,           ///< "|" becomes the byte 0xA6, so that nothing is split into variants
    NORM_PINYIN = 10,          ///< digraphs of pinyin become symbols (tera_pinyin.h)
    REVERSE_NORM_PINYIN = 11,  ///< and back
    ADD_ELLIPSIS = 12,         ///< "..." appended
    REMOVE_ELLIPSIS = 13,      ///< a trailing "..." removed
    EMPTY_STR = 14,            ///< the empty string
    NUM_OPERATIONS = 15,
  };

  /// A value that is no operation returns texts unchanged.
  explicit StandardTransform(int operation) : stringOperation(operation) {}

  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// By the operation's name in upper or lower case; TRIM_ALL for null.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;

 private:
  int stringOperation;
};
