#include "tera/tera_result.h"

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "ace/ace_id_map.h"
#include "ace/ace_tracer.h"
#include "support/recording_reporter.h"
#include "tera/tera_eval.h"
#include "tera/tera_index.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_scan_query.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_transform.h"

namespace {

using Numbers = std::set<Large>;

/// The rules of a result over a plain list.
struct Rules {
  struct Held {
    int value;
    int entry;
    bool operator==(const Held&) const = default;
  };

  void drop_below(int limit) {
    for (const Held& held : list)
      if (held.value < limit) next = std::max(next, held.value);
    std::erase_if(list, [limit](const Held& held) { return held.value < limit; });
    min = std::max(min, limit);
  }
  void keep_limits() {
    if (!list.empty()) drop_below(best() - dist);
    for (;;) {
      const auto worst = std::min_element(list.begin(), list.end(), by_value);
      if (worst == list.end() || better_than(worst->value) < cands) return;
      drop_below(worst->value + 1);
    }
  }
  void add(int value, int entry) {
    if (value < min) {
      next = std::max(next, value);
      return;
    }
    list.push_back({value, entry});
    keep_limits();
  }
  void allow(int value, int extra) {
    if (value < min) {
      min = value;
      next = std::max(value - 1, 0);
    }
    dist = std::max(dist, 255 - value);
    cands += extra;
  }
  int best() const { return std::max_element(list.begin(), list.end(), by_value)->value; }
  int better_than(int value) const {
    return static_cast<int>(
        std::count_if(list.begin(), list.end(), [value](const Held& held) { return held.value > value; }));
  }
  static bool by_value(const Held& a, const Held& b) { return a.value < b.value; }

  int min = 0;
  int next = 0;
  int dist = 255;
  int cands = 1;
  std::vector<Held> list;
};

void expect_as(const TeraResult& result, Rules rules, bool best_first) {
  EXPECT_EQ(result.get_min_value(), rules.min);
  EXPECT_EQ(result.next_value(), rules.next);
  ASSERT_EQ(result.num_cands(), static_cast<int>(rules.list.size()));
  std::stable_sort(rules.list.begin(), rules.list.end(), [best_first](const auto& a, const auto& b) {
    return best_first ? a.value > b.value : a.value < b.value;
  });
  std::vector<Rules::Held> held;
  for (const TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next()) {
    EXPECT_EQ(group->get_num_better(), rules.better_than(group->get_value()));
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      held.push_back({group->get_value(), cand->get_entry()});
  }
  EXPECT_TRUE(held == rules.list);
}

/// Candidates in the same order as the result's, with what tests compare.
struct Found {
  int value;
  std::string string;
  Numbers numbers;
  bool operator==(const Found&) const = default;
  bool operator<(const Found& other) const {
    return std::tie(value, string, numbers) < std::tie(other.value, other.string, other.numbers);
  }
};

std::multiset<Found> found_in(const TeraResult& result) {
  std::multiset<Found> all;
  result.find_any([&all](int value, const TeraCand* cand) {
    Found found{value, cand->represent(), {}};
    if (cand->get_entry() != TeraCand::NO_ENTRY) found.numbers.insert(static_cast<Large>(cand->get_entry()));
    for (Large i = 0; i < cand->get_num_infos(); ++i) found.numbers.insert(cand->get_info(i));
    all.insert(found);
    return false;
  });
  return all;
}

/// Entries 0 to 99 with names, of which some are shared, and lists of attribute numbers.
class World {
 public:
  static constexpr Large NUM = 100;

  World() {
    std::vector<const char*> texts;
    for (Large i = 0; i < NUM; ++i) {
      names.push_back(i % 7 == 3 ? "" : std::string(1 + i % 3, static_cast<char>('a' + i % 11)));
      infos.emplace_back();
      for (Large k = 0; k < i % 4; ++k) infos.back().insert(1000 * k + i / 2);
    }
    for (const std::string& name : names) texts.push_back(name.c_str());
    EXPECT_EQ(strings.make(static_cast<int>(NUM), texts.data(), false, 0, nullptr), 0);
    std::vector<AceBulk::List*> lists(NUM, nullptr);
    for (Large i = 0; i < NUM; ++i)
      for (const Large info : infos[i]) bulk.inc(lists[i], info);
    EXPECT_EQ(map.build(NUM, lists.data(), nullptr), 0);
  }

  std::vector<std::string> names;
  std::vector<Numbers> infos;
  TeraIndex strings;
  AceIdMap map;

 private:
  AceBulk bulk;
};

const World& world() {
  static const World all;
  return all;
}

/// A result of random entries, unlimited unless said.
struct Sample {
  explicit Sample(unsigned seed, int min = 0, int cands = 1000, int dist = 255)
      : result("query", min, cands, dist, nullptr) {
    std::mt19937 random(seed);
    for (int i = 0; i < 60; ++i) {
      const int value = static_cast<int>(200 + random() % 8 * 7);
      const Large entry = random() % World::NUM;
      result.add(value, entry);
      added.emplace_back(value, entry);
    }
  }

  TeraResult result;
  std::vector<std::pair<int, Large>> added;
};

}  // namespace

TEST(TeraResult, follows_the_rules_of_its_limits_in_any_order_of_operations) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&random](int limit) {
      return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    Rules rules;
    rules.min = below(256);
    rules.next = std::max(rules.min - 1, 0);
    rules.dist = below(2) == 0 ? 255 : below(100);
    rules.cands = 1 + below(30);
    TeraResult result("q", rules.min, rules.cands, rules.dist);
    bool bestFirst = false;
    const int spread = 1 + below(256);
    for (int step = 0; step < 120 && !HasFailure(); ++step) {
      const int value = 255 - below(spread);
      switch (below(40)) {
        case 0:
          result.cut(value);
          rules.drop_below(value);
          break;
        case 1:
          result.allow(value, step % 3);
          rules.allow(value, step % 3);
          break;
        case 2:
          result.set_max_dist(value);
          rules.dist = value;
          rules.keep_limits();
          break;
        case 3:
          rules.cands = 1 + below(30);
          result.set_num_cands(rules.cands);
          rules.keep_limits();
          break;
        case 4:
          bestFirst = !bestFirst;
          bestFirst ? result.high_first() : result.low_first();
          break;
        case 5: {
          auto* group = new TeraCandGroup(value);
          for (int i = 0; i < 3; ++i) group->append(new TeraCand(static_cast<Large>(step)));
          const bool isWanted = value >= rules.min;
          const int before = rules.better_than(value - 1) - rules.better_than(value);
          const int stay = result.add_cand_group(group);
          // A whole group comes at once: the limits are looked at behind its last candidate.
          if (isWanted) rules.list.insert(rules.list.end(), 2, {value, step});
          rules.add(value, step);
          EXPECT_EQ(stay, rules.better_than(value - 1) - rules.better_than(value) > before ? 3 : 0);
          break;
        }
        default:
          EXPECT_EQ(result.add(value, static_cast<Large>(step)), [&] {
            rules.add(value, step);
            return value >= rules.min ? 1 : 0;
          }());
      }
      expect_as(result, rules, bestFirst);
    }
    result.turn();
    expect_as(result, rules, !bestFirst);
  }
}

TEST(TeraResult, moves_limits_that_make_no_sense) {
  TeraResult perfect("q", 300, 0, -1);
  EXPECT_EQ(perfect.add(254, Large{1}) + perfect.add(300, Large{2}), 1);
  EXPECT_EQ(perfect.next_value(), 254);
  EXPECT_EQ(perfect.get_max_value(), 255);
  EXPECT_EQ(perfect.get_num_cands(), 1);
  EXPECT_EQ(perfect.get_max_dist(), 255);
  EXPECT_EQ(perfect.allow(-7, 2'000'000'000), 0);
  EXPECT_EQ(perfect.get_num_cands(), 1'000'000);

  TeraResult lowered("q", 200, 10, 20);
  lowered.add(210, Large{1});
  lowered.set_next_value(5);
  EXPECT_FALSE(lowered.accept(100));
  EXPECT_EQ(lowered.next_value(), 100);
  lowered.set_min_value(50);  // not further than the distance
  EXPECT_EQ(lowered.get_min_value(), 190);
}

TEST(TeraResult, notes_the_kinds_of_candidates_that_come) {
  TeraResult result("q", 100, 10, 255);
  EXPECT_EQ(result.add(90, TeraCand::create_frequent_cand()), 0);
  EXPECT_EQ(result.get_best_frequent(), 0);
  result.add(150, TeraCand::create_frequent_cand("many"));
  result.add(130, TeraCand::create_null_cand());
  EXPECT_EQ(result.get_best_frequent(), 150);
  EXPECT_FALSE(result.is_artificial_cands());
  EXPECT_TRUE(result.has_special_cands_only());
  result.add(140, TeraCand::create_always_hits_cand());
  EXPECT_TRUE(result.is_artificial_cands());
  result.add(120, new TeraCand("x", 7));
  EXPECT_FALSE(result.has_special_cands_only());
  EXPECT_EQ(result.get_max_value_with_hitlist(), 120);
  EXPECT_EQ(result.get_first_info(), 7U);
  EXPECT_STREQ(result.get_cand("many", 0)->identify(), "many");
  EXPECT_EQ(result.get_cand("many", 151), nullptr);
  EXPECT_STREQ(TeraCand(nullptr, 0, nullptr).identify(), "%%%UNDEF%%%");
  EXPECT_STREQ(TeraCand("", 1).identify(), "-BLANK-");
}

TEST(TeraResult, orders_candidates_by_numbers_and_strings) {
  const Large low[] = {1, 5};
  const Large high[] = {1, 6};
  TeraCand shifted("z", 2, low);
  shifted.set_shift(9);
  const TeraCand larger("y", 2, high);
  const TeraCand smaller("b", 2, low);
  const TeraCand blank("", 3);         // "-BLANK-"
  const TeraCand undefined(Large{4});  // "%%%UNDEF%%%"
  const TeraCand* const ordered[] = {&shifted, &larger, &smaller, &blank};
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < 4; ++k)
      EXPECT_EQ(TeraCand::cmp_cand(ordered[i], ordered[k]) < 0, i < k) << i << " " << k;
  TeraCand alike("%%%UNDEF%%%", 0, nullptr);
  EXPECT_EQ(TeraCand::cmp_cand(&undefined, &alike), 0);

  Sample sample(1);
  const Sample same(1);
  const Sample other(2);
  sample.result.randomize_groups(3);
  EXPECT_TRUE(sample.result.equal_cands(&same.result));
  EXPECT_FALSE(sample.result.equal_cands(&other.result));
  sample.result.sort_entries(10);
  const auto inBuckets = [](const TeraCand* cand) {
    return cand->get_next() == nullptr || cand->get_entry() / 10 <= cand->get_next()->get_entry() / 10;
  };
  EXPECT_EQ(sample.result.find_any([&](int, const TeraCand* cand) { return !inBuckets(cand); }), nullptr);
}

TEST(TeraResult, resolves_entries_to_strings_and_attribute_numbers) {
  for (const bool byFunction : {false, true}) {
    Sample sample(7);
    TeraResult& result = sample.result;
    std::multiset<Found> expected;
    std::multiset<Found> expanded;
    std::map<Large, int> best;
    for (const auto& [value, entry] : sample.added) {
      const std::string name = world().names[entry].empty() ? "-BLANK-" : world().names[entry];
      expected.insert({value, name, world().infos[entry]});
      for (const Large info : world().infos[entry]) {
        best[info] = std::max(best[info], value);
        expanded.insert({value, name, {info}});
      }
    }
    const TeraCand::GetInfoArray hook = [](Large entry, const Large** infos) {
      return world().map.get_array(entry, infos);
    };
    EXPECT_EQ(
        byFunction ? result.resolve(&hook, &world().strings) : result.resolve(&world().map, &world().strings),
        60);
    EXPECT_EQ(found_in(result), expected);

    const Large* infos = nullptr;
    const Tiny* quals = nullptr;
    const int num = result.get_summary(&infos, &quals);
    ASSERT_EQ(num, static_cast<int>(best.size()));
    EXPECT_TRUE(
        std::equal(best.begin(), best.end(), infos, [](const auto& a, Large b) { return a.first == b; }));
    for (const auto& [info, quality] : best) EXPECT_EQ(result.read_hit_quality(info), quality);
    EXPECT_EQ(result.get_hit_quality(999), -1);
    EXPECT_EQ(result.get_summary_cand()->get_num_infos(), best.size());
    AceTracer::set("MAX_FILTER_LIST", 5);
    result.set_incr_shift(10);
    EXPECT_EQ(result.get_summary(&infos, &quals), -1);
    EXPECT_EQ(result.get_hit_quality(best.begin()->first + 10), best.begin()->second);
    AceTracer::set("MAX_FILTER_LIST", 0);
    result.set_incr_shift(0);

    result.remove_no_info_cands();
    std::erase_if(expected, [](const Found& found) { return found.numbers.empty(); });
    EXPECT_EQ(found_in(result), expected);
    result.expand();
    EXPECT_EQ(found_in(result), expanded);
    EXPECT_EQ(result.get_num_infos(), static_cast<VInt>(expanded.size()));
  }
}

TEST(TeraResult, collects_what_a_group_has_too_many_of) {
  for (const bool resolveFirst : {false, true}) {
    Sample sample(3);
    TeraResult& result = sample.result;
    result.set_biggest_group(4);
    result.add(207, TeraCand::create_frequent_cand());
    if (resolveFirst) result.resolve(&world().map, nullptr);
    result.compress();
    EXPECT_TRUE(result.has_collection());
    for (const TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next())
      EXPECT_LE(group->get_num_cands(), group->get_value() == 207 ? 6 : 5);
    if (!resolveFirst) result.resolve(&world().map, nullptr);
    std::map<int, Numbers> expected;
    std::map<int, Numbers> present;
    for (const auto& [value, entry] : sample.added)
      expected[value].insert(world().infos[entry].begin(), world().infos[entry].end());
    for (const Found& found : found_in(result))
      present[found.value].insert(found.numbers.begin(), found.numbers.end());
    EXPECT_EQ(present, expected);
    EXPECT_EQ(result.force_exact(), 0);
  }
}

TEST(TeraResult, merges_by_entry_and_by_string_within_its_limits) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const int min = static_cast<int>(seed % 3 * 100);
    const int cands = seed % 2 == 0 ? 1000 : 7;
    const int dist = seed % 5 == 0 ? 30 : 255;
    std::map<Large, int> bestOfEntry;
    std::map<std::string, std::pair<int, Numbers>> bestOfString;
    for (unsigned part = 0; part < 3; ++part)
      for (const auto& [value, entry] : Sample(seed + part).added) {
        bestOfEntry[entry] = std::max(bestOfEntry[entry], value);
        auto& [best, numbers] = bestOfString[world().names[entry]];
        best = std::max(best, value);
        numbers.insert(world().infos[entry].begin(), world().infos[entry].end());
      }
    Rules byEntry{min, std::max(min - 1, 0), dist, cands, {}};
    Rules byString = byEntry;
    for (const auto& [entry, value] : bestOfEntry) byEntry.add(value, static_cast<int>(entry));
    for (const auto& [string, best] : bestOfString) byString.add(best.first, 0);

    Sample first(seed);
    Sample second(seed + 1);
    Sample third(seed + 2);
    TeraResult merged("q", min, cands, dist);
    merged.merge_unresolved(&first.result, &second.result);
    EXPECT_EQ(merged.dedup_merge(&third.result), static_cast<int>(byEntry.list.size()));
    EXPECT_EQ(first.result.num_cands(), 0);
    std::multiset<Found> expected;
    for (const auto& held : byEntry.list)
      expected.insert({held.value, "%%%UNDEF%%%", {static_cast<Large>(held.entry)}});
    EXPECT_EQ(found_in(merged), expected);
    EXPECT_EQ(merged.get_min_value(), byEntry.min);

    Sample parts[] = {Sample(seed), Sample(seed + 1), Sample(seed + 2)};
    TeraResult* results[] = {&parts[0].result, nullptr, &parts[1].result, &parts[2].result};
    for (TeraResult* part : results)
      if (part != nullptr) part->resolve(&world().map, &world().strings);
    TeraResult united("q", min, cands, dist);
    EXPECT_EQ(united.merge_by_string(4, results), static_cast<int>(byString.list.size()));
    EXPECT_EQ(united.get_min_value(), byString.min);
    EXPECT_EQ(united.next_value(), byString.next);
    for (const Found& found : found_in(united)) {
      const auto& [best, numbers] = bestOfString[found.string == "-BLANK-" ? "" : found.string];
      EXPECT_EQ(found.value, best);
      EXPECT_EQ(found.numbers, numbers);
    }
  }
  Sample whole(9);
  Sample other(9);
  EXPECT_EQ(whole.result.add_cands_from(&other.result), 60);
  EXPECT_EQ(whole.result.num_cands(), 120);
  TeraResult same("q", 0, 1000, 255);
  same.add(255, new TeraCand("a", 1));
  TeraResult more("q", 0, 1000, 255);
  more.add(255, new TeraCand("a", 2));
  more.add(250, new TeraCand("a", 3));
  EXPECT_EQ(same.merge_quality_cands(&more), 2);
  EXPECT_EQ(found_in(same), (std::multiset<Found>{{250, "a", {3}}, {255, "a", {1, 2}}}));
  EXPECT_EQ(whole.result.dedup_unresolved(), static_cast<int>([] {
              Numbers entries;
              for (const auto& [value, entry] : Sample(9).added) entries.insert(entry);
              return entries.size();
            }()));
}

TEST(TeraResult, mixes_plain_and_phonetic_qualities) {
  const TeraResult::GetString hook = [](Large entry, AceAttach* at) {
    return world().strings.get_line_copy(entry, at);
  };
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const bool hasQuery = seed % 2 == 0;
    const bool isLiteral = seed % 3 == 0;
    TeraResult plain("aa", 60, 1000, 255);
    TeraQueryRef query(
        new TeraStandardQuery("aa", TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, TeraMap::get_ident_map(), 0));
    if (hasQuery) plain.add_query(query.get(), 0);
    if (isLiteral) plain.add_literal_matches();
    Sample source(seed);
    Sample sounds(seed + 100, 205);
    std::map<Large, int> plainQuality;
    std::map<Large, int> phoneticQuality;
    for (std::size_t i = 0; i < 20; ++i) {
      const auto& [value, entry] = source.added[i];
      if (!plainQuality.contains(entry)) plain.add(plainQuality[entry] = value - 130, entry);
    }
    // The codes of the companion: their attribute numbers are entries.
    TeraResult phonetic("A", 205, 1000, 255);
    if (isLiteral) phonetic.set_unreliable();
    for (const auto& [value, entry] : sounds.added) {
      if (value < 205) continue;
      phonetic.add(value, new TeraCand(nullptr, entry));
      phoneticQuality[entry] = std::max(phoneticQuality[entry], value);
    }
    std::multiset<Found> expected;
    Numbers entries;
    for (const auto& part : {plainQuality, phoneticQuality})
      for (const auto& [entry, value] : part) entries.insert(entry);
    for (const Large entry : entries) {
      const bool isPlain = plainQuality.contains(entry);
      std::string name = world().names[entry];
      int own = isPlain ? plainQuality[entry] : hasQuery ? query->compare(name.c_str()) : 0;
      const int value = TeraEval::phone_eval(own, phoneticQuality[entry], 40);
      if (isLiteral) name += "|aa";
      if (value >= 60) expected.insert({value, name.empty() ? "-BLANK-" : name, {entry}});
    }
    EXPECT_EQ(plain.add_phonetic(&phonetic, 40, &hook), static_cast<int>(expected.size()));
    EXPECT_EQ(found_in(plain), expected);
    EXPECT_EQ(plain.is_unreliable(), isLiteral);
  }
}

TEST(TeraResult, prints_tags_and_lists) {
  const Large falling[] = {1, 5, 5, 9};
  std::vector<Large> many(21);
  for (Large i = 0; i < 21; ++i) many[i] = i;
  TeraResult result("mei|er", 100, 50, 155);
  result.truncate_query('|');
  result.add(200, new TeraCand("maier", 4, falling));
  result.add(200, new TeraCand("", 7));
  result.add(255, new TeraCand("meier", 21, many.data()));
  result.add(255, new TeraCand(Large{3}));
  result.add(255, TeraCand::create_null_cand());
  result.add(255, TeraCand::create_collection_cand("<all>", 21, many.data()));
  result.set_unreliable();
  result.high_first();
  support::RecordingReporter rep;
  EXPECT_EQ(result.print(&rep, "names"), 0);
  EXPECT_EQ(rep.all(),
            "<result source=\"names\" query=\"mei\" min_value=100 max_dist=155 num_cands=50"
            " is_artificial=false is_unreliable=true>\n"
            "\t<group qual=255 num=4>\n"
            "\t\t<cand string=\"meier\" infos_ok=true num=21"
            " infos=0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,... />\n"
            "\t\t<cand string=\"%%%UNDEF%%%\" infos_ok=true num=0 infos= />\n"
            "\t\t<cand string=\"NULL\" infos_ok=true num=0 infos= />\n"
            "\t\t<cand string=\"<all>\" infos_ok=true num=21 infos=... />\n"
            "\t</group>\n"
            "\t<group qual=200 num=2>\n"
            "\t\t<cand string=\"maier\" infos_ok=false error_pos=2 num=4 infos=1,5,5,9 />\n"
            "\t\t<cand string=\"-BLANK-\" infos_ok=true num=1 infos=7 />\n"
            "\t\t<errors num_invalid_infos=1 />\n"
            "\t</group>\n"
            "\t\t<warnings num_no_string=1 num_no_infos=2 />\n"
            "</result>\n");

  TeraResult plain(nullptr, 0, 5, -1);
  plain.add(7, Large{1});
  plain.add(255, new TeraCand("b", 31));
  support::RecordingReporter listed;
  listed.set_as_default();
  plain.print(&world().strings);
  AceReporter::clear_default();
  EXPECT_EQ(listed.all(),
            "Query: `%%%UNDEF%%%'\n"
            "   1: Qual:  7 String:`%%%UNDEF%%%' Info:`bb'\n"
            "   2: Info:0000001f Qual:255 String:`b'\n");
}

TEST(TeraQueryKinds, combine_queries_and_rate_strings_for_results) {
  const TeraMap* map = TeraMap::get_ident_map();
  const auto standard = [map](const char* text) {
    return new TeraStandardQuery(text, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, map, 0);
  };
  const std::unique_ptr<TeraTransform> code(TeraTransform::factory("METAPHONE", nullptr));
  ASSERT_NE(code, nullptr);
  AceAttach at;
  TeraQueryRef mixed(new TeraMixQuery(standard("maier"), standard(code->code("maier", &at)), 50, code.get()));
  EXPECT_EQ(mixed->compare("meier"), TeraEval::phone_eval(204, 255, 50));
  EXPECT_EQ(mixed->is_empty(), 0);
  EXPECT_EQ(TeraMixQuery(nullptr, nullptr, 50, nullptr).compare("a"), -1);

  TeraForceExactQuery exact(standard("maier"),
                            [](Large entry, AceAttach*) { return entry == 5 ? "maier" : "x"; });
  EXPECT_EQ(exact.compare("maier"), 255);
  EXPECT_EQ(exact.compare("meier"), 0);
  EXPECT_EQ(exact.compare(Large{5}) + exact.compare(Large{6}), 255);
  EXPECT_EQ(TeraForceExactQuery(standard("maier")).compare(Large{5}), -1);
  // A mode may find entries perfect that are not the query.
  TeraMap letters;
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z");
  config.map_lower();
  config.compile_map(&letters);
  TeraQuery* const prefix = new TeraStandardQuery("maier", TeraEval::PREFIX, TeraEval::QUERY, &letters, 0);
  TeraQuery* const words = new TeraScanQuery(&letters, TeraEval::QUERY, "anna maria", 0);
  EXPECT_EQ(prefix->compare("maierhof") + words->compare("maria annabella anna"), 510);
  TeraQuery* parts[] = {prefix, words};
  const std::pair<TeraQuery*, int> wrapped[] = {
      {prefix->ref(), 1},
      {words->ref(), 2},
      {TeraQuery::create_merge_query(parts, 2), 3},
      {new TeraMixQuery(prefix->ref(), words->ref(), 50, code.get()), 1}};
  for (const auto& [query, equals] : wrapped) {
    TeraForceExactQuery equal(query);
    for (const char* other : {"maierhof", "maie", "maria annabella anna", "maria anna", ""})
      EXPECT_EQ(equal.compare(other), 0) << other;
    for (const char* same : {"maier", "Mai-ER"}) EXPECT_EQ(equal.compare(same), (equals & 1) != 0 ? 255 : 0);
    EXPECT_EQ(equal.compare("ANNA maria"), (equals & 2) != 0 ? 255 : 0);
  }
  prefix->unref();
  words->unref();

  TeraQueryRef other(standard("meyer"));
  TeraResult one("maier", 200, 10, 255, mixed.get());
  TeraResult* results[] = {&one, nullptr};
  const TeraQueryRef merged(TeraQuery::create_merge_query(2, results, other.get()));
  mixed.reset();
  other.reset();
  EXPECT_EQ(merged->compare("meyer"), 255);
  EXPECT_EQ(merged->compare("maier"), 255);
  EXPECT_STREQ(merged->display("meyer", &at), "meyer");
  const TeraQueryRef none(TeraQuery::create_merge_query(nullptr, 0));
  EXPECT_EQ(none->is_empty() + none->compare("a"), 1);

  TeraScanQuery names(map, TeraEval::MAXIMUM, "anna maria", 0);
  EXPECT_EQ(names.compare("maria, anna"), 255);
  EXPECT_EQ(names.compare("maria"), 255 * 5 / 9);
  EXPECT_EQ(names.compare("mario-anna"), 255 * 8 / 9);
  EXPECT_EQ(names.compare(" ."), 0);
  EXPECT_EQ(TeraScanQuery(nullptr, TeraEval::MAXIMUM, "a", 0).compare("a"), -1);
  EXPECT_EQ(TeraScanQuery(map, TeraEval::MAXIMUM, 0, nullptr, 0).is_empty(), 1);

  TeraResult rated("maier", 150, 10, 255);
  EXPECT_EQ(rated.eval("maier", 1, nullptr), -1);
  rated.add_query(merged.get(), 1);
  TeraQualSet quals;
  EXPECT_EQ(rated.eval("meier", 1, &quals, "shown"), 1);
  EXPECT_EQ(rated.eval("meier", 2, &quals, nullptr), 0);
  EXPECT_EQ(rated.eval_alias("meyer", 3, &quals, 20), 1);
  EXPECT_EQ(rated.eval_alias("maier", 4, &quals, 200), 0);
  EXPECT_EQ(quals("meyer"), 235);
  AceBigTree<long> tree(0);
  tree["maier"] = 8;
  tree["zzz"] = 9;
  EXPECT_EQ(rated.eval(&tree), 1);
  TeraQualSet best;
  EXPECT_EQ(rated.fill_qual_set(&best), 3);
  EXPECT_EQ(best("maier"), 255);
  EXPECT_NE(rated.get_cand("shown", 204), nullptr);
}
