/// Cyrillic, Greek, Arabic and Hebrew letters to Latin ones.
#pragma once

#include <string>

#include "tera/tera_transform.h"

/// Saved form: magic "A2LX", the character set as a string.
///
/// Texts are read in the character set and written in it: a Latin letter with a diacritic that the set does
/// not have loses it, and what is still not in the set is dropped. "ascii" reads UTF-8 and writes ASCII.
class SORV_API AnyToLatinTransform final : public TeraTransform {
 public:
  enum UniType : int { UNKNOWN = -1, ASCII = 0, CYRILLIC = 1, GREEK = 2, ARABIC = 3, HEBREW = 4 };

  /// A name of tera_charset.h; any other means UTF-8, null "ascii".
  explicit AnyToLatinTransform(const char* charset);

  /// Script of a code point.
  static UniType get_type(int uni);

  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// "ANY_TO_LATIN" with an encoding; "ascii" for null.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;

 private:
  void set_charset(const char* charset);
  void append(int uni, std::string* out) const;
  bool append_known(int uni, std::string* out) const;

  std::string charEnc;
  const int* charMap = nullptr;  // byte to code point; null for UTF-8
  bool readsUtf = true;
};
