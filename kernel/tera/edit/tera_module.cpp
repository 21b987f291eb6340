#include "tera/tera_module.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <utility>

#include "ace/ace_bit_stream.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int WORD_BITS = 32;
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int MAX_DENSITY = WORD_BITS * WORD_BITS;
/// A word that is hardly ever there; where it is, it is escaped itself.
constexpr Bit ESCAPE = 0x96A55A69;

const char* const TYPE_NAMES[] = {"STANDARD_SPARSE", "STANDARD_DENSE", "FILTER_SPARSE", "FILTER_MEDIUM",
                                  "FILTER_DENSE"};

/// How often words of a kind are expected, per word of the kind. Part of the file format: a change makes
/// other codes.
struct Weights {
  int none, one, two, run, all, allButOne, escape;
};
constexpr Weights WEIGHTS[TeraModule::NUM_TREES] = {
    {60000, 200, 4, 2, 50, 1, 300},    {8000, 300, 24, 8, 2000, 10, 12000},
    {20000, 400, 16, 4, 200, 2, 3000}, {3000, 200, 20, 6, 500, 10, 25000},
    {300, 20, 4, 4, 6000, 150, 60000},
};

void insert_symbols(HuffmanStat* stat, const Weights& weights) {
  const auto insert = [stat](Bit word, int weight) { stat->insert(static_cast<int>(word), weight); };
  insert(0, weights.none);
  insert(~Bit{0}, weights.all);
  insert(ESCAPE, weights.escape);
  for (int i = 0; i < WORD_BITS; ++i) {
    insert(Bit{1} << i, weights.one);
    insert(~(Bit{1} << i), weights.allButOne);
    for (int j = i + 1; j < WORD_BITS; ++j) insert(Bit{1} << i | Bit{1} << j, weights.two);
  }
  // Runs that are not among those above.
  for (int length = 3; length < WORD_BITS - 1; ++length)
    for (int from = 0; from + length <= WORD_BITS; ++from)
      insert(((Bit{1} << length) - 1) << from, weights.run);
}

struct CompTrees {
  CompTrees() {
    for (int type = 0; type < TeraModule::NUM_TREES; ++type) {
      HuffmanStat stat;
      insert_symbols(&stat, WEIGHTS[type]);
      trees[type].make(&stat);
      trees[type].prepare();
      escapeBits[type] = trees[type].length(ESCAPE) + WORD_BITS;
    }
  }
  HuffmanTree trees[TeraModule::NUM_TREES];
  int escapeBits[TeraModule::NUM_TREES];
};

CompTrees& comp_trees() {
  static CompTrees trees;
  return trees;
}

}  // namespace

HuffmanTree* TeraModule::build_comp_trees(int type) {
  return type >= 0 && type < NUM_TREES ? &comp_trees().trees[type] : nullptr;
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
  CompTrees& all = comp_trees();
  VInt bits = 0;
  for (int i = 0; i < num; ++i) {
    const int length = words[i] == ESCAPE ? -1 : all.trees[type].length(words[i]);
    bits += length < 0 ? all.escapeBits[type] : length;
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

/// Calls `use(word)` for the first 32-bit words of a stream.
template <class Use>
int TeraModule::decode(int words, Use use) const {
  const HuffmanTree* tree = build_comp_trees(compType);
  BitSource source(bitStream, 0, streamLen);
  int escaped = 0;
  for (int i = 0; i < words; ++i) {
    Bit word = source.get(tree);
    if (word == ESCAPE) {
      if (escaped == numWords) return -1;
      word = fullWords[escaped++];
    }
    use(word);
  }
  return source.end() > streamLen ? -1 : 0;
}

int TeraModule::decompress(VBit* out, int words) const {
  std::fill_n(out, words, VBit{0});
  const int num = std::min(2 * words, columnWords);
  int i = 0;
  const auto store = [&](Bit word) {
    out[i / 2] |= VBit{word} << (i % 2 * WORD_BITS);
    ++i;
  };
  if (is_compressed()) return decode(num, store);
  for (const Bit* word = fullWords; word != fullWords + std::min(num, numWords); ++word) store(*word);
  return 0;
}

const VBit* TeraModule::get(int from, int words, AceAttach* at) const {
  auto* const out = static_cast<VBit*>(at->calloc(static_cast<VInt>(sizeof(VBit)) * words));
  int i = -2 * from;
  const auto store = [&](Bit word) {
    if (i >= 0) out[i / 2] |= VBit{word} << (i % 2 * WORD_BITS);
    ++i;
  };
  const int num = std::min(2 * (from + words), columnWords);
  if (is_compressed())
    decode(num, store);
  else
    for (const Bit* word = fullWords; word != fullWords + std::min(num, numWords); ++word) store(*word);
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
