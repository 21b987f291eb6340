/// The names of the months, generated from the locale data (tools/generate/month_names.py).
#pragma once

struct DimeMonthName {
  enum Language : int { ENGLISH = 0, GERMAN = 1 };
  int language;
  int month;         ///< 1 to 12
  bool isFull;       ///< else an abbreviation, without its point
  const char* name;  ///< UTF-8
};

extern const DimeMonthName DIME_MONTH_NAMES[];
extern const int DIME_NUM_MONTH_NAMES;
