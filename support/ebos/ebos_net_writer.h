/// Sends the lines of the process log to a log server, over TCP.
///
///     frame:   4 bytes   length of the text, big-endian
///              ...       text:  "1\t<log file>"  at the start of a connection
///                               "3\t<line>"      for each line
///
/// Connecting takes at most 10 seconds and is tried every 5 seconds by a thread of the writer. Meanwhile, and
/// when sending fails, lines are kept: in the fallback file, if there is one, and in a ring of the newest
/// ones, which are sent when the connection is there, oldest first. A server that takes nothing for a second
/// is given up.
///
/// Thread safety: `print` from one thread at a time; a print within a print is dropped, as is one while the
/// writer ends.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "ebos/ebos_log_writer.h"
#include "ebos/ebos_mutex.h"
#include "ebos/ebos_stop_cond.h"
#include "ebos/ebos_thread.h"

class SORV_API EbosNetWriter : public EbosStreamWriter {
 public:
  /// Keeps up to `buffer_size` lines. `fallback` may be null.
  EbosNetWriter(const char* host, Small port, const char* log_file, std::unique_ptr<EbosFileWriter> fallback,
                int buffer_size);
  /// Ends the connection. Lines that were not sent are lost.
  ~EbosNetWriter() override;

  /// False when the system refused the thread.
  bool is_started() const { return connectThread != nullptr && connectThread->get_handle() != 0; }
  bool is_connected() const { return itsConnected; }
  /// 0 also for a line that is kept; -1 for one that is dropped or is missing in the fallback file.
  int print(const char* text) override;
  void report_failure() override;

 private:
  int connect_thread();
  int open_connection() const;
  void start_session(int connection);
  bool send(int type, const std::string& text);
  void disconnect();
  int save(const char* text);

  std::string itsHostname;
  std::string itsServer;  // port
  std::string itsLogFile;
  std::unique_ptr<EbosFileWriter> itsFallback;
  EbosMutex itsStartLock;  // guards the connection and the ring
  int itsConnection = -1;
  std::atomic<bool> itsConnected = false;
  std::atomic<bool> itsSendFailed = false;
  std::vector<std::string> itsBuffer;  // ring of the newest lines
  std::size_t itsMaxBufferSize;
  std::size_t itsPosition = 0;  // where the next one goes
  std::atomic<bool> itsPrint = false;
  EbosMutex itsExitLock;  // held while a line is printed, and to end
  EbosStopCond itsStop;
  std::unique_ptr<EbosThread> connectThread;
};
