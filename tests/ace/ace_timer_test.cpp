#include "ace/ace_timer.h"

#include <algorithm>
#include <regex>
#include <thread>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "support/recording_reporter.h"

namespace {

std::string printed(auto action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(AceTimer, adds_up_the_intervals_between_start_and_stop) {
  AceTimer timer("mine");
  EXPECT_EQ(timer.get_tics(), 0);
  timer.stop();
  EXPECT_EQ(timer.get_state(), AceTimer::STOP);
  for (int i = 0; i < 2; ++i) {
    timer.start();
    AceTimer::sleep(0.02);
    timer.stop();
    AceTimer::sleep(0.02);
  }
  EXPECT_EQ(timer.get_num_starts(), 2);
  EXPECT_GE(timer.get_raw(), 40000);
  EXPECT_DOUBLE_EQ(timer.get_sec(), timer.get_tics() / 1e6);
  const Huge before = timer.get_raw();
  timer.start();
  AceTimer::sleep(0.01);
  EXPECT_GE(timer.get_tics(), static_cast<double>(before) + 10000) << "a running timer shows its time";
  EXPECT_EQ(timer.get_raw(), before);
  timer.reset();
  EXPECT_EQ(timer.get_num_starts() + timer.get_raw(), 0);
  EXPECT_FALSE(timer.is_running());
}

TEST(AceTimer, processor_time_stands_still_while_sleeping) {
  AceTimer timer("cpu", 1);
  timer.start();
  AceTimer::sleep(0.1);
  timer.stop();
  EXPECT_LT(timer.get_sec(), 0.08);
  timer.start();
  const std::clock_t begin = std::clock();
  while (std::clock() - begin < CLOCKS_PER_SEC / 20) {
  }
  timer.stop();
  EXPECT_GE(timer.get_sec(), 0.05);
}

TEST(AceTimer, is_found_by_name_and_follows_its_flags) {
  AceTimer* timer = AceTimer::get("SEARCH", 0);
  ASSERT_NE(timer, nullptr);
  EXPECT_EQ(AceTimer::get(std::string("SEARCH").c_str(), 1), timer);
  EXPECT_EQ(timer->is_traced(), 0);
  AceTracer::set("TIMER_SEARCH", 2);
  EXPECT_EQ(timer->is_traced(), 2);
  AceTracer::set("ALL_TIMERS", 1);
  EXPECT_EQ(timer->is_traced(), 3);
  EXPECT_EQ(AceTimer::get("LATER", 0)->is_traced(), 1);
  EXPECT_STREQ(AceTimer::get_line("some_file.cpp", 12, 0)->get_name(), "some_file.cpp:12");
  EXPECT_NE(AceTimer::get(std::string(480, 'n').c_str(), 0), nullptr);
  EXPECT_EQ(AceTimer::get(std::string(481, 'n').c_str(), 0), nullptr);
  EXPECT_EQ(AceTimer::get_started(std::string(10000, 'n').c_str(), 0), nullptr);
  EXPECT_EQ(AceTimer::get_line(std::string(479, 'n').c_str(), 12, 0), nullptr);
  EXPECT_EQ(AceTimer::get(nullptr, 0), nullptr);
}

TEST(AceTimer, a_removed_timer_is_new_when_it_is_asked_for_again) {
  AceTimer* timer = AceTimer::get_started("GONE", 0);
  AceTimer::remove_all();
  EXPECT_FALSE(timer->is_running());
  timer->start();  // whoever kept the pointer may go on
  EXPECT_NE(printed([] { AceTimer::timers(); }).find("reported                0 "), std::string::npos);
  timer->stop();
  EXPECT_GE(AceTimer::get("GONE", 0)->get_num_starts(), 0);
}

TEST(AceTimer, prints_the_table_of_started_timers) {
  AceTimer::get("NEVER", 0);
  AceTimer::get_started("RUNNING", 0);
  AceTimer::get_started("A_NAME_OF_MORE_THAN_THIRTY_CHARACTERS", 1)->stop();
  const std::string table = printed([] { EXPECT_EQ(AceTimer::timers(), 2); });
  const std::regex form(
      R"(\+-{32}\+-{12}\+-{12}\+\n\| on/off        Timer Name       \|  Seconds   \|   Starts   \|\n)"
      R"(\|-A_NAME_OF_MORE_THAN_THIRTY_CHARACTERS \|   0\.\d{6} \|          1 \|\n)"
      R"(\|\+                       RUNNING \|   0\.\d{6} \|          1 \|\n)"
      R"(\|   Number of timers reported                2             \|\n\+-{58}\+\n)");
  EXPECT_TRUE(std::regex_match(table, form)) << table;
  AceTimer::clear();
  EXPECT_NE(printed([] { AceTimer::timers(); }).find(" 0             |\n"), std::string::npos);
  EXPECT_EQ(printed([] { AceTimer::get("NEVER", 0)->report("NEVER"); }), "");
}

TEST(AceTimer, describes_itself_in_a_buffer) {
  AceTimer* outer = AceTimer::get_started("OUTER", 0);
  AceTimer* inner = AceTimer::get_started("INNER", 0);
  inner->stop();
  char text[64] = "old";
  inner->list_elem("INNER", text, sizeof text);
  EXPECT_TRUE(std::regex_match(text, std::regex(R"( -    1   0\.0\d\d 2 1 INNER  )"))) << text;
  EXPECT_EQ(inner->list_elem("INNER", text, 5), 4);
  EXPECT_STREQ(text, " -  ");
  EXPECT_EQ(inner->list_elem("INNER", nullptr, 0), 0);
  outer->list_elem("OUTER", text, sizeof text);
  EXPECT_EQ(std::string(text).substr(0, 7), " +    1");
  AceTimer* never = AceTimer::get("NEVER", 0);
  EXPECT_EQ(never->list_elem("NEVER", text, sizeof text), 0);
  EXPECT_STREQ(text, "");
  AceTracer::set("ALL_TIMERS", 1);
  never->list_elem("NEVER", text, sizeof text);
  EXPECT_STREQ(text, " - 0 0.000 0 0 NEVER ");
}

TEST(AceTimer, starting_a_running_timer_is_told_on_demand) {
  AceTimer timer("twice");
  support::RecordingReporter rep;
  rep.set_as_default();
  timer.start();
  timer.start();
  EXPECT_EQ(rep.all(), "");
  AceTracer::set("VERBOSE_TIMER", 1);
  timer.start();
  EXPECT_EQ(rep.all(), "Timer running\n");
  EXPECT_EQ(timer.get_num_starts(), 1);
  AceReporter::clear_default();
}

TEST(AceTimer, calibration_takes_the_overhead_off) {
  const auto measured = [] {
    AceTimer outer;
    AceTimer inner;
    outer.start();
    for (int i = 0; i < 100000; ++i) {
      inner.start();
      inner.stop();
    }
    outer.stop();
    return outer.get_tics() / static_cast<double>(outer.get_raw());
  };
  EXPECT_EQ(measured(), 1.0);
  AceTimer::calibrate(10000);
  EXPECT_LT(measured(), 1.0);
  AceTimer::calibrate(0);
  EXPECT_EQ(measured(), 1.0);
  EXPECT_GT(AceTimer::measure_speed(), 10.0);
}

TEST(AceTimer, elapsed_time_is_never_negative) {
  int seconds = 0;
  int microseconds = 0;
  AceTimer::get_absolute_time(&seconds, &microseconds);
  AceTimer::get_absolute_time(nullptr, nullptr);
  EXPECT_EQ(AceTimer::get_elapsed_time(seconds + 1, microseconds), 0);
  EXPECT_GE(AceTimer::get_elapsed_time(seconds - 2, microseconds), 2000);
  EXPECT_LT(AceTimer::get_elapsed_time(seconds - 2, microseconds), 60000);
  EXPECT_TRUE(AceTimer::time_limit_exceeded(seconds - 2, microseconds, 1999));
  EXPECT_FALSE(AceTimer::time_limit_exceeded(seconds, microseconds, 60000));
  for (const double none : {0.0, -1.0, -1e300}) AceTimer::sleep(none);
}

TEST(AceTimer, local_time_agrees_with_the_system) {
  const long moment = 1700000000;
  std::tm own = {};
  AceAttach at;
  EXPECT_EQ(ace_localtime(&moment, &own), &own);
  const std::tm* attached = ace_localtime(&moment, &at);
  const std::tm system = *std::localtime(&moment);
  EXPECT_EQ(std::mktime(&own), moment);
  EXPECT_EQ(attached->tm_hour, system.tm_hour);
  const long never = std::numeric_limits<long>::max();
  EXPECT_EQ(ace_localtime(&never, &own), nullptr);
}

TEST(AceTimer, threads_share_the_table) {
  std::vector<std::thread> threads;
  std::vector<AceTimer*> found(4);
  for (std::size_t t = 0; t < 4; ++t)
    threads.emplace_back([t, &found] {
      AceTimer own;
      for (int i = 0; i < 200; ++i) {
        own.start();
        found[t] = AceTimer::get(std::to_string(i % 50).c_str(), 0);
        own.stop();
      }
    });
  for (int i = 0; i < 50; ++i) AceTracer::set("ALL_TIMERS", i);
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(
      std::all_of(found.begin(), found.end(), [&](const AceTimer* timer) { return timer == found[0]; }));
  EXPECT_EQ(found[0]->is_traced(), 49);
}

}  // namespace
