/// The alias generators that the library has itself, and their options.
///
///     kind        option             default   meaning
///     FIRSTNAME   generate_initials  off       initials of each part, and of each span of parts, too
///                 remove_initials    off       no alias that is initials only
///                 alias_penalty      5         of parts
///                 step_penalty       5         more for each further part of a span
///                 initials_penalty   15        of initials; step_penalty comes on top
///     LASTNAME    alias_penalty      5
///                 skipwords_file     {}        a text file with a word a line; {} is none
///     EMAIL       alias_penalty      5
///     TELEPHONE   alias_penalty      5
///
/// Parts of first names are separated by blanks and hyphens; each span of consecutive parts is an alias, as
/// it stands in the value. Names of more than MAX_PARTS parts are warned about and have none.
///
/// Words of last names are separated by hyphens, full stops and blanks. Skip words ("von", "de") are no alias
/// by themselves; the others are, and so is the phrase from the last skip word to the end. Skip words are
/// compared without regard to case, by their letters and digits.
///
/// E-mail: the part before the only '@', which something must follow, without blanks up to behind it.
///
/// Telephone: numbers begin with '+' or '0'. Behind '+' or "00" and a country code of the ITU (listed in
/// alias/country_codes.txt) stands the national number, the first alias. Of German numbers (behind +49, or
/// with one leading 0), what follows the area code is the next alias: area codes have two digits (30, 40, 69,
/// 89), three for mobile networks (15., 16., 17.), and else reach to the next separator; where there is none
/// nothing is known, and no alias made.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_options_parser.h"
#include "dast/dast_alias_generator.h"

/// Declares the options of a kind.
class SORV_API DastAliasGeneratorDefaults {
 public:
  explicit DastAliasGeneratorDefaults(AliasGeneratorsKeys key) : kindKey(key) {}
  /// Declares the options in a parser.
  int init_parser(AceOptionsParser* parser) const;
  /// A new parser with the options.
  std::unique_ptr<AceOptionsParser> get_parser() const;
  /// The options with their defaults.
  std::string create_def_string() const;
  /// The same, made once; lives as long as the process.
  const char* get_def_string() const;

 private:
  AliasGeneratorsKeys kindKey;
};

struct SORV_API DastFirstnameAliasGeneratorDefaults : DastAliasGeneratorDefaults {
  DastFirstnameAliasGeneratorDefaults() : DastAliasGeneratorDefaults(AliasGeneratorsKeys::FIRSTNAME) {}
};
struct SORV_API DastLastnameAliasGeneratorDefaults : DastAliasGeneratorDefaults {
  DastLastnameAliasGeneratorDefaults() : DastAliasGeneratorDefaults(AliasGeneratorsKeys::LASTNAME) {}
};
struct SORV_API DastEmailAliasGeneratorDefaults : DastAliasGeneratorDefaults {
  DastEmailAliasGeneratorDefaults() : DastAliasGeneratorDefaults(AliasGeneratorsKeys::EMAIL) {}
};
struct SORV_API DastTelephoneAliasGeneratorDefaults : DastAliasGeneratorDefaults {
  DastTelephoneAliasGeneratorDefaults() : DastAliasGeneratorDefaults(AliasGeneratorsKeys::TELEPHONE) {}
};

class SORV_API DastFirstnameAliasGenerator : public DastAliasGenerator {
 public:
  /// 528 spans, and as many initials.
  static constexpr int MAX_PARTS = 32;

  int configure(const char* options, AceReporter* rep) override;
  int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const override;
  std::unique_ptr<DastAliasGenerator> clone() const override;

 private:
  bool generateInitials = false;
  bool removeInitials = false;
  int aliasPenalty = 5;
  int stepPenalty = 5;
  int initialsPenalty = 15;
};

class SORV_API DastLastnameAliasGenerator : public DastAliasGenerator {
 public:
  int configure(const char* options, AceReporter* rep) override;
  int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const override;
  std::unique_ptr<DastAliasGenerator> clone() const override;

 private:
  int read_skipwords(const char* filename, AceReporter* rep);

  int aliasPenalty = 5;
  std::vector<std::string> skipWords;  // folded, sorted
};

class SORV_API DastEmailAliasGenerator : public DastAliasGenerator {
 public:
  int configure(const char* options, AceReporter* rep) override;
  int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const override;
  std::unique_ptr<DastAliasGenerator> clone() const override;

 private:
  int aliasPenalty = 5;
};

class SORV_API DastTelephoneAliasGenerator : public DastAliasGenerator {
 public:
  int configure(const char* options, AceReporter* rep) override;
  int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const override;
  std::unique_ptr<DastAliasGenerator> clone() const override;

 private:
  int aliasPenalty = 5;
};

SORV_API std::unique_ptr<DastAliasGenerator> create_firstname_generator();
SORV_API std::unique_ptr<DastAliasGenerator> create_lastname_generator();
SORV_API std::unique_ptr<DastAliasGenerator> create_email_generator();
SORV_API std::unique_ptr<DastAliasGenerator> create_telephone_generator();
