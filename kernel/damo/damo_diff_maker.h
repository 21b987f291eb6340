/// Difference files made from two deliveries.
///
///     int key[] = {0};
///     DamoDiffMaker maker(key, 1, 3);
///     maker.add_old("people.txt");
///     maker.add_new("delivery.txt");
///     maker.make("delivery.dif", rep);
///
/// For each key whose records differ, in whatever order they are, the file has all its new records, or a
/// "<del>" line when there is none. `DamoDiff`, without `implicit_delete`, turns the old records into the new
/// ones with it.
///
/// Cost: each file is read once. In memory are the old records, and of the new ones those that have changed.
/// What is larger than the memory allowed is dealt out by key onto temporary files in the folder of the
/// difference file, and compared piece by piece; a key's records are always in one piece.
/// Errors: `AceException` for files that cannot be read or written, for a line with another number of fields,
/// and for a changed record that a difference file cannot say: nothing but a key (a deletion), or "<del>" as
/// its first field.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_types.h"

class AceReporter;

class SORV_API DamoDiffMaker {
 public:
  static constexpr VInt DEFAULT_MEMORY = VInt{64} << 20;

  /// As for `DamoDiff`.
  DamoDiffMaker(const int* id_cols, int num_ids, int num_fields);

  /// Parts of the two deliveries.
  void add_old(const char* file);
  void add_new(const char* file);
  /// Bytes that comparing takes, about.
  void set_memory(VInt bytes);
  /// Returns the number of lines.
  VInt make(const char* file, AceReporter* rep);

 private:
  std::vector<int> idCols;
  int numFields;
  VInt memory = DEFAULT_MEMORY;
  std::vector<std::string> oldFiles;
  std::vector<std::string> newFiles;
};
