// Mappings by tables, from files and option texts, and the ready-made maps.

#include <algorithm>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_input.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"
#include "ace/ace_str_split.h"
#include "tera/tera_convert_map.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_pinyin.h"
#include "tera/tera_unicode_tables.h"
#include "tera/tera_utf.h"
#include "tera/text/tera_expand_internal.h"
#include "tera/text/tera_syllables_internal.h"

namespace {

constexpr int NUM_BYTES = 256;
constexpr int FIRST_NOT_LATIN = 0x370;
constexpr const char* LATIN_TOKENS = "A-Z0-9";

using TripleTable = const int (*)[3];

/// Finds rows of a table of three columns, whatever their order.
class RowFinder {
 public:
  explicit RowFinder(TripleTable table) : tableLen(tera_table_len(table)) {
    for (int i = 0; i < tableLen; ++i)
      if (table[i][0] > 0) rows.emplace_back(table[i][0], i);
    std::ranges::sort(rows);
  }

  int len() const { return tableLen; }
  int find(int uni) const {
    const auto row = std::ranges::lower_bound(rows, std::pair(uni, 0));
    return row != rows.end() && row->first == uni ? row->second : -1;
  }

 private:
  int tableLen;
  std::vector<std::pair<int, int>> rows;  // code point, row
};

std::span<const TeraSound> kana() {
  return {tera_kana, static_cast<std::size_t>(tera_num_kana)};
}

std::span<const TeraSound> letter_names() {
  return {tera_letter_names, static_cast<std::size_t>(tera_num_letter_names)};
}

bool is_east_asian(int uni) {
  constexpr int HANGUL_END = TERA_HANGUL_FIRST + TERA_HANGUL_LEADS * TERA_HANGUL_VOWELS * TERA_HANGUL_TAILS;
  constexpr int HALF_WIDTH_FIRST = 0xFF66;  // kana
  constexpr int HALF_WIDTH_LAST = 0xFF9D;
  return (uni >= TERA_HANGUL_FIRST && uni < HANGUL_END) ||
         (uni >= TERA_JAMO_LEADS && uni < TERA_JAMO_TAILS + TERA_HANGUL_TAILS) ||
         (uni >= HALF_WIDTH_FIRST && uni <= HALF_WIDTH_LAST) ||
         std::ranges::binary_search(kana(), uni, {}, &TeraSound::uni) ||
         std::ranges::binary_search(tera_pinyin_map(), uni, {}, &ConvertMap::uni);
}

}  // namespace

// ---------------------------------------------------------------- tables
// Tables are in code points: a UTF-8 map takes their rows, a code page asks them for each of its bytes.

int TeraMapConfig::map_table(const int (*table)[2]) {
  return uniMap != nullptr ? map_page_table(table) : map_uni_table(table);
}

int TeraMapConfig::map_uni_table(const int (*table)[2]) {
  int num = 0;
  for (; (*table)[0] != 0 || (*table)[1] != 0; ++table) {
    const Sequence seq = mapping_of((*table)[1]);
    if (seq == 0 || (*table)[0] <= 0) continue;
    enter_uni_mapping(seq, (*table)[0]);
    ++num;
  }
  return num;
}

int TeraMapConfig::map_page_table(const int (*table)[2]) {
  const int tableLen = tera_table_len(table);
  int num = 0;
  for (int byte = 1; byte < NUM_BYTES; ++byte) {
    const Sequence seq = mapping_of_uni(tera_uni_map_search(uniMap[byte], table, tableLen));
    if (seq == 0) continue;
    enter_mapping(seq, byte);
    ++num;
  }
  return num;
}

int TeraMapConfig::map_expand_table(const int (*table)[3]) {
  return uniMap != nullptr ? map_page_expand_table(table) : map_uni_expand_table(table);
}

int TeraMapConfig::map_uni_expand_table(const int (*table)[3]) {
  const RowFinder finder(table);
  TeraExpansion expansion(table, finder.len(), [&finder](int uni) { return finder.find(uni); });
  int parts[TERA_MAX_EXPANSION];
  int num = 0;
  for (int row = 0; row < finder.len(); ++row) {
    if (table[row][0] <= 0) continue;
    const Sequence seq = join(parts, expansion.expand(row, parts));
    if (seq == 0) continue;
    enter_uni_mapping(seq, table[row][0]);
    ++num;
  }
  return num;
}

int TeraMapConfig::map_page_expand_table(const int (*table)[3]) {
  const RowFinder finder(table);
  TeraExpansion expansion(table, finder.len(), [&finder](int uni) { return finder.find(uni); });
  int parts[TERA_MAX_EXPANSION];
  int num = 0;
  for (int byte = 1; byte < NUM_BYTES; ++byte) {
    const int row = finder.find(uniMap[byte]);
    const Sequence seq = join(parts, expansion.expand(row, parts));
    if (seq == 0) continue;
    enter_mapping(seq, byte);
    ++num;
  }
  return num;
}

int TeraMapConfig::map_upper() {
  return map_table(tera_lower_to_upper_map);
}

int TeraMapConfig::map_lower() {
  return map_table(tera_upper_to_lower_map);
}

int TeraMapConfig::deaccentuate() {
  return map_table(tera_deaccentuate_map);
}

int TeraMapConfig::map_spaces() {
  return map_table(tera_spaces_map);
}

int TeraMapConfig::map_whitespaces() {
  return map_table(tera_whitespace_map);
}

int TeraMapConfig::map_currency() {
  return map_table(tera_currency_map);
}

int TeraMapConfig::expand_compat() {
  return map_expand_table(tera_expand_compatibility_map);
}

int TeraMapConfig::expand_accents() {
  const int num = map_table(tera_combined_to_spaced_map);
  return num + map_expand_table(tera_expand_accent_map);
}

int TeraMapConfig::any_to_latin() {
  int num = 0;
  for (TripleTable table : {tera_translit_cyrillic_to_latin, tera_translit_greek_to_latin,
                            tera_translit_arabic_to_latin, tera_translit_hebrew_to_latin})
    num += map_expand_table(table);
  for (const TeraSound& row : std::span(tera_more_letters, static_cast<std::size_t>(tera_num_more_letters)))
    if (mapping_of_uni(row.uni) == 0) num += map_character(row.uni, row.letters);
  return num;
}

int TeraMapConfig::east_asian_to_latin() {
  int num = 0;
  for (const ConvertMap& row : tera_pinyin_map()) num += map_character(row.uni, row.sound);
  for (const TeraSound& row : kana()) num += map_character(row.uni, row.letters);
  const auto map_jamo = [&](int first, std::span<const char* const> letters) {
    for (const char* sound : letters) num += map_character(first++, sound);
  };
  map_jamo(TERA_JAMO_LEADS, {tera_hangul_leads, TERA_HANGUL_LEADS});
  map_jamo(TERA_JAMO_VOWELS, {tera_hangul_vowels, TERA_HANGUL_VOWELS});
  map_jamo(TERA_JAMO_TAILS, {tera_hangul_tails + 1, TERA_HANGUL_TAILS - 1});
  int uni = TERA_HANGUL_FIRST;
  for (int lead = 0; lead < TERA_HANGUL_LEADS; ++lead)
    for (int vowel = 0; vowel < TERA_HANGUL_VOWELS; ++vowel)
      for (int tail = 0; tail < TERA_HANGUL_TAILS; ++tail)
        num += map_character(uni++, (std::string(tera_hangul_leads[lead]) + tera_hangul_vowels[vowel] +
                                     tera_hangul_tails[tail])
                                        .c_str());
  return num;
}

int TeraMapConfig::other_scripts_to_latin() {
  int num = 0;
  for (const TeraSound& row : letter_names()) num += map_character(row.uni, row.letters);
  return num;
}

const char* TeraMapConfig::script_flags(const char* utf8) {
  constexpr const char* FLAGS[] = {"", "-east_asian_to_latin", "-other_scripts_to_latin",
                                   "-east_asian_to_latin -other_scripts_to_latin"};
  unsigned needed = 0;
  for (int uni = 0; *utf8 != '\0' && needed < 3;) {
    utf8 += std::max(TeraUtf::decode(&uni, utf8), 1);
    if (uni < FIRST_NOT_LATIN) continue;
    if (is_east_asian(uni)) needed |= 1;
    if (std::ranges::binary_search(letter_names(), uni, {}, &TeraSound::uni)) needed |= 2;
  }
  return FLAGS[needed];
}

int TeraMapConfig::expand_umlauts() {
  constexpr std::pair<int, const char*> umlauts[] = {{0xC4, "Ae"}, {0xD6, "Oe"}, {0xDC, "Ue"}, {0xE4, "ae"},
                                                     {0xF6, "oe"}, {0xFC, "ue"}, {0xDF, "ss"}};
  constexpr int capitalSharpS = 0x1E9E;
  int num = 0;
  for (const auto& [uni, target] : umlauts) num += map_character(uni, target);
  return uniMap != nullptr ? num : num + map_character(capitalSharpS, "SS");
}

int TeraMapConfig::map_digits() {
  constexpr std::pair<const char*, const char*> lookAlikes[] = {
      {"0", "Oo"}, {"1", "IilL"}, {"2", "zZ"}, {"5", "Ss"}, {"6", "Gb"}, {"8", "B"}, {"9", "g"}};
  int num = 0;
  for (const auto& [digit, letters] : lookAlikes)
    for (const char* letter = letters; *letter != 0; ++letter) num += map_character(*letter, digit);
  return num;
}

// ---------------------------------------------------------------- from texts
// The order of steps is that of the table, whatever that of the words: later ones map what earlier ones gave.

int TeraMapConfig::parse_map_file_line(char* line, AceReporter* rep) {
  constexpr int numFields = 2;
  char* fields[numFields];
  if (strsplit(line, '\t', fields, numFields) < numFields) {
    rep->ev_wprintf("Bad formatted line in mapping file, expect lines to be tab separated from to pairs");
    return -1;
  }
  return set_map(fields[1], fields[0]);
}

int TeraMapConfig::parse_map_file(const char* file, AceReporter* rep) {
  constexpr int bufferSize = 4096;
  AceInput input(file, bufferSize, true);
  char* line = nullptr;
  VInt lineNo = 0;
  int num = 0;
  while (input.read_line(&line, &lineNo) >= 0) {
    if (*line == 0) continue;
    const int mapped = parse_map_file_line(line, rep);
    if (mapped < 0) {
      rep->printf("%s: line %ld is no mapping\n", file, lineNo + 1);
      return ace_error(__FILE__, __LINE__, "parse_map_file_line(line,rep)", mapped, 0, -1);
    }
    num += mapped;
  }
  if (const int error = input.read_error(); error != 0) {
    char reason[128];
    rep->printf("%s: line %ld cannot be read: %s\n", file, lineNo + 1,
                ace_strerror(error, reason, sizeof reason));
    return -1;
  }
  return num;
}

int TeraMapConfig::set_complex_flags(const char* flags, AceReporter* rep) {
  constexpr struct {
    const char* name;
    const char* help;
    int (TeraMapConfig::*apply)();
  } operations[] = {
      {"map_upper", "Map characters to their corresponding upper case version if exists",
       &TeraMapConfig::map_upper},
      {"map_spaces", "Map the four characters backslash, slash, hyphen and underscore to blank",
       &TeraMapConfig::map_spaces},
      {"map_whitespaces", "Map control characters and whitespaces to blank", &TeraMapConfig::map_whitespaces},
      {"alpha_to_digits", "Add some OCR-relevant mappings", &TeraMapConfig::map_digits},
      {"expand_compatibility", "Map composed characters to their single components",
       &TeraMapConfig::expand_compat},
      {"map_accents", "Map diacritic characters to their equivalent, non-accented character",
       &TeraMapConfig::deaccentuate},
      {"expand_accents", "Map characters with accents to a single character followed by up to three accents",
       &TeraMapConfig::expand_accents},
      {"any_to_latin", "Map characters of Arabic, Cyrillic, Greek or Hebrew scripts to Latin characters",
       &TeraMapConfig::any_to_latin},
      {"east_asian_to_latin", "Map Chinese characters, kana and Korean syllables to Latin characters",
       &TeraMapConfig::east_asian_to_latin},
      {"other_scripts_to_latin",
       "Map characters of further scripts, as of India, Georgia, Thailand or Ethiopia, to Latin characters",
       &TeraMapConfig::other_scripts_to_latin},
      {"expand_compatibility", nullptr, &TeraMapConfig::expand_compat},  // what the transliteration has given
      {"expand_umlauts", "Map German umlauts to an expanded sequence", &TeraMapConfig::expand_umlauts},
  };
  AceOptionsParser parser;
  for (const auto& operation : operations)
    if (operation.help != nullptr) parser.add_flag_option(operation.name, operation.help);
  if (const int rc = parser.parse(flags, rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "parser.parse(flags,rep)", rc, 0, -1);
  for (const auto& operation : operations)
    if (parser.get_bool_value(operation.name))
      if (const int rc = (this->*operation.apply)(); rc < 0)
        return ace_error(__FILE__, __LINE__, operation.name, rc, 0, -1);
  return 0;
}

int TeraMapConfig::configure(int num, const char* const* keys, const char* const* values, TeraMap* map,
                             AceReporter* rep) {
  TeraMapConfig config("utf-8");
  for (int i = 0; i < num; ++i) {
    std::string key = keys[i] != nullptr ? keys[i] : "";
    strtolower(key.data());
    int rc = 0;
    if (key == "-tokens")
      rc = config.set_tokens(values[i]);
    else if (key == "-complex_flags")
      rc = config.set_complex_flags(values[i], rep);
    else if (key == "-map_file")
      rc = config.parse_map_file(values[i], rep);
    else if (key == "-map_glob_chars")
      rc = config.map_glob_chars(1);
    else
      rep->ev_wprintf("Invalid keyword '%s' for mapping configuration", keys[i] != nullptr ? keys[i] : "");
    if (rc < 0) return ace_error(__FILE__, __LINE__, key.c_str(), rc, 0, -1);
  }
  ACE_CALL(config.compile_map(map));
  return 0;
}

// ---------------------------------------------------------------- ready-made maps
// Tokens come first: a row of a table counts only where its target has tokens by then.

TeraMap* TeraMapConfig::compile_cyrillic() {
  TeraMapConfig config("utf-8");
  config.set_tokens(LATIN_TOKENS);
  config.map_upper();
  config.expand_compat();
  config.deaccentuate();
  config.map_expand_table(tera_translit_cyrillic_to_latin);
  return config.compile();
}

TeraMap* TeraMapConfig::compile_greek() {
  TeraMapConfig config("utf-8");
  config.set_tokens(LATIN_TOKENS);
  config.map_upper();
  config.expand_compat();
  config.expand_accents();
  config.map_expand_table(tera_translit_greek_to_latin);
  // Archaic letters. Their targets are no tokens here, which leaves them unmapped.
  constexpr std::pair<const char*, const char*> archaic[] = {
      {"?", "\u0371"}, {"&", "\u03DB"}, {"}", "\u03DD"}, {"%", "\u03DF"},
      {"]", "\u03E1"}, {"}", "\u03F8"}, {"[", "\u03FB"}};
  for (const auto& [target, letter] : archaic) config.set_map(target, letter);
  return config.compile();
}

TeraMap* TeraMapConfig::compile_arabic() {
  TeraMapConfig config("utf-8");
  config.set_tokens(LATIN_TOKENS);
  config.map_upper();
  config.expand_compat();
  config.expand_accents();
  config.map_expand_table(tera_translit_arabic_to_latin);
  config.expand_compat();
  return config.compile();
}

TeraMap* TeraMapConfig::compile_hebrew() {
  TeraMapConfig config("utf-8");
  config.set_tokens(LATIN_TOKENS);
  config.map_upper();
  config.expand_compat();
  config.expand_accents();
  config.map_expand_table(tera_translit_hebrew_to_latin);
  config.expand_compat();
  config.expand_accents();
  return config.compile();
}

TeraMap* TeraMapConfig::compile_kanji() {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-zA-Z0-9\\<>{}^#~");
  AceAttach at;
  for (const ConvertMap& row : tera_pinyin_map()) {
    config.map_character(row.uni, tera_norm_pinyin(row.sound, &at));
    at.release();
  }
  return config.compile();
}
