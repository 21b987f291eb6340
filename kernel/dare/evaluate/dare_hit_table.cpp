#include <algorithm>
#include <mutex>

#include "dare/evaluate/dare_hit_table_internal.h"

void DareHitTable::init(Large from, Large to, int num_columns) {
  firstRecord = from;
  endRecord = to;
  numWords = std::max(1, (num_columns + COLUMNS_PER_WORD - 1) / COLUMNS_PER_WORD);
  const std::size_t needed = static_cast<std::size_t>(to - from) * static_cast<std::size_t>(numWords);
  if (words.size() < needed) words.resize(needed);
  allowed.clear();
}

void DareHitTable::restrict_records() {
  allowed.assign((static_cast<std::size_t>(endRecord - firstRecord) >> 6) + 1, 0);
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
  for (const Large record : hits) {
    Word* const place = &words[place_of(record)];
    place[0] = 0;
    for (int i = 1; i < numWords; ++i) place[i] = 0;
  }
  hits.clear();
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
