// Hostile Huffman payloads and streams. The first byte is the kind: 0 a payload from nothing, 1 changes to
// the payload of a sound code with sub-tables, 2 frequencies of a code that must be optimal enough to give
// back what was written. Paths: tables that overlap, loop, lead outside or too far; both reading directions.
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_bit_stream.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_huffman.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "support/payload.h"

namespace {

using fuzz::require;
using support::image_of;

std::string sound_image() {
  HuffmanStat stat;
  VInt count = 1;
  for (int symbol = 0; symbol < 18; ++symbol, count += count / 2 + 1) stat.insert(symbol, count);
  HuffmanTree tree;
  tree.make(&stat);
  return image_of(tree);
}

void use(HuffmanTree* tree, const std::string& bytes) {
  const std::vector<Token> stream(bytes.begin(), bytes.end());
  const VInt size = static_cast<VInt>(stream.size());
  for (const short rev : {short{0}, short{1}}) {
    BitSource in(stream.data() + (rev != 0 ? size : 0), rev, size);
    for (VInt i = 0; i < size + 9; ++i) {
      const Bit symbol = in.get(tree);
      require(tree->get_num_codes() == 0 || tree->length(symbol) >= 0);
      in.get(static_cast<int>(symbol % 33));
    }
    in.rnd(tree);
  }
  tree->write(AceReporter::null());
}

void load(const std::string& bytes) {
  support::PayloadFile file(bytes);
  HuffmanTree tree;
  try {
    const bool isRead = tree.read(file.get()) == 0;
    use(&tree, bytes);
    if (!isRead) return;
  } catch (const AceException&) {
    return;
  }
  const std::string saved = image_of(tree);
  support::PayloadFile again(saved);
  HuffmanTree copy;
  require(copy.read(again.get()) == 0 && image_of(copy) == saved);
}

void build(const std::string& bytes) {
  HuffmanStat stat;
  std::vector<Bit> symbols;
  for (size_t i = 0; i + 2 <= bytes.size(); i += 2) {
    const auto symbol = static_cast<Token>(bytes[i]);
    stat.insert(symbol, VInt{1} << (static_cast<Token>(bytes[i + 1]) % 48));
    symbols.push_back(symbol);
  }
  HuffmanTree tree;
  if (tree.make(&stat) < 0) return;
  std::vector<Token> buffer(4 * symbols.size() + 4);
  for (const bool isBackwards : {false, true}) {
    BitStream out(buffer.data());
    for (const Bit symbol : symbols) require(out.put(&tree, symbol) >= 0);
    const VInt size = isBackwards ? out.rev() : out.end();
    const std::vector<Token> exact(buffer.begin(), buffer.begin() + size);
    for (const VInt known : {size, BitSource::UNCHECKED}) {
      BitSource in(exact.data() + (isBackwards ? size : 0), isBackwards ? 1 : 0, known);
      for (const Bit symbol : symbols) require(in.get(&tree) == symbol);
      require(in.end() == size);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::clear_default();
  if (size < 2 || size > 8000) return 0;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  if (data[0] % 3 == 0) {
    load(bytes);
  } else if (data[0] % 3 == 1) {
    static const std::string sound = sound_image();
    load(fuzz::damaged(sound, bytes));
  } else {
    build(bytes);
  }
  return 0;
}
