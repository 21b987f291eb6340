/// A text that grows: blocks in an attach of its own.
///
///     firstBlock                                   lastBlock
///     +-----------------+     +-----------------+     +-------------+
///     | bytes used | fr |---->| bytes used |free|---->| used | free |
///     +-----------------+     +-----------------+     +-------------+
///
/// Appending never moves what is there, and two texts are joined without copying, because the attach is an
/// `AceMerge`. Memory of removed text is given back with the whole string.
///
/// Invariants: the text is the used bytes of the blocks in order; `totalLen` is their sum and at most
/// INT_MAX; the text of every block that is not borrowed is NUL-terminated.
/// Errors: -1 as stated; a text that would exceed INT_MAX bytes is not appended (`ace_error`, -1).
/// Thread safety: a string belongs to one thread at a time.
#pragma once

#include <cstdarg>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class SORV_API AceString : public AceMerge {
 public:
  /// Empty; with `size` > 0 there is a first block of that capacity.
  explicit AceString(int size = 0);

  /// Gives a string without blocks a first block of 2000 bytes.
  void initial_block();

  /// Appends `len` bytes of `s`, or strlen(s) when `len` is 0. Texts that fit go to the last block; those
  /// shorter than the first block's capacity to a new block of that capacity; longer ones get a block of
  /// their own, for which with `keep` set the caller's buffer itself is used: it must then outlive the
  /// string, and is never written to. Returns the new length; -1 for null or a negative `len`.
  int append(const char* s, int len = 0, int keep = 0);
  int append(char c);
  /// Moves the blocks of `other` behind those of this string. `other` is empty afterwards. O(1). Returns the
  /// new length; -1 for null or this string itself.
  int append(AceString* other);
  /// Moves the blocks of `other` in front of those of this string. O(1).
  ///
  /// Beware: after a prepend onto a string without blocks there is a first block but no last one, and what is
  /// appended next (by any of the appending functions) starts the text anew: the prepended text is dropped.
  /// `clean` in between keeps it. Returns like `append`.
  int prepend(AceString* other);
  /// Appends formatted text; of one longer than 9999 bytes the first 9996 and "...". Returns like `append`;
  /// -1 when the text cannot be formatted (`ace_error`).
  int print(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  int vprint(const char* fmt, va_list args) __attribute__((format(printf, 2, 0)));

  /// Copies at most `size` - 1 bytes of the text and terminates. Returns the count (0 when `size` < 1).
  int string(char* buf, int size) const;
  /// The whole text in a new block of `at`.
  char* string(AceAttach* at) const;
  int get_total_len() const { return totalLen; }

  /// Room for `n` bytes at the end, to be filled and then marked as used by `claim`; null when `n` < 1.
  char* reserve(int n);
  /// The end of the last block; `*n` receives its free bytes. Null and 0 without a block.
  char* get_buffer(int* n);
  /// Makes `n` bytes written to the room at the end part of the text. Returns 0, or -1 when they do not fit.
  int claim(int n);
  /// Removes `n` bytes from the front. Returns 0, or -1 (and removes nothing) when the text is shorter.
  int consume(int n);
  /// Removes `n` bytes from the end. Returns 0, or -1 (and removes nothing) when the text is shorter.
  int trim(int n);
  /// Makes the text one contiguous block of this string and returns it. Valid until the string changes.
  char* clean();

 private:
  struct Block {
    Block* nextBlock;
    char* stringBuf;
    int blockLen;  // capacity; one more byte is allocated for the terminator
    int bytesUsed;
    int bytesGone;    // removed from the front, before stringBuf
    bool isBorrowed;  // stringBuf is the caller's
  };

  Block* add_block(char* text, int capacity, int used, bool borrowed);
  Block* add_block(int capacity);
  int add_text(const char* s, int len, bool keep);
  void make_own(Block* block);
  bool has_room_for(int len) const;
  int take_over(AceString* other);
  static Block* end_of(const AceString* text);
  static int num_free(const Block* block) { return block->blockLen - block->bytesUsed; }

  int totalLen = 0;
  Block* firstBlock = nullptr;
  Block* lastBlock = nullptr;
};
