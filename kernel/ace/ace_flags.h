/// Set of flags: one bit per index, in 64-bit words, the least significant bit first.
///
/// Payload of `save`, in order:
///
///     numIndices  VInt          number of flags, 0 or more
///     arrSize     VInt          number of words, as many as the flags need and no more
///     bitArray    arrSize x 8   if arrSize > 0; aligned to 8
///
/// Errors: an index out of range is not set, and changing it is refused. Flags read from a mapping are not
/// written to.
/// Thread safety: any number of threads may read flags that nobody changes.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;

class SORV_API AceFlags {
 public:
  AceFlags() = default;
  AceFlags(const AceFlags&) = delete;
  AceFlags& operator=(const AceFlags&) = delete;

  /// `size` flags (a negative number is 0), all clear, in place of what there was. Returns the number of
  /// words.
  VInt init(VInt size);
  /// Becomes empty.
  void clean();

  /// Change one flag. Return 0; -1 for an index out of range or a mapped array.
  int set(VInt index);
  int clear(VInt index);
  bool get(VInt index) const { return has(index) && (bitArray[index / WORD_BITS] & bit_of(index)) != 0; }
  /// Every bit of every word becomes 1, or 0. Return 0; -1 for a mapped array.
  int set_all();
  int clear_all();
  VInt get_num_ind() const { return numIndices; }

  // Persistence. `save` returns 0; `read` the number of flags, or -1, and no flags, for what is not a
  // payload.

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

 private:
  static constexpr VInt WORD_BITS = 64;

  static VUint bit_of(VInt index) { return VUint{1} << (index % WORD_BITS); }
  static VInt words_for(VInt size) { return size / WORD_BITS + (size % WORD_BITS != 0 ? 1 : 0); }
  bool has(VInt index) const { return static_cast<VUint>(index) < static_cast<VUint>(numIndices); }
  bool may_change(VInt index) const { return fileMapped == 0 && has(index); }
  int fill(int byte);

  VInt numIndices = 0;
  VInt arrSize = 0;
  VUint* bitArray = nullptr;  // arrSize words
  int fileMapped = 0;         // they lie in a mapping
  AceAttach memAt;            // holds them otherwise
};
