#include "tera/tera_string_comp.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "ace/ace_bit_stream.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int BYTE_BITS = 8;
constexpr VUint BYTE_MASK = 0xFF;
constexpr VUint ROW_MASK = 0xFF00;
constexpr int NUM_BYTES = StringComp::NUM_BYTES;
constexpr VInt STACK_SIZE = 8192;  // blocks of words fit in; others are decoded on the heap
constexpr int EVEN_OUT_STEP = 4;   // bits by which frequencies are shifted until a code is not too deep

constexpr std::size_t MAX_LENGTH = std::numeric_limits<int>::max();

Token byte_of(char c) {
  return static_cast<Token>(c);
}

std::size_t index_of(unsigned before, unsigned byte) {
  return before * std::size_t{NUM_BYTES} + byte;
}

/// Room for strings that are decoded before their size is known.
class Scratch {
 public:
  explicit Scratch(VInt size) {
    if (size > STACK_SIZE) heapBytes = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size));
  }
  char* get() { return heapBytes != nullptr ? heapBytes.get() : stackBytes; }

 private:
  char stackBytes[STACK_SIZE];
  std::unique_ptr<char[]> heapBytes;
};

}  // namespace

// ---------------------------------------------------------------- decoding
// A look into a table of 256 gives a byte and the bits that its code takes; rare long codes walk the tree.

/// The reader of one block. Behind its end it reads zero bits, and finds out after each string.
class StringComp::Decoder {
 public:
  Decoder(const StringComp* comp, const Token* block, VInt size)
      : strComp(comp), blockBytes(block), blockSize(size) {}

  /// The next string's length, or -1 when no string of the block can have it.
  VInt get_length() {
    fill();
    const LengthCode& code = strComp->lengthTable[bitPat & BYTE_MASK];
    VInt length = code.length;
    if (code.bits >= 0) {
      drop(code.bits);
    } else {
      length = strComp->lengthTree.first(reinterpret_cast<const char*>(&bitPat));
      const auto found = strComp->lengthBits.find(static_cast<Bit>(length));
      if (found == strComp->lengthBits.end()) return -1;
      drop(found->second);
    }
    return length <= bits_left() ? length : -1;
  }

  /// The next `length` bytes; false when they are damaged.
  bool get_bytes(char* out, VInt length) {
    const Small* table = strComp->byteTable.get();
    VUint row = 0;  // of the table: 256 times the byte before
    // The reader is in registers: the compiler cannot know that `out` is not the reader itself.
    VUint bits = bitPat;
    int count = bitCount;
    const char* end = out + length;
    while (out < end) {
      store(bits, count);
      fill();
      bits = bitPat;
      count = bitCount;
      const char* stop = out + std::min<VInt>(end - out, FULL_BITS / BYTE_BITS);
      Small entry = 1;
      while (out < stop) {
        entry = table[row | (bits & BYTE_MASK)];
        if (entry == 0) [[unlikely]]
          break;
        // A shift counts by the low six bits anyway, so that this mask takes no instruction.
        bits >>= entry & 63;
        count -= entry & 63;
        row = entry & ROW_MASK;
        *out++ = static_cast<char>(entry >> BYTE_BITS);
      }
      if (entry != 0) continue;
      store(bits, count);
      const Bit byte = get_long(row >> BYTE_BITS);
      if (byte == 0) return false;
      bits = bitPat;
      count = bitCount;
      row = VUint{byte} << BYTE_BITS;
      *out++ = static_cast<char>(byte);
    }
    store(bits, count);
    return bits_left() >= 0;
  }

 private:
  static constexpr int FULL_BITS = 56;  // loaded by `fill`

  void store(VUint bits, int count) {
    bitPat = bits;
    bitCount = count;
  }
  void drop(int bits) {
    bitPat >>= bits;
    bitCount -= bits;
  }
  VInt bits_left() const { return (blockSize - curPos) * BYTE_BITS + bitCount; }

  void fill() {
    if (blockSize - curPos >= VInt{sizeof bitPat}) [[likely]] {
      VUint word = 0;
      std::memcpy(&word, blockBytes + curPos, sizeof word);
      const int bytes = (63 - bitCount) / BYTE_BITS;
      // What does not fill a byte is loaded again next time, to the same bits.
      bitPat |= word << bitCount;
      bitCount += bytes * BYTE_BITS;
      curPos += bytes;
      return;
    }
    for (; bitCount < FULL_BITS; bitCount += BYTE_BITS, ++curPos)
      if (curPos < blockSize) bitPat |= VUint{blockBytes[curPos]} << bitCount;
  }

  /// A byte whose code is longer than the table; 0 for none.
  Bit get_long(VUint before) {
    fill();
    const HuffmanTree& tree = strComp->tokenTree[before % static_cast<VUint>(strComp->numTrees)];
    const Bit byte = tree.first(reinterpret_cast<const char*>(&bitPat));
    drop(strComp->codeLength[index_of(static_cast<unsigned>(before), byte)]);
    return byte;
  }

  const StringComp* strComp;
  const Token* blockBytes;
  VInt blockSize;
  VInt curPos = 0;   // bytes loaded, those behind the end included
  VUint bitPat = 0;  // loaded bits; above bitCount either zero or those that come next
  int bitCount = 0;
};

int StringComp::decode(const Token* block, VInt size, int count, char** out, AceAttach* at) const {
  Scratch scratch(size * BYTE_BITS + count + 1);
  char* end = scratch.get();
  Decoder decoder(this, block, size);
  int decoded = 0;
  for (; decoded < count; ++decoded) {
    const VInt length = decoder.get_length();
    if (length < 0 || !decoder.get_bytes(end, length)) break;
    out[decoded] = end;
    end[length] = '\0';
    end += length + 1;
  }
  *end++ = '\0';  // for damaged ones
  const VInt used = end - scratch.get();
  char* strings = static_cast<char*>(at->alloc(used));
  std::memcpy(strings, scratch.get(), static_cast<std::size_t>(used));
  for (int i = 0; i < decoded; ++i) out[i] = strings + (out[i] - scratch.get());
  for (int i = decoded; i < count; ++i) out[i] = strings + used - 1;
  return decoded;
}

char* StringComp::decode_one(const Token* block, VInt size, int index, VInt* length, AceAttach* at) const {
  Scratch scratch(size * BYTE_BITS);
  Decoder decoder(this, block, size);
  VInt found = 0;
  for (int i = 0; i <= index; ++i) {
    found = decoder.get_length();
    if (found >= 0 && decoder.get_bytes(scratch.get(), found)) continue;
    found = 0;
    break;
  }
  if (length != nullptr) *length = found;
  return at->attach(scratch.get(), found);
}

// ---------------------------------------------------------------- coding
// Each byte is coded after the one before it, a string's first after 0; the length comes first.

StringComp::StringComp() = default;
StringComp::~StringComp() = default;

VInt StringComp::measure(const char* const* strings, int count) {
  VInt bits = 0;
  for (int i = 0; i < count; ++i) {
    const std::string_view text(strings[i]);
    const auto length =
        text.size() <= MAX_LENGTH ? lengthBits.find(static_cast<Bit>(text.size())) : lengthBits.end();
    if (length == lengthBits.end()) return -1;
    bits += length->second;
    Token before = 0;
    for (const char c : text) {
      const int byteBits = codeLength[index_of(before, byte_of(c))];
      if (byteBits == 0) return -1;
      bits += byteBits;
      before = byte_of(c);
    }
  }
  return bits;
}

VInt StringComp::code(const char* const* strings, int count, Token* out) {
  if (measure(strings, count) < 0) return -1;
  BitStream stream(out);
  for (int i = 0; i < count; ++i) {
    const std::string_view text(strings[i]);
    stream.put(&lengthTree, static_cast<Bit>(text.size()));
    Token before = 0;
    for (const char c : text) {
      stream.put(&tokenTree[before % numTrees], byte_of(c));
      before = byte_of(c);
    }
  }
  return stream.end();
}

// ---------------------------------------------------------------- tables
// They are made from the codes, which are all that a file has.

/// Makes the tables from the codes. Returns what is wrong with them; null for nothing.
const char* StringComp::fill_tables() {
  struct Row {
    Small* entries;
    Tiny* lengths;
    int rc = 0;
  };
  byteTable = std::make_unique<Small[]>(NUM_BYTES * NUM_BYTES);
  codeLength = std::make_unique<Tiny[]>(NUM_BYTES * NUM_BYTES);
  for (int before = 0; before < NUM_BYTES; ++before) {
    const std::size_t start = index_of(static_cast<unsigned>(before), 0);
    Row row{byteTable.get() + start, codeLength.get() + start};
    tokenTree[before % numTrees].action(
        [](Bit symbol, Bit code, int length, void* data) {
          auto* to = static_cast<Row*>(data);
          if (symbol >= Bit{NUM_BYTES} || length == 0) return to->rc = -1;
          to->lengths[symbol] = static_cast<Tiny>(length);
          if (symbol == 0 || length > HuffmanTree::TABLE_BITS) return 0;
          for (Bit i = code; i < Bit{NUM_BYTES}; i += Bit{1} << length)
            to->entries[i] = static_cast<Small>(symbol << BYTE_BITS | static_cast<unsigned>(length));
          return 0;
        },
        &row);
    if (row.rc < 0) return "a symbol is no byte, or has no bits";
  }
  lengthTree.action(
      [](Bit symbol, Bit code, int length, void* data) {
        auto* comp = static_cast<StringComp*>(data);
        comp->lengthBits[symbol] = length;
        for (Bit i = code; length <= HuffmanTree::TABLE_BITS && i < Bit{NUM_BYTES}; i += Bit{1} << length)
          comp->lengthTable[i] = {symbol, length};
        return 0;
      },
      this);
  return nullptr;
}

// ---------------------------------------------------------------- persistence
// The code of lengths, and one of bytes for each context.

VInt StringComp::save(AceFile* file) const {
  file->put_int(numTrees);
  file->put_vint(compSize);
  lengthTree.save(file);
  for (int i = 0; i < numTrees; ++i) tokenTree[static_cast<std::size_t>(i)].save(file);
  return 0;
}

VInt StringComp::read(AceFile* file) {
  numTrees = file->get_int();
  compSize = file->get_vint();
  if (file->is_short()) return refuse(file, "its head is cut");
  if (numTrees < 1 || numTrees > NUM_BYTES) return refuse(file, "it needs 1 to 256 codes");
  if (compSize < 0) return refuse(file, "its size is negative");
  ACE_CALL(lengthTree.read(file));
  tokenTree = std::make_unique<HuffmanTree[]>(static_cast<std::size_t>(numTrees));
  for (int i = 0; i < numTrees; ++i)
    if (const VInt rc = tokenTree[static_cast<std::size_t>(i)].read(file); rc < 0)
      return ace_error(__FILE__, __LINE__, "tokenTree[i].read(file)", static_cast<int>(rc), 0, -1);
  const char* reason = fill_tables();
  return reason != nullptr ? refuse(file, reason) : 0;
}

int StringComp::refuse(const AceFile* file, const char* reason) const {
  AceReporter::use_default()->printf(
      "Coder of strings that ends at offset %ld is broken, %s: %d codes, %ld bits\n", file->get_pos(), reason,
      numTrees, compSize);
  return -1;
}

// ---------------------------------------------------------------- statistics
// How often each length occurs, and each byte behind each context.

StringStats::StringStats(int contexts)
    : tokenStat(static_cast<std::size_t>(std::clamp(contexts, 1, NUM_BYTES))),
      numStat(static_cast<int>(tokenStat.size())) {}

int StringStats::insert(const char* string) {
  const std::string_view text(string);
  if (text.size() > MAX_LENGTH) return -1;
  ++lengthStat[static_cast<int>(text.size())];
  std::size_t before = 0;
  for (const char c : text) {
    const std::size_t byte = byte_of(c);
    ++tokenStat[before % tokenStat.size()][byte];
    before = byte;
  }
  return 0;
}

namespace {

/// Makes a code for counts, which `for_each(f)` gives to f(symbol, count).
void make_tree(HuffmanTree* tree, const auto& for_each) {
  for (int shift = 0;; shift += EVEN_OUT_STEP) {
    HuffmanStat stat;
    for_each([&](int symbol, VInt count) {
      if (count > 0) stat.insert(symbol, std::max(count >> std::min(shift, 62), VInt{1}));
    });
    if (tree->make(&stat) >= 0) return;
  }
}

}  // namespace

StringComp* StringStats::make(AceReporter* /*rep*/) const {
  auto comp = std::make_unique<StringComp>();
  comp->numTrees = numStat;
  comp->tokenTree = std::make_unique<HuffmanTree[]>(tokenStat.size());
  for (std::size_t i = 0; i < tokenStat.size(); ++i)
    make_tree(&comp->tokenTree[i], [&](const auto& f) {
      const ByteCounts& counts = tokenStat[i];
      for (int byte = 0; byte < NUM_BYTES; ++byte) f(byte, counts[static_cast<std::size_t>(byte)]);
      // With byte 0, which no string has, beside it a lone byte gets a code of one bit, not of none.
      if (std::count(counts.begin(), counts.end(), 0) == NUM_BYTES - 1) f(0, 1);
    });
  make_tree(&comp->lengthTree, [&](const auto& f) {
    for (const auto& [length, count] : lengthStat) f(length, count);
  });
  comp->fill_tables();
  for (const auto& [length, count] : lengthStat)
    comp->compSize += count * comp->lengthBits[static_cast<Bit>(length)];
  for (std::size_t i = 0; i < tokenStat.size(); ++i)
    for (unsigned byte = 0; byte < NUM_BYTES; ++byte)
      comp->compSize += tokenStat[i][byte] * comp->codeLength[index_of(static_cast<unsigned>(i), byte)];
  return comp.release();
}
