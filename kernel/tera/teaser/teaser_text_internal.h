/// A text and the spans of it that matched: how it is shortened around them, and marked.
///
///     text    ... in the old part of Karlsruhe, near the main station of the town ...
///     spans                          ~~~~~~~~~               ~~~~~~~
///     teaser  ...part of <b>Karlsruhe</b>, near the main <b>station</b> of the t...
///                |------| context         |- gap, whole -|              |-----|
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class AceAttach;

struct TeaserSpan {
  int from;
  int to;
  int quality;  ///< 0..255; -1: not known
  int word;     ///< the query word; -1: none
};

/// How a teaser is to look. Lengths are in bytes.
struct TeaserStyle {
  std::string_view prefix;
  std::string_view suffix;
  int maxLength = 0;
  int minContext = 0;
  bool isUnicode = false;  ///< cuts are made between characters
};

class TeaserText {
 public:
  static constexpr std::string_view DOTS = "...";
  static constexpr int LENGTH_OF_DOTS = 3;

  /// Keeps the views.
  TeaserText(std::string_view text, const TeaserStyle& style) : fullText(text), textStyle(style) {}

  /// Starts ascend. A span that overlaps or touches the one before extends it, with the better quality.
  void add(const TeaserSpan& span);
  /// The text marked whole if it fits, else shortened; in `at`.
  char* build(AceAttach* at);
  /// The text if `size` exceeds its length, else its beginning of at most so many bytes and "...".
  static char* clip(std::string_view text, VInt size, bool is_unicode, AceAttach* at);

 private:
  class Output;

  int length() const { return static_cast<int>(fullText.size()); }
  int gap_before(std::size_t span) const { return spans[span].from - spans[span - 1].to; }
  int tail() const { return length() - spans.back().to; }
  char* build_marked(AceAttach* at) const;
  char* build_merged(AceAttach* at);
  VInt count_len(int context, std::size_t* count) const;
  void keep_first_of_words();
  bool fit_spans();
  int widest_context() const;
  void put_mark(std::size_t span, Output* out) const;

  std::string_view fullText;
  const TeaserStyle& textStyle;
  std::vector<TeaserSpan> spans;
};
