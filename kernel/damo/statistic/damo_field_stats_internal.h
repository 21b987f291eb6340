/// What a statistic knows of a field.
#pragma once

#include <optional>
#include <string>

#include "damo/damo_statistic.h"
#include "damo/statistic/damo_counts_internal.h"

struct DamoStatistic::FieldStats {
  /// First and last value that is not empty, by which runs of neighbouring parts are joined.
  std::optional<std::string> firstValue;
  std::string lastValue;
  Huge numEmpty = 0;
  Huge numIntervals = 0;
  Huge numAliases = 0;
  DamoCounts lengths;
  DamoCounts words;
  DamoCounts flags;
  DamoCounts aliases;
  DamoCounts characters;
};
