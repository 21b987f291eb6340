#include "tera/tera_module.h"

#include <map>
#include <tuple>

#include "support/word_samples.h"
#include "tera/edit/module_codes_internal.h"

TEST(TeraModule, the_codes_made_while_compiling_are_those_of_their_weights) {
  using Codes = std::map<Bit, std::tuple<Bit, int>>;
  const auto codes_of = [](const HuffmanTree& tree) {
    Codes codes;
    tree.action(
        [](Bit symbol, Bit code, int length, void* data) {
          (*static_cast<Codes*>(data))[symbol] = {code, length};
          return 0;
        },
        &codes);
    return codes;
  };
  for (int type = 0; type < TeraModule::NUM_TREES; ++type) {
    HuffmanStat stat;
    module_codes::insert_weights(type, &stat);
    HuffmanTree made;
    ASSERT_GE(made.make(&stat), 0);
    EXPECT_EQ(codes_of(*TeraModule::build_comp_trees(type)), codes_of(made)) << type;
  }
}

TEST(TeraModule, a_column_reads_the_same_whole_and_in_pieces) {
  samples::Random random(4);
  for (int round = 0; round < 200; ++round) {
    const int num = 1 + random.below(300);
    const int rareness = 1 + random.below(40);
    TeraModule column;
    column.init(num);
    std::vector<VBit> plain(static_cast<std::size_t>(num));
    for (int word = 0; word < num; ++word)
      for (int bit = 0; bit < 64; ++bit) {
        const VBit lane = random.below(rareness) == 0 ? VBit{1} << bit : 0;
        plain[static_cast<std::size_t>(word)] |= lane;
        column.set_full(word, lane);
      }
    if (round % 3 != 0) column.compress();
    TeraModule::Reader reader(column);
    std::vector<VBit> pieces(static_cast<std::size_t>(num) + 3);  // behind the column, zeros
    plain.resize(pieces.size());
    for (int from = 0; from < num + 3;) {
      const int count = std::min(random.below(40), num + 3 - from);
      EXPECT_EQ(reader.read(pieces.data() + from, count), 0);
      from += count;
    }
    EXPECT_EQ(pieces, plain) << round;
    std::vector<VBit> whole(pieces.size());
    EXPECT_EQ(column.decompress(whole.data(), num + 3), 0);
    EXPECT_EQ(whole, plain) << round;
  }
}
