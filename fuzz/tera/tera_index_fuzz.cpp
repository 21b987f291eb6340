// Hostile saved string indexes and hostile lines for all readers. The first byte says which. A saved index is
// first put over the image of a sound one, so that small changes get far.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_index.h"
#include "tera/tera_map.h"
#include "tera/tera_reader.h"
#include "tera/tera_string_trie.h"

namespace {

constexpr int NUM_IMAGES = 4;  // plain, blocks of 1, of 2 and of 8

void require(bool isTrue) {
  if (!isTrue) std::abort();
}

const std::string& image(int kind) {
  static const std::vector<std::string> all = [] {
    AceReporter::clear_default();
    std::vector<std::string> images;
    for (const int logBlock : {0, 9, 1, 3}) {
      const char* strings[] = {"ab", "abba", "", "b", "cabab", "abba", "zq", "zqzq", "bz", "abc"};
      TeraIndex index;
      index.make(10, strings, false, 1, nullptr);
      if (logBlock != 0) index.compress(logBlock);
      std::string bytes(static_cast<std::size_t>(index.size()), '\0');
      index.collect(bytes.data(), static_cast<Huge>(bytes.size()));
      images.push_back(bytes);
    }
    return images;
  }();
  return all[static_cast<std::size_t>(kind)];
}

void use(TeraIndex* index) {
  AceAttach at;
  index->for_each([&](const char* string, int id) {
    require(std::strcmp(string, index->get_line(static_cast<Large>(id), &at)) == 0);
  });
  for (const char* key : {"", "abba", "zz"})
    for (const int prefix : {0, 1}) {
      index->search(key, 1, prefix);
      index->search_interval(key, 0, prefix);
    }
  index->optimize(nullptr);
  index->update(3, "new", 1);
  if (index->compress(2) == 0)
    for (Large id = 0; id < index->get_size(); id += 3) require(index->get_line(id, &at) != nullptr);
}

/// Triples of an offset (two bytes, from the front or from the back) and a value; a last odd byte cuts.
void use_image(int kind, const std::string& bytes) {
  std::string damaged = image(kind);
  for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3) {
    const std::size_t where =
        static_cast<unsigned char>(bytes[i]) * 256U + static_cast<unsigned char>(bytes[i + 1]);
    const std::size_t offset = where / 2 % damaged.size();
    damaged[where % 2 == 0 ? offset : damaged.size() - 1 - offset] = bytes[i + 2];
  }
  if (bytes.size() % 3 == 1)
    damaged.resize(damaged.size() -
                   std::min<std::size_t>(damaged.size(), static_cast<unsigned char>(bytes.back())));
  TeraIndex index;
  try {
    if (index.read_with_magic(damaged.data(), damaged.size()) < 0) return;
  } catch (const AceException&) {
    return;
  }
  use(&index);
}

/// Reads all that a reader gives. Returns the number of entries.
int drain(TeraReader* reader) {
  const char* string = nullptr;
  Large info = 0;
  VInt line = 0;
  int count = 0;
  while (reader->get_line(&string, &info, &line) > 0) count += std::strlen(string) < 1000000 ? 1 : 2;
  return count;
}

/// A text that is read again has other line ends (ace_input.h): each reader gets a copy of its own.
struct Source {
  explicit Source(const std::string& text) : bytes(text), input(bytes.data(), false), reader(&input, 16) {}
  std::string bytes;
  AceInput input;
  TeraStandardReader reader;
};

void use_lines(const std::string& bytes) {
  Source lines(bytes);
  TeraMappedReader mapped(&lines.reader, TeraMap::get_nospace_map(), true);
  const int count = drain(&mapped);
  Source again(bytes);
  TeraIndex index;
  if (index.reader_make(&again.reader) >= 0) require(index.get_size() == static_cast<Large>(count));
  use(&index);
  Source words(bytes);
  SingleWordReader split(&words.input, ",");
  drain(&split);
  Source groups(bytes);
  TeraAliasFileReader aliases(&groups.input, nullptr, 0);
  const char* target = nullptr;
  const char* alias = nullptr;
  int penalty = 0;
  while (aliases.read_entry(&target, &alias, &penalty, nullptr) > 0) require(*alias != '\0');
  std::string text = bytes;
  std::FILE* streams[] = {fmemopen(text.data(), text.size() + 1, "r"),
                          fmemopen(text.data(), text.size() + 1, "r")};
  MultiStreamReader merged(2, streams, nullptr, true);
  drain(&merged);
  const StringTrie trie(bytes.c_str());
  trie.is_part(bytes.substr(bytes.size() / 2).c_str());
  trie.is_extension(bytes.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size < 1) return 0;
  const int kind = data[0] % (NUM_IMAGES + 1);
  image(0);
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  if (kind < NUM_IMAGES)
    use_image(kind, bytes);
  else
    use_lines(bytes);
  return 0;
}
