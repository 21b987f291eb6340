#include "tera/tera_index.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "tera/tera_collation.h"
#include "tera/tera_string_comp.h"

namespace {

constexpr const char* MAGIC = "TIDX";
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int MAX_BLOCK = 32;
constexpr VInt MAX_LARGE = std::numeric_limits<Large>::max();
constexpr VInt MAX_ENTRIES = MAX_LARGE - 1;

}  // namespace

// ---------------------------------------------------------------- state
// The arrays are those of `ownHeap`, or lie where they were read, which the first change copies.

TeraIndex::TeraIndex() = default;

TeraIndex::TeraIndex(int num, VInt heap) {
  init(num, heap);
}

TeraIndex::~TeraIndex() {
  clean();
}

int TeraIndex::init(int num, VInt heap) {
  clean();
  if (num < 0 || heap < 0) return -1;
  ownHeap.starts.reserve(static_cast<std::size_t>(num));
  ownHeap.bytes.reserve(static_cast<std::size_t>(heap));
  show_own();
  return 0;
}

void TeraIndex::clean() {
  if (colFacet != nullptr) colFacet->destroy();
  colFacet = nullptr;
  compHandle.reset();
  ownHeap = Heap();
  memAt.release();
  show_own();
  heapMode = 0;
  blockSize = 1;
  fileMapped = 0;
}

/// The arrays and sizes of the plain heap `ownHeap`.
void TeraIndex::show_own() {
  entryStart = ownHeap.starts.data();
  numEntry = static_cast<Large>(ownHeap.starts.size());
  maxEntry = static_cast<Large>(std::min<std::size_t>(ownHeap.starts.capacity(), MAX_LARGE));
  entryBuffer = ownHeap.bytes.data();
  bufferUsedSize = static_cast<VInt>(ownHeap.bytes.size());
  bufferAllocatedSize = static_cast<VInt>(ownHeap.bytes.capacity());
  intAligned = ownHeap.isAligned;
}

void TeraIndex::take_heap(Heap heap, int mode) {
  clean();
  ownHeap = std::move(heap);
  heapMode = mode;
  show_own();
}

/// Copies arrays that were read, before the heap of strings is changed.
void TeraIndex::make_own() {
  if (entryStart == ownHeap.starts.data()) return;
  ownHeap.starts.assign(entryStart, entryStart + numEntry);
  ownHeap.bytes.assign(entryBuffer, entryBuffer + bufferUsedSize);
  ownHeap.isAligned = intAligned;
  memAt.release();
  fileMapped = 0;
  show_own();
}

Large TeraIndex::num_blocks() const {
  return static_cast<Large>((VInt{numEntry} + blockSize - 1) / blockSize);
}

// ---------------------------------------------------------------- strings
// A string is found by its block; within a compressed block, those in front are decoded, too.

VInt TeraIndex::block_bytes(Large block) const {
  const VInt end = block + 1 < num_blocks() ? VInt{entryStart[block + 1]} : bufferUsedSize;
  return std::max<VInt>(std::min(end, bufferUsedSize) - VInt{entryStart[block]}, 0);
}

const Token* TeraIndex::block_at(Large block) const {
  return reinterpret_cast<const Token*>(entryBuffer) + std::min(VInt{entryStart[block]}, bufferUsedSize);
}

/// The number of strings in a block: the last one may have fewer.
int TeraIndex::block_count(Large block) const {
  const VInt first = VInt{block} * blockSize;
  return static_cast<int>(std::min<VInt>(blockSize, VInt{numEntry} - first));
}

const char* TeraIndex::get_line(Large id, AceAttach* at) const {
  if (id >= numEntry) return nullptr;
  if (!is_compressed()) return plain_line(id);
  const auto size = static_cast<Large>(blockSize);
  const Large block = id / size;
  return compHandle->decode_one(block_at(block), block_bytes(block), static_cast<int>(id % size), nullptr,
                                at);
}

char* TeraIndex::get_line_copy(Large id, AceAttach* at) const {
  if (id >= numEntry) return nullptr;
  if (!is_compressed()) return at->attach(plain_line(id));
  return const_cast<char*>(get_line(id, at));  // in `at` anyway
}

int TeraIndex::get_line_len(Large id) const {
  AceAttach at;
  const char* line = get_line(id, &at);
  if (line == nullptr) return -1;
  return static_cast<int>(std::min<std::size_t>(std::strlen(line), std::numeric_limits<int>::max()));
}

Large TeraIndex::get_heap_pos(Large id) const {
  return id < numEntry ? entryStart[id / static_cast<Large>(blockSize)] : NONE;
}

Large TeraIndex::get_block(Large first, char** out, Large count, AceAttach* at) const {
  if (first >= numEntry) return 0;
  count = std::min(count, numEntry - first);
  if (!is_compressed()) {
    for (Large i = 0; i < count; ++i) out[i] = const_cast<char*>(plain_line(first + i));
    return count;
  }
  const auto size = static_cast<Large>(blockSize);
  char* strings[MAX_BLOCK];
  for (Large done = 0; done < count;) {
    const Large block = (first + done) / size;
    const Large from = (first + done) % size;
    const Large upTo = std::min(from + (count - done), static_cast<Large>(block_count(block)));
    compHandle->decode(block_at(block), block_bytes(block), static_cast<int>(upTo), strings, at);
    std::copy(strings + from, strings + upTo, out + done);
    done += upTo - from;
  }
  return count;
}

void TeraIndex::for_each(const std::function<void(const char*, int)>& f) const {
  char* strings[MAX_BLOCK];
  for (VInt first = 0; first < numEntry; first += MAX_BLOCK) {
    AceAttach at;
    const Large count = get_block(static_cast<Large>(first), strings, MAX_BLOCK, &at);
    for (Large i = 0; i < count; ++i) f(strings[i], static_cast<int>(first + i));
  }
}

// ---------------------------------------------------------------- search
// Bisection by the collation's order; of compressed heaps blocks are decoded on the way.

/// The first string that does not come before a key, where `compare(string)` has the sign of the key against
/// it.
Large TeraIndex::find(bool insert, const auto& compare) const {
  const auto size = static_cast<Large>(blockSize);
  Large first = 0;  // of the blocks whose first string does not come before the key
  Large last = num_blocks();
  bool isEqual = false;
  AceAttach at;
  while (first < last) {
    const Large middle = first + (last - first) / 2;
    const int order = compare(get_line(middle * size, &at));
    if (order > 0) {
      first = middle + 1;
    } else {
      last = middle;
      isEqual = order == 0;
    }
  }
  VInt found = VInt{first} * size;
  if (size > 1 && first > 0) {  // the block before may have strings that do not come before the key either
    char* strings[MAX_BLOCK];
    const int count = block_count(first - 1);
    compHandle->decode(block_at(first - 1), block_bytes(first - 1), count, strings, &at);
    for (int i = count; i-- > 1;) {
      const int order = compare(strings[i]);
      if (order > 0) break;
      isEqual = order == 0;
      found = VInt{first - 1} * size + i;
    }
  }
  found = std::min(found, VInt{numEntry});
  return isEqual || insert ? static_cast<Large>(found) : NONE;
}

Large TeraIndex::search(const char* key, int insert, int prefix) const {
  if (colFacet == nullptr || key == nullptr) return NONE;
  return find(insert != 0, [=, this](const char* line) { return colFacet->compare_sort(key, line, prefix); });
}

Large TeraIndex::search_interval(const char* key, int insert, int unused) const {
  if (colFacet == nullptr || key == nullptr) return NONE;
  return find(insert != 0,
              [=, this](const char* line) { return colFacet->compare_limit(key, line, unused); });
}

int TeraIndex::cmp(const char* first, const char* second, int prefix) const {
  return colFacet != nullptr ? colFacet->compare_sort(first, second, prefix) : -1;
}

// ---------------------------------------------------------------- persistence
// Arrays stay where they are mapped; offsets are bounded where they are used, and checked by `verify`.

VInt TeraIndex::save(AceFile* file) {
  file->mem_open("String Table");
  file->mem_info("Number of entries: %d", static_cast<int>(numEntry));
  file->mem_info("Total heap size: %ld", bufferUsedSize);
  file->mem_info("intAligned: %d", intAligned ? 1 : 0);
  file->put_magic(MAGIC);
  file->put_int(heapMode);
  file->put_int(numEntry);
  file->put_int(blockSize);
  file->put_vint(bufferUsedSize);
  file->put_int(is_compressed() ? 1 : 0);
  file->put_bool(intAligned);
  if (is_compressed()) {
    file->mem_point("Huffman Compression");
    compHandle->save(file);
  }
  file->mem_point("String Pointers");
  file->write(VInt{num_blocks()} * VInt{sizeof(Large)}, entryStart, ARRAY_ALIGNMENT);
  file->mem_point("String Buffer");
  file->write(bufferUsedSize, entryBuffer, ARRAY_ALIGNMENT);
  if (colFacet != nullptr)
    colFacet->save(file);
  else
    file->put_int(0);
  file->mem_close();
  return 0;
}

VInt TeraIndex::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
}

VInt TeraIndex::read_payload(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"TIDX\")", rc, 0, -1);
  heapMode = file->get_int();
  numEntry = file->get_large();
  blockSize = file->get_int();
  bufferUsedSize = file->get_vint();
  const int isCompressed = file->get_int();
  intAligned = file->get_bool();
  if (file->is_short()) return refuse(file, "its head is cut");
  if (isCompressed != 0 && isCompressed != 1) return refuse(file, "it is neither compressed nor not");
  const bool isPower = blockSize >= 1 && blockSize <= MAX_BLOCK && (blockSize & (blockSize - 1)) == 0;
  if (!isPower || (isCompressed == 0 && blockSize != 1))
    return refuse(file, "its block size is none that is built");
  if (intAligned && isCompressed == 1) return refuse(file, "its blocks are aligned");
  if (numEntry > MAX_ENTRIES) return refuse(file, "it has too many strings");
  if (isCompressed == 1) {
    compHandle = std::make_unique<StringComp>();
    ACE_CALL(compHandle->read(file));
  }
  entryStart = file->read_array<Large>(num_blocks(), &memAt, ARRAY_ALIGNMENT);
  if (entryStart == nullptr && numEntry > 0) return refuse(file, "its offsets are cut");
  entryBuffer = file->read_array<char>(bufferUsedSize, &memAt, ARRAY_ALIGNMENT);
  if (entryBuffer == nullptr && bufferUsedSize != 0) return refuse(file, "its heap is cut");
  if (const char* reason = check_heap(); reason != nullptr) return refuse(file, reason);
  const bool isSorted = file->preview_int() != 0;
  colFacet = TeraCollation::read(file);
  if (file->is_short()) return refuse(file, "its collation is cut");
  if (isSorted && colFacet == nullptr) return refuse(file, "its collation is not known");
  maxEntry = num_blocks();
  bufferAllocatedSize = bufferUsedSize;
  fileMapped = file->is_mapped() ? 1 : 0;
  return 0;
}

/// What is wrong with the heap's end; null for nothing.
const char* TeraIndex::check_heap() const {
  if (is_compressed() || numEntry == 0) return nullptr;
  const bool isTerminated = bufferUsedSize > 0 && entryBuffer[bufferUsedSize - 1] == '\0';
  return isTerminated ? nullptr : "its heap does not end with a zero byte";
}

/// What is wrong with the offsets.
const char* TeraIndex::check_starts() const {
  const Large* first = entryStart;
  const Large* end = first + num_blocks();
  if (first == end) return nullptr;
  if (!is_compressed())
    return byte_offset(*std::max_element(first, end)) < bufferUsedSize ? nullptr
                                                                       : "a string is not in its heap";
  if (!std::is_sorted(first, end)) return "its blocks do not ascend";
  return VInt{*(end - 1)} <= bufferUsedSize ? nullptr : "a block is not in its heap";
}

int TeraIndex::verify(AceReporter* rep) const {
  const char* reason = check_heap();
  if (reason == nullptr) reason = check_starts();
  if (reason == nullptr) return 0;
  rep->printf("String index is broken, %s: %u strings in blocks of %d, heap of %ld bytes\n", reason, numEntry,
              blockSize, bufferUsedSize);
  return -1;
}

int TeraIndex::refuse(const AceFile* file, const char* reason) {
  AceReporter::use_default()->printf(
      "String index that is broken at offset %ld, %s: %u strings in blocks of %d, heap of %ld bytes\n",
      file->get_pos(), reason, numEntry, blockSize, bufferUsedSize);
  return -1;
}

int TeraIndex::print(AceReporter* rep) const {
  rep->printf("NUM_STRINGS\t %u\n", numEntry);
  rep->printf("NUM_BLOCS\t %u\n", num_blocks());
  rep->printf("BUF_SIZE\t %ld\n", bufferUsedSize);
  rep->printf("INT_ALIGNED\t %d\n", intAligned ? 1 : 0);
  rep->printf("HEAP_MODE\t %d\n", heapMode);
  rep->printf("SORT_MODE\t %s\n", colFacet != nullptr ? colFacet->get_name() : "no collation");
  return 0;
}

AceWrap* TeraIndexfactory(AceFile* file) {
  if (file->preview_int() != magic_number(MAGIC)) return nullptr;
  auto index = std::make_unique<TeraIndex>();
  return index->read(file) >= 0 ? index.release() : nullptr;
}

AceWrap* TeraIndexfactoryCreate() {
  return new TeraIndex;
}

namespace {

const MagicFactory<AceWrap> registered(TeraIndexfactory, TeraIndexfactoryCreate, "TeraIndex");

}  // namespace
