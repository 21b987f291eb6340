#include "tera/tera_any_to_latin_transform.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "tera/tera_charset.h"
#include "tera/tera_unicode_tables.h"
#include "tera/tera_utf.h"

namespace {

constexpr const char* NAME = "ANY_TO_LATIN";
constexpr const char* DEFAULT_CHARSET = "ascii";

struct Block {
  int first;
  int last;
  AnyToLatinTransform::UniType type;
};

/// Blocks of the Unicode standard that hold the letters of a script.
constexpr Block BLOCKS[] = {
    {0x0000, 0x007F, AnyToLatinTransform::ASCII},    {0x0370, 0x03FF, AnyToLatinTransform::GREEK},
    {0x0400, 0x052F, AnyToLatinTransform::CYRILLIC}, {0x0590, 0x05FF, AnyToLatinTransform::HEBREW},
    {0x0600, 0x06FF, AnyToLatinTransform::ARABIC},   {0x0750, 0x077F, AnyToLatinTransform::ARABIC},
    {0x08A0, 0x08FF, AnyToLatinTransform::ARABIC},   {0x1C80, 0x1C8F, AnyToLatinTransform::CYRILLIC},
    {0x1F00, 0x1FFF, AnyToLatinTransform::GREEK},    {0x2DE0, 0x2DFF, AnyToLatinTransform::CYRILLIC},
    {0xA640, 0xA69F, AnyToLatinTransform::CYRILLIC}, {0xFB1D, 0xFB4F, AnyToLatinTransform::HEBREW},
    {0xFB50, 0xFDFF, AnyToLatinTransform::ARABIC},   {0xFE70, 0xFEFF, AnyToLatinTransform::ARABIC},
};

/// A transliteration table, expanded: from a letter to its Latin code points.
using Letters = std::unordered_map<int, std::vector<int>>;

Letters expand_table(const int (*table)[3]) {
  const int length = tera_table_len(table);
  Letters letters;
  for (int row = 0; row < length; ++row) {
    std::array<int, TERA_MAX_EXPANSION> parts{};
    if (table[row][0] <= 0) continue;  // continues the row before
    const int count = tera_expand_map(table, row, parts.data(), length);
    if (count >= 0) letters.emplace(table[row][0], std::vector<int>(parts.begin(), parts.begin() + count));
  }
  return letters;
}

const Letters& letters_of(AnyToLatinTransform::UniType type) {
  static const std::array<Letters, 4> tables = {
      expand_table(tera_translit_cyrillic_to_latin), expand_table(tera_translit_greek_to_latin),
      expand_table(tera_translit_arabic_to_latin), expand_table(tera_translit_hebrew_to_latin)};
  return tables[static_cast<std::size_t>(type - AnyToLatinTransform::CYRILLIC)];
}

const AnyToLatinTransform prototype(DEFAULT_CHARSET);
const TeraTransform::Factory registration(&prototype, 0);

}  // namespace

AnyToLatinTransform::AnyToLatinTransform(const char* charset) {
  set_charset(charset);
}

void AnyToLatinTransform::set_charset(const char* charset) {
  charEnc = charset != nullptr ? charset : DEFAULT_CHARSET;
  charMap = tera_get_charset_map(charEnc.c_str());
  readsUtf = charMap == nullptr || charEnc == DEFAULT_CHARSET;
}

AnyToLatinTransform::UniType AnyToLatinTransform::get_type(int uni) {
  for (const Block& block : BLOCKS)
    if (uni >= block.first && uni <= block.last) return block.type;
  return UNKNOWN;
}

/// Appends a code point if the character set has it.
bool AnyToLatinTransform::append_known(int uni, std::string* out) const {
  if (uni <= 0) return false;  // a byte without meaning in its code page
  if (charMap == nullptr) {
    std::array<char, TeraUtf::MAX_SIZE> utf{};
    const int size = TeraUtf::from_uni(uni, utf.data());
    out->append(utf.data(), static_cast<std::size_t>(size));
    return true;
  }
  const int numBytes = readsUtf ? 128 : 256;  // "ascii" maps the upper half to itself
  const int* found = std::find(charMap + 1, charMap + numBytes, uni);
  if (found == charMap + numBytes) return false;
  out->push_back(static_cast<char>(found - charMap));
  return true;
}

void AnyToLatinTransform::append(int uni, std::string* out) const {
  if (append_known(uni, out)) return;
  if (const int base = tera_uni_deaccentuate(uni); base != 0) append_known(base, out);
}

char* AnyToLatinTransform::code(const char* text, AceAttach* at) const {
  if (text == nullptr) return nullptr;
  std::string latin;
  while (*text != '\0') {
    int uni = 0;
    int size = 1;
    if (!readsUtf) {
      uni = charMap[static_cast<unsigned char>(*text)];
    } else if (size = TeraUtf::decode(&uni, text); size == 0) {
      break;  // as in character maps, an invalid sequence ends the text
    }
    text += size;
    const UniType type = get_type(uni);
    if (type < CYRILLIC) {
      append(uni, &latin);
      continue;
    }
    const Letters& letters = letters_of(type);
    if (const auto row = letters.find(uni); row != letters.end())
      for (const int part : row->second) append(part, &latin);
    else
      append(uni, &latin);
  }
  return at->attach(latin.c_str(), static_cast<VInt>(latin.size()));
}

VInt AnyToLatinTransform::read(AceFile* file) {
  AceAttach at;
  const char* charset = file->get_string(&at);
  if (charset == nullptr) return -1;
  set_charset(charset);
  return 0;
}

VInt AnyToLatinTransform::save(AceFile* file) const {
  file->put_string(charEnc.c_str());
  return 0;
}

int AnyToLatinTransform::magic() const {
  return magic_number("A2LX");
}

TeraTransform* AnyToLatinTransform::make(const char* name, const char* encoding) const {
  return name == nullptr || std::strcmp(name, NAME) == 0 ? new AnyToLatinTransform(encoding) : nullptr;
}

TeraTransform* AnyToLatinTransform::copy() const {
  return new AnyToLatinTransform(charEnc.c_str());
}
