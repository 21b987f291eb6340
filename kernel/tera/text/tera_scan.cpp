#include "tera/tera_scan.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "tera/tera_utf.h"

namespace {

constexpr int TOKEN_BITS = 8;
constexpr Sequence TOKEN_MASK = 0xFF;
constexpr int ENTRY_OPERATOR = 8;   // where an operator entry has its token,
constexpr int ENTRY_ORDINARY = 16;  // and where its `Sequence`
constexpr int LAST_PENDING = TOKEN_BITS * (MAX_SEQUENCE - 1);

constexpr int LOCAL_TOKENS = 1000;  // longer texts are scanned twice
constexpr int TOKEN_TAIL = 3;       // zeros behind a token string, see `TeraMap::cut_token`

unsigned char byte_at(const char* text) {
  return static_cast<unsigned char>(*text);
}

bool is_two_bytes(unsigned char lead) {
  return (lead & 0xE0) == 0xC0;
}

int two_byte_code(const char* text) {
  return (text[0] & 0x1F) << 6 | (text[1] & 0x3F);
}

}  // namespace

TeraScan::TeraScan(const TeraMap* map, const char* string, bool no_glob)
    : teraMap(map), scanString(string != nullptr ? string : ""), curInput(scanString), noGlob(no_glob) {
  if (map == nullptr) throw AceException("no map specified!");
}

Token TeraScan::next_token(int check_alt) {
  while (curSequence == 0) {
    const Sequence entry = teraMap->tokenMap[byte_at(curInput)];
    if ((entry & TOKEN_MASK) != 0) {
      ++curInput;
      curSequence = entry;
    } else if (entry == TeraMap::LEAD_BYTE) {
      if (!read_unicode()) return 0;
    } else if (entry != 0) {
      ++curInput;
      if (const Token tok = read_operator(entry); tok != 0) return tok;
    } else if (*curInput == 0) {
      return 0;
    } else {
      ++curInput;
    }
    if (check_alt != 0 && inAlt && curSequence > TOKEN_MASK)
      AceReporter::use_default()->ev_wprintf("Character from local alternative expands to multiple tokens\n");
  }
  const auto tok = static_cast<Token>(curSequence);
  curSequence >>= TOKEN_BITS;
  return tok;
}

/// The operator that the entry stands for here; or 0, and its ordinary tokens are pending.
Token TeraScan::read_operator(Sequence entry) {
  const auto tok = static_cast<Token>(entry >> ENTRY_OPERATOR);
  const bool isAltMark = tok == TOKEN_ALT_START || tok == TOKEN_ALT_STOP;
  if (!noGlob && (!isAltMark || inAlt == (tok == TOKEN_ALT_STOP))) {
    if (isAltMark) inAlt = !inAlt;
    return tok;
  }
  curSequence = entry >> ENTRY_ORDINARY;
  return 0;
}

/// Reads one character into the pending tokens; false for an invalid one.
bool TeraScan::read_unicode() {
  int uni = 0;
  const int size = TeraUtf::decode(&uni, curInput);
  curInput += size;
  if (size > 0) {
    curSequence = teraMap->find_unicode(uni);
    return true;
  }
  if (!isBroken) {
    isBroken = true;
    try {
      TeraUtf::to_uni(&uni, curInput);
    } catch (const AceException& invalid) {
      invalid.print(AceReporter::use_default());
    }
  }
  return false;
}

int TeraScan::unget(int tok) {
  if (tok <= 0 || tok > static_cast<int>(TOKEN_MASK) || curSequence >> LAST_PENDING != 0) return -1;
  curSequence = curSequence << TOKEN_BITS | static_cast<Sequence>(tok);
  return 0;
}

int TeraScan::rewind() {
  curInput = scanString;
  curSequence = 0;
  inAlt = isBroken = false;
  return 0;
}

// ---------------------------------------------------------------- the rest of the text

/// Writes tokens, `step` bytes apart, until there is no more text or room; returns their number.
long TeraScan::fill(Token* out, long room, long step) {
  const Sequence* const entries = teraMap->tokenMap;
  const Sequence* const twoBytes = teraMap->twoByteMap;
  const auto put = [&out, step](Sequence tok) {
    *out = static_cast<Token>(tok);
    out += step;
  };
  long num = 0;
  while (num < room) {
    // Characters of at most one token need no state but the position.
    if (curSequence == 0) {
      const char* in = curInput;
      for (int size = 1; num < room; in += size) {
        const unsigned char byte = byte_at(in);
        Sequence seq = entries[byte];
        size = 1;
        if (seq - 1 >= TOKEN_MASK) [[unlikely]] {
          if (seq == TeraMap::LEAD_BYTE && is_two_bytes(byte) && TeraUtf::is_continue(in[1]) != 0) {
            seq = twoBytes[two_byte_code(in)];
            size = 2;
          }
          if (byte == 0 || seq > TOKEN_MASK) break;
          if (seq == 0) continue;
        }
        put(seq);
        ++num;
      }
      curInput = in;
      if (num == room) break;
    }
    const Token tok = get_next_token();
    if (tok == 0) break;
    put(tok);
    ++num;
  }
  return num;
}

int TeraScan::spread(Token* out, int step, int max_tokens) {
  const long num = fill(out, max_tokens, step);
  return num == max_tokens && get_next_token() != 0 ? -1 : static_cast<int>(num);
}

int TeraScan::convert(Token* out, int max_tokens) {
  if (max_tokens < 1) return 0;
  const long num = fill(out, max_tokens - 1, 1);
  out[num] = 0;
  return static_cast<int>(num);
}

Token* TeraScan::convert(AceAttach* at) {
  Token local[LOCAL_TOKENS];
  const long numLocal = fill(local, LOCAL_TOKENS, 1);
  TeraScan rest(*this);
  long num = numLocal;
  if (numLocal == LOCAL_TOKENS)
    while (get_next_token() != 0) ++num;
  Token* tokens = nullptr;
  at->malloc(tokens, num + TOKEN_TAIL);
  std::copy_n(local, numLocal, tokens);
  rest.fill(tokens + numLocal, num - numLocal, 1);
  std::fill_n(tokens + num, TOKEN_TAIL, Token{0});
  return tokens;
}

int TeraScan::convert_off(Token* out, int* offsets) {
  int num = 0;
  while (const Token tok = get_next_token()) {
    out[num] = tok;
    offsets[num++] = get_current_off();
  }
  out[num] = 0;
  return num;
}

int TeraScan::tok_len() {
  int num = 0;
  while (get_next_token() != 0) ++num;
  rewind();
  return num;
}

int TeraScan::alt_len() {
  int tokens = 0;
  return alt_len(&tokens);
}

int TeraScan::alt_len(int* toklen) {
  constexpr int OUTSIDE = -1;
  int positions = 0;
  int members = OUTSIDE;  // of the alternative that is open
  bool isFaulty = false;
  while (const Token tok = get_next_token()) {
    ++*toklen;
    if (noGlob || !teraMap->is_operator(tok) || tok == TOKEN_WILDCARD) {
      ++(members == OUTSIDE ? positions : members);
    } else if (tok == TOKEN_ALT_START && members == OUTSIDE) {
      members = 0;
    } else if (tok == TOKEN_ALT_STOP && members != OUTSIDE) {
      isFaulty |= members == 0;
      members = OUTSIDE;
      ++positions;
    }
  }
  rewind();
  return isFaulty || members != OUTSIDE ? -1 : positions;
}

// ---------------------------------------------------------------- positions

int TeraScan::check_skipped(char target, const char* pos) const {
  if (pos == nullptr || pos >= curInput) return 0;
  return std::memchr(pos, target, static_cast<std::size_t>(curInput - pos)) != nullptr ? 1 : 0;
}

const char* TeraScan::skip_no_token() {
  while (*curInput != 0) {
    const Sequence entry = teraMap->tokenMap[byte_at(curInput)];
    int size = 1;
    if (entry == TeraMap::LEAD_BYTE) {
      int uni = 0;
      size = TeraUtf::decode(&uni, curInput);
      if (size == 0 || teraMap->find_unicode(uni) != 0) break;
    } else if (entry != 0 && (!noGlob || (entry & TOKEN_MASK) != 0 || entry >> ENTRY_ORDINARY != 0)) {
      break;
    }
    curInput += size;
  }
  return curInput;
}
