// Building multi-word indexes: lines -> words and their numbers -> hit lists, code, index of words.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "ace/ace_bit_stream.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "tera/multi/multi_lines_internal.h"
#include "tera/multi/multi_text_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_multi.h"
#include "tera/tera_reader.h"
#include "tera/tera_transform.h"
#include "tera/tera_words_reader.h"

namespace {

constexpr int PERCENT = 100;
constexpr int ALIAS_BUFFER = 10000;
constexpr int MAX_CODED = 65535;
constexpr int MAX_SHORT_LINE = 255;
constexpr int MOST_TOKENS = 65535;
/// Attribute numbers may leave that many times as many lines empty, and some more.
constexpr VInt MOST_GAPS = 16;
constexpr VInt FREE_GAPS = 1 << 20;
constexpr Bit ESCAPE = ~Bit{0};
constexpr int CANNOT_SHOW = -2;
/// Percentage of an automaton's slots that are filled.
constexpr int AUTO_LOAD = 99;

/// Strings, with their numbers as attributes.
class KeyReader : public TeraReader {
 public:
  KeyReader(const MultiStrings& first, const MultiStrings& second) : sets{&first, &second} {}

  int get_line(const char** string, Large* info, VInt* line) override {
    const Large words = sets[0]->size();
    if (next >= words + sets[1]->size()) return 0;
    *string = next < words ? sets[0]->get(next) : sets[1]->get(next - words);
    if (info != nullptr) *info = next;
    if (line != nullptr) *line = next;
    ++next;
    return 1;
  }
  int rewind() override {
    next = 0;
    return 0;
  }
  VInt get_estimate() override { return VInt{sets[0]->size()} + sets[1]->size(); }

 private:
  const MultiStrings* sets[2];
  Large next = 0;
};

/// Lists in the form that id maps are built from.
class HitLists {
 public:
  explicit HitLists(const std::vector<Large>& counts) {
    std::size_t total = 0;
    for (const Large count : counts) total += std::size_t{count} + 1;
    values.resize(total);
    Large* next = values.data();
    for (const Large count : counts) {
      lists.push_back(reinterpret_cast<AceBulk::List*>(next));
      *next = 0;
      next += count + 1;
    }
  }
  void add(Large key, Large value) {
    AceBulk::List* const list = lists[key];
    list->values()[list->numValues++] = value;
  }
  std::unique_ptr<AceIdMap> make(Large num_keys, AceReporter* rep) {
    auto map = std::make_unique<AceIdMap>();
    return map->build(num_keys, lists.data(), rep) >= 0 ? std::move(map) : nullptr;
  }

 private:
  std::vector<Large> values;
  std::vector<AceBulk::List*> lists;
};

std::uint64_t hash_of(const std::vector<Large>& numbers) {
  return std::hash<std::string_view>()(
      {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(Large)});
}

}  // namespace

/// One build.
class MultiBuild {
 public:
  MultiBuild(TeraMulti* multi, const TeraMap* map, const char* chunk_file, int sort, AceReporter* reporter)
      : index(multi), lines(chunk_file, sort), rep(reporter) {
    rules = index->get_rules();
    if (map != nullptr) rules.map = map;
  }

  int collect(WordsReader* reader);
  int place_lines();
  int make_lists(int skip, const char* skip_file, const char* skip_export);
  int make_lines();
  int make_words(const TeraMap* map, int filter, int refine, TeraAliasReader* aliases);

 private:
  static constexpr Large NO_LINE = ~Large{0};

  int add_line(const char* text, Large info);
  bool comes_back(std::string_view text) const;
  int get_numbers(Large line);
  void find_keys();
  int count_all();
  std::vector<Large> find_skip_words(int skip, const char* skip_file);
  void add_listed_words(const char* skip_file, std::vector<Large>* skipped) const;
  int export_words(const std::vector<Large>& skipped, const char* file) const;
  int code_sizes();
  int code_line(Large line, std::vector<Token>* buffer);

  TeraMulti* index;
  MultiRules rules;
  MultiLines lines;
  AceReporter* rep;
  MultiStrings words;
  MultiStrings moreKeys;          // numbered behind the words
  std::vector<Large> numberOf;    // per word as it came
  std::vector<Large> infos;       // per line as read
  std::vector<Large> lineOf;      // per line number the line as read
  std::vector<int> tokensOf;      // per word
  std::vector<Large> numbers;     // of the line that is being looked at
  std::vector<Large> keys;        // distinct, of the same line
  std::vector<Large> keyCounts;   // lines per key
  std::vector<Large> statCounts;  // the same, of lines that count for skip words
  VInt statLines = 0;
  std::vector<Large> wordCounts;  // occurrences per word
  std::vector<Large> loneCounts;  // lines per word that are that word alone
  MultiText text;
  std::string lineText;
};

// ---------------------------------------------------------------- reading
// A line is kept as the numbers of its words, in the order in which words came; sorting renumbers them.

int MultiBuild::collect(WordsReader* reader) {
  const char* line = nullptr;
  Large info = 0;
  int rc = 0;
  while ((rc = reader->get_line(&line, &info)) > 0)
    if ((rc = add_line(line, info)) < 0) return rc;
  if (rc < 0) return ace_error(__FILE__, __LINE__, "reader->get_line(&line, &info)", rc, 0, -1);
  numberOf = words.sort();
  tokensOf.resize(words.size());
  for (Large word = 0; word < words.size(); ++word)
    tokensOf[word] = rules.map->tok_len(words.get(word), true);
  wordCounts.assign(words.size(), 0);
  rep->printf("%u lines of %u distinct words\n", lines.size(), words.size());
  return 0;
}

/// Whether the words with separators between are the text.
bool MultiBuild::comes_back(std::string_view line) const {
  const char sep = rules.sepChar;
  return line.empty() || (line.front() != sep && line.back() != sep &&
                          line.find(std::string(2, sep)) == std::string_view::npos);
}

int MultiBuild::add_line(const char* line, Large info) {
  const std::string_view all(line);
  if ((index->optionFlags & TeraMulti::REVERSE_INFO) != 0 && !comes_back(all)) {
    rep->printf("The line '%.200s' cannot be given back: its words are kept, not its separators\n", line);
    return CANNOT_SHOW;
  }
  numbers.clear();
  std::size_t bytes = 0;
  for (std::size_t from = 0, to = 0; from < all.size(); from = to + 1) {
    to = std::min(all.find(rules.sepChar, from), all.size());
    if (to == from) continue;
    numbers.push_back(words.insert(all.substr(from, to - from)));
    bytes += to - from + 1;
  }
  if (bytes > TeraMulti::MAX_LINE) {
    rep->printf("Line %u has %zu bytes, at most %d expected\n", info, bytes, TeraMulti::MAX_LINE);
    return -1;
  }
  index->maxWords = std::max(index->maxWords, static_cast<int>(numbers.size()));
  index->maxLine = std::max(index->maxLine, static_cast<int>(bytes) + 1);
  infos.push_back(info);
  return lines.append(numbers);
}

/// Attribute numbers become line numbers.
int MultiBuild::place_lines() {
  VInt numRecords = 0;
  for (const Large info : infos) numRecords = std::max(numRecords, VInt{info} + 1);
  if (numRecords > MOST_GAPS * lines.size() + FREE_GAPS || numRecords >= AceIdMap::NONE) {
    rep->printf("Attribute number %ld for %u lines: numbers of lines are to be dense\n", numRecords - 1,
                lines.size());
    return -1;
  }
  lineOf.assign(static_cast<std::size_t>(numRecords), NO_LINE);
  for (Large line = 0; line < lines.size(); ++line) {
    Large& place = lineOf[infos[line]];
    if (place != NO_LINE) {
      rep->printf("Attribute number %u has two lines, %u and %u\n", infos[line], place, line);
      return -1;
    }
    place = line;
  }
  index->numRecords = static_cast<Large>(numRecords);
  return 0;
}

/// The word numbers of a line, by its number; none for one that is empty.
int MultiBuild::get_numbers(Large line) {
  numbers.clear();
  if (lineOf[line] == NO_LINE) return 0;
  if (lines.get(lineOf[line], &numbers) < 0) return -1;
  for (Large& number : numbers) number = numberOf[number];
  return 0;
}

// ---------------------------------------------------------------- hit lists
// Lines are walked twice: the first time counts the keys, which decides what is a skip word and how large
// lists are.

/// The distinct keys of the line: its words, and whatever else counts as a word in it.
void MultiBuild::find_keys() {
  keys = numbers;
  if (index->has_more_keys()) {
    lineText.clear();
    for (const Large word : numbers) lineText.append(words.get(word)).push_back(rules.sepChar);
    text.split(lineText.c_str(), rules);
    for (const MultiText::Unit& unit : text.get_units()) {
      const Large word = words.find(text.view_of(unit));
      keys.push_back(word != MultiStrings::NONE ? word : words.size() + moreKeys.insert(text.view_of(unit)));
    }
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

int MultiBuild::count_all() {
  const bool isUnique = (index->optionFlags & TeraMulti::UNIQUIFY) != 0;
  std::unordered_set<std::uint64_t> seen;
  keyCounts.assign(words.size(), 0);
  statCounts.assign(words.size(), 0);
  loneCounts.assign(words.size(), 0);
  for (Large line = 0; line < index->numRecords; ++line) {
    if (get_numbers(line) < 0) return -1;
    if (numbers.empty()) continue;
    for (const Large word : numbers) ++wordCounts[word];
    if (numbers.size() == 1) ++loneCounts[numbers.front()];
    find_keys();
    keyCounts.resize(words.size() + std::size_t{moreKeys.size()}, 0);
    statCounts.resize(keyCounts.size(), 0);
    const bool counts = !isUnique || seen.insert(hash_of(numbers)).second;
    statLines += counts ? 1 : 0;
    for (const Large key : keys) {
      ++keyCounts[key];
      statCounts[key] += counts ? 1 : 0;
    }
  }
  return 0;
}

/// The words of a file, by their tokens.
void MultiBuild::add_listed_words(const char* skip_file, std::vector<Large>* skipped) const {
  AceInput input(skip_file, ALIAS_BUFFER, true);
  std::unordered_set<std::string> listed;
  const char* line = nullptr;
  AceAttach at;
  const auto tokens_of = [&](const char* word) {
    const std::string tokens(reinterpret_cast<const char*>(rules.map->convert(word, true, &at)));
    at.release();
    return tokens;
  };
  while (input.read_line(&line, nullptr) >= 0) listed.insert(tokens_of(line));
  listed.erase("");
  for (Large word = 0; word < words.size(); ++word)
    if (listed.contains(tokens_of(words.get(word)))) skipped->push_back(word);
}

std::vector<Large> MultiBuild::find_skip_words(int skip, const char* skip_file) {
  std::vector<Large> skipped;
  if (skip < PERCENT)
    for (Large key = 0; key < statCounts.size(); ++key)
      if (VInt{statCounts[key]} * PERCENT > VInt{skip} * statLines) skipped.push_back(key);
  if (skip_file != nullptr && skip_file[0] != '\0') add_listed_words(skip_file, &skipped);
  std::sort(skipped.begin(), skipped.end());
  skipped.erase(std::unique(skipped.begin(), skipped.end()), skipped.end());
  return skipped;
}

int MultiBuild::export_words(const std::vector<Large>& skipped, const char* file) const {
  AceFile out;
  if (out.build_atomic(file, nullptr) < 0) {
    rep->printf("%s: skip words cannot be written there\n", file);
    return -1;
  }
  for (const Large key : skipped)
    out.put_line(key < words.size() ? words.get(key) : moreKeys.get(key - words.size()));
  out.close();
  return 0;
}

int MultiBuild::make_lists(int skip, const char* skip_file, const char* skip_export) {
  if (count_all() < 0) return -1;
  const std::vector<Large> skipped = find_skip_words(skip, skip_file);
  rep->printf("%zu skip words\n", skipped.size());
  if (skip_export != nullptr && skip_export[0] != '\0' && export_words(skipped, skip_export) < 0) return -1;
  const auto numKeys = static_cast<Large>(keyCounts.size());
  std::vector<Large> counts = keyCounts;
  counts.push_back(static_cast<Large>(skipped.size()));
  HitLists hits(counts);
  HitLists lone(loneCounts);
  for (Large line = 0; line < index->numRecords; ++line) {
    if (get_numbers(line) < 0) return -1;
    if (numbers.size() == 1) lone.add(numbers.front(), line);
    find_keys();
    for (const Large key : keys) hits.add(key, line);
  }
  for (const Large key : skipped) hits.add(numKeys, key);
  if ((index->optionFlags & TeraMulti::FAST_SINGLE) != 0)
    index->fastSingle = hits.make(words.size(), nullptr);
  if ((index->optionFlags & TeraMulti::MAKE_INFO) == 0) return 0;
  index->infoHandle = hits.make(numKeys + 1, nullptr);
  index->singleInfo = lone.make(words.size(), nullptr);
  if (index->infoHandle == nullptr || index->singleInfo == nullptr)
    return ace_error(__FILE__, __LINE__, "infoHandle->build(num_keys, lists, rep)", -1, 0, -1);
  return 0;
}

// ---------------------------------------------------------------- coded lines
// Every second line has a start; the one behind it is found by the length in front.

int MultiBuild::code_sizes() {
  HuffmanStat sizes;
  for (Large line = 0; line < index->numRecords; ++line) {
    if (get_numbers(line) < 0) return -1;
    sizes.insert(static_cast<int>(numbers.size()), 1);
  }
  if (index->sizeComp.make(&sizes) < 0)
    return ace_error(__FILE__, __LINE__, "sizeComp.make(&sizes)", -1, 0, -1);
  return index->sizeComp.prepare() < 0 ? -1 : 0;
}

/// Appends the line's length and bits. Returns the number of bytes, or -1.
int MultiBuild::code_line(Large line, std::vector<Token>* buffer) {
  constexpr std::size_t bytesPerSymbol = 8;
  buffer->resize((numbers.size() + 1) * bytesPerSymbol + bytesPerSymbol);
  BitStream bits(buffer->data());
  if (bits.put(&index->sizeComp, static_cast<Bit>(numbers.size())) < 0) return -1;
  for (const Large word : numbers) {
    if (bits.put(&index->wordComp, word) >= 0) continue;
    if (bits.put(&index->wordComp, ESCAPE) < 0) return -1;
    bits.put(word, index->offsetBits);
  }
  const VInt size = bits.end();
  if (size > MAX_CODED) {
    rep->printf("Line %u takes %ld bytes, at most %d can be kept\n", line, size, MAX_CODED);
    return -1;
  }
  if (size >= 1 && size <= MAX_SHORT_LINE) {
    index->ownHeap.push_back(static_cast<Token>(size));
  } else {
    const Token head[] = {0, static_cast<Token>(size >> 8), static_cast<Token>(size & 0xFF)};
    index->ownHeap.insert(index->ownHeap.end(), std::begin(head), std::end(head));
  }
  index->ownHeap.insert(index->ownHeap.end(), buffer->begin(), buffer->begin() + size);
  return static_cast<int>(size);
}

int MultiBuild::make_lines() {
  index->numWords = static_cast<int>(words.size());
  index->offsetBits = std::max(static_cast<int>(std::bit_width(words.size() > 0 ? words.size() - 1 : 0)), 1);
  if (multi_make_word_code(wordCounts, index->offsetBits, &index->wordComp) < 0)
    return ace_error(__FILE__, __LINE__, "wordComp.make(&stat)", -1, 0, -1);
  if (code_sizes() < 0) return -1;
  std::vector<Token> buffer;
  for (Large line = 0; line < index->numRecords; ++line) {
    if (get_numbers(line) < 0) return -1;
    if (line % 2 == 0) index->ownStart.push_back(static_cast<VInt>(index->ownHeap.size()));
    int tokens = 0;
    for (const Large word : numbers) tokens = std::min(tokens + tokensOf[word], MOST_TOKENS);
    index->ownLengths.push_back(static_cast<Small>(tokens));
    if (code_line(line, &buffer) < 0) return -1;
  }
  index->compHeap = index->ownHeap.data();
  index->compSize = static_cast<VInt>(index->ownHeap.size());
  index->compStart = index->ownStart.data();
  index->numStart = static_cast<int>(index->ownStart.size());
  index->tokenLengths = index->ownLengths.data();
  return 0;
}

// ---------------------------------------------------------------- words
// The index of words also has what else counts as a word, behind them.

int MultiBuild::make_words(const TeraMap* map, int filter, int refine, TeraAliasReader* aliases) {
  std::vector<const char*> strings;
  for (Large word = 0; word < words.size(); ++word) strings.push_back(words.get(word));
  if (index->stringArray.make(static_cast<int>(strings.size()), strings.data(), false, 0, rep) < 0)
    return ace_error(__FILE__, __LINE__, "stringArray.make(num_words, words, false, 0, rep)", -1, 0, -1);
  KeyReader reader(words, moreKeys);
  if (index->autoStruct != nullptr)
    return index->autoStruct->make(&reader, map, AUTO_LOAD, 0, rep, aliases, nullptr) >= 0
               ? 0
               : ace_error(__FILE__, __LINE__, "autoStruct->make(&reader, map, 99, 0, rep, aliases)", -1, 0,
                           -1);
  if (index->editStruct->make(&reader, map, filter, refine, 0, 0, rep, aliases) < 0)
    return ace_error(__FILE__, __LINE__, "editStruct->make(&reader, map, filter, refine)", -1, 0, -1);
  return 0;
}

// ---------------------------------------------------------------- the index
// A build that fails leaves an empty index that can be built again.

/// Half an index answers nothing: unless it is kept, what `init` made is there again, and can be built.
class TeraMulti::Undo {
 public:
  explicit Undo(TeraMulti* multi) : index(multi), sep(multi->sepChar), isAuto(multi->autoStruct != nullptr) {
    map.copy(multi->get_tera_map());
    const TeraTransform* const made = multi->editStruct->get_phonetics();
    if (made != nullptr) phonetics.reset(made->copy());
  }
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    if (isKept) return;
    try {
      index->init(&map, sep, phonetics.get(), isAuto);
    } catch (...) {
      index->clean();
    }
  }
  void keep() { isKept = true; }

 private:
  TeraMulti* index;
  char sep;
  bool isAuto;
  bool isKept = false;
  TeraMap map;
  std::unique_ptr<TeraTransform> phonetics;
};

int TeraMulti::make_reader(WordsReader* reader, const TeraMap* map, char sep, int filter, int refine,
                           int options, const char* add_seps, int add_len, int sort, int skip,
                           TeraAliasReader* aliases, const char* skip_file, const char* skip_export,
                           AceReporter* rep, int) {
  AceReporter* const told = rep != nullptr ? rep : AceReporter::null();
  const bool isAuto = (options & USE_AUTO) != 0;
  if (reader == nullptr || (options & ~KNOWN_OPTIONS) != 0 || sep == '\0' ||
      isAuto != (autoStruct != nullptr) || sort < 1 || sort > PERCENT || skip < 0) {
    told->printf("Build options %d with a sorting share of %d%% and skip words from %d%% on\n", options, sort,
                 skip);
    return -1;
  }
  Undo undo(this);
  const int phonetics = optionFlags & HAS_PHONETICS;
  clean_lines();
  sepChar = sep;
  optionFlags = options | phonetics;
  if (add_seps != nullptr && add_seps[0] != '\0') {
    addSeps = add_seps;
    addLen = std::max(add_len, 1);
    for (const char separator : addSeps) addMap[static_cast<unsigned char>(separator)] = 1;
  }
  make_rules();
  MultiBuild build(this, map, reader->get_chunk_file(), sort, told);
  int rc = build.collect(reader);
  if (rc >= 0) rc = build.place_lines();
  if (rc >= 0) rc = build.make_lists(skip, skip_file, skip_export);
  if (rc >= 0) rc = build.make_lines();
  if (rc >= 0) rc = build.make_words(map, filter, refine, aliases);
  if (rc < 0) return rc;
  undo.keep();
  make_rules();
  return rc;
}

int TeraMulti::make(const char* file, const TeraMap* map, char sep, int filter, int refine, int options,
                    const char* add_seps, int add_len, int sort, int skip, const char* alias_file,
                    const char* skip_file, const char* skip_export, AceReporter* rep, int unused) {
  AceAttach at;
  WordsReader reader(file, AceFile::join_ext(file, "chunk", &at));
  std::unique_ptr<AceInput> input;
  std::unique_ptr<TeraAliasFileReader> aliases;
  if (alias_file != nullptr && alias_file[0] != '\0') {
    input = std::make_unique<AceInput>(alias_file, ALIAS_BUFFER, true);
    aliases = std::make_unique<TeraAliasFileReader>(input.get(), nullptr, 0);
  }
  return make_reader(&reader, map, sep, filter, refine, options, add_seps, add_len, sort, skip, aliases.get(),
                     skip_file, skip_export, rep, unused);
}
