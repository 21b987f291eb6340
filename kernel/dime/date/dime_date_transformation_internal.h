/// Finds what in a text reads as a date.
///
/// The words of a text end at blanks and signs. From the left, the longest run of up to three words that
/// reads as a date is one, unless a number goes on beside it; the next one begins behind.
#pragma once

#include <string>
#include <vector>

#include "dime/dime_date_text.h"

class TeraEdit;
class TeraScanGraph;

class DimeDateTransformation {
 public:
  /// A text between two nodes.
  struct Found {
    int from;
    int to;
    std::string text;
  };

  /// Names of months are looked up in `months`.
  DimeDateTransformation(DimeDateText::DateFormat format, const TeraEdit* months)
      : dateFormat(format), monthFinder(months) {}

  /// Gives the graph the nodes of its text. Returns the number of dates; -1 for a text that cannot be split.
  int detect(TeraScanGraph* graph, std::vector<Found>* found) const;

 private:
  DimeDateText::DateFormat dateFormat;
  const TeraEdit* monthFinder;
};
