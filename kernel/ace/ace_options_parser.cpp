#include "ace/ace_options_parser.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"
#include "ace/ace_string_parser.h"

namespace {

constexpr int FIRST_OPTIONS = 16;  // capacity of the first option array

/// While it lives, the calling thread reads and writes numbers as the "C" locale does.
class PointDecimals {
 public:
  PointDecimals() : previous(uselocale(c_locale())) {}
  PointDecimals(const PointDecimals&) = delete;
  PointDecimals& operator=(const PointDecimals&) = delete;
  ~PointDecimals() { uselocale(previous); }

 private:
  static locale_t c_locale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }
  locale_t previous;
};

/// Bytes that a formatting into `MAX_DEFAULTS` bytes has written.
int num_written(int length) {
  return std::clamp(length, 0, AceOptionsParser::MAX_DEFAULTS - 1);
}

/// The next value; warns when there is none. Returns its length, or -1.
int read_value(const char* option, const char* kind, AceStringParser* string_parser, char** value,
               AceReporter* rep) {
  const int length = string_parser->get_value(value);
  if (length >= 0) return length;
  rep->ev_wprintf("Missing value for %s option '%s', or its brace is not closed", kind, option);
  return ace_error(__FILE__, __LINE__, "string_parser->get_value(&value)", length, 0, -1);
}

/// Whether a text is read as that value; null is the empty one.
bool reads_as(const char* text, const char* wanted) {
  AceStringParser string_parser(text);
  char* value = nullptr;
  return string_parser.get_value(&value) >= 0 && text[string_parser.get_pos()] == '\0' &&
         std::strcmp(value, wanted != nullptr ? wanted : "") == 0;
}

}  // namespace

class AceOptionsParser::FlagConfigOption : public ConfigOption {
 public:
  FlagConfigOption(const char* name, const char* help) : ConfigOption("Flag", name, help) {}

  void reset() override { optValue = false; }
  int parse_option(AceStringParser*, AceReporter*) override {
    optValue = true;
    return 0;
  }
  int create_def_string(char* out) const override {
    *out = '\0';
    return 0;
  }

  bool optValue = false;
};

class AceOptionsParser::IntConfigOption : public ConfigOption {
 public:
  IntConfigOption(const char* name, const char* help, int def)
      : ConfigOption("Integer", name, help), optValue(def), defValue(def) {}

  void reset() override { optValue = defValue; }
  int parse_option(AceStringParser* string_parser, AceReporter* rep) override {
    char* value = nullptr;
    if (read_value(optionName, "integer", string_parser, &value, rep) < 0) return -1;
    char* end = nullptr;
    const long number = std::strtol(value, &end, 10);
    optValue = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
    if (end != value && *end == '\0' && optValue == number) return 0;
    rep->ev_wprintf("Invalid value '%s' for integer option '%s'", value, optionName);
    return -1;
  }
  int create_def_string(char* out) const override {
    return num_written(std::snprintf(out, MAX_DEFAULTS, "-%s %d", optionName, defValue));
  }

  int optValue;
  int defValue;
};

class AceOptionsParser::FloatConfigOption : public ConfigOption {
 public:
  FloatConfigOption(const char* name, const char* help, float def)
      : ConfigOption("Float", name, help), optValue(def), defValue(def) {}

  void reset() override { optValue = defValue; }
  int parse_option(AceStringParser* string_parser, AceReporter* rep) override {
    char* value = nullptr;
    if (read_value(optionName, "floating point", string_parser, &value, rep) < 0) return -1;
    const PointDecimals pointDecimals;
    char* end = nullptr;
    errno = 0;
    optValue = std::strtof(value, &end);
    const bool tooLarge = errno == ERANGE && std::isinf(optValue);
    if (end != value && *end == '\0' && !tooLarge) return 0;
    rep->ev_wprintf("Invalid value '%s' for floating point option '%s'", value, optionName);
    return -1;
  }
  int create_def_string(char* out) const override {
    const PointDecimals pointDecimals;
    return num_written(
        std::snprintf(out, MAX_DEFAULTS, "-%s %.3f", optionName, static_cast<double>(defValue)));
  }

  float optValue;
  float defValue;
};

class AceOptionsParser::DoubleConfigOption : public ConfigOption {
 public:
  DoubleConfigOption(const char* name, const char* help, double def)
      : ConfigOption("Double", name, help), optValue(def), defValue(def) {}

  void reset() override { optValue = defValue; }
  int parse_option(AceStringParser* string_parser, AceReporter* rep) override {
    char* value = nullptr;
    if (read_value(optionName, "double floating point", string_parser, &value, rep) < 0) return -1;
    const PointDecimals pointDecimals;
    char* end = nullptr;
    errno = 0;
    optValue = std::strtod(value, &end);
    const bool tooLarge = errno == ERANGE && std::isinf(optValue);
    if (end != value && *end == '\0' && !tooLarge) return 0;
    rep->ev_wprintf("Invalid value '%s' for double floating point option '%s'", value, optionName);
    return -1;
  }
  int create_def_string(char* out) const override {
    const PointDecimals pointDecimals;
    return num_written(std::snprintf(out, MAX_DEFAULTS, "-%s %.3f", optionName, defValue));
  }

  double optValue;
  double defValue;
};

/// The empty value is the character 0, as in the text that shows it.
class AceOptionsParser::CharConfigOption : public ConfigOption {
 public:
  CharConfigOption(const char* name, const char* help, char def)
      : ConfigOption("Character", name, help), optValue(def), defValue(def) {
    std::snprintf(dispString, sizeof dispString, def != '\0' ? "{%c}" : "{}", def);
    const char value[] = {def, '\0'};
    isReadBack = reads_as(dispString, value);
  }

  void reset() override { optValue = defValue; }
  int parse_option(AceStringParser* string_parser, AceReporter* rep) override {
    if (!isReadBack && string_parser->skip_text(dispString)) {
      reset();
      return 0;
    }
    char* value = nullptr;
    const int length = read_value(optionName, "single character", string_parser, &value, rep);
    if (length < 0) return -1;
    optValue = *value;
    if (length <= 1) return 0;
    rep->ev_wprintf("Invalid value '%s' for single character option '%s'", value, optionName);
    return -1;
  }
  int create_def_string(char* out) const override {
    return num_written(std::snprintf(out, MAX_DEFAULTS, "-%s %s", optionName, dispString));
  }

  char optValue;
  char defValue;
  char dispString[4];
  bool isReadBack;
};

class AceOptionsParser::StringConfigOption : public ConfigOption {
 public:
  StringConfigOption(const char* name, const char* help, AceAttach* at, const char* def, const char* display)
      : ConfigOption("String", name, help),
        extAt(at),
        optValue(def),
        defValue(def),
        dispValue(display),
        isReadBack(reads_as(display, def)) {}

  void reset() override { optValue = defValue; }
  int parse_option(AceStringParser* string_parser, AceReporter* rep) override {
    if (!isReadBack && string_parser->skip_text(dispValue)) {
      reset();
      return 0;
    }
    char* value = nullptr;
    const int length = read_value(optionName, "text", string_parser, &value, rep);
    if (length < 0) return -1;
    optValue = extAt->attach(value, length);
    return 0;
  }
  int create_def_string(char* out) const override {
    return num_written(std::snprintf(out, MAX_DEFAULTS, "-%s %s", optionName, dispValue));
  }

  AceAttach* extAt;  // the parser's, for values
  const char* optValue;
  const char* defValue;
  const char* dispValue;
  bool isReadBack;  // the text that shows the default is read as a value, as which it is the default
};

template <class Option, class... Values>
int AceOptionsParser::add(const char* name, const char* help, Values... values) {
  if (name == nullptr || *name == '\0' || std::strchr(name, ' ') != nullptr)
    return ace_error(__FILE__, __LINE__, "option name without blanks", -1, 0, -1);
  char* lowerName = strtolower(memAt.attach(name));
  if (find(lowerName) != nullptr)
    return ace_error(__FILE__, __LINE__, "find(option name) == nullptr", -1, 0, -1);

  if (numOptions == maxOptions) {
    const int capacity = maxOptions > 0 ? 2 * maxOptions : FIRST_OPTIONS;
    ConfigOption** larger = nullptr;
    memAt.malloc(larger, capacity);
    std::copy_n(configOptions, numOptions, larger);
    configOptions = larger;
    maxOptions = capacity;
  }
  const char* helpText = memAt.attach(help != nullptr ? help : "");
  configOptions[numOptions++] = new (&memAt) Option(lowerName, helpText, values...);
  defaultsString = nullptr;
  return 0;
}

int AceOptionsParser::add_flag_option(const char* name, const char* help) {
  return add<FlagConfigOption>(name, help);
}

int AceOptionsParser::add_int_option(const char* name, int def, const char* help) {
  return add<IntConfigOption>(name, help, def);
}

int AceOptionsParser::add_float_option(const char* name, float def, const char* help) {
  return add<FloatConfigOption>(name, help, def);
}

int AceOptionsParser::add_double_option(const char* name, double def, const char* help) {
  return add<DoubleConfigOption>(name, help, def);
}

int AceOptionsParser::add_char_option(const char* name, char def, const char* help) {
  return add<CharConfigOption>(name, help, def);
}

int AceOptionsParser::add_string_option(const char* name, const char* def, const char* help,
                                        const char* display) {
  if (display == nullptr) display = def != nullptr && *def != '\0' ? def : "{}";
  // Blanks in front would be skipped with those behind the name.
  if (const std::string text = display; text.empty() || text.front() == ' ')
    display = memAt.attach(("{" + text + "}").c_str());
  return add<StringConfigOption>(name, help, &optsAt, memAt.attach(def), memAt.attach(display));
}

int AceOptionsParser::parse(const char* text, AceReporter* rep) {
  if (is_null(rep)) rep = AceReporter::null();
  AceAttach previousAt;  // until the end: `text` may be one of the previous values
  previousAt.acquire(&optsAt);
  for (int i = 0; i < numOptions; ++i) configOptions[i]->reset();
  if (text == nullptr) return 0;

  AceStringParser string_parser(text);
  for (;;) {
    char* option = nullptr;
    const int start = string_parser.get_pos();
    int rc = string_parser.get_option(&option);
    if (rc == 0) return 0;
    if (rc < 0) {
      const char* found = text + start + std::strspn(text + start, " ");
      rep->ev_wprintf("Option '-name' expected at byte %ld, found '%s'", found - text, found);
      return ace_error(__FILE__, __LINE__, "rc = string_parser.get_option(&option)", rc, 0, -1);
    }
    rc = parse_option(option, &string_parser, rep);
    if (rc < 0) return ace_error(__FILE__, __LINE__, "parse_option(option, &string_parser, rep)", rc, 0, -1);
  }
}

int AceOptionsParser::parse_option(char* name, AceStringParser* string_parser, AceReporter* rep) {
  if (is_null(rep)) rep = AceReporter::null();
  ConfigOption* option = find(name);
  if (option == nullptr) {
    rep->ev_wprintf("Unregcognized option '%s'", name != nullptr ? name : "");
    return -1;
  }
  const int rc = option->parse_option(string_parser, rep);
  if (rc < 0) {
    ace_error_msg(__FILE__, __LINE__, "configOptions[i]->parse_option(string_parser, rep)", rc);
    return -1;
  }
  return 0;
}

/// The option with exactly this name, or null.
AceOptionsParser::ConfigOption* AceOptionsParser::find(const char* name) const {
  if (name == nullptr) return nullptr;
  for (int i = 0; i < numOptions; ++i)
    if (std::strcmp(configOptions[i]->optionName, name) == 0) return configOptions[i];
  return nullptr;
}

/// The option with this name in any case, when it is of the wanted kind.
template <class Option>
const Option* AceOptionsParser::find_kind(const char* name) const {
  if (name == nullptr) return nullptr;
  std::string lowerName = name;
  return dynamic_cast<const Option*>(find(strtolower(lowerName.data())));
}

bool AceOptionsParser::get_bool_value(const char* name) const {
  const auto* option = find_kind<FlagConfigOption>(name);
  return option != nullptr && option->optValue;
}

int AceOptionsParser::get_int_value(const char* name) const {
  const auto* option = find_kind<IntConfigOption>(name);
  return option != nullptr ? option->optValue : -1;
}

char AceOptionsParser::get_char_value(const char* name) const {
  const auto* option = find_kind<CharConfigOption>(name);
  return option != nullptr ? option->optValue : '\0';
}

float AceOptionsParser::get_float_value(const char* name) const {
  const auto* option = find_kind<FloatConfigOption>(name);
  return option != nullptr ? option->optValue : 0;
}

double AceOptionsParser::get_double_value(const char* name) const {
  const auto* option = find_kind<DoubleConfigOption>(name);
  return option != nullptr ? option->optValue : 0;
}

const char* AceOptionsParser::get_string_value(const char* name) const {
  const auto* option = find_kind<StringConfigOption>(name);
  return option != nullptr ? option->optValue : nullptr;
}

int AceOptionsParser::get_help_strings(const char*** lines, AceAttach* at) const {
  const auto typeWidth = static_cast<std::size_t>(get_max_type_len()) + 1;
  const auto nameWidth = static_cast<std::size_t>(get_max_opt_len()) + 1;
  at->malloc(*lines, numOptions);
  for (int i = 0; i < numOptions; ++i) {
    const ConfigOption* option = configOptions[i];
    std::string line = option->typeString;
    line.resize(typeWidth, ' ');
    line += '-';
    line += option->optionName;
    line.resize(typeWidth + 1 + nameWidth, ' ');
    line += option->helpString;
    (*lines)[i] = at->attach(line.c_str());
  }
  return numOptions;
}

int AceOptionsParser::get_max_type_len() const {
  std::size_t longest = 0;
  for (int i = 0; i < numOptions; ++i) longest = std::max(longest, std::strlen(configOptions[i]->typeString));
  return static_cast<int>(longest);
}

int AceOptionsParser::get_max_opt_len() const {
  std::size_t longest = 0;
  for (int i = 0; i < numOptions; ++i) longest = std::max(longest, std::strlen(configOptions[i]->optionName));
  return static_cast<int>(longest);
}

const char* AceOptionsParser::get_defaults_string() {
  if (defaultsString == nullptr && numOptions > 0) defaultsString = memAt.attach(defaults_text().c_str());
  return defaultsString;
}

/// The default texts with blanks between them.
std::string AceOptionsParser::defaults_text() const {
  std::string text;
  char defaultText[MAX_DEFAULTS];
  for (int i = 0; i < numOptions; ++i) {
    const int length = configOptions[i]->create_def_string(defaultText);
    if (length > 0 && !text.empty()) text += ' ';
    text.append(defaultText, static_cast<std::size_t>(length));
  }
  return text;
}

int AceOptionsParser::create_defaults_string(char* out) const {
  const std::string text = defaults_text();
  out[text.copy(out, MAX_DEFAULTS - 1)] = '\0';
  return 0;
}

int AceOptionsParser::add_to_list(AceOptionsParser** head, const char* name) {
  if (head == nullptr || name == nullptr || listName != nullptr) return -1;
  listName = memAt.attach(name);
  nextParser = *head;
  *head = this;
  return 0;
}

AceOptionsParser* AceOptionsParser::get_parser(AceOptionsParser* head, const char* name) {
  if (name == nullptr) return nullptr;
  while (head != nullptr && std::strcmp(head->listName, name) != 0) head = head->nextParser;
  return head;
}
