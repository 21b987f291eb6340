#include "ace/ace_huffman.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <queue>
#include <random>

#include "ace/ace_bit_stream.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/payload.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

using Frequencies = std::map<Bit, VInt>;
using Symbols = std::vector<Bit>;
using Buffer = std::vector<long>;  // aligned to 8

VInt build(HuffmanTree* tree, const Frequencies& frequencies) {
  HuffmanStat stat;
  for (const auto& [symbol, count] : frequencies) EXPECT_EQ(stat.insert(static_cast<int>(symbol), count), 0);
  const VInt bits = tree->make(&stat);
  EXPECT_EQ(stat.size(), 0);
  return bits;
}

/// The bits that an optimal code takes: the sum of all that is merged.
VInt optimal_bits(const Frequencies& frequencies) {
  std::priority_queue<VInt, std::vector<VInt>, std::greater<>> heap;
  for (const auto& [symbol, count] : frequencies) heap.push(count);
  VInt bits = 0;
  while (heap.size() > 1) {
    VInt merged = heap.top();
    heap.pop();
    merged += heap.top();
    heap.pop();
    bits += merged;
    heap.push(merged);
  }
  return bits;
}

/// Frequencies 1, 1, 2, 3, 5, ...: a code of height n - 1.
Frequencies fibonacci(int n) {
  Frequencies frequencies;
  VInt before = 0;
  VInt now = 1;
  for (int i = 0; i < n; ++i) {
    frequencies[static_cast<Bit>(7 * i)] = now;
    before = std::exchange(now, before + now);
  }
  return frequencies;
}

Frequencies random_frequencies(std::mt19937* random) {
  std::mt19937& r = *random;
  const bool isWide = r() % 4 == 0;
  const unsigned skew = 1 + r() % 20;
  Frequencies frequencies;
  for (unsigned n = r() % (isWide ? 2000 : 40); n > 0; --n)
    frequencies[isWide ? r() : r() % 256] += 1 + (r() % 1000 >> r() % skew);
  return frequencies;
}

using support::image_of;
using support::read_image;

VInt read_stream(HuffmanTree* tree, const std::string& image) {
  const support::TempFolder folder;
  const std::string name = folder.file("code");
  support::write_file(name, image);
  AceFile file;
  EXPECT_EQ(file.prep(name.c_str(), nullptr), 0);
  return tree->read(&file);
}

TEST(HuffmanTree, codes_are_optimal_and_none_starts_with_another) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    const Frequencies frequencies = random_frequencies(&random);
    HuffmanTree tree;
    ASSERT_EQ(build(&tree, frequencies), optimal_bits(frequencies));
    VInt bits = 0;
    double kraft = 0;
    for (const auto& [symbol, count] : frequencies) {
      Bit code = 0;
      const int length = tree.search(symbol, &code);
      ASSERT_GE(length, 0);
      ASSERT_EQ(tree.length(symbol), length);
      bits += count * length;
      kraft += 1.0 / static_cast<double>(1L << length);
      ASSERT_EQ(tree.first(std::string(reinterpret_cast<const char*>(&code), 4).c_str()), symbol);
      for (const Bit junk : {0U, 0x55555555U, ~0U}) {  // whatever follows, the code is recognised
        const Bit padded = length < 32 ? code | junk << length : code;
        ASSERT_EQ(tree.first(reinterpret_cast<const char*>(&padded)), symbol);
      }
    }
    EXPECT_EQ(bits, tree.get_num_bits());
    EXPECT_TRUE(frequencies.empty() || kraft == 1.0);
    for (const Bit symbol : {12345U, 256U}) {
      if (frequencies.count(symbol) == 0) EXPECT_EQ(tree.length(symbol), -1);
    }
  }
}

void expect_round_trip(HuffmanTree* tree, const Symbols& symbols, bool isBackwards) {
  Symbols fields;
  std::vector<Token> buffer(8 + 8 * symbols.size());
  BitStream out(buffer.data());
  VInt bits = 0;
  for (const Bit symbol : symbols) {
    const int width = static_cast<int>(symbol % 33);
    const int length = out.put(tree, symbol);
    ASSERT_GE(length, 0);
    out.put(symbol * 77, width);
    bits += length + width;
  }
  const VInt size = isBackwards ? out.rev() : out.end();
  ASSERT_EQ(size, (bits + 7) / 8);
  buffer.resize(static_cast<std::size_t>(size));
  buffer.shrink_to_fit();  // no byte behind, so that the sanitizers see what is read too much
  const Token* start = buffer.data() + (isBackwards ? size : 0);
  for (const VInt known : {size, BitSource::UNCHECKED}) {
    BitSource in(start, isBackwards ? 1 : 0, known);
    for (const Bit symbol : symbols) {
      ASSERT_EQ(in.get(tree), symbol);
      const int width = static_cast<int>(symbol % 33);
      ASSERT_EQ(in.get(width), width < 32 ? (symbol * 77) & ((1U << width) - 1) : symbol * 77);
    }
    EXPECT_EQ(in.end(), size);
  }
}

TEST(BitStream, gives_back_symbols_and_fields_in_both_directions) {
  std::mt19937 random(2);
  for (int round = 0; round < 120; ++round) {
    const Frequencies frequencies = round == 0 ? fibonacci(32) : random_frequencies(&random);
    if (frequencies.empty()) continue;
    HuffmanTree tree;
    ASSERT_GE(build(&tree, frequencies), 0);
    if (round == 0) ASSERT_EQ(tree.length(0), 31);
    Symbols symbols;
    for (const auto& [symbol, count] : frequencies) symbols.insert(symbols.end(), 1 + random() % 4, symbol);
    std::shuffle(symbols.begin(), symbols.end(), random);
    Buffer buffer;
    HuffmanTree read;
    HuffmanTree streamed;
    ASSERT_EQ(read_image(&read, image_of(tree), &buffer), 0);
    ASSERT_EQ(read_stream(&streamed, image_of(tree)), 0);
    EXPECT_EQ(image_of(read), image_of(tree));
    for (HuffmanTree* each : {&tree, &read, &streamed})
      for (const bool isBackwards : {false, true}) expect_round_trip(each, symbols, isBackwards);
  }
}

TEST(BitStream, streams_follow_each_other_and_a_short_one_reads_as_zero) {
  Token buffer[16] = {};
  BitStream out(buffer);
  out.put(5, 3);
  EXPECT_EQ(out.end(), 1);
  out.set(0x1FF, 9);
  EXPECT_EQ(out.rev(), 2);
  EXPECT_EQ(out.end(), 0);
  const Token expected[4] = {5, 1, 0xFF, 0};
  EXPECT_TRUE(std::equal(expected, expected + 4, buffer));
  BitSource in(buffer + 3, 1, 2);
  BitSource twin;
  EXPECT_EQ(in.get(4), 15u);
  twin.init(&in);
  EXPECT_EQ(twin.get(5), 31u);
  EXPECT_EQ(twin.end(), 2);
  EXPECT_EQ(in.get(32), 31u) << "zeros behind the end";
  EXPECT_EQ(in.end(), 5) << "three bytes are missing";
}

TEST(HuffmanTree, one_symbol_or_none_takes_no_bits) {
  HuffmanTree none;
  EXPECT_EQ(build(&none, {}), 0);
  EXPECT_EQ(none.length(0), -1);
  EXPECT_EQ(none.size(), 1);
  HuffmanTree one;
  EXPECT_EQ(build(&one, {{77, 5}}), 0);
  EXPECT_EQ(one.length(77), 0);
  EXPECT_EQ(one.length(0), -1);
  HuffmanTree unmade;
  BitSource in(nullptr, 0, 0);
  EXPECT_EQ(in.get(&none), 0u);
  EXPECT_EQ(in.get(&one), 77u);
  EXPECT_EQ(in.get(&unmade), 0u);
  EXPECT_EQ(in.end(), 0);
  HuffmanTree read;
  Buffer buffer;
  EXPECT_EQ(read_image(&read, image_of(unmade), &buffer), 0);
  EXPECT_EQ(read.size(), 0);
}

TEST(HuffmanTree, an_image_is_fixed) {
  HuffmanTree tree;
  EXPECT_EQ(build(&tree, {{'a', 5}, {'b', 2}, {'c', 1}}), 11);
  EXPECT_EQ(image_of(tree),
            std::string("\x49\xAC\xB4\x2C\2\0\0\0\3\0\0\0\4\0\0\0\3\0\0\0\x08\0\0\0\x0B\0\0\0\0\0\0\0"
                        "\1\2\1\2\0\0\0\0"
                        "a\0\0\0c\0\0\0a\0\0\0b\0\0\0",
                        56));
}

TEST(HuffmanTree, a_code_of_32_bits_is_refused) {
  support::RecordingReporter reporter;
  reporter.set_as_default();
  HuffmanTree tree;
  EXPECT_GT(build(&tree, fibonacci(32)), 0);
  EXPECT_GT(tree.size(), 256);
  EXPECT_EQ(build(&tree, fibonacci(33)), -1);
  EXPECT_EQ(tree.size(), 0);
  EXPECT_EQ(tree.length(0), -1);
  EXPECT_EQ(reporter.all(), "");
  AceTracer::set("VERBOSE_ERRORS|HUFFMAN", 1);
  EXPECT_EQ(build(&tree, fibonacci(80)), -1);
  EXPECT_EQ(build(&tree, fibonacci(4)), 2 + 4 + 7);
  EXPECT_EQ(reporter.all(), "Pattern too long\nLEN=1\tNUM=1\nLEN=2\tNUM=1\nLEN=3\tNUM=2\n");
  AceReporter::clear_default();
}

TEST(HuffmanStat, counts_what_is_inserted) {
  HuffmanStat stat;
  for (const VInt count : {0L, -3L}) EXPECT_EQ(stat.insert(1, count), 0);
  EXPECT_EQ(stat.size(), 0);
  stat.insert(-1, 3);
  stat.insert(4, 1);
  stat.insert(-1, 2);
  EXPECT_EQ(stat.insert(9, std::numeric_limits<VInt>::max()), -1) << "the sum would not fit";
  EXPECT_EQ(stat.size(), 2);
  EXPECT_EQ(stat.get_max(), 5);
  EXPECT_EQ(stat.get_sum(), 6);
  EXPECT_EQ(stat.stat(), 0);
  HuffmanHeap heap;
  EXPECT_EQ(stat.collect(&heap), 6);
  EXPECT_EQ(heap.get_min()->bitWord, 4);
  EXPECT_EQ(stat.get_sum(), 0);
}

TEST(HuffmanTree, diagnostics_tell_the_code) {
  HuffmanTree tree;
  build(&tree, {{'a', 5}, {'b', 2}, {'c', 1}});
  support::RecordingReporter reporter;
  EXPECT_EQ(tree.write(&reporter), 3);
  EXPECT_EQ(tree.print(&reporter), 11);
  EXPECT_EQ(reporter.all(),
            "  1. PATTERN 00000061 <=> HUFFMAN 0\n"
            "  2. PATTERN 00000063 <=> HUFFMAN X0\n"
            "  3. PATTERN 00000062 <=> HUFFMAN XX\n"
            "CODES: INS=         8\tAVG=  1.38\tBITS=         11\tMBytes=  0.00\n"
            "TREE: SIZE=         4\tCODES=      3\tMBytes=  0.00 MBytes\n");
  std::srand(1);
  std::map<Bit, int> drawn;
  BitSource in;
  for (int i = 0; i < 4000; ++i) ++drawn[in.rnd(&tree)];
  EXPECT_NEAR(drawn['a'], 2000, 200);
  EXPECT_NEAR(drawn['c'], 1000, 200);
}

/// Decodes and encodes all over, for the sanitizers.
void use(HuffmanTree* tree) {
  const std::vector<Token> bits{0x00, 0xFF, 0x5A, 0xC3, 0x11, 0xFE, 0x80, 0x01, 0x7F, 0xAA, 0x33, 0x00, 0xFF};
  for (const short rev : {0, 1}) {
    BitSource in(bits.data() + (rev != 0 ? bits.size() : 0), rev, static_cast<VInt>(bits.size()));
    for (int i = 0; i < 200; ++i) tree->length(in.get(tree));
  }
  tree->write(AceReporter::null());
}

TEST(HuffmanTree, a_damaged_payload_is_refused_or_stays_in_bounds) {
  AceReporter::clear_default();
  for (const Frequencies& frequencies : {Frequencies{}, Frequencies{{7, 1}, {8, 2}, {9, 3}}, fibonacci(12)}) {
    HuffmanTree good;
    build(&good, frequencies);
    const std::string image = image_of(good);
    support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
      for (const bool isStream : {false, true}) {
        if (damaged.empty() || (isStream && damaged.size() == image.size())) continue;
        HuffmanTree tree;
        Buffer buffer;
        VInt rc = -1;
        try {
          rc = isStream ? read_stream(&tree, damaged) : read_image(&tree, damaged, &buffer);
        } catch (const AceException&) {
        }
        EXPECT_TRUE(rc < 0 || damaged.size() == image.size()) << what;
        use(&tree);  // also one that was refused
      }
    });
  }
}

TEST(HuffmanTree, tables_that_are_no_code_are_refused) {
  support::RecordingReporter reporter;
  reporter.set_as_default();
  HuffmanTree good;
  build(&good, fibonacci(12));  // 256 entries, and a second table of 8
  const std::string image = image_of(good);
  const std::size_t help = 32;
  const std::size_t info = help + 264;
  ASSERT_EQ(image.size(), info + 4 * 264);
  std::size_t link = 0;
  while ((image[help + link] & 0x80) == 0) ++link;
  const auto refused = [&](const std::string& damaged) {
    HuffmanTree tree;
    Buffer buffer;
    reporter.messages.clear();
    return read_image(&tree, damaged, &buffer) < 0 && reporter.all().find("Huffman code") == 0;
  };
  EXPECT_FALSE(refused(image));
  for (const Large start : {0U, 255U, 257U, 0x7FFFFFFFU, 0xFFFFFFFFU})
    EXPECT_TRUE(refused(support::overwrite(image, info + 4 * link, start))) << "a table at " << start;
  for (const unsigned mark : {0x80U, 0x81U, 0x88U, 0x89U, 0xFFU, 0x08U, 0x00U})
    EXPECT_TRUE(refused(support::overwrite(image, help + link, static_cast<Tiny>(mark)))) << mark;
  EXPECT_TRUE(refused(support::overwrite(image, help + 256, Tiny{0x83}))) << "a narrow table leads on";
  for (const std::size_t field : {4U, 8U, 12U, 16U})
    for (const int value : {-1, 0, 1, 9, 255, 257, 1 << 30})
      if (std::string_view(image).substr(field, 4) !=
          std::string_view(reinterpret_cast<const char*>(&value), 4)) {
        bool isRefused = false;
        try {
          isRefused = refused(support::overwrite(image, field, value));
        } catch (const AceException&) {
          isRefused = true;
        }
        EXPECT_TRUE(isRefused) << "field at " << field << ": " << value;
      }
  reporter.messages.clear();
  HuffmanTree tree;
  Buffer buffer;
  EXPECT_EQ(read_image(&tree, support::overwrite(image, 0, 17), &buffer), -1);
  EXPECT_NE(reporter.all().find("ERROR in file->get_magic(\"THUFF\")"), std::string::npos);
  AceReporter::clear_default();
}

}  // namespace
