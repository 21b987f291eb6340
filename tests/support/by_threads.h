/// The same asked by several threads.
#pragma once

#include <thread>
#include <vector>

#include "ace/ace_thread.h"

namespace support {

/// What each of `num` threads gets from `ask`.
template <class Ask>
auto answers_by_threads(std::size_t num, Ask ask) {
  std::vector<decltype(ask())> answers(num);
  std::vector<std::thread> threads;
  for (auto& own : answers)
    threads.emplace_back([&] {
      const AceThreadSafe registered;
      own = ask();
    });
  for (std::thread& thread : threads) thread.join();
  return answers;
}

}  // namespace support
