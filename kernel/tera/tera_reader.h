/// Readers: where the entries of a text index come from.
///
/// An entry is a string with an attribute number (what the entry stands for, such as a record) and a line
/// number. In a file it is a line
///
///     0000002a<TAB>Mayer        attribute, in the base that the reader is given, and string
///     Mayer                     string only
///
/// where everything behind the first tab belongs to the string. No attribute, or one of 0 or 0xFFFFFFFF,
/// stands for the line's number. Lines are numbered from 0, as their source does (ace_reader.h).
///
/// Readers are put on top of each other: what maps, transforms or merges reads from another reader, or from
/// a line reader, which must stay and stays the caller's.
///
/// Conventions of `get_line`: the string is valid until the next call; `info` and `line` may be null. After
/// the end, or an error, the result stays the same until `rewind`.
/// Errors: -1, explained on the default reporter; memory exhaustion throws `std::bad_alloc`.
/// Thread safety: a reader belongs to one thread.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "tera/tera_big_tree.h"

class AceInput;
class AceReader;
class AceReporter;
class TeraMap;
class TeraTransform;

class SORV_API TeraReader {
 public:
  virtual ~TeraReader() = default;
  /// The next entry. Returns 1; 0 at the end; -1 on errors.
  virtual int get_line(const char** string, Large* info, VInt* line) = 0;
  /// Back to the first entry. Returns 0, or -1 where that is impossible.
  virtual int rewind() = 0;
  /// The number of lines to expect, 0 when unknown.
  virtual VInt get_estimate() = 0;

  /// Reads what is left into a tree: each distinct string with the attributes of its entries, in their order
  /// and without immediate repetitions, as a list of `bulk`. With `reverse` strings are token strings and
  /// entered backwards (`TeraToken::turn`); with `no_info` no lists are made (and `bulk` may be null).
  /// Stores the number of entries read in `*count`, unless null.
  /// Returns the number of different strings in the tree, or -1; the tree then has what was read before.
  int fill_tree(ListTree* tree, AceBulk* bulk, int* count, int reverse, int no_info, AceReporter* rep);
  /// Calls `use(string, attribute)` for each entry that is left, at most INT_MAX, until it gives a negative
  /// number. Returns the number of entries, or -1.
  int read_strings(const std::function<int(const char*, Large)>& use, AceReporter* rep);
  /// Writes all entries, from the first on (those that are left where the reader cannot go back), as entry
  /// lines with hexadecimal attributes; empty strings are left out. Returns the number of lines, or -1. A
  /// failed write throws an `AceException`.
  int dump_file(const char* filename);

 protected:
  TeraReader() = default;
  TeraReader(const TeraReader&) = default;
  TeraReader& operator=(const TeraReader&) = default;
};

/// Entry lines. A line with an attribute that is no number of the base, or has more than 32 bits, cannot be
/// read: "Error reading tera file, line %ld: %s\n".
class SORV_API TeraStandardReader : public TeraReader {
 public:
  /// `numeric_base`: 2 to 36.
  TeraStandardReader(AceReader* input, int numeric_base) : itsInput(input), numericBase(numeric_base) {}

  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  /// The highest line number seen.
  VInt get_estimate() override { return highestLine; }

 private:
  AceReader* itsInput;
  int numericBase;
  VInt highestLine = 0;
  int lastResult = 1;
};

/// Each string as the tokens of a map, with operators off when `no_glob`.
class SORV_API TeraMappedReader : public TeraReader {
 public:
  TeraMappedReader(TeraReader* reader, const TeraMap* map, bool no_glob)
      : unMapped(reader), teraMap(map), noGlob(no_glob) {}

  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override { return unMapped->rewind(); }
  VInt get_estimate() override { return unMapped->get_estimate(); }

 private:
  TeraReader* unMapped;
  const TeraMap* teraMap;
  bool noGlob;
  AceAttach memAt;  // the present string
};

/// Each string rewritten by a transform. Of a result with several variants ("|" between them) each is an
/// entry with the same attribute and line; with `skip_aliases` only the first.
class SORV_API TeraTransformReader : public TeraReader {
 public:
  TeraTransformReader(TeraReader* reader, TeraTransform* transform, bool skip_aliases)
      : internalReader(reader), itsTransform(transform), skipAliases(skip_aliases) {}

  /// -1 also when the transform gives null.
  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  VInt get_estimate() override { return internalReader->get_estimate(); }

 private:
  TeraReader* internalReader;
  const TeraTransform* itsTransform;
  bool skipAliases;
  char* nextVariant = nullptr;  // in memAt; null when there is none left
  Large curInfo = 0;
  VInt curLine = 0;
  int lastResult = 1;
  AceAttach memAt;  // the present result
};

/// The words of lines, cut at blanks and at the characters of `separators` (which may be null). Attributes
/// count the words, from 1.
class SORV_API SingleWordReader : public TeraReader {
 public:
  SingleWordReader(AceReader* input, const char* separators);

  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  VInt get_estimate() override { return 0; }

 private:
  AceReader* itsInput;
  std::string separatorSet;
  std::string lineText;     // the present line, cut at the words given so far
  std::size_t linePos = 0;  // behind the last of them
  VInt curLine = 0;
  Large numWords = 0;
  int lastResult = 1;
};

/// Several sorted entry files as one: of the streams' present strings the greatest, in byte order, comes
/// next, and of equal ones that of the earliest stream. Lines count the entries given, from 0.
class SORV_API MultiStreamReader : public TeraReader {
 public:
  /// Takes the streams (entry lines with hexadecimal attributes) over: they are closed with the reader, and
  /// also when the constructor throws. With a map, strings are token strings, operators off when `no_glob`.
  MultiStreamReader(int num_streams, std::FILE** streams, const TeraMap* map, bool no_glob);
  ~MultiStreamReader() override;

  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  /// The sum over the streams.
  VInt get_estimate() override;

 private:
  struct Stream;

  int start_all();
  int advance(std::size_t stream);
  bool is_before(std::size_t first, std::size_t second) const;

  std::vector<std::unique_ptr<Stream>> streamArray;
  std::vector<std::size_t> streamHeap;  // those with a present string, as a heap with the next one in front
  bool isStarted = false;               // all streams have been asked; the front one's string was given
  VInt numLines = 0;
  int lastResult = 1;
};

/// The entries of a reader for a function.
class SORV_API TeraReaderStream {
 public:
  explicit TeraReaderStream(TeraReader* delegate) : itsDelegate(delegate) {}

  /// Rewinds the reader and calls `f(string, attribute)` for each entry until that returns a negative value,
  /// which is passed back. Returns the number of entries; -1 when reading fails.
  VInt for_each(const std::function<int(const char*, unsigned)>& f);

 private:
  TeraReader* itsDelegate;
};
