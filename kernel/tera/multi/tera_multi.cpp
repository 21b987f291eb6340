#include "tera/tera_multi.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "tera/multi/multi_abbreviations_internal.h"
#include "tera/multi/multi_scratch_internal.h"
#include "tera/multi/multi_text_internal.h"
#include "tera/tera_transform.h"

namespace {

constexpr const char* MAGIC = "MULTI";
constexpr int ALIGNMENT = 8;
constexpr VInt LONG_LINE_HEAD = 3;
constexpr int MAX_OFFSET_BITS = 31;
/// What the code of words decodes to where a plain number follows.
constexpr Bit ESCAPE = ~Bit{0};

const MagicFactory<AceWrap> factory(TeraMultifactory, TeraMultifactoryCreate, "TeraMulti");

}  // namespace

TeraMulti::TeraMulti()
    : editStruct(std::make_unique<TeraEdit>()),
      splitRules(std::make_unique<MultiRules>()),
      scratchPool(std::make_unique<MultiScratchPool>()),
      abbreviations(std::make_unique<MultiAbbreviations>()) {
  make_rules();
}

TeraMulti::TeraMulti(const TeraMap* map, char sep, TeraTransform* phonetic, int use_auto) : TeraMulti() {
  init(map, sep, phonetic, use_auto != 0);
}

TeraMulti::~TeraMulti() = default;

int TeraMulti::init(const TeraMap* map, char sep, TeraTransform* phonetic, bool use_auto) {
  clean();
  if (map == nullptr || editStruct->init(map, phonetic) < 0)
    return ace_error(__FILE__, __LINE__, "editStruct->init(map, phonetic)", -1, 0, -1);
  if (use_auto) {
    autoStruct = std::make_unique<TeraAuto>();
    ACE_CALL(autoStruct->init(map, phonetic));
  }
  optionFlags = (phonetic != nullptr ? HAS_PHONETICS : 0) | (use_auto ? USE_AUTO : 0);
  sepChar = sep;
  unmappedChar = map->get_unmapped();
  make_rules();
  return 0;
}

void TeraMulti::clean() {
  editStruct->clean();
  autoStruct = nullptr;
  optionFlags = 0;
  clean_lines();
}

/// What is left is the map and the phonetic coding.
void TeraMulti::clean_lines() {
  numWords = maxWords = maxLine = numStart = addLen = fileMapped = 0;
  numRecords = 0;
  offsetBits = 1;
  compSize = 0;
  wordComp.clean();
  sizeComp.clean();
  stringArray.clean();
  compHeap = nullptr;
  compStart = nullptr;
  tokenLengths = nullptr;
  infoHandle = nullptr;
  singleInfo = nullptr;
  fastSingle = nullptr;
  std::fill(std::begin(addMap), std::end(addMap), Token{0});
  addSeps.clear();
  ownHeap = {};
  ownStart = {};
  ownLengths = {};
  scratchPool->clean();
  abbreviations->clean();
  memAt.release();
  make_rules();
}

/// How lines are split.
void TeraMulti::make_rules() {
  *splitRules = {};
  splitRules->map = get_tera_map();
  splitRules->sepChar = sepChar;
  splitRules->minPart = std::max(addLen, 1);
  splitRules->joins = (optionFlags & MERGE_ENTRIES) != 0;
  for (std::size_t byte = 0; byte < 256; ++byte) splitRules->splits[byte] = addMap[byte] != 0;
}

// ---------------------------------------------------------------- lines
// Two lines share a start: the second is behind the first, whose length is in front of it.

/// The coded bits of a line, and their bytes; null for what is no line.
const Token* TeraMulti::find_line(Large line, VInt* size) const {
  if (line >= numRecords) return nullptr;
  VInt place = compStart[line / 2];
  const auto read_size = [&] {
    if (place < 0 || place >= compSize) return VInt{-1};
    if (compHeap[place] != 0) return VInt{compHeap[place++]};
    if (compSize - place < LONG_LINE_HEAD) return VInt{-1};
    const VInt length = compHeap[place + 1] << CHAR_BIT | compHeap[place + 2];
    place += LONG_LINE_HEAD;
    return length;
  };
  *size = read_size();
  if (line % 2 != 0 && *size >= 0) {
    place += *size;
    *size = read_size();
  }
  return *size >= 0 && *size <= compSize - place ? compHeap + place : nullptr;
}

Large TeraMulti::next_word(BitSource* source) const {
  const Bit word = source->get(&wordComp);
  return word == ESCAPE ? source->get(offsetBits) : word;
}

bool TeraMulti::decode_ids(BitSource source, std::vector<Large>* words) const {
  words->clear();
  const auto size = static_cast<int>(source.get(&sizeComp));
  if (size < 0 || size > maxWords) return false;
  for (int i = 0; i < size; ++i) {
    const Large word = next_word(&source);
    if (word >= static_cast<Large>(numWords)) return false;
    words->push_back(word);
  }
  return true;
}

bool TeraMulti::read_ids(Large line, std::vector<Large>* words) const {
  VInt size = 0;
  const Token* bits = find_line(line, &size);
  words->clear();
  return bits != nullptr && decode_ids(BitSource(bits, 0, size), words);
}

/// The words, each with a separator in front. False, and nothing, for a damaged line.
bool TeraMulti::decode_text(BitSource* source, int expected, std::string* text) const {
  text->clear();
  const auto size = static_cast<int>(source->get(&sizeComp));
  if (size < 0 || size > maxWords || (expected >= 0 && size != expected)) return false;
  AceAttach at;
  for (int i = 0; i < size; ++i) {
    const char* const word = stringArray.get_line(next_word(source), &at);
    const std::size_t bytes = word != nullptr ? std::strlen(word) : 0;
    if (word == nullptr || bytes >= static_cast<std::size_t>(maxLine) - text->size()) {
      text->clear();
      return false;
    }
    text->push_back(sepChar);
    text->append(word, bytes);
  }
  return true;
}

/// The words with separators between. False for what is no line.
bool TeraMulti::read_text(Large line, std::string* text) const {
  VInt size = 0;
  const Token* bits = find_line(line, &size);
  text->clear();
  if (bits == nullptr) return false;
  BitSource source(bits, 0, size);
  if (decode_text(&source, -1, text) && !text->empty()) text->erase(0, 1);
  return true;
}

int TeraMulti::decode(BitSource* source, char* buffer, int expected) const {
  std::string text;
  decode_text(source, expected, &text);
  text.copy(buffer, text.size());
  buffer[text.size()] = '\0';
  return static_cast<int>(text.size());
}

// ---------------------------------------------------------------- access
// A word is a number in the array of strings, a line a coded run of such numbers.

int TeraMulti::get_token_length(Large line) const {
  return line < numRecords ? tokenLengths[line] : 0;
}

const char* TeraMulti::get_line(Large word, AceAttach* at) const {
  return word < static_cast<Large>(numWords) ? stringArray.get_line(word, at) : nullptr;
}

const char* TeraMulti::get_word(Large word, AceAttach* at) const {
  return get_line(word, at);
}

const char* TeraMulti::get_multiword(Large line, AceAttach* at) const {
  std::string text;
  return read_text(line, &text) ? at->attach(text.data(), static_cast<VInt>(text.size())) : nullptr;
}

const char* TeraMulti::show(Large line, AceAttach* at) const {
  return get_multiword(line, at);
}

int TeraMulti::get_word_ids(Large line, Large** words, AceAttach* at) const {
  std::vector<Large> ids;
  *words = nullptr;
  if (!read_ids(line, &ids)) return -1;
  at->malloc(*words, static_cast<long>(ids.size()));
  std::copy(ids.begin(), ids.end(), *words);
  return static_cast<int>(ids.size());
}

IdList TeraMulti::get_lines(Large word) const {
  return infoHandle != nullptr && word < static_cast<Large>(numWords) ? infoHandle->get(word) : IdList{};
}

/// A key as it is in lines; an automaton shows it otherwise.
const char* TeraMulti::key_text(Large key, const char* shown, AceAttach* at) const {
  const char* const word = autoStruct != nullptr ? get_line(key, at) : nullptr;
  return word != nullptr ? word : shown;
}

/// The numbers of skip words, which are under the last key.
IdList TeraMulti::skip_list() const {
  return infoHandle != nullptr ? infoHandle->get(infoHandle->get_max_key()) : IdList{};
}

bool TeraMulti::is_skip_word(Large word) const {
  const IdList skipped = skip_list();
  return std::binary_search(skipped.begin(), skipped.end(), word);
}

int TeraMulti::string_split(char* text, char** words, int max_words, int* offsets, int* lengths,
                            int* tokens) const {
  int count = 0;
  for (char* from = text; from != nullptr && *from != '\0' && count < max_words;) {
    char* const end = std::strchr(from, sepChar);
    const auto length = static_cast<int>(end != nullptr ? end - from : static_cast<long>(std::strlen(from)));
    if (end != nullptr) *end = '\0';
    if (length > 0) {
      if (words != nullptr) words[count] = from;
      if (offsets != nullptr) offsets[count] = static_cast<int>(from - text);
      if (lengths != nullptr) lengths[count] = length;
      if (tokens != nullptr) tokens[count] = get_tera_map()->tok_len(from, true);
      ++count;
    }
    from = end != nullptr ? end + 1 : nullptr;
  }
  return count;
}

// ---------------------------------------------------------------- persistence
// Numbers that bound the rest are read first and checked together.

VInt TeraMulti::save(AceFile* file) {
  const auto fail = [](const char* call) { return ace_error(__FILE__, __LINE__, call, -1, 0, -1); };
  file->mem_open("Multi Word Structure");
  file->put_magic(MAGIC);
  file->put_char(sepChar);
  file->put_int(optionFlags);
  file->put_int(addLen);
  if (addLen > 0) {
    file->write(sizeof addMap, addMap, ALIGNMENT);
    file->put_string(addSeps.c_str());
  }
  file->put_int(numWords);
  file->put_int(numRecords);
  for (const int value : {maxWords, maxLine, offsetBits}) file->put_int(value);
  file->put_vint(compSize);
  file->put_int(numStart);
  if (autoStruct != nullptr) {
    file->mem_point("Single Word Lookup (TeraAuto)");
    if (autoStruct->save(file) < 0) return fail("autoStruct->save(file)");
  } else {
    file->mem_point("Single Word Lookup (TeraEdit)");
    if (editStruct->save(file) < 0) return fail("editStruct->save(file)");
  }
  file->mem_point("Compression Handle");
  if (wordComp.save(file) < 0) return fail("wordComp.save(file)");
  if (sizeComp.save(file) < 0) return fail("sizeComp.save(file)");
  file->mem_point("String heap");
  if (stringArray.save(file) < 0) return fail("stringArray.save(file)");
  file->mem_point("Compressed Records");
  if (compSize > 0) file->write(compSize, compHeap, ALIGNMENT);
  file->mem_point("Record Pointer");
  if (numStart > 0) file->write(numStart * static_cast<VInt>(sizeof(VInt)), compStart, ALIGNMENT);
  if ((optionFlags & MAKE_INFO) != 0) {
    file->mem_point("Hit Lists");
    if (infoHandle->save(file) < 0) return fail("infoHandle->save(file)");
    file->mem_point("Single Word Hit Lists");
    if (singleInfo->save(file) < 0) return fail("singleInfo->save(file)");
  }
  if ((optionFlags & FAST_SINGLE) != 0) {
    file->mem_point("Fast Single Hit List");
    if (fastSingle->save(file) < 0) return fail("fastSingle->save(file)");
  }
  file->mem_point("Token String Lengths");
  file->write(numRecords * static_cast<VInt>(sizeof(Small)), tokenLengths, ALIGNMENT);
  file->mem_close();
  return 0;
}

VInt TeraMulti::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
}

int TeraMulti::refuse(const char* reason) const {
  AceReporter::use_default()->printf(
      "Multi-word index broken, %s: %d words, %u lines, %d words and %d bytes at most, %d bits, %ld bytes of "
      "lines, %d starts, options %d\n",
      reason, numWords, numRecords, maxWords, maxLine, offsetBits, compSize, numStart, optionFlags);
  return -1;
}

/// What is wrong with the numbers in front; null for nothing.
const char* TeraMulti::check_head() const {
  if ((optionFlags & ~KNOWN_OPTIONS) != 0) return "it has options that are not known";
  if (addLen < 0) return "its parts have no length";
  if (numWords < 0 || maxWords < 0 || maxLine < 0) return "it has a negative number";
  if (maxLine > MAX_LINE) return "its lines are too long";
  if (maxWords > maxLine) return "its lines have more words than bytes";
  if (sepChar == '\0') return "its words have no separator";
  if (numRecords >= AceIdMap::NONE) return "it has too many lines";
  if (offsetBits < 1 || offsetBits > MAX_OFFSET_BITS) return "its plain numbers have no bits, or too many";
  if (compSize < 0 || numStart != static_cast<int>((VInt{numRecords} + 1) / 2)) return "it has not its lines";
  return numRecords > 0 && compSize == 0 ? "it has no bits" : nullptr;
}

VInt TeraMulti::read_payload(AceFile* file) {
  if (const int rc = file->get_magic(MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"MULTI\")", rc, 0, -1);
  sepChar = file->get_char();
  optionFlags = file->get_int();
  addLen = file->get_int();
  if (file->is_short()) return refuse("its head is cut");
  if (addLen > 0) {
    if (file->copy(sizeof addMap, addMap, ALIGNMENT) < 0) return refuse("its separators are cut");
    const char* separators = file->get_string(&memAt);
    addSeps = separators != nullptr ? separators : "";
  }
  numWords = file->get_int();
  numRecords = file->get_large();
  maxWords = file->get_int();
  maxLine = file->get_int();
  offsetBits = file->get_int();
  compSize = file->get_vint();
  numStart = file->get_int();
  if (file->is_short()) return refuse("its head is cut");
  if (const char* reason = check_head(); reason != nullptr) return refuse(reason);
  if ((optionFlags & USE_AUTO) != 0) {
    autoStruct = std::make_unique<TeraAuto>();
    ACE_CALL(autoStruct->read(file));
  } else if (editStruct->read(file) < 0) {
    return ace_error(__FILE__, __LINE__, "editStruct->read(file)", -1, 0, -1);
  }
  if (read_lines(file) < 0 || read_lists(file) < 0) return -1;
  tokenLengths = file->read_array<Small>(numRecords, &memAt, ALIGNMENT);
  if (tokenLengths == nullptr) return refuse("its lengths are cut");
  fileMapped = file->is_mapped() ? 1 : 0;
  unmappedChar = get_tera_map()->get_unmapped();
  make_rules();
  return 0;
}

int TeraMulti::read_lines(AceFile* file) {
  ACE_CALL(wordComp.read(file));
  ACE_CALL(sizeComp.read(file));
  ACE_CALL(stringArray.read(file));
  if (stringArray.get_size() != static_cast<Large>(numWords))
    return refuse("it has not a string for each word");
  if (compSize > 0) compHeap = file->read_array<Token>(compSize, &memAt, ALIGNMENT);
  if (compSize > 0 && compHeap == nullptr) return refuse("its lines are cut");
  if (numStart > 0) compStart = file->read_array<VInt>(numStart, &memAt, ALIGNMENT);
  return numStart > 0 && compStart == nullptr ? refuse("its starts are cut") : 0;
}

int TeraMulti::read_lists(AceFile* file) {
  const auto read_map = [&](std::unique_ptr<AceIdMap>* map) {
    *map = std::make_unique<AceIdMap>();
    return (*map)->read(file) >= 0;
  };
  if ((optionFlags & MAKE_INFO) != 0) {
    if (!read_map(&infoHandle)) return ace_error(__FILE__, __LINE__, "infoHandle->read(file)", -1, 0, -1);
    if (!read_map(&singleInfo)) return ace_error(__FILE__, __LINE__, "singleInfo->read(file)", -1, 0, -1);
  }
  if ((optionFlags & FAST_SINGLE) != 0 && !read_map(&fastSingle))
    return ace_error(__FILE__, __LINE__, "fastSingle->read(file)", -1, 0, -1);
  return 0;
}

int TeraMulti::verify(AceReporter* rep) const {
  AceReporter* const told = rep != nullptr ? rep : AceReporter::use_default();
  std::vector<Large> words;
  for (Large line = 0; line < numRecords; ++line)
    if (!read_ids(line, &words)) {
      told->printf("Line %u of %u is broken\n", line, numRecords);
      return -1;
    }
  if (stringArray.verify(told) < 0) return -1;
  for (const AceIdMap* map : {infoHandle.get(), singleInfo.get(), fastSingle.get()})
    if (map != nullptr && map->verify(told) < 0) return -1;
  const Large skipped = infoHandle != nullptr ? infoHandle->get_max_key() : 0;
  for (Large key = 0; key < skipped; ++key)
    for (const Large line : infoHandle->get(key))
      if (line >= numRecords) {
        told->printf("Key %u has line %u of %u\n", key, line, numRecords);
        return -1;
      }
  return 0;
}

AceWrap* TeraMultifactory(AceFile* file) {
  if (file->preview_int() != magic_number(MAGIC)) return nullptr;
  auto multi = std::make_unique<TeraMulti>();
  return multi->read(file) >= 0 ? multi.release() : nullptr;
}

AceWrap* TeraMultifactoryCreate() {
  return new TeraMulti;
}
