// Dates that are read.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dime/date/dime_month_data_internal.h"
#include "dime/dime_date_text.h"
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"

namespace {

using Text = DimeDateText;
using Part = DimeDateText::Part;
using Parts = DimeDateText::Parts;

constexpr int LEAST_QUALITY = 190;
constexpr int LEAST_NAME = 3;
/// Letters of a name with an error: "mart" and "Jane" are words.
constexpr int LEAST_MISSPELLED = 5;
constexpr int LEAST_MISSPELLED_ALONE = 7;  // beside a year only
constexpr int MAX_PIECES = 3;
constexpr int MAX_DIGITS = 4;
constexpr int UNSEPARATED = 8;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_letter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0 || (c & 0x80) != 0;
}

/// The order of the numbers.
enum Order { YMD, DMY, MDY };
Order order_of(Text::DateFormat format) {
  switch (format) {
    case Text::SIMPLE:
    case Text::SIMPLE_0:
      return YMD;
    case Text::SHORT_US:
    case Text::LONG_US:
    case Text::OFFICIAL_US:
    case Text::SHORT_US_0:
    case Text::LONG_US_0:
    case Text::OFFICIAL_US_0:
      return MDY;
    default:
      return DMY;
  }
}

Part part_of(const char* digits, int count) {
  Part part;
  part.count = count;
  std::copy_n(digits, count, part.digits + MAX_DIGITS - count);
  return part;
}
Part part_of(int number) {
  const char digits[] = {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
  return part_of(digits, 2);
}

/// The numbers, and the month's name, of a text.
struct Pieces {
  Part parts[MAX_PIECES];
  int count = 0;
  const char* name = nullptr;
  std::size_t nameLength = 0;
  int namePlace = 0;                  // numbers before it
  const char* unseparated = nullptr;  // eight digits

  bool scan(const char* text, bool wildcards);

 private:
  bool add(const char* digits, std::size_t length);
  bool add_name(const char** text);
  static std::size_t ending_length(const char* text);
};

/// st, nd, rd or th behind a number.
std::size_t Pieces::ending_length(const char* text) {
  for (const char* ending : {"st", "nd", "rd", "th"})
    if (std::tolower(static_cast<unsigned char>(text[0])) == ending[0] &&
        std::tolower(static_cast<unsigned char>(text[1])) == ending[1] && !is_letter(text[2]))
      return 2;
  return 0;
}

bool Pieces::add(const char* digits, std::size_t length) {
  if (length == UNSEPARATED && count == 0 && name == nullptr) {
    unseparated = digits;
    return true;
  }
  if (count == MAX_PIECES || length > MAX_DIGITS || unseparated != nullptr) return false;
  parts[count++] = part_of(digits, static_cast<int>(length));
  return true;
}

/// Bytes of a hyphen or dash that is no ASCII character: U+2010 to U+2013, U+2212.
std::size_t dash_length(const char* text) {
  for (const char* dash : {"\u2010", "\u2011", "\u2012", "\u2013", "\u2212"})
    if (std::strncmp(text, dash, 3) == 0) return 3;
  return 0;
}

/// Bytes of what stands between numbers.
std::size_t sign_length(const char* text) {
  const bool isSign = *text == '.' || *text == '/' || *text == '-';
  return isSign ? 1 : dash_length(text);
}

/// Whether a text is a time of day to its end: 12:30, T12:30:59.9Z, 12:30+01:00.
bool is_time(const char* text) {
  const auto two_digits = [&text] {
    const bool isFound = is_digit(text[0]) && is_digit(text[1]);
    if (isFound) text += 2;
    return isFound;
  };
  while (*text == ' ') ++text;
  if (*text == 'T' || *text == 't') ++text;
  if (!two_digits() || *text != ':') return false;
  for (int i = 0; i < 2 && *text == ':'; ++i)
    if (++text; !two_digits()) return false;
  if (*text == '.' || *text == ',')
    for (++text; is_digit(*text);) ++text;
  if (*text == 'Z' || *text == 'z') {
    ++text;
  } else if (*text == '+' || *text == '-') {
    ++text;
    if (!two_digits()) return false;
    if (*text == ':') ++text;
    if (*text != '\0' && !two_digits()) return false;
  }
  while (*text == ' ') ++text;
  return *text == '\0';
}

/// A name up to the next character that is none.
bool Pieces::add_name(const char** text) {
  if (name != nullptr || unseparated != nullptr) return false;
  name = *text;
  while (is_letter(**text) && dash_length(*text) == 0) ++*text;
  nameLength = static_cast<std::size_t>(*text - name);
  namePlace = count;
  return true;
}

/// An empty part stands between two signs, dashes, . and /, and before the first. A time of day behind a date
/// does not count.
bool Pieces::scan(const char* text, bool wildcards) {
  bool isEmpty = true;  // nothing since the last sign
  const auto is_part = [wildcards](char c) { return is_digit(c) || (wildcards && c == '?'); };
  while (*text == ' ') ++text;
  while (*text != '\0') {
    if ((count > 0 || unseparated != nullptr) && is_time(text)) return true;
    if (const std::size_t sign = sign_length(text); sign > 0) {
      if (isEmpty && !add(text, 0)) return false;
      isEmpty = true;
      text += sign;
      while (*text == ' ' || *text == ',') isEmpty = false, ++text;
      continue;
    }
    if (is_part(*text)) {
      const auto length =
          static_cast<std::size_t>(std::find_if_not(text, text + std::strlen(text), is_part) - text);
      if (!add(text, length)) return false;
      text += length + ending_length(text + length);
    } else if (is_letter(*text)) {
      if (!add_name(&text)) return false;
    } else if (*text == ' ' || *text == ',') {
      ++text;
    } else {
      return false;
    }
    isEmpty = false;
  }
  return true;
}

/// The parts in an order.
Parts ordered(const Part* parts, Order order) {
  switch (order) {
    case YMD:
      return {parts[2], parts[1], parts[0]};
    case MDY:
      return {parts[1], parts[0], parts[2]};
    default:
      return {parts[0], parts[1], parts[2]};
  }
}

bool assign_unseparated(const Pieces& pieces, Order order, Parts* parts) {
  const char* const digits = pieces.unseparated;
  if (pieces.count > 0 || pieces.name != nullptr) return false;
  if (order == YMD)
    *parts = {part_of(digits + 6, 2), part_of(digits + 4, 2), part_of(digits, 4)};
  else if (order == MDY)
    *parts = {part_of(digits + 2, 2), part_of(digits, 2), part_of(digits + 4, 4)};
  else
    *parts = {part_of(digits, 2), part_of(digits + 2, 2), part_of(digits + 4, 4)};
  return true;
}

/// The year is what has four digits, else what the format has last, or y-m-d first.
bool assign_named(const Pieces& pieces, Order order, const TeraEdit* months, Parts* parts) {
  const std::string name(pieces.name, pieces.nameLength);
  const int month = months != nullptr ? Text::find_month(name.c_str(), *months, pieces.count > 1) : 0;
  if (month == 0 || pieces.count < 1 || pieces.count > 2) return false;
  parts->month = part_of(month);
  const Part& first = pieces.parts[0];
  if (pieces.count == 1) {
    parts->year = first;
    return first.count == MAX_DIGITS;
  }
  const Part& second = pieces.parts[1];
  const bool isYearFirst = first.count == MAX_DIGITS || (order == YMD && second.count < MAX_DIGITS);
  if (pieces.namePlace == 2 && !isYearFirst) return false;  // "5 3. April" is a number and a date
  parts->year = isYearFirst ? first : second;
  parts->day = isYearFirst ? second : first;
  return true;
}

bool assign_numbers(const Pieces& pieces, Order order, Parts* parts) {
  const Part& first = pieces.parts[0];
  const Part& last = pieces.parts[pieces.count > 0 ? pieces.count - 1 : 0];
  if (pieces.count == 3) {
    *parts = ordered(pieces.parts, first.count == MAX_DIGITS ? YMD : order);
    return true;
  }
  if (pieces.count == 1) {
    parts->year = first;
    return first.count == MAX_DIGITS;
  }
  if (pieces.count != 2 || (first.count == MAX_DIGITS) == (last.count == MAX_DIGITS)) return false;
  const bool isYearFirst = first.count == MAX_DIGITS;
  parts->year = isYearFirst ? first : last;
  parts->month = isYearFirst ? last : first;
  return true;
}

/// Whether there can be such a day; below 1 are parts that are not known.
bool is_possible(int day, int month) {
  if (month > 12 || day > 31) return false;
  return day < 1 || month < 1 || Text::is_day(day, month);
}
/// "00.00.0000" and "0000-00-00" stand for a date that is not known.
bool is_nothing(int day, int month, int year) {
  return day == 0 && month == 0 && year == 0;
}
bool are_possible(const Parts& parts) {
  const int day = parts.day.value(), month = parts.month.value();
  return parts.year.count > 0 && parts.day.count <= 2 && parts.month.count <= 2 && is_possible(day, month) &&
         !is_nothing(day, month, parts.year.value());
}

/// What the pieces are, when the order makes a day of them that there can be.
bool assign(const Pieces& pieces, Order order, const TeraEdit* months, Parts* parts) {
  Parts assigned;
  const bool isAssigned = pieces.unseparated != nullptr ? assign_unseparated(pieces, order, &assigned)
                          : pieces.name != nullptr      ? assign_named(pieces, order, months, &assigned)
                                                        : assign_numbers(pieces, order, &assigned);
  if (!isAssigned || !are_possible(assigned)) return false;
  *parts = assigned;
  return true;
}

/// A date of numbers alone.
struct Numbers {
  int day, month, year;
};

/// Reads up to `MAX_DIGITS` digits. Returns how many there are.
int read_number(const char** text, int* number) {
  int count = 0;
  for (*number = 0; count < MAX_DIGITS && is_digit(**text); ++count, ++*text)
    *number = 10 * *number + **text - '0';
  return count;
}

/// Three numbers with a sign between each two, and nothing else, which most dates are: without noting their
/// digits. False for all other texts, and for what is no date in that order.
bool read_numbers(const char* text, Order order, Numbers* date) {
  const auto skip_sign = [&text] { return *text == '-' || *text == '.' || *text == '/' ? ++text : nullptr; };
  int numbers[MAX_PIECES];
  int counts[MAX_PIECES];
  for (int i = 0; i < MAX_PIECES; ++i) {
    if (i > 0 && skip_sign() == nullptr) return false;
    counts[i] = read_number(&text, &numbers[i]);
    if (counts[i] == 0) return false;
  }
  if (*text != '\0') return false;
  if (counts[0] == MAX_DIGITS) order = YMD;
  const int day = order == YMD ? 2 : order == MDY ? 1 : 0;
  const int month = order == MDY ? 0 : 1;
  *date = {numbers[day], numbers[month], numbers[order == YMD ? 0 : 2]};
  return counts[day] <= 2 && counts[month] <= 2 && is_possible(date->day, date->month) &&
         !is_nothing(date->day, date->month, date->year);
}

/// Names in full and abbreviated, those with an umlaut also with an e behind; the attribute is the month.
class MonthReader : public TeraReader {
 public:
  MonthReader() {
    for (int i = 0; i < DIME_NUM_MONTH_NAMES; ++i) {
      const DimeMonthName& month = DIME_MONTH_NAMES[i];
      names.push_back({month.name, month.month});
      std::string spelled = month.name;
      if (const std::size_t umlaut = spelled.find("\u00E4"); umlaut != std::string::npos)
        names.push_back({spelled.replace(umlaut, 2, "ae"), month.month});
    }
  }
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == names.size()) return 0;
    *string = names[next].text.c_str();
    if (info != nullptr) *info = static_cast<Large>(names[next].month);
    if (line != nullptr) *line = static_cast<VInt>(next);
    ++next;
    return 1;
  }
  int rewind() override {
    next = 0;
    return 0;
  }
  VInt get_estimate() override { return static_cast<VInt>(names.size()); }

 private:
  struct Name {
    std::string text;
    int month;
  };
  std::vector<Name> names;
  std::size_t next = 0;
};

/// The month of the best candidates; 0 when there are two.
int unique_month(const TeraResult& result) {
  const TeraCandGroup* const best = result.get_best_group();
  int month = 0;
  for (const TeraCand* cand = best != nullptr ? best->get_first_cand() : nullptr; cand != nullptr;
       cand = cand->get_next())
    for (Large i = 0; i < cand->get_num_infos(); ++i) {
      const int found = static_cast<int>(cand->get_info(i));
      if (month != 0 && month != found) return 0;
      month = found;
    }
  return month <= 12 ? month : 0;
}

}  // namespace

int DimeDateText::Part::value() const {
  int number = 0;
  for (const char digit : digits) {
    if (digit == '?') return -1;
    if (digit != '\0') number = 10 * number + digit - '0';
  }
  return number;
}

bool DimeDateText::Part::matches(int number) const {
  for (int i = MAX_DIGITS - 1; i >= 0; --i, number /= 10) {
    if (digits[i] == '\0') return number == 0;
    if (digits[i] != '?' && digits[i] - '0' != number % 10) return false;
  }
  return number == 0;
}

int DimeDateText::make_month_finder(TeraEdit* months) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z");
  config.map_upper();
  config.deaccentuate();
  TeraMap map;
  config.compile_map(&map);
  MonthReader reader;
  return months->init(&map, nullptr) < 0 ||
                 months->make(&reader, nullptr, 0, 0, 0, 0, AceReporter::null(), nullptr) < 0
             ? -1
             : 0;
}

int DimeDateText::find_month(const char* name, const TeraEdit& months, bool has_day) {
  const int length = months.get_tera_map()->tok_len(name, true);
  if (length < LEAST_NAME) return 0;
  TeraResult exact(name, TeraEval::PERFECT, TeraResult::MAX_CANDS, 0);
  constexpr int literal = TeraEdit::NO_OPERATORS;
  months.recall(&exact, TeraEval::EXACT, TeraEval::MAXIMUM, 0, 0, literal, 100, AceReporter::null());
  if (exact.num_cands() > 0) return unique_month(exact);
  if (length < (has_day ? LEAST_MISSPELLED : LEAST_MISSPELLED_ALONE)) return 0;
  TeraResult month_result(name, LEAST_QUALITY, TeraResult::MAX_CANDS, 0);
  months.recall(&month_result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, literal | TeraEdit::TRANSPOSE,
                100, AceReporter::null());
  return unique_month(month_result);
}

int DimeDateText::read_parts(const char* text, DateFormat format, const TeraEdit* months, bool wildcards,
                             Parts* parts) {
  Pieces pieces;
  if (text == nullptr || !pieces.scan(text, wildcards)) return -1;
  if (assign(pieces, order_of(format), months, parts)) return 0;
  if (pieces.name != nullptr) return -1;
  return assign(pieces, DMY, nullptr, parts) || assign(pieces, MDY, nullptr, parts) ? 0 : -1;
}

bool DimeDateText::is_in_order(const char* text, DateFormat format) {
  Pieces pieces;
  Parts parts;
  return text != nullptr && pieces.scan(text, false) && assign(pieces, order_of(format), nullptr, &parts);
}

int DimeDateText::read_time(const char* text, DateFormat format, const TeraEdit* months, int* day, int* month,
                            int* year) {
  if (Numbers date; text != nullptr && read_numbers(text, order_of(format), &date)) {
    *day = date.day;
    *month = date.month;
    *year = date.year;
    return 0;
  }
  Parts parts;
  if (read_parts(text, format, months, false, &parts) < 0) return -1;
  *day = parts.day.value();
  *month = parts.month.value();
  *year = parts.year.value();
  return 0;
}

int DimeDateText::read_date(const char* text, DateFormat format, const TeraEdit* months) {
  int day = 0;
  int month = 0;
  int year = 0;
  return read_time(text, format, months, &day, &month, &year) < 0 ? NO_DATE : make_time(day, month, year);
}
