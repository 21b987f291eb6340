#include "ace/ace_huffman.h"

#include <algorithm>
#include <array>
#include <limits>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_flags.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr const char* MAGIC = "THUFF";
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int ENTRY_SIZE = sizeof(Tiny) + sizeof(Bit);
constexpr double BITS_PER_MBYTE = 1 << 23;
constexpr double BYTES_PER_MBYTE = 1 << 20;

using Leaves = std::vector<HuffmanItem*>;
using LevelCounts = std::array<VInt, HuffmanTree::MAX_CODE_BITS + 1>;

int table_width(const HuffmanItem* item) {
  return std::min(item->codeDepth, HuffmanTree::TABLE_BITS);
}

Bit table_size(int width) {
  return Bit{1} << width;
}

HuffmanItem* take_smallest(HuffmanHeap* heap, Leaves* leaves) {
  HuffmanItem* item = heap->del_min();
  if (item->is_leaf()) leaves->push_back(item);
  return item;
}

/// Merges all into one; `leaves` become the leaves in the order in which they left the heap, and `bits` the
/// sum of what was merged.
HuffmanItem* merge_all(HuffmanHeap* heap, Leaves* leaves, VInt* bits) {
  *bits = 0;
  while (heap->card() > 1) {
    HuffmanItem* smallest = take_smallest(heap, leaves);
    HuffmanItem* merged = smallest->merge(take_smallest(heap, leaves), heap);
    if (__builtin_add_overflow(*bits, merged->totalFreq, bits)) *bits = std::numeric_limits<VInt>::max();
    heap->insert(merged);
  }
  return take_smallest(heap, leaves);
}

void trace_lengths(const LevelCounts& counts) {
  static const AceTraceFlag trace("HUFFMAN", __FILE__, __LINE__);
  if (trace.get() == 0) return;
  for (std::size_t depth = 0; depth < counts.size(); ++depth)
    if (counts[depth] > 0)
      AceReporter::use_default()->printf("LEN=%d\tNUM=%d\n", static_cast<int>(depth),
                                         static_cast<int>(counts[depth]));
}

int report_too_deep() {
  static const AceTraceFlag verbose("VERBOSE_ERRORS", __FILE__, __LINE__);
  if (verbose.get() != 0) AceReporter::use_default()->print("Pattern too long\n");
  return -1;
}

struct Code {
  Bit symbol;
  Bit code;
  int length;
};

}  // namespace

// ---------------------------------------------------------------- items
// Two nodes merge into one above them; the shape that merging gives is kept as numbers of leaves by depth
// only.

HuffmanItem* HuffmanItem::merge(HuffmanItem* other, AceAttach* at) {
  auto* merged = new (at) HuffmanItem(0, totalFreq + other->totalFreq);
  merged->codeDepth = std::max(codeDepth, other->codeDepth) + 1;
  merged->leftSon = this;
  merged->rightSon = other;
  return merged;
}

void HuffmanItem::count(VInt* counts, int depth) const {
  if (is_leaf()) {
    ++counts[depth];
    return;
  }
  leftSon->count(counts, depth + 1);
  rightSon->count(counts, depth + 1);
}

HuffmanItem* HuffmanItem::reorg(const Leaves& leaves, AceAttach* at) const {
  LevelCounts counts{};
  count(counts.data());
  trace_lengths(counts);
  auto leaf = leaves.begin();
  Leaves level;  // the nodes of the present level, after those made of the level below
  for (int depth = codeDepth; depth > 0; --depth) {
    const auto end = leaf + counts[static_cast<std::size_t>(depth)];
    level.insert(level.begin(), leaf, end);
    leaf = end;
    Leaves above;
    above.reserve(level.size() / 2);
    for (std::size_t i = 0; i + 1 < level.size(); i += 2) above.push_back(level[i]->merge(level[i + 1], at));
    level = std::move(above);
  }
  return level.empty() ? leaves.front() : level.front();
}

// ---------------------------------------------------------------- statistics
// A symbol has one item, found by its value; the sum of all frequencies is kept beside them.

int HuffmanStat::insert(int symbol, VInt count) {
  if (count < 1) return 0;
  VInt sum = 0;
  if (__builtin_add_overflow(numInserts, count, &sum)) return -1;
  const VUint key = static_cast<Bit>(symbol);
  auto* node = codeSet.search(key);
  if (node == nullptr) {
    auto* leaf = new (&memAt) HuffmanItem(symbol, 0);
    node = codeSet.insert(key);
    node->avlValue = leaf;
  }
  node->avlValue->totalFreq += count;
  numInserts = sum;
  return 0;
}

VInt HuffmanStat::get_max() const {
  VInt largest = 0;
  codeSet.for_each([&](VUint, const HuffmanItem* leaf) {
    largest = std::max(largest, leaf->totalFreq);
    return 0;
  });
  return largest;
}

int HuffmanStat::stat() const {
  VInt left = numInserts;
  int rc = codeSet.for_each([&](VUint, const HuffmanItem* leaf) {
    left -= leaf->totalFreq;
    return leaf->totalFreq < 1 || left < 0 ? -1 : 0;
  });
  if (left != 0) rc = -1;
  return rc < 0 ? ace_error(__FILE__, __LINE__, "rc = rootNode->action(&int_func)", rc, 0, rc) : 0;
}

void HuffmanStat::clean() {
  codeSet.remove();
  memAt.release();
  numInserts = 0;
}

int HuffmanStat::collect(HuffmanHeap* heap) {
  codeSet.for_each([heap](VUint, HuffmanItem* leaf) {
    heap->insert(leaf);
    return 0;
  });
  heap->acquire(&memAt);
  const VInt sum = numInserts;
  clean();
  return static_cast<int>(sum);
}

// ---------------------------------------------------------------- building
// The lightest two items merge until one is left; its leaves, lightest first, take the depths found, deepest
// first.

VInt HuffmanTree::make(HuffmanStat* stat) {
  clean();
  HuffmanHeap heap;
  numCodes = stat->size();
  numInserts = stat->collect(&heap);
  if (heap.card() == 0) heap.insert(new (&heap) HuffmanItem(0, 0));
  Leaves leaves;
  const HuffmanItem* root = merge_all(&heap, &leaves, &numBits);
  if (root->codeDepth > MAX_CODE_BITS) {
    clean();
    return report_too_deep();
  }
  root = root->reorg(leaves, &heap);
  const int width = table_width(root);
  const VInt entries = table_size(width) + measure(root, 0, width);
  if (entries > std::numeric_limits<int>::max()) {
    clean();
    return -1;
  }
  memAt.malloc(newHelp, entries);
  memAt.malloc(newInfo, entries);
  helpArray = newHelp;
  infoArray = newInfo;
  codeDepth = width;
  accessMask = static_cast<int>(table_size(width)) - 1;
  arraySize = static_cast<int>(table_size(width));
  enter(root, width, 0, 0, 0);
  return numBits;
}

void HuffmanTree::clean() {
  memAt.release();
  helpArray = NO_HELP;
  infoArray = NO_INFO;
  accessMask = codeDepth = arraySize = numInserts = numCodes = fileMapped = 0;
  numBits = 0;
  newHelp = nullptr;
  newInfo = searchBit = bitCode = nullptr;
  codeLength = nullptr;
}

void HuffmanTree::borrow(std::span<const Tiny> help, std::span<const Bit> info, int width, int num_codes) {
  clean();
  helpArray = help.data();
  infoArray = info.data();
  codeDepth = width;
  accessMask = static_cast<int>(table_size(width)) - 1;
  arraySize = static_cast<int>(help.size());
  numCodes = num_codes;
}

/// The entries of all tables that hang on the part of a table below `item`.
VInt HuffmanTree::measure(const HuffmanItem* item, int level, int width) const {
  if (item->is_leaf()) return 0;
  VInt own = 0;
  if (level == width) {
    width = table_width(item);
    own = table_size(width);
    level = 0;
  }
  return own + measure(item->leftSon, level + 1, width) + measure(item->rightSon, level + 1, width);
}

/// Fills the entries whose low `level` bits are `prefix`, of the table of `width` bits at `base`.
void HuffmanTree::enter(const HuffmanItem* item, int width, Bit base, Bit prefix, int level) {
  if (item->is_leaf()) {
    for (Bit index = prefix; index < table_size(width); index += table_size(level)) {
      newHelp[base + index] = static_cast<Tiny>(level);
      newInfo[base + index] = static_cast<Bit>(item->bitWord);
    }
    return;
  }
  if (level == width) {
    const int below = table_width(item);
    newHelp[base + prefix] = static_cast<Tiny>(SUB_TABLE | below);
    newInfo[base + prefix] = static_cast<Bit>(arraySize);
    base = static_cast<Bit>(arraySize);
    arraySize += static_cast<int>(table_size(below));
    width = below;
    prefix = 0;
    level = 0;
  }
  enter(item->leftSon, width, base, prefix, level + 1);
  enter(item->rightSon, width, base, prefix | Bit{1} << level, level + 1);
}

// ---------------------------------------------------------------- encoding and decoding
// Encoding looks a symbol up among sorted ones, decoding follows tables of 8 bits.

int HuffmanTree::prepare() {
  return searchBit != nullptr || numCodes == 0 ? numCodes : gather();
}

int HuffmanTree::gather() {
  std::vector<Code> codes;
  action(
      [](Bit symbol, Bit code, int length, void* data) {
        static_cast<std::vector<Code>*>(data)->push_back({symbol, code, length});
        return 0;
      },
      &codes);
  if (codes.size() != static_cast<std::size_t>(numCodes)) return -1;
  std::sort(codes.begin(), codes.end(), [](const Code& a, const Code& b) {
    return a.symbol != b.symbol ? a.symbol < b.symbol : a.code < b.code;
  });
  Bit* symbols = nullptr;
  memAt.malloc(symbols, numCodes);
  memAt.malloc(bitCode, numCodes);
  memAt.malloc(codeLength, numCodes);
  for (std::size_t i = 0; i < codes.size(); ++i) {
    symbols[i] = codes[i].symbol;
    bitCode[i] = codes[i].code;
    codeLength[i] = static_cast<Tiny>(codes[i].length);
  }
  searchBit = symbols;
  return numCodes;
}

int HuffmanTree::search(Bit symbol, Bit* code) {
  if (prepare() <= 0) return -1;
  const Bit* end = searchBit + numCodes;
  const Bit* found = std::lower_bound(static_cast<const Bit*>(searchBit), end, symbol);
  if (found == end || *found != symbol) return -1;
  if (code != nullptr) *code = bitCode[found - searchBit];
  return codeLength[found - searchBit];
}

Bit HuffmanTree::first(const char* bytes) const {
  if (codeDepth == 0) return infoArray[0];
  Bit entry = static_cast<Token>(*bytes) & static_cast<Bit>(accessMask);
  while ((helpArray[entry] & SUB_TABLE) != 0) {
    const Bit mask = table_size(helpArray[entry] & SUB_TABLE_MASK) - 1;
    entry = infoArray[entry] + (static_cast<Token>(*++bytes) & mask);
  }
  return infoArray[entry];
}

// ---------------------------------------------------------------- persistence
// The tables are saved as they are, and believed when each is complete and one entry of one other leads to
// it.

VInt HuffmanTree::save(AceFile* file) const {
  file->put_magic(MAGIC);
  file->put_int(codeDepth);
  file->put_int(accessMask);
  file->put_int(arraySize);
  file->put_int(numCodes);
  file->put_int(numInserts);
  file->put_vint(numBits);
  if (arraySize > 0) {
    file->write(arraySize, helpArray, ARRAY_ALIGNMENT);
    file->write(arraySize * static_cast<VInt>(sizeof(Bit)), infoArray, ARRAY_ALIGNMENT);
  }
  return 0;
}

VInt HuffmanTree::read(AceFile* file) {
  clean();
  try {
    return read_payload(file);
  } catch (...) {
    clean();  // no mask without its tables
    throw;
  }
}

VInt HuffmanTree::read_payload(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"THUFF\")", rc, 0, -1);
  codeDepth = file->get_int();
  accessMask = file->get_int();
  arraySize = file->get_int();
  numCodes = file->get_int();
  numInserts = file->get_int();
  numBits = file->get_vint();
  if (file->is_short()) return refuse(file, "its head is cut");
  if (const char* reason = check_head(); reason != nullptr) return refuse(file, reason);
  if (arraySize == 0) return 0;
  const Tiny* help = file->read_array<Tiny>(arraySize, &memAt, ARRAY_ALIGNMENT);
  const Bit* info = help != nullptr ? file->read_array<Bit>(arraySize, &memAt, ARRAY_ALIGNMENT) : nullptr;
  if (info == nullptr) return refuse(file, "its tables are cut");
  helpArray = help;
  infoArray = info;
  if (const char* reason = check_tables(); reason != nullptr) return refuse(file, reason);
  fileMapped = file->is_mapped() ? 1 : 0;
  return 0;
}

/// What is wrong; null for nothing.
const char* HuffmanTree::check_head() const {
  if (codeDepth < 0 || codeDepth > TABLE_BITS) return "its first table is not 0 to 8 bits wide";
  const int firstSize = 1 << codeDepth;
  if (accessMask != firstSize - 1) return "its mask is not that of its first table";
  if (numCodes < 0 || numBits < 0) return "a count is negative";
  const bool isUnmade = arraySize == 0 && codeDepth == 0 && numCodes == 0;
  return isUnmade || arraySize >= firstSize ? nullptr : "its first table is not there";
}

const char* HuffmanTree::check_tables() const {
  AceFlags claimed;
  claimed.init(arraySize);
  VInt symbols = 0;
  if (!check_table(0, codeDepth, 0, &claimed, &symbols)) return "its tables are not those of a code";
  for (VInt i = 0; i < arraySize; ++i)
    if (!claimed.get(i)) return "an entry belongs to no table";
  return symbols == std::max(numCodes, 1) ? nullptr : "its tables have another number of symbols";
}

/// Whether the table, and all below it, is one that `enter` could have made for codes that go on after
/// `length` bits. Each entry is claimed once, and looked at twice at most.
bool HuffmanTree::check_table(VInt base, int width, int length, AceFlags* claimed, VInt* found) const {
  const VInt entries = table_size(width);
  if (base > arraySize - entries) return false;
  for (VInt i = 0; i < entries; ++i) {
    if (claimed->get(base + i)) return false;
    claimed->set(base + i);
  }
  VInt covered = 0;
  for (VInt i = 0; i < entries; ++i) {
    const Tiny help = helpArray[base + i];
    const Bit info = infoArray[base + i];
    if ((help & SUB_TABLE) != 0) {
      const int below = help & SUB_TABLE_MASK;
      if (width != TABLE_BITS || below < 1 || below > TABLE_BITS || length + width >= MAX_CODE_BITS ||
          !check_table(info, below, length + width, claimed, found))
        return false;
      ++covered;
      continue;
    }
    if (help > width || (help == 0 && width > 0) || length + help > MAX_CODE_BITS) return false;
    if (i >> help != 0) continue;  // a repetition of an entry before, counted there
    ++*found;
    for (VInt same = i; same < entries; same += VInt{1} << help, ++covered)
      if (helpArray[base + same] != help || infoArray[base + same] != info) return false;
  }
  return covered == entries;
}

int HuffmanTree::refuse(const AceFile* file, const char* reason) {
  AceReporter::use_default()->printf(
      "Huffman code that ends at offset %ld is broken, %s: first table of %d bits, %d entries, %d symbols\n",
      file->get_pos(), reason, codeDepth, arraySize, numCodes);
  clean();
  return -1;
}

// ---------------------------------------------------------------- diagnostics
// All symbols are reached by walking the tables, which is what a decoder can come to.

VInt HuffmanTree::print(AceReporter* rep) const {
  const double bits = static_cast<double>(numBits);
  rep->printf("CODES: INS=%10d\tAVG=%6.2f\tBITS=%11ld\tMBytes=%6.2f\n", numInserts,
              numInserts != 0 ? bits / numInserts : 0.0, numBits, bits / BITS_PER_MBYTE);
  rep->printf("TREE: SIZE=%10d\tCODES=%7d\tMBytes=%6.2f MBytes\n", arraySize, numCodes,
              static_cast<double>(arraySize) * ENTRY_SIZE / BYTES_PER_MBYTE);
  return numBits;
}

int HuffmanTree::write(AceReporter* rep) const {
  struct Listing {
    AceReporter* rep;
    int number;
  } listing{rep, 0};
  return action(
      [](Bit symbol, Bit code, int length, void* data) {
        char text[MAX_CODE_BITS + 1] = {};
        for (int i = 0; i < length; ++i) text[i] = (code >> i & 1) != 0 ? 'X' : '0';
        auto* to = static_cast<Listing*>(data);
        to->rep->printf("%3d. PATTERN %08x <=> HUFFMAN %s\n", ++to->number, symbol, text);
        return 1;
      },
      &listing);
}

int HuffmanTree::action(CodeFunction* callback, void* data) const {
  return numCodes > 0 ? sub(callback, data, 0, codeDepth, 0, 0) : 0;
}

/// The symbols of the table of `width` bits at `base`, which the `length` bits `code` lead to.
int HuffmanTree::sub(CodeFunction* callback, void* data, Bit base, int width, Bit code, int length) const {
  int sum = 0;
  for (Bit i = 0; i < table_size(width); ++i) {
    const Tiny help = helpArray[base + i];
    const Bit info = infoArray[base + i];
    const Bit bits = code | i << length;
    if ((help & SUB_TABLE) != 0)
      sum += sub(callback, data, info, help & SUB_TABLE_MASK, bits, length + width);
    else if (i >> help == 0)
      sum += callback(info, bits, length + help, data);
  }
  return sum;
}
