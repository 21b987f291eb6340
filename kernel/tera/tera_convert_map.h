/// Tables from code points to texts, and the one from Chinese characters to their sounds.
#pragma once

#include <span>

#include "ace/ace_types.h"

class AceAttach;

/// One row. Tables are sorted by `uni`. Constant tables are shared by all threads.
struct SORV_API ConvertMap {
  int uni;            ///< code point
  const char* sound;  ///< UTF-8

  /// The texts of the characters of `query` that have a row among the `num` rows of `cmap`, joined, in `at`;
  /// the other characters are dropped. Null gives null. What follows an invalid sequence is dropped, and the
  /// sequence is told on the default reporter.
  static char* convert(const char* query, const ConvertMap* cmap, int num, AceAttach* at);
};

/// Chinese characters with their most usual reading in pinyin, in lower case without tones, with "v" for the
/// rounded u ("lv"). Sorted by code point.
SORV_API std::span<const ConvertMap> tera_pinyin_map();
