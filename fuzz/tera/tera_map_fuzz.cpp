// Hostile texts through maps of every kind, hostile configurations, and hostile saved maps. The first byte
// says which; a saved map is first put over the image of a sound one, so that small changes get far.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_scan.h"

namespace {

using Map = std::unique_ptr<TeraMap>;

void require(bool isTrue) {
  if (!isTrue) std::abort();
}

Map small_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("abe\u00F1\u20AC ");
  config.set_map("ae", "\u00E4");
  config.set_map("aabb", "&");
  config.map_globs(nullptr);
  config.map_globs("|!");
  return Map(config.compile());
}

const std::vector<Map>& maps() {
  static const std::vector<Map> all = [] {
    AceReporter::clear_default();
    std::vector<Map> made;
    made.push_back(small_map());
    made.emplace_back(TeraMapConfig::compile_cyrillic());
    made.emplace_back(new TeraMap(false));
    TeraMapConfig page("cp1252");
    page.set_tokens("A-Z");
    page.map_upper();
    page.deaccentuate();
    page.map_globs(nullptr);
    made.emplace_back(page.compile());
    return made;
  }();
  return all;
}

void use(const TeraMap& map, const char* text, const char* other) {
  AceAttach at;
  for (const bool noGlob : {false, true}) {
    const Token* tokens = map.convert(text, noGlob, &at);
    const std::string_view all(reinterpret_cast<const char*>(tokens));
    TeraScan scan(&map, text, noGlob);
    require(scan.tok_len() == static_cast<int>(all.size()));
    for (const char tok : all) require(scan.get_next_token(1) == static_cast<Token>(tok));
    require(scan.get_next_token(1) == 0);
    require(map.alt_len(text, noGlob) <= static_cast<int>(all.size()));
    require(map.compare(text, text, noGlob) == 0);
    require(map.compare(tokens, text, noGlob) == 0);
    require(map.contains(text, text, noGlob) == 1);
    map.compare(text, other, noGlob);
    map.sort_key(text, noGlob);
    map.normalize(text, noGlob, &at);
    std::vector<Token> out(all.size() + 1);
    std::vector<Token> marks(all.size() + 1);
    require(map.convert_sep(text, out.data(), static_cast<int>(out.size()), ' ', marks.data(), noGlob) ==
            static_cast<int>(all.size()));
    require(out.back() == 0 && marks.back() == 1);
  }
  char* parts[3];
  for (const bool inclUnmap : {false, true}) {
    map.cut(text, 1, 4, &at, parts, parts + 1, parts + 2, inclUnmap);
    require(std::string(parts[0]) + parts[1] + parts[2] == text);
  }
  int start = 0;
  int end = 0;
  map.localize(text, other, &start, &end);
  require(end - start == map.localize(text, other, nullptr, nullptr));
  const int covered = map.localize_prefix(text, other);
  require(covered <= static_cast<int>(std::strlen(text)));
  const int suffix = map.localize_suffix(text, other);
  require(suffix < 0 || map.strings_are_equal(text + suffix, other) == 1);
  map.is_equal(text, other);
  map.is_normalized(text);
  const char* words[5];
  require(map.decompose(text, words, 5, ' ', 1, 1, 1, &at, nullptr) <= 5);
}

void use_config(const std::string& set, const std::string& other) {
  for (const char* charset : {"utf-8", "iso8859-1"}) try {
      TeraMapConfig config(charset);
      AceAttach at;
      config.set_tokens("a-z");
      config.set_tokens(set.substr(0, 12).c_str());
      config.map_globs(other.c_str());
      config.set_map(other.c_str(), set.substr(0, 6).c_str());
      config.set_complex_flags(other.c_str(), nullptr);
      config.parse_map_file_line(at.attach(set.substr(0, 6).c_str()), nullptr);
      use(*Map(config.compile()), set.c_str(), other.c_str());
    } catch (const AceException&) {
    }
}

void use_image(const std::string& bytes) {
  std::vector<long> memory(512);
  auto* image = reinterpret_cast<char*>(memory.data());
  AceFile out;
  out.init_write(image, 4096);
  small_map()->save(&out);
  auto size = static_cast<size_t>(out.get_pos());
  // Triples of an offset (two bytes) and a value; a last odd byte cuts.
  for (size_t i = 0; i + 3 <= bytes.size(); i += 3)
    image[(static_cast<unsigned char>(bytes[i]) * 256U + static_cast<unsigned char>(bytes[i + 1])) % size] =
        bytes[i + 2];
  if (bytes.size() % 3 == 1) size -= static_cast<unsigned char>(bytes.back()) % 64U;
  AceFile file;
  file.init_read(image, static_cast<VInt>(size));
  TeraMap map;
  try {
    if (map.read(&file) < 0) return;
  } catch (const AceException&) {
    return;
  }
  use(map, "a\u00E4[b\u00F1&?]*\u20AC e\xC3|\xE1", "ab?");
  map.print(nullptr);
  TeraMap copied(&map);
  require(copied.map_unicode(0xE4) == map.map_unicode(0xE4));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  maps();
  if (size < 2) return 0;
  const size_t kind = data[0] % 6;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  const std::string text = bytes.c_str();
  const std::string other = text.size() + 1 < bytes.size() ? bytes.substr(text.size() + 1).c_str() : "";
  if (kind < 4)
    use(*maps()[kind], text.c_str(), other.c_str());
  else if (kind == 4)
    use_config(text, other);
  else
    use_image(bytes);
  return 0;
}
