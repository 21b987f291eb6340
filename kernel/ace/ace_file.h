/// Binary files: the one writer and reader of all index files.
///
/// Values are written in the machine's own layout (little-endian) at naturally aligned offsets, so that a
/// file written to disk is later mapped and used in place: `read` hands out pointers into the mapping.
///
///     call                          bytes   alignment   value
///     put_bool, put_char              1         1       0 or 1; a byte
///     put_small                       2         2       unsigned
///     put_int(int or Large)           4         4       signed or unsigned
///     put_float                       4         4       IEEE 754
///     put_magic                       4         4       magic_number(code), see ace_magic.h
///     put_huge, put_vint, put_mask    8         8       signed; signed; unsigned
///     put_int(Huge or BiBit)          8         8
///     put_double                      8         8       IEEE 754
///     put_string                    4 + n     4, 8      count n = length + 1 (0 for null), then n bytes
///                                                       with the terminator at the next multiple of 8
///     write                          size     align     raw bytes; alignment 8 for 64-bit elements
///
/// Offsets count from the start of the file or buffer; the gaps are zero bytes, which readers skip unchecked.
///
/// One object is in one mode at a time; every opening operation closes what was open:
///
///     mode       opened by            fileFlags
///     measuring  scan, or not at all      0      nothing is written; the offset counts the bytes
///     stream     build, build_atomic     10      8 stream + 2 write
///     stream     prep                     9      8 stream + 1 read
///     buffer     init_write               6      4 buffer + 2 write
///     buffer     init_read               21      16 mapped + 4 buffer + 1 read
///     mapped     map                     17      16 mapped + 1 read
///     mapped     map, locked             49      32 locked + 16 mapped + 1 read
///
/// Errors. Files that cannot be opened give a negative result. Everything else that fails throws an
/// `AceException`: a failed write, a failed read, reading past the end of a mapping or buffer, a string
/// without its terminator, an offset beyond 63 bits, writing in a read mode or reading in a write mode. A
/// stream that ends early is told by the result of `copy` and `read`; the typed `get_*` give 0 (or null) and
/// `is_short` tells. No size from a file is trusted: memory is only allocated for bytes that are there.
///
/// Buffers given to `init_read` stay the caller's: `close` unmaps what the object mapped itself and nothing
/// else. For pointers handed out by `read` to be aligned, such a buffer must be aligned to 8 bytes.
/// A mapped file must not be shortened by anybody while it is in use: the system answers access to the lost
/// part with a signal. `build_atomic` never shortens a file, it puts a new one in its place.
///
/// Thread safety: an `AceFile` belongs to one thread. What it handed out of a mapping may be read by many.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_md5.h"
#include "ace/ace_types.h"

class AceFileSwap;
class AceMemPoint;
class AceReporter;

class SORV_API AceFile {
 public:
  AceFile();
  AceFile(const AceFile&) = delete;
  AceFile& operator=(const AceFile&) = delete;
  /// Closes; a file of `build_atomic` that was not closed before is thrown away. Never throws: an error of
  /// closing is only reported.
  ~AceFile();

  // Opening. 0, or the negative code given; `rep` may be null and must live until `close`.

  /// Stream writing into the named file, which is emptied first. -1 when it cannot be opened.
  int build(const char* name, AceReporter* rep);
  /// The same, all or nothing: the bytes go into a temporary file in the same folder, and `close` puts it in
  /// place of `name` (see ace_file_swap.h). Until then, and if anything fails, the old file stays whole.
  int build_atomic(const char* name, AceReporter* rep);
  /// Stream reading; a reporter is told the size as its scale. Pipes can be read, folders cannot. -2 when it
  /// cannot be opened.
  int prep(const char* name, AceReporter* rep);
  /// Mapping for reading, of a regular file. `mode` -1 locks the pages in memory and faults them in, 0 only
  /// maps, n > 0 touches every n-th byte (the page size faults the whole file in) and stores the CRC-32 of
  /// the bytes touched, from an initial 0, into `checksum` unless that is null. `hint` is where the system
  /// may place the mapping, or null; `unused` is ignored. -2 when the file cannot be opened, -3 when it
  /// cannot be mapped. An empty file maps to nothing: reading from it is reading past its end.
  int map(const char* name, void* hint, const char* unused, int mode, Large* checksum, AceReporter* rep);
  /// Writing into `buffer`. With a positive `size`, a write that does not fit throws; otherwise the caller
  /// vouches for the room. -1 for a null buffer.
  int init_write(char* buffer, Huge size);
  /// Reading from `buffer`; 0 or less stands for its strlen. -1 for a null buffer.
  int init_read(const char* buffer, VInt size);
  /// Measuring; with a title (copied), a breakdown is collected as well.
  int scan(const char* title);
  /// `fopen`, closed on exec and no cancellation point, nor is what is read and written. Null with `errno` on
  /// failure, also for a null name or mode.
  static std::FILE* open(const char* name, const char* mode);
  /// True for a stream that `open` made of a folder, from which nothing can be read.
  static bool is_folder(std::FILE* stream);
  /// The next `size` bytes of `stream` into `to`; fewer at its end or when reading fails (`ferror`, `errno`).
  /// A read that a signal interrupts goes on.
  static std::size_t read_from(std::FILE* stream, void* to, std::size_t size);
  /// The next byte in the same way, or EOF.
  static int get_byte(std::FILE* stream) {
    const int byte = getc_unlocked(stream);
    return byte != EOF ? byte : get_byte_again(stream);
  }

  /// Ends the mode. After stream writing, reports the MD5 of what was written. Throws an `AceException` when
  /// the last bytes cannot be written or the new file cannot be put in place; the object is closed even so.
  void close();

  // Positions and state.

  /// Bytes written or consumed, padding included.
  Huge get_pos() const { return currentOffset; }
  /// Start of the mapping or buffer; null in the other modes.
  const char* get_address() const { return mapAddress; }
  /// True for mappings and buffers being read: what `read` returns points into them.
  bool is_mapped() const;
  /// True when the size is unlimited or everything was consumed.
  bool is_fully_read() const;
  /// True when a typed `get_*` met the end of the stream since it was opened or `seek` moved it.
  bool is_short() const { return shortRead; }
  /// Back to the start. -1 when the stream cannot.
  int rewind();
  /// To `pos`, counted from the start. -1 when the stream cannot, or for a negative position.
  int seek(Huge pos);
  /// Size of the mapping or buffer, or length of the stream; else 0.
  Huge get_size() const;
  /// Bytes left behind the present offset in a mapping, a buffer or a regular file; -1 when unknown. What
  /// a count in the file claims is to be compared with this.
  Huge get_left() const;
  /// Moves to the next multiple of `alignment`, which must be a power of two: writing fills the gap,
  /// reading skips it. Returns the new offset.
  Huge align(Huge alignment);
  /// Maps the file again, private and read-only, at exactly `address`, where no other mapping may be, and
  /// drops the present mapping. Returns `address`; or null, and the present mapping stays.
  void* relocate(void* address);
  /// The next `get_int`, without consuming it; 0 when the stream ends before.
  int preview_int();

  // Writing values. Each returns the number of bytes of the value, without padding.

  VInt put_bool(bool value);
  VInt put_char(char value) { return put_value(value); }
  VInt put_small(Small value) { return put_value(value); }
  VInt put_int(int value) { return put_value(value); }
  VInt put_int(Large value) { return put_value(value); }
  VInt put_int(Huge value) { return put_value(value); }
  VInt put_int(BiBit value) { return put_value(value); }
  VInt put_huge(Huge value) { return put_value(value); }
  VInt put_huge(BiBit value) { return put_value(value); }
  VInt put_mask(Mask value) { return put_value(value); }
  VInt put_vint(VInt value) { return put_value(value); }
  VInt put_float(float value) { return put_value(value); }
  VInt put_double(double value) { return put_value(value); }
  VInt put_magic(const char* code);
  VInt put_string(const char* text);
  /// `size` bytes of `data` at the next multiple of `alignment`. Size 0 still aligns; a negative one is
  /// ignored and gives 0.
  VInt write(VInt size, const void* data, int alignment);
  /// `text` and a newline, without alignment. Returns the bytes written, or -1 without a stream or a text.
  VInt put_line(const char* text);

  // Reading values.

  bool get_bool() { return get_value<Token>() != 0; }
  char get_char() { return get_value<char>(); }
  Small get_small() { return get_value<Small>(); }
  int get_int() { return get_value<int>(); }
  Large get_large() { return get_value<Large>(); }
  Huge get_huge() { return get_value<Huge>(); }
  Mask get_mask() { return get_value<Mask>(); }
  VInt get_vint() { return get_value<VInt>(); }
  float get_float() { return get_value<float>(); }
  double get_double() { return get_value<double>(); }
  /// Reads an int and returns the index of the first code, not null, that has this number. If there is none,
  /// the result is -1 and the offset goes back by 4; the stream itself does not (see `seek`).
  int get_magic(const char* m0, const char* m1 = nullptr, const char* m2 = nullptr, const char* m3 = nullptr,
                const char* m4 = nullptr, const char* m5 = nullptr, const char* m6 = nullptr,
                const char* m7 = nullptr, const char* m8 = nullptr, const char* m9 = nullptr);
  /// The string, as `read` gives its bytes; null for a stored null. Always terminated.
  char* get_string() { return get_string_bytes(nullptr, false); }
  /// The same, with a copy from a stream in `at`.
  char* get_string(AceAttach* at) { return get_string_bytes(at, true); }
  /// `size` bytes from the next multiple of `alignment`: a pointer into the mapping or buffer, which must not
  /// be written through; or, from a stream, a new array (`new char[]`) that the caller owns, null when the
  /// stream ends before. Null in measuring mode. A negative size is refused like one that is too large.
  void* read(VInt size, int alignment) { return read_bytes(size, alignment, nullptr, false); }
  /// The same, with the copy from a stream in `at`.
  void* read(VInt size, AceAttach* at, int alignment) { return read_bytes(size, alignment, at, true); }
  /// `read` of `count` elements; a count whose bytes exceed 63 bits is refused like one that is too large.
  template <class T>
  T* read_array(VInt count, int alignment) {
    return static_cast<T*>(read(array_size(count, sizeof(T)), alignment));
  }
  template <class T>
  T* read_array(VInt count, AceAttach* at, int alignment) {
    return static_cast<T*>(read(array_size(count, sizeof(T)), at, alignment));
  }
  /// Copies `size` bytes into `dest`. Returns `size`, or -1 when the stream ends before; measuring copies
  /// nothing.
  VInt copy(Huge size, void* dest, int alignment);
  /// The next text line, from `pos` if that is not negative. `*line` becomes its copy in `at`, without any
  /// carriage return, line feed or zero byte. Returns the copy's length, or -1 at the end.
  ///
  /// A stream's line ends at a line feed; in a mapping or buffer a carriage return ends it as well.
  VInt get_line(char** line, AceAttach* at, Huge pos = -1);

  // The measuring breakdown (see ace_mem_point.h). Without one only the progress is reported. All return the
  // offset. Texts must be static unless `copy_text` is set.

  Huge mem_open(const char* text, Token copy_text = 0);
  Huge mem_point(const char* text, Token copy_text = 0);
  Huge mem_message(const char* text, Token copy_text = 0);
  /// A note at position `pos`.
  Huge mem_force(Huge pos, const char* text, Token copy_text = 0);
  Huge mem_close();
  /// A formatted note, cut at 9999 bytes.
  Huge mem_info(const char* format, ...) __attribute__((format(printf, 2, 3)));
  bool has_mem_info() const { return memPoint != nullptr; }
  /// Ends the collection and hands the chain over, first point first; the caller removes it
  /// (`AceMemPoint::remove`). Null when none was collected.
  AceMemPoint* get_points();

  // Paths. Results "in `at`" are copies there; null paths give null (or 0) unless said otherwise.

  /// 1 if the file can be opened for reading, else 0.
  static int exists(const char* name);
  /// Turns every '\\' into '/' and removes one trailing '/', in place. Returns `path`.
  static char* tidy_path(char* path);
  /// Behind the last '.' of the last component; the terminator when it has none.
  static const char* get_extension(const char* path);
  /// Behind the last '/', or the whole path.
  static const char* get_filename(const char* path);
  static char* get_filename(const char* path, AceAttach* at);
  /// The last component up to its last '.', in `at`.
  static char* get_basename(const char* path, AceAttach* at);
  /// The base name from its first '.' on, or all of it when it has none, in `at`.
  static char* get_corename(const char* path, AceAttach* at);
  /// Splits a copy of `path` in `at`: `dir` up to the last '/' (empty when there is none), `file` behind it
  /// up to its last '.', `ext` behind that (empty when there is none). Outputs may be null. Returns 0, or -1
  /// (and null outputs) for a null path.
  static int get_file_parts(const char* path, char** dir, char** file, char** ext, AceAttach* at);
  /// The `dir` of `get_file_parts`.
  static char* get_dirname(const char* path, AceAttach* at);
  /// `a`, '/' and `b`, in `at`; null counts as empty.
  static char* join_path(const char* a, const char* b, AceAttach* at);
  /// `a`, '.' and `b`, in `at`; null counts as empty.
  static char* join_ext(const char* a, const char* b, AceAttach* at);
  /// Removes every folder that is followed by ".." together with it, and one trailing '/', in place. The
  /// result names the same file: "..", "." and empty components are not folders that can be left, and the
  /// '/' of the root folder stays. `root`, unless null, is a position inside `path` or a text of whole
  /// components with which `path` begins; that part stays as it is. Returns the number of characters removed.
  static int normalize(char* path, char* root);

  // Times, in seconds since 1970; -1 for a null or empty name or a file that is not there.

  static Huge get_modification_time(const char* name);
  /// The modification time: the system keeps no other.
  static Huge get_creation_time(const char* name) { return get_modification_time(name); }
  static Huge get_access_time(const char* name);
  static Huge get_current_time();
  /// Seconds between two times that can be told apart.
  static int get_time_resolution() { return 1; }

  /// "1 KB" for 1536: the size in the largest of "B", "KB", "MB", "GB" and "TB" that leaves at least 1,
  /// rounded down, in `at`. An empty string for negative sizes.
  static char* format_file_size(Huge size, AceAttach* at);

  // The version word that opens the file of every persistent object.

  static int get_version_magic() { return static_cast<int>(0xFF08005AU); }
  /// Why `found` is not the version word: 0 it is, 1 to 4 the lowest byte that differs counted from 1, but 4
  /// when the word seems to have been written in the other byte order.
  static int get_version_magic_reason(int found);

 private:
  enum Flag : Large { READ = 1, WRITE = 2, BUFFER = 4, STREAM = 8, MAPPED = 16, LOCKED = 32 };

  int open_writer(const char* name, AceReporter* rep, bool atomic);
  int fail_map(const char* name, AceReporter* rep);
  bool owns_mapping() const;
  void report_md5();
  void forget();

  void require(Flag flag) const;
  Huge aligned(Huge alignment) const;
  void check_room(Huge start, Huge size) const;
  void check_mapped(Huge start, Huge size) const;
  void pad_to(Huge start);
  void write_padding(Huge gap);
  void write_stream(const char* data, Huge size);
  std::size_t fetch(void* to, std::size_t size);
  void check_stream() const;
  static int get_byte_again(std::FILE* stream);
  bool skip_to(Huge start);
  bool unread(const char* bytes, std::size_t count);
  std::unique_ptr<char[]> read_stream(Huge size);
  void* read_stream(Huge size, AceAttach* at);
  void* read_bytes(VInt size, int alignment, AceAttach* at, bool in_attach);
  char* get_string_bytes(AceAttach* at, bool in_attach);
  VInt get_stream_line(std::string& bytes);
  VInt get_mapped_line(const char** bytes);
  Huge note(Huge pos, const char* text, short type, Token copy_text);

  static VInt array_size(VInt count, VInt element) {
    VInt size = 0;
    return __builtin_mul_overflow(count, element, &size) ? -1 : size;
  }
  template <class T>
  VInt put_value(T value) {
    return write(sizeof(T), &value, sizeof(T));
  }
  template <class T>
  T get_value() {
    T value{};
    if (copy(sizeof(T), &value, sizeof(T)) >= 0) return value;
    shortRead = true;
    return T{};
  }

  AceAttach memAt;  // the copy of the name
  std::FILE* streamObj = nullptr;
  Large fileFlags = 0;
  int fileObj = 0;             // descriptor of a mapping; 0 if none
  Huge mappedSize = 0;         // of the mapping or buffer; unlimited if 0 or less and not being read
  char* mapAddress = nullptr;  // start of the mapping or buffer; written to in buffer write mode only
  Huge currentOffset = 0;
  AceMemPoint* memPoint = nullptr;  // newest point of the breakdown, owned
  AceReporter* aceRep = nullptr;
  ace_md5::MD5_CTX md5Hash;
  bool md5Enabled = false;
  bool shortRead = false;
  const char* fileName = nullptr;         // in memAt
  std::unique_ptr<AceFileSwap> fileSwap;  // of build_atomic
};
