/// The line reader of files, streams and texts in memory.
///
/// Lines are not copied: a line is a piece of the buffer, ended in place by a NUL over its line end, and is
/// valid until the next read. LF, CR LF and a lone CR each end a line (a lone CR is warned about).
///
///     readBuf        lineStart     curPos              bufEnd
///     |              |             |                   |
///     v              v             v                   v
///     +--------------+-------------+-------------------+----------+
///     | lines given  | being read  | not yet read      |0|  free  |
///     +--------------+-------------+-------------------+----------+
///     ^ file offset bufStart                           <- bufSize ->
///
/// A refill moves the unfinished line to the front. Only a line that fills the buffer makes it grow, to twice
/// its size; lines are never cut. The old buffer stays in the reader's attach until the reader dies.
///
/// Invariants: readBuf <= lineStart <= curPos; `curPos` is byte bufStart + (curPos - readBuf) of the stream;
/// there is a NUL at `bufEnd`, and in memory at the end of the text.
///
/// Errors: a file that cannot be opened, a folder, and a line of 2 GiB or more throw `AceException`. Where
/// the source cannot be read, reading ends: `read_line` gives -1 and not the torn line, `read_error` tells
/// why, and the default reporter has heard where. Interrupted reads go on. All other problems (NUL bytes,
/// lone carriage returns, very long lines, failing seeks) are warnings on the default reporter and reading
/// goes on. Thread safety: a reader belongs to one thread. To read one file in parallel, each thread opens a
/// reader of its own and calls `partition`. Cost: one vectorised pass over the bytes; see
/// bench/ace/ace_input_bench.cpp.
#pragma once

#include <cstdio>

#include "ace/ace_attach.h"
#include "ace/ace_reader.h"
#include "ace/ace_types.h"

class SORV_API AceInput : public AceReader, public AceAttach {
 public:
  /// Reads the file `name`; or `stream`, if given, whose ownership passes to the reader at once: it is closed
  /// with the reader, and also when the constructor throws. `name` is then only for messages and may be null.
  /// `bufSize` is the first size of the buffer; below 2 it becomes 4096. With `skipEmptyLines` a run of line
  /// ends counts as one, so that the only empty line can be the first one of a file that starts with a line
  /// end. Throws `AceException` "File not found" or "Cannot read a folder".
  AceInput(const char* name, int bufSize, bool skipEmptyLines, std::FILE* stream = nullptr);
  /// Reads the caller's terminated text, which is cut in place and must stay; null reads as empty.
  AceInput(char* text, bool skipEmptyLines);
  AceInput(char* text, int bufSize) = delete;  // a file needs both, a text has no buffer size
  AceInput(const AceInput&) = delete;
  AceInput& operator=(const AceInput&) = delete;
  ~AceInput() override;

  /// What the constructor does, for a reader that changes to another source. Without name and stream, a
  /// present stream is read on from its position with a new buffer. Line numbers start at 0. Returns what the
  /// first `update` did.
  int init(const char* name, int bufSize, bool skipEmptyLines, std::FILE* stream = nullptr);

  // Lines.

  /// The next line, cut in place. `*lineNo` (if given) receives its number, from 0 (it stops at INT_MAX).
  /// Returns its length, which counts NUL bytes inside a line of a file; at the end -1 and a null `*line`.
  int read_line(char** line, VInt* lineNo = nullptr);
  int read_line(const char** line, VInt* lineNo = nullptr) override;
  /// Back to the start of the file or text; line numbers start at 0. In memory the cuts become line feeds, so
  /// that a former CR LF reads as a line end and an empty line. -1 (with a warning, and nothing changed) for
  /// a stream that cannot seek.
  int rewind() override;
  int read_error() const override { return readError; }
  /// Skips blanks, tabs, NUL bytes, line ends and whole comment lines that start with "#". The byte that ends
  /// the skip is consumed: the next line read starts behind it. Returns 0.
  int skip();

  // Bytes.

  /// The next byte. Returns 0, or -1 at the end.
  int get_char(char* c);
  /// Steps back one byte. Returns 0, or -1 at the start of the line or of the buffer.
  int unget();
  /// Behind the carriage return just read: consumes a line feed, warns when there is another byte. Returns 0.
  int skip_one_eol();
  /// Consumes all following line-end bytes. Returns 0.
  int skip_all_eol();
  /// Ends the line whose line-end byte has just been read and stores its start. Returns its length.
  int terminate_line(char** line);
  /// Refills an exhausted buffer from the stream. Returns 1 if there are new bytes, else 0.
  int update();

  // Positions.

  /// Continues at byte `pos` of the file or text. Returns 0; or -1, with a warning and the position
  /// unchanged, when the stream cannot seek there or the text is shorter. Backwards in memory, the cuts in
  /// between become line feeds.
  int jump_to_pos(Huge pos);
  Huge get_pos() const { return bufStart + (curPos - readBuf); }
  /// Bytes of the file, -1 for a stream that cannot seek; 0 in memory.
  Huge get_size();
  /// Size in KiB, at least 1; 0 in memory.
  Huge get_sizek();
  const char* get_filename() const { return fileName; }
  /// Of the bytes from the present position to the end of the file, cut into `numParts` ranges of whole
  /// lines, positions the reader at the start of range `part` (from 0), where line numbers start at 0, and
  /// returns the offset of its end: the caller reads lines while get_pos() is below it. All parts together
  /// give each line once, in order. Where there are fewer bytes than parts, the last part has them all (and
  /// line numbers go on). A text in memory has size 0 here, and nothing to share out. Returns -1, with a
  /// warning, for a part that does not exist, a stream that cannot seek, or when the borders cannot be read
  /// (then `read_error` tells).
  Huge partition(int part, int numParts);

  /// Prints the position, "<file>:<line>:<column>:" and the text there, to standard output. Returns 0.
  int error();

  bool skipEmptyLines = false;
  int lineNum = 0;     ///< lines returned so far
  int errorCount = 0;  ///< calls of `error`

 protected:
  char* readBuf = nullptr;         // in memory: the caller's text
  char* curPos = nullptr;          // next byte
  char* lineStart = nullptr;       // first byte of the line being read
  char* bufEnd = nullptr;          // one past the last byte from the stream; null in memory
  int bufSize = 0;                 // capacity of readBuf; 0 in memory
  Huge bufStart = 0;               // file offset of readBuf[0]
  const char* fileName = nullptr;  // copy in the attach, or null
  std::FILE* inputStream = nullptr;

 public:
  Large nullCount = 0;  ///< NUL bytes met inside stream data

 private:
  void begin_stream(const char* name, int size);
  void close_stream();
  void grow();
  bool more();
  void fail_reading(Huge pos);
  char* data_end() const { return bufEnd != nullptr ? bufEnd : textEnd; }
  void note_null();
  void undo_cuts(char* from);
  int cut_line(char** line, VInt length);
  void empty_buffer(Huge pos);
  bool seek(Huge pos);
  Huge line_start_from(Huge pos, Huge size);
  const char* display_name() const;

  char* textEnd = nullptr;  // terminator of a text in memory
  int readError = 0;        // nothing is read any more
};
