#include "tera/multi/multi_lines_internal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int PERCENT = 100;
constexpr int ESCAPE = -1;
/// A symbol takes an entry of 5 bytes in the code's tables, of which some are shared by several symbols.
constexpr double TABLE_BITS = 50;

}  // namespace

// ---------------------------------------------------------------- strings

Large MultiStrings::insert(std::string_view string) {
  if (const auto known = numbers.find(string); known != numbers.end()) return known->second;
  const char* stored = memAt.attach(string.data(), static_cast<VInt>(string.size()));
  const Large id = size();
  strings.push_back(stored);
  numbers.emplace(std::string_view(stored, string.size()), id);
  return id;
}

Large MultiStrings::find(std::string_view string) const {
  const auto known = numbers.find(string);
  return known != numbers.end() ? known->second : NONE;
}

std::vector<Large> MultiStrings::sort() {
  std::vector<Large> order(strings.size());
  for (Large id = 0; id < size(); ++id) order[id] = id;
  std::sort(order.begin(), order.end(),
            [this](Large a, Large b) { return std::strcmp(strings[a], strings[b]) < 0; });
  std::vector<Large> renumbered(strings.size());
  std::vector<const char*> sorted(strings.size());
  for (Large id = 0; id < size(); ++id) {
    renumbered[order[id]] = id;
    sorted[id] = strings[order[id]];
  }
  strings = std::move(sorted);
  for (auto& [string, id] : numbers) id = renumbered[id];
  return renumbered;
}

// ---------------------------------------------------------------- lines

int MultiLines::append(const std::vector<Large>& numbers) {
  const bool isFiled = !chunkName.empty() && static_cast<int>(places.size() % PERCENT) >= inMemory;
  places.push_back(
      {isFiled ? chunkSize : static_cast<VInt>(kept.size()), static_cast<Large>(numbers.size()), isFiled});
  if (isFiled) return write(numbers);
  kept.insert(kept.end(), numbers.begin(), numbers.end());
  return 0;
}

int MultiLines::write(const std::vector<Large>& numbers) {
  if (chunk == nullptr) {
    chunk.reset(AceFile::open(chunkName.c_str(), "wb+"));
    if (chunk == nullptr) return fail("opened");
    unlink(chunkName.c_str());  // it lasts as long as it is open
  }
  const std::size_t bytes = numbers.size() * sizeof(Large);
  if (std::fwrite(numbers.data(), 1, bytes, chunk.get()) != bytes) return fail("written");
  chunkSize += static_cast<VInt>(bytes);
  return 0;
}

int MultiLines::get(Large line, std::vector<Large>* numbers) const {
  const Place& place = places[line];
  if (!place.isFiled) {
    const auto start = kept.begin() + place.start;
    numbers->assign(start, start + place.count);
    return 0;
  }
  numbers->resize(place.count);
  const std::size_t bytes = place.count * sizeof(Large);
  if (std::fflush(chunk.get()) != 0) return fail("written");
  ssize_t got = 0;
  do {
    got = pread(fileno(chunk.get()), numbers->data(), bytes, place.start);
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(bytes) ? 0 : fail("read");
}

int MultiLines::fail(const char* what) const {
  AceReporter::use_default()->printf("%s: the file of lines cannot be %s: %s\n", chunkName.c_str(), what,
                                     std::strerror(errno));
  return -1;
}

// ---------------------------------------------------------------- the code of words

namespace {

/// What symbols of those frequencies take in all, in bits, where they are coded: their tables included.
struct CodeSize {
  double total = 0;    // occurrences
  double entropy = 0;  // sum of f log f
  double symbols = 0;  // coded
  double escaped = 0;  // occurrences that are not
  double bits(int offset_bits) const {
    const auto weighted = [](double f) { return f > 0 ? f * std::log2(f) : 0; };
    return weighted(total) - entropy - weighted(escaped) + escaped * offset_bits + symbols * TABLE_BITS;
  }
};

/// Words that occur less often are not coded.
Large choose_limit(std::vector<Large> counts, int offset_bits) {
  std::sort(counts.begin(), counts.end());
  CodeSize size;
  for (const Large count : counts) {
    size.total += count;
    size.entropy += count > 0 ? count * std::log2(static_cast<double>(count)) : 0;
    size.symbols += 1;
  }
  double best = size.bits(offset_bits);
  Large limit = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const double count = counts[i];
    size.entropy -= count > 0 ? count * std::log2(count) : 0;
    size.escaped += count;
    size.symbols -= 1;
    const bool isLast = i + 1 == counts.size();
    if ((!isLast && counts[i + 1] == counts[i]) || size.bits(offset_bits) >= best) continue;
    best = size.bits(offset_bits);
    limit = counts[i] + 1;
  }
  return limit;
}

}  // namespace

int multi_make_word_code(const std::vector<Large>& counts, int offset_bits, HuffmanTree* code) {
  Large limit = choose_limit(counts, offset_bits);
  for (;;) {
    HuffmanStat stat;
    VInt escaped = 0;
    for (std::size_t word = 0; word < counts.size(); ++word) {
      if (counts[word] < limit)
        escaped += counts[word];
      else if (stat.insert(static_cast<int>(word), counts[word]) < 0)
        return -1;
    }
    if (escaped > 0 && stat.insert(ESCAPE, escaped) < 0) return -1;
    if (code->make(&stat) >= 0) return code->prepare() >= 0 ? 0 : -1;
    if (limit > std::numeric_limits<Large>::max() / 2) return -1;
    limit = std::max(2 * limit, Large{2});  // codes grow shorter with fewer words
  }
}
