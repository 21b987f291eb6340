/// The sessions of pages: each page that is open has one, of which it is told a name, and sends it commands.
/// Commands and answers are JSON.
///
///     {"command": "open"}
///     {"command": "type", "page": NAME, "sequence": 7, "field": 2, "text": "Mirovitse"}
///
/// Other commands: "take" (as "type"), "select" and "release" (with a field), "clear", "suggest", "assess",
/// "undo", "redo", and "close". Sequence numbers rise from page to page's next command: what is typed into a
/// field is not looked up any more when something newer has been typed there, and the answer is
/// {"stale": true}.
///
/// Thread safety: any number of threads; commands of one page wait for each other.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sorvanta/tool_form_session.h"

/// What a page is refused: as HTTP has it, with a sentence.
struct PageRefusal {
  int status;
  std::string text;
};

class FormPages {
 public:
  static constexpr std::size_t MOST_PAGES = 16;

  /// `target` outlives it.
  explicit FormPages(Target* target) : formTarget(target) {}

  /// Throws a `PageRefusal` for what is no command.
  std::string answer(const std::string& request);

 private:
  struct Page;
  struct Command;

  Command read(const std::string& request) const;
  std::string open();
  std::shared_ptr<Page> find(const std::string& name);
  void drop_idle();

  Target* formTarget;
  std::mutex pagesMutex;
  std::map<std::string, std::shared_ptr<Page>> pages;
};
