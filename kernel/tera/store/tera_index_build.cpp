// Making and changing string indexes.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <unordered_map>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "tera/store/tera_progress_internal.h"
#include "tera/store/tera_read_error_internal.h"
#include "tera/tera_collation.h"
#include "tera/tera_index.h"
#include "tera/tera_reader.h"
#include "tera/tera_string_comp.h"

namespace {

constexpr const char* SORTED = "ascii";
constexpr int NUM_CONTEXTS = 256;
constexpr int DEFAULT_LOG_BLOCK = 4;
constexpr int MIN_LOG_BLOCK = 1;
constexpr int MAX_LOG_BLOCK = 5;
constexpr int FROM_ARRAY = 0;  // heap modes
constexpr int FROM_LINES = 1;
constexpr VInt MAX_LARGE = std::numeric_limits<Large>::max();
constexpr VInt MAX_ENTRIES = MAX_LARGE - 1;
constexpr VInt BYTES_PER_KB = 1024;
constexpr int LINE_SIZE = 4096;  // of the buffer for lines that are compressed
constexpr std::size_t FIRST_STARTS = 16;
constexpr VInt BYTE_BITS = 8;

const char* or_empty(const char* string) {
  return string != nullptr ? string : "";
}

/// Largest heap whose offsets count bytes.
VInt plain_limit() {
  static const AceTraceFlag threshold("INDEX_ALIGN_THRESHOLD_KB", __FILE__, __LINE__);
  const VInt kilobytes = threshold.get();
  return kilobytes > 0 ? std::min(kilobytes * BYTES_PER_KB, MAX_LARGE) : MAX_LARGE;
}

const AceTraceFlag* progress_flag() {
  static const AceTraceFlag flag("TERA_PROGRESS", __FILE__, __LINE__);
  return &flag;
}

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileClose>;

/// Null, with a warning, when there is no such file, or one that need not end.
OpenFile open_text(const char* filename, VInt* size, AceReporter* rep) {
  struct stat info {};
  const bool isThere = filename != nullptr && stat(filename, &info) == 0;  // first: to open a pipe may wait
  const bool isOther = isThere && !S_ISREG(info.st_mode);
  OpenFile file(isThere && !isOther ? AceFile::open(filename, "rb") : nullptr);
  if (file == nullptr) {
    rep->ev_wprintf("Trying to build index for file '%s' but %s", or_empty(filename),
                    isOther ? "it is no regular file" : "file does not exist");
    return nullptr;
  }
  *size = info.st_size;
  return file;
}

/// Calls `f(start, length)` for each line; returns what it returned if that was negative, else 0.
int for_each_line(std::string_view text, const auto& f) {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
    if (const int rc = f(start, end - start); rc < 0) return rc;
    start = end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
  }
  return 0;
}

/// After the last byte: -1, reported, when the file could not be read to its end.
int check_end(std::FILE* file, const char* name, VInt line) {
  return check_read(std::ferror(file) != 0 ? (errno != 0 ? errno : EIO) : 0, name, line);
}

/// All that the file has; more than `size` where the system did not know that. -1, reported, where it cannot
/// be read.
int read_text(std::FILE* file, const char* name, VInt size, std::vector<char>* bytes) {
  VInt got = 0;
  do {
    bytes->resize(static_cast<std::size_t>(std::max(size, 2 * got) + 1));  // a byte to meet the end with
    const std::size_t room = bytes->size() - static_cast<std::size_t>(got);
    got += static_cast<VInt>(AceFile::read_from(file, bytes->data() + got, room));
  } while (got == static_cast<VInt>(bytes->size()));
  const VInt lines = std::count(bytes->begin(), bytes->begin() + got, '\n');
  if (check_end(file, name, lines + 1) < 0) return -1;
  if (got < size)
    throw AceException("Error reading TeraIndex, mismatch in size of entry buffer",
                       "Expected %ld bytes but read %ld", size, got);
  bytes->resize(static_cast<std::size_t>(got));
  return 0;
}

/// The next line of a file, without its end and the carriage returns before that; of a long line the next
/// piece. False at the end, and where the file cannot be read (`std::ferror`).
bool get_piece(std::FILE* file, char* buffer) {
  int length = 0;
  int c = 0;
  while (length < LINE_SIZE - 1 && (c = AceFile::get_byte(file)) != EOF) {
    buffer[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (length == 0 || std::ferror(file) != 0) return false;
  while (length > 0 && (buffer[length - 1] == '\n' || buffer[length - 1] == '\r')) --length;
  buffer[length] = '\0';
  return true;
}

}  // namespace

// ---------------------------------------------------------------- heaps under construction
// Offsets of 32 bits count bytes while these suffice, then steps of four.

/// Returns 0, or -1 when the heap or the number of strings would exceed its limit.
VInt TeraIndex::Heap::add(std::string_view string) {
  const VInt size = static_cast<VInt>(bytes.size() + string.size()) + 1;
  if (!isAligned && size > plain_limit() && can_align()) align();
  const VInt start = static_cast<VInt>(bytes.size());
  if (start / (isAligned ? ALIGNMENT : 1) > MAX_LARGE || static_cast<VInt>(starts.size()) >= MAX_ENTRIES)
    return -1;
  starts.push_back(static_cast<Large>(isAligned ? start / ALIGNMENT : start));
  bytes.insert(bytes.end(), string.begin(), string.end());
  bytes.push_back('\0');
  if (isAligned) bytes.resize(static_cast<std::size_t>(align_offset(static_cast<VInt>(bytes.size()))));
  return 0;
}

/// False when the strings overlap so much, as they may in a heap that was given or read, that each at a place
/// of its own would take more than the most that alignment adds to strings side by side.
bool TeraIndex::Heap::can_align() const {
  std::vector<Large> order(starts);
  std::sort(order.begin(), order.end());
  order.erase(std::unique(order.begin(), order.end()), order.end());
  VInt total = 0;
  VInt end = 0;  // behind the string
  for (const VInt start : order) {
    if (start >= end) end = start + static_cast<VInt>(std::strlen(bytes.data() + start)) + 1;
    total += align_offset(end - start);
  }
  return total <= ALIGNMENT * static_cast<VInt>(bytes.size());
}

/// Moves every string to a multiple of 4, in the order of the heap; what is shared stays shared.
void TeraIndex::Heap::align() {
  std::vector<Large> order(starts.size());
  std::iota(order.begin(), order.end(), Large{0});
  const auto start_of = [this](Large id) { return starts[id]; };
  std::sort(order.begin(), order.end(), [&](Large a, Large b) { return start_of(a) < start_of(b); });
  std::vector<char> moved;
  Large last = 0;
  Large lastMoved = 0;
  bool isFirst = true;
  for (const Large id : order) {
    const Large start = starts[id];
    if (isFirst || start != last) {
      isFirst = false;
      last = start;
      lastMoved = static_cast<Large>(moved.size() / ALIGNMENT);
      const char* string = bytes.data() + start;
      moved.insert(moved.end(), string, string + std::strlen(string) + 1);
      moved.resize(static_cast<std::size_t>(align_offset(static_cast<VInt>(moved.size()))));
    }
    starts[id] = lastMoved;
  }
  bytes = std::move(moved);
  isAligned = true;
}

/// Codes strings block by block.
class TeraIndex::BlockWriter {
 public:
  /// With room for blocks of `num_bits` bits in all.
  BlockWriter(StringComp* comp, VInt num_bits, VInt num_blocks) : strComp(comp) {
    blocks.starts.reserve(static_cast<std::size_t>(num_blocks));
    blocks.bytes.resize(static_cast<std::size_t>(room_for(num_bits, num_blocks)));
  }

  /// Each block ends at a byte.
  static VInt room_for(VInt num_bits, VInt num_blocks) { return num_bits / BYTE_BITS + num_blocks + 1; }

  /// Returns 0; -1 when there is no room, or no code for the strings.
  int add(const std::vector<const char*>& strings) {
    const int count = static_cast<int>(strings.size());
    const VInt bits = strComp->measure(strings.data(), count);
    const VInt left = static_cast<VInt>(blocks.bytes.size()) - used;
    if (bits < 0 || (bits + BYTE_BITS - 1) / BYTE_BITS > left) return -1;
    blocks.starts.push_back(static_cast<Large>(used));
    used += strComp->code(strings.data(), count, reinterpret_cast<Token*>(blocks.bytes.data()) + used);
    return 0;
  }
  Heap finish() {
    blocks.bytes.resize(static_cast<std::size_t>(used));
    blocks.bytes.shrink_to_fit();
    return std::move(blocks);
  }

 private:
  StringComp* strComp;
  Heap blocks;
  VInt used = 0;
};

/// The blocks replace the strings; collation and mode stay.
void TeraIndex::take_blocks(BlockWriter* writer, std::unique_ptr<StringComp> coder, Large count) {
  ownHeap = writer->finish();
  memAt.release();
  show_own();
  numEntry = count;
  compHandle = std::move(coder);
  fileMapped = 0;
}

// ---------------------------------------------------------------- building
// What was there before is given up when the new heap stands, not earlier.

int TeraIndex::make(const char* filename, bool compress, AceReporter* rep) {
  if (compress) return make_compressed(filename, rep);
  VInt size = 0;
  const OpenFile file = open_text(filename, &size, rep);
  if (file == nullptr) return -2;
  Heap heap;
  if (read_text(file.get(), filename, size, &heap.bytes) < 0) return -1;
  size = static_cast<VInt>(heap.bytes.size());
  const std::string_view text(heap.bytes.data(), heap.bytes.size());
  if (text.find('\0') != text.npos)
    rep->ev_wprintf("File '%s' has zero bytes: its lines end there", filename);
  const bool isOpen = !text.empty() && text.back() != '\n' && text.back() != '\r';
  int rc = 0;
  if (size + (isOpen ? 1 : 0) <= plain_limit()) {
    heap.starts.reserve(FIRST_STARTS);
    rc = for_each_line(text, [&heap](std::size_t start, std::size_t) {
      heap.starts.push_back(static_cast<Large>(start));
      return 0;
    });
    if (isOpen) heap.bytes.push_back('\0');
    std::replace_if(
        heap.bytes.begin(), heap.bytes.end(), [](char c) { return c == '\n' || c == '\r'; }, '\0');
  } else {
    Heap aligned;
    aligned.isAligned = true;
    rc = for_each_line(text, [&](std::size_t start, std::size_t length) {
      return static_cast<int>(aligned.add(text.substr(start, length)));
    });
    heap = std::move(aligned);
  }
  if (rc < 0) {
    rep->printf("File '%s' of %ld bytes is too large for a string index\n", filename, size);
    return -1;
  }
  take_heap(std::move(heap), FROM_LINES);
  return 0;
}

int TeraIndex::make_compressed(const char* filename, AceReporter* rep) {
  VInt size = 0;
  const OpenFile file = open_text(filename, &size, rep);
  if (file == nullptr) return -2;
  char line[LINE_SIZE];
  VInt count = 0;
  StringStats stats(NUM_CONTEXTS);
  TeraProgress progress(progress_flag());
  rep->psect(size, "Making statistics for compression");
  for (; get_piece(file.get(), line); ++count) {
    stats.insert(line);
    if (progress.is_due()) rep->printf("%d entries read\n", static_cast<int>(count));
  }
  if (check_end(file.get(), filename, count + 1) < 0) return -1;
  std::unique_ptr<StringComp> coder(stats.make(rep));
  constexpr int block = 1 << DEFAULT_LOG_BLOCK;
  const VInt blocks = (count + block - 1) / block;
  if (count > MAX_ENTRIES || BlockWriter::room_for(coder->get_comp_size(), blocks) > MAX_LARGE) {
    rep->print("Too much data for compression.\n");
    return -1;
  }
  rep->psect(count, "Writing compressed records");
  std::rewind(file.get());
  BlockWriter writer(coder.get(), coder->get_comp_size(), blocks);
  std::vector<std::string> texts;
  std::vector<const char*> strings;
  const auto write_block = [&] {
    strings.clear();
    for (const std::string& text : texts) strings.push_back(text.c_str());
    const int written = strings.empty() ? 0 : writer.add(strings);
    texts.clear();
    return written;
  };
  VInt coded = 0;
  int rc = 0;
  for (; rc == 0 && get_piece(file.get(), line); ++coded) {
    texts.emplace_back(line);
    if (texts.size() == block) rc = write_block();
    if (progress.is_due()) rep->printf("%d entries coded\n", static_cast<int>(coded));
  }
  if (check_end(file.get(), filename, coded + 1) < 0) return -1;
  if (rc == 0) rc = write_block();
  if (rc < 0 || coded != count) {  // the file has changed meanwhile
    rep->print("Buffer for compressed records is too small.\n");
    return -1;
  }
  clean();
  take_blocks(&writer, std::move(coder), static_cast<Large>(count));
  blockSize = block;
  heapMode = FROM_LINES;
  return 0;
}

int TeraIndex::make(int num, const char** strings, bool compress, int sorted, AceReporter* rep) {
  if (num < 0 || (num > 0 && strings == nullptr)) return -1;
  Heap heap;
  heap.starts.reserve(static_cast<std::size_t>(num));
  for (int i = 0; i < num; ++i)
    if (heap.add(or_empty(strings[i])) < 0) {
      rep->printf("The first %d of %d strings are too large for a string index\n", i, num);
      return -1;
    }
  take_heap(std::move(heap), FROM_ARRAY);
  if (sorted != 0)
    if (const int rc = resort(SORTED); rc < 0)
      return ace_error(__FILE__, __LINE__, "resort(\"ascii\")", rc, 0, rc);
  if (compress)
    if (const int rc = this->compress(DEFAULT_LOG_BLOCK); rc < 0)
      return ace_error(__FILE__, __LINE__, "compress(DEFAULT_LOG_BLOCK)", rc, 0, rc);
  return 0;
}

int TeraIndex::make_distinct(int num, const char* const* strings, AceReporter* rep) {
  if (num < 0 || (num > 0 && strings == nullptr)) return -1;
  VInt plainSize = 0;  // if nothing were shared
  VInt alignedSize = 0;
  VInt room = 1;
  for (int i = 0; i < num; ++i) {
    const VInt size = static_cast<VInt>(std::strlen(or_empty(strings[i]))) + 1;
    plainSize += size;
    alignedSize += align_offset(size);
    room += size > 1 ? size : 0;
  }
  Heap heap;
  heap.starts.reserve(static_cast<std::size_t>(num));
  if (room <= plain_limit()) heap.bytes.reserve(static_cast<std::size_t>(room));
  int empty = -1;
  for (int i = 0; i < num; ++i) {
    const std::string_view string(or_empty(strings[i]));
    if (string.empty() && empty >= 0) {
      heap.starts.push_back(heap.starts[static_cast<std::size_t>(empty)]);
    } else if (heap.add(string) < 0) {
      rep->printf("The first %d of %d strings are too large for a string index\n", i, num);
      return -1;
    }
    if (string.empty() && empty < 0) empty = i;
  }
  take_heap(std::move(heap), FROM_ARRAY);
  rep->printf("Saved %ld bytes in TeraIndex\n",
              (plainSize > plain_limit() ? alignedSize : plainSize) - bufferUsedSize);
  return 0;
}

int TeraIndex::heap_make(int num, const char** strings, Large heap_size, char* heap) {
  if (num < 0 || (num > 0 && (strings == nullptr || heap == nullptr || heap_size == 0))) return -1;
  if (num > 0 && heap[heap_size - 1] != '\0') {
    AceReporter::use_default()->printf("String heap of %u bytes does not end with a zero byte\n", heap_size);
    return -1;
  }
  Heap copy;
  copy.bytes.assign(heap, heap + heap_size);
  const char* const* end = strings + num;
  const char* const* first =
      std::find_if<const char* const*>(strings, end, [](const char* string) { return string != nullptr; });
  const auto is_inside = [=](const char* string) {
    return std::greater_equal<>()(string, heap) && std::less<>()(string, heap + heap_size);
  };
  Large empty = heap_size - 1;
  if (first != end && is_inside(*first))
    empty = static_cast<Large>(*first - heap + static_cast<VInt>(std::strlen(*first)));
  for (int i = 0; i < num; ++i) {
    if (strings[i] != nullptr && !is_inside(strings[i])) {
      AceReporter::use_default()->printf("String %d is not in the heap of %u bytes\n", i, heap_size);
      return -1;
    }
    copy.starts.push_back(strings[i] != nullptr ? static_cast<Large>(strings[i] - heap) : empty);
  }
  take_heap(std::move(copy), FROM_ARRAY);
  return 0;
}

VInt TeraIndex::reader_make(TeraReader* reader) {
  Heap heap;
  const char* string = nullptr;
  int rc = 0;
  while ((rc = reader->get_line(&string, nullptr, nullptr)) > 0)
    if (heap.add(string) < 0) {
      AceReporter::use_default()->printf("More than %ld strings are too large for a string index\n",
                                         static_cast<VInt>(heap.starts.size()));
      return -1;
    }
  if (rc < 0) return ace_error(__FILE__, __LINE__, "reader->get_line(&string, nullptr, nullptr)", rc, 0, -1);
  take_heap(std::move(heap), FROM_LINES);
  return numEntry;
}

Large TeraIndex::tree_make(AceBigTree<long>* tree, int log_block) {
  Heap heap;
  if (tree->for_each([&heap](const char* string, long) { return static_cast<int>(heap.add(string)); }) < 0) {
    AceReporter::use_default()->printf("%d strings are too large for a string index\n", tree->num_strings());
    return NONE;
  }
  take_heap(std::move(heap), FROM_ARRAY);
  colFacet = TeraCollation::factory(SORTED);
  if (log_block != 0)
    if (const int rc = compress(log_block); rc < 0)
      return ace_error(__FILE__, __LINE__, "compress(log_block)", rc, 0, NONE);
  return numEntry;
}

// ---------------------------------------------------------------- changing
// A heap that was mapped or lent is copied before the first change.

int TeraIndex::compress(int log_block) {
  if (is_compressed()) return 0;
  StringStats stats(NUM_CONTEXTS);
  for (Large id = 0; id < numEntry; ++id)
    if (stats.insert(plain_line(id)) < 0) return -1;
  std::unique_ptr<StringComp> coder(stats.make(AceReporter::use_default()));
  const bool isSize = log_block >= MIN_LOG_BLOCK && log_block <= MAX_LOG_BLOCK;
  const int block = isSize ? 1 << log_block : blockSize;
  const VInt blocks = (VInt{numEntry} + block - 1) / block;
  if (BlockWriter::room_for(coder->get_comp_size(), blocks) > MAX_LARGE) {
    AceReporter::use_default()->print("Too much data for compression.\n");
    return -1;
  }
  BlockWriter writer(coder.get(), coder->get_comp_size(), blocks);
  std::vector<const char*> strings;
  for (VInt first = 0; first < numEntry; first += block) {
    strings.clear();
    for (VInt id = first; id < std::min<VInt>(first + block, numEntry); ++id)
      strings.push_back(plain_line(static_cast<Large>(id)));
    if (const int rc = writer.add(strings); rc < 0)
      return ace_error(__FILE__, __LINE__, "writer.add(strings)", rc, 0, rc);
  }
  take_blocks(&writer, std::move(coder), numEntry);
  blockSize = block;
  return 0;
}

Large TeraIndex::optimize(AceReporter* rep) {
  VInt saved = 0;
  if (!is_compressed()) {
    Heap heap;
    heap.starts.reserve(numEntry);
    std::unordered_map<std::string_view, Large> known;
    std::vector<Large> originals;  // per entry the first one with the same string
    for (Large id = 0; id < numEntry; ++id) {
      const std::string_view string(plain_line(id));
      const auto [found, isNew] = known.try_emplace(string, id);
      originals.push_back(found->second);
      if (!isNew) heap.starts.push_back(0);
      // Strings that overlap in the old heap may need more room than it has: then it stays.
      if (isNew && (heap.add(string) < 0 || static_cast<VInt>(heap.bytes.size()) >= bufferUsedSize)) break;
    }
    if (originals.size() == numEntry && static_cast<VInt>(heap.bytes.size()) < bufferUsedSize) {
      // Not before now: the heap may have been aligned on the way.
      for (Large id = 0; id < numEntry; ++id) heap.starts[id] = heap.starts[originals[id]];
      saved = bufferUsedSize - static_cast<VInt>(heap.bytes.size());
      ownHeap = std::move(heap);
      memAt.release();
      fileMapped = 0;
      show_own();
    }
  }
  rep->printf("Saved %ld bytes in TeraIndex\n", saved);
  return static_cast<Large>(std::min(saved, MAX_LARGE - 1));
}

int TeraIndex::update(Large id, const char* string, int grow) {
  if (is_compressed() || (id >= numEntry && grow == 0) || VInt{id} >= MAX_ENTRIES) return -1;
  make_own();
  Heap& heap = ownHeap;
  // A string of this very heap would move with it.
  const std::string text(or_empty(string));
  int rc = 0;
  while (rc == 0 && heap.starts.size() < id) rc = static_cast<int>(heap.add(""));
  const bool isNew = heap.starts.size() == id;
  if (rc == 0) rc = static_cast<int>(heap.add(text));
  if (rc == 0 && !isNew) {
    heap.starts[id] = heap.starts.back();
    heap.starts.pop_back();
  }
  show_own();
  return rc;
}

int TeraIndex::reorder(const int* order) {
  if (is_compressed()) return -1;
  std::vector<Large> starts;
  std::vector<bool> isUsed(numEntry);
  starts.reserve(numEntry);
  for (Large i = 0; i < numEntry; ++i) {
    const VInt from = order[i];
    if (from < 0 || from >= numEntry || isUsed[static_cast<std::size_t>(from)]) {
      AceReporter::use_default()->printf("Order of %u strings: %ld, at %u, is %s\n", numEntry, from, i,
                                         from < 0 || from >= numEntry ? "none of them" : "there before");
      return -1;
    }
    isUsed[static_cast<std::size_t>(from)] = true;
    starts.push_back(entryStart[from]);
  }
  make_own();
  ownHeap.starts = std::move(starts);
  show_own();
  if (colFacet != nullptr) colFacet->destroy();
  colFacet = nullptr;
  return 0;
}

int TeraIndex::resort(const char* collation) {
  if (is_compressed()) return -1;
  TeraCollation* facet = TeraCollation::factory(collation);
  if (facet == nullptr) {
    AceReporter::use_default()->printf("There is no collation '%s'\n", or_empty(collation));
    return -1;
  }
  if (colFacet != nullptr) colFacet->destroy();
  colFacet = facet;
  make_own();
  std::vector<Large> order(numEntry);
  std::iota(order.begin(), order.end(), Large{0});
  std::sort(order.begin(), order.end(), [this](Large a, Large b) {
    const int sign = colFacet->compare_sort(plain_line(a), plain_line(b), 0);
    return sign != 0 ? sign < 0 : a < b;
  });
  for (Large& id : order) id = ownHeap.starts[id];
  ownHeap.starts = std::move(order);
  show_own();
  return 0;
}
