/// Sum files: a line of text beside an index file, by which damage is found that its reader cannot see.
///
///     base.edit        the file, as `AceWrap::dump` writes it: it has no check sum
///     base.edit.sum    82172 crc32c4:5d1c70a6e0a2f29b0b8c4de1c2aa7f03 ff08005a EDITC
///
/// The line, which ends with a line feed, has four parts with a blank between: the file's size in bytes, the
/// digest with its kind, the word that opens the file (its version, in hexadecimal), and the code of its
/// payload, "-" where there is none.
///
/// Digest "crc32c4": the bytes, padded with zeros to whole words of 8, go word by word to four CRC-32C in
/// turn (word i to number i % 4), each with the usual start and end of all ones; in hexadecimal, number 0
/// first. Any damage within 4 bytes is found, and other damage but for one case in 2^32 or less. It is no
/// protection against intent.
///
/// A sum is written after its file, and goes when the file is dumped without one: a crash between the two
/// leaves a sum that does not match, which looks like damage.
///
/// Errors: negative results, explained on the reporter given (null: the default one).
/// Thread safety: everything, from any thread.
/// Cost: reading the file; the digest takes some 10 GB a second from memory where the processor has SSE 4.2.
/// See bench/ace/ace_sum_bench.cpp. Source of CRC-32C: RFC 3720, section 12.1.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

#include "ace/ace_types.h"

class AceReporter;

class SORV_API AceSum {
 public:
  static constexpr int DAMAGED = -1;  ///< the file is not what the sum says, or cannot be read
  static constexpr int NO_SUM = -2;   ///< there is no sum, or none of this form

  /// Bytes in pieces, the digest at any time.
  class SORV_API Digest {
   public:
    /// `size` is a multiple of 32 except for the last piece.
    void add(const void* data, std::size_t size);
    std::string text() const;

   private:
    unsigned lanes[4] = {~0U, ~0U, ~0U, ~0U};
  };

  static std::string name_of(const std::string& file) { return file + ".sum"; }

  /// Writes the sum of a file, all or nothing. Returns 0, or -1.
  static int write(const char* file, AceReporter* rep);
  /// Removes the sum of a file, if it has one; what has another form is left alone. Returns 0, or -1.
  static int remove(const char* file, AceReporter* rep);
  /// Compares a file with its sum. Returns 0, `DAMAGED` or `NO_SUM`.
  static int check(const char* file, AceReporter* rep);
  /// Compares all files below a folder that have sums with them, and reports each that does not match, each
  /// sum whose file is gone, and how many there are; index files without a sum are named and not counted.
  /// Returns the number of faults; -1 when a folder cannot be read.
  static int check_folder(const char* folder, AceReporter* rep);

  /// `check` in a thread of its own, while the file is used already. The reporter must last as long as it.
  class SORV_API Background {
   public:
    Background(const char* file, AceReporter* rep);
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    /// Waits.
    ~Background();
    bool is_done() const { return isDone; }
    /// Waits for the result of `check`.
    int wait();

   private:
    std::string name;
    AceReporter* reporter;
    std::atomic<bool> isDone = false;
    int result = NO_SUM;
    std::thread checker;
  };
};
