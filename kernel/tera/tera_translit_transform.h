/// Transliteration by rules: Cantonese, Mandarin, Korean, Japanese kana and Hindi to Latin letters.
///
/// The rules come from the Unicode locale data and, for Chinese characters, from the Unihan readings, as far
/// as they lead to Latin letters; separators that only serve the way back are left out, and tones, too.
/// Hangul syllables are taken apart by the algorithm of the Unicode standard (section 3.12). A character
/// without a rule stays as it is.
#pragma once

#include <string>

#include "tera/tera_transform.h"

struct TranslitHead;
struct TranslitRule;

/// Saved form: magic "TRLIT", the language type as an int (never renumber).
///
/// Texts are UTF-8; an invalid sequence ends them.
class SORV_API TranslitTransform final : public TeraTransform {
 public:
  /// TRANSLIT takes each character by the rules of its script, Chinese ones as Mandarin.
  enum LanguageType : int {
    TRANSLIT = 0,
    CANTONESE = 1,
    MANDARIN = 2,
    KOREAN = 3,
    JAPANESE = 4,
    HINDI = 5,
    NUM_LANGUAGES = 6
  };
  /// A head opens the rules of a character. NONE drops what it stands for; SUBSTITUTE replaces it; LOOKAHEAD
  /// replaces it where one of some characters follows.
  enum RuleType : int { HEAD = 0, NONE = 1, SUBSTITUTE = 2, LOOKAHEAD = 3 };

  /// Throws an `AceException` for a value that is no language.
  explicit TranslitTransform(int language);

  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// By the name of the language type; TRANSLIT for null.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;

 private:
  struct RuleSet {
    const TranslitHead* heads;
    int numHeads;
    const TranslitRule* rules;
  };

  static RuleSet choose_rule_set(int language);
  static const TranslitHead* locate(const RuleSet& set, int uni);
  bool covers(int language) const { return languageType == language || languageType == TRANSLIT; }
  int apply(int uni, const char* behind, std::string* out) const;

  int languageType;
};
