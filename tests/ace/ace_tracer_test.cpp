#include "ace/ace_tracer.h"

#include <atomic>
#include <climits>
#include <thread>

#include "ace/ace_reporter.h"
#include "support/recording_reporter.h"

namespace {

std::string listed;

int list(const char* name, int value) {
  listed += std::string(name) + "=" + std::to_string(value) + " ";
  return value == 99 ? 99 : 0;
}

TEST(AceTracer, announced_variables_hold_the_sum_of_their_flags) {
  AceTracer::set("A", 1);
  AceTracer::set("B", 2);
  static int both = 7;
  static int other = 7;
  EXPECT_EQ(AceTracer::announce("A|B", &both, __FILE__, __LINE__), 3);
  EXPECT_EQ(both, 3);
  AceTracer::announce("B ; C  |C", &other, __FILE__, __LINE__);
  AceTracer::set("B", 0);
  EXPECT_EQ(both, 1);
  AceTracer::set("C|A", 5);
  EXPECT_EQ(both, 5);
  EXPECT_EQ(other, 10) << "a flag counts as often as it is named";
  AceTracer::set_all(INT_MAX);
  EXPECT_EQ(both, -2) << "sums wrap around";
  AceTracer::announce("C", &both, __FILE__, __LINE__);
  AceTracer::set("A", 4);
  EXPECT_EQ(both, INT_MAX) << "a variable follows what it was announced with last";
}

TEST(AceTracer, a_variable_announced_in_its_own_initialiser_follows) {
  static int trace = AceTracer::announce("OWN", &trace, __FILE__, __LINE__);
  static const AceTraceFlag flag("OWN|MORE", __FILE__, __LINE__);
  AceTracer::set("OWN", 6);
  EXPECT_EQ(trace, 6);
  EXPECT_EQ(flag.get(), 6);
}

TEST(AceTracer, keeps_ten_flags_of_an_expression) {
  testing::internal::CaptureStdout();
  const AceTracer tracer("f1|f2|f3|f4|f5|f6|f7|f8|f9|f10|f11 f12;f13");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ignoring remainder: f11 f12;f13\n");
  EXPECT_EQ(tracer.get_num_flags(), 10);
  EXPECT_EQ(AceTracer(" ||; ").eval(), 0);
  EXPECT_EQ(AceTracer(nullptr).get_num_flags(), 0);
}

TEST(AceTracer, lists_flags_and_announced_expressions) {
  AceTracer::remove_all();
  static int variable = 0;
  AceTracer::announce("X|Y", &variable, __FILE__, __LINE__);
  AceTracer::set("Y", 3);
  listed.clear();
  EXPECT_EQ(AceTracer::for_all_flags(list), 0);
  EXPECT_EQ(listed, "X=0 Y=3 ");
  listed.clear();
  AceTracer::set("X", 99);
  EXPECT_EQ(AceTracer::for_all_flags(list), 99) << "the function stops the list";
  EXPECT_EQ(listed, "X=99 ");
  listed.clear();
  AceTracer::for_all_announces(list);
  EXPECT_EQ(listed, "X|Y=102 ");
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(AceTracer::report(), 2);
  AceReporter::clear_default();
  EXPECT_EQ(rep.all(), "X\t99\nY\t3\n");
}

TEST(AceTracer, what_is_forgotten_leaves_nothing_dangling) {
  static int variable = 0;
  AceTracer kept("P|Q");
  AceTracer::announce("P", &variable, __FILE__, __LINE__);
  AceTracer::set("P", 8);
  AceTracer::remove_all();
  EXPECT_EQ(AceTracer::get_flag("P"), 0);
  EXPECT_EQ(kept.eval(), 0);
  AceTracer::set("P", 9);
  EXPECT_EQ(kept.eval(), 9);
  EXPECT_EQ(variable, 8) << "nothing is announced any more";
  EXPECT_EQ(AceTracer::get_flag("never heard of"), 0);
  EXPECT_EQ(AceTracer::get_flag(nullptr), 0);
}

TEST(AceTracer, reads_settings) {
  EXPECT_EQ(AceTracer::read("S=3, T\n# U=4, V\nW|X=-2147483648;Y=0"), 0);
  EXPECT_EQ(AceTracer::get_flag("S"), 3);
  EXPECT_EQ(AceTracer::get_flag("T"), 1);
  EXPECT_EQ(AceTracer::get_flag("U") + AceTracer::get_flag("V"), 0);
  EXPECT_EQ(AceTracer::get_flag("W"), INT_MIN);
  EXPECT_EQ(AceTracer::get_flag("X"), INT_MIN);
  support::RecordingReporter rep;
  rep.set_as_default();
  const std::string longName(20000, 'L');
  for (const std::string broken : {"=1", "Z=", "Z=x", "Z=1x", "Z=2147483648", "|=1"})
    EXPECT_EQ(AceTracer::read((broken + " T=2").c_str()), -1) << broken;
  EXPECT_EQ(AceTracer::read((longName + "=y").c_str()), -1);
  EXPECT_EQ(AceTracer::read(nullptr), 0);
  AceReporter::clear_default();
  EXPECT_EQ(rep.messages[0], "trace setting '=1' left out: expected NAME or NAME=INTEGER\n");
  EXPECT_EQ(AceTracer::get_flag("Z"), 0);
  EXPECT_EQ(AceTracer::get_flag("T"), 2);
}

TEST(AceTracer, are_ordered_by_number_of_flags_and_then_by_flags) {
  AceTracer one("K1");
  AceTracer two("K1|K2");
  AceTracer twin("K1 K2");
  AceTracer turned("K2|K1");
  EXPECT_LT(AceTracer::compare(&one, &two), 0);
  EXPECT_EQ(AceTracer::compare(&two, &twin), 0);
  EXPECT_EQ(AceTracer::compare(&two, &turned), -AceTracer::compare(&turned, &two));
  EXPECT_NE(AceTracer::compare(&two, &turned), 0);
}

TEST(AceTracer, heads_a_trace_line) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(ace_trace_head("file.cpp", 7, "here"), 1);
  AceReporter::clear_default();
  EXPECT_EQ(rep.all(), "file.cpp:7:here\n");
}

TEST(AceTracer, threads_announce_set_and_read_at_once) {
  AceTracer::make_trace_threadsafe();
  static const AceTraceFlag shared("T1|T2", __FILE__, __LINE__);
  std::atomic<bool> isDone = false;
  std::thread reader([&] {
    while (!isDone)
      if (const int value = shared.get(); value < 0 || value > 600) ADD_FAILURE() << value;
  });
  std::vector<std::thread> writers;
  for (int t = 1; t <= 2; ++t)
    writers.emplace_back([t] {
      const std::string name = "T" + std::to_string(t);
      static int variables[3][50];
      for (int i = 1; i <= 300; ++i) {
        AceTracer::set(name.c_str(), i);
        AceTracer::announce(name.c_str(), &variables[t][i % 50], __FILE__, __LINE__);
      }
    });
  for (auto& writer : writers) writer.join();
  isDone = true;
  reader.join();
  EXPECT_EQ(shared.get(), 600);
}

}  // namespace
