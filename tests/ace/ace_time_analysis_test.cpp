#include "ace/ace_time_analysis.h"

#include <map>
#include <thread>

#include "ace/ace_alloc.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_parallel.h"
#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"
#include "ace/ace_tracer.h"
#include "support/recording_reporter.h"

namespace {

/// The fetched chain as "type:text" words; opening and closing points as "<text" and ">".
std::vector<std::string> fetched(int scope) {
  std::vector<std::string> words;
  for (const AceMemPoint* point = time_analysis_fetch(scope); point != nullptr; point = point->get_next(0)) {
    const std::string text = point->get_comment() != nullptr ? point->get_comment() : "null";
    EXPECT_LE(point->get_num_out(), 1);
    if (point->get_type() == -1) {
      EXPECT_EQ(text, "---END---");
    }
    words.push_back(point->get_type() == 1    ? "<" + text
                    : point->get_type() == -1 ? ">"
                                              : std::to_string(point->get_type()) + ":" + text);
  }
  return words;
}
using Words = std::vector<std::string>;

TEST(AceTimeAnalysis, records_nothing_while_it_is_off) {
  time_analysis_open("section", 0, 0, 0);
  time_analysis_print(1, 0, "note");
  time_analysis_close(0, 0);
  EXPECT_EQ(time_analysis_fetch(0), nullptr);
  EXPECT_EQ(time_analysis_fetch(1), nullptr);
  EXPECT_EQ(time_analysis_thread_mode(0), -1) << "nobody has entered thread mode";
  EXPECT_EQ(time_analysis_set_restricted(5), 5);
}

TEST(AceTimeAnalysis, gives_the_points_of_a_scope_in_forward_order) {
  time_analysis_switch(1, 0);
  EXPECT_EQ(use_time_analysis(0), 1);
  EXPECT_EQ(use_time_analysis(1), 0);
  {
    std::string name = "copied";
    time_analysis_open(name.c_str(), 1, 0, 3);
    name.assign("changed");
    const AceTimeSection inner("inner");
    time_analysis_message(nullptr, 1, 0, 0, 4, 5);
    time_analysis_open("other scope", 0, 1, 0);
    time_analysis_print(0, 6, "%s %d", "number", 17);
    build_analysis_print(0, 6, "%s", std::string(500, 'x').c_str());
  }
  time_analysis_close(0, 0);
  AceTracer::set("SOME_FLAG", 4);
  time_analysis_switch(0, 0);
  time_analysis_print(0, 0, "off");
  const Words expected{"2:START", "<copied",     "<inner",
                       "0:null",  "2:number 17", "2:" + std::string(99, 'x'),
                       ">",       ">",           "2:Trace 'SOME_FLAG' set to 4",
                       "2:STOP"};
  EXPECT_EQ(fetched(0), expected);
  EXPECT_EQ(fetched(0), expected) << "fetching takes nothing away";
  Huge last = 0;
  const AceMemPoint* point = time_analysis_fetch(0);
  EXPECT_EQ(point->get_next(0)->get_aux1(), 3);
  EXPECT_EQ(point->get_next(0)->get_next(0)->get_next(0)->get_aux2(), 5);
  for (; point != nullptr; point = point->get_next(0)) {
    EXPECT_GE(point->get_pos(), last);
    last = point->get_pos();
  }
  EXPECT_TRUE(fetched(1).empty());
  time_analysis_reset(0);
  EXPECT_EQ(time_analysis_fetch(0), nullptr);
}

TEST(AceTimeAnalysis, prints_points_on_demand) {
  support::RecordingReporter rep;
  rep.set_as_default();
  time_analysis_switch(1, 1);
  AceTracer::set("PRINT_TIME_ANALYSIS", 1);
  time_analysis_open("part", 0, 1, 0);
  time_analysis_message(nullptr, 0, 1, 2, 0, 0);
  time_analysis_close(1, 0);
  AceTracer::set("PRINT_TIME_ANALYSIS", 0);
  time_analysis_print(1, 0, "silent");
  AceReporter::clear_default();
  EXPECT_EQ(rep.all(),
            "<time_analysis_message message=\"part\" type=open />\n"
            "<time_analysis_message message=nullptr type=message />\n"
            "<time_analysis_message message=\"---END---\" type=close />\n");
}

TEST(AceTimeAnalysis, timers_add_points_at_their_start) {
  AceTimer timer("timer");
  EXPECT_EQ(timer.analyze(1), 0);
  time_analysis_switch(1, 0);
  timer.start();
  timer.analyze(1);
  timer.analyze(0);
  timer.stop();
  timer.analyze(1);
  timer.analyze(0);
  EXPECT_EQ(fetched(0), (Words{"2:START", "<timer", "0:timer", ">", "0:---END---"}));
}

TEST(AceTimeAnalysis, joins_the_chains_of_threads_behind_what_was_before) {
  ace_alloc_init(2000);
  time_analysis_switch(1, 0);
  time_analysis_switch(1, 1);
  constexpr int NUM_THREADS = 4;
  constexpr int NUM_NOTES = 500;
  for (int round = 0; round < 3; ++round) {
    AceAttach at;
    pthread_t threads[NUM_THREADS];
    time_analysis_print(0, 0, "before");
    {
      const AceTimeThreads mode;
      for (int t = 0; t < NUM_THREADS; ++t)
        ASSERT_EQ(ace_create_thread(
                      &threads[t],
                      [t] {
                        for (int i = 0; i < NUM_NOTES; ++i) {
                          const AceTimeSection section("work");
                          time_analysis_print(0, 0, "%d/%d", t, i);
                        }
                      },
                      0, &at),
                  0);
      for (int i = 0; i < 20; ++i) EXPECT_GE(fetched(0).size(), 2U) << "others are recording";
      ace_join_threads(NUM_THREADS, threads);
    }
    const Words words = fetched(0);
    ASSERT_EQ(words.size(), (round == 0 ? 5U : 4U) + NUM_THREADS * (3 * NUM_NOTES + 2U));
    const std::size_t start = round == 0 ? 1 : 0;  // behind "START"
    EXPECT_EQ(words[start], "2:before");
    EXPECT_EQ(words[start + 1], "2:Thread Start");
    EXPECT_EQ(words[start + 2], "2:Thread End") << "the thread that recorded first comes first";
    EXPECT_EQ(words.back(), "2:Join Threads");
    std::map<int, int> next;
    for (std::size_t i = start + 3; i + 1 < words.size(); i += 3 * NUM_NOTES + 2) {
      EXPECT_EQ(words[i], "2:Thread Start");
      EXPECT_EQ(words[i + 3 * NUM_NOTES + 1], "2:Thread End");
      const int thread = words[i + 2][2] - '0';
      for (std::size_t note = 0; note < NUM_NOTES; ++note)
        ASSERT_EQ(words[i + 2 + 3 * note], "2:" + std::to_string(thread) + "/" + std::to_string(note));
      ++next[thread];
    }
    EXPECT_EQ(next.size(), static_cast<std::size_t>(NUM_THREADS));
    time_analysis_reset(0);
    time_analysis_reset(1);
  }
}

TEST(AceTimeAnalysis, survives_switching_resetting_and_fetching_beside_recording_threads) {
  ace_alloc_init(2000);
  AceAttach at;
  pthread_t threads[3];
  for (auto& thread : threads)
    ASSERT_EQ(ace_create_thread(
                  &thread,
                  [] {
                    for (int i = 0; i < 300; ++i) {
                      const AceTimeThreads nested;
                      const AceTimeSection section("work");
                    }
                  },
                  0, &at),
              0);
  for (int i = 0; i < 100; ++i) {
    time_analysis_switch(i % 2, 0);
    time_analysis_print(0, 0, "main");
    fetched(0);
    if (i % 3 == 0) time_analysis_reset(0);
  }
  ace_join_threads(3, threads);
  time_analysis_reset(0);
  EXPECT_TRUE(fetched(0).empty());
}

}  // namespace
