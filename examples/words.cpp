// Keeps a real word list in the library's own containers, writes it as a persistent object, maps it back
// and prints figures.
//
// usage: words LIST INDEX_FILE
#include <cstdio>
#include <cstring>

#include "ace/ace_alloc.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_mem_info.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_avl.h"
#include "ace/ace_timer.h"
#include "ace/ace_wrap.h"

namespace {

constexpr int CHUNK_LIMIT = 2000;
constexpr int INPUT_BUFFER = 1 << 16;
constexpr int MAPPED = 1;

/// Sorted words in one heap, used in place from a mapped file.
///
/// Payload: magic "WORDS", number of words (Large), their offsets and the end of the heap (Large each,
/// ascending), the heap of terminated words.
class WordList : public AceWrap {
 public:
  void collect_from(const StrAvlTree<int>& words) {
    numWords = 0;
    Large heapSize = 0;
    words.for_each([&](const char* word, int) {
      heapSize += static_cast<Large>(std::strlen(word)) + 1;
      return 0;
    });
    Large* starts = nullptr;
    char* text = nullptr;
    at.malloc(starts, words.num_strings() + 1L);
    at.malloc(text, heapSize);
    heapSize = 0;
    words.for_each([&](const char* word, int) {
      starts[numWords++] = heapSize;
      heapSize += static_cast<Large>(std::strlen(std::strcpy(text + heapSize, word))) + 1;
      return 0;
    });
    starts[numWords] = heapSize;
    offsets = starts;
    heap = text;
  }

  VInt save(AceFile* file) override {
    file->put_magic("WORDS");
    file->put_int(numWords);
    file->write(static_cast<VInt>(sizeof(Large)) * (numWords + 1L), offsets, alignof(Large));
    file->write(offsets[numWords], heap, 1);
    return 0;
  }

  VInt read(AceFile* file) override {
    if (file->get_magic("WORDS") != 0) return -1;
    const Large count = file->get_large();
    const auto* starts = static_cast<const Large*>(
        file->read(static_cast<VInt>(sizeof(Large)) * (count + 1L), &at, alignof(Large)));
    if (starts == nullptr) return -1;
    for (Large i = 0; i < count; ++i)
      if (starts[i] >= starts[i + 1]) return -1;
    const auto* text = static_cast<const char*>(file->read(starts[count], &at, 1));
    if (text == nullptr) return -1;
    for (Large i = 0; i < count; ++i)
      if (text[starts[i + 1] - 1] != '\0') return -1;
    numWords = count;
    offsets = starts;
    heap = text;
    return 0;
  }

  Large num_words() const { return numWords; }
  const char* word(Large index) const { return heap + offsets[index]; }

  bool contains(const char* wanted) const {
    Large low = 0;
    Large high = numWords;
    while (low < high) {
      const Large middle = low + (high - low) / 2;
      if (std::strcmp(word(middle), wanted) < 0)
        low = middle + 1;
      else
        high = middle;
    }
    return low < numWords && std::strcmp(word(low), wanted) == 0;
  }

 private:
  AceAttach at;  // holds the arrays unless they lie in a mapping
  Large numWords = 0;
  const Large* offsets = nullptr;
  const char* heap = nullptr;
};

void read_words(const char* name, StrAvlTree<int>* words) {
  AceInput input(name, INPUT_BUFFER, true);
  const char* line = nullptr;
  VInt number = 0;
  while (input.read_line(&line, &number) >= 0) words->insert(line) = static_cast<int>(number);
}

int run(const char* list, const char* indexFile) {
  AceReporter* rep = AceReporter::use_default();
  AceTimer* timer = AceTimer::get_started("EXAMPLE", 0);
  const auto lap = [&] {
    const double milliseconds = timer->get_sec() * 1000.0;
    timer->reset();
    timer->start();
    return milliseconds;
  };

  WordList written;
  {
    StrAvlTree<int> words(-1);
    read_words(list, &words);
    rep->printf("%-28s %9d words %9.1f ms\n", "read and sorted", words.num_strings(), lap());
    written.collect_from(words);
  }
  rep->printf("%-28s %9ld bytes %9.1f ms\n", "collected", written.size(), lap());
  if (const int rc = written.dump(indexFile, rep); rc < 0) return rc;
  rep->printf("\n");
  rep->printf("%-28s %25.1f ms\n", "written", lap());

  WordList mapped;
  if (const VInt rc = mapped.load(indexFile, MAPPED, rep); rc < 0) return static_cast<int>(rc);
  rep->printf("%-28s %9u words %9.3f ms\n", "mapped and checked", mapped.num_words(), lap());
  Large numFound = 0;
  for (Large i = 0; i < written.num_words(); ++i) numFound += mapped.contains(written.word(i)) ? 1 : 0;
  rep->printf("%-28s %9u words %9.1f ms\n", "looked up", numFound, lap());

  long resident = 0;
  ace_mem_info(nullptr, &resident, nullptr);
  AceAttach at;
  rep->printf("%-28s %15s\n", "resident memory", AceFile::format_file_size(resident, &at));
  return numFound == written.num_words() ? 0 : -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s LIST INDEX_FILE\n", argv[0]);
    return 2;
  }
  ace_alloc_init(CHUNK_LIMIT);
  AceReporter::set_progress(0);  // lines for a host that draws a progress bar
  try {
    return run(argv[1], argv[2]) < 0 ? 1 : 0;
  } catch (const AceException& e) {
    e.print(AceReporter::use_default());
    return 1;
  }
}
