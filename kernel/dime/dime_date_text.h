/// Dates as numbers and as texts: the calendar of the DATE method, its formats, reading and printing.
///
/// A day number counts days in years of 366 and months of the lengths of a leap year, so that every day of
/// every year has one, whatever the year: 28 February and 1 March 2001 are two days apart. Two marks say that
/// only the year, or only the year and the month, is known; such a number is that of the first day, marked.
///
///     3 April 1985    1985 x 366 + 91 + 2
///     April 1985      1985 x 366 + 91          + MONTH_ONLY
///     1985            1985 x 366               + YEAR_ONLY
///
/// Formats: the order in which numbers are read, and how dates are printed (3 April 1985 and 3 April alone):
///
///     SIMPLE y-m-d        1985-4-3         SIMPLE_0         1985-04-03
///     SHORT_EUR d/m/y     3/4/1985         SHORT_EUR_0      03/04/1985
///     SHORT_US m/d/y      4/3/1985         SHORT_US_0       04/03/1985
///     LONG_EUR            3 April 1985     LONG_EUR_0       03 April 1985
///     LONG_US             April 3 1985     LONG_US_0        April 03 1985
///     OFFICIAL_EUR        3rd April 1985   OFFICIAL_EUR_0   03rd April 1985
///     OFFICIAL_US         April 3rd 1985   OFFICIAL_US_0    April 03rd 1985
///     SHORT_DE            03.04.1985       LONG_DE          3. April 1985      OFFICIAL_DE   03. April 1985
///
/// Reading: numbers in the order of the format, with any of . / - blank and comma between; with four digits
/// in front always y-m-d; eight digits without anything between, in the format's order; one of the numbers
/// may be the name of the month, in English or German, in full, abbreviated or misspelled (by a letter of
/// four, from 5 letters on). The day may have a
/// point, or st, nd, rd, th behind. A year alone has four digits; two parts are month and year. Years of up
/// to two digits are those of 1930 to 2029. A day or month of 0, or empty between two of . / -, is not known.
/// With wildcards,
/// "?" stands for a digit. What is no day, such as 31 April, is no date (29 February is one in every year),
/// and neither are years from 10,000 on.
///
/// Thread safety: any number of threads.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class TeraEdit;

class SORV_API DimeDateText {
 public:
  /// Stored in files, not to be renumbered.
  enum DateFormat : int {
    SIMPLE = 0,
    SHORT_EUR = 1,
    SHORT_US = 2,
    LONG_EUR = 3,
    LONG_US = 4,
    OFFICIAL_EUR = 5,
    OFFICIAL_US = 6,
    SIMPLE_0 = 7,
    SHORT_EUR_0 = 8,
    SHORT_US_0 = 9,
    LONG_EUR_0 = 10,
    LONG_US_0 = 11,
    OFFICIAL_EUR_0 = 12,
    OFFICIAL_US_0 = 13,
    SHORT_DE = 14,
    LONG_DE = 15,
    OFFICIAL_DE = 16,
    NUM_DATE_MODES = 17
  };
  static constexpr int YEAR_ONLY = 536870912;
  static constexpr int MONTH_ONLY = 268435456;
  static constexpr int MARKS = YEAR_ONLY | MONTH_ONLY;
  static constexpr int DAYS_PER_YEAR = 366;
  static constexpr int MAX_YEAR = 9999;
  static constexpr int NO_DATE = 0;

  /// The digits of a part of a date, right-aligned: '?' for any, '\0' for none in front.
  struct Part {
    char digits[4] = {};
    /// -1 with wildcards.
    int value() const;
    bool matches(int number) const;
    /// Without digits, or 0.
    bool is_unknown() const { return value() == 0; }
    int count = 0;  ///< digits there are
  };
  /// What is read: unknown parts have no digits.
  struct Parts {
    Part day;
    Part month;
    Part year;
    /// Two digits stand for a year from 1930 to 2029.
    bool matches_year(int number) const {
      return year.matches(number) ||
             (year.count <= 2 && number >= 1930 && number <= 2029 && year.matches(number % 100));
    }
    bool has_wildcards() const { return day.value() < 0 || month.value() < 0 || year.value() < 0; }
  };

  /// The format of a name, which is compared exactly; null gives SIMPLE. -1 for all others; OFFICIAL_DE has
  /// no name.
  static int get_date_format(const char* name);
  /// The names, with blanks between.
  static const char* get_format_names();

  /// The number of a day. Years of up to two digits are those of 1930 to 2029; a month below 1 stands for the
  /// whole year, a day below 1 for the month. NO_DATE for months above 12 and days above 31.
  static int make_time(int day, int month, int year);
  /// The parts; those of the first day of a year or month alone.
  static void decompose(int value, int* day, int* month, int* year);
  /// The last day of an incomplete date; any other as it is without marks.
  static int last_day(int value);
  static int plain(int value) { return value & ~MARKS; }

  /// As text, in `at`; "" for NO_DATE. Of an incomplete date the parts that are known.
  static const char* print_date(int value, DateFormat format, AceAttach* at);

  /// Reads a text, with `wildcards` also "?". Month names are looked up in `months`, which may be null.
  /// Numbers that cannot be a date in the order of the format are read as day, month and year, or else as
  /// month, day and year. Returns 0, or -1 for what is no date.
  static int read_parts(const char* text, DateFormat format, const TeraEdit* months, bool wildcards,
                        Parts* parts);
  /// The parts of a date without wildcards. Returns 0 or -1.
  static int read_time(const char* text, DateFormat format, const TeraEdit* months, int* day, int* month,
                       int* year);
  /// Its number; NO_DATE for what is no date.
  static int read_date(const char* text, DateFormat format, const TeraEdit* months);
  /// Whether numbers make a date in the order of the format, so that no other is tried.
  static bool is_in_order(const char* text, DateFormat format);
  /// Whether the month has the day, in some year.
  static bool is_day(int day, int month);

  /// An edit index of the names of the months, with their numbers. Returns 0 or -1.
  static int make_month_finder(TeraEdit* months);
  /// The month of a name; 0 for none, and where two months are equally near. Beside a year alone (`has_day`
  /// false) short names have no errors: "Match 1985" is no date.
  static int find_month(const char* name, const TeraEdit& months, bool has_day);

  DimeDateText() = delete;
};
