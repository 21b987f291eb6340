#include "sorvanta/tool_form_terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <utility>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_form_session.h"
#include "sorvanta/tool_output.h"

namespace {

constexpr const char* HELP =
    "Tab next  Enter records  ^T select  ^U undo  ^R redo  ^X clear  ^A assess  ^Q quit";
constexpr const char* MARKS = ".x?-+*";  // as SorvantaStatus::State
constexpr int MOST_NAME = 12;
constexpr int ESCAPE = 27, ERASE = 127;

constexpr int control(char letter) {
  return letter - '@';
}

constexpr char OWN_SCREEN[] = "\033[?1049h";
constexpr char USUAL_SCREEN[] = "\033[?1049l";

/// A terminal without echo and lines, as long as it lives; one for a process. A process that is asked to end
/// gives the terminal back before.
class RawTerminal {
 public:
  RawTerminal() {
    tcgetattr(STDIN_FILENO, &before);
    for (const int signal : {SIGTERM, SIGHUP}) std::signal(signal, end);
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    std::fputs(OWN_SCREEN, stdout);
  }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;
  ~RawTerminal() {
    for (const int signal : {SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
    std::fflush(stdout);
    give_back();
  }

 private:
  /// By calls that a handler of signals may make.
  static void give_back() {
    static_cast<void>(!write(STDOUT_FILENO, USUAL_SCREEN, sizeof USUAL_SCREEN - 1));
    tcsetattr(STDIN_FILENO, TCSANOW, &before);
  }
  static void end(int signal) {
    give_back();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }

  static inline termios before{};
};

/// Whether more has been typed: what it is for is not looked up any more.
bool is_more_typed() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) > 0;
}

class TerminalForm {
 public:
  explicit TerminalForm(Target* target) : session(target), texts(session.get_texts()) {}

  /// Until the user quits, or the input ends.
  void run() {
    for (char key = 0; true;) {
      if (!is_more_typed()) look_up(), draw();
      if (read(STDIN_FILENO, &key, 1) != 1 || key == control('Q') || key == control('C')) return;
      key == ESCAPE ? press_arrow() : press(key);
    }
  }

 private:
  void move(int step) {
    look_up();
    const auto count = static_cast<int>(texts.size());
    focus = static_cast<std::size_t>((static_cast<int>(focus) + step + count) % count);
    isTyped = true;
  }

  /// An arrow moves; what other keys send is read to its end and means nothing.
  void press_arrow() {
    char bracket = 0, letter = 0;
    if (!is_more_typed() || read(STDIN_FILENO, &bracket, 1) != 1) return;
    while (letter < '@')
      if (!is_more_typed() || read(STDIN_FILENO, &letter, 1) != 1) return;
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
    if (key == '\r' || key == '\n') command([&] { session.suggest(); });
    if (key == control('T')) command([&] { session.select(focus); });
    if (key == control('U')) walk([&] { session.undo(); });
    if (key == control('R')) walk([&] { session.redo(); });
    if (key == control('X')) text.clear(), isTyped = true;
    if (key == control('A')) command([&] { session.assess(); });
  }

  void look_up() {
    if (isTyped) session.type(focus, texts[focus]);
    isTyped = false;
  }

  template <class Call>
  void command(Call call) {
    look_up();
    call();
  }

  /// The session has other texts then.
  template <class Call>
  void walk(Call call) {
    call();
    texts = session.get_texts();
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
    const SorvantaSessionResult& result = session.get_answer();
    for (SorvantaStatus field(&result); field.get_field_name() != nullptr; field.go_next()) draw_field(field);
    char figures[40];
    std::snprintf(figures, sizeof figures, "%.1f ms", session.get_milliseconds());
    const std::string decision =
        result.get_category() > 0 ? std::string("  ") + result.get_category_name() : "";
    line("");
    line(figures + decision + (session.is_refused() ? "  not possible" : ""));
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
    for (SorvantaAlternative value(&session.get_answer()); value.get_rep() != nullptr && linesLeft > 0;
         value.go_next()) {
      const bool isOutside = value.get_context_status() != SVAlternativeStatus::IN_CONTEXT;
      line("   " + std::to_string(value.get_quality()) + "  " + value.get_rep() + " (" +
           std::to_string(value.get_num_hits()) + ")" + (isOutside ? "  not in the selection" : ""));
    }
  }

  /// Differences from what was typed are marked by "~".
  void draw_records() {
    for (SorvantaSuggestion record(&session.get_answer()); record.get_idx() >= 0 && linesLeft > 0;
         record.go_next()) {
      std::string text = "   " + std::to_string(record.get_quality()) + " ";
      for (int i = 0; i < record.get_num_strings(); ++i) {
        const int quality = record.get_field_quality(i);
        if (record[i] != nullptr)
          text += std::string(" ") + (quality > 0 && quality < 255 ? "~" : "") + record[i];
      }
      line(text);
    }
  }

  FormSession session;
  std::vector<std::string> texts;  // as typed; looked up when the user rests
  std::size_t focus = 0;
  bool isTyped = false;  // what is shown is older
  int width = 80, linesLeft = 0;
  std::string screen;
};

}  // namespace

std::string terminal_form_help() {
  return std::string("Keys: ") + HELP +
         "\nMarks of fields: . empty, x nothing found, - not in the selection, + possible, * selected";
}

void run_terminal_form(Target* target) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
    throw Failure("a form needs a terminal; `sorvanta find` needs none, and `--page` is a form in a browser");
  const RawTerminal terminal;
  TerminalForm(target).run();
}
