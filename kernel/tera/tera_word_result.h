/// How a query word was found in an entry, step by step.
#pragma once

#include "ace/ace_attach.h"

/// The signs of edit sequences. Each stands for one step of the alignment; what it reads is in brackets.
struct TeraSign {
  static constexpr char MATCH = '=';   ///< [query and entry] they match
  static constexpr char SUBST = 'o';   ///< [query and entry] they differ
  static constexpr char INSERT = '+';  ///< [entry] a token too many
  static constexpr char REMOVE = 'x';  ///< [query] a token is missing
  static constexpr char JUMPL = '\\';  ///< [query] a token missing at a free end of the query
  static constexpr char JUMPR = '/';  ///< [entry] a token in front of the match, the entry's start being free
  static constexpr char TRANSL = '>';   ///< [query and entry] the first of two that are swapped
  static constexpr char TRANSR = '<';   ///< [query and entry] the second
  static constexpr char WORDSEP = '|';  ///< [nothing] the next query token starts a word
  static constexpr char ABBREV = '*';   ///< [entry] a token behind the match, the entry's end being free
};

/// Filled by `TeraWord::localize`. The texts live in the result itself. The matched part reaches from the
/// first to the last entry token that stands opposite to a query token.
class TeraWordResult : public AceAttach {
 public:
  int normQuality = 0;   ///< 0..255
  int rawValue = 0;      ///< the match value before the model
  int insertPrefix = 0;  ///< tokens that the entry has in addition before the matched part
  int insertSuffix = 0;  ///< and behind it
  int deletePrefix = 0;  ///< query tokens that are missing before it
  int deleteSuffix = 0;  ///< and behind it
  int reasonFlags = 0;   ///< bits 1 << TeraEval::Reason
  const char* editSeq = nullptr;
  const char* inputPrefix = nullptr;  ///< the entry's text before the matched part,
  const char* inputMatch = nullptr;   ///< the matched part,
  const char* inputSuffix = nullptr;  ///< and what follows
};
