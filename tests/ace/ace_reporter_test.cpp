#include "ace/ace_reporter.h"

#include <cerrno>
#include <regex>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_string.h"
#include "ace/ace_timer.h"
#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

using support::RecordingReporter;

TEST(AceReporter, time_stamps_stand_in_front_of_plain_messages_only) {
  RecordingReporter rep(1);
  rep.printf("%d", 5);
  rep.printf_no_time("%d", 5);
  rep.print("100%");
  rep.ev_wprintf("%s", "w");
  rep.ev_iprintf("%s", "i");
  const std::string stamp = R"(INFO \[\d\d/\d\d/\d\d \d\d:\d\d:\d\d\.\d\d\d\] )";
  EXPECT_TRUE(std::regex_match(rep.messages[0], std::regex(stamp + "5"))) << rep.messages[0];
  EXPECT_EQ(rep.messages[1], "5");
  EXPECT_TRUE(std::regex_match(rep.messages[2], std::regex(stamp + "100%"))) << rep.messages[2];
  EXPECT_EQ(rep.events, (std::vector<std::string>{"wSORV_0000 w", "iSORV_0000 i"}));
}

TEST(AceReporter, long_messages_are_cut_at_9999_bytes) {
  const std::string longText(30'000, 'x');
  RecordingReporter stamped(1);
  RecordingReporter plain;
  for (RecordingReporter* rep : {&stamped, &plain}) {
    rep->printf("%s", longText.c_str());
    rep->ev_wprintf("%s", longText.c_str());
    rep->print_conf_opt("%s%d", longText.c_str(), 1);
    EXPECT_EQ(rep->messages[0].size(), 9999u);
    EXPECT_EQ(rep->events[0].size(), 9999u + std::string("wSORV_0000 ").size());
    EXPECT_EQ(rep->messages[1].size(), 9999u);
  }
  stamped.print(longText.c_str());
  plain.print(longText.c_str());
  EXPECT_EQ(stamped.messages.back().size(), 9999u);
  EXPECT_EQ(plain.messages.back().size(), longText.size()) << "passed on as it is";
  const AceException cut("cond", "%s", longText.c_str());
  EXPECT_EQ(std::string(cut.get_info()).size(), 9999u);
}

TEST(AceReporter, progress_lines_follow_the_switch) {
  RecordingReporter rep;
  rep.pstart(10, "job");
  rep.psect(4, "part");
  rep.pscale(20, "total");
  rep.pstep(2, "step");
  rep.pset(3, "done");
  rep.preset(0, "again");
  rep.pstop("job");
  EXPECT_EQ(rep.messages, (std::vector<std::string>{"PROGRESS\t<\t10\tjob", "PROGRESS\t-\t4\tpart",
                                                    "PROGRESS\t~\t20\ttotal", "PROGRESS\t+\t2\tstep",
                                                    "PROGRESS\t=\t3\tdone", "PROGRESS\t*\t0\tagain",
                                                    "PROGRESS\t>\t-1\tjob"}));
  AceReporter::set_progress(0);
  EXPECT_EQ(rep.pset(1, "x") + rep.pstart(1, "x") + rep.pstop("x"), 0);
  EXPECT_EQ(rep.messages.size(), 7u);
}

TEST(AceReporter, ppset_writes_every_sixteenth_call_at_most_once_in_an_interval) {
  RecordingReporter rep;
  for (int i = 0; i < 64; ++i) rep.ppset(i, "quiet");
  EXPECT_TRUE(rep.messages.empty());
  AceTracer::set("TIMER_PROGRESS", 20);
  AceTimer::sleep(0.03);
  AceTimer timer("busy");
  timer.start();
  for (int i = 1; i <= 64; ++i) rep.ppset(i, "busy");
  timer.stop();
  ASSERT_FALSE(rep.messages.empty());
  EXPECT_EQ(rep.messages[0], "PROGRESS\t=\t16\tbusy");
  EXPECT_LE(static_cast<double>(rep.messages.size()),
            1 + timer.get_sec() / 0.02);  // a busy machine takes long
  AceTimer::sleep(0.03);
  rep.messages.clear();
  for (int i = 65; i <= 80; ++i) rep.ppset(i, "busy");
  EXPECT_EQ(rep.messages.size(), 1u);
}

TEST(AceReporter, option_lines_stop_at_the_limit_of_the_process) {
  RecordingReporter rep;
  EXPECT_EQ(AceReporter::get_num_conf_opt_limit(), -1);
  EXPECT_EQ(AceReporter::set_num_conf_opt_limit(2), 2);
  for (int i = 0; i < 5; ++i) rep.print_conf_opt("option %d", i);
  EXPECT_EQ(rep.messages, (std::vector<std::string>{"[CONFOPT] option 0", "[CONFOPT] option 1"}));
}

TEST(AceReporter, errors_go_to_the_default_reporter_in_the_systems_form) {
  RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(ace_error("/a/b/file.cpp", 12, "call(x)", -3, 0, -1), -1);
  EXPECT_EQ(ace_error("file.cpp", 12, "call(x)", -3, 0, static_cast<void*>(&rep)), &rep);
  EXPECT_EQ(ace_report("/a/b/file.cpp", 7, "step", 2), 0);
  AceReporter::clear_default();
  ace_error_msg("file.cpp", 1, "silent", 0);
  EXPECT_EQ(rep.messages, std::vector<std::string>(2, "file.cpp:12: ERROR in call(x), error code -3\n"));
  EXPECT_EQ(rep.events,
            std::vector<std::string>{"wSORV_0000 /a/b/file.cpp:7: WARNING in step, error code 2\n"});
  EXPECT_EQ(AceReporter::use_default(), AceReporter::null());
  EXPECT_TRUE(is_null(nullptr));
  EXPECT_FALSE(is_null(AceReporter::null()));
  char buffer[100];
  EXPECT_STREQ(ace_strerror(ENOENT, buffer, sizeof(buffer)), "No such file or directory");
}

TEST(AceReporter, a_null_reporter_says_nothing) {
  AceReporter* volatile none = nullptr;
  EXPECT_EQ(none->printf("%d", 1) + none->print("x") + none->pset(1, "x") + none->ev_wprintf("x"), 0);
}

TEST(AceReporter, the_base_writes_to_standard_output_and_a_file_reporter_to_its_file) {
  testing::internal::CaptureStdout();
  AceReporter base;
  EXPECT_EQ(base.ev_wprintf("warn %d%%\n", 1), 8);
  AceReporter::print_static("static\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "warn 1%\nstatic\n");
  const support::TempFolder folder;
  {
    FileReporter file(folder.file("log").c_str());
    file.printf("one\n");
    file.ev_iprintf("two\n");
  }
  EXPECT_EQ(support::read_file(folder.file("log")), "one\ntwo\n");
  FileReporter nowhere(folder.file("missing/log").c_str());
  EXPECT_FALSE(nowhere.is_open());
  EXPECT_EQ(nowhere.printf("lost"), 0);
}

TEST(AceException, tells_condition_and_detail_in_all_forms) {
  AceAttach at;
  const AceException both("cond", "detail %d", 4);
  const AceException bare("cond");
  const AceException noFormat("cond", nullptr);
  const AceException noCond(nullptr, "detail");
  const AceException wrapped("\ncond\r\n", "%s", "detail\n\n");
  EXPECT_STREQ(both.what(&at), "cond: detail 4");
  EXPECT_STREQ(bare.what(&at), "cond");
  EXPECT_STREQ(noFormat.what(&at), "cond");
  EXPECT_STREQ(noCond.what(&at), "detail");
  EXPECT_EQ(AceException(nullptr).what(&at), nullptr);
  RecordingReporter rep;
  for (const AceException* e : {&both, &bare, &noCond, &wrapped}) e->print(&rep);
  EXPECT_EQ(rep.messages, (std::vector<std::string>{"cond: detail 4\n", "cond\n", "No Condition: detail\n",
                                                    "cond: detail\n"}));
  testing::internal::CaptureStdout();
  both.print(static_cast<AceReporter*>(nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "cond: detail 4\n");

  AceException copy(both);
  copy = static_cast<const AceException&>(copy);
  copy.set_dyn_cond(copy.get_info());
  EXPECT_STREQ(copy.get_info(), "detail 4");
  EXPECT_NE(copy.get_info(), both.get_info());
  copy = bare;
  EXPECT_EQ(copy.get_info(), nullptr);
  AceNullpointerException name("theVariable");
  AceNullpointerException other(nullptr);
  other = name;
  EXPECT_STREQ(other.get_name(), "theVariable");
}

}  // namespace
