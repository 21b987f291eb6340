#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "ace/ace_parallel_sort.h"
#include "tera/store/tera_sorted_strings_internal.h"

namespace {

constexpr VInt HEAD = 2 * sizeof(Large);
constexpr Large IN_LISTS = ~Large{0};  // in place of the count: the number is an index of the lists
constexpr VInt KEY_BYTES = sizeof(VUint);
constexpr std::size_t FEW = 16;  // rows that are sorted by comparing
constexpr VInt DEEP = 64;        // bytes that rows are sorted by words for

/// The next 8 bytes, the first one on top, and zeros behind the end. Bytes behind it may be read.
VUint key_of(const char* text) {
  VUint bytes = 0;
  std::memcpy(&bytes, text, sizeof bytes);
  constexpr VUint lowest = 0x0101010101010101;
  const VUint ends = (bytes - lowest) & ~bytes & (lowest << 7);  // exact up to the first end
  if (ends != 0) bytes &= (ends & -ends) - 1;
  return __builtin_bswap64(bytes);
}

bool has_end(VUint key) {
  return (key & 0xFF) == 0;
}

Large* head_of(const char* text) {
  return reinterpret_cast<Large*>(const_cast<char*>(text) - HEAD);
}

}  // namespace

// ---------------------------------------------------------------- memory
// Pages that nobody has written to take no memory, so that blocks may be large.

void PieceArena::Unmap::operator()(char* block) const {
  munmap(block, static_cast<std::size_t>(size));
}

void PieceArena::add_block(VInt least) {
  const VInt size = std::max(least, blockSize);
  blocks.emplace_back();
  void* const block = mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) throw std::bad_alloc();
  blocks.back() = std::unique_ptr<char, Unmap>(static_cast<char*>(block), Unmap{size});
  next = static_cast<char*>(block);
  left = size;
  blockSize = std::min(2 * blockSize, LARGEST_BLOCK);
}

// ---------------------------------------------------------------- adding
// A record is written whole or not at all: it counts when its row stands.

void SortedStrings::add_record(const char* string, Large count, Large number) {
  const VInt size = HEAD + static_cast<VInt>(std::strlen(string)) + 1;
  char* const record = records.room(size);
  char* const text = record + HEAD;
  std::memcpy(text, string, static_cast<std::size_t>(size - HEAD));
  head_of(text)[0] = count;
  head_of(text)[1] = number;
  rows.push_back({key_of(text), text});
  records.take(size);
}

void SortedStrings::add(const char* string, AceBulk::List* list) {
  if (list == nullptr) return add(string);
  lists.push_back(list);
  add_record(string, IN_LISTS, static_cast<Large>(lists.size() - 1));
}

// ---------------------------------------------------------------- sorting
// Rows of one key are those whose texts agree up to there: their keys become the next 8 bytes, and they are
// sorted by these. In the end each has its first key again, by which pieces are merged.

class SortedStrings::Order {
 public:
  explicit Order(VInt key_start) : keyStart(key_start) {}

  /// For rows with their first keys.
  bool operator()(const Row& a, const Row& b) const {
    return a.key != b.key ? a.key < b.key : std::strcmp(a.text + keyStart, b.text + keyStart) < 0;
  }
  void sort_piece(std::span<Row> piece) const { sort_from(piece, keyStart); }

 private:
  /// Equal texts keep their order. The keys are those from `start` on.
  void sort_from(std::span<Row> piece, VInt start) const {
    std::stable_sort(piece.begin(), piece.end(), [](const Row& a, const Row& b) { return a.key < b.key; });
    for (auto first = piece.begin(); first != piece.end();) {
      const VUint key = first->key;
      const auto last = std::find_if(first, piece.end(), [key](const Row& row) { return row.key != key; });
      if (last - first > 1 && !has_end(key)) sort_alike({first, last}, start + KEY_BYTES);
      first = last;
    }
  }
  /// Rows whose texts have the same bytes before `start`. Their keys stay.
  void sort_alike(std::span<Row> alike, VInt start) const {
    if (alike.size() <= FEW || start - keyStart >= DEEP)
      return std::stable_sort(alike.begin(), alike.end(), [start](const Row& a, const Row& b) {
        return std::strcmp(a.text + start, b.text + start) < 0;
      });
    const VUint key = alike.front().key;
    for (Row& row : alike) row.key = key_of(row.text + start);
    sort_from(alike, start);
    for (Row& row : alike) row.key = key;
  }

  VInt keyStart;
};

void SortedStrings::sort(int num_threads) {
  const auto isAlike = [this](const Row& row) { return row.key == rows.front().key; };
  while (!rows.empty() && !has_end(rows.front().key) && std::all_of(rows.begin(), rows.end(), isAlike)) {
    keyStart += KEY_BYTES;
    for (Row& row : rows) row.key = key_of(row.text + keyStart);
  }
  const Order order(keyStart);
  ace_parallel_sort(
      std::span<Row>(rows), [&order](std::span<Row> piece) { order.sort_piece(piece); }, order, num_threads);
  unite();
}

/// The first of equal texts gets the numbers of the others.
void SortedStrings::unite() {
  std::size_t num = 0;
  for (const Row& row : rows) {
    const bool isNew = num == 0 || rows[num - 1].key != row.key ||
                       std::strcmp(rows[num - 1].text + keyStart, row.text + keyStart) != 0;
    if (isNew)
      rows[num++] = row;
    else if (const AceBulk::List* const more = list_of(row.text); more != nullptr)
      append(rows[num - 1].text, more);
  }
  rows.resize(num);
}

void SortedStrings::append(const char* string, const AceBulk::List* more) {
  Large* const head = head_of(string);
  AceBulk::List* list = list_of(string);
  for (const Large number : *more) {
    if (list != nullptr && list->count() > 0 && (*list)[list->count() - 1] == number) continue;
    if (head[0] == 0) {
      head[0] = 1;
      head[1] = number;
      list = list_of(string);
      continue;
    }
    if (head[0] != IN_LISTS) {
      AceBulk::List* own = nullptr;
      bulk.inc(own, head[1]);
      lists.push_back(own);
      head[0] = IN_LISTS;
      head[1] = static_cast<Large>(lists.size() - 1);
    }
    bulk.inc(lists[head[1]], number);
    list = lists[head[1]];
  }
}

AceBulk::List* SortedStrings::list_of(const char* string) const {
  Large* const head = head_of(string);
  if (head[0] == IN_LISTS) return lists[head[1]];
  return head[0] != 0 ? reinterpret_cast<AceBulk::List*>(head) : nullptr;
}

std::size_t SortedStrings::count_numbered() const {
  const auto isNumbered = [this](const Row& row) { return list_of(row.text) != nullptr; };
  return static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), isNumbered));
}

void SortedStrings::clear() {
  records = {};
  rows = {};
  keyStart = 0;
  bulk.clean();
  lists = {};
}
