/// The limits of a recall that every method has options for.
///
/// Record of `save`: the three as ints.
/// Thread safety: as plain data; parsers: ace_options_parser.h.
#pragma once

#include "ace/ace_types.h"

class AceFile;
class AceOptionsParser;

class SORV_API DimeRecallOptions {
 public:
  static constexpr int MAX_QUALITY = 255;
  static constexpr int MOST_CANDS = 1000000;

  DimeRecallOptions(int min_value, int max_dist, int num_cands)
      : minValue(min_value), maxDist(max_dist), numCands(num_cands) {}

  /// Declares "min_value", "max_dist" and "num_cands", with the present values as defaults.
  void append(AceOptionsParser* parser) const;
  /// Takes over what was parsed. Returns 0; -1, with a warning, and nothing changes, for qualities outside
  /// 0..255 and numbers outside 1..MOST_CANDS.
  int assign(const AceOptionsParser* parser);
  void configure(const DimeRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  /// -1 for values that `assign` refuses.
  VInt read(AceFile* file);

  int minValue;
  int maxDist;
  int numCands;

 private:
  bool is_valid() const;
};
