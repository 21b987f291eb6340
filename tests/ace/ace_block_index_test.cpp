#include "ace/ace_block_index.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <set>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/sealed_image.h"

namespace {

constexpr Large NONE = BlockIndex::NONE;
using Keys = std::set<Large>;

void build(BlockIndex* index, const Keys& keys) {
  for (const Large key : keys) ASSERT_EQ(index->in_order_count(key), 0);
  const VInt positions = index->prepare();
  for (const Large key : keys) ASSERT_GE(index->in_order_insert(key), 0);
  index->finish();
  ASSERT_EQ(positions, index->size());
}

std::string image_of(const BlockIndex& index) {
  alignas(8) static char buffer[1 << 16];
  AceFile file;
  file.init_write(buffer, sizeof(buffer));
  index.save(&file);
  return {buffer, static_cast<std::size_t>(file.get_pos())};
}

VInt read_image(BlockIndex* index, const std::string& image) {
  alignas(8) static char buffer[1 << 16];
  std::copy(image.begin(), image.end(), buffer);
  AceFile file;
  file.init_read(buffer, static_cast<VInt>(image.size()));
  return image.empty() ? -1 : index->read(&file);
}

/// Every look-up around every key against the set.
void expect_answers(const BlockIndex& index, const Keys& keys) {
  Large lastPos = NONE;
  for (const Large key : keys) {
    const Large pos = index.get_key(key);
    ASSERT_LT(pos, index.size());
    ASSERT_TRUE(lastPos == NONE || pos > lastPos);
    ASSERT_EQ(index.get_orig(pos), key);
    ASSERT_EQ(index.get_pos(key, 0), pos);
    lastPos = pos;
    for (const Large near : {key - 1, key + 1, key + 9}) {
      const Large found = index.get_key(near);
      if (found != NONE) {
        ASSERT_EQ(index.get_orig(found), near) << "a key or a hole of its block";
        continue;
      }
      ASSERT_EQ(keys.count(near), 0u);
      const auto above = keys.upper_bound(near);
      ASSERT_EQ(index.get_pos(near, 1), above != keys.end() ? index.get_key(*above) : index.size());
      ASSERT_EQ(index.get_pos(near, 0), above != keys.begin() ? index.get_key(*std::prev(above)) : NONE);
    }
  }
  EXPECT_EQ(index.get_orig(index.size()), NONE);
}

TEST(BlockIndex, chooses_the_cheapest_representation) {
  BlockIndex identity, list, blocks;
  Keys two;
  for (Large i = 0; i < 100; ++i) two.insert({100 + i, 5000 + i});
  build(&identity, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  build(&list, {10, 1000, 100'000});
  build(&blocks, two);
  EXPECT_EQ(image_of(identity), std::string("\0\0\0\0\0\0\0\0\x0A\0\0\0\x09\0\0\0", 16));
  EXPECT_EQ(image_of(list), std::string("\3\0\0\0\0\0\0\0\3\0\0\0\xA0\x86\1\0"
                                        "\x0A\0\0\0\xE8\3\0\0\xA0\x86\1\0",
                                        28));
  EXPECT_EQ(image_of(blocks), std::string("\2\0\0\0\3\0\0\0\xC8\0\0\0\xEB\x13\0\0"
                                          "\x64\0\0\0\x88\x13\0\0\0\0\0\0\x64\0\0\0\xC8\0\0\0",
                                          36));
  EXPECT_EQ(list.get_key(1000), 1u);
  EXPECT_EQ(list.get_key(999), NONE);
  EXPECT_EQ(blocks.get_key(5001), 101u);
  EXPECT_EQ(blocks.get_orig(101), 5001u);
}

TEST(BlockIndex, answers_like_a_set_when_built_copied_and_read) {
  std::mt19937 random(4);
  for (int round = 0; round < 400; ++round) {
    Keys keys;
    const Large step = 1 + random() % (round % 4 == 0 ? 100'000'000 : 1 + random() % 12);
    Large key = random() % 3 == 0 ? 0 : random() % 1000;
    for (unsigned i = random() % 300; i > 0 && key < NONE - step - 20; --i, key += 1 + random() % step)
      keys.insert(key);
    BlockIndex built;
    build(&built, keys);
    expect_answers(built, keys);
    BlockIndex copied;
    EXPECT_EQ(copied.copy(&built), built.size());
    const std::string image = image_of(built);
    BlockIndex read;
    ASSERT_EQ(read_image(&read, image), 0);
    expect_answers(copied, keys);
    expect_answers(read, keys);
    EXPECT_EQ(read.prepare(), -1) << "it belongs to the mapping";
    EXPECT_EQ(image_of(read), image);
  }
}

TEST(BlockIndex, keys_out_of_order_or_too_many_are_refused) {
  BlockIndex index;
  EXPECT_EQ(index.in_order_count(10), 0);
  EXPECT_EQ(index.in_order_count(10), -1);
  EXPECT_EQ(index.in_order_count(5000), 0);
  EXPECT_EQ(index.prepare(), 2);
  EXPECT_EQ(index.in_order_insert(10), 0);
  EXPECT_EQ(index.in_order_insert(9), -1);
  EXPECT_EQ(index.in_order_insert(NONE), 1);
  EXPECT_EQ(index.in_order_insert(NONE), -1);
  index.finish();
  EXPECT_EQ(index.get_key(NONE), 1u);
}

TEST(BlockIndex, a_damaged_payload_is_refused_or_stays_in_bounds) {
  AceReporter::clear_default();
  Keys two{7, 9};
  for (Large i = 0; i < 40; ++i) two.insert({100 + i, 5000 + i});
  for (const Keys& keys : {Keys{0, 1, 2}, Keys{10, 1000, 100'000}, two}) {
    BlockIndex good;
    build(&good, keys);
    const std::string image = image_of(good);
    for (std::size_t bit = 0; bit < 8 * image.size(); ++bit) {
      std::string damaged = image;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      BlockIndex index;
      try {
        if (read_image(&index, damaged) < 0) continue;
      } catch (const AceException&) {
        continue;
      }
      for (Large key = 0; key < 6000; key += 3) {  // the sanitizers judge
        index.get_pos(key, 1);
        index.get_orig(index.get_key(key));
      }
    }
    for (std::size_t length = 0; length < image.size(); ++length) {
      BlockIndex index;
      EXPECT_ANY_THROW(if (read_image(&index, image.substr(0, length)) < 0) throw -1) << length;
    }
  }
}

TEST(BlockIndex, reading_does_not_walk_through_the_arrays_and_verify_does) {
  AceReporter::clear_default();
  Keys keys;
  for (Large i = 0; i < 10'000; ++i) keys.insert(1000 * i);
  BlockIndex good;
  build(&good, keys);
  std::string image = image_of(good);
  for (const bool isDamaged : {false, true}) {
    if (isDamaged) image = support::overwrite(image, image.size() / 8 * 4, Large{0xFFFF0000});
    const support::SealedImage sealed(image);
    sealed.seal();
    AceFile file;
    file.init_read(sealed.data(), sealed.size());
    BlockIndex index;
    ASSERT_EQ(index.read(&file), 0);
    sealed.open();
    EXPECT_EQ(index.get_key(1000), 1u);
    EXPECT_EQ(index.verify(AceReporter::null()), isDamaged ? -1 : 0);
  }
}

}  // namespace
