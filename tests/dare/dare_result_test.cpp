#include "dare/dare_result.h"

#include <algorithm>
#include <memory>
#include <random>

#include "gtest/gtest.h"

namespace {

using Value = std::pair<std::string, int>;  // string and quality
using Values = std::vector<Value>;

std::unique_ptr<DastResult> make_result(const Values& suggestions, Large first_record = 1) {
  auto result = std::make_unique<DastResult>(Tiny{2}, 0, 255, 100);
  result->add_suggs(-1, static_cast<int>(suggestions.size()));
  for (int i = 0; i < result->get_num_suggs(); ++i) {
    const auto& [text, quality] = suggestions[static_cast<std::size_t>(i)];
    result->get_sugg(i)->repObj->set_string(0, text.c_str());
    result->get_sugg(i)->repObj->set_string(1, std::to_string(i).c_str());
    result->get_sugg(i)->repObj->set_quality(quality);
    result->get_sugg(i)->recordIndex = first_record + static_cast<Large>(i);
  }
  return result;
}

std::string listed(const DastResult& result) {
  std::string text;
  for (int i = 0; i < result.get_num_suggs(); ++i)
    text += std::string(result.get_sugg(i)->get_field(0)) +
            std::to_string(result.get_sugg(i)->get_quality()) + " ";
  return text;
}

std::vector<DastCandidate> cands_of(DastResult* result,
                                    const std::vector<std::tuple<const char*, int, int, int>>& list) {
  std::vector<DastCandidate> cands;
  for (const auto& [text, quality, hits, status] : list) {
    DastCandidate cand;
    cand.repObj = result->attach(text);
    cand.compQuality = quality;
    cand.numHits = hits;
    cand.candStatus = status;
    cands.push_back(cand);
  }
  return cands;
}

TEST(DastResult, CutsByNumberAndDistance) {
  const auto cut = [](const Values& values, int num, int dist) {
    auto result = make_result(values);
    result->cut_suggs(num, dist);
    return listed(*result);
  };
  EXPECT_EQ(cut({{"a", 90}, {"b", 80}, {"c", 80}, {"d", 70}}, 2, 0), "a90 b80 c80 ");
  EXPECT_EQ(cut({{"a", 90}, {"b", 80}, {"c", 70}, {"d", 60}}, 2, 0), "a90 b80 ");
  EXPECT_EQ(cut({{"a", 90}, {"b", 80}}, 0, -1), "");
  EXPECT_EQ(cut({{"a", 90}, {"b", 80}}, -1, -1), "a90 b80 ");
  // From the end on, the first that lies 15 or more below the first one stays the last.
  EXPECT_EQ(cut({{"a", 90}, {"b", 10}, {"c", 70}, {"d", 85}, {"e", 80}}, 5, 15), "a90 b10 c70 ");
  auto result = make_result({{"a", 9}, {"b", 8}, {"c", 7}});
  EXPECT_EQ(result->cut(3), 0);
  EXPECT_EQ(result->cut(-1), 0);
  EXPECT_EQ(result->cut(1), 2);
  EXPECT_EQ(result->get_max_suggs(), 1);
}

TEST(DastResult, MovesAndRemovesSuggestions) {
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    Values values;
    for (unsigned n = random() % 8; n > 0; --n)
      values.emplace_back(std::string(1, static_cast<char>('a' + random() % 3)), random() % 256);
    auto result = make_result(values);
    const int size = static_cast<int>(values.size());
    const int i = static_cast<int>(random() % 9) - 1, j = static_cast<int>(random() % 9) - 1;
    const bool valid = i >= 0 && j >= 0 && i < size && j < size;
    switch (random() % 8) {
      case 0:
        result->move_sugg(i, j);
        if (valid) {
          const auto value = values[static_cast<std::size_t>(i)];
          values.erase(values.begin() + i);
          values.insert(values.begin() + j, value);
        }
        break;
      case 1:
        EXPECT_EQ(result->filter(0, "b") >= 0, true);
        values.erase(std::remove_if(values.begin(), values.end(), [](auto& v) { return v.first == "b"; }),
                     values.end());
        break;
      case 2: {
        result->dedup_suggs(0);
        Values kept;
        for (const auto& v : values)
          if (std::none_of(kept.begin(), kept.end(), [&](auto& k) { return k.first == v.first; }))
            kept.push_back(v);
        values = kept;
        break;
      }
      case 3:
        EXPECT_EQ(result->remove_sugg(i), i >= 0 && i < size ? size - 1 : -1);
        if (i >= 0 && i < size) values.erase(values.begin() + i);
        EXPECT_EQ(result->get_max_suggs(), result->get_num_suggs());
        break;
      case 4:
        for (int k = 0; k < size; ++k) result->get_sugg(k)->recordIndex = values[k].first[0];
        EXPECT_EQ(result->filter_suggs(i, 'b') >= 0, true);
        values.erase(std::remove_if(values.begin() + std::clamp(i, 0, size), values.end(),
                                    [](auto& v) { return v.first == "b"; }),
                     values.end());
        break;
      case 5: {
        EXPECT_EQ(result->shuffle_suggs(i, j), i >= 0 && i < j && j <= size ? j - i : 0);
        std::vector<Value> rest(values);
        for (int k = 0; k < size; ++k) {
          const DastSuggestion* const there = result->get_sugg(k);
          if (k < i || k >= j || i < 0 || j > size) EXPECT_EQ(there->get_field(0), values[k].first);
          const auto place =
              std::find(rest.begin(), rest.end(), Value(there->get_field(0), there->get_quality()));
          ASSERT_NE(place, rest.end());
          rest.erase(place);
        }
        continue;
      }
      case 6:
        result->resort();
        std::stable_sort(values.begin(), values.end(), [](auto& a, auto& b) { return a.second > b.second; });
        break;
      default: {
        const DastResult copy(result.get(), i, j);
        values = Values(
            values.begin() + std::clamp(i, 0, size),
            values.begin() + std::clamp(std::max(i, 0) + std::max(j, 0), std::clamp(i, 0, size), size));
        result = std::make_unique<DastResult>(&copy, 0, 100);
      }
    }
    EXPECT_EQ(listed(*result), listed(*make_result(values)));
  }
}

TEST(DastResult, GroupsAndMerges) {
  auto result = make_result({{"a", 90}, {"b", 80}, {"a", 70}, {"a", 60}});
  EXPECT_EQ(result->group_suggs(0), 2);
  EXPECT_STREQ(result->get_sugg(0)->get_field(1), "0|2|3");
  EXPECT_EQ(result->group_suggs(-1), -1);  // no current field

  auto first = make_result({{"a", 50}, {"b", 90}});      // records 1, 2
  auto second = make_result({{"c", 95}, {"d", 70}}, 2);  // records 2, 3
  EXPECT_EQ(first->merge(first.get()), -1);
  EXPECT_EQ(first->merge(second.get()), 0);
  second.reset();  // its strings are the first one's
  EXPECT_EQ(listed(*first), "c95 d70 a50 ");

  auto third = make_result({{"e", 99}}, 0);  // of no base
  auto fourth = make_result({{"f", 10}, {"g", 98}}, 0);
  EXPECT_EQ(third->concat(nullptr), -1);
  EXPECT_EQ(third->concat(fourth.get()), 0);
  EXPECT_EQ(fourth->get_num_suggs(), 0);
  EXPECT_EQ(listed(*third), "e99 f10 g98 ");
  EXPECT_EQ(first->merge(third.get()), 0);
  EXPECT_EQ(listed(*first), "e99 g98 c95 d70 f10 ");  // g and a are record 1

  DastResult left(2, 0, 0, 0), right(2, 0, 0, 0);
  left.set_field_alts(cands_of(&left, {{"A", 50, 2, 4}, {"B", 40, 1, 4}}), 0, 0);
  right.set_field_alts(cands_of(&right, {{"A", 50, 3, 4}, {"B", 40, -1, 4}, {"A", 30, 1, 4}}), 0, 0);
  EXPECT_EQ(left.add(&right), 0);
  ASSERT_EQ(left.get_num_alts(0), 3);
  EXPECT_EQ(left.get_alt(0, 0)->numHits, 5);
  EXPECT_EQ(left.get_alt(0, 1)->numHits, -1);
  EXPECT_EQ(right.get_num_alts(0), 0);
  EXPECT_EQ(left.get_field_status(0)->bestCand, 50);
}

TEST(DastResult, AlternativesOfFields) {
  DastResult result(2, 0, 0, 0);
  EXPECT_EQ(
      result.set_field_alts(cands_of(&result, {{"A", 50, 2, 4}, {"A", 50, 3, 4}, {"A", 40, 1, 3}}), 0, 0), 2);
  EXPECT_EQ(result.get_alt(0, 0)->numHits, 5);
  EXPECT_EQ(result.sum_alt_hits(0), 6);
  EXPECT_EQ(result.filter_alts(0, 1, "A"), 1);
  EXPECT_EQ(result.get_num_alts(0), 1);
  EXPECT_EQ(result.get_alt(2, 0), nullptr);
  EXPECT_EQ(result.set_field_alts({}, -1, 0), -1);  // no current field
  result.set_cur_field(1);
  EXPECT_EQ(result.set_current_alts(cands_of(&result, {{"z", 300, 1, 2}, {"y", 20, 9, 4}}), 1), 2);
  EXPECT_EQ(result.get_field_status(1)->bestCand, 44);  // the low byte
  result.set_field_sort(1, -DastResult::BY_COLLATION);
  result.resort();
  EXPECT_STREQ(result.get_alt(0)->repObj, "z");
  result.resort_cands(1);
  EXPECT_STREQ(result.get_alt(0)->repObj, "y");
  EXPECT_EQ(result.add_cands(-1), -1);
  EXPECT_EQ(result.add_cands(2), 4);
  EXPECT_EQ(result.set_rep(2, "y"), 0);
  EXPECT_EQ(result.set_quality(2, 20), 0);
  EXPECT_EQ(result.set_rep(4, "y"), -1);
  EXPECT_EQ(result.dedup_cands(-1), 1);  // the two of "y"
  EXPECT_EQ(result.get_num_alts(), 3);
  EXPECT_EQ(result.remove_cand(2), 2);
  EXPECT_STREQ(result.set_status_string(0, "asked"), "asked");
  EXPECT_STREQ(result.get_field_status(0)->queryString, "asked");
  EXPECT_EQ(result.set_status_string(2, "asked"), nullptr);
  result.cut_cands(1, 5);
  result.cut_cands(1, 1);
  EXPECT_EQ(result.get_num_alts(), 1);
  EXPECT_EQ(result.remove_cand(3), -1);
  result.set_category(DastResult::get_category("exact"));
  EXPECT_STREQ(result.get_category_name(), "EXACT");
  result.set_category(DastResult::NO_DECISION);
  EXPECT_STREQ(result.get_category_name(), "NONE");
  EXPECT_EQ(DastResult::get_category("NO_DECISION"), DastResult::NONE);
}

TEST(DastRecord, StringsAndQualities) {
  DastRecord record("a;b;c;d", ';', 3);
  EXPECT_EQ(record.get_num_strings(), 3);
  EXPECT_STREQ(record.get_string(2), "c;d");
  EXPECT_EQ(record.get_total_length(), 8);
  EXPECT_FALSE(record.set_quality(256));
  EXPECT_FALSE(record.set_quality(3, 1));
  EXPECT_TRUE(record.set_quality(1, 77));
  record.append_record_info("");
  EXPECT_EQ(record.get_record_info(), nullptr);
  record.append_record_info("x");
  record.append_record_info("y");
  EXPECT_STREQ(record.get_record_info(), "x y");
  EXPECT_TRUE(record.drop_head());
  EXPECT_EQ(record.get_quality(0), 77);
  EXPECT_EQ(record.get_total_length(), 6);
  record.set_string(0, nullptr);
  AceAttach at;
  EXPECT_STREQ(DastRecord(&record).get_full_string('/', &at), "/c;d");
  EXPECT_TRUE(record.drop_tail());
  EXPECT_TRUE(record.drop_tail());
  EXPECT_FALSE(record.drop_tail());
  EXPECT_EQ(record.get_total_length(), 0);
}

}  // namespace
