#include "tera/tera_translit_transform.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "tera/tera_convert_map.h"
#include "tera/tera_utf.h"
#include "tera/transform/tera_translit_internal.h"

namespace {

constexpr int HANGUL_FIRST = 0xAC00;
constexpr int HANGUL_COUNT = 11172;
constexpr int NUM_VOWELS = 21;
constexpr int NUM_TAILS = 28;

/// In the order of the enum.
constexpr const char* NAMES[] = {"TRANSLIT", "CANTONESE", "MANDARIN", "KOREAN", "JAPANESE", "HINDI"};
static_assert(std::size(NAMES) == TranslitTransform::NUM_LANGUAGES);

bool is_language(int value) {
  return value >= 0 && value < TranslitTransform::NUM_LANGUAGES;
}

/// Length of the UTF-8 character at the start of `text`, its code point in `*uni`; 0 at the end of the text
/// and for an invalid sequence.
int next_character(const char* text, int* uni) {
  return *text != '\0' ? TeraUtf::decode(uni, text) : 0;
}

const char* mandarin_sound(int uni) {
  const auto rows = tera_pinyin_map();
  const auto row = std::ranges::lower_bound(rows, uni, {}, &ConvertMap::uni);
  return row != rows.end() && row->uni == uni ? row->sound : nullptr;
}

const char* cantonese_sound(int uni) {
  const std::span rows(tera_cantonese_rows, static_cast<std::size_t>(tera_num_cantonese));
  const auto first = static_cast<Large>(uni) << tera_cantonese_syllable_bits;
  const auto row = std::ranges::lower_bound(rows, first);
  if (row == rows.end() || *row >> tera_cantonese_syllable_bits != static_cast<Large>(uni)) return nullptr;
  return tera_cantonese_syllables[*row - first];
}

void append_hangul(int syllable, std::string* out) {
  *out += tera_translit_jamo_lead[syllable / (NUM_VOWELS * NUM_TAILS)];
  *out += tera_translit_jamo_vowel[syllable / NUM_TAILS % NUM_VOWELS];
  *out += tera_translit_jamo_tail[syllable % NUM_TAILS];
}

/// Whether the text starts with one of the characters of a set.
bool starts_with_one_of(const char* text, const char* set) {
  int wanted = 0;
  if (next_character(text, &wanted) == 0) return false;
  int member = 0;
  while (const int size = next_character(set, &member)) {
    if (member == wanted) return true;
    set += size;
  }
  return false;
}

const TranslitTransform prototype(TranslitTransform::TRANSLIT);
const TeraTransform::Factory registration(&prototype, 0);

}  // namespace

TranslitTransform::TranslitTransform(int language) : languageType(language) {
  if (!is_language(language)) throw AceException("No such transliteration", "%d", language);
}

TranslitTransform::RuleSet TranslitTransform::choose_rule_set(int language) {
  if (language == JAPANESE)
    return {tera_translit_japanese_heads, tera_translit_japanese_num_heads, tera_translit_japanese_rules};
  return {tera_translit_hindi_heads, tera_translit_hindi_num_heads, tera_translit_hindi_rules};
}

const TranslitHead* TranslitTransform::locate(const RuleSet& set, int uni) {
  const std::span heads(set.heads, static_cast<std::size_t>(set.numHeads));
  const auto head = std::ranges::lower_bound(heads, uni, {}, &TranslitHead::uni);
  return head != heads.end() && head->uni == uni ? &*head : nullptr;
}

/// Appends what becomes of a character. Returns how many bytes behind it were used up; -1 when it has no
/// rule.
int TranslitTransform::apply(int uni, const char* behind, std::string* out) const {
  if (uni >= HANGUL_FIRST && uni < HANGUL_FIRST + HANGUL_COUNT && covers(KOREAN)) {
    append_hangul(uni - HANGUL_FIRST, out);
    return 0;
  }
  const char* sound = languageType == CANTONESE ? cantonese_sound(uni)
                      : covers(MANDARIN)        ? mandarin_sound(uni)
                                                : nullptr;
  if (sound != nullptr) {
    *out += sound;
    return 0;
  }
  for (const int language : {JAPANESE, HINDI}) {
    if (!covers(language)) continue;
    const RuleSet set = choose_rule_set(language);
    const TranslitHead* head = locate(set, uni);
    if (head == nullptr) continue;
    for (const TranslitRule& rule :
         std::span(set.rules + head->firstRule, static_cast<std::size_t>(head->numRules))) {
      const std::size_t length = std::strlen(rule.rest);
      if (std::strncmp(behind, rule.rest, length) != 0) continue;
      if (rule.type == LOOKAHEAD && !starts_with_one_of(behind + length, rule.lookahead)) continue;
      *out += rule.target;
      return static_cast<int>(length);
    }
  }
  return -1;
}

char* TranslitTransform::code(const char* text, AceAttach* at) const {
  if (text == nullptr) return nullptr;
  std::string latin;
  int uni = 0;
  while (const int size = next_character(text, &uni)) {
    const int used = apply(uni, text + size, &latin);
    if (used < 0) latin.append(text, static_cast<std::size_t>(size));
    text += size + std::max(used, 0);
  }
  return at->attach(latin.c_str(), static_cast<VInt>(latin.size()));
}

VInt TranslitTransform::read(AceFile* file) {
  const int value = file->get_int();
  if (!is_language(value)) return -1;
  languageType = value;
  return 0;
}

VInt TranslitTransform::save(AceFile* file) const {
  file->put_int(languageType);
  return 0;
}

int TranslitTransform::magic() const {
  return magic_number("TRLIT");
}

TeraTransform* TranslitTransform::make(const char* name, const char*) const {
  if (name == nullptr) return new TranslitTransform(TRANSLIT);
  for (int language = 0; language < NUM_LANGUAGES; ++language)
    if (std::strcmp(name, NAMES[language]) == 0) return new TranslitTransform(language);
  return nullptr;
}

TeraTransform* TranslitTransform::copy() const {
  return new TranslitTransform(languageType);
}
