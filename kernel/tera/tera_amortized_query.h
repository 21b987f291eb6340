/// Queries that give an item its quality from the qualities that the words of a text were found with.
#pragma once

#include "ace/ace_types.h"

class SORV_API TeraAmortizedQuery {
 public:
  TeraAmortizedQuery() = default;
  TeraAmortizedQuery(const TeraAmortizedQuery&) = delete;
  TeraAmortizedQuery& operator=(const TeraAmortizedQuery&) = delete;
  virtual ~TeraAmortizedQuery() = default;

  virtual int get_num_words() const = 0;
  /// `qualities` has for each word of the text `divisor` times the quality (0..255) of its best hit in the
  /// item, 0 for none. Returns 0..255.
  virtual int get_quality(const int* qualities, Large item, int divisor) const = 0;
};
