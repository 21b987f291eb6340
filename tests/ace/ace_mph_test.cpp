#include "ace/ace_mph.h"

#include <numeric>
#include <random>
#include <set>

#include "ace/ace_alloc.h"
#include "ace/ace_crc32.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"

namespace {

/// A table built from keys, freed at the end.
struct Table {
  Table(std::vector<void*> keys, MphHash hash, int min_size, int flags)
      : rc(mph_build(static_cast<int>(keys.size()), keys.data(), hash, &slots, min_size, &size, flags)) {}
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { ace_delete(slots); }

  unsigned* slots = nullptr;
  int size = 0;
  int rc;
};

void expect_found(const Table& table, const std::vector<void*>& keys, MphHash hash) {
  ASSERT_EQ(table.rc, 0) << keys.size() << " keys";
  for (std::size_t i = 0; i < keys.size(); ++i)
    ASSERT_EQ(mph_recall(keys[i], hash, table.slots, table.size), static_cast<int>(i));
}

std::vector<void*> int_keys(const std::vector<int>& numbers) {
  std::vector<void*> keys;
  for (const int number : numbers) keys.push_back(MphHash::int_key(number));
  return keys;
}

TEST(AceMph, hashes_are_those_of_the_published_table) {
  const char* digits = "123456789";
  unsigned crc = 0xFFFFFFFFU;
  for (const char* c = digits; *c != '\0'; ++c) crc = crc32_update(*c, crc);
  EXPECT_EQ(~crc, 0xCBF43926U) << "the check value of CRC-32";
  EXPECT_EQ(mph_string_function(nullptr, 3, 7), -1);
  EXPECT_EQ(mph_string_function("", 3, 7), 0);
  for (const int seed : {0, 1, 77, -5}) {  // seed and step written out
    const unsigned first = static_cast<unsigned>(seed);
    unsigned hash = (first >> 8) ^ CRC32_TABLE[('x' ^ first) & 0xFF];
    const unsigned next = hash + static_cast<unsigned>(seed);
    hash = (next >> 8) ^ CRC32_TABLE[(0xE4 ^ next) & 0xFF];
    EXPECT_EQ(mph_string_function("x\xE4", seed, 1000), static_cast<int>(hash % 1000));
    if (seed != 0)
      EXPECT_EQ(mph_int_function(0x04030201, seed, 997), mph_string_function("\1\2\3\4", seed, 997));
  }
  EXPECT_EQ(mph_int_function(-9, 0, 7), -2);
  EXPECT_EQ(mph_int_function(-2147483647 - 1, 0, -1), 0);
  EXPECT_EQ(mph_int_function(5, 1, 0), -1);
}

TEST(AceMph, every_item_is_found_in_a_table_of_the_promised_size) {
  std::mt19937 random(1);
  for (int n = 0; n < 400; n = n < 30 ? n + 1 : n * 2) {
    for (int round = 0; round < 8; ++round) {
      std::set<std::string> words;
      std::set<int> numbers;
      const bool areSmall = round % 2 == 0;
      while (static_cast<int>(numbers.size()) < n)
        numbers.insert(static_cast<int>(areSmall ? random() % 1000 : random()));
      while (static_cast<int>(words.size()) < n) words.insert(std::to_string(random() % 100'000));
      std::vector<void*> strings;
      for (const std::string& word : words) strings.push_back(const_cast<char*>(word.c_str()));
      const Table ofStrings(strings, mph_string_function, 0, 0);
      expect_found(ofStrings, strings, mph_string_function);
      const std::vector<void*> ints = int_keys({numbers.begin(), numbers.end()});
      const int minSize = 10 * (round % 3);
      const Table ofInts(ints, mph_int_function, minSize, 0);
      expect_found(ofInts, ints, mph_int_function);
      if (n >= 30) EXPECT_EQ(ofStrings.size, 4 * n / 3);
      if (n >= 30) EXPECT_EQ(ofInts.size, std::max(4 * n / 3, minSize));
      for (int other = 1000; other < 1100; ++other)
        EXPECT_LT(mph_recall(MphHash::int_key(other), mph_int_function, ofInts.slots, ofInts.size), n);
    }
  }
  std::vector<int> many(200'000);
  std::iota(many.begin(), many.end(), -1000);
  for (int& number : many) number *= 7919;
  const Table large(int_keys(many), mph_int_function, 0, MPH_FIXED_SIZE);
  expect_found(large, int_keys(many), mph_int_function);
  EXPECT_EQ(large.size, 266'666);
}

TEST(AceMph, items_that_cannot_be_told_apart_are_refused_and_crowded_ones_get_a_larger_table) {
  AceReporter::clear_default();
  const Table twice(int_keys({5, 6, 7, 5}), mph_int_function, 0, 0);
  EXPECT_EQ(twice.rc, -1);
  EXPECT_EQ(twice.slots, nullptr);
  const std::vector<void*> crowded = int_keys({4, 6});  // both hash to 0 in the two slots that there are
  EXPECT_EQ(Table(crowded, mph_int_function, 0, MPH_FIXED_SIZE).rc, -1);
  const Table larger(crowded, mph_int_function, 0, 0);
  expect_found(larger, crowded, mph_int_function);
  EXPECT_GT(larger.size, 2);
  std::vector<int> multiples(300);
  for (int i = 0; i < 300; ++i) multiples[static_cast<std::size_t>(i)] = 400 * i;  // one bucket of all
  const Table spread(int_keys(multiples), mph_int_function, 0, 0);
  expect_found(spread, int_keys(multiples), mph_int_function);
}

TEST(AceMph, values_are_entered_into_empty_slots_and_renumbered) {
  unsigned* slots = nullptr;
  EXPECT_EQ(mph_prepare(nullptr, 3, 9), 0);
  EXPECT_EQ(mph_prepare(&slots, 2'000'000'000, 9), 0);
  ASSERT_EQ(mph_prepare(&slots, 3, 9), 9);
  EXPECT_EQ(mph_insert(MphHash::int_key(4), mph_int_function, slots, 9, 40), 1);
  EXPECT_EQ(mph_insert(MphHash::int_key(13), mph_int_function, slots, 9, 41), 0) << "the same slot";
  EXPECT_EQ(mph_insert(MphHash::int_key(-3), mph_int_function, slots, 9, 50), 1);
  EXPECT_EQ(mph_recall(MphHash::int_key(-3), mph_int_function, slots, 9), 50);
  EXPECT_EQ(mph_recall(MphHash::int_key(5), mph_int_function, slots, 9), -1);
  mph_space(slots, 9, 45, 5);
  EXPECT_EQ(mph_recall(MphHash::int_key(4), mph_int_function, slots, 9), 40);
  EXPECT_EQ(mph_recall(MphHash::int_key(-3), mph_int_function, slots, 9), 55);
  EXPECT_EQ(slots[5], 4u) << "empty slots are above every value";
  for (unsigned entry = 0x80000000U; entry != 0; entry <<= 1, entry |= 1) {  // hostile displacements
    std::fill(slots, slots + 9, entry);
    EXPECT_GE(mph_recall(MphHash::int_key(4), mph_int_function, slots, 9), -1);
    if (entry == 0xFFFFFFFFU) break;
  }
  ace_delete(slots);
  EXPECT_EQ(mph_recall("a", mph_string_function, nullptr, 0), -1);
}

}  // namespace
