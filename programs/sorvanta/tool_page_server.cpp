#include "sorvanta/tool_page_server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "sorvanta/tool_random.h"

namespace {

constexpr const char* HOST = "127.0.0.1";
constexpr std::size_t MOST_REQUEST = 16384;  // bytes of a command
constexpr int SECONDS_TO_SEND = 5;
constexpr int SECONDS_KEPT = 1;  // of a connection without request, which holds a thread, and delays the end
constexpr std::size_t NUM_THREADS = 8;
constexpr int FORBIDDEN = 403, NOT_ALLOWED = 405, TOO_LONG = 413, NOT_JSON = 415;
constexpr const char* JSON = "application/json";
constexpr const char* NONCE = "NONCE";

class PageServer {
 public:
  explicit PageServer(const PageSite& served) : site(served), path("/" + random_name() + "/") {
    server.set_payload_max_length(MOST_REQUEST);
    server.set_read_timeout(SECONDS_TO_SEND);
    server.set_write_timeout(SECONDS_TO_SEND);
    server.set_keep_alive_timeout(SECONDS_KEPT);
    server.set_socket_options([](int socket) {  // the port is nobody else's at the same time
      constexpr int YES = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &YES, sizeof YES);
    });
    server.new_task_queue = [] { return new httplib::ThreadPool(NUM_THREADS); };
    server.set_pre_routing_handler([this](const auto& request, auto& response) {
      return guard(request, &response) ? httplib::Server::HandlerResponse::Unhandled
                                       : httplib::Server::HandlerResponse::Handled;
    });
    server.Get(path, [this](const auto&, auto& response) { send_page(&response); });
    server.Post(path, [this](const httplib::Request&, httplib::Response& response,
                             const httplib::ContentReader& body) { answer(body, &response); });
  }

  void bind() {
    const int wanted = site.port;
    port = wanted == ANY_PORT                  ? server.bind_to_any_port(HOST)
           : server.bind_to_port(HOST, wanted) ? wanted
                                               : -1;
    if (port <= 0)
      throw std::runtime_error("port " + std::to_string(wanted) + " of " + HOST +
                               " cannot be had; without --port there is a free one");
  }
  std::string get_address() const {
    return std::string("http://") + HOST + ":" + std::to_string(port) + path;
  }
  void listen() {
    server.listen_after_bind();
    isOver = true;
  }
  /// Maybe before it listens, when the server of the library would not hear of it.
  void stop() {
    while (!isOver && !server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!isOver) server.stop();
  }

 private:
  static void refuse(int status, const char* text, httplib::Response* response) {
    response->status = status;
    response->set_content(std::string("{\"error\":\"") + text + "\"}", JSON);
  }

  /// Before a body is read. False: the request is answered.
  bool guard(const httplib::Request& request, httplib::Response* response) const {
    const std::string ending = ":" + std::to_string(port);
    const std::string host = request.get_header_value("Host"), origin = request.get_header_value("Origin");
    const bool isHost = host == HOST + ending || host == "localhost" + ending;
    response->set_header("Cache-Control", "no-store");
    response->set_header("X-Content-Type-Options", "nosniff");
    response->set_header("Referrer-Policy", "no-referrer");
    if (!isHost || (!origin.empty() && origin != "http://" + host))
      refuse(FORBIDDEN, "this form is for pages of this machine", response);
    else if (request.path != path)
      refuse(FORBIDDEN, "this is not the address that was printed", response);
    else if (request.method != "GET" && request.method != "POST")
      refuse(NOT_ALLOWED, "expected GET or POST", response);
    else if (request.method == "POST" && request.get_header_value("Content-Type") != JSON)
      refuse(NOT_JSON, "expected JSON", response);
    else
      return true;
    return false;
  }

  void send_page(httplib::Response* response) const {
    const std::string nonce = random_name();
    response->set_header("Content-Security-Policy",
                         "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-" + nonce +
                             "'; img-src data:; connect-src 'self'; base-uri 'none'; form-action 'none'; "
                             "frame-ancestors 'none'");
    std::string page = site.page;
    for (std::size_t at = 0; (at = page.find(NONCE, at)) != std::string::npos;)
      page.replace(at, std::string_view(NONCE).size(), nonce);
    response->set_content(page, "text/html; charset=utf-8");
  }

  void answer(const httplib::ContentReader& body, httplib::Response* response) const {
    std::string request;
    bool isTooLong = false;  // whatever length was announced
    body([&](const char* data, std::size_t size) {
      isTooLong = isTooLong || request.size() + size > MOST_REQUEST;
      if (!isTooLong) request.append(data, size);
      return !isTooLong;
    });
    if (isTooLong || response->status == TOO_LONG)
      return refuse(TOO_LONG, "the request is too long", response);
    if (response->status > 0) return;  // it came to no end
    const PageReply reply = site.answer(request);
    response->status = reply.status;
    response->set_content(reply.body, JSON);
  }

  const PageSite& site;
  std::string path;
  int port = 0;
  httplib::Server server;
  std::atomic<bool> isOver = false;
};

}  // namespace

extern "C" void sorvanta_serve_page(const PageSite* site) {
  PageServer server(*site);
  server.bind();
  std::signal(SIGPIPE, SIG_IGN);  // of browsers that went away
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // for all threads to come
  site->start(server.get_address());
  std::thread waiting([&] {
    int signal = 0;
    sigwait(&ends, &signal);
    server.stop();
  });
  server.listen();
  pthread_kill(waiting.native_handle(), SIGTERM);  // when it has not been
  waiting.join();
}
