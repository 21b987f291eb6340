// The attribute numbers of a whole result.
#include <algorithm>
#include <limits>
#include <queue>

#include "ace/ace_tracer.h"
#include "tera/result/tera_result_internal.h"

namespace {

enum SummaryState : Tiny { NOT_MADE, MADE, TOO_LONG };

int max_filter_list() {
  static const AceTraceFlag flag("MAX_FILTER_LIST", __FILE__, __LINE__);
  return flag.get() > 0 ? flag.get() : std::numeric_limits<int>::max();
}

/// What is left of one ascending list.
struct Source {
  Large info() const { return *next + shift; }
  /// Orders a heap by attribute numbers, ascending, and the best quality of one first.
  friend bool operator<(const Source& first, const Source& second) {
    return first.info() != second.info() ? first.info() > second.info() : first.value < second.value;
  }

  const Large* next;
  const Large* end;
  Large shift;
  int value;
};

/// Lists as candidates have them; those that do not ascend are sorted copies.
class SourceList {
 public:
  void add(int value, const TeraCand& cand) {
    const Large num = cand.get_num_infos();
    if (num == 0) return;
    const Large shift = cand.get_shift();
    const Large* infos = cand.get_infos();
    const auto shiftedLess = [shift](Large a, Large b) { return a + shift < b + shift; };
    if (!std::is_sorted(infos, infos + num, shiftedLess)) {
      Large* sorted = nullptr;
      memAt.malloc(sorted, num);
      std::copy(infos, infos + num, sorted);
      std::sort(sorted, sorted + num, shiftedLess);
      infos = sorted;
    }
    sources.push_back({infos, infos + num, shift, value});
  }
  std::priority_queue<Source> heap() { return std::priority_queue<Source>({}, std::move(sources)); }

 private:
  AceAttach memAt;
  std::vector<Source> sources;
};

}  // namespace

int TeraResult::make_summary() {
  if (summaryFlag != NOT_MADE) return summaryFlag;
  summaryInfos.clear();
  summaryQual.clear();
  const auto limit = static_cast<std::size_t>(max_filter_list());
  SourceList sources;
  for_each([&sources](int value, const TeraCand* cand) {
    if (cand->is(TeraCand::RESOLVED)) sources.add(value, *cand);
  });
  summaryFlag = MADE;
  for (auto heap = sources.heap(); !heap.empty();) {
    Source source = heap.top();
    heap.pop();
    if (summaryInfos.empty() || source.info() != summaryInfos.back()) {
      if (summaryInfos.size() == limit) {
        summaryFlag = TOO_LONG;
        break;
      }
      summaryInfos.push_back(source.info());
      summaryQual.push_back(static_cast<Tiny>(source.value));
    }
    if (++source.next != source.end) heap.push(source);
  }
  summarySize = summaryFlag == MADE ? static_cast<int>(summaryInfos.size()) : -1;
  return summaryFlag;
}

int TeraResult::get_summary(const Large** infos, const Tiny** quals) {
  const bool isMade = make_summary() == MADE;
  if (infos != nullptr) *infos = isMade ? summaryInfos.data() : nullptr;
  if (quals != nullptr) *quals = isMade ? summaryQual.data() : nullptr;
  return summarySize;
}

int TeraResult::get_hit_quality(Large info) {
  if (make_summary() == MADE) return read_hit_quality(info);
  int best = -1;
  for_each([&](int value, const TeraCand* cand) {
    if (value <= best || !cand->is(TeraCand::RESOLVED)) return;
    const Large* infos = cand->get_infos();
    const Large* end = infos + cand->get_num_infos();
    if (std::find(infos, end, info - cand->get_shift()) != end) best = value;
  });
  return best;
}

int TeraResult::read_hit_quality(Large info) const {
  if (summaryFlag != MADE) return -1;
  const auto found = std::lower_bound(summaryInfos.begin(), summaryInfos.end(), info);
  if (found == summaryInfos.end() || *found != info) return -1;
  return summaryQual[static_cast<std::size_t>(found - summaryInfos.begin())];
}

TeraCand* TeraResult::get_summary_cand() {
  if (make_summary() != MADE) return nullptr;
  if (summaryCand == nullptr) summaryCand = std::make_unique<TeraCand>(nullptr, 0, nullptr);
  summaryCand->set_infos(static_cast<Large>(summarySize), summaryInfos.data());
  return summaryCand.get();
}

void TeraResult::clear_summary_cand() {
  summaryCand.reset();
}
