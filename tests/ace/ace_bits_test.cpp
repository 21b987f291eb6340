#include "ace/ace_bits.h"

#include <algorithm>
#include <random>

#include "ace/ace_bit_pack.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_flags.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/payload.h"
#include "support/temp_folder.h"

namespace {

using Numbers = std::vector<VUint>;
using Buffer = std::vector<long>;  // aligned to 8

using support::image_of;
using support::read_image;

VUint low_bits(VUint value, int width) {
  return width < 64 ? value & ((VUint{1} << width) - 1) : value;
}

void expect_numbers(const AceBits& bits, const Numbers& numbers) {
  ASSERT_EQ(bits.get_num_keys(), static_cast<VInt>(numbers.size()));
  const int unused = 64 - bits.get_num_bits();
  for (VInt i = 0; i < bits.get_num_keys(); ++i) {
    const VUint expected = numbers[static_cast<std::size_t>(i)];
    ASSERT_EQ(bits.get(i), expected) << "width " << bits.get_num_bits() << ", element " << i;
    ASSERT_EQ(bits.get_signed(i), static_cast<VInt>(expected << unused) >> unused);
  }
}

TEST(AceBits, elements_of_every_width_are_those_of_a_plain_array) {
  std::mt19937_64 random(1);
  for (int asked = 1; asked <= 64; ++asked) {
    const VInt size = 1 + static_cast<VInt>(random() % 200);
    AceBits bits(asked, size);
    const int width = bits.get_num_bits();
    ASSERT_GE(width, asked);
    ASSERT_EQ(bits.get_max_value(), low_bits(~VUint{0}, width));
    Numbers numbers(static_cast<std::size_t>(size));
    for (int i = 0; i < 600; ++i) {
      const VUint value = random() >> (random() % 64);
      const VInt index = static_cast<VInt>(random() % numbers.size());
      ASSERT_EQ(bits.set(index, value), 0);
      numbers[static_cast<std::size_t>(index)] = low_bits(value, width);
    }
    expect_numbers(bits, numbers);
    const std::string image = image_of(bits);
    AceBits read;
    Buffer buffer;
    ASSERT_EQ(read_image(&read, image, &buffer), size);
    expect_numbers(read, numbers);
    EXPECT_EQ(image_of(read), image);
    EXPECT_EQ(read.set(0, 1), -1) << "it belongs to the mapping";
    EXPECT_EQ(read.clear_all(), -1);
    bits.set_all();
    expect_numbers(bits, Numbers(numbers.size(), bits.get_max_value()));
    bits.clear_all();
    expect_numbers(bits, Numbers(numbers.size()));
  }
}

TEST(AceBits, widths_and_images_are_fixed) {
  const int rounded[][2] = {{0, 1},   {6, 6},   {7, 8},   {13, 13}, {14, 16}, {15, 16},
                            {27, 27}, {28, 32}, {31, 32}, {55, 55}, {56, 64}, {63, 64}};
  for (const auto& [asked, width] : rounded) EXPECT_EQ(AceBits(asked, 3).get_num_bits(), width) << asked;
  AceBits straddling(5, 13);
  straddling.set(0, 1);
  straddling.set(12, 0x15);
  EXPECT_EQ(image_of(straddling), std::string("\5\0\0\0\0\0\0\0\x0D\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0"
                                              "\1\0\0\0\0\0\0\x50\1\0\0\0\0\0\0\0",
                                              40));
  AceBits bytes(7, 3);
  bytes.set(0, 200);
  EXPECT_EQ(bytes.get_signed(0), -56);
  EXPECT_EQ(image_of(bytes),
            std::string("\x08\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\xC8\0\0\0\0\0\0\0", 32));
  EXPECT_EQ(image_of(AceBits(0, 0)), std::string(24, '\0'));
}

TEST(AceBits, what_is_out_of_range_is_refused) {
  AceBits bits(5, 13);
  for (const VInt index : {-1L, 13L, 1L << 62}) {
    EXPECT_EQ(bits.set(index, 1), -1);
    EXPECT_EQ(bits.get(index), 0u);
  }
  EXPECT_EQ(bits.prepare(65, 1), -1);
  EXPECT_EQ(bits.prepare(-1, 1), -1);
  EXPECT_EQ(bits.get_num_keys(), 0);
  EXPECT_THROW(bits.prepare(64, 1L << 60), std::bad_alloc);
  EXPECT_EQ(bits.prepare(0, -5), 0);
  EXPECT_EQ(bits.set(0, 1), -1);
}

TEST(AceBits, search_finds_what_a_scan_finds) {
  std::mt19937 random(2);
  for (VInt size = 0; size < 40; ++size) {
    AceBits bits(6, size);
    Numbers numbers;
    for (VInt i = 0; i < size; ++i) numbers.push_back(random() % 64);
    std::sort(numbers.begin(), numbers.end());
    for (VInt i = 0; i < size; ++i) bits.set(i, numbers[static_cast<std::size_t>(i)]);
    for (VUint value = 0; value < 70; ++value) {
      const VInt first = std::count_if(numbers.begin(), numbers.end(), [&](VUint n) { return n < value; });
      const bool isThere = std::count(numbers.begin(), numbers.end(), value) > 0;
      EXPECT_EQ(bits.search(value, 0), isThere ? first : -1);
      EXPECT_EQ(bits.search(value, 1), first);
      EXPECT_EQ(bits.search(value, -1), isThere ? first : first - 1);
    }
  }
  EXPECT_EQ(AceBits().search(0, 1), -1);
}

TEST(AceFlags, behave_like_a_vector_of_bool) {
  std::mt19937 random(3);
  for (const VInt size : {0L, 1L, 63L, 64L, 65L, 500L}) {
    AceFlags flags;
    ASSERT_EQ(flags.init(size), (size + 63) / 64);
    std::vector<bool> plain(static_cast<std::size_t>(size));
    for (VInt i = 0; i < 2 * size; ++i) {
      const std::size_t index = random() % plain.size();
      const bool isOn = random() % 2 == 0;
      ASSERT_EQ(isOn ? flags.set(static_cast<VInt>(index)) : flags.clear(static_cast<VInt>(index)), 0);
      plain[index] = isOn;
    }
    EXPECT_EQ(flags.set(size), -1);
    EXPECT_EQ(flags.clear(-1), -1);
    AceFlags read;
    Buffer buffer;
    const std::string image = image_of(flags);
    ASSERT_EQ(read_image(&read, image, &buffer), size);
    EXPECT_EQ(read.set(0), -1);
    for (VInt i = -1; i <= size; ++i) {
      const bool isOn = i >= 0 && i < size && plain[static_cast<std::size_t>(i)];
      EXPECT_EQ(flags.get(i), isOn);
      EXPECT_EQ(read.get(i), isOn);
    }
    flags.set_all();
    EXPECT_EQ(flags.get(size - 1), size > 0);
    flags.clear_all();
    EXPECT_EQ(image_of(flags).substr(16),
              std::string(static_cast<std::size_t>(8 * ((size + 63) / 64)), '\0'));
  }
  AceFlags two;
  two.init(66);
  two.set(1);
  two.set(65);
  EXPECT_EQ(image_of(two),
            std::string("\x42\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0", 32));
}

TEST(BitPack, elements_of_every_width_are_those_of_a_plain_array) {
  std::mt19937 random(4);
  for (int width = 1; width <= 32; ++width) {
    std::vector<int> words(static_cast<std::size_t>((100 * width + 31) / 32));
    std::vector<int> plain;
    for (int i = 0; i < 100; ++i) {
      const Large value = random();
      plain.push_back(static_cast<int>(low_bits(value, width)));
      bit_mset(words.data(), width, i, static_cast<int>(value));
    }
    for (int i = 0; i < 100; ++i)
      ASSERT_EQ(bit_mget(words.data(), width, i), plain[static_cast<std::size_t>(i)]) << width << ", " << i;
    bit_mset(words.data(), width, 7, 1);
    EXPECT_EQ(bit_mget(words.data(), width, 7), width < 32 ? plain[7] | 1 : 1) << "bits stay set";
  }
}

template <class Object>
void expect_damage_survived(const std::string& image, auto use) {
  const support::TempFolder folder;
  AceReporter::clear_default();
  support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
    for (const bool isStream : {false, true}) {
      if (damaged.empty()) continue;
      Object object;
      Buffer buffer;
      VInt rc = -1;
      try {
        if (isStream) {
          const std::string name = folder.file("bits");
          support::write_file(name, damaged);
          AceFile file;
          ASSERT_EQ(file.prep(name.c_str(), nullptr), 0);
          rc = object.read(&file);
        } else {
          rc = read_image(&object, damaged, &buffer);
        }
      } catch (const AceException&) {
      }
      EXPECT_TRUE(rc < 0 || damaged.size() == image.size()) << what;
      if (rc >= 0) use(object);  // the sanitizers judge
    }
  });
}

TEST(AceBits, a_damaged_payload_is_refused_or_stays_in_bounds) {
  AceBits bits(5, 30);
  expect_damage_survived<AceBits>(image_of(bits), [](const AceBits& read) {
    ASSERT_LT(read.get_num_keys(), 1000);
    for (VInt i = -1; i <= read.get_num_keys(); ++i) static_cast<void>(read.get_signed(i));
    read.search(7, 1);
  });
  const std::string huge = support::overwrite(support::overwrite(image_of(bits), 8, 1L << 62), 16, -1L);
  AceBits read;
  Buffer buffer;
  EXPECT_EQ(read_image(&read, huge, &buffer), -1) << "more bits than can be counted";
  EXPECT_EQ(read.get_num_keys(), 0);
  AceFlags flags;
  flags.init(70);
  expect_damage_survived<AceFlags>(image_of(flags), [](const AceFlags& flagsRead) {
    ASSERT_LT(flagsRead.get_num_ind(), 1000);
    for (VInt i = -1; i <= flagsRead.get_num_ind(); ++i) static_cast<void>(flagsRead.get(i));
  });
}

}  // namespace
