#include "tera/tera_phone_transform.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_str_map.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/transform/tera_phone_internal.h"

namespace {

constexpr const char* UTF_CHARSET = "utf-8";
constexpr const char* ISO_CHARSET = "iso8859-1";

constexpr std::size_t MAX_GROWTH = 4;  // bytes of code per character at most
constexpr std::size_t EXTRA = 8;

struct Kind {
  const char* name;
  const char* tokens;
  char* (*coder)(std::string_view word, char* out);
};

/// By code type / 2.
constexpr Kind KINDS[] = {
    {"VELPHONE", "CGPFSKTNREOHLY0123456789", phone::latin_code},
    {"SOUNDEX", "a-z", phone::soundex},
    {"METAPHONE", "A-Z", phone::metaphone},
    {"SHAPE", "A-Za-z0-9", phone::shape_code},
    {"KOELNER", "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", phone::cologne},
};

struct Folding {
  const char* target;
  const char* chars;
};

/// Letters that the Latin code does not tell apart.
constexpr Folding LATIN_FOLDINGS[] = {
    {"P", "B"}, {"G", "J"}, {"F", "VW"}, {"S", "Z"},  {"K", "QX"},
    {"T", "D"}, {"N", "M"}, {"O", "U"},  {"E", "AI"},
};

std::unique_ptr<TeraMap> make_map(int code_type) {
  const bool isUtf = code_type % 2 == 1;
  const int kind = code_type / 2;
  TeraMapConfig config(isUtf ? UTF_CHARSET : ISO_CHARSET);
  config.set_tokens(KINDS[kind].tokens);
  if (kind == PhoneTransform::ISO_VELPHONE / 2) {
    for (const Folding& folding : LATIN_FOLDINGS) config.set_map(folding.target, folding.chars);
    config.set_map("S", isUtf ? "\u00DF\u1E9E" : "\xDF");
  }
  if (kind == PhoneTransform::ISO_SOUNDEX / 2)
    config.map_lower();
  else if (kind != PhoneTransform::ISO_SHAPE / 2)
    config.map_upper();
  config.deaccentuate();
  if (kind != PhoneTransform::ISO_VELPHONE / 2)
    config.set_map(kind == 1 ? "s" : "S", isUtf ? "\u00DF" : "\xDF");
  return std::unique_ptr<TeraMap>(config.compile());
}

/// The map of a code type, made once. Thread safety: made under the initialisation guard of its type.
template <int CODE_TYPE>
const TeraMap* map_of() {
  static const std::unique_ptr<TeraMap> map = make_map(CODE_TYPE);
  return map.get();
}
constexpr const TeraMap* (*MAPS[])() = {map_of<0>, map_of<1>, map_of<2>, map_of<3>, map_of<4>,
                                        map_of<5>, map_of<6>, map_of<7>, map_of<8>, map_of<9>};
static_assert(std::size(MAPS) == PhoneTransform::NUM_CODE_TYPES);

bool is_code_type(int value) {
  return value >= 0 && value < PhoneTransform::NUM_CODE_TYPES;
}

const PhoneTransform prototype(PhoneTransform::ISO_VELPHONE);
const TeraTransform::Factory registration(&prototype, 0);

}  // namespace

PhoneTransform::PhoneTransform(int code_type) : codeType(code_type) {
  if (!is_code_type(code_type)) throw AceException("No such phonetic code", "%d", code_type);
}

char* PhoneTransform::code(const char* text, AceAttach* at) const {
  if (text == nullptr) return nullptr;
  AceAttach wordAt;
  const char* word = MAPS[codeType]()->normalize(text, true, &wordAt);
  const std::size_t length = std::strlen(word);
  char* coded = nullptr;
  at->malloc(coded, static_cast<long>(MAX_GROWTH * length + EXTRA));
  *KINDS[codeType / 2].coder({word, length}, coded) = '\0';
  return coded;
}

VInt PhoneTransform::read(AceFile* file) {
  const int value = file->get_int();
  if (!is_code_type(value)) return -1;
  codeType = value;
  return 0;
}

VInt PhoneTransform::save(AceFile* file) const {
  file->put_int(codeType);
  return 0;
}

int PhoneTransform::magic() const {
  return magic_number("FONEX");
}

TeraTransform* PhoneTransform::make(const char* name, const char* encoding) const {
  if (name == nullptr) return new PhoneTransform(ISO_VELPHONE);
  for (int kind = 0; kind < static_cast<int>(std::size(KINDS)); ++kind)
    if (std::strcmp(name, KINDS[kind].name) == 0)
      return new PhoneTransform(2 * kind + (is_utf8(encoding) ? 1 : 0));
  return nullptr;
}

TeraTransform* PhoneTransform::copy() const {
  return new PhoneTransform(codeType);
}
