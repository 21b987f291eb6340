// Where a query word matches: alignments, parts and marked texts.
#include <algorithm>
#include <string>
#include <vector>

#include "tera/measure/tera_word_alignment_internal.h"
#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_token.h"
#include "tera/tera_word.h"

namespace {

using Options = TeraWordOptions;
using Flags = std::vector<bool>;  // per entry position

bool no_glob_of(int options) {
  return (options & Options::NO_GLOB) != 0;
}

/// The tokens of a text, and for each position the bytes of the characters that it comes from.
class EntryText {
 public:
  struct Range {
    int begin;
    int end;
  };

  EntryText(const TeraMap* map, const char* entry, bool no_glob, bool operators) : text(entry) {
    TeraScan scan(map, entry, no_glob);
    const bool isUnicode = map->has_uni() != 0;
    bool inAlternative = false;
    Range last{0, 0};
    while (const Token tok = scan.get_next_token(0)) {
      tokens.push_back(tok);
      const int end = scan.get_current_off();
      if (end != last.end) last = {char_start(end, last.end, isUnicode), end};
      if (inAlternative) {
        positions.back().end = end;
        inAlternative = tok != TOKEN_ALT_STOP;
      } else if (!operators || (tok != TOKEN_WORD_SEP && tok != TOKEN_WILDSEQ)) {
        positions.push_back(last);
        inAlternative = operators && !no_glob && tok == TOKEN_ALT_START;
      }
    }
    tokens.push_back(0);
  }

  const Token* get_tokens() const { return tokens.data(); }

  /// The text with marks around the characters of flagged positions.
  char* mark(const Flags& flags, AceAttach* at) const {
    std::string marked;
    int copied = 0;  // bytes
    bool isOpen = false;
    const auto copy_up_to = [&](int end, const char* sign) {
      if (end > copied) marked.append(text + copied, static_cast<std::size_t>(end - copied));
      copied = std::max(copied, end);
      marked += sign;
    };
    for (std::size_t i = 0; i < positions.size(); ++i) {
      if (flags[i] == isOpen) continue;
      // A character of several tokens is marked as a whole when one of them is.
      if (isOpen && positions[i].begin < positions[i - 1].end) continue;
      copy_up_to(isOpen ? positions[i - 1].end : positions[i].begin,
                 isOpen ? TeraWord::MARK_STOP : TeraWord::MARK_START);
      isOpen = !isOpen;
    }
    if (isOpen) copy_up_to(positions.back().end, TeraWord::MARK_STOP);
    marked += text + copied;
    return at->attach(marked.c_str(), static_cast<VInt>(marked.size()));
  }

  /// Copies of the text before the positions [from, to), of them, and behind.
  void cut(int from, int to, TeraWordResult* result) const {
    const int end = to > from ? positions[static_cast<std::size_t>(to) - 1].end : text_end();
    const int begin = to > from ? positions[static_cast<std::size_t>(from)].begin : end;
    result->inputPrefix = result->attach(text, begin);
    result->inputMatch = result->attach(text + begin, end - begin);
    result->inputSuffix = result->attach(text + end);
  }

 private:
  int text_end() const { return static_cast<int>(std::char_traits<char>::length(text)); }

  int char_start(int end, int lowest, bool is_unicode) const {
    int start = end - 1;
    while (is_unicode && start > lowest && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    return start;
  }

  const char* text;
  std::vector<Token> tokens;
  std::vector<Range> positions;
};

/// The matched part of an alignment, in entry positions.
struct MatchedPart {
  int insertPrefix = 0;
  int insertSuffix = 0;
  int deletePrefix = 0;
  int deleteSuffix = 0;
  int insideReasons = 0;

  explicit MatchedPart(const TeraAlignment& alignment) {
    const auto& signs = alignment.signs;
    const auto first = std::find_if(signs.begin(), signs.end(), TeraAlignment::is_pair);
    const auto behind = first == signs.end()
                            ? signs.end()
                            : std::find_if(signs.rbegin(), signs.rend(), TeraAlignment::is_pair).base();
    insertPrefix = static_cast<int>(std::count_if(signs.begin(), first, TeraAlignment::reads_entry));
    deletePrefix = static_cast<int>(std::count_if(signs.begin(), first, TeraAlignment::reads_query));
    insertSuffix = static_cast<int>(std::count_if(behind, signs.end(), TeraAlignment::reads_entry));
    deleteSuffix = static_cast<int>(std::count_if(behind, signs.end(), TeraAlignment::reads_query));
    for (auto sign = first; sign != behind; ++sign) insideReasons |= reason_of(*sign);
  }

  int reasons() const {
    return insideReasons | (insertPrefix > 0 ? 1 << TeraEval::MISSING_PREFIX : 0) |
           (deletePrefix > 0 ? 1 << TeraEval::EXTRA_PREFIX : 0) |
           (insertSuffix > 0 ? 1 << TeraEval::MISSING_SUFFIX : 0) |
           (deleteSuffix > 0 ? 1 << TeraEval::EXTRA_SUFFIX : 0);
  }

 private:
  static int reason_of(char sign) {
    switch (sign) {
      case TeraSign::SUBST:
      case TeraSign::INSERT:
      case TeraSign::REMOVE:
        return 1 << TeraEval::TYPING_ERROR;
      case TeraSign::TRANSL:
        return 1 << TeraEval::WORD_REORDER;
      default:
        return 0;
    }
  }
};

Flags count_flags(const auto& word, auto entry, int options) {
  using Bits = typename decltype(entry)::BitsType;
  Flags flags;
  Bits before{0};
  Bits accepted;
  while (entry.next(accepted)) {
    const int i = static_cast<int>(flags.size());
    const bool isCounted = i < tera_loops::MAX_COUNTED && i < word.wordLength;
    const bool isSwapped = isCounted && i > 0 && (options & Options::TRANSPOSE) != 0 && has_bit(before, i) &&
                           has_bit(accepted, i - 1);
    flags.push_back(isCounted && (has_bit(accepted, i) || isSwapped));
    before = accepted;
  }
  return flags;
}

Flags lcs_flags(const auto& word, auto entry) {
  using Bits = typename decltype(entry)::BitsType;
  tera_loops::SequenceColumn<Bits> column;
  std::vector<Bits> same = {column.same};  // per column of the table
  for (Bits accepted; entry.next(accepted);) {
    column.step(accepted);
    same.push_back(column.same);
  }
  Flags flags(same.size() - 1);
  // The length grows in a row where its bit is clear; where it has grown in the column before, the entry's
  // token is not needed for it.
  int row = word.wordLength;
  for (std::size_t j = flags.size(); j > 0 && row > 0;) {
    if (has_bit(same[j], row - 1)) {
      --row;
    } else {
      --j;
      if (has_bit(same[j], row - 1)) {
        flags[j] = true;
        --row;
      }
    }
  }
  return flags;
}

/// Goes back through the sets of reachable positions along one of the ways with the most hits.
Flags subset_flags(const auto& word, auto entry, int options) {
  using Bits = typename decltype(entry)::BitsType;
  struct State {
    Bits reachable;  // behind an entry position
    Bits accepted;   // of that position
    int hits;
  };
  const int m = word.wordLength;
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  const Bits rows = low_bits<Bits>(m);
  tera_loops::SubsetWalk<Bits> walk(m);
  std::vector<State> states = {{walk.reachable & rows, Bits{0}, 0}};
  for (Bits accepted; entry.next(accepted);) {
    walk.step(accepted & rows, transpose);
    states.push_back({walk.reachable & rows, accepted & rows, walk.hits});
  }
  Flags flags(states.size() - 1);
  std::size_t j = flags.size();
  // The position reached; when there is none but the end of the query, the last hit was at its last position.
  int reached = has_any(states[j].reachable) ? first_bit(states[j].reachable) : m;
  const auto leads = [&](std::size_t from, int hits, int steps) {
    return j >= from && reached >= steps && states[j - from].hits + hits == states[j].hits &&
           has_bit(states[j - from].reachable, reached - steps);
  };
  while (j > 0) {
    if (leads(1, 1, 1) && has_bit(states[j].accepted, reached - 1)) {
      flags[--j] = true;
      --reached;
    } else if (transpose && leads(2, 2, 2) && has_bit(states[j].accepted, reached - 2) &&
               has_bit(states[j - 1].accepted, reached - 1)) {
      flags[--j] = true;
      flags[--j] = true;
      reached -= 2;
    } else {
      const bool isWidened = reached < m && !has_bit(states[j - 1].reachable, reached);
      reached -= isWidened ? 1 : 0;
      --j;
    }
  }
  return flags;
}

/// Flags of the positions [from, to).
Flags range_flags(int num_positions, int from, int to) {
  Flags flags(static_cast<std::size_t>(num_positions));
  std::fill(flags.begin() + from, flags.begin() + to, true);
  return flags;
}

Flags scan_flags(const auto& word, const auto& entry, int options) {
  int numPositions = 0;
  const tera_loops::WordRun run = tera_loops::scan_words(word, entry, options, &numPositions);
  Flags flags;
  auto walk = entry;
  bool begins = false;
  int numWords = 0;
  for (typename std::decay_t<decltype(entry)>::BitsType accepted; walk.next(accepted, begins);) {
    numWords += begins ? 1 : 0;
    flags.push_back(numWords > run.from && numWords <= run.to);
  }
  return flags;
}

char* mark_text(const TeraMap* map, const TeraTokenWord& word, const char* entry, int options, AceAttach* at,
                auto find_flags) {
  if (entry == nullptr || word.wordLength < 0) return nullptr;
  const EntryText text(map, entry, no_glob_of(options), word.hasOperators);
  const TeraTextSource source(map, entry, no_glob_of(options));
  Flags flags;
  word.visit([&](const auto& pattern) {
    return run_on(pattern, source, options, false, [&](const auto& used, const auto& positions) {
      flags = find_flags(used, positions, text);
      return 0;
    });
  });
  return text.mark(flags, at);
}

}  // namespace

int TeraWord::sequence(const char* entry, Eval* eval, int options, const char** edit_seq,
                       AceAttach* at) const {
  if (edit_seq != nullptr) *edit_seq = nullptr;
  if (entry == nullptr || mapConfig == nullptr) return -1;
  AceAttach local;
  return tokenWord.sequence(mapConfig->convert(entry, no_glob_of(options), &local), eval, options, edit_seq,
                            at);
}

int TeraWord::localize(const char* entry, Eval* eval, int options, TeraWordResult* result) const {
  if (entry == nullptr || result == nullptr || length() < 0) return -1;
  const EntryText text(mapConfig, entry, no_glob_of(options), tokenWord.hasOperators);
  const TeraAlignment alignment(tokenWord, text.get_tokens(), options);
  const MatchedPart part(alignment);
  result->release();
  result->rawValue = alignment.match;
  result->normQuality = eval != nullptr ? std::clamp(alignment.value(eval), 0, TeraEval::PERFECT) : 0;
  result->insertPrefix = part.insertPrefix;
  result->insertSuffix = part.insertSuffix;
  result->deletePrefix = part.deletePrefix;
  result->deleteSuffix = part.deleteSuffix;
  result->reasonFlags = part.reasons();
  result->editSeq = alignment.copy_signs(result);
  text.cut(part.insertPrefix, alignment.numPositions - part.insertSuffix, result);
  return eval != nullptr ? result->normQuality : result->rawValue;
}

int TeraWord::wordMatch(const Token* entry, int* from, int* to, int options, const char** marked,
                        AceAttach* at) const {
  if (marked != nullptr) *marked = nullptr;
  if (entry == nullptr || length() < 0) return -1;
  const TeraAlignment alignment(tokenWord, entry, options);
  const MatchedPart part(alignment);
  const int begin = part.insertPrefix;
  const int end = alignment.numPositions - part.insertSuffix;
  if (from != nullptr) *from = begin;
  if (to != nullptr) *to = end;
  if (marked == nullptr) return alignment.match;

  AceAttach local;
  const auto text_of = [&](const Token* first, const Token* last) {
    std::vector<Token> tokens(first, last);
    tokens.push_back(0);
    return std::string(mapConfig->convert_reverse(tokens.data(), &local));
  };
  const Token* const last = entry + std::char_traits<char>::length(reinterpret_cast<const char*>(entry));
  const auto at_position = [&](int pos) {
    const Token* place = TeraToken::token_pos(entry, pos);  // null behind an alternative that is not closed
    return place != nullptr ? place : last;
  };
  const Token* const first = at_position(begin);
  const Token* const behind = at_position(end);
  const std::string match = behind > first ? MARK_START + text_of(first, behind) + MARK_STOP : "";
  *marked = at->attach((text_of(entry, first) + match + text_of(behind, last)).c_str());
  return alignment.match;
}

char* TeraWord::leven_mark(const char* entry, int options, AceAttach* at) const {
  return mark_text(mapConfig, tokenWord, entry, options, at,
                   [&](const auto&, const auto&, const EntryText& text) {
                     Flags flags;
                     for (const char sign : TeraAlignment(tokenWord, text.get_tokens(), options).signs)
                       if (TeraAlignment::reads_entry(sign))
                         flags.push_back(TeraAlignment::is_pair(sign) && sign != TeraSign::SUBST);
                     return flags;
                   });
}

char* TeraWord::count_mark(const char* entry, int options, AceAttach* at) const {
  return mark_text(mapConfig, tokenWord, entry, options, at,
                   [=](const auto& word, const auto& positions, const EntryText&) {
                     return count_flags(word, positions, options);
                   });
}

char* TeraWord::lcs_mark(const char* entry, int options, AceAttach* at) const {
  return mark_text(
      mapConfig, tokenWord, entry, options, at,
      [](const auto& word, const auto& positions, const EntryText&) { return lcs_flags(word, positions); });
}

char* TeraWord::subset_mark(const char* entry, int options, AceAttach* at) const {
  return mark_text(mapConfig, tokenWord, entry, options, at,
                   [=](const auto& word, const auto& positions, const EntryText&) {
                     return subset_flags(word, positions, options);
                   });
}

char* TeraWord::subword_mark(const char* entry, int options, AceAttach* at) const {
  const int factor = (options & (Options::NO_GLOB | Options::TRANSPOSE)) | Options::FREE_ENTRY;
  return mark_text(mapConfig, tokenWord, entry, factor, at,
                   [&](const auto&, const auto&, const EntryText& text) {
                     const TeraAlignment alignment(tokenWord, text.get_tokens(), factor);
                     const MatchedPart part(alignment);
                     return range_flags(alignment.numPositions, part.insertPrefix,
                                        alignment.numPositions - part.insertSuffix);
                   });
}

char* TeraWord::scan_mark(const char* entry, int options, AceAttach* at) const {
  return mark_text(mapConfig, tokenWord, entry, options, at,
                   [=](const auto& word, const auto& positions, const EntryText&) {
                     return scan_flags(word, positions, options);
                   });
}

int TeraWord::convert_and_word_bounds(const char* entry, int options, Token** tokens, Token** bounds,
                                      AceAttach* at) const {
  if (entry == nullptr || tokens == nullptr || bounds == nullptr || at == nullptr || length() < 0) return -1;
  TeraTextSource source(mapConfig, entry, no_glob_of(options));
  const int length = mapConfig->tok_len(entry, no_glob_of(options));
  at->malloc(*tokens, VInt{length} + 1);
  at->malloc(*bounds, VInt{length} + 1);
  bool begins = true;
  for (int i = 0; i < length; ++i) {
    const Token tok = (*tokens)[i] = source.token();
    begins |= source.begins_word();
    (*bounds)[i] = begins ? 1 : 0;
    begins = tokenWord.hasOperators && tok == TOKEN_WORD_SEP;
  }
  (*tokens)[length] = 0;
  (*bounds)[length] = 1;
  return length;
}
