#include "tera/edit/edit_store_internal.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

#include "ace/ace_admin.h"
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

constexpr int blocks_of(int slots, int block_slots = EDIT_BLOCK_LANES) {
  return slots / block_slots + (slots % block_slots != 0 ? 1 : 0);
}

constexpr std::size_t PAGE = 4096;
#ifdef ACE_ADDRESS_SANITIZER
constexpr bool IS_WATCHED = true;  // it sees what comes from the heap
#else
constexpr bool IS_WATCHED = false;
#endif

/// Asks for all pages of memory that is about to be written at once, which takes two thirds of the time that
/// they take one by one. Where the system cannot, nothing happens.
void populate([[maybe_unused]] VUint* from, [[maybe_unused]] VUint* to) {
#ifdef MADV_POPULATE_WRITE
  constexpr std::size_t fewPages = 2;
  std::size_t left = static_cast<std::size_t>(to - from) * sizeof(VUint);
  void* start = from;
  if (std::align(PAGE, PAGE, start, left) != nullptr && left >= fewPages * PAGE)
    madvise(start, left / PAGE * PAGE, MADV_POPULATE_WRITE);
#endif
}

/// The slots of one length as words of lanes, whatever sections they lie in.
class GroupReader {
 public:
  /// `words` are those of the sections from the first one on.
  GroupReader(const TeraBitMatrix& matrix, const VBit* words, int first_section, int length)
      : itsMatrix(matrix),
        column(words),
        firstWord(matrix.section_start(first_section)),
        first(matrix.first_slot(length)),
        last(length < matrix.get_max_length() - 1 ? matrix.first_slot(length + 1) : matrix.get_num_slots()) {}

  int num_words() const { return (last - first + SECTION - 1) / SECTION; }
  VBit word(int w, int pos) const {
    const int slot = first + w * SECTION;
    const int section = slot / SECTION;
    const int shift = slot % SECTION;
    VBit lanes = column[itsMatrix.section_start(section) - firstWord + pos] >> shift;
    const int left = last - slot;
    if (shift != 0 && SECTION - shift < left)
      lanes |= column[itsMatrix.section_start(section + 1) - firstWord + pos] << (SECTION - shift);
    return left < SECTION ? lanes & ((VBit{1} << left) - 1) : lanes;
  }

 private:
  const TeraBitMatrix& itsMatrix;
  const VBit* column;
  int firstWord;
  int first;
  int last;
};

}  // namespace

void EditFree::operator()(void* memory) const {
  if (mappedSize > 0)
    munmap(memory, mappedSize);
  else
    std::free(memory);
}

EditZeros<void> edit_zero_bytes(std::size_t size) {
  constexpr std::size_t leastMapped = 4 * PAGE;
  const bool isMapped = size >= leastMapped && !IS_WATCHED;
  void* const memory = isMapped
                           ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                           : std::calloc(size, 1);
  if (memory == nullptr || memory == MAP_FAILED) throw std::bad_alloc();
  return EditZeros<void>(memory, EditFree{isMapped ? size : 0});
}

// ---------------------------------------------------------------- columns
// A column is decoded from its start up to the longest length asked for, and goes on from there the next
// time. Kernels read a little beyond a length's words, so room that nobody writes lies between lengths.

EditColumns::EditColumns(const TeraBitMatrix& matrix, bool reverse)
    : itsMatrix(matrix), isReversed(reverse), columns(std::make_unique<Column[]>(NUM_COLUMNS)) {
  groupStart.resize(static_cast<std::size_t>(matrix.get_max_length()) + 1);
  std::size_t next = PADDING_WORDS;
  std::size_t largest = 0;
  for (int length = 0; length < matrix.get_max_length(); ++length) {
    groupStart[static_cast<std::size_t>(length)] = next;
    const std::size_t words =
        static_cast<std::size_t>(num_blocks(length)) * static_cast<std::size_t>(length) * EDIT_BLOCK_WORDS;
    next += words + PADDING_WORDS;
    if (matrix.num_words() > 0) largest = std::max(largest, words);  // else nobody asks
  }
  groupStart.back() = next;
  zeros = edit_zeros<VUint>(largest + 2 * PADDING_WORDS);
}

int EditColumns::end_slot(int length) const {
  const bool isLast = length == itsMatrix.get_max_length() - 1;
  return isLast ? itsMatrix.get_num_slots() : itsMatrix.first_slot(length + 1);
}

int EditColumns::num_slots(int length) const {
  return end_slot(length) - itsMatrix.first_slot(length);
}

int EditColumns::num_blocks(int length) const {
  return blocks_of(num_slots(length));
}

const VUint* EditColumns::get(int tok, int length) {
  Column& column = columns[static_cast<std::size_t>(tok)];
  if (column.numLengths.load(std::memory_order_acquire) <= length) {
    const std::scoped_lock lock(column.decoding);
    if (column.numLengths.load(std::memory_order_relaxed) <= length) extend(tok, length, &column);
    if (column.numLengths.load(std::memory_order_relaxed) <= length) return nullptr;
  }
  return column.words != nullptr ? column.words.get() + offset_of(length) : zeros.get() + PADDING_WORDS;
}

/// Decodes on up to a length. What memory does not suffice for is begun anew.
void EditColumns::extend(int tok, int length, Column* column) {
  const bool isEmpty =
      tok != ANY_TOKEN && (tok >= itsMatrix.get_num_cols() || itsMatrix.get_module(tok).is_empty());
  if (isEmpty) return column->numLengths.store(itsMatrix.get_max_length(), std::memory_order_release);
  if (column->words == nullptr) column->words = edit_zeros<VUint>(groupStart.back());
  tok == ANY_TOKEN ? unite(length, column) : decode(tok, length, column);
}

/// Saved words come section by section; one in which a length ends is kept for the next length.
void EditColumns::decode(int tok, int length, Column* column) {
  if (column->reader == nullptr)
    column->reader = std::make_unique<TeraModule::Reader>(itsMatrix.get_module(tok));
  const int firstLength = column->numLengths.load(std::memory_order_relaxed);
  const int sectionsRead = blocks_of(itsMatrix.first_slot(firstLength), SECTION);
  const int sectionsWanted = blocks_of(end_slot(length), SECTION);
  const std::size_t numKept = column->lastSection.size();
  const int firstSection = sectionsRead - (numKept == 0 ? 0 : 1);
  const int num = itsMatrix.section_start(sectionsWanted) - itsMatrix.section_start(sectionsRead);
  const std::size_t size = numKept + static_cast<std::size_t>(num);
  const auto words = std::make_unique_for_overwrite<VBit[]>(size);
  std::copy(column->lastSection.begin(), column->lastSection.end(), words.get());
  std::vector<VBit> last;
  if (end_slot(length) % SECTION != 0)
    last.resize(size - static_cast<std::size_t>(itsMatrix.section_start(sectionsWanted - 1) -
                                                itsMatrix.section_start(firstSection)));
  if (column->reader->read(words.get() + numKept, num) < 0) return;
  std::copy(words.get() + size - last.size(), words.get() + size, last.begin());
  populate(column->words.get() + offset_of(firstLength), column->words.get() + offset_of(length + 1));
  lay_out(words.get(), firstSection, firstLength, length, column->words.get());
  column->lastSection = std::move(last);
  if (length + 1 == itsMatrix.get_max_length()) column->reader = nullptr;
  column->numLengths.store(length + 1, std::memory_order_release);
}

void EditColumns::lay_out(const VBit* words, int first_section, int first_length, int last_length,
                          VUint* lanes) const {
  for (int length = std::max(first_length, 1); length <= last_length; ++length) {
    const GroupReader group(itsMatrix, words, first_section, length);
    VUint* const start = lanes + offset_of(length);
    for (int w = 0; w < group.num_words(); ++w) {
      VUint* const block = start + static_cast<VInt>(w / EDIT_BLOCK_WORDS) * length * EDIT_BLOCK_WORDS;
      for (int pos = 0; pos < length; ++pos)
        block[pos * EDIT_BLOCK_WORDS + w % EDIT_BLOCK_WORDS] =
            group.word(w, isReversed ? length - 1 - pos : pos);
    }
  }
}

void EditColumns::unite(int length, Column* column) {
  const int firstLength = column->numLengths.load(std::memory_order_relaxed);
  const std::size_t first = offset_of(firstLength);
  const std::size_t last = offset_of(length + 1);
  for (int tok = 0; tok < itsMatrix.get_num_cols(); ++tok) {
    if (get(tok, length) == nullptr) return;
    const VUint* const other = columns[static_cast<std::size_t>(tok)].words.get();
    for (std::size_t i = first; other != nullptr && i < last; ++i) column->words.get()[i] |= other[i];
  }
  column->numLengths.store(length + 1, std::memory_order_release);
}

// ---------------------------------------------------------------- tokens
// Strings become bytes 32 entries at a time, written once under a lock and read without one.

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
  constexpr int groupLog = std::countr_zero(static_cast<unsigned>(EditTokens::GROUP_LANES));
  const int partsLog = lanes_log - groupLog;
  std::atomic<bool>* const isConverted = found.isConverted.get();
  for (const Large wanted : groups)
    for (Large group = wanted << partsLog; group < (wanted + 1) << partsLog; ++group) {
      if (isConverted[group].load(std::memory_order_acquire)) continue;
      const std::scoped_lock lock(found.converting);
      if (isConverted[group].load(std::memory_order_relaxed)) continue;
      convert(length, group, &found);
      isConverted[group].store(true, std::memory_order_release);
    }
  return found;
}

void EditStore::prepare(int length, EditTokens* out) const {
  const int num = entryColumns->num_slots(length);
  const auto sections = static_cast<std::size_t>(blocks_of(num, SECTION));
  const std::size_t groups = sections * (SECTION / EditTokens::GROUP_LANES);
  auto isConverted = edit_zeros<std::atomic<bool>>(groups);
  EditZeros<Bit> operatorLanes;
  if (has_operators()) operatorLanes = edit_zeros<Bit>(groups);
  auto places = edit_zeros<Large>(sections);
  constexpr std::size_t line = EDIT_WORD_LANES;  // a position of a section is a cache line
  const std::size_t lines = (sections + 1) * static_cast<std::size_t>(length) + 2 * EDIT_PADDING;
  out->zeros = edit_zeros<char>(line * (lines + 1));
  void* memory = out->zeros.get();
  std::size_t size = 2 * line;
  out->bytes = static_cast<Token*>(std::align(line, line, memory, size)) + EDIT_PADDING * line;
  out->places = std::move(places);
  out->isConverted = std::move(isConverted);
  out->operatorLanes = std::move(operatorLanes);
}

/// Whether entries may have them.
bool EditStore::has_operators() const {
  return (itsEdit.get_features() & TeraEdit::ALLOW_ALT) != 0 &&
         itsEdit.get_tera_map()->is_operator(TOKEN_WILDCARD);
}

/// One that memory does not suffice for is begun anew by the next recall.
void EditStore::convert(int length, Large group, EditTokens* out) const {
  const bool operators = has_operators();
  const int first = static_cast<int>(group) * EditTokens::GROUP_LANES;
  Large& place = out->places.get()[first / SECTION];
  if (place == 0) place = ++out->numPlaces;
  Token* const column = out->bytes + VInt{place} * length * EDIT_WORD_LANES + first % SECTION;
  AceAttach at;
  char* strings[EditTokens::GROUP_LANES];
  const Large num = itsEdit.get_string_handle()->get_block(
      static_cast<Large>(itsEdit.first_slot(length) + first), strings,
      static_cast<Large>(std::min<int>(entryColumns->num_slots(length) - first, EditTokens::GROUP_LANES)),
      &at);
  Bit withOperators = 0;
  for (Large lane = 0; lane < num; ++lane) {
    const char* const string = strings[lane];
    if (*string == '\0') continue;  // padding
    if (operators && is_with_operators(string))
      withOperators |= Bit{1} << lane;
    else if (!convert_lane(string, length, column + lane))
      for (int pos = 0; pos < length; ++pos) column[lane + VInt{pos} * EDIT_WORD_LANES] = 0;
  }
  if (out->operatorLanes != nullptr) out->operatorLanes.get()[group] = withOperators;
}

/// False when the entry has not `length` positions: the file's strings are not those of its lengths.
bool EditStore::convert_lane(const char* string, int length, Token* column) const {
  const bool noGlob = (itsEdit.get_features() & TeraEdit::ALLOW_ALT) == 0;
  return TeraScan(itsEdit.get_tera_map(), string, noGlob).spread(column, EDIT_WORD_LANES, length) == length;
}

bool EditStore::is_with_operators(const char* string) const {
  TeraScan scan(itsEdit.get_tera_map(), string, false);
  while (const Token tok = scan.get_next_token())
    if (tok >= TOKEN_WILDCARD) return true;
  return false;
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
