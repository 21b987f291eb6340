/// The dates that a query with wildcards stands for.
#pragma once

#include <utility>
#include <vector>

#include "dime/dime_date_text.h"

class WildcardScanner {
 public:
  /// In these years.
  WildcardScanner(const DimeDateText::Parts& pattern, std::vector<int> years)
      : availableYears(std::move(years)), availableMonths(get_available(pattern.month, NUM_MONTHS)) {
    // Without a month the whole year is meant, whatever the day.
    availableDays = pattern.month.is_unknown() ? std::vector<int>{0} : get_available(pattern.day, MAX_DAY);
  }

  /// At least as many as there are.
  std::size_t count() const { return availableYears.size() * availableMonths.size() * availableDays.size(); }

  /// `use(date)` for each, years and months alone with their marks.
  template <class Use>
  void for_each(Use use) const {
    for (const int year : availableYears)
      for (const int month : availableMonths)
        for (const int day : availableDays)
          if (day == 0 || DimeDateText::is_day(day, month)) use(DimeDateText::make_time(day, month, year));
  }

 private:
  static constexpr int NUM_MONTHS = 12;
  static constexpr int MAX_DAY = 31;

  /// The numbers up to `most` that a part stands for; 0 for one that is unknown.
  static std::vector<int> get_available(const DimeDateText::Part& part, int most) {
    if (part.is_unknown()) return {0};
    std::vector<int> numbers;
    for (int number = 1; number <= most; ++number)
      if (part.matches(number)) numbers.push_back(number);
    return numbers;
  }

  std::vector<int> availableYears;
  std::vector<int> availableMonths;
  std::vector<int> availableDays;
};
