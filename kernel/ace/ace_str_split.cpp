#include "ace/ace_str_split.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <string>
#include <string_view>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_internal.h"

namespace {

constexpr int MAX_FLAGS = 32;
constexpr long MAX_FLAG_NUMBER = 31;  // 32 is reachable by name only

/// Splits [s, end) in place. `find_separator(from)` returns the next separator at or behind `from`, or `end`.
/// `skip` moves a position behind a separator to where the next field starts.
template <class Field, class Find, class Skip>
int split(char* s, const char* end, Field** fields, int max, int* offsets, Find find_separator, Skip skip) {
  if (s == nullptr || max < 1) return 0;
  int count = 0;
  for (char* start = skip(s);;) {
    char* const separator = find_separator(start);
    fields[count] = start;
    if (offsets != nullptr) offsets[count] = static_cast<int>(start - s);
    ++count;
    if (separator == end) {
      if (offsets != nullptr && count < max) offsets[count] = static_cast<int>(separator - s);
      return count;
    }
    *separator = '\0';
    if (count == max) return count;
    start = skip(separator + 1);
  }
}

char* stay(char* at) {
  return at;
}

char* end_of(char* s) {
  return s != nullptr ? s + std::strlen(s) : nullptr;
}

template <class Field>
int split_at(char* s, char* end, int sep, Field** fields, int max, int* offsets) {
  const auto find = [=](char* from) { return std::find(from, end, static_cast<char>(sep)); };
  return split(s, end, fields, max, offsets, find, stay);
}

template <class Skip>
int split_by_map(char* s, const unsigned char* map, char** fields, int max, Skip skip) {
  char* const end = end_of(s);
  const auto find = [=](char* from) {
    return std::find_if(from, end, [=](char c) { return map[byte_of(c)] != 0; });
  };
  return split(s, end, fields, max, nullptr, find, skip);
}

/// Removes the `protect` bytes of a field that lies between them as a whole.
char* unprotected(char* field, char protect, char esc) {
  if (protect == '\0' || *field != protect) return field;
  char* closing = field + 1;
  for (; *closing != '\0'; ++closing) {
    if (*closing == esc && (esc == protect ? closing[1] == protect : closing[1] != '\0'))
      ++closing;
    else if (*closing == protect)
      break;
  }
  if (*closing != protect || closing[1] != '\0') return field;
  *closing = '\0';
  return field + 1;
}

/// The index of the flag called `token`, or that it gives as a number from 1 on; -1 if there is none.
int flag_index(std::string_view token, const char* const* names, int numNames) {
  for (int i = 0; i < numNames; ++i)
    if (token == names[i]) return i;
  long number = 0;
  for (const char c : token) {
    if (c < '0' || c > '9' || number > MAX_FLAG_NUMBER) return -1;
    number = number * 10 + (c - '0');
  }
  return number >= 1 && number <= MAX_FLAG_NUMBER ? static_cast<int>(number - 1) : -1;
}

/// Whether unknown flags are warned about: until the end of the first evaluation.
constinit std::atomic<bool> warn_unknown{true};

}  // namespace

char* strfield(const char* s, int sep, int k, AceAttach* at) {
  if (s == nullptr || k < 0) return nullptr;
  std::string_view rest = s;
  for (; k > 0; --k) {
    const std::size_t separator = rest.find(static_cast<char>(sep));
    if (separator == std::string_view::npos) return nullptr;
    rest.remove_prefix(separator + 1);
  }
  return at->attach(rest.data(), static_cast<VInt>(std::min(rest.find(static_cast<char>(sep)), rest.size())));
}

int strsep(const char* s, const unsigned char* map, const char** start, const char** next) {
  *start = *next = nullptr;
  if (s == nullptr) return 0;
  while (*s != '\0' && map[byte_of(*s)] != 0) ++s;
  if (*s == '\0') return 0;
  *start = s;
  while (*s != '\0' && map[byte_of(*s)] == 0) ++s;
  if (*s != '\0') *next = s + 1;
  return static_cast<int>(s - *start);
}

int strnsep(const char* s, int n, const unsigned char* map, const char** next) {
  *next = nullptr;
  if (s == nullptr) return 0;
  int length = 0;
  while (length < n && s[length] != '\0' && map[byte_of(s[length])] == 0) ++length;
  if (length < n && s[length] != '\0') *next = s + length + 1;
  return length;
}

int strsplit(char* s, int sep, char** fields, int max) {
  return split_at(s, end_of(s), sep, fields, max, nullptr);
}

int strsplit(char* s, int sep, const char** fields, int max) {
  return split_at(s, end_of(s), sep, fields, max, nullptr);
}

int strsplit(char* s, int sep, const char** fields, int max, int* offsets) {
  return split_at(s, end_of(s), sep, fields, max, offsets);
}

int strsplit(char* s, const unsigned char* map, char** fields, int max) {
  return split_by_map(s, map, fields, max, stay);
}

int strsplit_noempty(char* s, const unsigned char* map, char** fields, int max) {
  return split_by_map(s, map, fields, max, [map](char* at) {
    while (*at != '\0' && map[byte_of(*at)] != 0) ++at;
    return at;
  });
}

int strnsplit(char* s, int sep, char** fields, int max, int len) {
  if (s == nullptr || max < 1 || len < 0) return 0;
  if (s[len] != '\0') s[len] = '\0';
  return split_at(s, s + len, sep, fields, max, nullptr);
}

int strsplit_escaped(char* s, char sep, char** fields, int max, int* offsets, char esc) {
  return split(
      s, end_of(s), fields, max, offsets,
      [=](char* at) {
        for (; *at != '\0' && (*at != sep || *at == esc); ++at)
          if (*at == esc && at[1] != '\0') ++at;
        return at;
      },
      stay);
}

int strsplit_protected(char* s, char sep, char** fields, int max, char protect, char esc) {
  const auto find = [=](char* at) {
    for (bool inside = false; *at != '\0'; ++at) {
      if (*at == esc && esc != protect) {
        if (at[1] != '\0') ++at;
      } else if (*at == protect) {
        inside = !inside;
      } else if (*at == sep && !inside) {
        return at;
      }
    }
    return at;
  };
  const int count = split(s, end_of(s), fields, max, nullptr, find, stay);
  for (int i = 0; i < count; ++i) fields[i] = unprotected(fields[i], protect, esc);
  return count;
}

int strsplitf(const char* s, int* ends, char** fields, int n, AceAttach* at, long len) {
  if (s == nullptr) return 0;
  if (len == 0) len = static_cast<long>(std::strlen(s));
  int count = 0;
  for (int start = 0; count < n; ++count) {
    const int end = ends[count];
    if (end < start || end > len) break;
    fields[count] = at->attach(s + start, end - start);
    start = end;
  }
  return count;
}

Large strflags_arr(const char* text, const char* seps, const char** names) {
  int numNames = 0;
  while (numNames < MAX_FLAGS && names[numNames] != nullptr) ++numNames;
  const ByteMap separators = map_of(view_of(seps));

  Large mask = 0;
  const char* token = nullptr;
  const char* rest = text;
  while (const int length = strsep(rest, separators.data(), &token, &rest)) {
    const int index = flag_index({token, static_cast<std::size_t>(length)}, names, numNames);
    if (index >= 0)
      mask |= Large{1} << index;
    else if (warn_unknown)
      AceReporter::use_default()->ev_wprintf("Unknown pattern [%s] in flags evaluation\n",
                                             std::string(token, static_cast<std::size_t>(length)).c_str());
  }
  warn_unknown = false;
  return mask;
}

Large strflags(const char* text, const char* seps, ...) {
  const char* names[MAX_FLAGS + 1] = {};
  va_list args;
  va_start(args, seps);
  for (int i = 0; i < MAX_FLAGS; ++i) {
    names[i] = va_arg(args, const char*);
    if (names[i] == nullptr) break;
  }
  va_end(args);
  return strflags_arr(text, seps, names);
}
