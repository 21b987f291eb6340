#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <exception>
#include <mutex>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_thread.h"
#include "dast/build/dast_record_chunk_internal.h"
#include "dast/dast_record_iterator.h"

int RecordChunk::fill(RecordIterator* source, int num_fields, Large start) {
  numFields = num_fields;
  numLines = 0;
  startRec = start;
  text.clear();
  fieldStarts.clear();
  std::string_view line;
  while (numLines < INPUT_SIZE && source->get_next(&line)) cut(line);
  fieldStarts.push_back(text.size());
  return numLines;
}

void RecordChunk::cut(std::string_view line) {
  const auto tabs = std::count(line.begin(), line.end(), '\t');
  if (tabs + 1 != numFields)
    throw AceException("Invalid record file", "Wrong number of fields in line %zu: %d expected, %ld found",
                       std::size_t{startRec} + static_cast<std::size_t>(numLines), numFields,
                       static_cast<long>(tabs) + 1);
  const std::size_t start = text.size();
  text.append(line).push_back('\t');
  fieldStarts.push_back(start);
  for (std::size_t pos = start; pos + 1 < text.size(); ++pos)
    if (text[pos] == '\t') fieldStarts.push_back(pos + 1);
  ++numLines;
}

void dast_for_each_field(Mask fields, int num_threads, const std::function<void(int)>& f) {
  std::atomic<Mask> left = fields;
  std::mutex failureMutex;
  std::exception_ptr failure;
  const auto work = [&] {
    for (;;) {
      Mask now = left.load();
      while (now != 0 && !left.compare_exchange_weak(now, now & ~std::bit_floor(now))) continue;
      if (now == 0) return;
      try {
        f(static_cast<int>(std::bit_width(now)) - 1);
      } catch (...) {
        const std::scoped_lock lock(failureMutex);
        if (!failure) failure = std::current_exception();
      }
    }
  };
  const int helpers = std::min(num_threads, std::popcount(fields)) - 1;
  AceAttach at;
  std::vector<pthread_t> threads(static_cast<std::size_t>(std::max(helpers, 0)));
  int started = 0;
  // Nothing may be thrown while threads use this stack: fewer helpers do as well.
  try {
    while (started < helpers &&
           ace_create_thread(&threads[static_cast<std::size_t>(started)], work, 0, &at) == 0)
      ++started;
  } catch (const std::bad_alloc&) {
  }
  work();
  ace_join_threads(started, threads.data());
  if (failure) std::rethrow_exception(failure);
}
