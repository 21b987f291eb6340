#include "ebos/ebos_log.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <regex>
#include <thread>

#include "ebos/ebos_log_event.h"
#include "ebos/ebos_log_reporter.h"
#include "ebos/ebos_log_writer.h"
#include "ebos/ebos_net_writer.h"
#include "ebos/ebos_stop_cond.h"
#include "ebos/ebos_thread.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

using Lines = std::vector<std::string>;

/// The log of a test, into "log" in a folder of its own.
struct Log {
  Log() { EXPECT_EQ(EbosLog::instance()->init(file.c_str(), false), 0); }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;
  ~Log() { EbosLog::instance()->destroy(); }
  EbosLog* operator->() const { return EbosLog::instance(); }

  /// The lines so far, with "<stamp>" for theirs.
  std::string text() const { return unstamped(support::read_file(file)); }
  static std::string unstamped(const std::string& text) {
    static const std::regex stamp(R"(\[\d\d/\d\d/\d\d \d\d:\d\d:\d\d\.\d\d\d\]\[pid:)" +
                                  std::to_string(getpid()) + R"(\] )");
    return std::regex_replace(text, stamp, "<stamp>");
  }

  support::TempFolder folder;
  std::string file = folder.file("log.txt");
};

void set_time(const std::string& file, std::time_t time) {
  const timespec times[2] = {{time, 0}, {time, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

}  // namespace

TEST(EbosLog, writes_lines_of_every_level_and_event) {
  Log log;
  EXPECT_EQ(log->init("/other", true), -1);
  EXPECT_STREQ(EbosLog::translate_error(-1), "Logger is already initialized");
  EXPECT_EQ(log->printf("as it is %d\n", 1), 11);
  log->iprintf("a\n");
  log->dprintf("b\n");
  log->wprintf("c\n");
  EXPECT_EQ(log->eprintf("d %s\n", "x"),
            static_cast<int>(std::string("ERROR[21/11/26 09:30:00.125][pid:").size() +
                             std::to_string(getpid()).size() + 2 + 4));
  const unsigned char warning = EbosLog::LEVEL_WARNING;
  const unsigned char debug = EbosLog::LEVEL_DEBUG;
  EXPECT_EQ(log->wprintf(warning, "none\n"), 0);
  log->set_flags(EbosLog::LEVEL_WARNING | EbosLog::LEVEL_INFO);
  EXPECT_GT(log->wprintf(warning, "e %d\n", 5), 0);
  EXPECT_EQ(log->dprintf(debug, "none\n"), 0);

  EbosLogEvent events[2];
  events[0].eventCode = "wDISK_1";
  events[0].fixedString = "Disk almost full";
  events[1].eventCode = "eNONE_1";  // without a description
  EbosLogEventHandler::instance()->init(events, 2);
  log->ev_printf("wDISK_1", "%d percent\n", 97);
  log->ev_printf("wDISK_1", nullptr);
  log->ev_eprintf("wDISK_1", "f\n");
  log->ev_printf("eNONE_1", "g\n");
  log->ev_printf("iOTHER", nullptr);
  log->ev_iprintf(nullptr, "h\n");
  log->ev_wprintf("", "i\n");
  EXPECT_EQ(log->ev_printf("xOTHER", "none\n"), -1);
  EXPECT_EQ(log->ev_printf("", "none\n"), -1);
  EXPECT_EQ(log->ev_printf(nullptr, "none\n"), -1);
  EbosLogEventHandler::instance()->init(nullptr, 2);
  log->ev_wprintf("wDISK_1", nullptr);
  EXPECT_EQ(log.text(),
            "as it is 1\n"
            "INFO <stamp>a\nDEBUG<stamp>b\nWARNG<stamp>c\nERROR<stamp>d x\nWARNG<stamp>e 5\n"
            "WARNG<stamp>wDISK_1::Disk almost full: 97 percent\n"
            "WARNG<stamp>wDISK_1::Disk almost full\n"
            "ERROR<stamp>wDISK_1::Disk almost full: f\n"
            "ERROR<stamp>eMISC_5000::Unknown error code::eNONE_1: g\n"
            "INFO <stamp>iMISC_5000::Unknown info code::iOTHER\n"
            "INFO <stamp>eMISC_5001::Unknown event or missing code: h\n"
            "WARNG<stamp>eMISC_5000::Unknown error code::: i\n"
            "WARNG<stamp>wMISC_5000::Unknown warning code::wDISK_1\n");
  for (const size_t length : {4090, 4095, 4096, 9000}) {
    const int rc = log->printf("%s\n", std::string(length, 'x').c_str());
    EXPECT_EQ(rc, static_cast<int>(std::min<size_t>(length + 1, EbosLog::MAX_LINE - 1)));
    EXPECT_EQ(log.text().substr(log.text().size() - 2), "x\n") << length;
  }
}

TEST(EbosLog, goes_to_the_default_reporter_before_a_writer_and_nowhere_after_it) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EbosLog* const log = EbosLog::instance();
  testing::internal::CaptureStdout();
  log->iprintf("first\n");
  std::signal(SIGPIPE, SIG_DFL);
  const support::TempFolder folder;
  EXPECT_EQ(log->init(folder.file("no/log").c_str(), true), -2);
  EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
  EXPECT_EQ(rep.events, Lines{"wSORV_0000 Failed to open logFile '" + folder.file("no/log") +
                              "': (2) No such file or directory"});
  log->iprintf("second\n");
  EXPECT_EQ(log->init("", 0, "log", folder.file(".").c_str(), 0, true), 0);
  log->iprintf("third\n");
  log->destroy();
  log->iprintf("none\n");
  EXPECT_EQ(Log::unstamped(testing::internal::GetCapturedStdout()), "INFO <stamp>third\n");
  EXPECT_EQ(Log::unstamped(support::read_file(folder.file("log"))), "INFO <stamp>third\n");
  ASSERT_EQ(rep.messages.size(), 2u);
  EXPECT_EQ(Log::unstamped(rep.messages[1]), "INFO <stamp>second\n");
  rep.clear_default();
}

TEST(EbosLog, takes_the_messages_of_reporters_without_recursion) {
  EbosLogReporter rep;
  rep.set_as_default();
  EbosLog::instance()->iprintf("to the reporter, and back\n");
  Log log;
  rep.printf("no line end");
  rep.ev_wprintf("careful\n");
  EXPECT_EQ(log.text(),
            "INFO <stamp>no line end\nWARNG<stamp>wMISC_5000::Unknown warning code::wSORV_0000: careful\n");
  std::filesystem::rename(log.file, log.file + ".moved");
  std::filesystem::create_directory(log.file);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_GT(log->iprintf("lost\n"), 0);  // the failure goes to the reporter, which writes into the log
  std::filesystem::remove(log.file);
  log->iprintf("found\n");
  EXPECT_EQ(log.text(), "INFO <stamp>found\n");
  AceReporter::clear_default();
}

TEST(EbosLog, moves_the_file_of_an_earlier_month_and_never_over_another) {
  support::TempFolder folder;
  const std::string file = folder.file("log.txt");
  constexpr std::time_t MARCH = 1'900'000'000;  // 2030, in the middle of a month
  support::write_file(file, "old\n");
  set_time(file, MARCH);
  EbosLog* const log = EbosLog::instance();
  EXPECT_EQ(log->check_file_rotation_condition(), -3);
  EXPECT_EQ(log->perform_file_rotation(), -3);
  ASSERT_EQ(log->init(file.c_str(), false), 0);
  log->printf("new\n");  // does not make it one of this month
  EXPECT_EQ(log->check_file_rotation_condition(), 1);

  support::write_file(folder.file("log_archive"), "in the way");
  EXPECT_EQ(log->perform_file_rotation(), -6);
  EXPECT_EQ(log->check_file_rotation_condition(), 1);
  std::filesystem::remove(folder.file("log_archive"));
  EXPECT_EQ(log->housekeeping(), 0);
  EXPECT_EQ(log->check_file_rotation_condition(), 0);
  log->printf("after\n");
  EXPECT_EQ(support::read_file(folder.file("log_archive/log.txt.2030.03")), "old\nnew\n");
  EXPECT_EQ(support::read_file(file), "after\n");
  log->destroy();

  set_time(file, MARCH);
  ASSERT_EQ(log->init(file.c_str(), false), 0);
  EbosStopCond stop;
  EbosThread keeper(EbosLog::housekeeping_thread, &stop, 0, 0);
  while (log->check_file_rotation_condition() != 0) std::this_thread::yield();
  stop.set();
  EXPECT_EQ(keeper.join(), 0);
  EXPECT_EQ(Log::unstamped(support::read_file(file)),
            "after\nINFO <stamp>Starting housekeeping thread\n"
            "WARNG<stamp>Failed to rotate log file: File already exists\n");
  EXPECT_EQ(support::read_file(folder.file("log_archive/log.txt.2030.03")), "old\nnew\n");
  log->destroy();
}

TEST(EbosLog, goes_on_in_the_new_file_when_another_process_has_moved_its_own) {
  Log log;
  log->printf("one\n");
  std::filesystem::rename(log.file, log.file + ".moved");
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  log->printf("two\n");
  EXPECT_EQ(log.text(), "two\n");
  EXPECT_EQ(support::read_file(log.file + ".moved"), "one\n");
}

namespace {

/// A log server on a free port of this machine.
class Server {
 public:
  Server() : listener(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port = ntohs(address.sin_port);
    EXPECT_EQ(listen(listener, 5), 0);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    hang_up();
    close(listener);
  }

  void accept_one() { connection = accept(listener, nullptr, nullptr); }
  void hang_up() {
    if (connection >= 0) close(connection);
    connection = -1;
  }
  std::string message() const {
    std::string text(length(), '\0');
    EXPECT_EQ(recv(connection, text.data(), text.size(), MSG_WAITALL), static_cast<ssize_t>(text.size()));
    return text;
  }

  Small port = 0;

 private:
  std::size_t length() const {
    unsigned char bytes[4] = {};
    EXPECT_EQ(recv(connection, bytes, 4, MSG_WAITALL), 4);
    return static_cast<std::size_t>(bytes[0]) << 24 | static_cast<std::size_t>(bytes[1]) << 16 |
           static_cast<std::size_t>(bytes[2]) << 8 | bytes[3];
  }

  int listener;
  int connection = -1;
};

}  // namespace

TEST(EbosLog, sends_lines_to_a_server_and_keeps_the_newest_while_there_is_none) {
  Server server;
  const support::TempFolder folder;
  EbosLog* const log = EbosLog::instance();
  ASSERT_EQ(log->init("127.0.0.1", server.port, "host.log", folder.file(".").c_str(), 3, false), 0);
  EXPECT_EQ(log->init("127.0.0.1", server.port, "host.log", nullptr, 3, false), -1);
  EXPECT_EQ(log->check_file_rotation_condition(), -3);
  server.accept_one();
  EXPECT_EQ(server.message(), "1\thost.log");
  // Everything before the session is sent after its announcement, so this is sent whenever it is written.
  log->printf("at once\n");
  EXPECT_EQ(server.message(), "3\tat once\n");
  server.hang_up();
  for (int i = 0; i < 5; ++i) log->printf("%d\n", i);
  EXPECT_EQ(support::read_file(folder.file("host.log")), "0\n1\n2\n3\n4\n");
  server.accept_one();
  for (const char* expected : {"1\thost.log", "3\t2\n", "3\t3\n", "3\t4\n"})
    EXPECT_EQ(server.message(), expected);
  log->printf("again\n");
  EXPECT_EQ(server.message(), "3\tagain\n");
  log->destroy();
}

TEST(EbosNetWriter, ends_at_once_whether_or_not_there_is_a_server) {
  auto writer = std::make_unique<EbosNetWriter>("127.0.0.1", 1, "log", nullptr, 0);
  EXPECT_EQ(writer->print("kept nowhere\n"), 0);
  writer.reset();
  Server silent;
  writer = std::make_unique<EbosNetWriter>("127.0.0.1", silent.port, "log", nullptr, 2);
  while (!writer->is_connected()) std::this_thread::yield();
  // A server that takes nothing is given up; the lines are then kept.
  for (int i = 0; i < 100'000 && writer->is_connected(); ++i) writer->print(std::string(1000, 'x').c_str());
  EXPECT_FALSE(writer->is_connected());
}
