#include "tera/edit/edit_store_internal.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

#include "tera/edit/edit_scratch_internal.h"
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
      tokensOfLength(std::make_unique<EditTokens[]>(static_cast<std::size_t>(edit.get_max_length()) + 1)),
      scratchPool(std::make_unique<EditScratchPool>()) {
  if (edit.get_filter() != nullptr)
    filterColumns =
        std::make_unique<EditColumns>(*edit.get_filter(), (edit.get_features() & TeraEdit::REVERSE) != 0);
}

EditStore::~EditStore() = default;

const EditTokens& EditStore::tokens(int length, int lanes_log, std::span<const Large> groups) {
  EditTokens& found = tokensOfLength[static_cast<std::size_t>(length)];
  found.once.call([&] { prepare(length, &found); });
  const int sectionLog = std::countr_zero(static_cast<unsigned>(SECTION)) - lanes_log;
  for (const Large group : groups) {
    const Large section = group >> sectionLog;
    if (found.isConverted[section].load(std::memory_order_acquire)) continue;
    const std::scoped_lock lock(found.converting);
    if (found.isConverted[section].load(std::memory_order_relaxed)) continue;
    convert(length, static_cast<int>(section), &found);
    found.isConverted[section].store(true, std::memory_order_release);
  }
  return found;
}

void EditStore::prepare(int length, EditTokens* out) const {
  const int num = entryColumns->num_slots(length);
  const auto sections = static_cast<std::size_t>(num / SECTION + (num % SECTION != 0 ? 1 : 0));
  auto isConverted = std::make_unique<std::atomic<bool>[]>(sections);
  std::unique_ptr<VUint[]> operatorLanes;
  if (has_operators()) operatorLanes = std::make_unique<VUint[]>(sections);
  constexpr std::size_t line = EDIT_WORD_LANES;  // a position of a section is a cache line
  void* memory = std::calloc(sections * static_cast<std::size_t>(length) + 2 * EDIT_PADDING + 1, line);
  out->zeros.reset(memory);
  if (memory == nullptr) throw std::bad_alloc();
  std::size_t size = 2 * line;
  out->bytes = static_cast<Token*>(std::align(line, line, memory, size)) + EDIT_PADDING * line;
  out->isConverted = std::move(isConverted);
  out->operatorLanes = std::move(operatorLanes);
}

/// Whether entries may have them.
bool EditStore::has_operators() const {
  return (itsEdit.get_features() & TeraEdit::ALLOW_ALT) != 0 &&
         itsEdit.get_tera_map()->is_operator(TOKEN_WILDCARD);
}

/// One that memory does not suffice for is begun anew by the next recall.
void EditStore::convert(int length, int section, EditTokens* out) const {
  const int n = length;
  const bool noGlob = (itsEdit.get_features() & TeraEdit::ALLOW_ALT) == 0;
  const bool operators = has_operators();
  const int last = std::min(entryColumns->num_slots(length), (section + 1) * SECTION);
  Token* const bytes = out->bytes + static_cast<VInt>(section) * n * EDIT_WORD_LANES;
  AceAttach at;
  Token local[256];
  std::vector<Token> heap(n + 2 > static_cast<int>(sizeof local) ? static_cast<std::size_t>(n) + 2 : 0);
  Token* const tokens = heap.empty() ? local : heap.data();
  VUint withOperators = 0;
  for (int lane = section * SECTION; lane < last; ++lane) {
    const char* string = itsEdit.get_string(static_cast<Large>(itsEdit.first_slot(length) + lane), &at);
    if (string == nullptr || *string == '\0') continue;
    const int count = TeraScan(itsEdit.get_tera_map(), string, noGlob).convert(tokens, n + 2);
    const bool isPlain =
        !operators || std::all_of(tokens, tokens + count, [](Token tok) { return tok < TOKEN_WILDCARD; });
    Token* const place = bytes + lane % EDIT_WORD_LANES;
    if (!isPlain)
      withOperators |= VUint{1} << lane % EDIT_WORD_LANES;
    else if (count == n)  // else the file's strings are not those of its lengths
      for (int pos = 0; pos < n; ++pos) place[pos * EDIT_WORD_LANES] = tokens[pos];
    at.release();
  }
  if (out->operatorLanes != nullptr) out->operatorLanes[static_cast<std::size_t>(section)] = withOperators;
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
