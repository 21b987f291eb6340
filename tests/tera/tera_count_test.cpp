#include "tera/tera_count.h"

#include <map>
#include <random>
#include <set>

#include "ace/ace_cpu.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "oracle/flag_table.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/payload.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_result.h"

namespace {

using oracle::FlagTable;
using Entries = std::set<int>;

Entries entries_of(const TeraCount& count, const VBit* bits) {
  Entries found;
  if (bits == nullptr) return {-1};
  for (int i = 0; i < 64 * count.get_num_words(); ++i)
    if ((bits[i / 64] >> (i % 64) & 1) != 0) found.insert(i);
  return found;
}

/// A table and the same as counters; some flags are never set.
struct Sample {
  Sample(unsigned seed, int entries, int values) : table(entries, values), count(entries, values, nullptr) {
    std::mt19937 random(seed);
    for (int entry = 0; entry < entries; ++entry) {
      std::vector<int> flags;
      for (int value = 0; value < values; ++value)
        if (value % 5 != 3 && random() % 3 == 0) flags.push_back(value);
      for (const int value : flags) table.cells[static_cast<std::size_t>(value)].insert(entry);
      EXPECT_EQ(count.set_flags_horizontal(entry, static_cast<int>(flags.size()), flags.data()),
                static_cast<int>(flags.size()));
    }
  }
  bool is_missing(int value) const { return table.cells[static_cast<std::size_t>(value)].empty(); }

  FlagTable table;
  TeraCount count;
};

class TeraCountLevels : public testing::TestWithParam<AceCpuLevel> {
 protected:
  TeraCountLevels() { ace_cpu_limit(GetParam()); }
  ~TeraCountLevels() override { ace_cpu_limit(AceCpuLevel::AVX512); }
};
INSTANTIATE_TEST_SUITE_P(Levels, TeraCountLevels,
                         testing::Values(AceCpuLevel::BASELINE, AceCpuLevel::AVX2, AceCpuLevel::AVX512),
                         [](const auto& level) { return std::string(ace_cpu_name(level.param)); });

TEST_P(TeraCountLevels, sets_are_those_of_the_table) {
  std::mt19937 random(1);
  for (const int entries : {1, 63, 64, 70, 700, 66000}) {
    const Sample sample(static_cast<unsigned>(entries), entries, 24);
    const FlagTable& table = sample.table;
    const TeraCount& count = sample.count;
    AceAttach at;
    for (int i = 0; i < (entries > 1000 ? 4 : 60); ++i) {
      std::vector<int> list;
      for (unsigned k = 1 + random() % 5; k > 0; --k) {
        const int value = static_cast<int>(random() % 24);
        list.push_back(random() % 3 == 0 ? ~value : value);
      }
      const int n = static_cast<int>(list.size());
      const auto all = [&](int entry) {
        return std::all_of(list.begin(), list.end(), [&](int listed) { return table.holds(entry, listed); });
      };
      const auto any = [&](int entry) {
        return std::any_of(list.begin(), list.end(), [&](int listed) { return table.holds(entry, listed); });
      };
      const VBit* exact = count.get_exact(n, list.data(), &at);
      const VBit* group = count.get_group(n, list.data(), &at);
      ASSERT_EQ(entries_of(count, exact), table.entries_with(all));
      ASSERT_EQ(entries_of(count, group), table.entries_with(any));
      EXPECT_EQ(entries_of(count, count.intersect(exact, group, &at)), table.entries_with(all));
      EXPECT_EQ(entries_of(count, count.bit_union(exact, group, &at)), table.entries_with(any));
      const Entries found = table.entries_with(all);
      EXPECT_EQ(count.get_first_entry(exact), found.empty() ? -1 : *found.begin());
    }
  }
}

TEST_P(TeraCountLevels, numbers_in_runs_of_flags_are_compared) {
  const Sample sample(7, 300, 24);
  const FlagTable& table = sample.table;
  const TeraCount& count = sample.count;
  AceAttach at;
  for (const int first : {0, 4, 9, 19})
    for (int nbits = -2; nbits <= 3; ++nbits)
      for (const unsigned value : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 12u, 15u, 16u, 4000000000u}) {
        const auto is = [&](auto compare) {
          return table.entries_with([&](int entry) { return compare(table.number(entry, first, nbits)); });
        };
        EXPECT_EQ(entries_of(count, count.get_numeric_exact(value, first, nbits, 0, &at)),
                  is([&](unsigned number) { return number == value; }));
        EXPECT_EQ(entries_of(count, count.get_numeric_exact(value, first, nbits, 1, &at)),
                  is([&](unsigned number) { return number != value; }));
        EXPECT_EQ(entries_of(count, count.get_numeric_geq(value, first, nbits, &at)),
                  is([&](unsigned number) { return number >= value; }))
            << value << " in " << first << " + " << nbits;
        const bool isMore = nbits >= 0 && value >= 1u << (nbits + 1);
        bool isOdd = nbits < 0;  // as the header says
        for (int k = 0; k <= nbits; ++k)
          isOdd |= !isMore && sample.is_missing(first + k) && (value >> k & 1) != 0;
        if (!isOdd)
          EXPECT_EQ(entries_of(count, count.get_numeric_smaller(value, first, nbits, &at)),
                    is([&](unsigned number) { return number < value; }))
              << value << " in " << first << " + " << nbits;
      }
  EXPECT_EQ(entries_of(count, count.get_numeric_smaller(5, 0, -1, &at)), Entries{});
  TeraCount empty(20, 3, nullptr);
  EXPECT_EQ(entries_of(empty, empty.get_numeric_smaller(1, 0, 0, &at)), (Entries{0, 8, 16}));
  EXPECT_EQ(entries_of(empty, empty.get_numeric_exact(8, 0, 2, 0, &at)), Entries{});
  EXPECT_EQ(count.get_numeric_exact(1, 20, 4, 0, &at), nullptr);
  EXPECT_EQ(count.get_numeric_geq(1, -1, 2, &at), nullptr);
}

TEST(TeraCount, entries_get_and_lose_flags) {
  TeraCount count(70, 40, nullptr);
  const int flags[] = {3, 5, 3};
  EXPECT_EQ(count.set_flags_horizontal(69, 3, flags), 2);
  EXPECT_EQ(count.set_flags_horizontal(69, 2, flags), 0);
  EXPECT_EQ(count.get_num_words(), 2);
  EXPECT_EQ(count.get_max_flags(), 3);
  EXPECT_EQ(count.get_total_bits(), 2);
  EXPECT_DOUBLE_EQ(count.get_density(), 2.0 / (2 * 40 * 64));
  EXPECT_TRUE(count.enabled(69));
  EXPECT_FALSE(count.enabled(68));
  int out[4];
  EXPECT_EQ(count.get_flags(69, 4, out, 100), 2);
  EXPECT_EQ(std::vector<int>(out, out + 2), (std::vector<int>{103, 105}));
  EXPECT_EQ(count.get_flags(69, 1, out, 0), 1);
  EXPECT_EQ(count.get_flags(69, 0, nullptr, 0), 2);
  EXPECT_EQ(count.get_numeric_flag(69, 3, 2), 5u);
  EXPECT_EQ(count.get_numeric_flag(69, 3, -1), 0u);
  EXPECT_EQ(count.get_numeric_flag(-1, 3, 2), 0u);
  EXPECT_EQ(count.get_numeric_flag(69, 5, 1000000000), 1u);
  const VBit whole[] = {5, ~VBit{0}};
  EXPECT_EQ(count.set_flags_vertical(7, whole), 0);
  AceAttach at;
  Large* entries = nullptr;
  ASSERT_EQ(count.get_all_combis(7, &entries, &at), 8) << "without what is beyond the entries";
  EXPECT_EQ(std::vector<Large>(entries, entries + 8), (std::vector<Large>{0, 2, 64, 65, 66, 67, 68, 69}));
  EXPECT_EQ(count.map(7, 5), 0);
  EXPECT_EQ(count.get_all_combis(5, &entries, &at), 8);
  EXPECT_EQ(count.map(30, 31), 0);
  EXPECT_EQ(count.get_array(31), nullptr);
  EXPECT_EQ(count.clear_flags(69), 0);
  EXPECT_EQ(count.get_flags(69, 0, nullptr, 0), 0);
  EXPECT_EQ(count.enable_all(), 0);
  EXPECT_EQ(count.disable(2), 0);
  EXPECT_TRUE(count.enabled(68));
  EXPECT_FALSE(count.enabled(2));
  const int seven = 7;
  EXPECT_EQ(count.get_group(1, &seven, &at), count.get_array(7)) << "the stored array";
  const int missing = 30;
  EXPECT_EQ(entries_of(count, count.get_exact(1, &missing, &at)), Entries{});
  EXPECT_EQ(entries_of(count, count.get_group(1, &missing, &at)), Entries{});
  const int none[] = {-1, 40, ~40, INT_MAX, INT_MIN};
  for (const int value : none) {
    EXPECT_EQ(count.check_array(value), -1);
    EXPECT_EQ(count.set_flags_vertical(value, whole), -1);
    EXPECT_EQ(count.set_flags_horizontal(1, 1, &value), -1);
    EXPECT_EQ(count.map(value, 1), -1);
    EXPECT_EQ(count.get_all_combis(value, &entries, &at), -1);
    if (value != -1 && value != ~40 + 0) EXPECT_EQ(count.get_exact(1, &value, &at), nullptr) << value;
  }
  for (const int entry : {-1, 70, INT_MAX}) {
    EXPECT_EQ(count.set_flags_horizontal(entry, 1, &seven), -1);
    EXPECT_EQ(count.clear_flags(entry), -1);
    EXPECT_EQ(count.enable(entry), -1);
    EXPECT_FALSE(count.enabled(entry));
    EXPECT_EQ(count.get_flags(entry, 4, out, 0), -1);
  }
  EXPECT_EQ(count.get_exact(0, none, &at), nullptr);
  EXPECT_EQ(count.get_group(0, none, &at), nullptr);
  support::RecordingReporter rep;
  count.print(&rep);
  EXPECT_EQ(rep.all(), "NUM_VALUES: 40\nMAX_GROUPS: 0\nNUM_ENTRY:  70\nNUM_WORDS:  2\n");
}

TEST(TeraCount, flags_are_folded_into_words_and_counted_by_groups) {
  TeraCount count(3, 40, nullptr);
  std::vector<int> flags;
  for (int i = 0; i < 40; i += 2) flags.push_back(i);
  count.set_flags_horizontal(1, static_cast<int>(flags.size()), flags.data());
  std::vector<int> list;
  for (int i = 0; i < 40; ++i) list.push_back(i % 4 == 0 ? ~i : i);
  AceBulk bulk;
  const auto folded = [&](int n) {
    const AceBulk::List* words = count.fold(1, n, list.data(), nullptr, &bulk);
    return words != nullptr ? std::vector<Large>(words->begin(), words->end()) : std::vector<Large>{};
  };
  const Large even = 0x55555555;
  EXPECT_EQ(folded(31), (std::vector<Large>{even & 0x7FFFFFFF}));
  EXPECT_EQ(folded(32), (std::vector<Large>{even | 0x80000000, 0})) << "flag 31 is odd";
  EXPECT_EQ(folded(33), (std::vector<Large>{even | 0x80000000, 2}));
  EXPECT_EQ(folded(0), (std::vector<Large>{}));
  EXPECT_EQ(folded(-1), (std::vector<Large>{0}));
  const int values[] = {0, 2, 4, ~6, ~1, 8, ~3, 10};
  const int groups[] = {1, 1, 2, 3, 4, 2, 2, 1};
  EXPECT_EQ(count.reeval(1, 8, values, groups), 3) << "1, 2, 1: flags 1 and 3 have no arrays";
  count.set_flags_horizontal(0, 1, &groups[0]);
  EXPECT_EQ(count.reeval(1, 8, values, groups), 5) << "now the negation of 1 holds";
  EXPECT_EQ(count.reeval(7, 8, values, groups), -1);
}

/// Qualities by entry.
std::map<int, int> matched(const TeraCount& count, const std::vector<const VBit*>& bits,
                           TeraEval::Model model) {
  TeraResult result("", 1, TeraResult::MAX_CANDS, 255, nullptr);
  std::map<int, int> found;
  if (count.match(&result, static_cast<int>(bits.size()), bits.data(), model) < 0) return {{-1, -1}};
  result.find_any([&](int quality, const TeraCand* cand) {
    found[cand->get_entry()] = quality;
    return false;
  });
  return found;
}

TEST(TeraCount, entries_are_matched_by_how_many_flags_they_share) {
  Sample sample(11, 500, 20);
  // The same entries in the order of their numbers of flags.
  std::vector<int> order;
  TeraCount::Histo histo(21);
  for (int entry = 0; entry < 500; ++entry) {
    order.push_back(entry);
    EXPECT_EQ(histo.add(sample.table.num_flags(entry)), 0);
  }
  EXPECT_EQ(histo.add(21), -1);
  std::stable_sort(order.begin(), order.end(),
                   [&](int a, int b) { return sample.table.num_flags(a) < sample.table.num_flags(b); });
  TeraCount grouped(500, 20, &histo);
  for (int pos = 0; pos < 500; ++pos) {
    int flags[20];
    const int n = sample.count.get_flags(order[static_cast<std::size_t>(pos)], 20, flags, 0);
    grouped.set_flags_horizontal(pos, n, flags);
    EXPECT_EQ(grouped.num_groups(pos), n + 1) << "groups 0 to n begin at " << pos << " or before";
  }
  EXPECT_EQ(grouped.get_num_groups(), 21);
  std::mt19937 random(3);
  for (int i = 0; i < 60; ++i) {
    const auto model = i % 2 == 0 ? TeraEval::MEAN : TeraEval::QUERY;
    std::vector<int> asked;
    for (unsigned k = 1 + random() % 8; k > 0; --k) asked.push_back(static_cast<int>(random() % 20));
    std::vector<const VBit*> bits;
    std::vector<const VBit*> groupedBits;
    for (const int value : asked) {
      bits.push_back(sample.count.get_array(value));
      groupedBits.push_back(grouped.get_array(value));
    }
    std::map<int, int> expected;
    for (int pos = 0; pos < 500; ++pos) {
      const int entry = order[static_cast<std::size_t>(pos)];
      int shared = 0;
      for (const int value : asked) shared += sample.table.has(entry, value) ? 1 : 0;
      if (shared == 0) continue;
      const int quality =
          std::min(255, TeraEval::get_model_func(model, 0)(static_cast<int>(asked.size()), shared,
                                                           sample.table.num_flags(entry)));
      if (quality > 0) expected[pos] = quality;
    }
    EXPECT_EQ(matched(grouped, groupedBits, model), expected);
    std::map<int, int> plain;
    for (const auto& [pos, quality] : expected) plain[order[static_cast<std::size_t>(pos)]] = quality;
    EXPECT_EQ(matched(sample.count, bits, model), plain);
  }
  EXPECT_EQ(grouped.match(nullptr, 1, nullptr, TeraEval::MEAN), -1);
}

void use(const TeraCount& count) {
  AceAttach at;
  Large* entries = nullptr;
  const int list[] = {0, ~1, 2};
  count.get_exact(3, list, &at);
  count.get_group(1, list, &at);
  count.get_numeric_geq(3, 0, 2, &at);
  count.get_all_combis(2, &entries, &at);
  count.enabled(69);
  count.num_groups(3);
  const VBit* bits[] = {count.get_array(0), count.get_array(2)};
  TeraResult result("", 1, 100, 255, nullptr);
  count.match(&result, 2, bits, TeraEval::MEAN);
  result.add_strings(nullptr);
}

TEST(TeraCount, a_histogram_of_more_or_fewer_entries_stays_within_them) {
  for (const int numCounted : {2, 6, 10}) {
    TeraCount::Histo histo(4);
    for (int i = 0; i < numCounted; ++i) histo.add(i % 2 == 0 ? 1 : 3);
    TeraCount count(6, 3, &histo);
    const int flags[] = {0, 2};
    for (int entry = 0; entry < 6; ++entry) count.set_flags_horizontal(entry, 2, flags);
    for (int entry = 0; entry < 6; ++entry) EXPECT_LE(count.num_groups(entry), 4) << numCounted;
    const std::string image = support::image_by([&](AceFile* file) { count.save(file); });
    support::PayloadFile file(image);
    TeraCount read;
    ASSERT_GE(read.read(file.get()), 0) << numCounted;
    for (const TeraCount* asked :
         {static_cast<const TeraCount*>(&count), static_cast<const TeraCount*>(&read)}) {
      TeraResult result(nullptr, 1, 100, 255);
      const VBit* bits[] = {asked->get_array(0)};
      EXPECT_GE(asked->match(&result, 1, bits, TeraEval::QUERY), 0);
      EXPECT_LE(result.num_cands(), 6);
    }
  }
}

TEST(TeraCount, a_file_answers_as_before_in_every_mode_and_damaged_ones_are_survived) {
  TeraCount::Histo histo(4);
  for (int i = 0; i < 70; ++i) histo.add(i < 20 ? 0 : 2);
  TeraCount count(70, 5, &histo);
  const int flags[] = {0, 2};
  for (int entry = 20; entry < 70; ++entry) count.set_flags_horizontal(entry, 2, flags);
  const support::TempFolder folder;
  ASSERT_GE(count.dump(folder.file("count").c_str(), AceReporter::null()), 0);
  AceAttach at;
  const int list[] = {0, ~2};
  // The second was written once, by the first version with that format, and opens for ever.
  const std::string files[] = {folder.file("count"), TEST_DATA "/formats/flags.count"};
  for (int load = 0; load < 8; ++load) {
    const int mode = load % 4;
    TeraCount read;
    ASSERT_EQ(read.load(files[load / 4].c_str(), mode, AceReporter::null()), 0) << files[load / 4];
    EXPECT_EQ(entries_of(read, read.get_group(2, list, &at)),
              entries_of(count, count.get_group(2, list, &at)));
    EXPECT_EQ(read.get_array(1), nullptr);
    EXPECT_EQ(read.get_density(), count.get_density());
    EXPECT_TRUE(read.enabled(20));
    EXPECT_FALSE(read.enabled(19));
    EXPECT_EQ(matched(read, {read.get_array(0)}, TeraEval::MEAN),
              matched(count, {count.get_array(0)}, TeraEval::MEAN));
    EXPECT_EQ(read.set_flags_horizontal(3, 2, flags), mode == 0 ? 2 : -1) << "mappings are not changed";
    EXPECT_EQ(read.enable(4), mode == 0 ? 0 : -1);
  }
  AceReporter::clear_default();
  const std::string image = support::image_by([&](AceFile* file) { EXPECT_EQ(count.save(file), 70); });
  const auto read = [](const std::string& damaged, const std::string&) {
    for (const bool isStream : {false, true}) {
      support::PayloadFile file(damaged, isStream);
      TeraCount broken;
      try {
        if (broken.read(file.get()) >= 0 && broken.get_num_entries() < 1000000) use(broken);
      } catch (const AceException&) {
      }
    }
  };
  support::for_each_damage(image, read);
  support::for_each_hostile_word(image, read);
  const std::size_t content = 6 * 4;
  support::PayloadFile file(support::overwrite(image, content, 1 | 2 | 4 | 8));
  TeraCount refused;
  EXPECT_EQ(refused.read(file.get()), -1) << "group offsets without the mark";
  static AceReporter standard;
  standard.set_as_default();
}

TEST(TeraCount, the_smallest_file_is_the_documented_one) {
  TeraCount::Histo histo(2);
  for (const int group : {0, 1, 1}) histo.add(group);
  TeraCount count(3, 2, &histo);
  const int flag = 1;
  for (const int entry : {1, 2}) count.set_flags_horizontal(entry, 1, &flag);
  EXPECT_EQ(support::image_by([&](AceFile* file) { count.save(file); }),
            support::documented_bytes(TEST_FORMATS, "Value counters (COUNT)"));
}

}  // namespace
