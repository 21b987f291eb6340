#include "tera/tera_words.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "ace/ace_error.h"
#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_bipartite.h"
#include "tera/tera_map.h"
#include "tera/tera_token.h"
#include "tera/tera_word.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

using Options = TeraWordOptions;

constexpr int BLOCK_SIZE = MASK_SIZE<Mask>;

bool no_glob_of(int options) {
  return (options & Options::NO_GLOB) != 0;
}

/// The values of all words, with the best of them.
class Values {
 public:
  Values(TeraEval::Eval* model, int* array, int array_stride)
      : eval(model), values(array), stride(array_stride) {}

  /// `raw` is the word's value without a model.
  void add(int length, int match, int entry_length, int raw) {
    put(eval != nullptr ? eval(length, match, entry_length) : raw);
  }
  void put(int value) {
    if (values != nullptr) values[VInt{numValues} * stride] = value;
    best = best < 0 ? value : eval != nullptr ? std::max(best, value) : std::min(best, value);
    ++numValues;
  }
  /// Of a word that is too long to be measured.
  void put_none() {
    if (values != nullptr) values[VInt{numValues} * stride] = -1;
    ++numValues;
  }
  int get_best() const { return best; }
  TeraEval::Eval* get_eval() const { return eval; }

 private:
  TeraEval::Eval* eval;
  int* values;
  int stride;
  int numValues = 0;
  int best = -1;
};

/// Where the words of a block lie.
struct Layout {
  const Tiny* sizes;
  int numWords;
  Mask starts;
  Mask ends;

  /// Calls `use(first, size)` for each word.
  template <class Use>
  void for_each(Use use) const {
    int first = 0;
    for (int i = 0; i < numWords; first += sizes[i++]) use(first, int{sizes[i]});
  }
};

Mask word_mask(int first, int size) {
  return size > 0 ? low_bits<Mask>(size) << first : 0;
}

/// The sum in each word; carries out of a word are lost.
Mask add_in_words(Mask a, Mask b, Mask ends) {
  return ((a & ~ends) + (b & ~ends)) ^ ((a ^ b) & ends);
}

/// The edit columns of all words of a block; see `tera_loops::EditColumn`.
struct EditColumns {
  Mask plus;
  Mask minus = 0;
  Mask zero = 0;
  Mask before = 0;
  Mask rowPlus = 0;
  Mask rowMinus = 0;

  explicit EditColumns(bool freeRows) : plus(freeRows ? 0 : ~Mask{0}) {}

  void step(Mask accepted, bool freeStart, bool transpose, const Layout& layout) {
    Mask now = (add_in_words(accepted & plus, plus, layout.ends) ^ plus) | accepted | minus;
    if (transpose) {
      now |= ((~zero & accepted) << 1) & before & ~layout.starts;
      before = accepted;
      zero = now;
    }
    rowPlus = minus | ~(now | plus);
    rowMinus = plus & now;
    const Mask shifted = ((rowPlus << 1) & ~layout.starts) | (freeStart ? 0 : layout.starts);
    minus = shifted & now;
    plus = ((rowMinus << 1) & ~layout.starts) | ~(now | shifted);
  }

  /// D[m][n] of a word whose D[0][n] is `top`.
  int last_row(Mask rows, int top) const { return top + count_bits(plus & rows) - count_bits(minus & rows); }
  /// The smallest D[i][n].
  int lowest_row(int first, int size, int top) const {
    int lowest = top;
    for (int i = first; i < first + size; ++i) {
      top += has_bit(plus, i) ? 1 : has_bit(minus, i) ? -1 : 0;
      lowest = std::min(lowest, top);
    }
    return lowest;
  }
};

/// D[m][j] of every word, kept at the bit of its last position, and the smallest of them.
class LastRows {
 public:
  LastRows(const Layout& layout, bool freeRows) : ends(layout.ends) {
    layout.for_each([&](int first, int size) {
      if (size > 0) distance[first + size - 1] = lowest[first + size - 1] = freeRows ? 0 : size;
    });
  }
  void step(const EditColumns& columns) {
    for (Mask left = columns.rowMinus & ends; left != 0; left &= left - 1) {
      const int i = first_bit(left);
      lowest[i] = std::min(lowest[i], --distance[i]);
    }
    for (Mask left = columns.rowPlus & ends; left != 0; left &= left - 1) ++distance[first_bit(left)];
  }
  int get_lowest(int last) const { return lowest[last]; }

 private:
  Mask ends;
  int distance[BLOCK_SIZE];
  int lowest[BLOCK_SIZE];
};

struct WordEdit {
  int match = INT_MIN;
  int distance = 0;
};

/// Stores the words' edits in `edits` where they match more than what is there. At most one of the two
/// suffixes is free. Returns the entry's length.
template <class Positions>
int improve_edits(const Layout& layout, Positions entry, int options, WordEdit* edits) {
  const bool freeStart = (options & Options::FREE_ENTRY_PREFIX) != 0;
  const bool freeRows = (options & Options::FREE_QUERY_PREFIX) != 0;
  const bool freeEnd = (options & Options::FREE_ENTRY_SUFFIX) != 0;
  const bool freeLastRows = (options & Options::FREE_QUERY_SUFFIX) != 0;
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  EditColumns columns(freeRows);
  LastRows rows(layout, freeRows);
  int n = 0;
  for (Mask accepted; entry.next(accepted); ++n) {
    columns.step(accepted, freeStart, transpose, layout);
    if (freeEnd) rows.step(columns);
  }
  const int top = freeStart ? 0 : n;
  layout.for_each([&](int first, int size) {
    int distance = 0;
    if (freeLastRows)
      distance = columns.lowest_row(first, size, top);
    else if (!freeEnd)
      distance = columns.last_row(word_mask(first, size), top);
    else if (size > 0)
      distance = rows.get_lowest(first + size - 1);
    const int match = tera_loops::edit_match(size, {distance, n}, options);
    if (match > edits->match) *edits = {match, distance};
    ++edits;
  });
  return n;
}

template <class Positions>
void leven_block(const Layout& layout, const Positions& entry, int options, Values& values) {
  WordEdit edits[BLOCK_SIZE];
  int n = 0;
  if ((options & tera_loops::BOTH_SUFFIXES) == tera_loops::BOTH_SUFFIXES) {  // as in `choose_half`
    improve_edits(layout, entry, options & ~Options::FREE_QUERY, edits);
    n = improve_edits(layout, entry, options & ~Options::FREE_ENTRY, edits);
  } else {
    n = improve_edits(layout, entry, options, edits);
  }
  const WordEdit* edit = edits;
  layout.for_each([&](int, int size) {
    values.add(size, edit->match, n, edit->distance);
    ++edit;
  });
}

template <class Positions>
void lcs_block(const Layout& layout, Positions entry, Values& values) {
  Mask same = ~Mask{0};
  int n = 0;
  for (Mask accepted; entry.next(accepted); ++n) {
    const Mask hit = same & accepted;
    same = add_in_words(same, hit, layout.ends) | (same ^ hit);
  }
  layout.for_each([&](int first, int size) {
    const int length = count_bits(~same & word_mask(first, size));
    values.add(size, length, n, length);
  });
}

template <class Positions>
void count_block(const Layout& layout, Positions entry, int options, Values& values) {
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  Mask places = layout.starts;  // position n of every word that has so many
  Mask counted = 0;
  Mask before = 0;
  int n = 0;
  for (Mask accepted; n < tera_loops::MAX_COUNTED && entry.next(accepted); ++n) {
    counted |= places & accepted;
    if (transpose && n > 0) counted |= places & (accepted << 1) & before;
    places = (places & ~layout.ends) << 1;
    before = accepted;
  }
  layout.for_each([&](int first, int size) {
    const int hits = count_bits(counted & word_mask(first, size));
    values.add(size, hits, n, hits);
  });
}

}  // namespace

TeraTokenWords::~TeraTokenWords() {
  clear();
}

/// Block by block: a chain may be too long for destructors that call each other.
void TeraTokenWords::clear() {
  while (nextWords != nullptr) nextWords = std::move(nextWords->nextWords);
  longWord = nullptr;
  numWords = 0;
  numPositions = 0;
  sepMask = wordLength = 0;
  std::fill_n(tokenPattern, NUM_TOKEN_VALUES, Mask{0});
}

int TeraTokenWords::build(int num, const Token* const* words, bool operators) {
  clear();
  if (num < 0 || words == nullptr) return -1;
  static constexpr Token NO_TOKENS[] = {0};
  TeraTokenWords* block = this;
  block->hasOperators = operators;
  for (int i = 0; i < num; ++i) {
    const Token* const word = words[i] != nullptr ? words[i] : NO_TOKENS;
    if (operators && TeraToken::alt_len(word) < 0) {
      clear();
      return -1;
    }
    const int length = walk_positions(
        word, operators, [](int, Token) {}, [](int) {}, [](int) {});
    while (!block->add(word, length, operators)) {
      block->nextWords = std::make_unique<TeraTokenWords>();
      block = block->nextWords.get();
    }
  }
  return num;
}

/// False when the block has no room for the word.
bool TeraTokenWords::add(const Token* word, int length, bool operators) {
  static_assert(MAX_WORDS <= BLOCK_SIZE);
  const bool isEmpty = numWords == 0;
  if (!isEmpty && (longWord != nullptr || numWords == MAX_WORDS || length > BLOCK_SIZE - numPositions))
    return false;
  if (isEmpty) {
    hasOperators = operators;
    if (operators) tokenPattern[TOKEN_WILDCARD] = ~Mask{0};
  }
  ++numWords;
  if (length > BLOCK_SIZE) {
    longWord = std::make_unique<TeraTokenWord>();
    longWord->build(word, operators);
    return true;
  }
  const auto accept = [&](int pos, Token tok) {
    const Mask bit = bit_at<Mask>(numPositions + pos);
    if (operators && tok == TOKEN_WILDCARD)
      for (int any = 0; any < TOKEN_WILDCARD; ++any) tokenPattern[any] |= bit;
    else
      tokenPattern[tok] |= bit;
  };
  walk_positions(
      word, operators, accept, [](int) {}, [](int) {});
  sizes[numWords - 1] = static_cast<Tiny>(length);
  if (length > 0) {
    sepMask |= bit_at<Mask>(numPositions);
    wordLength |= bit_at<Mask>(numPositions + length - 1);
  }
  numPositions += length;
  return true;
}

int TeraTokenWords::validate_options(int options) {
  if ((options & tera_loops::BOTH_SUFFIXES) == tera_loops::BOTH_SUFFIXES) return 0;
  return TeraWord::validate_options(options);
}

int TeraTokenWords::num_words() const {
  int total = 0;
  for (const TeraTokenWords* block = this; block != nullptr; block = block->nextWords.get())
    total += block->numWords;
  return total;
}

namespace {

/// The measures, for a block or for a word that is alone.
struct Leven {
  int options;
  template <class Positions>
  void of_block(const Layout& layout, const Positions& entry, Values& values) const {
    leven_block(layout, entry, options, values);
  }
  int of_word(const auto& word, const auto& entry, TeraEval::Eval* eval) const {
    return tera_loops::leven(word, entry, eval, options);
  }
};
struct Lcs {
  template <class Positions>
  void of_block(const Layout& layout, const Positions& entry, Values& values) const {
    lcs_block(layout, entry, values);
  }
  int of_word(const auto& word, const auto& entry, TeraEval::Eval* eval) const {
    return tera_loops::lcs(word, entry, eval);
  }
};
struct Count {
  int options;
  template <class Positions>
  void of_block(const Layout& layout, const Positions& entry, Values& values) const {
    count_block(layout, entry, options, values);
  }
  int of_word(const auto& word, const auto& entry, TeraEval::Eval* eval) const {
    return tera_loops::count(word, entry, eval, options);
  }
};

}  // namespace

template <class Source, class Measure>
int TeraTokenWords::run(const Source& source, Eval* eval, int options, int* values, int stride,
                        Measure measure) const {
  if (numWords == 0 || validate_options(options) < 0) return -1;
  Values collected(eval, values, stride);
  for (const TeraTokenWords* block = this; block != nullptr; block = block->nextWords.get()) {
    if (block->longWord != nullptr && block->longWord->length() < 0) {
      collected.put_none();
    } else if (block->longWord != nullptr) {
      collected.put(block->longWord->visit([&](const auto& pattern) {
        return run_on(pattern, source, options, false, [&](const auto& word, const auto& entry) {
          return measure.of_word(word, entry, eval);
        });
      }));
    } else {
      const TeraPositions<Mask, Source> entry(block->tokenPattern, source, !no_glob_of(options),
                                              block->hasOperators);
      measure.of_block(Layout{block->sizes, block->numWords, block->sepMask, block->wordLength}, entry,
                       collected);
    }
  }
  return collected.get_best();
}

int TeraTokenWords::leven(const Token* entry, Eval* eval, int options, int* values, int stride) const {
  if (entry == nullptr) return -1;
  return run(TeraTokenSource(entry), eval, options, values, stride, Leven{options});
}

int TeraTokenWords::lcs(const Token* entry, Eval* eval, int options, int* values, int stride) const {
  if (entry == nullptr) return -1;
  return run(TeraTokenSource(entry), eval, options, values, stride, Lcs{});
}

int TeraTokenWords::count(const Token* entry, Eval* eval, int options, int* values, int stride) const {
  if (entry == nullptr) return -1;
  return run(TeraTokenSource(entry), eval, options, values, stride, Count{options});
}

int TeraTokenWords::factor(const Token* entry, Eval* eval, int options, int* values, int stride) const {
  return leven(entry, eval, options | Options::FREE_ENTRY, values, stride);
}

TeraWords::TeraWords(int num, const char* const* words, const TeraMap* map, bool no_glob) : mapConfig(map) {
  build(num, words, no_glob);
}

TeraWords::TeraWords(const char* text, int sep, const TeraMap* map, bool no_glob) : mapConfig(map) {
  if (text == nullptr || map == nullptr) return;
  std::vector<std::string> split(1);
  for (; *text != 0; ++text) {
    if (*text == static_cast<char>(sep))
      split.emplace_back();
    else
      split.back() += *text;
  }
  std::vector<const char*> words;
  for (const std::string& word : split)
    if (map->tok_len(word.c_str(), no_glob) > 0) words.push_back(word.c_str());
  build(static_cast<int>(words.size()), words.data(), no_glob);
}

void TeraWords::build(int num, const char* const* words, bool no_glob) {
  if (num <= 0 || words == nullptr || mapConfig == nullptr) return;
  const Token** tokens = nullptr;
  memAt.malloc(tokens, num);
  for (int i = 0; i < num; ++i) tokens[i] = mapConfig->convert(words[i], no_glob, &memAt);
  tokenWords.build(num, tokens, mapConfig->is_operator(TOKEN_WILDCARD));
  memAt.release();
}

template <class Measure>
int TeraWords::run(const char* entry, Eval* eval, int options, int* values, int stride,
                   Measure measure) const {
  if (entry == nullptr || mapConfig == nullptr) return -1;
  return tokenWords.run(TeraTextSource(mapConfig, entry, no_glob_of(options)), eval, options, values, stride,
                        measure);
}

int TeraWords::leven(const char* entry, Eval* eval, int options, int* values, int stride) const {
  return run(entry, eval, options, values, stride, Leven{options});
}

int TeraWords::lcs(const char* entry, Eval* eval, int options, int* values, int stride) const {
  return run(entry, eval, options, values, stride, Lcs{});
}

int TeraWords::count(const char* entry, Eval* eval, int options, int* values, int stride) const {
  return run(entry, eval, options, values, stride, Count{options});
}

int TeraWords::phrase(int num, const char* const* entries, TeraEval::Model model, bool use_lcs, int options,
                      int* assign, int* quals) const {
  const int numQuery = num_words();
  Eval* eval = TeraEval::get_model_func(model, -1);
  if (num < 0 || (num > 0 && entries == nullptr) || numQuery == 0 || eval == nullptr) return -1;
  if (TeraTokenWords::validate_options(options) < 0) return -1;

  // The smaller side makes the rows.
  const bool queryIsRows = numQuery <= num;
  const int rows = std::min(numQuery, num);
  const int columns = std::max(numQuery, num);
  AceAttach at;
  int** matrix = nullptr;
  int* match = nullptr;
  try {
    at.malloc(matrix, rows + 1);
    at.malloc(match, rows + 1);
  } catch (const std::bad_alloc&) {
    return ace_error(__FILE__, __LINE__, "at.malloc(matrix,MIN(numWords,nwords))", -1, 0, -1);
  }
  try {
    at.malloc(matrix[0], VInt{numQuery} * num);
  } catch (const std::bad_alloc&) {
    return ace_error(__FILE__, __LINE__, "at.malloc(matrix[0],nwords*numWords)", -1, 0, -1);
  }
  for (int row = 1; row < rows; ++row) matrix[row] = matrix[0] + VInt{row} * columns;

  for (int j = 0; j < num; ++j) {
    if (entries[j] == nullptr) return -1;
    int* const values = queryIsRows ? matrix[0] + j : matrix[j];
    const int stride = queryIsRows ? columns : 1;
    use_lcs ? lcs(entries[j], eval, options, values, stride)
            : leven(entries[j], eval, options, values, stride);
  }
  std::replace(matrix[0], matrix[0] + VInt{numQuery} * num, -1, static_cast<int>(TeraEval::PERFECT));
  const int total = tera_bipartite_match(rows, columns, matrix, match);

  for (int j = 0; j < num; ++j) {
    if (assign != nullptr) assign[j] = -1;
    if (quals != nullptr) quals[j] = 0;
  }
  for (int row = 0; row < rows; ++row) {
    const int entry = queryIsRows ? match[row] : row;
    if (assign != nullptr) assign[entry] = queryIsRows ? row : match[row];
    if (quals != nullptr) quals[entry] = TeraEval::PERFECT - matrix[row][match[row]];
  }
  const auto fine = [](int words) {
    return static_cast<int>(std::min<VInt>(VInt{words} * TeraEval::FINE_UNIT, INT_MAX));
  };
  return total == 0 ? 0 : eval(fine(num), total, fine(numQuery));
}
