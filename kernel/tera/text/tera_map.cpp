#include "tera/tera_map.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "ace/ace_string.h"
#include "tera/tera_map_config.h"
#include "tera/tera_utf.h"

namespace {

constexpr int NUM_BYTES = 256;
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int FIRST_MULTI_BYTE = 0x80;
constexpr char NO_CHAR = '\xFF';

constexpr int TOKEN_BITS = 8;
constexpr Sequence TOKEN_MASK = 0xFF;

/// Whether the tokens of a sequence are below `num_token`, and none is behind a zero.
bool is_sequence(Sequence seq, int num_token) {
  for (; seq != 0; seq >>= TOKEN_BITS) {
    const auto tok = static_cast<int>(seq & TOKEN_MASK);
    if (tok == 0 || tok >= num_token) return false;
  }
  return true;
}

bool is_operator_entry(Sequence entry, int num_token) {
  const auto tok = static_cast<int>(entry >> TOKEN_BITS & TOKEN_MASK);
  return (entry & TOKEN_MASK) == 0 && tok >= TOKEN_WILDCARD && num_token <= MAX_TOKEN_NUMBERS &&
         is_sequence(entry >> (2 * TOKEN_BITS), num_token);
}

}  // namespace

TeraMap::TeraMap(bool no_space) : numToken(NUM_BYTES) {
  for (int byte = 0; byte < NUM_BYTES; ++byte) {
    tokenMap[byte] = static_cast<Sequence>(byte);
    indexMap[byte] = byte;
  }
  if (no_space) tokenMap[static_cast<unsigned char>(' ')] = 0;
}

TeraMap::TeraMap(const TeraMapConfig* config) {
  if (config != nullptr) config->compile_map(this);
}

TeraMap::TeraMap(const TeraMap* other) {
  if (other != nullptr) copy(other);
}

TeraMap::~TeraMap() = default;

// Both live until the process ends: other objects may use them while they are destroyed.

const TeraMap* TeraMap::get_ident_map() {
  static const TeraMap* const map = new TeraMap(false);
  return map;
}

const TeraMap* TeraMap::get_nospace_map() {
  static const TeraMap* const map = new TeraMap(true);
  return map;
}

int TeraMap::copy(const TeraMap* other) {
  if (other == this) return 0;
  clean();
  if (other == nullptr) return -1;
  numToken = other->numToken;
  std::ranges::copy(other->tokenMap, tokenMap);
  std::ranges::copy(other->indexMap, indexMap);
  blockIndex.copy(&other->blockIndex);
  if (has_uni() != 0) {
    Sequence* sequences = nullptr;
    std::copy_n(other->unicodeMap, blockIndex.size(), memAt.malloc(sequences, blockIndex.size()));
    unicodeMap = sequences;
  }
  index_two_bytes();
  return 0;
}

int TeraMap::clean() {
  numToken = isMapped = 0;
  std::ranges::fill(tokenMap, 0U);
  std::ranges::fill(indexMap, 0);
  blockIndex.clean();
  unicodeMap = twoByteMap = nullptr;
  memAt.release();
  return 0;
}

/// Spreads the characters of two bytes, the accented letters of most languages, into a direct index.
void TeraMap::index_two_bytes() {
  if (has_uni() == 0) return;
  Sequence* sequences = nullptr;
  memAt.malloc(sequences, NUM_TWO_BYTES);
  for (int uni = 0; uni < NUM_TWO_BYTES; ++uni) sequences[uni] = find_in_index(uni);
  twoByteMap = sequences;
}

// ---------------------------------------------------------------- persistence

VInt TeraMap::save(AceFile* file) {
  return static_cast<const TeraMap*>(this)->save(file);
}

VInt TeraMap::save(AceFile* file) const {
  file->mem_open("Character Mapping");
  file->put_int(numToken);
  file->mem_point("Token Map");
  file->write(sizeof tokenMap, tokenMap, ARRAY_ALIGNMENT);
  file->mem_point("List of Tokens");
  file->write(sizeof indexMap, indexMap, ARRAY_ALIGNMENT);
  file->mem_point("Unicode mappings");
  ACE_CALL(blockIndex.save(file));
  if (has_uni() != 0)
    file->write(VInt{blockIndex.size()} * VInt{sizeof(Sequence)}, unicodeMap, ARRAY_ALIGNMENT);
  file->mem_close();
  return 0;
}

VInt TeraMap::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_checked(file) ? 0 : -1; });
}

bool TeraMap::read_checked(AceFile* file) {
  const Huge start = file->get_pos();
  numToken = file->get_int();
  if (file->copy(sizeof tokenMap, tokenMap, ARRAY_ALIGNMENT) < 0 ||
      file->copy(sizeof indexMap, indexMap, ARRAY_ALIGNMENT) < 0 || blockIndex.read(file) < 0) {
    AceReporter::use_default()->printf("Character map at offset %ld is cut off or has no code-point index\n",
                                       start);
    return false;
  }
  if (has_uni() != 0) unicodeMap = file->read_array<Sequence>(blockIndex.size(), &memAt, ARRAY_ALIGNMENT);
  isMapped = file->is_mapped() ? 1 : 0;
  const char* fault =
      has_uni() != 0 && unicodeMap == nullptr ? "the Unicode mappings are cut off" : find_fault();
  if (fault != nullptr) {
    AceReporter::use_default()->printf("Character map at offset %ld cannot be used: %s (%d tokens)\n", start,
                                       fault, numToken);
    return false;
  }
  index_two_bytes();
  return true;
}

/// What scans and conversions could not rely on; null when there is nothing.
const char* TeraMap::find_fault() const {
  if (numToken < 0 || numToken > NUM_BYTES) return "expected 0 to 256 tokens";
  if (tokenMap[0] != 0) return "the end of the text has a mapping";
  for (int byte = 1; byte < NUM_BYTES; ++byte) {
    const Sequence entry = tokenMap[byte];
    const bool isLead = entry == LEAD_BYTE && byte >= FIRST_MULTI_BYTE && has_uni() != 0;
    if (!isLead && !is_sequence(entry, numToken) && !is_operator_entry(entry, numToken))
      return "a byte is mapped to what is no token";
  }
  const int maxChar = has_uni() != 0 ? TeraUtf::MAX_UNI : NUM_BYTES - 1;
  if (std::ranges::any_of(indexMap, [maxChar](int c) { return c < 0 || c > maxChar; }))
    return "a token stands for what is no character";
  if (blockIndex.verify(AceReporter::null()) < 0) return "the index of code points is broken";
  if (blockIndex.max_key() > Large{TeraUtf::MAX_UNI}) return "a code point is too large";
  for (Large pos = 0; pos < blockIndex.size(); ++pos)
    if (!is_sequence(unicodeMap[pos], numToken)) return "a code point is mapped to what is no token";
  return nullptr;
}

int TeraMap::print(AceReporter* rep) const {
  const auto text_of = [this](int c) {
    char utf[TeraUtf::MAX_SIZE];
    return std::string(utf, static_cast<std::size_t>(put_char(c, utf)));
  };
  const auto target_of = [&](Sequence seq) {
    std::string target;
    for (; seq != 0; seq >>= TOKEN_BITS) target += text_of(indexMap[seq & TOKEN_MASK]);
    return target;
  };
  AceString out;
  out.print("NUM_TOKEN\t%d\n", numToken);
  if (numToken > 1) {
    out.append("TOKENS\t{");
    for (int tok = 1; tok < numToken; ++tok)
      if (indexMap[tok] != 0) out.append(text_of(indexMap[tok]).c_str());
    out.append("}\n");
  }
  for (int byte = 1; byte < NUM_BYTES; ++byte) {
    Sequence seq = tokenMap[byte];
    if (is_operator_entry(seq, numToken)) seq >>= TOKEN_BITS;
    if (seq == 0 || seq == LEAD_BYTE || (seq <= TOKEN_MASK && indexMap[seq] == byte)) continue;
    if (byte >= FIRST_MULTI_BYTE && has_uni() != 0)
      out.print("MAPPING\t'%s' to '%s'\n", text_of(byte).c_str(), target_of(seq).c_str());
    else
      out.print("MAPPING\t'%c' to '%s'\n", byte, target_of(seq).c_str());
  }
  for (Large pos = 0; pos < blockIndex.size(); ++pos)
    if (unicodeMap[pos] != 0)
      out.print("MAPPING\t'%s' to '%s'\n", text_of(static_cast<int>(blockIndex.get_orig(pos))).c_str(),
                target_of(unicodeMap[pos]).c_str());
  return rep->print(out.clean());
}

// ---------------------------------------------------------------- characters

Sequence TeraMap::find_in_index(int uni) const {
  const Large pos = blockIndex.get_key(static_cast<Large>(uni));
  return pos != BlockIndex::NONE ? unicodeMap[pos] : 0;
}

Sequence TeraMap::map_unicode(int uni) const {
  return has_uni() != 0 && uni >= 0 && uni <= TeraUtf::MAX_UNI ? find_unicode(uni) : 0;
}

Sequence TeraMap::map_any_char(int c) const {
  const int numBytes = has_uni() != 0 ? FIRST_MULTI_BYTE : NUM_BYTES;
  return c >= 0 && c < numBytes ? tokenMap[c] : map_unicode(c);
}

Sequence TeraMap::get_uni_mapping(int uni) const {
  if (uni < 0 || uni > TeraUtf::MAX_UNI) return 0;
  const Sequence entry = tokenMap[TeraUtf::get_first(uni)];
  return entry == LEAD_BYTE ? map_unicode(uni) : entry;
}

char TeraMap::get_unmapped() const {
  for (char c = ' '; c <= '~'; ++c)
    if (c != '|' && tokenMap[static_cast<unsigned char>(c)] == 0) return c;
  return NO_CHAR;
}

int TeraMap::token2utf(Token tok, char* utf) const {
  return put_char(indexMap[tok], utf);
}

/// Writes a character as this map reads it; nothing for 0.
int TeraMap::put_char(int c, char* out) const {
  if (c == 0) return 0;
  if (has_uni() != 0) return TeraUtf::from_uni(c, out);
  *out = static_cast<char>(c);
  return 1;
}
