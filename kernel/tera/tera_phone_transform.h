/// Phonetic codes: names that sound alike get the same code.
///
/// docs/phonetic-codes.md states the rules and shows pairs of names. A text is normalised by a character map
/// of the code (accents removed, other characters dropped) and coded as one word.
///
/// Sources: Soundex, R. C. Russell, US patents 1261167 and 1435663, in the form of the US National Archives;
/// Metaphone, L. Philips, Computer Language 7(12), 1990; Cologne phonetics, H. J. Postel, IBM-Nachrichten 19,
/// 1969. The Latin code and the shape code are our own.
#pragma once

#include "tera/tera_transform.h"

class TeraMap;

/// Saved form: magic "FONEX", the code type as an int (never renumber).
class SORV_API PhoneTransform final : public TeraTransform {
 public:
  /// The ISO forms read Latin-1, the UTF forms UTF-8.
  enum CodeType : int {
    ISO_VELPHONE = 0,  ///< the Latin code
    UTF_VELPHONE = 1,
    ISO_SOUNDEX = 2,
    UTF_SOUNDEX = 3,
    ISO_METAPHONE = 4,
    UTF_METAPHONE = 5,
    ISO_SHAPE = 6,  ///< what words look like rather than how they sound
    UTF_SHAPE = 7,
    ISO_COLOGNE = 8,
    UTF_COLOGNE = 9,
    NUM_CODE_TYPES = 10,
  };

  /// A value that is no code type throws an `AceException`.
  explicit PhoneTransform(int code_type);

  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// "VELPHONE", "SOUNDEX", "METAPHONE", "SHAPE" or "KOELNER"; the UTF form for the encoding "utf-8", else
  /// the ISO form. ISO_VELPHONE for a null name.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;

 private:
  int codeType;
};
