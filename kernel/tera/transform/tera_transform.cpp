#include "tera/tera_transform.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_str_map.h"
#include "tera/tera_chain_transform.h"

namespace {

constexpr const char* DEFAULT_ENCODING = "utf-8";
constexpr const char* WHITE_SPACE = " \t\r\n";

constinit TeraTransform::Factory* first_factory = nullptr;

std::string& resource_path() {
  static std::string path;
  return path;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(WHITE_SPACE);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(WHITE_SPACE) + 1 - start);
}

/// Position of the first chain sign behind an even number of backslashes.
std::size_t find_chain_sign(std::string_view name) {
  bool isEscaped = false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == TeraTransform::CHAIN_SIGN && !isEscaped) return i;
    isEscaped = name[i] == '\\' && !isEscaped;
  }
  return std::string_view::npos;
}

}  // namespace

// ---------------------------------------------------------------- registration

TeraTransform::Factory::Factory(const TeraTransform* prototype, int priority)
    : prototypeTrafo(prototype), priorityOrder(priority), nextFactory(nullptr) {
  Factory** link = &first_factory;
  while (*link != nullptr && (*link)->priorityOrder <= priority) link = &(*link)->nextFactory;
  nextFactory = *link;
  *link = this;
}

TeraTransform::Factory::~Factory() {
  Factory** link = &first_factory;
  while (*link != nullptr && *link != this) link = &(*link)->nextFactory;
  if (*link == this) *link = nextFactory;
}

// ---------------------------------------------------------------- defaults

bool TeraTransform::is_utf8(const char* encoding) {
  if (encoding == nullptr) return true;
  for (const char c : {'u', 't', 'f'})
    if (tolower_C(*encoding++) != c) return false;
  if (*encoding == '-' || *encoding == '_') ++encoding;
  return std::strcmp(encoding, "8") == 0;
}

TeraTransform::~TeraTransform() = default;

int TeraTransform::code(const char* text, char*** variants, AceAttach* at) const {
  *variants = nullptr;
  char* coded = code(text, at);
  if (coded == nullptr) return 0;
  const auto count = 1 + std::count(coded, coded + std::strlen(coded), VARIANT_SIGN);
  char** parts = nullptr;
  at->malloc(parts, count);
  for (long i = 0; i < count; ++i) {
    parts[i] = coded;
    coded += std::strcspn(coded, "|");
    *coded++ = '\0';
  }
  *variants = parts;
  return static_cast<int>(count);
}

int TeraTransform::eval(const char* text) const {
  AceAttach at;
  const char* coded = code(text, &at);
  return coded != nullptr && std::strcmp(coded, text) != 0 ? 1 : 0;
}

int TeraTransform::needs_map() const {
  return 0;
}

int TeraTransform::is_parallelizable() const {
  return 1;
}

// ---------------------------------------------------------------- making by name

TeraTransform* TeraTransform::make_by_name(const char* name, const char* encoding) {
  for (const Factory* kind = first_factory; kind != nullptr; kind = kind->nextFactory)
    if (TeraTransform* made = kind->prototypeTrafo->make(name, encoding); made != nullptr) return made;
  return nullptr;
}

TeraTransform* TeraTransform::factory(const char* name, const char* encoding) {
  if (name == nullptr || *name == '\0') return nullptr;
  if (encoding == nullptr) encoding = DEFAULT_ENCODING;
  std::unique_ptr<TeraTransform> links[MAX_CHAIN];
  int numLinks = 0;
  std::string_view rest = name;
  for (bool isLast = false; !isLast; ++numLinks) {
    if (numLinks == MAX_CHAIN) return nullptr;
    const std::size_t sign = find_chain_sign(rest);
    isLast = sign == std::string_view::npos;
    const std::string link(numLinks == 0 && isLast ? rest : trimmed(rest.substr(0, sign)));
    links[numLinks].reset(link.empty() ? nullptr : make_by_name(link.c_str(), encoding));
    if (links[numLinks] == nullptr) return nullptr;
    if (!isLast) rest.remove_prefix(sign + 1);
  }
  // "a<b<c" is a after (b after c).
  std::unique_ptr<TeraTransform> chain = std::move(links[numLinks - 1]);
  for (int i = numLinks - 1; i-- > 0;)
    chain = std::make_unique<TeraChainTransform>(std::move(links[i]), std::move(chain));
  return chain.release();
}

// ---------------------------------------------------------------- persistence

int TeraTransform::magic_save(AceFile* file) const {
  file->put_int(magic());
  return static_cast<int>(save(file));
}

TeraTransform* TeraTransform::magic_read(AceFile* file) {
  const int found = file->get_int();
  const Huge start = file->get_pos();
  VInt rc = 0;
  for (const Factory* kind = first_factory; kind != nullptr; kind = kind->nextFactory) {
    if (kind->prototypeTrafo->magic() != found) continue;
    std::unique_ptr<TeraTransform> empty(kind->prototypeTrafo->make(nullptr, nullptr));
    if (empty == nullptr) continue;
    if (file->get_pos() != start && file->seek(start) < 0) continue;  // only pipes cannot go back
    rc = empty->read(file);
    if (rc >= 0) return empty.release();
  }
  if (rc < 0) ace_error(__FILE__, __LINE__, "rc->read(file)", static_cast<int>(rc), 0, nullptr);
  return nullptr;
}

// ---------------------------------------------------------------- resources

void TeraTransform::set_resource_path(const char* path) {
  resource_path() = path != nullptr ? path : "";
}

const char* TeraTransform::get_resource_path() {
  return resource_path().empty() ? nullptr : resource_path().c_str();
}
