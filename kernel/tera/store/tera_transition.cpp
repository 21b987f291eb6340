#include "tera/tera_transition.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"

#include "tera/tera_reader.h"
#include "tera/tera_scan.h"
#include "tera/tera_utf.h"

namespace {

constexpr int LINE_BUFFER = 100'000;
constexpr int ATTRIBUTE_BASE = 16;
constexpr int ROW_ALIGNMENT = 8;
constexpr int NUM_LEVELS = 110;

/// The thresholds of the levels; the last ones are none.
constexpr auto LOG_LIMIT = [] {
  constexpr int FIRST[] = {4, 5, 6, 7, 8, 10, 12, 14, 17, 20};
  constexpr int DOUBLED[] = {12, 14, 17, 20};
  std::array<int, 128> limits{};
  for (int level = 0; level < NUM_LEVELS; ++level) {
    const int further = level - static_cast<int>(std::size(FIRST));
    limits[static_cast<std::size_t>(level)] =
        further < 0 ? FIRST[level] : DOUBLED[further % 4] << (1 + further / 4);
  }
  return limits;
}();

void raise(int* count, signed char* level) {
  if (*count == INT_MAX) return;
  ++*count;
  if (*level < NUM_LEVELS && *count >= LOG_LIMIT[static_cast<std::size_t>(*level)]) ++*level;
}

int num_characters(const TeraMap& map, const char* from, const char* to) {
  if (map.has_uni() == 0) return static_cast<int>(to - from);
  return static_cast<int>(std::count_if(from, to, [](char c) { return TeraUtf::is_continue(c) == 0; }));
}

}  // namespace

// ---------------------------------------------------------------- tables

void TeraTransition::clean() {
  memAt.release();
  tokenCnt = transCnt = tripleCnt = Rows();
  totalCnt = isMapped = 0;
  totalLog = 0;
}

void TeraTransition::allocate(Rows* rows, std::size_t num_rows) {
  const std::size_t width = border() + 1;
  auto* counts = static_cast<int*>(memAt.calloc(static_cast<VInt>(num_rows * width * sizeof(int))));
  auto* levels = static_cast<Level*>(memAt.calloc(static_cast<VInt>(num_rows * width)));
  for (std::size_t row = 0; row < num_rows; ++row) {
    rows->counts.push_back(counts + row * width);
    rows->levels.push_back(levels + row * width);
  }
}

void TeraTransition::allocate() {
  allocate(&tokenCnt, 1);
  allocate(&transCnt, border() + 1);
  if (hasTriple != 0) allocate(&tripleCnt, (border() + 1) * (border() + 1));
}

int TeraTransition::get_count(int previous, int token) const {
  const auto row = static_cast<std::size_t>(previous);
  const auto column = static_cast<std::size_t>(token);
  return !is_empty() && row <= border() && column <= border() ? transCnt.counts[row][column] : 0;
}

// ---------------------------------------------------------------- learning and scoring

/// Calls `on_token` with each token; with 0 for each character that has none.
template <class OnToken>
void TeraTransition::for_each_token(const char* text, OnToken on_token) const {
  TeraScan scan(&tokenMap, text, false);
  for (;;) {
    if (scan.is_char_finished()) {
      const char* start = scan.get_current_pos();
      for (int skipped = num_characters(tokenMap, start, scan.skip_no_token()); skipped > 0; --skipped)
        on_token(std::size_t{0});
    }
    const Token token = scan.get_next_token();
    if (token == 0) return;
    on_token(tokenMap.is_operator(token) ? std::size_t{0} : std::size_t{token});
  }
}

void TeraTransition::count_pair(std::size_t before, std::size_t previous, std::size_t token) {
  raise(&tokenCnt.counts[0][previous], &tokenCnt.levels[0][previous]);
  raise(&transCnt.counts[previous][token], &transCnt.levels[previous][token]);
  if (hasTriple == 0) return;
  const std::size_t row = triple_row(before, previous);
  raise(&tripleCnt.counts[row][token], &tripleCnt.levels[row][token]);
}

int TeraTransition::stat(const char* text) {
  if (isMapped != 0) return -1;
  if (is_empty()) allocate();
  std::size_t before = border();
  std::size_t previous = border();
  for_each_token(text, [&](std::size_t token) {
    if (token == 0) return;
    count_pair(before, previous, token);
    before = previous;
    previous = token;
  });
  count_pair(before, previous, border());
  raise(&totalCnt, &totalLog);
  if (hasTriple == 0) return 0;
  const std::size_t row = triple_row(previous, border());
  raise(&tripleCnt.counts[row][border()], &tripleCnt.levels[row][border()]);
  raise(&totalCnt, &totalLog);
  return 0;
}

int TeraTransition::make(const char* file) {
  AceInput input(file, LINE_BUFFER, false);
  TeraStandardReader reader(&input, ATTRIBUTE_BASE);
  const char* text = nullptr;
  int rc = 0;
  while ((rc = reader.get_line(&text, nullptr, nullptr)) > 0)
    if (stat(text) < 0) return -1;
  return rc == 0 && input.read_error() == 0 ? 0 : -1;
}

int TeraTransition::eval(const char* text) const {
  if (totalLog == 0) return 0;
  std::size_t before = border();
  std::size_t previous = border();
  VInt sum = 0;
  const auto add = [&](std::size_t token) {
    sum += tokenCnt.levels[0][previous] - transCnt.levels[previous][token];
    if (hasTriple != 0)
      sum += tokenCnt.levels[0][previous] - tripleCnt.levels[triple_row(before, previous)][token];
  };
  for_each_token(text, [&](std::size_t token) {
    if (token == 0) {
      sum += totalLog;
      return;
    }
    add(token);
    before = previous;
    previous = token;
  });
  add(border());
  const auto as_score = [](VInt value) { return static_cast<int>(std::min(value, VInt{INT_MAX})); };
  if (hasTriple == 0) return as_score(sum);
  const std::size_t last = triple_row(previous, border());
  return as_score((sum + tokenCnt.levels[0][border()] - tripleCnt.levels[last][border()]) / 3);
}

// ---------------------------------------------------------------- saving and reading

void TeraTransition::save_rows(const Rows& rows, AceFile* file) const {
  const auto width = static_cast<VInt>(border() + 1);
  for (std::size_t row = 0; row < rows.counts.size(); ++row) {
    file->write(width * static_cast<VInt>(sizeof(int)), rows.counts[row], ROW_ALIGNMENT);
    file->write(width, rows.levels[row], ROW_ALIGNMENT);
  }
}

VInt TeraTransition::save(AceFile* file) {
  if (is_empty()) allocate();
  file->put_magic("TRANS");
  file->put_int(hasTriple);
  ACE_CALL(tokenMap.save(file));
  file->put_int(totalCnt);
  file->put_char(totalLog);
  save_rows(tokenCnt, file);
  save_rows(transCnt, file);
  const std::vector<char> gap(border() + 1);
  file->write(static_cast<VInt>(gap.size()), gap.data(), ROW_ALIGNMENT);
  save_rows(tripleCnt, file);
  return 0;
}

/// False when the file ends early, or has what is no count and level.
bool TeraTransition::read_rows(Rows* rows, std::size_t num_rows, AceFile* file) {
  const std::size_t width = border() + 1;
  for (std::size_t row = 0; row < num_rows; ++row) {
    auto* counts = file->read_array<int>(static_cast<VInt>(width), &memAt, ROW_ALIGNMENT);
    auto* levels = file->read_array<Level>(static_cast<VInt>(width), &memAt, ROW_ALIGNMENT);
    if (counts == nullptr || levels == nullptr) return false;
    const bool areCounts = std::all_of(counts, counts + width, [](int count) { return count >= 0; });
    if (!areCounts || !std::all_of(levels, levels + width, [](int l) { return l >= 0 && l <= NUM_LEVELS; }))
      return false;
    rows->counts.push_back(counts);
    rows->levels.push_back(levels);
  }
  return true;
}

/// Null, or what is wrong.
const char* TeraTransition::read_tables(AceFile* file) {
  hasTriple = file->get_int();
  if (hasTriple < 0 || hasTriple > 1) return "expected 0 or 1 for triples";
  if (tokenMap.read(file) < 0) return "expected a character map";
  totalCnt = file->get_int();
  totalLog = file->get_char();
  if (totalCnt < 0 || totalLog < 0 || totalLog > NUM_LEVELS) return "expected a count and its level";
  const std::size_t width = border() + 1;
  if (!read_rows(&tokenCnt, 1, file) || !read_rows(&transCnt, width, file)) return "expected counts of pairs";
  const bool hasGap = file->read_array<char>(static_cast<VInt>(width), &memAt, ROW_ALIGNMENT) != nullptr;
  if (!hasGap || (hasTriple != 0 && !read_rows(&tripleCnt, width * width, file)))
    return "expected counts of triples";
  return file->is_short() ? "the file ends early" : nullptr;
}

VInt TeraTransition::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); },
                           [&]() -> VInt {
                             ACE_CALL(file->get_magic("TRANS"));
                             isMapped = file->is_mapped() ? 1 : 0;
                             const char* fault = read_tables(file);
                             if (fault == nullptr) return 0;
                             AceReporter::use_default()->printf(
                                 "Transition model that ends at offset %ld is broken: %s\n", file->get_pos(),
                                 fault);
                             return -1;
                           });
}
