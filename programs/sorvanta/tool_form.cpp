// sorvanta form: a session on a terminal, field by field.
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_target.h"
#include "sorvanta/tool_verbs.h"

namespace {

constexpr const char* HELP =
    "Tab next  Enter records  ^T select  ^U undo  ^R redo  ^X clear  ^A assess  ^Q quit";
constexpr const char* MARKS = ".x?-+*";  // as SorvantaStatus::State
constexpr int MOST_NAME = 12;
constexpr int ESCAPE = 27, ERASE = 127;

constexpr int control(char letter) {
  return letter - '@';
}

struct FormOptions {
  std::string base;
};

/// A terminal without echo and lines, as long as it lives.
class RawTerminal {
 public:
  RawTerminal() {
    tcgetattr(STDIN_FILENO, &before);
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    std::fputs("\033[?1049h", stdout);  // a screen of its own
  }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;
  ~RawTerminal() {
    std::fputs("\033[?1049l", stdout);
    std::fflush(stdout);
    tcsetattr(STDIN_FILENO, TCSANOW, &before);
  }

 private:
  termios before{};
};

/// Whether more has been typed: what it is for is not looked up any more.
bool is_more_typed() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) > 0;
}

class TerminalForm {
 public:
  explicit TerminalForm(Target* target)
      : session(target->make_session()), fields(target->get_fields()), texts(fields.size()) {
    session.clear(&result, name(), 0, 1);
  }

  /// Until the user quits, or the input ends.
  void run() {
    for (char key = 0; true;) {
      if (!is_more_typed()) look_up(), draw();
      if (read(STDIN_FILENO, &key, 1) != 1 || key == control('Q') || key == control('C')) return;
      key == ESCAPE ? press_arrow() : press(key);
    }
  }

 private:
  const char* name() const { return fields[focus].name.c_str(); }

  void move(int step) {
    look_up();
    const auto count = static_cast<int>(fields.size());
    focus = static_cast<std::size_t>((static_cast<int>(focus) + step + count) % count);
    isTyped = true;
  }

  void press_arrow() {
    char bracket = 0, letter = 0;
    if (!is_more_typed() || read(STDIN_FILENO, &bracket, 1) != 1 || read(STDIN_FILENO, &letter, 1) != 1)
      return;
    if (letter == 'A' || letter == 'Z') move(-1);
    if (letter == 'B') move(1);
  }

  void press(char key) {
    std::string& text = texts[focus];
    const bool isText = static_cast<unsigned char>(key) >= ' ' && key != ERASE;
    if (isText) text += key;
    while (key == ERASE && !text.empty()) {
      const bool isInside = (text.back() & 0xC0) == 0x80;  // of a character of several bytes
      text.pop_back();
      if (!isInside) break;
    }
    if (isText || key == ERASE) isTyped = true;
    if (key == '\t') move(1);
    if (key == '\r' || key == '\n') command([&] { return session.suggest(&result, 0, nullptr); });
    if (key == control('T'))
      command([&] { return session.select(name()) > 0 ? session.suggest(&result, 0, name()) : -1; });
    if (key == control('U')) walk(session.undo(&result, 0));
    if (key == control('R')) walk(session.redo(&result, 0));
    if (key == control('X')) text.clear(), isTyped = true;
    if (key == control('A')) command([&] { return assess(); });
  }

  /// Looks up what has been typed, by its beginning, then with errors.
  void look_up() {
    if (!isTyped) return;
    isTyped = false;
    timed([&] {
      if (texts[focus].empty()) return session.clear(&result, name(), 0, 1);
      session.update(&result, name(), texts[focus].c_str(), ">");
      return result.get_num_alts(static_cast<int>(focus)) > 0
                 ? 1
                 : session.update(&result, name(), texts[focus].c_str(), "?");
    });
  }

  template <class Call>
  void command(Call call) {
    look_up();
    timed(call);
  }

  template <class Call>
  void timed(Call call) {
    const auto start = std::chrono::steady_clock::now();
    isRefused = call() < 0;
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    milliseconds = spent.count();
  }

  int assess() {
    std::vector<const char*> modes, queries;
    for (const std::string& text : texts) {
      modes.push_back(text.empty() ? "-" : "?");
      queries.push_back(text.empty() ? nullptr : text.c_str());
    }
    return session.assess(&result, static_cast<int>(texts.size()), modes.data(), queries.data());
  }

  /// The session has other texts then.
  void walk(int status) {
    isRefused = status < 0;
    for (SorvantaStatus field(&result); field.get_field_name() != nullptr; field.go_next())
      texts[static_cast<std::size_t>(field.get_rank())] =
          field.get_string() != nullptr && field.get_status() != 0 ? field.get_string() : "";
    isTyped = false;
  }

  void line(const std::string& text) {
    if (linesLeft-- > 0) screen += fitted(printable(text, text.size()), width) + "\033[K\r\n";
  }

  void draw() {
    winsize size{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    width = std::max<int>(size.ws_col > 0 ? size.ws_col : 80, 20);
    linesLeft = std::max<int>(size.ws_row > 0 ? size.ws_row : 24, 6) - 1;
    screen = "\033[H";
    draw_help();
    for (SorvantaStatus field(&result); field.get_field_name() != nullptr; field.go_next()) draw_field(field);
    char figures[40];
    std::snprintf(figures, sizeof figures, "%.1f ms", milliseconds);
    const std::string decision =
        result.get_category() > 0 ? std::string("  ") + result.get_category_name() : "";
    line("");
    line(figures + decision + (isRefused ? "  not possible" : ""));
    result.get_num_suggs() > 0 ? draw_records() : draw_values();
    std::fputs((screen + "\033[J").c_str(), stdout);
    if (std::fflush(stdout) != 0) throw Failure("the terminal cannot be written");
  }

  /// As many keys on a line as fit.
  void draw_help() {
    std::string keys(HELP), shown;
    while (!keys.empty()) {
      const std::string key = keys.substr(0, keys.find("  "));
      keys.erase(0, key.size() + 2);
      if (!shown.empty() && static_cast<int>(shown.size() + 2 + key.size()) > width)
        line(std::exchange(shown, ""));
      shown += (shown.empty() ? "" : "  ") + key;
    }
    line(shown);
    line("");
  }

  void draw_field(const SorvantaStatus& field) {
    const auto rank = static_cast<std::size_t>(field.get_rank());
    std::string label = fitted(field.get_field_name(), MOST_NAME);
    label.resize(std::max<std::size_t>(label.size(), MOST_NAME), ' ');
    const std::string count = field.num_records() >= 0 && field.get_status() > 1
                                  ? "  (" + std::to_string(field.num_records()) + ")"
                                  : "";
    line(std::string(rank == focus ? "> " : "  ") + label + " " + MARKS[field.get_status()] + " " +
         texts[rank] + (rank == focus ? "_" : "") + count);
  }

  void draw_values() {
    for (SorvantaAlternative value(&result); value.get_rep() != nullptr && linesLeft > 0; value.go_next()) {
      const bool isOutside = value.get_context_status() != SVAlternativeStatus::IN_CONTEXT;
      line("   " + std::to_string(value.get_quality()) + "  " + value.get_rep() + " (" +
           std::to_string(value.get_num_hits()) + ")" + (isOutside ? "  not in the selection" : ""));
    }
  }

  /// Differences from what was typed are marked by "~".
  void draw_records() {
    for (SorvantaSuggestion record(&result); record.get_idx() >= 0 && linesLeft > 0; record.go_next()) {
      std::string text = "   " + std::to_string(record.get_quality()) + " ";
      for (int i = 0; i < record.get_num_strings(); ++i) {
        const int quality = record.get_field_quality(i);
        if (record[i] != nullptr)
          text += std::string(" ") + (quality > 0 && quality < 255 ? "~" : "") + record[i];
      }
      line(text);
    }
  }

  SorvantaSession session;
  SorvantaSessionResult result;
  std::vector<TargetField> fields;
  std::vector<std::string> texts;
  std::size_t focus = 0;
  bool isTyped = false;    // what is shown is older
  bool isRefused = false;  // the last command
  double milliseconds = 0;
  int width = 80, linesLeft = 0;
  std::string screen;
};

int form(const FormOptions& options) {
  Target target(options.base);
  if (target.has_words()) throw Failure(printable(options.base) + ": expected a base, found a word index");
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
    throw Failure("a form needs a terminal; `sorvanta find` needs none");
  const RawTerminal terminal;
  TerminalForm(&target).run();
  return FOUND;
}

}  // namespace

void declare_form(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "form",
      "A form on the terminal: values while you type, records on Enter, fields that are selected, undo and "
      "redo, and the decision of the rules.");
  verb->footer(std::string("Keys: ") + HELP +
               "\nMarks of fields: . empty, x nothing found, - not in the selection, + possible, * selected\n"
               "Example:\n  sorvanta form people.base");
  const auto options = add_verb_action<FormOptions>(verb, action, form);
  verb->add_option("BASE", options->base, "A base, or an ldb file")->required()->type_name("");
}
