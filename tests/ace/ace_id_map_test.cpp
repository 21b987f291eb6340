#include "ace/ace_id_map.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/recording_reporter.h"
#include "support/sealed_image.h"
#include "support/temp_folder.h"

namespace {

constexpr Large NONE = AceIdMap::NONE;
using Values = std::vector<Large>;
using Lists = std::vector<Values>;

/// Offsets of few bits, so that small maps have sections.
struct NarrowIdMap : AceIdMap {
  explicit NarrowIdMap(int bits) { offsetBits = bits; }
};

/// The lists as maps are built from them.
struct Pool {
  explicit Pool(const Lists& lists) {
    for (const Values& values : lists) {
      AceBulk::List* list = nullptr;
      if (values.empty() && pointers.size() % 2 == 0) list = bulk.get(0);
      for (const Large value : values) bulk.inc(list, value);
      if (!values.empty() || pointers.size() % 5 == 0) map[static_cast<VInt>(pointers.size())] = list;
      pointers.push_back(list);
    }
  }
  Large size() const { return static_cast<Large>(pointers.size()); }

  AceBulk bulk;
  std::vector<AceBulk::List*> pointers;
  AceIdMap::ListMap map;
};

/// `distinct` 0: all lists are different.
Lists random_lists(std::mt19937* random, Large keys, Large distinct, Large percent_used, Large longest) {
  const auto new_list = [&] {
    Values values(1 + (*random)() % longest);
    for (Large& value : values) value = (*random)() % 5000;
    return values;
  };
  Lists shared;
  for (Large i = 0; i < distinct; ++i) shared.push_back(new_list());
  Lists lists(keys);
  for (Values& list : lists)
    if ((*random)() % 100 < percent_used) list = distinct > 0 ? shared[(*random)() % distinct] : new_list();
  return lists;
}

std::string image_of(const AceIdMap& map) {
  AceFile measure;
  EXPECT_EQ(map.save(&measure), 0);
  std::vector<long> buffer(static_cast<std::size_t>(measure.get_pos()) / 8 + 1);
  AceFile file;
  file.init_write(reinterpret_cast<char*>(buffer.data()), measure.get_pos());
  map.save(&file);
  return {reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(file.get_pos())};
}

/// A map read from an image that it keeps.
struct Mapped {
  explicit Mapped(const std::string& image) : buffer(image.size() / 8 + 1) {
    std::copy(image.begin(), image.end(), reinterpret_cast<char*>(buffer.data()));
    AceFile file;
    file.init_read(reinterpret_cast<const char*>(buffer.data()), static_cast<VInt>(image.size()));
    rc = map.read(&file);
  }
  std::vector<long> buffer;
  AceIdMap map;
  VInt rc = 0;
};

/// A file in memory, to be read as a stream.
struct StreamFile {
  explicit StreamFile(const std::string& image) : descriptor(memfd_create("map", 0)) {
    EXPECT_EQ(write(descriptor, image.data(), image.size()), static_cast<ssize_t>(image.size()));
    EXPECT_EQ(file.prep(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), nullptr), 0);
  }
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;
  ~StreamFile() { close(descriptor); }

  int descriptor;
  AceFile file;
};

void read_stream(AceIdMap* map, const std::string& image) {
  StreamFile stream(image);
  EXPECT_EQ(map->read(&stream.file), 0);
}

Values values_of(const AceIdMap& map, Large key) {
  const IdList list = map.get(key);
  return {list.begin(), list.end()};
}

/// Every look-up against the lists; those behind the last list with values may be missing.
void expect_lists(const AceIdMap& map, const Lists& lists) {
  Large numSlots = 0;
  for (Large key = 0; key < lists.size(); ++key) {
    const Values& expected = lists[key];
    ASSERT_EQ(values_of(map, key), expected) << "mode " << map.get_mode() << ", key " << key;
    const Large* values = nullptr;
    ASSERT_EQ(map.get_array(key, &values), expected.size());
    ASSERT_EQ(map.get_first(key), expected.empty() ? NONE : expected[0]);
    ASSERT_EQ(map.is_empty(key), expected.empty());
    Values copied(expected.size());
    ASSERT_EQ(map.get_array_copy(key, copied.data(), map.get_size(key)), static_cast<VInt>(expected.size()));
    ASSERT_EQ(copied, expected);
    if (!expected.empty()) ASSERT_EQ(map.get_array_copy(key, copied.data(), map.get_size(key) - 1), -1);
    Large slotKey = 0;
    if (map.get_key(numSlots) != key) continue;  // without a slot
    ASSERT_EQ(map.get_by_index(numSlots++, slotKey, values), static_cast<VInt>(expected.size()));
    ASSERT_EQ(slotKey, key);
    ASSERT_EQ(values == nullptr, expected.empty());
  }
  Large key = 0;
  const Large* values = nullptr;
  EXPECT_EQ(map.get_by_index(numSlots, key, values), -1) << "all slots have been seen";
  EXPECT_EQ(values, nullptr);
  EXPECT_TRUE(map.is_empty(static_cast<Large>(lists.size())));
  EXPECT_TRUE(map.is_empty(NONE));
}

/// The map as built, mapped and read from a stream.
void expect_lists_in_all_forms(const AceIdMap& map, const Lists& lists) {
  expect_lists(map, lists);
  const std::string image = image_of(map);
  const Mapped mapped(image);
  ASSERT_EQ(mapped.rc, 0);
  expect_lists(mapped.map, lists);
  AceIdMap read;
  read_stream(&read, image);
  expect_lists(read, lists);
  EXPECT_EQ(image_of(read), image);
  EXPECT_EQ(image_of(mapped.map), image);
}

const std::vector<int> ALL_MODES = [] {
  std::vector<int> modes;
  for (const int dedup : {0, 8, 16})
    for (const int shape : {4, 5, 6, 7}) modes.push_back(dedup | shape);
  return modes;
}();

TEST(AceIdMap, every_representation_in_every_form_gives_back_the_lists_and_build_takes_the_smallest) {
  std::mt19937 random(1);
  std::map<int, int> numChosen;
  for (int round = 0; round < 60; ++round) {
    const Large distinct = round % 3 == 0 ? 0 : round % 3 == 1 ? 1 + random() % 300 : 1 + random() % 20;
    const Lists lists = random_lists(&random, 1 + random() % 700, distinct, 1 + random() % 100,
                                     round % 2 == 0 ? 1 + random() % 2 : 1 + random() % 12);
    Pool pool(lists);
    std::size_t smallest = ~std::size_t{0};
    for (const int mode : ALL_MODES) {
      AceIdMap map;
      if (map.make(static_cast<int>(pool.size()), pool.pointers.data(), mode, AceReporter::null()) < 0) {
        EXPECT_GE(mode, 8) << "only too many different lists";
        continue;
      }
      EXPECT_EQ(map.get_mode() | 4, mode | 4);
      expect_lists_in_all_forms(map, lists);
      smallest = std::min(smallest, image_of(map).size());
    }
    AceIdMap chosen;
    ASSERT_EQ(chosen.build(pool.size(), pool.pointers.data(), nullptr), 0);
    expect_lists_in_all_forms(chosen, lists);
    EXPECT_LT(image_of(chosen).size(), smallest + 24) << "gaps and the count of sections apart";
    ++numChosen[chosen.get_mode() | 4];

    AceIdMap fromMap;
    ASSERT_EQ(fromMap.build(&pool.map, nullptr), 0);
    expect_lists(fromMap, Lists(lists.begin(), lists.begin() + fromMap.get_num_keys()));
    for (Large key = fromMap.get_num_keys(); key < lists.size(); ++key) EXPECT_TRUE(lists[key].empty());
  }
  for (const int mode : {4, 5, 6, 7, 20, 22}) EXPECT_GT(numChosen[mode], 0) << mode;
}

TEST(AceIdMap, many_keys_with_few_thousand_lists_are_deduplicated_with_16_bits) {
  std::mt19937 random(2);
  const Lists lists = random_lists(&random, 20'000, 1000, 90, 6);
  Pool pool(lists);
  support::RecordingReporter rep;
  AceIdMap map;
  ASSERT_EQ(map.build(pool.size(), pool.pointers.data(), &rep), 0);
  EXPECT_EQ(map.get_mode(), 8 | 4);
  EXPECT_NE(rep.all().find("16-bit deduplicated dense; bytes: dense "), std::string::npos) << rep.all();
  expect_lists_in_all_forms(map, lists);
  EXPECT_EQ(map.make(20'000, pool.pointers.data(), 16 | 4, &rep), -1);
  EXPECT_NE(rep.all().find("more than 254 different lists"), std::string::npos);
}

TEST(AceIdMap, sections_give_back_every_list_across_their_borders) {
  std::mt19937 random(3);
  std::size_t numSectioned = 0;
  for (int round = 0; round < 60; ++round) {
    Lists lists = random_lists(&random, 1 + random() % 200, 0, 50, 7);
    if (round % 3 == 0) lists[random() % lists.size()] = Values(15, 7);  // most values in one section
    Pool pool(lists);
    for (const int mode : {4, 5, 6, 7, 20}) {
      NarrowIdMap narrow(4);
      AceIdMap plain;
      if (narrow.make(static_cast<int>(pool.size()), pool.pointers.data(), mode, AceReporter::null()) < 0)
        continue;
      plain.make(static_cast<int>(pool.size()), pool.pointers.data(), mode, nullptr);
      numSectioned += image_of(narrow).size() > image_of(plain).size() ? 1 : 0;
      EXPECT_EQ(image_of(narrow) == image_of(plain), plain.get_total_size() <= 15);
      expect_lists_in_all_forms(narrow, lists);
    }
  }
  EXPECT_GT(numSectioned, 200u);
}

TEST(AceIdMap, a_mapping_of_more_than_2_to_the_32_values_reads_back_across_the_section_border) {
  // Four lists; the second one crosses 2^32. Values that nobody wrote are holes of the file.
  constexpr Huge ENDS[] = {0, (1L << 32) - 3, (1L << 32) + 5, (1L << 32) + 6, (1L << 32) + 6};
  constexpr Huge BASES[] = {0, (1L << 32) + 5, (1L << 32) + 6};
  constexpr Large OFFSETS[] = {0, NONE - 2, 0, 1, 0};
  const support::TempFolder folder;
  const std::string name = folder.file("map");
  AceFile out;
  ASSERT_EQ(out.build(name.c_str(), nullptr), 0);
  out.put_magic("IDMAP");
  for (const Large number : {4U, 4U, 4U, 9U, 0U}) out.put_int(number);
  out.put_huge(ENDS[4]);
  out.write(sizeof OFFSETS, OFFSETS, 8);
  out.put_int(3U);
  out.put_int(1);
  out.write(sizeof BASES, BASES, 8);
  const Huge values = out.align(8);
  out.close();
  ASSERT_EQ(truncate(name.c_str(), values + 4 * ENDS[4] + 8), 0);  // then no reverse index
  std::FILE* file = AceFile::open(name.c_str(), "r+b");
  for (const auto& [index, value] : std::map<Huge, Large>{{ENDS[1], 1}, {ENDS[2] - 1, 8}, {ENDS[2], 9}}) {
    std::fseek(file, values + 4 * index, SEEK_SET);
    std::fwrite(&value, sizeof value, 1, file);
  }
  std::fclose(file);

  AceFile in;
  ASSERT_EQ(in.map(name.c_str(), nullptr, nullptr, 0, nullptr, nullptr), 0);
  AceIdMap map;
  ASSERT_EQ(map.read(&in), 0);
  EXPECT_EQ(map.get_size(0), NONE - 2);
  EXPECT_EQ(values_of(map, 1), (Values{1, 0, 0, 0, 0, 0, 0, 8}));
  EXPECT_EQ(values_of(map, 2), Values{9});
  EXPECT_TRUE(map.is_empty(3));
  EXPECT_EQ(map.get_total_size(), ENDS[4]);
}

TEST(AceIdMap, images_are_fixed) {
  const Lists lists = {{7}, {3, 5}, {}, {9}};
  Pool pool(lists);
  const auto image = [&](int mode) {
    AceIdMap map;
    EXPECT_EQ(map.make(4, pool.pointers.data(), mode, nullptr), 0);
    if (mode == 6) EXPECT_EQ(map.build_reverse(), 0);
    return image_of(map);
  };
  const auto words = [](std::vector<unsigned> numbers) {
    return std::string(reinterpret_cast<const char*>(numbers.data()), 4 * numbers.size());
  };
  AceFile file;
  char magic[4];
  file.init_write(magic, 4);
  file.put_magic("IDMAP");
  unsigned code = 0;
  std::memcpy(&code, magic, 4);
  EXPECT_EQ(image(4), words({code, 4, 4, 4, 9, 0, 4, 0, 0, 1, 3, 3, 4, 0, 7, 3, 5, 9, 0}));
  EXPECT_EQ(image(5), words({code, 5, 4, 3, 9, 0, 4, 0, 0, 1, 3, 0, 0, 1, 3, 4, 0, 0, 7, 3, 5, 9, 0}));
  EXPECT_EQ(image(6), words({code, 6, 4, 4, 9,
                             1,    2, 0, 7, NONE - 1,
                             NONE, 9, 0, 2, 0,
                             0,    3, 5, 1, 3,
                             10,   0, 1, 0, 03707171777 | 3U << 30,
                             NONE, 0}));
  EXPECT_EQ(image(7), words({code, 7, 4, 3, 9, 1, 2, 0, 0, 1, 3, 0, 7, NONE - 1, 9, 0, 0, 2, 0, 0, 3, 5, 0}));
  EXPECT_EQ(image(20), words({code, 20, 4, 3, 9, 0, 4, 0, 0, 1, 3, 4, 0, 0, 7, 3, 5, 9, 0x02FF0100, 0}));
  EXPECT_EQ(image(12),
            words({code, 12, 4, 3, 9, 0, 4, 0, 0, 1, 3, 4, 0, 0, 7, 3, 5, 9, 0x10000, 0x2FFFF, 0}));
  AceIdMap empty;
  EXPECT_EQ(empty.build(0, nullptr, nullptr), 0);
  EXPECT_EQ(image_of(empty), words({code, 0, 0, 0, 0, 0, 0, 0, 0}));
  expect_lists_in_all_forms(empty, {});

  AceIdMap mixed;
  mixed.make(4, pool.pointers.data(), 6, nullptr);
  support::RecordingReporter rep;
  mixed.print(&rep);
  EXPECT_EQ(rep.all(),
            "numKeys       =4\narraySize     =4\nmaxValue      =9\ntotalValues   =2\nnumSideKeys   =1\n"
            "sideThreshold =-2\n");
}

TEST(AceIdMap, values_that_would_be_codes_of_side_lists_are_not_stored_in_mixed_maps) {
  for (const Large value : {NONE, NONE - 1, NONE - 2, NONE - 3}) {
    const Lists lists = {{value}, {1, 2}, {}, {3}, {4, 5}, {6}, {7}, {8}, {9}};
    Pool pool(lists);
    AceIdMap map;
    EXPECT_EQ(map.make(9, pool.pointers.data(), 6, AceReporter::null()), value < NONE - 2 ? 0 : -1);
    ASSERT_EQ(map.build(9, pool.pointers.data(), nullptr), 0);
    expect_lists_in_all_forms(map, lists);
    EXPECT_EQ(map.build_reverse(), 0);
    EXPECT_EQ(map.get_index(value), 0u);
    EXPECT_EQ(map.get_index(5), 4u);
  }
}

TEST(AceIdMap, keys_over_the_whole_range_make_a_small_map) {
  AceBulk bulk;
  AceIdMap::ListMap lists;
  for (const VInt key : {0L, 77L, 4294967294L}) bulk.inc(lists[key], static_cast<Large>(key));
  bulk.inc(lists[77], NONE);
  AceIdMap map;
  ASSERT_EQ(map.build(&lists, nullptr), 0);
  EXPECT_EQ(map.get_num_keys(), NONE);
  EXPECT_EQ(map.get_max_key(), NONE - 1);
  EXPECT_LT(image_of(map).size(), 120u);
  EXPECT_EQ(values_of(map, NONE - 1), Values{NONE - 1});
  EXPECT_EQ(values_of(map, 77), (Values{77, NONE}));
  EXPECT_EQ(map.build_reverse(), 0);
  EXPECT_EQ(map.get_index(NONE), 77u);
  EXPECT_EQ(map.get_index(NONE - 1), NONE - 1);
  EXPECT_LT(image_of(map).size(), 250u) << "with a block index";
  for (const VInt key : {-1L, 4294967295L, 1L << 40}) {
    AceIdMap::ListMap bad;
    bulk.inc(bad[key], 1);
    EXPECT_EQ(map.build(&bad, AceReporter::null()), -1);
    EXPECT_EQ(map.get_num_keys(), 0u);
  }
  EXPECT_EQ(map.build(3, nullptr, AceReporter::null()), -1);
}

TEST(AceIdMap, the_reverse_index_knows_the_key_of_every_value) {
  AceReporter::clear_default();
  std::mt19937 random(4);
  for (int round = 0; round < 40; ++round) {
    Values all;
    for (Large i = 0, step = 1 + random() % (round % 2 == 0 ? 4 : 300), value = 0; i < 500; ++i)
      all.push_back(value += 1 + random() % step);
    std::shuffle(all.begin(), all.end(), random);
    Lists lists(1 + random() % 400);
    std::map<Large, Large> keyOf;
    for (const Large value : all) {
      const auto key = static_cast<Large>(random() % lists.size());
      lists[key].push_back(value);
      keyOf[value] = key;
    }
    Pool pool(lists);
    AceIdMap map;
    ASSERT_EQ(map.build(pool.size(), pool.pointers.data(), nullptr), 0);
    EXPECT_EQ(map.get_index(all[0]), NONE) << "not built yet";
    ASSERT_EQ(map.build_reverse(), 0);
    const Mapped mapped(image_of(map));
    AceIdMap read;
    read_stream(&read, image_of(map));
    ASSERT_TRUE(mapped.map.has_reverse());
    for (Large value = 0; value < map.get_max_value() + 5; ++value) {
      const Large expected = keyOf.count(value) > 0 ? keyOf[value] : NONE;
      ASSERT_EQ(map.get_index(value), expected);
      ASSERT_EQ(mapped.map.get_index(value), expected);
      ASSERT_EQ(read.get_index(value), expected);
    }
    expect_lists(read, lists);
  }
  Pool twice({{1, 2}, {2}});
  AceIdMap map;
  map.build(2, twice.pointers.data(), nullptr);
  EXPECT_EQ(map.build_reverse(), -1) << "value 2 has two keys";
  EXPECT_FALSE(map.has_reverse());
}

TEST(AceIdMap, a_damaged_payload_is_refused_or_stays_in_bounds) {
  AceReporter::clear_default();
  const Lists lists = {{7}, {3, 500}, {}, {9}, {4, 5, 6}, {8}, {1, 2}};
  Pool pool(lists);
  for (const int mode : {4, 7, 12, 22}) {
    NarrowIdMap good(mode == 7 ? 32 : 3);
    ASSERT_EQ(good.make(static_cast<int>(pool.size()), pool.pointers.data(), mode, nullptr), 0);
    if (mode != 4) ASSERT_EQ(good.build_reverse(), 0);
    const std::string image = image_of(good);
    support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
      if (damaged.empty()) return;
      std::vector<long> buffer(damaged.size() / 8 + 1);
      std::copy(damaged.begin(), damaged.end(), reinterpret_cast<char*>(buffer.data()));
      AceFile mapped;
      mapped.init_read(reinterpret_cast<const char*>(buffer.data()), static_cast<VInt>(damaged.size()));
      StreamFile stream(damaged);
      for (AceFile* file : {&mapped, &stream.file}) {
        AceIdMap map;
        VInt rc = -1;
        try {
          rc = map.read(file);
        } catch (const AceException&) {
        }
        EXPECT_TRUE(rc == 0 ? damaged.size() == image.size() : map.get_num_keys() == 0) << what;
        for (Large key = 0; key < 9; ++key) {  // the sanitizers judge
          const IdList list = map.get(key);
          EXPECT_LT(std::accumulate(list.begin(), list.end(), VUint{0}), VUint{1} << 40);
          Large slotKey = 0;
          const Large* values = nullptr;
          map.get_by_index(key, slotKey, values);
          EXPECT_LE(map.get_index(key) + 1, map.get_num_keys());
        }
      }
    });
  }
}

TEST(AceIdMap, reading_does_not_walk_through_the_arrays_and_verify_does) {
  AceReporter::clear_default();
  Lists lists(100'000);
  lists[70'000] = {5, 6};
  Pool pool(lists);
  for (const int mode : {2 | 4, 4}) {
    AceIdMap good;
    ASSERT_EQ(good.make(static_cast<int>(pool.size()), pool.pointers.data(), mode, nullptr), 0);
    std::string image = image_of(good);
    for (const bool isDamaged : {false, true}) {
      if (isDamaged) image = support::overwrite(image, image.size() / 2 / 4 * 4, Large{0xFFFF0000});
      const support::SealedImage sealed(image);
      sealed.seal();
      AceFile file;
      file.init_read(sealed.data(), sealed.size());
      AceIdMap map;
      ASSERT_EQ(map.read(&file), 0);
      sealed.open();
      EXPECT_EQ(map.get_first(70'000), 5u);
      if (mode == 4) EXPECT_EQ(map.verify(AceReporter::null()), isDamaged ? -1 : 0);
      for (Large key = 0; key < 100'000; ++key) ASSERT_LE(map.get(key).count, 2u);
    }
  }
}

}  // namespace
