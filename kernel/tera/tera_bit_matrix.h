/// Bit matrix of an edit index: which entry has which token at which position.
///
/// Entries have slots, numbered by length: group L, the entries of L positions, takes the slots
/// [lengthSum[L - 1], lengthSum[L]), group 0 those from 0 on. Slot s is bit s % 64 of section s / 64. Section
/// k takes the words [sectionStart[k], sectionStart[k + 1]) of each column, one for each position of its
/// longest entries; word sectionStart[k] + p of a token's column says which of its entries have the token at
/// position p.
///
/// A section of entries without positions (the first of an aligned index) has a word as well.
///
/// Thread safety: a matrix that nobody changes may be read by any number of threads.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_module.h"

class AceFile;

class SORV_API TeraBitMatrix {
 public:
  static constexpr int SECTION_SLOTS = 64;

  TeraBitMatrix() = default;
  TeraBitMatrix(const TeraBitMatrix&) = delete;
  TeraBitMatrix& operator=(const TeraBitMatrix&) = delete;

  /// Lays out a matrix for `cols` tokens, without columns. `slots`: the number of slots of each length.
  void init_layout(int cols, const std::vector<int>& slots);
  /// Makes plain columns without bits. Returns 0; -1 for more words than an int counts.
  int init_modules();
  /// Becomes empty.
  void clean_matrix();
  /// Sets the bit of a token at a position of a slot, in columns that are plain.
  void set_bit(int slot, int pos, Token tok);
  /// Drops empty columns and, unless they shall stay plain, codes the others. No more bits are set then.
  void finish_columns(bool stay_plain);

  /// Slots of all lengths, padding included.
  int get_num_slots() const { return maxLength > 0 ? lengthSum[maxLength - 1] : 0; }
  /// First slot of the entries of `length` positions (0..maxLength).
  int first_slot(int length) const { return length > 0 ? lengthSum[length - 1] : 0; }
  /// Words of a column.
  int num_words() const { return sectionStart.empty() ? 0 : sectionStart.back(); }
  int get_max_length() const { return maxLength; }
  int get_num_cols() const { return numCols; }
  /// Columns that are there: none before they are made or read.
  int num_modules() const { return bitModule != nullptr ? numCols : 0; }
  /// First word of a section's columns.
  int section_start(int section) const { return sectionStart[static_cast<std::size_t>(section)]; }
  const TeraModule& get_module(int tok) const { return bitModule[tok]; }
  /// Sections and columns in bytes, as they are.
  VInt get_comp_size() const;

 protected:
  ~TeraBitMatrix() = default;

  /// `lengthSum` and, for `sections` above 0, `sectionStart`.
  void save_sums(AceFile* file, int sections) const;
  void save_modules(AceFile* file) const;
  /// Read for `maxLength` and `numCols` what was saved, and check that it is the layout of its lengths. -1,
  /// explained on the default reporter.
  int read_sums(AceFile* file, int sections);
  int read_modules(AceFile* file);
  /// Whether a column has a bit.
  bool has_words() const;
  /// Whether columns are there, and not finished.
  bool is_plain() const { return isPlain; }

  static std::vector<int> make_sections(const int* sums, int lengths);
  int refuse_matrix(const char* reason) const;

  int maxLength = 0;  ///< one more than the longest length
  int numCols = 0;
  const int* lengthSum = nullptr;
  int numSections = 0;
  std::vector<int> sectionStart;  ///< numSections + 1
  std::unique_ptr<TeraModule[]> bitModule;
  std::vector<int> ownSums;  // lengthSum
  bool isPlain = false;
};
