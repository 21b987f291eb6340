/// The process log of long-running hosts: one stamped line per message.
///
///     INFO [21/11/26 09:30:00.125][pid:4711] Notifying all threads to shutdown gracefully
///     ERROR[21/11/26 09:30:05.126][pid:4711] Some threads exit too slowly, forcing exit
///     WARNG[21/11/26 09:30:06.120][pid:4711] wDISK_0001::The disk is almost full: 97 percent
///
/// Lines go to the writer that `init` installs, a file or a log server, and with the console echo to standard
/// output as well. Before the first `init` they go to the default reporter (`AceReporter::use_default`), from
/// whichever threads write them and possibly from several at once; after `destroy` nowhere. What a reporter
/// writes into the log while it takes a line from there is dropped.
///
/// Rotation. A log file is one of a month (`housekeeping`). What is older moves into the folder "log_archive"
/// beside it, as "<file name>.<year>.<month>", and is never overwritten there. Processes may share a log
/// file: whoever rotates it, the others go on in the new one.
///
/// A line has at most `MAX_LINE` bytes with its terminator; a longer one is cut and keeps a line break as its
/// last byte. Formats are printf's and bring their own line break. Results are the length of the line.
///
/// Thread safety: everything, from any thread; a line is written at one go.
#pragma once

#include <memory>
#include <string>

#include "ace/ace_types.h"
#include "ebos/ebos_mutex.h"

class EbosFileWriter;
class EbosStreamWriter;

class SORV_API EbosLog {
 public:
  static constexpr int MAX_LINE = 4096;

  /// Bits of `set_flags`. Hosts may give the bits other meanings.
  enum Level : unsigned char { LEVEL_INFO = 1, LEVEL_DEBUG = 2, LEVEL_WARNING = 4, LEVEL_ERROR = 8 };

  /// Negative results.
  static constexpr int ALREADY_INITIALIZED = -1;
  static constexpr int INIT_FAILED = -2;
  static constexpr int NO_LOCAL_FILE = -3;
  static constexpr int CANNOT_STAT = -4;
  static constexpr int FILE_EXISTS = -5;
  static constexpr int CANNOT_MOVE = -6;

  EbosLog(const EbosLog&) = delete;
  EbosLog& operator=(const EbosLog&) = delete;

  /// The log of the process; it lasts until the process ends, whatever still runs then.
  static EbosLog* instance();

  /// Installs a writer to the file. The first call makes the process ignore SIGPIPE where its action is the
  /// default one. Returns 0, -1 (nothing changes) when there is a writer, or -2 when the file cannot be
  /// opened.
  int init(const char* file, bool console);
  /// With a host, installs a writer to the log server there (ebos_net_writer.h), which keeps `buffer_size`
  /// lines while it is not connected; `file` is told to the server, and is the file below `directory` (null
  /// or empty for none) to which lines go meanwhile. Without a host, a writer to the file below `directory`.
  /// Returns as above.
  int init(const char* host, Small port, const char* file, const char* directory, int buffer_size,
           bool console);
  /// Removes the writer. Returns 0.
  int destroy();

  /// The levels that are printed by the functions that take one; none at first. Returns 0.
  int set_flags(unsigned char flags);
  unsigned char get_flags();

  /// The text as it is, without a stamp.
  int printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Stamped lines of the levels "INFO ", "DEBUG", "WARNG" and "ERROR".
  int iprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int dprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int wprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int eprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// The same if a bit of `level` is set by `set_flags`; else 0.
  int iprintf(unsigned char level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int dprintf(unsigned char level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int wprintf(unsigned char level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int eprintf(unsigned char level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  /// Event lines: the code and its registered description (ebos_log_event.h), or the default one and the
  /// code; then
  /// ": " and the message, or a line break where `format` is null or empty. A null code is the default
  /// description alone. The level is that of the code's first letter, 'i', 'w' or 'e' (-1 and no line
  /// for another code), or that of the function.
  int ev_printf(const char* code, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int ev_iprintf(const char* code, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int ev_wprintf(const char* code, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int ev_eprintf(const char* code, const char* format, ...) __attribute__((format(printf, 3, 4)));

  /// Rotates the file when its month is over. Failures are warnings in the log. Returns 0.
  int housekeeping();
  /// What a thread does that looks after the log: `housekeeping` now and at every full hour, until
  /// `stop_cond` (an `EbosStopCond`) is set. Returns 0.
  static int housekeeping_thread(void* stop_cond);
  /// 1 when the file is one of an earlier month, else 0; -3 without a file, -4 when it cannot be examined.
  int check_file_rotation_condition();
  /// Moves the file into the archive and goes on in a new one. From now on the file is one of this month,
  /// unless it cannot be moved. Returns 0; -3 without a file, -5 when the archive has one of that name, -6
  /// when it cannot be moved.
  int perform_file_rotation();
  /// What a negative result of the above means.
  static const char* translate_error(int code);

 private:
  class Line;

  EbosLog() = default;
  int install(std::unique_ptr<EbosStreamWriter> writer, EbosFileWriter* file, bool console);
  int put(const Line& line);
  int put_level(const char* level, const char* format, __builtin_va_list args)
      __attribute__((format(printf, 3, 0)));
  int put_event(const char* level, const char* code, const char* format, __builtin_va_list args)
      __attribute__((format(printf, 4, 0)));
  bool find_period();
  std::string prepare_rotated_filename();

  EbosMutex logLock;  // guards what follows
  bool logConsole = true;
  unsigned char outputFlags = 0;
  bool isDestroyed = false;
  int fileYear = -1;  // the file's month, -1 while not known
  int fileMonth = -1;
  std::shared_ptr<EbosStreamWriter> logWriter;
  EbosFileWriter* fileWriter = nullptr;  // the writer, if it is one to a local file
};
