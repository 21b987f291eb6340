#include "ebos/ebos_net_writer.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "ace/ace_thread.h"

namespace {

constexpr std::chrono::milliseconds RETRY_INTERVAL(5000);
constexpr std::chrono::milliseconds CONNECT_TIMEOUT(10000);
constexpr int POLL_INTERVAL = 100;  // milliseconds between looks whether the writer ends
constexpr timeval SEND_TIMEOUT = {1, 0};
constexpr int SESSION = 1;  // types of messages
constexpr int LINE = 3;

bool send_all(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

/// Whether the server has closed its end: what is sent then would be lost without a word.
bool is_closed(int connection) {
  char byte = '\0';
  return recv(connection, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

/// Waits for the connection that was begun.
bool is_made(int connection, EbosStopCond* stop) {
  const auto end = std::chrono::steady_clock::now() + CONNECT_TIMEOUT;
  while (!stop->get() && std::chrono::steady_clock::now() < end) {
    pollfd waiting = {connection, POLLOUT, 0};
    if (poll(&waiting, 1, POLL_INTERVAL) <= 0) continue;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(connection, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
  }
  return false;
}

int connect_to(const addrinfo& address, EbosStopCond* stop) {
  const int connection =
      socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
  if (connection < 0) return -1;
  const bool isBegun = connect(connection, address.ai_addr, address.ai_addrlen) == 0 || errno == EINPROGRESS;
  if (isBegun && is_made(connection, stop) && fcntl(connection, F_SETFL, 0) == 0 &&
      setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &SEND_TIMEOUT, sizeof SEND_TIMEOUT) == 0)
    return connection;
  close(connection);
  return -1;
}

}  // namespace

EbosNetWriter::EbosNetWriter(const char* host, Small port, const char* log_file,
                             std::unique_ptr<EbosFileWriter> fallback, int buffer_size)
    : itsHostname(host),
      itsServer(std::to_string(port)),
      itsLogFile(log_file),
      itsFallback(std::move(fallback)),
      itsMaxBufferSize(static_cast<std::size_t>(std::max(buffer_size, 0))) {
  const auto run = [](void* writer) { return static_cast<EbosNetWriter*>(writer)->connect_thread(); };
  connectThread = std::make_unique<EbosThread>(run, this, 0, 0);
}

EbosNetWriter::~EbosNetWriter() {
  itsStop.set();
  connectThread->join();
  const std::scoped_lock exiting(itsExitLock);
  const std::scoped_lock lock(itsStartLock);
  disconnect();
}

/// Sees to it that there is a connection.
int EbosNetWriter::connect_thread() {
  const AceUncancellable uncancellable;
  do {
    if (itsConnected) continue;
    const int connection = open_connection();
    if (connection >= 0) start_session(connection);
  } while (!itsStop.wait_for(RETRY_INTERVAL));
  return 0;
}

int EbosNetWriter::open_connection() const {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(itsHostname.c_str(), itsServer.c_str(), &hints, &found) != 0) return -1;
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, freeaddrinfo);
  int connection = -1;
  for (const addrinfo* address = found; address != nullptr && connection < 0; address = address->ai_next)
    connection = connect_to(*address, const_cast<EbosStopCond*>(&itsStop));
  return connection;
}

/// Announces the log file and sends what was kept.
void EbosNetWriter::start_session(int connection) {
  const std::scoped_lock lock(itsStartLock);
  itsConnection = connection;
  itsConnected = true;
  itsSendFailed = false;
  send(SESSION, itsLogFile);
  const bool isFull = itsBuffer.size() == itsMaxBufferSize;
  const std::size_t oldest = isFull ? itsPosition : 0;
  std::size_t numSent = 0;
  while (itsConnected && numSent < itsBuffer.size() &&
         send(LINE, itsBuffer[(oldest + numSent) % itsBuffer.size()]))
    ++numSent;
  // What is left comes first the next time.
  std::rotate(itsBuffer.begin(), itsBuffer.begin() + static_cast<std::ptrdiff_t>(oldest), itsBuffer.end());
  itsBuffer.erase(itsBuffer.begin(), itsBuffer.begin() + static_cast<std::ptrdiff_t>(numSent));
  itsPosition = itsMaxBufferSize > 0 ? itsBuffer.size() % itsMaxBufferSize : 0;
}

/// Sends a message. A failure ends the connection.
bool EbosNetWriter::send(int type, const std::string& text) {
  const std::string message = std::to_string(type) + "\t" + text;
  const auto length = static_cast<Large>(message.size());
  std::string frame;
  for (int shift = 24; shift >= 0; shift -= 8) frame.push_back(static_cast<char>(length >> shift));
  if (!is_closed(itsConnection) && send_all(itsConnection, frame + message)) return true;
  itsSendFailed = true;
  disconnect();
  return false;
}

void EbosNetWriter::disconnect() {
  if (itsConnection >= 0) close(itsConnection);
  itsConnection = -1;
  itsConnected = false;
}

int EbosNetWriter::print(const char* text) {
  if (itsPrint.exchange(true)) return -1;
  struct Printing {
    explicit Printing(std::atomic<bool>* set) : flag(set) {}
    Printing(const Printing&) = delete;
    Printing& operator=(const Printing&) = delete;
    ~Printing() { *flag = false; }
    std::atomic<bool>* flag;
  } const printing(&itsPrint);
  const AceUncancellable uncancellable;
  const std::scoped_lock exiting(itsExitLock);
  if (itsStop.get()) return -1;
  const std::scoped_lock lock(itsStartLock);
  try {
    return itsConnected && send(LINE, text) ? 0 : save(text);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

/// Keeps a line that cannot be sent now.
int EbosNetWriter::save(const char* text) {
  if (itsMaxBufferSize > 0) {
    if (itsPosition < itsBuffer.size())
      itsBuffer[itsPosition] = text;
    else
      itsBuffer.emplace_back(text);
    itsPosition = (itsPosition + 1) % itsMaxBufferSize;
  }
  return itsFallback != nullptr ? itsFallback->print(text) : 0;
}

void EbosNetWriter::report_failure() {
  if (itsFallback != nullptr) itsFallback->report_failure();
}
