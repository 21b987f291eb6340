/// Distinct strings in byte order, each with its attribute numbers: what indexes are built from when their
/// strings come in no order.
///
///     add      records, one behind the other        | count | number | text 0 |     a number, if any
///              rows                                 | first bytes of the text | record |
///     sort     the rows, by several threads; equal texts become one row, whose record gets their numbers
///
/// A record is a list of one number (ace_bulk.h) as it lies there. Nothing else is kept of a string, and no
/// node: 8 bytes, the text, and 16 bytes of row.
///
/// Invariants: before `sort` the rows are in the order of `add`; behind it their texts ascend.
/// Thread safety: belongs to one thread; behind `sort`, any number may read.
/// Errors: memory that runs out throws `std::bad_alloc`.
/// Source: the rows are sorted by words of 8 bytes, the most significant first, after J. L. Bentley and
///         R. Sedgewick, Fast algorithms for sorting and searching strings, SODA 1997.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_bulk.h"
#include "ace/ace_types.h"

/// Memory for pieces of which one knows the most that they take, one behind the other in large blocks, until
/// the arena is destroyed: then it goes back to the system at once, which freed blocks of the heap do not.
/// Each piece is aligned to 4.
class PieceArena {
 public:
  PieceArena() = default;
  PieceArena(PieceArena&&) = default;
  PieceArena& operator=(PieceArena&&) = default;

  /// Room for `most` bytes, and at least 8 behind them, until the next call.
  char* room(VInt most) {
    if (most + SLACK > left) add_block(most + SLACK);
    return next;
  }
  /// The first `used` bytes of the room are taken.
  void take(VInt used) {
    used = (used + ALIGNMENT - 1) & -ALIGNMENT;
    next += used;
    left -= used;
  }

 private:
  static constexpr VInt ALIGNMENT = 4;
  static constexpr VInt SLACK = 8;
  static constexpr VInt FIRST_BLOCK = 1 << 16;
  static constexpr VInt LARGEST_BLOCK = 1 << 22;

  struct Unmap {
    void operator()(char* block) const;
    VInt size = 0;
  };

  void add_block(VInt least);

  std::vector<std::unique_ptr<char, Unmap>> blocks;
  char* next = nullptr;
  VInt left = 0;
  VInt blockSize = FIRST_BLOCK;
};

class SortedStrings {
 public:
  /// Copies a string. A number that is the last one of the string already is not repeated.
  void add(const char* string, Large number) { add_record(string, 1, number); }
  /// The same without a number.
  void add(const char* string) { add_record(string, 0, 0); }
  /// The same with a list, which must stay; null is none.
  void add(const char* string, AceBulk::List* list);

  /// Once, behind all `add`. The thread count follows `ace_get_trace_num_threads(num_threads)`.
  void sort(int num_threads);

  // Behind `sort`.

  std::size_t size() const { return rows.size(); }
  const char* string(std::size_t i) const { return rows[i].text; }
  /// The numbers of a string of this object, in the order of `add`; null for none. May be changed.
  AceBulk::List* list_of(const char* string) const;
  /// How many strings have numbers.
  std::size_t count_numbered() const;
  /// Takes the rows away: only the strings and their numbers last.
  void drop_rows() { rows = {}; }
  /// Takes everything away.
  void clear();

 private:
  struct Row {
    VUint key;  // of the text from `keyStart` on
    char* text;
  };
  class Order;

  void add_record(const char* string, Large count, Large number);
  void unite();
  void append(const char* string, const AceBulk::List* more);

  PieceArena records;
  std::vector<Row> rows;
  VInt keyStart = 0;  // all texts have the same bytes before it
  AceBulk bulk;
  std::vector<AceBulk::List*> lists;  // those that are no record
};
