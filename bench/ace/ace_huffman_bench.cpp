/// Decoding strings of a Huffman code, with one code for all bytes and with one for each preceding byte,
/// against the textbook decoder that walks a tree bit by bit.
#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_bit_stream.h"
#include "ace/ace_huffman.h"
#include "ratio.h"

namespace {

constexpr std::size_t TEXT_SIZE = 4 << 20;
constexpr std::size_t BYTE_VALUES = 256;

/// Names and streets: syllables of uneven frequency, blanks and some figures.
std::string sample_text() {
  const std::array<const char*, 24> syllables = {"er",  "en", "mann", "stra", "sse", "be",  "ck",  "ha",
                                                 "mu",  "el", "le",   "ri",   "ch",  "ard", "Sch", "mi",
                                                 "dt ", " ",  " ",    "We",   "ng",  "ton", "Ma",  "ya "};
  std::mt19937 random(1);
  std::string text;
  while (text.size() < TEXT_SIZE) {
    const std::size_t pick = std::min(random() % syllables.size(), random() % syllables.size());
    text += random() % 12 == 0 ? std::to_string(random() % 200) : syllables[pick];
  }
  text.resize(TEXT_SIZE);
  return text;
}

/// The textbook: nodes with two sons, a bit at a time.
class PlainTree {
 public:
  void add(Bit symbol, Bit code, int length) {
    std::size_t node = 0;
    for (int i = 0; i < length; ++i) {
      const std::size_t bit = code >> i & 1;
      if (nodes[node].sons[bit] == 0) {
        nodes[node].sons[bit] = nodes.size();
        nodes.emplace_back();
      }
      node = nodes[node].sons[bit];
    }
    nodes[node].symbol = symbol;
  }
  Bit decode(const Token* bytes, std::size_t* pos) const {
    std::size_t node = 0;
    while (nodes[node].sons[0] != 0) {
      node = nodes[node].sons[bytes[*pos / 8] >> (*pos % 8) & 1];
      ++*pos;
    }
    return nodes[node].symbol;
  }

 private:
  struct Node {
    std::size_t sons[2] = {0, 0};
    Bit symbol = 0;
  };
  std::vector<Node> nodes{1};
};

/// A text in the code of its bytes; with `numCodes` 256, each in the context of its predecessor.
struct CodedText {
  explicit CodedText(std::size_t numCodes) : codes(numCodes), plain(numCodes), text(sample_text()) {
    std::vector<HuffmanStat> stats(numCodes);
    std::size_t before = 0;
    for (const char byte : text) {
      const auto symbol = static_cast<Token>(byte);
      stats[before % numCodes].insert(symbol, 1);
      before = symbol;
    }
    for (std::size_t i = 0; i < numCodes; ++i) {
      codes[i].make(&stats[i]);
      codes[i].action(
          [](Bit symbol, Bit code, int length, void* tree) {
            static_cast<PlainTree*>(tree)->add(symbol, code, length);
            return 0;
          },
          &plain[i]);
    }
    stream.resize(2 * text.size());
    BitStream bits(stream.data());
    before = 0;
    for (const char byte : text) {
      const auto symbol = static_cast<Token>(byte);
      bits.put(&codes[before % numCodes], symbol);
      before = symbol;
    }
    stream.resize(static_cast<std::size_t>(bits.end()));
    out.resize(text.size());
  }

  void decode() {
    const HuffmanTree* trees = codes.data();
    if (codes.size() == 1)
      decode_with([trees](Bit) { return trees; });
    else
      decode_with([trees](Bit before) { return trees + before; });
  }

  void decode_with(const auto& tree_behind) {
    BitSource bits(stream.data(), 0, static_cast<VInt>(stream.size()));
    Bit before = 0;
    for (char& byte : out) {
      before = bits.get(tree_behind(before));
      byte = static_cast<char>(before);
    }
  }

  void decode_plainly() {
    std::size_t pos = 0;
    Bit before = 0;
    for (char& byte : out) {
      before = plain[before & (codes.size() - 1)].decode(stream.data(), &pos);
      byte = static_cast<char>(before);
    }
  }

  std::vector<HuffmanTree> codes;
  std::vector<PlainTree> plain;
  std::string text;
  std::vector<Token> stream;
  std::string out;
};

void decode_strings(benchmark::State& state) {
  CodedText coded(static_cast<std::size_t>(state.range(0)));
  bench::compare(
      state, TEXT_SIZE, [&] { coded.decode(); }, [&] { coded.decode_plainly(); });
  coded.out.assign(TEXT_SIZE, '\0');
  coded.decode();
  if (coded.out != coded.text) std::abort();
  state.counters["mb_per_s"] = 1e3 / state.counters["ours_ns"];
  state.counters["bits_per_byte"] = 8.0 * static_cast<double>(coded.stream.size()) / TEXT_SIZE;
}
BENCHMARK(decode_strings)
    ->Name("AceHuffman/decode_strings")
    ->ArgName("codes")
    ->Arg(1)
    ->Arg(BYTE_VALUES)
    ->UseManualTime();

}  // namespace
