#include "dast/dast_info_map.h"

#include <algorithm>
#include <random>
#include <set>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/payload.h"
#include "tera/tera_cand.h"

namespace {

constexpr Large NONE = DastInfoMap::NONE;
using Ids = std::set<Large>;

/// Entries and their records, as pairs: what each kind of map is, told plainly.
struct Relation {
  void add(Large entry, Large record) { pairs.insert({entry, record}); }
  Ids down(const Ids& entries) const {
    Ids records;
    for (const auto& [entry, record] : pairs)
      if (entries.count(entry) > 0) records.insert(record);
    return records;
  }
  Ids up(const Ids& records) const {
    Ids entries;
    for (const auto& [entry, record] : pairs)
      if (records.count(record) > 0) entries.insert(entry);
    return entries;
  }
  std::set<std::pair<Large, Large>> pairs;
};

constexpr Large NUM_RECORDS = 30;

struct Map {
  explicit Map(DastInfoMap* map) : infoMap(map) {}
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;
  ~Map() { DastInfoMap::destroy(infoMap); }
  DastInfoMap* operator->() const { return infoMap; }
  DastInfoMap* infoMap;
};

void make_bounds(DastInterval* bounds, std::mt19937* random) {
  bounds->add(0);
  for (Large bound = 1; bound < NUM_RECORDS; bound += 1 + (*random)() % 5) bounds->add(bound);
  bounds->add(NUM_RECORDS);
}
Relation relation_of(const DastInterval& bounds) {
  Relation relation;
  for (Large entry = 0; entry < bounds.get_num_entries(); ++entry)
    for (Large record = bounds.get_record(entry); record < bounds.get_record(entry + 1); ++record)
      relation.add(entry, record);
  return relation;
}
Relation random_relation(std::mt19937* random) {
  Relation relation;
  for (int i = 0; i < 40; ++i) relation.add((*random)() % 20, (*random)() % NUM_RECORDS);
  relation.add(19, NUM_RECORDS - 1);
  return relation;
}
DastInfoMap::IdMap id_map_of(const Relation& relation, Large num_entries) {
  AceBulk bulk;
  std::vector<AceBulk::List*> lists(num_entries);
  for (const auto& [entry, record] : relation.pairs) bulk.inc(lists[entry], record);
  const auto map = std::make_shared<AceIdMap>();
  map->build(num_entries, lists.data(), nullptr);
  return map;
}

Ids ids_of(const DastInfoList* list) {
  AceAttach at;
  const Large* records = nullptr;
  const Large count = list->get_single(&records, &at, 1000);
  return {records, records + count};
}

/// A random set, as ids or as pairs.
struct Sample {
  Sample(std::mt19937* random, bool as_pairs) {
    const unsigned density = 1 + (*random)() % 4;
    for (Large id = 0; id < NUM_RECORDS + 5; ++id) {
      if ((*random)() % 5 >= density) continue;
      ids.insert(id);
      if (as_pairs && !infos.empty() && infos.back() == id)
        infos.back() = id + 1;
      else
        infos.insert(infos.end(), {id, id + 1});
      if (!as_pairs) infos.pop_back();
    }
    list = DastInfoList(static_cast<Large>(infos.size()), infos.data(), as_pairs);
  }
  Ids ids;
  std::vector<Large> infos;
  DastInfoList list;
};

void expect_relation(const DastInfoMap* map, const Relation& relation, std::mt19937* random) {
  AceAttach at;
  for (Large id = 0; id < NUM_RECORDS + 3; ++id) {
    const Ids entries = relation.up({id});
    const Ids records = relation.down({id});
    ASSERT_EQ(ids_of(map->up(id, &at)), entries) << id;
    ASSERT_EQ(ids_of(map->down(id, &at)), records) << id;
    ASSERT_EQ(map->up(id), entries.empty() ? NONE : *entries.begin()) << id;
    if (!records.empty()) ASSERT_EQ(map->down(id), *records.begin()) << id;
    Large entry = 0, from = 0, to = 0;
    ASSERT_EQ(map->range(id, &entry, &from, &to), entries.empty() ? -1 : 0);
    const Large* found = nullptr;
    ASSERT_EQ(map->get_entries(id, &found, &from, &to, &at), entries.size());
    ASSERT_TRUE(std::equal(entries.begin(), entries.end(), found));
    for (Large record = from; !entries.empty() && record < to; ++record)
      ASSERT_EQ(relation.up({record}), entries) << "the run around " << id;
  }
  for (int i = 0; i < 30; ++i) {
    const Sample sample(random, i % 2 == 0);
    ASSERT_EQ(ids_of(map->up(&sample.list, &at)), relation.up(sample.ids));
    const DastInfoList* records = map->down(&sample.list, &at);
    ASSERT_EQ(ids_of(records), relation.down(sample.ids));
    ASSERT_EQ(map->get_num_entries(&sample.list), relation.up(sample.ids).size());
    ASSERT_EQ(ids_of(map->up(records, &at)), relation.up(relation.down(sample.ids)));
    const Large* infos = nullptr;
    const Large* mapped = nullptr;
    const Large count = sample.list.to_infos(&infos, &at);
    const Large numMapped = map->down(count, infos, &mapped, 0, &at);
    const TeraCand cand("", numMapped, mapped);
    const DastInfoList again(&cand);
    ASSERT_EQ(ids_of(&again), relation.down(sample.ids));
  }
  const auto table = map->get_entries();
  if (table != nullptr)
    for (Large record = 0; record < table->get_num_keys(); ++record) {
      const IdList list = table->get(record);
      ASSERT_EQ(Ids(list.begin(), list.end()), relation.up({record}));
    }
  const DastInfoList all;
  EXPECT_EQ(map->up(static_cast<const DastInfoList*>(nullptr), &at), nullptr);
  EXPECT_EQ(map->down(&all, &at)->get_type(), DastInfoList::NOT_USED);
}

std::string image_of(const DastInfoMap* map) {
  return support::image_by([=](AceFile* file) { DastInfoMap::save_map(map, file); });
}

/// The map, and what is read back from it in both forms.
void expect_relation_in_all_forms(const DastInfoMap* map, const Relation& relation, std::mt19937* random) {
  ASSERT_NE(map, nullptr);
  expect_relation(map, relation, random);
  const std::string image = image_of(map);
  for (const bool asStream : {false, true}) {
    support::PayloadFile file(image, asStream);
    const Map read(DastInfoMap::read_map(file.get()));
    ASSERT_NE(read.infoMap, nullptr);
    EXPECT_EQ(read->get_level(), map->get_level());
    expect_relation(read.infoMap, relation, random);
    EXPECT_EQ(image_of(read.infoMap), image);
  }
}

TEST(DastInfoMap, every_kind_maps_as_the_plain_relation_does) {
  std::mt19937 random(1);
  for (int round = 0; round < 60; ++round) {
    DastInterval bounds;
    make_bounds(&bounds, &random);
    const Relation runs = relation_of(bounds);
    for (const auto speedup : {DastInfoMap::SPEEDUP_NEVER, DastInfoMap::SPEEDUP_ALWAYS}) {
      const Map map(DastInfoMap::make_map(&bounds, nullptr, speedup, DastInfoMap::FINER));
      expect_relation_in_all_forms(map.infoMap, runs, &random);
      EXPECT_EQ(map->get_num_entries(nullptr), bounds.get_num_entries() - 1) << "entry 0 is no value";
    }
    const Relation lists = random_relation(&random);
    const Map map(DastInfoMap::make_map(id_map_of(lists, 20), nullptr, NUM_RECORDS));
    expect_relation_in_all_forms(map.infoMap, lists, &random);
    Relation turned;
    for (const auto& [entry, record] : lists.pairs) turned.add(record, entry);
    const Map reverse(map->make_reverse());
    expect_relation(reverse.infoMap, turned, &random);
    if (HasFatalFailure()) FAIL() << "round " << round;
  }
}

TEST(DastInfoMap, offsets_lead_down_by_addition_and_up_by_subtraction) {
  std::mt19937 random(2);
  AceAttach at;
  for (const int offset : {0, 4, -4}) {
    const Map map(DastInfoMap::make_offset_map(offset));
    for (int i = 0; i < 40; ++i) {
      const Sample sample(&random, i % 2 == 0);
      Ids up, down;
      for (const Large id : sample.ids) {
        const int number = static_cast<int>(id);
        up.insert(number > offset ? static_cast<Large>(number - offset) : 0);
        if (number + offset >= 0) down.insert(static_cast<Large>(number + offset));
        EXPECT_EQ(map->up(id), number > offset ? static_cast<Large>(number - offset) : 0);
      }
      ASSERT_EQ(ids_of(map->up(&sample.list, &at)), up);
      ASSERT_EQ(ids_of(map->down(&sample.list, &at)), down);
    }
    Large entry = 0, from = 0, to = 0;
    EXPECT_EQ(map->range(4, &entry, &from, &to), 0);
    EXPECT_EQ(entry, map->up(4));
    EXPECT_EQ(std::pair(from, to), std::pair(Large{4}, Large{5}));
    const Large open[] = {6, NONE};
    const DastInfoList list(2, open, true);
    EXPECT_EQ(map->down(&list, &at)->get_list()[1], NONE);
    support::PayloadFile file(image_of(map.infoMap));
    const Map read(DastInfoMap::read_map(file.get()));
    EXPECT_EQ(read->down(20), map->down(20));
  }
}

TEST(DastInfoMap, chains_updates_and_levels_compose_the_relations) {
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    DastInterval fineBounds, coarseBounds;
    make_bounds(&fineBounds, &random);
    for (Large i = 0; i < fineBounds.get_num_bounds(); ++i)
      if (i < 2 || i + 1 == fineBounds.get_num_bounds() || random() % 2 == 0)
        coarseBounds.add(fineBounds.get_record(i));
    const Map fine(
        DastInfoMap::make_map(&fineBounds, nullptr, DastInfoMap::SPEEDUP_NEVER, DastInfoMap::FINER));
    const Map coarse(
        DastInfoMap::make_map(&coarseBounds, nullptr, DastInfoMap::SPEEDUP_ALWAYS, DastInfoMap::COARSER));
    const Relation fineRuns = relation_of(fineBounds);
    const Relation coarseRuns = relation_of(coarseBounds);

    // The level's map, and the chain back to the records.
    ASSERT_TRUE(coarse->is_hierarchical_to(&fineBounds));
    const Map toLevel(coarse->make_hierarchical_copy(&fineBounds));
    const Map chained(DastInfoMap::make_chained_map(toLevel.infoMap, fine.infoMap, round % 2 == 0));
    expect_relation(chained.infoMap, coarseRuns, &random);
    EXPECT_NE(chained->get_intervals(), nullptr);

    const Map shared(
        DastInfoMap::make_map(&coarseBounds, fine.infoMap, DastInfoMap::SPEEDUP_NEVER, DastInfoMap::COARSER));
    Relation through;
    for (const auto& [entry, record] : coarseRuns.pairs)
      for (const Large other : fineRuns.up({record})) through.add(entry, other);
    expect_relation(shared.infoMap, through, &random);

    const Relation lists = random_relation(&random);
    const Map listed(DastInfoMap::make_map(id_map_of(lists, 20), nullptr, NUM_RECORDS));
    const Map mixed(DastInfoMap::make_chained_map(listed.infoMap, fine.infoMap, false));
    Relation composed, united = lists;
    for (const auto& [entry, middle] : lists.pairs)
      for (const Large record : fineRuns.down({middle})) composed.add(entry, record);
    expect_relation(mixed.infoMap, composed, &random);
    const Map updated(DastInfoMap::make_updated_map(listed.infoMap, coarse.infoMap, false));
    united.pairs.insert(coarseRuns.pairs.begin(), coarseRuns.pairs.end());
    expect_relation(updated.infoMap, united, &random);
    for (const int offset : {3, -3}) {
      const Map moved(DastInfoMap::make_offset_map(offset));
      const Map ahead(DastInfoMap::make_chained_map(moved.infoMap, fine.infoMap, false));
      AceAttach at;
      for (Large entry = 0; entry < 20; ++entry) {
        const Large middle = moved->down(entry);
        const Ids records = middle != NONE ? fineRuns.down({middle}) : Ids();
        ASSERT_EQ(ids_of(ahead->down(entry, &at)), records);
        for (const Large record : records) ASSERT_EQ(ahead->up(record), entry);
      }
    }
    if (HasFatalFailure()) FAIL() << "round " << round;
  }
}

TEST(DastInfoMap, levels_decide_which_way_abstraction_is) {
  DastInterval bounds;
  for (const Large bound : {0, 1, 4, 7, 9}) bounds.add(bound);
  AceAttach at;
  const Large id = 2;
  const DastInfoList list(1, &id, false);
  for (const auto level : {DastInfoMap::SIMILAR, DastInfoMap::COARSER, DastInfoMap::FINER}) {
    const Map map(DastInfoMap::make_map(&bounds, nullptr, DastInfoMap::SPEEDUP_AUTOMATIC, level));
    const Large abstraction = level == DastInfoMap::SIMILAR ? 2 : level == DastInfoMap::COARSER ? 4 : 1;
    EXPECT_EQ(map->entry2abstraction(id), abstraction);
    EXPECT_EQ(*ids_of(map->entry2abstraction(&list, &at)).begin(), abstraction);
    EXPECT_EQ(*ids_of(map->reverse(map->entry2abstraction(&list, &at), &at)).begin(),
              level == DastInfoMap::FINER ? 1U : 2U);
    EXPECT_EQ(static_cast<DastSingleInfoMap*>(map.infoMap)->has_table(), level == DastInfoMap::FINER);
    Large from = 0, to = 0;
    EXPECT_EQ(map->get_range(2, &from, &to), 0);
    EXPECT_EQ(std::pair(from, to), std::pair(Large{4}, Large{7}));
    EXPECT_EQ(map->get_range(4, &from, &to), -1);
  }
}

TEST(DastInfoMap, is_saved_as_documented_and_damage_is_refused_or_harmless) {
  DastInterval bounds;
  for (const Large bound : {0, 1, 3}) bounds.add(bound);
  const Map runs(DastInfoMap::make_map(&bounds, nullptr, DastInfoMap::SPEEDUP_ALWAYS, DastInfoMap::SIMILAR));
  const Map plain(DastInfoMap::make_map(&bounds, nullptr, DastInfoMap::SPEEDUP_NEVER, DastInfoMap::COARSER));
  EXPECT_EQ(image_of(plain.infoMap), support::documented_bytes(TEST_FORMATS, "Info maps"));
  Relation relation;
  for (const Large record : {1, 3}) relation.add(1, record);
  relation.add(2, 3);
  const Map lists(DastInfoMap::make_map(id_map_of(relation, 3), nullptr, 4));
  const Map offset(DastInfoMap::make_offset_map(7));
  AceReporter::null()->set_as_default();
  for (const DastInfoMap* map : {runs.infoMap, plain.infoMap, lists.infoMap, offset.infoMap})
    support::for_each_damage(image_of(map), [](const std::string& damaged, const std::string& what) {
      support::PayloadFile file(damaged);
      Map read(nullptr);
      try {
        read.infoMap = DastInfoMap::read_map(file.get());
      } catch (const AceException&) {
      }
      if (read.infoMap == nullptr) return;
      AceAttach at;
      for (Large id = 0; id < 6; ++id) {
        const DastInfoList list(1, &id, false);
        for (const DastInfoList* mapped : {read->up(id, &at), read->up(&list, &at), read->down(&list, &at)})
          ASSERT_LE(ids_of(mapped).size(), 1000U) << what;
        read->down(read->up(&list, &at), &at);
      }
    });
  AceReporter::clear_default();
}

}  // namespace
