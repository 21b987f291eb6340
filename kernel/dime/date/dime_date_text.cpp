// The calendar, and dates in print.
#include "dime/dime_date_text.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "dime/date/dime_month_data_internal.h"

namespace {

using Text = DimeDateText;

constexpr int MONTH_OFFSETS[] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366};
constexpr int NUM_MONTHS = 12;
constexpr int MAX_DAY = 31;

constexpr const char* FORMAT_NAMES[] = {"SIMPLE",         "SHORT_EUR",     "SHORT_US",    "LONG_EUR",
                                        "LONG_US",        "OFFICIAL_EUR",  "OFFICIAL_US", "SIMPLE_0",
                                        "SHORT_EUR_0",    "SHORT_US_0",    "LONG_EUR_0",  "LONG_US_0",
                                        "OFFICIAL_EUR_0", "OFFICIAL_US_0", "SHORT_DE",    "LONG_DE"};

/// How a format prints: d, m and y are the day, the month and the year, M the month's name, o the ordinal's
/// ending. The second and third form are for what has no day, and no month.
struct Layout {
  const char* full;
  const char* month;
  bool isPadded;
  int language;
};
constexpr Layout LAYOUTS[Text::NUM_DATE_MODES] = {
    {"y-m-d", "y-m", false, 0},  {"d/m/y", "m/y", false, 0}, {"m/d/y", "m/y", false, 0},
    {"d M y", "M y", false, 0},  {"M d y", "M y", false, 0}, {"do M y", "M y", false, 0},
    {"M do y", "M y", false, 0}, {"y-m-d", "y-m", true, 0},  {"d/m/y", "m/y", true, 0},
    {"m/d/y", "m/y", true, 0},   {"d M y", "M y", true, 0},  {"M d y", "M y", true, 0},
    {"do M y", "M y", true, 0},  {"M do y", "M y", true, 0}, {"d.m.y", "m.y", true, 1},
    {"d. M y", "M y", false, 1}, {"d. M y", "M y", true, 1},
};

const char* name_of(int month, int language) {
  for (int i = 0; i < DIME_NUM_MONTH_NAMES; ++i) {
    const DimeMonthName& name = DIME_MONTH_NAMES[i];
    if (name.month == month && name.language == language && name.isFull) return name.name;
  }
  return "";
}

const char* ordinal_of(int day) {
  if (day / 10 == 1) return "th";
  constexpr const char* endings[] = {"th", "st", "nd", "rd"};
  return day % 10 < static_cast<int>(std::size(endings)) ? endings[day % 10] : "th";
}

void append_number(int number, std::size_t width, std::string* text) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) text->append(width - digits.size(), '0');
  *text += digits;
}

}  // namespace

int DimeDateText::get_date_format(const char* name) {
  if (name == nullptr) return SIMPLE;
  const auto* const found = std::find_if(std::begin(FORMAT_NAMES), std::end(FORMAT_NAMES),
                                         [name](const char* known) { return std::strcmp(name, known) == 0; });
  return found != std::end(FORMAT_NAMES) ? static_cast<int>(found - FORMAT_NAMES) : -1;
}

const char* DimeDateText::get_format_names() {
  return "SIMPLE SHORT_EUR SHORT_US LONG_EUR LONG_US OFFICIAL_EUR OFFICIAL_US SIMPLE_0 SHORT_EUR_0 "
         "SHORT_US_0 "
         "LONG_EUR_0 LONG_US_0 OFFICIAL_EUR_0 OFFICIAL_US_0 SHORT_DE LONG_DE";
}

// ---------------------------------------------------------------- the calendar

int DimeDateText::make_time(int day, int month, int year) {
  if (month > NUM_MONTHS || day > MAX_DAY) return NO_DATE;
  if (year > 29 && year < 100) year += 1900;
  if (year >= 0 && year <= 29) year += 2000;
  if (year < 0 || year > MAX_YEAR) return NO_DATE;
  const int first = year * DAYS_PER_YEAR;
  if (month < 1) return first | YEAR_ONLY;
  if (day < 1) return (first + MONTH_OFFSETS[month - 1]) | MONTH_ONLY;
  return first + MONTH_OFFSETS[month - 1] + day - 1;
}

void DimeDateText::decompose(int value, int* day, int* month, int* year) {
  value = plain(value) & 0x7FFFFFFF;  // a damaged index may hold anything
  const int rest = value % DAYS_PER_YEAR;
  *year = value / DAYS_PER_YEAR;
  *month =
      static_cast<int>(std::upper_bound(MONTH_OFFSETS, MONTH_OFFSETS + NUM_MONTHS, rest) - MONTH_OFFSETS);
  *day = rest - MONTH_OFFSETS[*month - 1] + 1;
}

int DimeDateText::last_day(int value) {
  if ((value & YEAR_ONLY) != 0) return plain(value) + DAYS_PER_YEAR - 1;
  if ((value & MONTH_ONLY) == 0) return plain(value);
  int day = 0;
  int month = 0;
  int year = 0;
  decompose(value, &day, &month, &year);
  return year * DAYS_PER_YEAR + MONTH_OFFSETS[month] - 1;
}

bool DimeDateText::is_day(int day, int month) {
  return month >= 1 && month <= NUM_MONTHS && day <= MONTH_OFFSETS[month] - MONTH_OFFSETS[month - 1];
}

// ---------------------------------------------------------------- print

const char* DimeDateText::print_date(int value, DateFormat format, AceAttach* at) {
  if (value == NO_DATE || format < 0 || format >= NUM_DATE_MODES) return at->attach("");
  const Layout& layout = LAYOUTS[format];
  int day = 0;
  int month = 0;
  int year = 0;
  decompose(value, &day, &month, &year);
  const char* form = (value & MONTH_ONLY) != 0 ? layout.month : layout.full;
  if ((value & YEAR_ONLY) != 0) form = "y";
  std::string text;
  for (; *form != '\0'; ++form) {
    if (*form == 'd')
      append_number(day, layout.isPadded ? 2 : 1, &text);
    else if (*form == 'm')
      append_number(month, layout.isPadded ? 2 : 1, &text);
    else if (*form == 'y')
      append_number(year, 4, &text);
    else if (*form == 'M')
      text += name_of(month, layout.language);
    else if (*form == 'o')
      text += ordinal_of(day);
    else
      text += *form;
  }
  return at->attach(text.c_str(), static_cast<VInt>(text.size()));
}
