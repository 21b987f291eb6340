#include "ebos/ebos_thread.h"

#include <signal.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_parallel.h"
#include "ace/ace_thread.h"
#include "ace/ace_timer.h"
#include "ebos/ebos_log.h"
#include "ebos/ebos_semaphore.h"
#include "ebos/ebos_signal.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

using Map = AceParallel<void, void, int>;

bool is_blocked(int signal) {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

int join(int (*func)(void*), void* arg) {
  EbosThread thread(func, arg, 0, 1);
  EXPECT_EQ(thread.gettid(), 1u);
  const int result = thread.join();
  EXPECT_EQ(thread.join(), -1);
  return result;
}

/// What a thread leaves behind on its stack.
struct Unwound {
  explicit Unwound(void* semaphore) : gone(static_cast<EbosSemaphore*>(semaphore)) {}
  ~Unwound() { gone->release(); }
  EbosSemaphore* gone;
};

TEST(EbosThread, is_registered_and_deaf_to_signals_and_hands_its_result_on) {
  EXPECT_EQ(join([](void*) { return ace_num_threads(); }, nullptr), 1);
  EXPECT_EQ(ace_num_threads(), 0);
  EXPECT_EQ(join([](void*) { return is_blocked(SIGINT) && is_blocked(SIGTERM) ? -7 : 0; }, nullptr), -7);
  EXPECT_EQ(join([](void*) { return ebos_signal_handler() + (is_blocked(SIGINT) ? 1 : 0); }, nullptr), 0);
  EXPECT_FALSE(is_blocked(SIGTERM));
  EXPECT_EQ(join(nullptr, nullptr), -1);
}

TEST(EbosThread, an_exception_ends_it_with_a_line_in_the_log) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(join([](void*) -> int { throw AceException("broken table", "row %d", 7); }, nullptr), -1);
  EXPECT_EQ(join([](void*) -> int { throw std::runtime_error("x"); }, nullptr), -1);
  ASSERT_EQ(rep.messages.size(), 4u);
  EXPECT_EQ(rep.messages[0].substr(0, 6), "ERROR[");
  EXPECT_NE(rep.messages[0].find("] Caught exception from thread!\n"), std::string::npos);
  EXPECT_NE(rep.messages[1].find("] broken table\n"), std::string::npos);
  EXPECT_NE(rep.messages[2].find("] row 7\n"), std::string::npos);
  EXPECT_NE(rep.messages[3].find("] Caught unknown exception from thread!\n"), std::string::npos);
  EXPECT_EQ(EbosLog::instance()->iprintf("%s", std::string(EbosLog::MAX_LINE, 'x').c_str()),
            EbosLog::MAX_LINE - 1);
}

TEST(EbosThread, terminates_with_a_code_and_leaves_its_stack_in_order) {
  EbosSemaphore gone(false);
  const auto func = [](void* arg) -> int {
    const Unwound unwound(arg);
    EbosThread::terminate(42);
  };
  EXPECT_EQ(join(func, &gone), 42);
  EXPECT_TRUE(gone.try_acquire());
}

TEST(EbosThread, is_killed_where_it_waits_and_only_once) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EbosSemaphore gone(false);
  const auto func = [](void* arg) -> int {
    const Unwound unwound(arg);
    EbosSemaphore never(false);
    never.acquire();
    return 0;
  };
  EbosThread thread(func, &gone, 1, 0);
  EXPECT_EQ(thread.gettid(), 0u);
  EXPECT_EQ(thread.join(), -1);
  thread.kill();
  EXPECT_EQ(EbosThread::wait(thread.get_handle()), 0);
  EXPECT_TRUE(gone.try_acquire());
  EXPECT_EQ(ace_num_threads(), 0);
  ASSERT_EQ(rep.messages.size(), 1u);
  EXPECT_NE(rep.messages[0].find(" is not responding, will be destroyed\n"), std::string::npos);
  thread.kill();
  ASSERT_EQ(rep.messages.size(), 3u);
  EXPECT_NE(rep.messages[2].find(" could not be destroyed!\n"), std::string::npos);
}

TEST(EbosThread, cancelling_ends_it_behind_the_frames_of_the_library) {
  support::RecordingReporter rep;
  rep.set_as_default();
  static const support::TempFolder folder;
  static std::atomic<int> numDone;
  numDone = 0;
  // Each of them runs, to its end, in a thread that is about to be cancelled.
  static void (*const actions[])() = {
      [] {
        Map::map(
            nullptr, nullptr, 8, nullptr, nullptr, [](void*, void*, int*, VInt) { AceTimer::sleep(1e-6); }, 3,
            nullptr);
      },
      [] {
        AceFile file;
        file.build_atomic(folder.file("f").c_str(), nullptr);
        for (int i = 0; i < 10'000; ++i) file.put_int(i);
        file.close();
      },
      [] {
        AceFile file;
        file.prep(folder.file("f").c_str(), nullptr);
        EXPECT_EQ(file.get_int(), 0);
        file.map(folder.file("f").c_str(), nullptr, nullptr, 0, nullptr, nullptr);
      },
      [] {
        char* line = nullptr;
        AceInput(folder.file("f").c_str(), 100, false).read_line(&line);
      },
      [] {
        FileReporter(folder.file("g").c_str()).print("text");
        AceReporter::print_static("");
        EbosLog::instance()->iprintf("line\n");
      },
  };
  for (void (*const& action)() : actions) {
    const auto func = [](void* arg) {
      pthread_cancel(pthread_self());
      (*static_cast<void (*const*)()>(arg))();
      ++numDone;
      pthread_testcancel();
      return 0;
    };
    EXPECT_EQ(join(func, const_cast<void**>(reinterpret_cast<void* const*>(&action))), -1);
  }
  EXPECT_EQ(numDone, 5);
  EXPECT_EQ(ace_num_threads(), 0);
  EXPECT_FALSE(std::filesystem::is_empty(folder.file("f")));
}

TEST(EbosThread, waits_for_threads_that_others_started) {
  std::atomic<bool> isGone = false;
  EbosSemaphore go(false);
  std::thread foreign([&] {
    go.acquire();
    isGone = true;
  });
  const HANDLE handle = foreign.native_handle();
  foreign.detach();
  std::thread waiter([&] {
    EXPECT_EQ(EbosThread::wait(handle), 0);
    EXPECT_TRUE(isGone);
  });
  go.release();
  waiter.join();
  EXPECT_EQ(EbosThread::wait(handle), 0);
  EXPECT_EQ(EbosThread::wait(0), 0);
}

}  // namespace
