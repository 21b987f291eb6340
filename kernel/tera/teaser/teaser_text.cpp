#include "tera/teaser/teaser_text_internal.h"

#include <algorithm>

#include "ace/ace_attach.h"
#include "tera/tera_eval.h"

namespace {

constexpr int WORDS_TOLD_APART = 64;
/// A teaser that is so close to its maximum is long enough.
constexpr int SLACK = 5;

bool is_inside_character(char byte) {
  return (byte & 0xC0) == 0x80;
}

std::string_view first_bytes(std::string_view text, VInt size, bool is_unicode) {
  auto end = static_cast<std::size_t>(std::clamp(size, VInt{0}, static_cast<VInt>(text.size())));
  if (end < text.size())
    while (is_unicode && end > 0 && is_inside_character(text[end])) --end;
  return text.substr(0, end);
}

std::string_view last_bytes(std::string_view text, VInt size, bool is_unicode) {
  auto start = static_cast<std::size_t>(std::max(static_cast<VInt>(text.size()) - size, VInt{0}));
  if (start > 0)
    while (is_unicode && start < text.size() && is_inside_character(text[start])) ++start;
  return text.substr(start);
}

char* in_attach(const std::string& text, AceAttach* at) {
  return at->attach(text.data(), static_cast<VInt>(text.size()));
}

/// What `length` bytes of text take where `context` of them are kept for sure.
VInt shortened(int length, int context) {
  return std::min(VInt{length}, VInt{context} + TeaserText::LENGTH_OF_DOTS);
}
VInt shortened_gap(int length, int context) {
  return std::min(VInt{length}, 2 * VInt{context} + TeaserText::LENGTH_OF_DOTS);
}

}  // namespace

/// Takes pieces until one does not fit; from then on there are dots.
class TeaserText::Output {
 public:
  explicit Output(int max_length) : maxLength(max_length) {
    text.reserve(static_cast<std::size_t>(max_length) + LENGTH_OF_DOTS);
  }
  VInt room() const { return maxLength - static_cast<VInt>(text.size()); }
  void put(std::initializer_list<std::string_view> pieces) {
    VInt size = 0;
    for (const std::string_view piece : pieces) size += static_cast<VInt>(piece.size());
    if (isEnded) return;
    if (size > room()) return end();
    for (const std::string_view piece : pieces) text += piece;
  }
  void end() {
    text += DOTS;
    isEnded = true;
  }

  std::string text;
  bool isEnded = false;

 private:
  int maxLength;
};

void TeaserText::add(const TeaserSpan& span) {
  if (spans.empty() || span.from > spans.back().to) {
    spans.push_back(span);
    return;
  }
  TeaserSpan& last = spans.back();
  last.to = std::max(last.to, span.to);
  if (span.quality <= last.quality) return;
  last.quality = span.quality;
  last.word = span.word;
}

char* TeaserText::build(AceAttach* at) {
  const bool fits = length() <= textStyle.maxLength;
  if (spans.empty())
    return fits ? at->attach(fullText.data(), length())
                : clip(fullText, textStyle.maxLength, textStyle.isUnicode, at);
  return fits ? build_marked(at) : build_merged(at);
}

char* TeaserText::clip(std::string_view text, VInt size, bool is_unicode, AceAttach* at) {
  if (size > static_cast<VInt>(text.size())) return at->attach(text.data(), static_cast<VInt>(text.size()));
  std::string clipped(first_bytes(text, size, is_unicode));
  clipped += DOTS;
  return in_attach(clipped, at);
}

char* TeaserText::build_marked(AceAttach* at) const {
  std::string marked;
  marked.reserve(fullText.size() + spans.size() * (textStyle.prefix.size() + textStyle.suffix.size()));
  std::size_t done = 0;
  for (const TeaserSpan& span : spans) {
    const auto from = static_cast<std::size_t>(span.from);
    const auto to = static_cast<std::size_t>(span.to);
    marked.append(fullText.substr(done, from - done)).append(textStyle.prefix);
    marked.append(fullText.substr(from, to - from)).append(textStyle.suffix);
    done = to;
  }
  marked += fullText.substr(done);
  return in_attach(marked, at);
}

/// The length of the teaser with that context around each span. Stores how many spans end within the maximum.
VInt TeaserText::count_len(int context, std::size_t* count) const {
  const auto marks = static_cast<VInt>(textStyle.prefix.size() + textStyle.suffix.size());
  VInt total = shortened(spans.front().from, context);
  *count = 0;
  for (std::size_t i = 0; i < spans.size(); ++i) {
    if (i > 0) total += shortened_gap(gap_before(i), context);
    total += spans[i].to - spans[i].from + marks;
    if (total <= textStyle.maxLength) ++*count;
  }
  return total + shortened(tail(), context);
}

/// Further spans of a word that is shown already count for nothing, unless they are perfect.
void TeaserText::keep_first_of_words() {
  Mask seen = 0;
  for (TeaserSpan& span : spans) {
    if (span.word < 0) continue;
    const Mask bit = Mask{1} << (span.word % WORDS_TOLD_APART);
    if ((seen & bit) != 0 && span.quality < TeraEval::PERFECT) span.quality = 0;
    seen |= bit;
  }
}

/// Drops spans until the rest fits with the least context. False when not even the first one does.
bool TeaserText::fit_spans() {
  std::size_t count = 0;
  if (count_len(textStyle.minContext, &count) <= textStyle.maxLength) return true;
  std::vector<TeaserSpan> kept;
  for (const TeaserSpan& span : spans)
    if (span.quality != 0) kept.push_back(span);
  if (!kept.empty()) spans = std::move(kept);
  if (count_len(textStyle.minContext, &count) > textStyle.maxLength) spans.resize(count);
  return !spans.empty();
}

/// The least context with which the teaser is long enough, or a wider one would not make it longer, or not
/// fit. Lengths grow with the context by less and less: each of the three stays true once it is.
int TeaserText::widest_context() const {
  std::size_t count = 0;
  const auto is_wide = [&](int context) {
    const VInt total = count_len(context, &count);
    if (total >= textStyle.maxLength - SLACK) return true;
    const VInt wider = count_len(context + 1, &count);
    return wider == total || wider > textStyle.maxLength;
  };
  int low = textStyle.minContext;
  int high = std::max(low, textStyle.maxLength);
  while (low < high) {
    const int middle = low + (high - low) / 2;
    if (is_wide(middle))
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

void TeaserText::put_mark(std::size_t span, Output* out) const {
  const auto from = static_cast<std::size_t>(spans[span].from);
  out->put({textStyle.prefix, fullText.substr(from, static_cast<std::size_t>(spans[span].to) - from),
            textStyle.suffix});
}

char* TeaserText::build_merged(AceAttach* at) {
  keep_first_of_words();
  if (!fit_spans()) return clip(fullText, textStyle.maxLength, textStyle.isUnicode, at);
  const int context = widest_context();
  const bool isUnicode = textStyle.isUnicode;
  Output out(textStyle.maxLength);

  const std::string_view front = fullText.substr(0, static_cast<std::size_t>(spans.front().from));
  if (shortened(spans.front().from, context) == spans.front().from)
    out.put({front});
  else
    out.put({DOTS, last_bytes(front, context, isUnicode)});
  put_mark(0, &out);
  for (std::size_t i = 1; i < spans.size() && !out.isEnded; ++i) {
    const auto from = static_cast<std::size_t>(spans[i - 1].to);
    const std::string_view gap = fullText.substr(from, static_cast<std::size_t>(gap_before(i)));
    if (shortened_gap(gap_before(i), context) == gap_before(i))
      out.put({gap});
    else
      out.put({first_bytes(gap, context, isUnicode), DOTS, last_bytes(gap, context, isUnicode)});
    put_mark(i, &out);
  }
  const std::string_view rest = fullText.substr(static_cast<std::size_t>(spans.back().to));
  if (static_cast<VInt>(rest.size()) <= out.room()) {
    out.put({rest});
  } else if (!out.isEnded) {
    out.put({first_bytes(rest, out.room() - LENGTH_OF_DOTS, isUnicode)});
    out.end();
  }
  return in_attach(out.text, at);
}
