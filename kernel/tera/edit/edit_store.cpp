#include "tera/edit/edit_store_internal.h"

#include <algorithm>
#include <utility>

#include "tera/tera_edit.h"
#include "tera/tera_scan.h"
#include "tera/tera_token.h"

namespace {

/// What may stand between words, whatever the locale.
bool is_separator(unsigned char c) {
  return c <= ' ' || (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') ||
         (c >= '{' && c <= 0x7F);
}

constexpr int SECTION = TeraBitMatrix::SECTION_SLOTS;
constexpr int PADDING_WORDS = EDIT_PADDING * EDIT_BLOCK_WORDS;

constexpr int blocks_of(int slots) {
  return slots / EDIT_BLOCK_LANES + (slots % EDIT_BLOCK_LANES != 0 ? 1 : 0);
}

/// The slots of one length as words of lanes, whatever sections they lie in.
class GroupReader {
 public:
  GroupReader(const TeraBitMatrix& matrix, const VBit* words, int length)
      : itsMatrix(matrix),
        column(words),
        first(matrix.first_slot(length)),
        last(length < matrix.get_max_length() - 1 ? matrix.first_slot(length + 1) : matrix.get_num_slots()) {}

  int num_words() const { return (last - first + SECTION - 1) / SECTION; }
  VBit word(int w, int pos) const {
    const int slot = first + w * SECTION;
    const int section = slot / SECTION;
    const int shift = slot % SECTION;
    VBit lanes = column[itsMatrix.section_start(section) + pos] >> shift;
    const int left = last - slot;
    if (shift != 0 && SECTION - shift < left)
      lanes |= column[itsMatrix.section_start(section + 1) + pos] << (SECTION - shift);
    return left < SECTION ? lanes & ((VBit{1} << left) - 1) : lanes;
  }

 private:
  const TeraBitMatrix& itsMatrix;
  const VBit* column;
  int first;
  int last;
};

}  // namespace

// ---------------------------------------------------------------- columns

EditColumns::EditColumns(const TeraBitMatrix& matrix, bool reverse)
    : itsMatrix(matrix), isReversed(reverse), columns(std::make_unique<Column[]>(NUM_COLUMNS)) {
  groupStart.resize(static_cast<std::size_t>(matrix.get_max_length()) + 1);
  std::size_t next = PADDING_WORDS;
  std::size_t largest = 0;
  for (int length = 0; length < matrix.get_max_length(); ++length) {
    groupStart[static_cast<std::size_t>(length)] = next;
    const std::size_t words =
        static_cast<std::size_t>(num_blocks(length)) * static_cast<std::size_t>(length) * EDIT_BLOCK_WORDS;
    next += words;
    if (matrix.num_words() > 0) largest = std::max(largest, words);  // else nobody asks
  }
  groupStart.back() = next + PADDING_WORDS;
  zeros = std::make_unique<VUint[]>(largest + 2 * PADDING_WORDS);
}

int EditColumns::num_slots(int length) const {
  const bool isLast = length == itsMatrix.get_max_length() - 1;
  return (isLast ? itsMatrix.get_num_slots() : itsMatrix.first_slot(length + 1)) -
         itsMatrix.first_slot(length);
}

int EditColumns::num_blocks(int length) const {
  return blocks_of(num_slots(length));
}

const VUint* EditColumns::get(int tok, int length) {
  Column& column = columns[static_cast<std::size_t>(tok)];
  column.once.call([&] { tok == ANY_TOKEN ? unite(&column) : decode(tok, &column); });
  if (column.isDamaged) return nullptr;
  return column.words != nullptr ? column.words.get() + offset_of(length) : zeros.get() + PADDING_WORDS;
}

void EditColumns::decode(int tok, Column* column) {
  if (tok >= itsMatrix.get_num_cols() || itsMatrix.get_module(tok).is_empty()) return;
  const int num = itsMatrix.num_words();
  const auto words = std::make_unique_for_overwrite<VBit[]>(static_cast<std::size_t>(num));
  if (itsMatrix.get_module(tok).decompress(words.get(), num) < 0) {
    column->isDamaged = true;
    return;
  }
  auto lanes = std::make_unique<VUint[]>(groupStart.back());
  for (int length = 1; length < itsMatrix.get_max_length(); ++length) {
    const GroupReader group(itsMatrix, words.get(), length);
    VUint* const start = lanes.get() + offset_of(length);
    for (int w = 0; w < group.num_words(); ++w) {
      VUint* const block = start + static_cast<VInt>(w / EDIT_BLOCK_WORDS) * length * EDIT_BLOCK_WORDS;
      for (int pos = 0; pos < length; ++pos)
        block[pos * EDIT_BLOCK_WORDS + w % EDIT_BLOCK_WORDS] =
            group.word(w, isReversed ? length - 1 - pos : pos);
    }
  }
  column->words = std::move(lanes);
}

void EditColumns::unite(Column* column) {
  const std::size_t num = groupStart.back();
  auto lanes = std::make_unique<VUint[]>(num);
  for (int tok = 0; tok < itsMatrix.get_num_cols(); ++tok) {
    get(tok, 1);
    const Column& other = columns[static_cast<std::size_t>(tok)];
    column->isDamaged |= other.isDamaged;
    for (std::size_t i = 0; other.words != nullptr && i < num; ++i) lanes[i] |= other.words[i];
  }
  column->words = std::move(lanes);
}

// ---------------------------------------------------------------- tokens

EditStore::EditStore(const TeraEdit& edit)
    : itsEdit(edit),
      entryColumns(std::make_unique<EditColumns>(edit, (edit.get_features() & TeraEdit::REVERSE) != 0)),
      tokensOfLength(std::make_unique<EditTokens[]>(static_cast<std::size_t>(edit.get_max_length()) + 1)) {
  if (edit.get_filter() != nullptr)
    filterColumns =
        std::make_unique<EditColumns>(*edit.get_filter(), (edit.get_features() & TeraEdit::REVERSE) != 0);
}

const EditTokens& EditStore::tokens(int length) {
  EditTokens& found = tokensOfLength[static_cast<std::size_t>(length)];
  found.once.call([&] { convert(length, &found); });
  return found;
}

void EditStore::convert(int length, EditTokens* out) const {
  const int num = entryColumns->num_slots(length);
  const int whole = num / SECTION + (num % SECTION != 0 ? 1 : 0);
  const auto sections = static_cast<std::size_t>(whole);
  const std::size_t n = static_cast<std::size_t>(length);
  // Made aside: a conversion that memory does not suffice for is begun anew by the next recall.
  auto ownBytes = std::make_unique<Token[]>((sections * n + 2 * EDIT_PADDING) * EDIT_WORD_LANES);
  Token* const bytes = ownBytes.get() + EDIT_PADDING * EDIT_WORD_LANES;
  std::vector<Large> withOperators;
  const bool noGlob = (itsEdit.get_features() & TeraEdit::ALLOW_ALT) == 0;
  const bool operators = !noGlob && itsEdit.get_tera_map()->is_operator(TOKEN_WILDCARD);
  AceAttach at;
  std::vector<Token> tokens(n + 1);
  for (int lane = 0; lane < num; ++lane) {
    const char* string = itsEdit.get_string(static_cast<Large>(itsEdit.first_slot(length) + lane), &at);
    if (string == nullptr || *string == '\0') continue;
    TeraScan scan(itsEdit.get_tera_map(), string, noGlob);
    bool isPlain = true;
    std::size_t count = 0;
    for (Token tok; count <= n && (tok = scan.get_next_token(0)) != 0; ++count) {
      tokens[count] = tok;
      isPlain &= !operators || tok < TOKEN_WILDCARD;
    }
    Token* const place = bytes + static_cast<std::size_t>(lane / EDIT_WORD_LANES) * n * EDIT_WORD_LANES +
                         lane % EDIT_WORD_LANES;
    if (!isPlain)
      withOperators.push_back(static_cast<Large>(lane));
    else if (count == n)  // else the file's strings are not those of its lengths
      for (std::size_t pos = 0; pos < n; ++pos) place[pos * EDIT_WORD_LANES] = tokens[pos];
    at.release();
  }
  out->withOperators = std::move(withOperators);
  out->ownBytes = std::move(ownBytes);
  out->bytes = bytes;
}

int EditStore::longest_words() {
  wordsOnce.call([this] { mostWords = count_words(); });
  return mostWords;
}

/// From the longest entries on: one of n positions has n words at most.
int EditStore::count_words() const {
  int most = 0;
  AceAttach at;
  for (int length = itsEdit.get_max_length() - 1; length > most; --length)
    for (int lane = 0; lane < entryColumns->num_slots(length); ++lane) {
      const char* string = itsEdit.get_string(static_cast<Large>(itsEdit.first_slot(length) + lane), &at);
      int words = 0;
      bool isInside = false;
      for (; string != nullptr && *string != '\0'; ++string) {
        const bool isPart = !is_separator(static_cast<unsigned char>(*string));
        words += isPart && !isInside ? 1 : 0;
        isInside = isPart;
      }
      most = std::max(most, words);
      at.release();
    }
  return most;
}
