#include <algorithm>
#include <mutex>

#include "dare/evaluate/dare_hit_table_internal.h"

void DareHitTable::init(Large from, Large to, int num_columns) {
  firstRecord = from;
  endRecord = to;
  numWords = std::max(1, (num_columns + COLUMNS_PER_WORD - 1) / COLUMNS_PER_WORD);
  allowed.clear();
}

void DareHitTable::restrict_records() {
  allowed.assign(num_bit_words(), 0);
}

void DareHitTable::start_choice() {
  choices.assign(num_bit_words(), {0, 0});
}

void DareHitTable::end_choice() {
  std::size_t count = 0;
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (is_limited()) choices[i].chosen &= allowed[i];
    choices[i].seenOrBefore = count;
    if (choices[i].chosen != 0) count += static_cast<std::size_t>(std::popcount(choices[i].chosen));
  }
  make_places(count);
  hits.reserve(count);  // nothing is thrown from here on: what is marked is cleared
  isChosen = true;
  for (std::size_t i = 0; i < choices.size(); ++i)
    for (Word left = choices[i].chosen; left != 0; left &= left - 1)
      hits.push_back(firstRecord + static_cast<Large>(i * 64) + static_cast<Large>(std::countr_zero(left)));
  for (std::size_t i = 0; i < count; ++i) words[i * static_cast<std::size_t>(numWords)] = HIT;
}

void DareHitTable::allow(Large from, Large to) {
  from = std::max(from, firstRecord) - firstRecord;
  to = std::min(to, endRecord);
  if (to <= firstRecord) return;
  to -= firstRecord;
  for (Large place = from; place < to;) {
    const Large end = std::min(to, (place | 63) + 1);
    const Word ones = end - place == 64 ? ~Word{0} : ((Word{1} << (end - place)) - 1);
    allowed[place >> 6] |= ones << (place & 63);
    place = end;
  }
}

void DareHitTable::clear() {
  if (isChosen) {
    std::fill_n(words.begin(), hits.size() * static_cast<std::size_t>(numWords), 0);
  } else {
    for (const Large record : hits) {
      Word* const place = &words[place_of(record)];
      place[0] = 0;
      for (int i = 1; i < numWords; ++i) place[i] = 0;
    }
  }
  hits.clear();
  isChosen = false;
}

namespace {

struct KeptTables {
  static constexpr std::size_t MAX_KEPT = 8;
  std::mutex lock;
  std::vector<std::unique_ptr<DareHitTable>> tables;
};

KeptTables& kept_tables() {
  static KeptTables kept;
  return kept;
}

}  // namespace

HitTableRef::HitTableRef() {
  KeptTables& kept = kept_tables();
  const std::lock_guard<std::mutex> guard(kept.lock);
  if (kept.tables.empty()) {
    table = std::make_unique<DareHitTable>();
  } else {
    table = std::move(kept.tables.back());
    kept.tables.pop_back();
  }
}

HitTableRef::~HitTableRef() {
  table->clear();
  KeptTables& kept = kept_tables();
  const std::lock_guard<std::mutex> guard(kept.lock);
  if (kept.tables.size() < KeptTables::MAX_KEPT) kept.tables.push_back(std::move(table));
}
