#include "tera/tera_snowball_transform.h"

#include <libstemmer.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_str_map.h"
#include "tera/tera_unicode_tables.h"
#include "tera/tera_utf.h"

namespace {

constexpr const char* UTF_ENCODING = "UTF_8";
constexpr const char* ISO_ENCODING = "ISO_8859_1";
constexpr const char* NAME_PREFIX = "STEM_";
constexpr const char* DEFAULT_LANGUAGE = "en";
constexpr const char* UTF_ONLY[] = {"ro", "ru", "tr"};
constexpr const char* LANGUAGES[] = {"da", "nl", "en", "fi", "fr", "de", "hu", "it",
                                     "no", "pt", "ro", "ru", "es", "sv", "tr", "porter"};

constexpr int MAX_UTF_GROWTH = 2;  // a lower-case letter may need more bytes, never more than twice as many

struct StemmerDelete {
  void operator()(sb_stemmer* stemmer) const { sb_stemmer_delete(stemmer); }
};
using Stemmer = std::unique_ptr<sb_stemmer, StemmerDelete>;

bool is_in(const char* text, const auto& list) {
  return std::any_of(std::begin(list), std::end(list),
                     [text](const char* known) { return std::strcmp(text, known) == 0; });
}

Stemmer make_stemmer(const std::string& language, const std::string& encoding) {
  return Stemmer(sb_stemmer_new(language.c_str(), encoding.c_str()));
}

}  // namespace

struct SnowballRegistration {
  SnowballTransform prototype;
  TeraTransform::Factory factory{&prototype, 0};
};
static const SnowballRegistration registration;

SnowballTransform::SnowballTransform() : language(DEFAULT_LANGUAGE), encoding(UTF_ENCODING) {}

SnowballTransform::SnowballTransform(const char* language_code, const char* encoding_name)
    : language(language_code != nullptr ? language_code : ""),
      encoding(is_utf8(encoding_name) ? UTF_ENCODING : ISO_ENCODING) {
  if (encoding == ISO_ENCODING && is_in(language.c_str(), UTF_ONLY))
    throw AceException("Cannot create a stemmer", "Language '%s' doesn't work without UTF-8 encoding!",
                       language.c_str());
  if (!is_in(language.c_str(), LANGUAGES) || make_stemmer(language, encoding) == nullptr)
    throw AceException("Cannot create a stemmer", "Unsupported language and/or encoding (%s/%s)!",
                       language.c_str(), encoding.c_str());
}

char* SnowballTransform::to_lower(const char* text, AceAttach* at) const {
  const std::size_t length = std::strlen(text);
  char* lower = nullptr;
  at->malloc(lower, static_cast<long>(MAX_UTF_GROWTH * length) + 1);
  char* end = lower;
  if (encoding == ISO_ENCODING) {
    for (const char* c = text; *c != '\0'; ++c) {
      const auto byte = static_cast<unsigned char>(*c);
      const bool isAccented = byte >= 0xC0 && byte <= 0xDE && byte != 0xD7;  // not the multiplication sign
      *end++ = isAccented ? static_cast<char>(byte + 0x20) : static_cast<char>(tolower_C(*c));
    }
  } else {
    while (*text != '\0') {
      int uni = 0;
      const int size = TeraUtf::decode(&uni, text);
      if (size == 0) {  // an invalid byte stays as it is
        *end++ = *text++;
        continue;
      }
      text += size;
      const int lowerUni = tera_uni_to_lower(uni);
      end += TeraUtf::from_uni(lowerUni != 0 ? lowerUni : uni, end);
    }
  }
  *end = '\0';
  return lower;
}

char* SnowballTransform::code(const char* text, AceAttach* at) const {
  if (text == nullptr) return nullptr;
  AceAttach lowerAt;
  const char* lower = to_lower(text, &lowerAt);
  const std::size_t length = std::strlen(lower);
  const Stemmer stemmer = make_stemmer(language, encoding);
  if (stemmer == nullptr) throw std::bad_alloc();
  if (length > INT_MAX / 2) return at->attach(lower);  // no word
  const sb_symbol* stem =
      sb_stemmer_stem(stemmer.get(), reinterpret_cast<const sb_symbol*>(lower), static_cast<int>(length));
  if (stem == nullptr) throw std::bad_alloc();
  return at->attach(reinterpret_cast<const char*>(stem), sb_stemmer_length(stemmer.get()));
}

VInt SnowballTransform::read(AceFile* file) {
  AceAttach at;
  const char* readLanguage = file->get_string(&at);
  const char* readEncoding = file->get_string(&at);
  if (readLanguage == nullptr || readEncoding == nullptr) return -1;
  if (!is_in(readLanguage, LANGUAGES)) return -1;
  if (std::strcmp(readEncoding, UTF_ENCODING) != 0 && std::strcmp(readEncoding, ISO_ENCODING) != 0) return -1;
  if (make_stemmer(readLanguage, readEncoding) == nullptr) return -1;
  language = readLanguage;
  encoding = readEncoding;
  return 0;
}

VInt SnowballTransform::save(AceFile* file) const {
  file->put_string(language.c_str());
  file->put_string(encoding.c_str());
  return 0;
}

int SnowballTransform::magic() const {
  return magic_number("SNWBX");
}

TeraTransform* SnowballTransform::make(const char* name, const char* encoding_name) const {
  if (name == nullptr) return new SnowballTransform(DEFAULT_LANGUAGE, nullptr);
  const std::size_t prefix = std::strlen(NAME_PREFIX);
  if (std::strncmp(name, NAME_PREFIX, prefix) != 0) return nullptr;
  std::string code = name + prefix;
  for (char& c : code) {
    if (c >= 'a' && c <= 'z') return nullptr;  // names are in upper case
    c = static_cast<char>(tolower_C(c));
  }
  return is_in(code.c_str(), LANGUAGES) ? new SnowballTransform(code.c_str(), encoding_name) : nullptr;
}

TeraTransform* SnowballTransform::copy() const {
  return new SnowballTransform(language.c_str(), encoding.c_str());
}
