/// Stemming with the Snowball library.
#pragma once

#include <string>

#include "tera/tera_transform.h"

/// Saved form: magic "SNWBX", the language and the encoding as strings.
///
/// Thread safety: each use makes a stemmer of its own, so one object serves any number of threads.
class SORV_API SnowballTransform final : public TeraTransform {
 public:
  /// `language_code`: "da", "nl", "en", "fi", "fr", "de", "hu", "it", "no", "pt", "ro", "ru", "es", "sv",
  /// "tr" or "porter". `encoding_name`: UTF-8 in any spelling, or null; anything else stands for Latin-1.
  /// Throws an `AceException` for a language that needs UTF-8 and for what the library does not know.
  SnowballTransform(const char* language_code, const char* encoding_name);

  using TeraTransform::code;
  /// The stem of the lower-cased text, as one word.
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// "STEM_" and the language in upper case. English for a null name, to be read into.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;

 private:
  friend struct SnowballRegistration;
  /// The prototype, which asks the library nothing while this one is loaded.
  SnowballTransform();
  char* to_lower(const char* text, AceAttach* at) const;

  std::string language;
  std::string encoding;  // as the library names it
};
