// Any text, any strings: a teaser is never longer than asked for, cuts no character and is made of the text.
// The first two bytes say how; strings and text are lines. Paths: marks whole, shortened with the context
// widened, spans dropped, only the first ones kept, a first span too long, words without strings.
#include <cstdlib>
#include <cstring>
#include <string>

#include "ace/ace_reporter.h"
#include "tera/tera_map_config.h"
#include "tera/tera_teaser.h"

namespace {

constexpr std::size_t MAX_SIZE = 4000;

struct Maps {
  Maps() {
    AceReporter::clear_default();
    TeraMapConfig config("utf-8");
    config.set_tokens("a-z");
    config.set_map("ue", "\xC3\xBC");
    config.compile_map(&unicode);
  }
  TeraMap unicode;
};

bool starts_inside_character(const char* text) {
  return (*text & 0xC0) == 0x80;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const Maps maps;
  if (size < 3 || size > MAX_SIZE) return 0;
  const int how = data[0], max = data[1];
  std::string lines(reinterpret_cast<const char*>(data + 2), size - 2);
  TeraTeaser teaser((how & 1) != 0 ? &maps.unicode : nullptr, nullptr, nullptr, max);
  const std::size_t last = lines.rfind('\n');
  const std::string text = last == std::string::npos ? lines : lines.substr(last + 1);
  for (std::size_t from = 0, to; last != std::string::npos && from < last; from = to + 1) {
    to = lines.find('\n', from);
    const std::string string = lines.substr(from, to - from);
    if ((how & 2) != 0)
      teaser.get_query_word_id(string.c_str());
    else
      teaser.add_match(string.c_str(), static_cast<int>(from % 70), 150 + static_cast<int>(from % 106),
                       false);
  }
  AceAttach at;
  const char* made = teaser.generate(text.c_str(), &at, how & 4, how & 8, -1);
  const std::size_t length = std::strlen(text.c_str());
  const std::size_t longest = static_cast<std::size_t>(teaser.get_max_length());
  if (made == nullptr || (length > longest && std::strlen(made) > longest + 3)) std::abort();
  if ((how & 1) != 0 && *made != '\0' && starts_inside_character(made) &&
      !starts_inside_character(text.c_str()))
    std::abort();
  return 0;
}
