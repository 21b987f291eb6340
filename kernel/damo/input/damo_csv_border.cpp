#include "damo/input/damo_csv_border_internal.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "ace/ace_file.h"

#include "damo/text/damo_scan_internal.h"

namespace {

constexpr Huge BLOCK_SIZE = 1 << 18;  // bytes read at a time

constexpr bool is_line_end(char c) {
  return c == '\n' || c == '\r';
}

/// Follows the quotes from a place in plain text on, without looking at anything else: whether a byte lies in
/// a quoted field is decided as in `_DamoCsvInput::split`.
class QuoteScan {
 public:
  /// `before` is the byte in front of the text.
  QuoteScan(const DamoCsvSyntax& csv, char before) : syntax(csv), previous(before) {}

  bool is_quoted() const { return scanState != PLAIN; }

  void run(const char* at, const char* end) {
    while (at != end) {
      switch (scanState) {
        case PLAIN:
          at = run_plain(at, end);
          break;
        case QUOTED:
          at = damo_find_either(at, end, syntax.quote, syntax.escape);
          if (at != end) scanState = *at++ == syntax.quote ? AFTER_QUOTE : AFTER_ESCAPE;
          break;
        case AFTER_QUOTE:
          scanState = *at == syntax.quote ? QUOTED : PLAIN;
          previous = *at++;
          break;
        default:  // whatever it is, it is an ordinary byte
          scanState = QUOTED;
          ++at;
      }
    }
  }

 private:
  enum State { PLAIN, QUOTED, AFTER_QUOTE, AFTER_ESCAPE };

  const char* run_plain(const char* at, const char* end) {
    const void* found = std::memchr(at, syntax.quote, static_cast<std::size_t>(end - at));
    const char* quote = found != nullptr ? static_cast<const char*>(found) : end;
    if (quote != at) previous = quote[-1];
    if (quote == end) return end;
    if (previous == syntax.separator || is_line_end(previous)) scanState = QUOTED;
    previous = *quote;
    return quote + 1;
  }

  DamoCsvSyntax syntax;
  State scanState = PLAIN;
  char previous;  // the last byte of plain text
};

/// The bytes begin..end of a file, block by block.
class BlockReader {
 public:
  /// For blocks of at most `largest` bytes.
  BlockReader(std::FILE* file, Huge largest) : stream(file), buffer(static_cast<std::size_t>(largest)) {}

  /// Empty on read errors.
  std::span<const char> read(Huge begin, Huge end) {
    const auto size = static_cast<std::size_t>(end - begin);
    if (fseeko64(stream, begin, SEEK_SET) != 0 || AceFile::read_from(stream, buffer.data(), size) != size)
      return {};
    return {buffer.data(), size};
  }

 private:
  std::FILE* stream;
  std::vector<char> buffer;
};

/// Whether the text behind this quote is plain in any case.
bool settles(const DamoCsvSyntax& syntax, const char* quote) {
  const char before = quote[-1];
  return before != syntax.separator && !is_line_end(before) && before != syntax.quote &&
         before != syntax.escape && quote[1] != syntax.quote;
}

/// A place from which the quotes can be followed up to `pos`: behind the last quote that settles, or in front
/// of the first quote. -1 on read errors.
Huge settled_place(BlockReader* file, const DamoCsvSyntax& syntax, Huge from, Huge pos) {
  Huge firstQuoted = pos;
  for (Huge end = pos; end > from;) {
    const Huge begin = std::max(from, end - BLOCK_SIZE);
    const auto block =
        file->read(begin, std::min(end + 2, pos));  // all quotes in front of `end` have neighbours
    if (block.empty()) return -1;
    // The quote at the start of a block is left to the block before, which knows its neighbour.
    const char* const first = block.data() + (begin == from ? 0 : 1);
    const char* last = block.data() + block.size() - 1;
    const auto quote_before = [&](const char* limit) {
      return static_cast<const char*>(memrchr(first, syntax.quote, static_cast<std::size_t>(limit - first)));
    };
    for (const char* quote = quote_before(last); quote != nullptr; quote = quote_before(quote)) {
      if (quote != block.data() && settles(syntax, quote)) return begin + (quote - block.data()) + 1;
      firstQuoted = begin;
    }
    end = begin;
  }
  return firstQuoted;
}

}  // namespace

Huge damo_csv_record_start(std::FILE* file, const DamoCsvSyntax& syntax, Huge from, Huge pos) {
  BlockReader reader(file, std::min(BLOCK_SIZE + 2, pos - from));
  Huge at = settled_place(&reader, syntax, from, pos);
  if (at < 0) return -1;
  QuoteScan scan(syntax, at == from ? '\n' : syntax.quote);
  while (at < pos) {
    const auto block = reader.read(at, std::min(at + BLOCK_SIZE, pos));
    if (block.empty()) return -1;
    scan.run(block.data(), block.data() + block.size());
    at += static_cast<Huge>(block.size());
  }
  if (!scan.is_quoted()) return pos;

  if (fseeko64(file, pos, SEEK_SET) != 0) return -1;
  for (int c = AceFile::get_byte(file); c != EOF; c = AceFile::get_byte(file)) {
    const char byte = static_cast<char>(c);
    scan.run(&byte, &byte + 1);
    ++pos;
    if (scan.is_quoted() || !is_line_end(byte)) continue;
    return byte == '\r' && AceFile::get_byte(file) == '\n' ? pos + 1 : pos;
  }
  return std::ferror(file) == 0 ? pos : -1;
}
