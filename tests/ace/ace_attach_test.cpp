#include "ace/ace_attach.h"

#include <cstring>
#include <deque>
#include <random>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_check_type.h"
#include "ace/ace_mem_info.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_snap_shot.h"
#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"

namespace {

std::vector<const AceMark*> list_of(const AceAttach& at) {
  std::vector<const AceMark*> blocks;
  for (const AceMark* block = at.memList; block != nullptr; block = block->memList) blocks.push_back(block);
  return blocks;
}

TEST(AceAttach, copies_strings_and_arrays) {
  AceAttach at;
  EXPECT_STREQ(at.attach("abc"), "abc");
  EXPECT_STREQ(at.attach("abc", 2), "ab");
  EXPECT_EQ(at.attach(nullptr, 5), nullptr);
  const char* const texts[] = {"one", "", nullptr, "three"};
  const int lengths[] = {2, 0, 7, 5};
  char** measured = at.attach_arr(texts, 4, nullptr);
  char** given = at.attach_arr(texts, 4, lengths);
  EXPECT_STREQ(measured[0], "one");
  EXPECT_STREQ(measured[2], "");
  EXPECT_EQ(measured[1], measured[0] + 4) << "one block holds all characters";
  EXPECT_STREQ(given[0], "on");
  EXPECT_STREQ(given[3], "three");
  EXPECT_NE(at.attach_arr(texts, 0, nullptr), nullptr);
  EXPECT_EQ(at.attach_arr(texts, -1, nullptr), nullptr);
  EXPECT_EQ(at.attach_arr(nullptr, 3, nullptr), nullptr);
  char* zeroed = static_cast<char*>(at.calloc(64));
  EXPECT_EQ(std::count(zeroed, zeroed + 64, 0), 64);
}

/// Every list operation against the same on deques, newest first.
TEST(AceAttach, list_operations_agree_with_a_plain_list) {
  using Model = std::deque<const AceMark*>;
  ace_alloc_init(2000);
  for (unsigned seed = 0; seed < 40; ++seed) {
    std::mt19937 random(seed);
    AceAttach at[2];
    Model model[2];
    for (int step = 0; step < 400; ++step) {
      const unsigned which = random() % 2;
      AceAttach& a = at[which];
      Model& m = model[which];
      const auto pick = [&] { return static_cast<long>(random() % m.size()); };
      switch (m.size() < 3 ? 0 : random() % 12) {
        case 6: {  // release what is newer than a block, and the block
          const long last = pick();
          a.release_before(const_cast<AceMark*>(m[static_cast<std::size_t>(last)]));
          m.erase(m.begin(), m.begin() + last + 1);
          break;
        }
        case 7: {
          const long first = pick();
          a.release_after(const_cast<AceMark*>(m[static_cast<std::size_t>(first)]));
          m.erase(m.begin() + first + 1, m.end());
          break;
        }
        case 8: {
          const long first = pick();
          const long last = first + pick() % (static_cast<long>(m.size()) - first);
          if (last == first) break;
          ace_delete(const_cast<AceMark*>(m[static_cast<std::size_t>(first)]),
                     const_cast<AceMark*>(m[static_cast<std::size_t>(last)]));
          m.erase(m.begin() + first + 1, m.begin() + last + 1);
          break;
        }
        case 9:
          at[which].acquire(&at[1 - which]);
          for (const AceMark* block : model[1 - which]) m.push_front(block);
          model[1 - which].clear();
          break;
        case 10: {  // move a stretch behind a block of the other list
          Model& other = model[1 - which];
          if (other.empty()) break;
          const long first = pick();
          const long last = first + pick() % (static_cast<long>(m.size()) - first);
          const auto dest = static_cast<long>(random() % other.size());
          ace_move(const_cast<AceMark*>(other[static_cast<std::size_t>(dest)]),
                   const_cast<AceMark*>(m[static_cast<std::size_t>(first)]),
                   const_cast<AceMark*>(m[static_cast<std::size_t>(last)]));
          other.insert(other.begin() + dest + 1, m.begin() + first + 1, m.begin() + last + 1);
          m.erase(m.begin() + first + 1, m.begin() + last + 1);
          break;
        }
        case 11:
          if (random() % 8 == 0) {
            a.release();
            m.clear();
          }
          break;
        default:
          if (random() % 4 == 0)
            m.push_front(a.mark());
          else
            m.push_front(AceMark::of(a.alloc(static_cast<VInt>(random() % 3000))));
      }
      for (int i = 0; i < 2; ++i)
        ASSERT_EQ(list_of(at[i]), std::vector<const AceMark*>(model[i].begin(), model[i].end()))
            << "seed " << seed << " step " << step;
    }
  }
}

TEST(AceMerge, appends_whole_lists_at_the_bottom) {
  AceMerge a;
  AceMerge b;
  const AceMark* bottom = a.get_first();
  a.alloc(10);
  b.alloc(20);
  const auto listA = list_of(a);
  const auto listB = list_of(b);
  a.merge(&b);
  auto expected = listA;
  expected.insert(expected.end(), listB.begin(), listB.end());
  EXPECT_EQ(list_of(a), expected);
  EXPECT_NE(a.get_first(), bottom);
  EXPECT_EQ(list_of(b), std::vector<const AceMark*>{b.get_first()});
  b.alloc(30);
  a.merge(&b);
  EXPECT_EQ(list_of(a).back(), a.get_first());
  a.merge(&a);
  EXPECT_EQ(list_of(a).size(), expected.size() + 2);
  a.release();
  EXPECT_EQ(list_of(a), std::vector<const AceMark*>{a.get_first()});
}

struct Counted : AceCheckType<Counted> {
  explicit Counted(bool fail) {
    if (fail) throw std::bad_alloc();
  }
  long value = 7;
};

TEST(AceAttach, objects_are_placed_in_it_or_stand_free) {
  AceAttach at;
  EXPECT_EQ((new (&at) Counted(false))->value, 7);
  EXPECT_EQ(list_of(at).size(), 1u);
  EXPECT_THROW(new (&at) Counted(true), std::bad_alloc);
  EXPECT_THROW(new (static_cast<AceAttach*>(nullptr)) Counted(true), std::bad_alloc);
  delete new (static_cast<AceAttach*>(nullptr)) Counted(false);
  delete new Counted(false);
}

TEST(AceMemPoint, chains_are_turned_copied_scaled_and_removed) {
  AceMemPoint* newest = nullptr;
  for (long i = 0; i < 200'000; ++i)  // deep: nothing may recurse
    newest = new AceMemPoint(i, i, -i, "point", 2, i % 2 == 0, newest);
  AceMemPoint::reset_marker(newest, 1);
  AceMemPoint* copy = AceMemPoint::turn_path(newest, 5000);
  AceMemPoint* oldest = AceMemPoint::turn(newest);
  AceMemPoint::scale(oldest, 3, 2);
  AceMemPoint::scale(oldest, 3, 2);  // all carry the marker: nothing changes
  const AceMemPoint* a = oldest;
  const AceMemPoint* b = copy;
  for (long i = 0; i < 200'000; ++i) {
    ASSERT_EQ(a->get_pos(), 3 * i);
    ASSERT_EQ(b->get_pos(), i);
    ASSERT_EQ(b->get_num_in(), i == 0 ? 0 : 1);
    a = a->get_next(0);
    b = b->get_next(0);
  }
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(b, nullptr);
  AceMemPoint::scale(oldest, INT64_MIN, 3);
  EXPECT_EQ(oldest->get_next(0)->get_pos(), INT64_MIN) << "positions stop at the end of their range";
  AceMemPoint::remove(oldest);
  AceMemPoint::remove(copy);
}

TEST(AceMemPoint, a_shared_successor_goes_with_the_last_that_leads_to_it) {
  auto* bottom = new AceMemPoint(0, 0, 0, "bottom", 0, 1, nullptr);
  AceMemPoint* sides[] = {new AceMemPoint(1, 0, 0, "left", 0, 0, bottom),
                          new AceMemPoint(2, 0, 0, "right", 0, 0, bottom), nullptr, bottom};
  auto* top = new AceMemPoint(3, 0, 0, "top", 1, 0, sides, 4);
  EXPECT_EQ(top->get_num_out(), 2) << "stops at the first null";
  EXPECT_EQ(bottom->get_num_in(), 2);
  EXPECT_EQ(top->get_next(2), nullptr);
  AceMemPoint::scale(top, 10, 9);
  EXPECT_EQ(sides[1]->get_pos(), 20);
  AceMemPoint::remove(top);
}

TEST(AceSnapShot, growth_is_reported_from_the_eleventh_maximum_on) {
  ace_alloc_init(2000);
  AceSnapShot* watch = AceSnapShot::instance();
  support::RecordingReporter rep;
  for (int i = 0; i < 20; ++i) EXPECT_EQ(watch->check_leaks(&rep), 0) << "switched off";
  AceTracer::set("CHECK_SCRIPT_MEMLEAK", 1);
  AceAttach leak;
  int numMaxima = 0;
  for (int call = 1; call <= 120; ++call) {
    if (call % 10 == 0) leak.alloc(100);
    const int isNew = watch->check_leaks(&rep);
    EXPECT_EQ(isNew, call % 10 == 0) << call;
    numMaxima += isNew;
    EXPECT_EQ(rep.events.empty(), numMaxima <= 10);
  }
  const std::string text = rep.all();
  EXPECT_NE(text.find("Potential Leak: Gained 1 ace objects since last maximum (110 calls ago)"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Potential Leak: Gained 1 ace objects since last maximum (10 calls ago)"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Total size of allocated object changed by 128 bytes"), std::string::npos);
  EXPECT_NE(text.find("         Object Type\tsize\tchange"), std::string::npos);
  EXPECT_NE(text.find("              normal\t128\t1"), std::string::npos) << text;
  AceTracer::set("CHECK_SCRIPT_MEMLEAK", 0);
}

TEST(AceMemInfo, tells_the_resident_size) {
  long size = 0;
  long resident = 0;
  ASSERT_EQ(ace_mem_info(&size, &resident, nullptr), 0);
  EXPECT_GT(resident, 100'000);
  EXPECT_GE(size, resident);
}

}  // namespace
