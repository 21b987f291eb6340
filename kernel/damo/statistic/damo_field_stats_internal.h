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
  DamoByteCounts bytes;
  DamoCounts codePoints;  // above 127, of a statistic of UTF-8: its bytes above 127 are no characters

  DamoCounts characters(bool is_utf) const {
    constexpr int ASCII = 128, BYTES = 256;
    DamoCounts counts;
    counts.merge(codePoints);
    for (int byte = 0; byte < (is_utf ? ASCII : BYTES); ++byte)
      counts.add(byte, bytes.of(static_cast<unsigned char>(byte)));
    return counts;
  }
};
