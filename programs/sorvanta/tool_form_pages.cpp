#include "sorvanta/tool_form_pages.h"

#include <algorithm>
#include <jsoncons/json.hpp>
#include <vector>

#include "sorvanta/tool_form_answer.h"
#include "sorvanta/tool_random.h"

namespace {

using Clock = std::chrono::steady_clock;
using jsoncons::json;

constexpr Clock::duration MOST_IDLE = std::chrono::minutes(30);
constexpr std::size_t MOST_TEXT = 4096;
constexpr int BAD_REQUEST = 400, GONE = 410, TOO_MANY = 503;

/// What a command does to a session.
struct CommandKind {
  const char* name;
  void (*run)(FormSession*, std::size_t field, const std::string& text);
  bool isTyping = false;  // of which only the newest counts
};

constexpr CommandKind KINDS[] = {
    {"type", [](FormSession* form, std::size_t field, const std::string& text) { form->type(field, text); },
     true},
    {"take", [](FormSession* form, std::size_t field, const std::string& text) { form->take(field, text); }},
    {"select", [](FormSession* form, std::size_t field, const std::string&) { form->select(field); }},
    {"release", [](FormSession* form, std::size_t field, const std::string&) { form->release(field); }},
    {"clear", [](FormSession* form, std::size_t, const std::string&) { form->clear(); }},
    {"suggest", [](FormSession* form, std::size_t, const std::string&) { form->suggest(); }},
    {"assess", [](FormSession* form, std::size_t, const std::string&) { form->assess(); }},
    {"undo", [](FormSession* form, std::size_t, const std::string&) { form->undo(); }},
    {"redo", [](FormSession* form, std::size_t, const std::string&) { form->redo(); }},
};

}  // namespace

struct FormPages::Page {
  explicit Page(Target* target) : newest(target->get_fields().size()), form(target) {}

  /// The newest sequence number of what was typed into a field.
  void note(std::size_t field, long sequence) {
    long known = newest[field];
    while (known < sequence && !newest[field].compare_exchange_weak(known, sequence)) continue;
  }

  std::vector<std::atomic<long>> newest;
  std::atomic<Clock::time_point> lastUsed = Clock::now();
  std::mutex formMutex;
  FormSession form;
};

struct FormPages::Command {
  std::string name, page, text;
  long sequence = 0;
  std::size_t field = 0;
};

FormPages::Command FormPages::read(const std::string& request) const {
  try {
    const json object = json::parse(request);
    Command command;
    command.name = object.at("command").as<std::string>();
    command.page = object.get_value_or<std::string>("page", "");
    command.text = object.get_value_or<std::string>("text", "");
    command.sequence = object.get_value_or<long>("sequence", 0);
    command.field = object.get_value_or<std::size_t>("field", 0);
    if (command.field >= formTarget->get_fields().size()) throw PageRefusal{BAD_REQUEST, "no such field"};
    if (command.text.size() > MOST_TEXT || command.text.find('\0') != std::string::npos)
      throw PageRefusal{BAD_REQUEST, "expected a text of at most " + std::to_string(MOST_TEXT) + " bytes"};
    return command;
  } catch (const jsoncons::json_exception&) {
    throw PageRefusal{BAD_REQUEST, "expected a JSON object with a command"};
  }
}

void FormPages::drop_idle() {
  const auto now = Clock::now();
  std::erase_if(pages, [&](const auto& page) { return now - page.second->lastUsed.load() > MOST_IDLE; });
}

std::string FormPages::open() {
  const std::lock_guard<std::mutex> lock(pagesMutex);
  drop_idle();
  if (pages.size() >= MOST_PAGES)
    throw PageRefusal{TOO_MANY,
                      std::to_string(MOST_PAGES) + " forms are open; close one, and load this page again"};
  const std::string name = random_name();
  const auto page = std::make_shared<Page>(formTarget);
  pages.emplace(name, page);
  return form_opening(name, page->form);
}

std::shared_ptr<FormPages::Page> FormPages::find(const std::string& name) {
  const std::lock_guard<std::mutex> lock(pagesMutex);
  drop_idle();
  const auto found = pages.find(name);
  if (found == pages.end()) throw PageRefusal{GONE, "this form has been closed; load the page again"};
  found->second->lastUsed = Clock::now();
  return found->second;
}

std::string FormPages::answer(const std::string& request) {
  const Command command = read(request);
  if (command.name == "open") return open();
  const std::shared_ptr<Page> page = find(command.page);
  if (command.name == "close") {
    const std::lock_guard<std::mutex> lock(pagesMutex);
    pages.erase(command.page);
    return "{}";
  }
  const auto* const kind =
      std::find_if(std::begin(KINDS), std::end(KINDS), [&](const auto& k) { return command.name == k.name; });
  if (kind == std::end(KINDS)) throw PageRefusal{BAD_REQUEST, "no such command"};
  if (kind->isTyping) page->note(command.field, command.sequence);
  const std::lock_guard<std::mutex> lock(page->formMutex);
  if (kind->isTyping && command.sequence < page->newest[command.field]) return R"({"stale":true})";
  kind->run(&page->form, command.field, command.text);
  return form_answer(page->form);
}
