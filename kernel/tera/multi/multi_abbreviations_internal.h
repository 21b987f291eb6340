/// The keys of an index of words that end with a dot or are single letters, in an index of their own, which
/// is made when it is first needed: few of many words, so that looking for the abbreviations of a word is
/// cheap.
///
/// Thread safety: any number of threads may ask at once.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "tera/tera_edit.h"

class TeraMulti;

class MultiAbbreviations {
 public:
  /// The index of the abbreviations among the keys; its attribute numbers are the keys'.
  const TeraEdit& get(const TeraMulti& multi);
  /// The entries have changed.
  void clean();

 private:
  class Reader;

  std::atomic<const TeraEdit*> ready = nullptr;
  std::mutex making;
  std::unique_ptr<TeraEdit> made;
};
