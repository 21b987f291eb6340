#include "tera/tera_module.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <utility>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "tera/edit/module_codes_internal.h"

namespace {

using module_codes::ESCAPE;
using module_codes::WORD_BITS;

constexpr int ARRAY_ALIGNMENT = 8;
constexpr int MAX_DENSITY = WORD_BITS * WORD_BITS;

const char* const TYPE_NAMES[] = {"STANDARD_SPARSE", "STANDARD_DENSE", "FILTER_SPARSE", "FILTER_MEDIUM",
                                  "FILTER_DENSE"};

/// The codes: for decoding from the tables that are made while compiling; the first encoder adds its index.
struct CompTrees {
  CompTrees() {
    for (int type = 0; type < TeraModule::NUM_TREES; ++type) module_codes::code_of(type).lend(&trees[type]);
  }
  HuffmanTree trees[TeraModule::NUM_TREES];
};

CompTrees& comp_trees() {
  static CompTrees trees;
  return trees;
}

}  // namespace

HuffmanTree* TeraModule::build_comp_trees(int type) {
  if (type < 0 || type >= NUM_TREES) return nullptr;
  static CompTrees& prepared = [&]() -> CompTrees& {
    for (HuffmanTree& tree : comp_trees().trees) tree.prepare();
    return comp_trees();
  }();
  return &prepared.trees[type];
}

// ---------------------------------------------------------------- building

void TeraModule::init(int words) {
  clean();
  columnWords = numWords = 2 * words;
  ownWords.resize(static_cast<std::size_t>(numWords));
  fullWords = ownWords.data();
}

void TeraModule::clean() {
  memAt.release();
  ownStream = {};
  ownWords = {};
  streamLen = numWords = columnWords = bitDensity = 0;
  bitStream = nullptr;
  fullWords = nullptr;
  compType = NO_TYPE;
}

int TeraModule::clear_empty() {
  if (is_compressed() || std::any_of(fullWords, fullWords + numWords, [](Bit word) { return word != 0; }))
    return 0;
  const int words = columnWords;
  clean();
  columnWords = words;
  return 1;
}

void TeraModule::set_full(int word, VBit bits) {
  Bit* halves = ownWords.data() + 2 * static_cast<VInt>(word);
  halves[0] |= static_cast<Bit>(bits);
  halves[1] |= static_cast<Bit>(bits >> WORD_BITS);
}

VBit TeraModule::get_full(int word, VBit bits) const {
  const Bit* halves = fullWords + 2 * static_cast<VInt>(word);
  return (halves[0] | VBit{halves[1]} << WORD_BITS) & bits;
}

// ---------------------------------------------------------------- coding

VInt TeraModule::coded_bits(int type, const Bit* words, int num) {
  HuffmanTree* const tree = build_comp_trees(type);
  const int escapeBits = tree->length(ESCAPE) + WORD_BITS;
  VInt bits = 0;
  for (int i = 0; i < num; ++i) {
    const int length = words[i] == ESCAPE ? -1 : tree->length(words[i]);
    bits += length < 0 ? escapeBits : length;
  }
  return bits;
}

int TeraModule::comp_type(int type) {
  if (is_compressed() || numWords == 0) return NO_TYPE;
  VInt fewest = std::min(VInt{WORD_BITS} * numWords, VInt{8} * INT_MAX);  // streamLen is an int
  int best = NO_TYPE;
  for (int candidate = 0; candidate < NUM_TREES; ++candidate) {
    if (type != NO_TYPE && type != candidate) continue;
    const VInt bits = coded_bits(candidate, fullWords, numWords);
    if (bits >= fewest) continue;
    fewest = bits;
    best = candidate;
  }
  return best;
}

void TeraModule::compress() {
  VInt bits = 0;
  for (int i = 0; i < numWords; ++i) bits += std::popcount(fullWords[i]);
  if (numWords != 0) bitDensity = static_cast<int>(WORD_BITS * bits / numWords);
  const int type = comp_type(NO_TYPE);
  if (type == NO_TYPE) return;

  HuffmanTree* tree = build_comp_trees(type);
  const std::vector<Bit> words = std::move(ownWords);
  ownWords = {};
  ownStream.resize(static_cast<std::size_t>(coded_bits(type, words.data(), numWords) / 8 + 1));
  BitStream out(ownStream.data());
  for (const Bit word : words) {
    if (word != ESCAPE && out.put(tree, word) >= 0) continue;
    out.put(tree, ESCAPE);
    ownWords.push_back(word);
  }
  streamLen = static_cast<int>(out.end());
  bitStream = ownStream.data();
  compType = type;
  numWords = static_cast<int>(ownWords.size());
  fullWords = ownWords.data();
}

TeraModule::Reader::Reader(const TeraModule& module)
    : itsModule(module), source(module.bitStream, 0, module.streamLen) {}

/// Calls `use(word)` for the next 32-bit words, which the column has. What changes stays in registers: `use`
/// may write anywhere.
template <class Use>
int TeraModule::Reader::each(int words, Use use) {
  const int first = std::exchange(numRead, numRead + words);
  if (!itsModule.is_compressed()) {
    for (int i = first; i < std::min(first + words, itsModule.numWords); ++i) use(itsModule.fullWords[i]);
    return 0;
  }
  const HuffmanTree* tree = &comp_trees().trees[itsModule.compType];
  BitSource local = source;
  for (int left = words; left > 0; --left) {
    Bit word = local.get(tree);
    if (word == ESCAPE) {
      if (numEscaped == itsModule.numWords) return -1;
      word = itsModule.fullWords[numEscaped++];
    }
    use(word);
  }
  source = local;
  return local.end() > itsModule.streamLen ? -1 : 0;
}

int TeraModule::Reader::read(VBit* out, int words) {
  auto* at = reinterpret_cast<char*>(out);  // the lower half of a word lies first
  const int num = std::min(2 * words, itsModule.columnWords - numRead);
  int rc = 0;
  if (itsModule.is_compressed()) {
    rc = each(num, [&at](Bit word) {
      std::memcpy(at, &word, sizeof word);
      at += sizeof word;
    });
  } else if (!itsModule.is_empty()) {
    const Bit* const from = itsModule.fullWords + std::exchange(numRead, numRead + num);
    std::memcpy(at, from, static_cast<std::size_t>(num) * sizeof(Bit));
    at += static_cast<std::size_t>(num) * sizeof(Bit);
  }
  auto* const end = reinterpret_cast<char*>(out + words);
  std::memset(at, 0, static_cast<std::size_t>(end - at));
  return rc;
}

int TeraModule::decompress(VBit* out, int words) const {
  return Reader(*this).read(out, words);
}

const VBit* TeraModule::get(int from, int words, AceAttach* at) const {
  auto* const out = static_cast<VBit*>(at->calloc(static_cast<VInt>(sizeof(VBit)) * words));
  int i = -2 * from;
  Reader(*this).each(std::min(2 * (from + words), columnWords), [&](Bit word) {
    if (i >= 0) out[i / 2] |= VBit{word} << (i % 2 * WORD_BITS);
    ++i;
  });
  return out;
}

const char* TeraModule::comp_desc() const {
  return compType == NO_TYPE ? "NO TYPE YET" : TYPE_NAMES[compType];
}

// ---------------------------------------------------------------- persistence

VInt TeraModule::save(AceFile* file) const {
  file->put_int(streamLen);
  file->put_int(numWords);
  file->put_int(bitDensity);
  file->put_int(compType);
  file->write(streamLen, bitStream, ARRAY_ALIGNMENT);
  file->write(VInt{WORD_BYTES} * numWords, fullWords, ARRAY_ALIGNMENT);
  return 0;
}

VInt TeraModule::read(AceFile* file, int words) {
  clean();
  columnWords = 2 * words;
  streamLen = file->get_int();
  numWords = file->get_int();
  bitDensity = file->get_int();
  compType = file->get_int();
  const bool isPlain = streamLen == 0 && compType == NO_TYPE && (numWords == 0 || numWords == columnWords);
  // Each symbol takes at least a bit.
  const bool isCoded = streamLen > 0 && streamLen <= VInt{4} * columnWords && compType >= 0 &&
                       compType < NUM_TREES && columnWords <= VInt{8} * streamLen && numWords >= 0 &&
                       numWords <= columnWords;
  if (file->is_short() || (!isPlain && !isCoded) || bitDensity < 0 || bitDensity > MAX_DENSITY) {
    AceReporter::use_default()->printf(
        "Bit column broken: stream of %d bytes, %d words, type %d in a column of %d words\n", streamLen,
        numWords, compType, columnWords);
    clean();
    return -1;
  }
  bitStream = file->read_array<Token>(streamLen, &memAt, ARRAY_ALIGNMENT);
  fullWords = file->read_array<Bit>(numWords, &memAt, ARRAY_ALIGNMENT);
  if ((streamLen == 0 || bitStream != nullptr) && (numWords == 0 || fullWords != nullptr)) return 0;
  clean();
  return -1;
}
