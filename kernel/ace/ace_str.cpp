#include "ace/ace_str.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_str_internal.h"
#include "ace/ace_str_split.h"

namespace {

constexpr int MAX_LOCATE_WORDS = 1024;    // words that strlocate looks at
constexpr std::size_t MAX_EXTENSION = 5;  // longest replaceable extension, dot included
constexpr VInt EMBED_EXTRA = 3;           // two embracing bytes and the terminator
constexpr std::string_view LINE_ENDS = "\r\n";

/// What of a text lies between its surrounding bytes of `set`.
std::string_view strip_ends(std::string_view text, std::string_view set) {
  const std::size_t first = text.find_first_not_of(set);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(set) - first + 1);
}

/// Writes the parts, with `sep` between them, and a terminator to `dst`.
void write_joined(char* dst, int n, const char* const* parts, std::string_view sep) {
  for (int i = 0; i < n; ++i) {
    if (i > 0) dst = std::copy(sep.begin(), sep.end(), dst);
    const std::string_view part = view_of(parts[i]);
    dst = std::copy(part.begin(), part.end(), dst);
  }
  *dst = '\0';
}

/// Bytes that `write_joined` writes.
std::size_t joined_size(int n, const char* const* parts, std::string_view sep) {
  std::size_t size = 1;
  for (int i = 0; i < n; ++i) size += view_of(parts[i]).size() + (i > 0 ? sep.size() : 0);
  return size;
}

char* join_in(AceAttach* at, int n, const char* const* parts, std::string_view sep) {
  char* joined = nullptr;
  at->malloc(joined, static_cast<long>(joined_size(n, parts, sep)));
  write_joined(joined, n, parts, sep);
  return joined;
}

char* write_reversed(char* dst, std::string_view text) {
  *std::reverse_copy(text.begin(), text.end(), dst) = '\0';
  return dst;
}

/// Where two texts differ first (or both end).
struct FirstDifference {
  const char* a;
  const char* b;
  bool found() const { return *a != *b; }
  /// The rests behind the differing bytes.
  const char* rest_of_a() const { return *a != '\0' ? a + 1 : a; }
  const char* rest_of_b() const { return *b != '\0' ? b + 1 : b; }
};

FirstDifference first_difference(const char* a, const char* b) {
  a = a != nullptr ? a : "";
  b = b != nullptr ? b : "";
  const int common = strcommon(a, b);
  return {a + common, b + common};
}

}  // namespace

int strcopy(char* dst, const char* src) {
  if (src == nullptr) return 0;
  const std::size_t length = std::strlen(src);
  std::memcpy(dst, src, length + 1);
  return static_cast<int>(length);
}

int strncopy(char* dst, const char* src, int n) {
  if (src == nullptr) return 0;
  const std::size_t length = n > 0 ? strnlen(src, static_cast<std::size_t>(n)) : 0;
  std::memcpy(dst, src, length);
  dst[length] = '\0';
  return static_cast<int>(length);
}

int strmapcopy(char* dst, const char* src, char* map) {
  if (src == nullptr || map == nullptr) return 0;
  const char* from = src;
  for (; *from != '\0'; ++from) *dst++ = map[byte_of(*from)];
  *dst = '\0';
  return static_cast<int>(from - src);
}

int strstrip(char* dst, const char* src, int c) {
  if (dst == nullptr || src == nullptr) return 0;
  char* end = dst;
  for (; *src != '\0'; ++src)
    if (*src != static_cast<char>(c)) *end++ = *src;
  *end = '\0';
  return static_cast<int>(end - dst);
}

int strtrim(char* dst, const char* src, int front, int squeeze, int back, int anySpace, char c) {
  if (dst == nullptr || src == nullptr) return 0;
  const auto isTrimmed = [=](char byte) { return byte == c || (anySpace != 0 && is_white_space(byte)); };
  const char* end = src + std::strlen(src);
  if (front != 0)
    while (src != end && isTrimmed(*src)) ++src;
  if (back != 0)
    while (src != end && isTrimmed(end[-1])) --end;

  char* to = dst;  // never ahead of src, so both may be one buffer
  while (src != end) {
    if (squeeze != 0 && isTrimmed(*src)) {
      while (src != end && isTrimmed(*src)) ++src;
      *to++ = c;
    } else {
      *to++ = *src++;
    }
  }
  *to = '\0';
  return static_cast<int>(to - dst);
}

int str_head(const char* s, char* out, int n) {
  if (n < 1) return 0;
  int count = 0;
  bool inWord = false;
  for (const char byte : view_of(s)) {
    if (byte != ' ' && !inWord) {
      out[count++] = byte;
      if (count == n) return n;
    }
    inWord = byte != ' ';
  }
  out[count] = '\0';
  return count;
}

char* strnew(const char* s) {
  if (s == nullptr) return nullptr;
  const std::size_t size = std::strlen(s) + 1;
  return static_cast<char*>(std::memcpy(ace_alloc(size), s, size));
}

char* strnew(const char* a, const char* b, AceAttach* at) {
  return a != nullptr ? strjoin_no_sep(a, b, at) : nullptr;
}

char* strjoin(const char* a, const char* b, char sep, AceAttach* at) {
  const char* const parts[] = {a, b};
  return join_in(at, 2, parts, std::string_view(&sep, 1));
}

char* strjoin_no_sep(const char* a, const char* b, AceAttach* at) {
  const char* const parts[] = {a, b};
  return join_in(at, 2, parts, {});
}

char* strjoin(int n, const char** parts, char sep) {
  const std::string_view separator(&sep, 1);
  char* joined = static_cast<char*>(ace_alloc(joined_size(n, parts, separator)));
  write_joined(joined, n, parts, separator);
  return joined;
}

char* strjoin(int n, const char* const* parts, char sep, AceAttach* at) {
  return join_in(at, n, parts, std::string_view(&sep, 1));
}

char* strjoin(int n, const char* const* parts, const char* sep, AceAttach* at) {
  return join_in(at, n, parts, view_of(sep));
}

char* strjoin_no_sep(int n, const char* const* parts, AceAttach* at) {
  return join_in(at, n, parts, {});
}

char* strembed(const char* s, long len, char c, int front, int back, AceAttach* at) {
  if (s == nullptr || len < 0) return nullptr;
  VInt size = 0;
  if (__builtin_add_overflow(len, EMBED_EXTRA, &size)) size = -1;  // refused by the attach
  char* embedded = nullptr;
  char* to = at->malloc(embedded, size);
  if (front != 0) *to++ = c;
  to = std::copy(s, s + len, to);
  if (back != 0) *to++ = c;
  *to = '\0';
  return embedded;
}

char* strturn(const char* s) {
  if (s == nullptr) return nullptr;
  return write_reversed(static_cast<char*>(ace_alloc(std::strlen(s) + 1)), s);
}

char* strturn(const char* s, AceAttach* at) {
  if (s == nullptr) return nullptr;
  char* turned = nullptr;
  return write_reversed(at->malloc(turned, static_cast<long>(std::strlen(s) + 1)), s);
}

char* strunwrap(const char* s, AceAttach* at, int flat) {
  if (s == nullptr) return nullptr;
  const std::string_view text = strip_ends(s, LINE_ENDS);
  char* copy = at->attach(text.empty() ? "" : text.data(), static_cast<VInt>(text.size()));
  if (flat != 0)
    for (std::size_t i = 0; i < text.size(); ++i)
      if (LINE_ENDS.find(copy[i]) != std::string_view::npos) copy[i] = ' ';
  return copy;
}

char* strext(const char* name, const char* ext, AceAttach* at) {
  if (name == nullptr || ext == nullptr) return nullptr;
  std::string_view stem = name;
  if (const std::size_t dot = stem.rfind('.'); dot != std::string_view::npos) {
    const std::string_view dotted = stem.substr(dot);
    if (dotted == ext) return nullptr;
    if (dotted.size() <= MAX_EXTENSION) stem = stem.substr(0, dot);
  }
  char* changed = nullptr;
  char* to = at->malloc(changed, static_cast<long>(stem.size() + 1 + std::strlen(ext) + 1));
  to = std::copy(stem.begin(), stem.end(), to);
  *to++ = '.';
  strcopy(to, ext);
  return changed;
}

int strrev(char* s, int stop) {
  const int length = strnot(s, stop);
  std::reverse(s, s + length);
  return length;
}

int strcut(char* s, int c) {
  if (s == nullptr) return 0;
  char* end = s + strnot(s, c);
  if (*end == '\0') return 0;
  *end = '\0';
  return 1;
}

int strreplace(char* s, char from, char to) {
  if (s == nullptr) return -1;
  std::replace(s, s + std::strlen(s), from, to);
  return 0;
}

void strclean(char* s) {
  if (s == nullptr) return;
  for (; *s != '\0'; ++s)
    if (*s == '\t' || *s == '\n' || *s == '\r') *s = ' ';
}

int strnot(const char* s, int c) {
  const std::string_view text = view_of(s);
  return static_cast<int>(std::min(text.find(static_cast<char>(c)), text.size()));
}

int strpos(const char* s, int c, int max) {
  if (s == nullptr) return -1;
  for (int i = 0; i < max && s[i] != '\0'; ++i)
    if (s[i] == static_cast<char>(c)) return i;
  return -1;
}

int strwidth(const char* s) {
  std::size_t widest = 0;
  for (std::string_view rest = view_of(s); !rest.empty();) {
    const std::size_t width = std::min(rest.find('\n'), rest.size());
    widest = std::max(widest, width);
    rest.remove_prefix(std::min(width + 1, rest.size()));
  }
  return static_cast<int>(widest);
}

int hasstr(const char* s, const char* part) {
  return view_of(s).find(view_of(part)) != std::string_view::npos ? 1 : 0;
}

int strenum(const char* s, ...) {
  if (s == nullptr) return -1;
  va_list args;
  va_start(args, s);
  int index = 0;
  const char* candidate = va_arg(args, const char*);
  while (candidate != nullptr && std::strcmp(s, candidate) != 0) {
    candidate = va_arg(args, const char*);
    ++index;
  }
  va_end(args);
  return candidate != nullptr ? index : -1;
}

int strlocate(const char* list, const char* word) {
  static constexpr auto blanks = map_of(" ");
  const std::string_view wanted = view_of(word);
  const char* rest = list;
  for (int i = 0; i < MAX_LOCATE_WORDS && rest != nullptr; ++i) {
    const char* start = nullptr;
    const int length = strsep(rest, blanks.data(), &start, &rest);
    if (length > 0 && wanted == std::string_view(start, static_cast<std::size_t>(length))) return 1;
  }
  return 0;
}

int strcommon(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return 0;
  int length = 0;
  while (a[length] != '\0' && a[length] == b[length]) ++length;
  return length;
}

int strcommonrev(const char* a, const char* b) {
  const std::string_view left = view_of(a);
  const std::string_view right = view_of(b);
  const auto [leftEnd, rightEnd] = std::mismatch(left.rbegin(), left.rend(), right.rbegin(), right.rend());
  return static_cast<int>(leftEnd - left.rbegin());
}

int strcmp1(const char* a, const char* b) {
  const FirstDifference at = first_difference(a, b);
  if (!at.found()) return 0;
  const char* restA = at.rest_of_a();
  const char* restB = at.rest_of_b();
  if (std::strcmp(restA, at.b) == 0 || std::strcmp(at.a, restB) == 0) return 0;
  return std::strcmp(restA, restB);
}

int strcmp2(const char* a, const char* b) {
  const FirstDifference at = first_difference(a, b);
  if (!at.found()) return 0;
  const char* restA = at.rest_of_a();
  const char* restB = at.rest_of_b();
  if (strcmp1(restA, at.b) == 0 || strcmp1(at.a, restB) == 0) return 0;
  return strcmp1(restA, restB);
}

int strdiff1(const char* a, const char* b) {
  const FirstDifference at = first_difference(a, b);
  if (!at.found()) return 0;
  return strcmp1(at.a, at.b) == 0 ? 1 : 2;
}

int strdiff2(const char* a, const char* b) {
  const int diff = strdiff1(a, b);
  if (diff < 2) return diff;
  return strcmp2(a, b) == 0 ? 2 : 3;
}
