#include "tera/tera_splitter.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/tera_scan.h"
#include "tera/tera_utf.h"

namespace {

constexpr int NUM_ASCII = 128;
constexpr char FIRST_SPACE = 9;
constexpr char LAST_SPACE = 13;

bool is_ascii(char c) {
  return static_cast<unsigned char>(c) < NUM_ASCII;
}

/// Operators that match no single position.
bool has_no_position(Token tok) {
  return tok == TOKEN_WORD_SEP || tok == TOKEN_ALT_SEG || tok == TOKEN_WILDSEQ;
}

__attribute__((format(printf, 2, 3))) void append(std::string* text, const char* format, ...) {
  va_list args;
  va_list again;
  va_start(args, format);
  va_copy(again, args);
  const int size = std::vsnprintf(nullptr, 0, format, args);
  std::vector<char> part(static_cast<std::size_t>(std::max(size, 0)) + 1);
  std::vsnprintf(part.data(), part.size(), format, again);
  va_end(again);
  va_end(args);
  *text += part.data();
}

}  // namespace

// ---------------------------------------------------------------- reading
// Positions are what measures count: an alternative is one, an operator that stands for no token none.

TeraSplitResult::TeraSplitResult(const char* text) {
  const char* const given = text != nullptr ? text : "";
  const VInt length = static_cast<VInt>(std::strlen(given));
  litStr = attach(given, length);
  litLen = static_cast<int>(std::min(length, VInt{std::numeric_limits<int>::max()}));
}

TeraSplitResult::TeraSplitResult(const char* text, int options, const TeraMap* map, const char* separators,
                                 const char* completions)
    : TeraSplitResult(text) {
  TeraSplitter(separators, completions, map, options).convert(this, nullptr);
}

int TeraSplitResult::init(TeraScan* scan) {
  return scan != nullptr && litStr != nullptr ? read(scan, nullptr) : -1;
}

int TeraSplitResult::read(TeraScan* scan, Token* work) {
  struct Position {
    int token, from, to;
  };
  forget();
  std::vector<Token> tokens;
  std::vector<Position> positions;
  bool isOpen = false;  // inside an alternative
  while (const Token tok = scan->get_next_token()) {
    const int end = std::min(scan->get_current_off(), litLen);
    const bool isOperator = hasOperators && tok >= TOKEN_WILDCARD;
    if (isOpen) {
      isOpen = !(isOperator && tok == TOKEN_ALT_STOP);
      positions.back().to = end;
    } else if (!isOperator || !has_no_position(tok)) {
      int from = std::max(end - 1, 0);
      while (is_unicode() && from > 0 && TeraUtf::is_continue(litStr[from]) != 0) --from;
      positions.push_back({static_cast<int>(tokens.size()), from, end});
      isOpen = isOperator && tok == TOKEN_ALT_START;
    }
    tokens.push_back(tok);
    if (positions.size() > static_cast<std::size_t>(MAX_LENGTH)) break;
  }
  if (isOpen) return -1;
  if (litLen > MAX_LENGTH || positions.size() > static_cast<std::size_t>(MAX_LENGTH)) {
    AceReporter::use_default()->printf(
        "A text of %d bytes is too long to be split into words: at most %d bytes and %d positions\n", litLen,
        MAX_LENGTH, MAX_LENGTH);
    return -1;
  }
  tokLen = static_cast<int>(tokens.size());
  tokStr = work != nullptr ? work : malloc(tokStr, tokLen + 1);
  *std::copy(tokens.begin(), tokens.end(), tokStr) = 0;
  make_arrays(static_cast<int>(positions.size()));
  for (std::size_t i = 0; i < positions.size(); ++i) {
    tokPos[i] = tokStr + positions[i].token;
    charFrom[i] = static_cast<short>(positions[i].from);
    charTo[i] = static_cast<short>(positions[i].to);
  }
  return logLen;
}

/// The arrays per position, in which the end is filled.
void TeraSplitResult::make_arrays(int positions) {
  logLen = positions;
  const long size = positions + 1L;
  malloc(tokPos, size);
  std::fill_n(malloc(tokMark, size), size, Token{0});
  std::fill_n(malloc(nodeNum, size), size, NO_NODE);
  malloc(charFrom, size);
  malloc(charTo, size);
  tokPos[logLen] = tokStr + tokLen;
  charFrom[logLen] = charTo[logLen] = static_cast<short>(litLen);
}

/// Only the text stays.
void TeraSplitResult::forget() {
  tokLen = logLen = numNodes = 0;
  genMark = 0;
  tokStr = tokMark = nullptr;
  tokPos = nullptr;
  nodeNum = charFrom = charTo = nullptr;
  nodePos = nullptr;
}

// ---------------------------------------------------------------- nodes
// A node stands at a boundary: it knows where the word before it ends and where the next one starts.

int TeraSplitResult::generate_nodes(const short* lit_out, const short* lit_in) {
  if (tokMark == nullptr || lit_out == nullptr || lit_in == nullptr) return -1;
  tokMark[logLen] |= BOUNDARY;
  collect_marks();
  const auto isBoundary = [](Token mark) { return (mark & BOUNDARY) != 0; };
  numNodes = static_cast<int>(std::count_if(tokMark, tokMark + logLen + 1, isBoundary));
  malloc(nodePos, numNodes);
  int node = 0;
  int wordEnd = 0;
  for (int pos = 0; pos <= logLen; ++pos) {
    if (isBoundary(tokMark[pos]))
      nodePos[node++] = {static_cast<short>(wordEnd), static_cast<short>(pos), lit_out[pos], lit_in[pos]};
    if ((tokMark[pos] & SEPARATOR) == 0) wordEnd = pos + 1;
    nodeNum[pos] = static_cast<short>(node);
  }
  nodeNum[logLen] = static_cast<short>(numNodes - 1);
  return numNodes;
}

void TeraSplitResult::collect_marks() {
  genMark = 0;
  for (int pos = 0; pos <= logLen; ++pos) genMark |= tokMark[pos];
}

void TeraSplitResult::clear_node(const NodePos& node) {
  std::fill(tokMark + node.tokOut, tokMark + node.tokIn + 1, Token{0});
}

int TeraSplitResult::remove_inner_nodes() {
  if (numNodes < 2) return 0;
  std::for_each(nodePos + 1, nodePos + numNodes - 1, [this](const NodePos& node) { clear_node(node); });
  collect_marks();
  nodePos[1] = nodePos[numNodes - 1];
  const int removed = numNodes - 2;
  numNodes = 2;
  std::fill_n(nodeNum, logLen + 1, short{1});
  return removed;
}

int TeraSplitResult::remove_node_data(int node) {
  if (node < 1 || node > numNodes - 2) return -1;
  clear_node(nodePos[node]);
  collect_marks();
  std::copy(nodePos + node + 1, nodePos + numNodes, nodePos + node);
  --numNodes;
  for (int pos = 0; pos <= logLen; ++pos) {
    if (nodeNum[pos] == node)
      nodeNum[pos] = NO_NODE;
    else if (nodeNum[pos] > node)
      --nodeNum[pos];
  }
  return 0;
}

int TeraSplitResult::get_node_num(int pos) const {
  if (numNodes == 0 || pos < 0 || pos > logLen) return NO_NODE;
  while (nodeNum[pos] == NO_NODE) ++pos;  // the end belongs to the last node
  return nodeNum[pos];
}

const char* TeraSplitResult::get_lit_string(int from, int to, AceAttach* at) const {
  if (from < 0 || from >= to || to >= numNodes || at == nullptr) return nullptr;
  const int start = nodePos[from].litIn;
  return at->attach(litStr + start, nodePos[to].litOut - start);
}

int TeraSplitResult::get_words(const char*** words, AceAttach* at) const {
  if (numNodes == 0 || words == nullptr || at == nullptr) return -1;
  at->malloc(*words, numNodes);
  for (int node = 0; node + 1 < numNodes; ++node) (*words)[node] = get_lit_string(node, node + 1, at);
  return numNodes - 1;
}

// ---------------------------------------------------------------- backwards
// What was position p of n becomes n - p, and where a word ended, one begins.

int TeraSplitResult::init_rev(const TeraSplitResult* other) {
  const AceTimeSection section("INIT_REVERSE");
  if (other == nullptr || other == this || other->numNodes == 0) return -1;
  forget();
  splitMap = other->splitMap;
  hasOperators = other->hasOperators;
  reverse_text(*other);
  reverse_tokens(*other);
  std::vector<short> litOut(static_cast<std::size_t>(logLen) + 1);
  std::vector<short> litIn(litOut.size());
  for (int node = 0; node < other->numNodes; ++node) {
    const NodePos& pos = other->nodePos[node];
    const int start = logLen - pos.tokOut;
    tokMark[start] |= BOUNDARY;
    tokMark[start] |= other->tokMark[pos.tokIn] & COMPLETE;
    litOut[static_cast<std::size_t>(start)] = static_cast<short>(litLen - pos.litIn);
    litIn[static_cast<std::size_t>(start)] = static_cast<short>(litLen - pos.litOut);
  }
  return generate_nodes(litOut.data(), litIn.data());
}

void TeraSplitResult::reverse_text(const TeraSplitResult& other) {
  litLen = other.litLen;
  char* const text = attach(other.litStr, litLen);
  std::reverse(text, text + litLen);
  for (int start = 0; is_unicode() && start < litLen;) {  // the bytes of a character were in order
    int end = start;
    while (end < litLen - 1 && TeraUtf::is_continue(text[end]) != 0) ++end;
    std::reverse(text + start, text + end + 1);
    start = end + 1;
  }
  litStr = text;
}

void TeraSplitResult::reverse_tokens(const TeraSplitResult& other) {
  tokLen = other.tokLen;
  malloc(tokStr, tokLen + 1L);
  tokStr[tokLen] = 0;
  make_arrays(other.logLen);
  const Token* const end = other.tokStr + other.tokLen;
  Token* target = tokStr + tokLen;
  int pos = 0;
  for (const Token* tok = other.tokStr; tok != end;) {
    const bool isPosition = tok == other.tokPos[pos];
    const Token* next = tok + 1;
    if (isPosition && hasOperators && *tok == TOKEN_ALT_START) next = std::find(tok, end, TOKEN_ALT_STOP) + 1;
    target -= next - tok;
    std::copy(tok, next, target);
    tok = next;
    if (!isPosition) continue;
    const int reversed = logLen - 1 - pos;
    tokPos[reversed] = target;
    charFrom[reversed] = static_cast<short>(litLen - other.charTo[pos]);
    charTo[reversed] = static_cast<short>(litLen - other.charFrom[pos]);
    tokMark[reversed] = other.tokMark[pos] & SEPARATOR;
    if ((other.tokMark[pos] & SEPARATOR) != 0) tokMark[reversed] |= other.tokMark[pos] & COMPLETE;
    ++pos;
  }
}

// ---------------------------------------------------------------- output
// A position takes three columns in each array, so that what belongs to it stands below it.

int TeraSplitResult::print(AceReporter* rep) const {
  if (is_null(rep)) return -1;
  if (numNodes == 0) {
    rep->print("Not initialized");
    return 0;
  }
  std::string text;
  append(&text, "literalString '%s' length %d\n", litStr, litLen);
  append(&text, "token string with length %d\n", tokLen);
  for (int i = 0; i < tokLen; ++i) append(&text, " %2x", tokStr[i]);
  append(&text, "\ntoken Position for %d logical positions", logLen);
  for (int pos = 0; pos < logLen; ++pos) append(&text, " %2d", static_cast<int>(tokPos[pos] - tokStr));
  text += "\nmarkers for each logical position";
  for (int pos = 0; pos < logLen; ++pos)
    append(&text, "%c%c%c", (tokMark[pos] & BOUNDARY) != 0 ? '|' : '.',
           (tokMark[pos] & SEPARATOR) != 0 ? 's' : '.', (tokMark[pos] & COMPLETE) != 0 ? 'c' : '.');
  append(&text, "\n%d node indeces for each logical position\n", logLen);
  for (int pos = 0; pos < logLen; ++pos) append(&text, " %2d", nodeNum[pos]);
  append(&text, "\n%d node position for each node start (literal position range)\n", numNodes);
  for (int node = 0; node < numNodes; ++node)
    append(&text, "%2d: %2d (%2d-%2d) \n", node, nodePos[node].tokIn, nodePos[node].litOut,
           nodePos[node].litIn);
  rep->print(text.c_str());
  return 0;
}

// ---------------------------------------------------------------- the splitter
// A word begins at the first position behind what separates, mapped or not; each byte is looked at once.

TeraSplitter::TeraSplitter(const char* separators, const char* completions, const TeraMap* map, int options)
    : convertMap(map != nullptr ? map : TeraMap::get_ident_map()), optionFlags(options) {
  for (int c = FIRST_SPACE; c <= LAST_SPACE; ++c) charMark[c] = SEPARATES;
  if ((options & BLANKS) != 0) charMark[static_cast<unsigned char>(' ')] = SEPARATES;
  add_marks(separators, SEPARATES);
  add_marks(completions, SEPARATES | COMPLETES);
  if ((options & COMPLETE_END) != 0) charMark[0] = COMPLETES;
}

void TeraSplitter::add_marks(const char* bytes, Token marks) {
  if (bytes == nullptr) return;
  for (; *bytes != '\0'; ++bytes)
    if (is_ascii(*bytes) || convertMap->has_uni() == 0) charMark[static_cast<unsigned char>(*bytes)] |= marks;
}

int TeraSplitter::get_next_sep_pos(const char* text) const {
  if (text == nullptr) return 0;
  const char* end = text;
  while (*end != '\0' && !is_space(*end)) ++end;
  return static_cast<int>(end - text);
}

int TeraSplitter::convert(Result* result, Token* work) const {
  if (result == nullptr || result->litStr == nullptr) return -1;
  result->splitMap = convertMap;
  result->hasOperators = (optionFlags & NO_OPERATORS) == 0 && convertMap->is_operator(TOKEN_WILDCARD) &&
                         convertMap->alt_len(result->litStr, false) >= 0;
  TeraScan scanner(convertMap, result->litStr, !result->hasOperators);
  if (const int rc = result->read(&scanner, work); rc < 0)
    return ace_error(__FILE__, __LINE__, "result->init(&scanner)", rc, 0, -1);
  std::vector<short> litOut(static_cast<std::size_t>(result->logLen) + 1);
  std::vector<short> litIn(litOut.size());
  mark_positions(result, litOut.data(), litIn.data());
  return result->generate_nodes(litOut.data(), litIn.data());
}

/// Whether a byte that belongs to no position separates words. Operators do not.
bool TeraSplitter::separates_unmapped(const Result& result, char c) const {
  if ((optionFlags & SPLIT_UNMAPPED) == 0) return false;
  return !result.hasOperators || (!is_ascii(c) && convertMap->has_uni() != 0) ||
         convertMap->map_any_char(static_cast<unsigned char>(c)) == 0;
}

void TeraSplitter::mark_positions(Result* result, short* lit_out, short* lit_in) const {
  bool isBetween = true;  // between words
  int out = 0;            // where the last word ended, and
  int in = 0;             // where the last separator did
  const auto separate = [&](int from, int to) {
    if (!isBetween) out = from;
    isBetween = true;
    in = to;
  };
  int done = 0;
  for (int pos = 0; pos <= result->logLen; ++pos) {
    Token& mark = result->tokMark[pos];
    const int from = result->charFrom[pos];
    const char own = result->litStr[from];
    for (int i = done; i < from; ++i) {
      const char skipped = result->litStr[i];
      if (is_space(skipped) || separates_unmapped(*result, skipped)) separate(i, i + 1);
      if (is_complete(skipped)) mark |= Result::COMPLETE;
    }
    done = result->charTo[pos];
    if (is_complete(own)) mark |= Result::COMPLETE;
    if (pos == result->logLen) {
      mark |= Result::BOUNDARY;
      lit_out[pos] = static_cast<short>(isBetween ? out : from);
      lit_in[pos] = static_cast<short>(from);
    } else if (is_space(own)) {
      mark |= Result::SEPARATOR;
      separate(from, done);
    } else if (isBetween) {
      mark |= Result::BOUNDARY;
      lit_out[pos] = static_cast<short>(out);
      lit_in[pos] = static_cast<short>(in);
      isBetween = false;
    }
  }
}
