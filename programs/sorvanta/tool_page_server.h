/// A page and its requests, for a browser on this machine. Lies in a module of its own, for what it is made
/// of takes longer to load than other verbs to answer.
///
/// Only 127.0.0.1 is listened on. The address has a random part: who does not know it gets nothing. A request
/// that names another host than this one is refused, for a foreign page could have its name lead here; so is
/// one whose body is not JSON, or longer than a command is.
#pragma once

#include <functional>
#include <string>

inline constexpr int ANY_PORT = 0;

/// An answer in JSON.
struct PageReply {
  int status = 200;
  std::string body;
};

struct PageSite {
  const char* page;  // HTML; "NONCE" in it marks its script and style as its own
  int port = ANY_PORT;
  std::function<PageReply(const std::string& request)> answer;  // any number at once; throws nothing
  std::function<void(const std::string& address)> start;        // the address can be opened
};

/// Serves until the program is asked to end (Ctrl-C, SIGTERM). Throws a `std::runtime_error` where the port
/// is taken.
extern "C" __attribute__((visibility("default"))) void sorvanta_serve_page(const PageSite* site);
