/// Coarse filter of an edit index: a bit matrix over groups of neighbouring entries.
///
/// Filter slot k of length group L has the tokens of all entries of the slots first + (k << f) and up to
/// 2^f - 1 further ones of that group, first being the group's first slot. So what does not match a filter
/// slot matches none of its entries. The number of filter slots of a length is rounded up to a multiple
/// of 64.
///
/// Payload of `save`: docs/formats.md.
#pragma once

#include "tera/tera_bit_matrix.h"

class AceFile;
class AceReporter;

class SORV_API TeraFilter : public TeraBitMatrix {
 public:
  /// A plain filter without bits for the matrix given. `slots`: entries of each length, `log` f.
  /// Returns the number of filter slots, or -1.
  int build(int cols, const std::vector<int>& slots, int log);
  /// Filter slots for so many entries of a length.
  static int slots_for(int entries, int log);
  void print(AceReporter* rep) const;

  VInt save(AceFile* file) const;
  /// -1, explained on the default reporter, for what is not the filter of such a matrix.
  VInt read(AceFile* file, int cols, const std::vector<int>& slots, int log);

 private:
  static std::vector<int> filter_slots(const std::vector<int>& slots, int log);
};
