#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <span>

#include "ace/ace_error.h"
#include "ace/ace_parallel_sort.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "tera/edit/edit_cluster_internal.h"
#include "tera/edit/edit_store_internal.h"
#include "tera/store/tera_progress_internal.h"
#include "tera/store/tera_sorted_strings_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_edit.h"
#include "tera/tera_reader.h"
#include "tera/tera_token.h"
#include "tera/tera_transform.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

constexpr const char* BLANK = "-BLANK-";

int round_up(int slots) {
  return (slots + TeraBitMatrix::SECTION_SLOTS - 1) / TeraBitMatrix::SECTION_SLOTS *
         TeraBitMatrix::SECTION_SLOTS;
}

/// Of all that building does on several threads.
int num_threads() {
  static const AceTraceFlag traced("NUM_THREADS_EDIT_MAKE", __FILE__, __LINE__);
  return traced.get() != 0 ? traced.get() : -1;
}

/// Element i becomes the one that was order[i].
template <class T>
void permute(const std::vector<Large>& order, std::vector<T>* values) {
  std::vector<T> moved(values->size());
  std::transform(order.begin(), order.end(), moved.begin(), [values](Large from) { return (*values)[from]; });
  values->swap(moved);
}

/// The entries that a map can tokenise.
class CheckedReader : public TeraReader {
 public:
  CheckedReader(TeraReader* reader, const TeraMap* map, bool no_glob, AceReporter* rep)
      : innerReader(reader), teraMap(map), noGlob(no_glob), aceRep(rep), progress(traced()) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    const char* text = nullptr;
    VInt number = 0;
    int rc = 0;
    while ((rc = innerReader->get_line(&text, info, &number)) > 0) {
      if (++numRead; progress.is_due()) aceRep->pset(numRead, "Reading File");
      const int positions = teraMap->alt_len(text, noGlob);
      if (positions > TeraEdit::MAX_POSITIONS) {
        aceRep->ev_wprintf("Line %ld has an entry of %d positions, more than %d, skipping it\n", number,
                           positions, TeraEdit::MAX_POSITIONS);
        continue;
      }
      if (positions >= 0) {
        if (string != nullptr) *string = text;
        if (line != nullptr) *line = number;
        return rc;
      }
      aceRep->ev_wprintf("Line %ld corrupted, skipping '%s'\n", number, *text != '\0' ? text : BLANK);
    }
    return rc;
  }
  int rewind() override { return innerReader->rewind(); }
  VInt get_estimate() override { return innerReader->get_estimate(); }

 private:
  TeraReader* innerReader;
  const TeraMap* teraMap;
  static const AceTraceFlag* traced() {
    static const AceTraceFlag flag("TERAEDIT_READING", __FILE__, __LINE__);
    return &flag;
  }

  bool noGlob;
  AceReporter* aceRep;
  TeraProgress progress;
  Huge numRead = 0;
};

/// The phonetic codes of the strings of an index, each with its slot.
class CodeReader : public TeraReader {
 public:
  CodeReader(const TeraEdit& edit, const char* const* strings) : itsEdit(edit), slotStrings(strings) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    while (nextVariant == numVariants) {
      while (nextSlot < itsEdit.get_num_entries() && slotStrings[nextSlot] == nullptr) ++nextSlot;
      if (nextSlot == itsEdit.get_num_entries()) return 0;
      codeAt.release();
      numVariants = std::max(itsEdit.get_phonetics()->code(slotStrings[nextSlot], &variants, &codeAt), 0);
      nextVariant = 0;
      ++nextSlot;
    }
    if (string != nullptr) *string = variants[nextVariant];
    if (info != nullptr) *info = nextSlot - 1;
    if (line != nullptr) *line = nextSlot - 1;
    ++nextVariant;
    return 1;
  }
  int rewind() override {
    nextSlot = 0;
    nextVariant = numVariants = 0;
    return 0;
  }
  VInt get_estimate() override { return itsEdit.get_num_entries(); }

 private:
  const TeraEdit& itsEdit;
  const char* const* slotStrings;
  Large nextSlot = 0;
  char** variants = nullptr;
  int numVariants = 0;
  int nextVariant = 0;
  AceAttach codeAt;
};

}  // namespace

/// The distinct strings, and by slot which of them lies there.
struct TeraEdit::Entries {
  struct Entry {
    const char* string;
    const Token* tokens;  // null for one that is left out
  };
  static constexpr Large PADDING = ~Large{0};

  void tokenize(const TeraMap& map, bool no_glob);
  void drop_bad(const TeraMap& map, bool no_glob, AceReporter* rep);
  void turn();
  std::vector<int> count_lengths(bool operators) const;
  void place(std::vector<int> next, bool operators, AceReporter* rep);
  void drop_tokens();
  /// By slot, null for padding.
  template <class Get>
  auto of_slots(Get get) const {
    std::vector<decltype(get(all[0]))> found(slots.size());
    for (std::size_t slot = 0; slot < slots.size(); ++slot)
      if (slots[slot] != PADDING) found[slot] = get(all[slots[slot]]);
    return found;
  }

  SortedStrings strings;
  TeraAliasReader* aliases = nullptr;
  std::vector<PieceArena> tokenArenas;
  AceAttach turnedAt;
  std::vector<Entry> all;

  // By slot.
  std::vector<Large> slots;          // which of all, or PADDING
  std::vector<const Token*> tokens;  // null for padding
};

// ---------------------------------------------------------------- from readers and trees
// All ways to build end in sorted distinct strings with their lists of attribute numbers.

int TeraEdit::init(const TeraMap* map, TeraTransform* phonetics) {
  clean();
  if (map == nullptr || mapConfig.copy(map) < 0)
    return ace_error(__FILE__, __LINE__, "mapConfig.copy(map)", -1, 0, -1);
  numCols = mapConfig.num_token();
  if (phonetics != nullptr) {
    phoneCoding.reset(phonetics->copy());
    editFeatures |= HAS_PHONETICS;
  }
  return 0;
}

int TeraEdit::make(TeraReader* reader, const TeraMap* map, int filter, int fine, int options, int,
                   AceReporter* rep, TeraAliasReader* aliases) {
  if (reader == nullptr) return -1;
  Entries entries;
  SortedStrings& strings = entries.strings;
  const TeraMap* const used = map != nullptr ? map : &mapConfig;
  CheckedReader checked(reader, used, (options & ALLOW_ALT) == 0, rep);
  rep->psect(reader->get_estimate(), "Reading File");
  const auto enter = [&strings](const char* string, Large info) {
    strings.add(string, info);
    return 0;
  };
  const int scanned = checked.read_strings(enter, rep);
  if (scanned < 0) return ace_error(__FILE__, __LINE__, "checked.read_strings(enter, rep)", -1, 0, -1);
  if (aliases != nullptr) {
    rep->psect(0, "Reading Aliases");
    if (aliases->for_each_string([&strings](const char* string) { strings.add(string); }, rep) < 0)
      return ace_error(__FILE__, __LINE__, "aliases->for_each_string(enter, rep)", -1, 0, -1);
  }
  entries.aliases = aliases;
  strings.sort(num_threads());
  // Aliases that are no entries have no numbers.
  rep->printf("READ %d different strings\n",
              static_cast<int>(aliases != nullptr ? strings.count_numbered() : strings.size()));
  rep->printf("After %d scanned strings\n", scanned);
  return make_entries(&entries, map, filter, fine, options, rep);
}

int TeraEdit::make(ListTree* tree, const TeraMap* map, int filter, int fine, int options, AceReporter* rep) {
  if (tree == nullptr) return -1;
  Entries entries;
  tree->for_each([&entries](const char* string, AceBulk::List* infos) {
    entries.strings.add(string, infos);
    return 0;
  });
  entries.strings.sort(num_threads());
  return make_entries(&entries, map, filter, fine, options, rep);
}

int TeraEdit::make_entries(Entries* entries, const TeraMap* map, int filter, int fine, int options,
                           AceReporter* rep) {
  const std::unique_ptr<TeraTransform> phonetics(phoneCoding != nullptr ? phoneCoding->copy() : nullptr);
  TeraMap used;
  used.copy(map != nullptr ? map : &mapConfig);
  if (init(&used, phonetics.get()) < 0) return -1;
  if (filter < 0 || filter > MAX_FILTER || fine < 0) {
    rep->ev_wprintf("Filter %d (0 to %d) with refinement %d (0 and up) cannot be built\n", filter, MAX_FILTER,
                    fine);
    return -1;
  }
  const auto numStrings = static_cast<VInt>(entries->strings.size());
  entries->tokenize(mapConfig, (options & ALLOW_ALT) == 0);
  entries->drop_bad(mapConfig, (options & ALLOW_ALT) == 0, rep);
  if (entries->all.empty()) return 0;
  rep->psect(numStrings, "Building Edit Structure");
  return make_from(entries, filter, fine, options & (BUILD_OPTIONS | PLAIN_COLUMNS), rep);
}

// ---------------------------------------------------------------- tokens of entries
// Every thread fills an arena with the tokens of its part of the strings.

namespace {

/// A part of the strings.
struct TokenJob {
  /// The tokens of a string; null for a string that cannot be an entry.
  const Token* tokens_of(const char* string) {
    const VInt most = std::min<VInt>(MAX_SEQUENCE * static_cast<VInt>(std::strlen(string)) + 1, INT_MAX);
    auto* const tokens = reinterpret_cast<Token*>(arena->room(most));
    const int num = map->convert(string, tokens, static_cast<int>(most), noGlob);
    const int positions = noGlob ? num : map->alt_len(string, false);
    if (positions < 0 || positions > TeraEdit::MAX_POSITIONS) return nullptr;
    arena->take(num + 1);
    return tokens;
  }

  const TeraMap* map;
  bool noGlob;
  PieceArena* arena;
  std::size_t first;
  std::size_t last;
};

}  // namespace

/// Gives every string its tokens.
void TeraEdit::Entries::tokenize(const TeraMap& map, bool no_glob) {
  struct Worker {};
  using Parallel = AceParallel<TokenJob, Entries, Worker>;
  constexpr std::size_t leastJob = 1 << 12;
  all.resize(strings.size());
  const auto threads = static_cast<std::size_t>(ace_get_trace_num_threads(num_threads()));
  const std::size_t num = std::min(threads, all.size() / leastJob + 1);
  tokenArenas = std::vector<PieceArena>(num);
  std::vector<TokenJob> jobs;
  for (std::size_t i = 0; i < num; ++i)
    jobs.push_back({&map, no_glob, &tokenArenas[i], i * all.size() / num, (i + 1) * all.size() / num});
  Parallel::map(
      jobs.data(), this, static_cast<VInt>(num), nullptr, nullptr,
      [](TokenJob* parts, Entries* entries, Worker*, VInt index) {
        TokenJob& job = parts[index];
        for (std::size_t i = job.first; i < job.last; ++i) {
          const char* const string = entries->strings.string(i);
          entries->all[i] = {string, job.tokens_of(string)};
        }
      },
      static_cast<int>(num), nullptr);
  strings.drop_rows();
}

/// Reports the strings that cannot be entries, and leaves them out.
void TeraEdit::Entries::drop_bad(const TeraMap& map, bool no_glob, AceReporter* rep) {
  std::erase_if(all, [&](const Entry& entry) {
    if (entry.tokens != nullptr) return false;
    const int positions = map.alt_len(entry.string, no_glob);
    if (positions < 0)
      rep->ev_wprintf("Entry corrupted, skipping '%s'\n", entry.string);
    else
      rep->ev_wprintf("Entry of %d positions, more than %d, skipping '%.40s...'\n", positions, MAX_POSITIONS,
                      entry.string);
    return true;
  });
}

/// Turns the tokens round, and orders by that.
void TeraEdit::Entries::turn() {
  const auto text_of = [](const Entry& entry) { return reinterpret_cast<const char*>(entry.tokens); };
  for (Entry& entry : all) entry.tokens = TeraToken::turn(entry.tokens, &turnedAt);
  std::stable_sort(all.begin(), all.end(), [text_of](const Entry& a, const Entry& b) {
    return std::strcmp(text_of(a), text_of(b)) < 0;
  });
}

// ---------------------------------------------------------------- from entries
// Entries get slots by length, are ordered within it for the filter, and then set their bits.

namespace {

int length_of(const Token* tokens, bool operators) {
  return operators ? TeraToken::alt_len(tokens)
                   : static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
}

}  // namespace

std::vector<int> TeraEdit::Entries::count_lengths(bool operators) const {
  std::vector<int> histogram(1);
  for (const Entry& entry : all) {
    const auto length = static_cast<std::size_t>(length_of(entry.tokens, operators));
    if (length >= histogram.size()) histogram.resize(length + 1);
    ++histogram[length];
  }
  return histogram;
}

/// Gives every entry the next slot of its length.
void TeraEdit::Entries::place(std::vector<int> next, bool operators, AceReporter* rep) {
  static const AceTraceFlag traced("TERAEDIT_INFO", __FILE__, __LINE__);
  TeraProgress progress(&traced);
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (progress.is_due()) rep->pset(static_cast<Huge>(i) + 1, "Setting Indices");
    const Token* const own = all[i].tokens;
    const auto slot = static_cast<std::size_t>(next[static_cast<std::size_t>(length_of(own, operators))]++);
    slots[slot] = static_cast<Large>(i);
    tokens[slot] = own;
  }
}

/// Once the bits are set and aliases found, nobody needs them.
void TeraEdit::Entries::drop_tokens() {
  tokens = {};
  tokenArenas.clear();
  turnedAt.release();
}

int TeraEdit::make_from(Entries* entries, int filter, int fine, int options, AceReporter* rep) {
  rep->psect(0, "Preparing");
  const bool operators = mapConfig.is_operator(TOKEN_WILDCARD) && (options & ALLOW_ALT) != 0;
  if ((options & REVERSE) != 0) {
    rep->psect(0, "Reversing");
    entries->turn();
  }
  std::vector<int> histogram = entries->count_lengths(operators);
  if (align_sums(histogram.data(), static_cast<int>(histogram.size()), filter, options) < 0) return -1;

  rep->psect(numEntry, "Setting Indices");
  entries->slots.resize(numEntry, Entries::PADDING);
  entries->tokens.resize(numEntry);
  entries->place(histogram, operators, rep);
  if (filter > 0 && fine > 0) {
    rep->psect(numEntry, "Refining");
    const std::vector<Large> order = cluster_entries(entries->tokens.data(), fine, FULL_CLUSTER, rep);
    permute(order, &entries->slots);
    permute(order, &entries->tokens);
  }
  rep->psect(numEntry, "Filling Bits");
  // With strings, those tell the entries of the groups that a filter lets pass.
  const bool isCoarse = filter > 0 && (options & NO_STRINGS) == 0;
  if ((isCoarse ? fill_filter(entries->tokens.data()) : fill_bits(entries->tokens.data())) < 0) return -1;
  if (make_aliases(*entries, rep) < 0) return -1;
  entries->drop_tokens();
  if (make_info(*entries, rep) < 0) return -1;
  std::vector<const char*> strings =
      entries->of_slots([](const Entries::Entry& entry) { return entry.string; });
  entries->all = {};
  entries->slots = {};
  if ((options & NO_STRINGS) == 0 && make_strings(strings, rep) < 0) return -1;
  if (make_phonetics(strings, rep) < 0) return -1;
  strings = {};
  entries->strings.clear();
  if ((options & NO_STRINGS) == 0) {
    rep->psect(numEntry, "Building Sorted Entry Array");
    sort_entries();
  }
  editStore = std::make_unique<EditStore>(*this);
  return 0;
}

int TeraEdit::align_sums(int* histogram, int num_lengths, int filter, int options) {
  const bool isHistogram = histogram != nullptr && num_lengths > 0 &&
                           std::all_of(histogram, histogram + num_lengths, [](int num) { return num >= 0; });
  if (!isHistogram || filter < 0 || filter > MAX_FILTER)
    return ace_error(__FILE__, __LINE__, "align_sums(histogram, filter, options)", -1, 0, -1);
  clean_entries();
  editFeatures |= options & BUILD_OPTIONS;
  staysPlain = (options & PLAIN_COLUMNS) != 0;
  std::vector<int> slots(histogram, histogram + num_lengths);
  slots[0] = std::max(slots[0], 1);  // there is always a slot for the empty string
  alignMode = (options & COMPACT) == 0 || filter > 0 ? 1 : 0;
  VInt total = 0;
  for (int& num : slots) {
    if (alignMode != 0) num = num > INT_MAX - SECTION_SLOTS ? INT_MAX : round_up(num);
    total += num;
  }
  if (total > INT_MAX)
    return ace_error(__FILE__, __LINE__, "align_sums(histogram, filter, options)", -1, 0, -1);
  numEntry = static_cast<Large>(total);
  filterLog = filter;
  init_layout(mapConfig.num_token(), slots);
  if (filter > 0) filterEdit = std::make_unique<TeraFilter>();
  for (int length = 0; length < num_lengths; ++length) histogram[length] = first_slot(length);
  return static_cast<int>(total);
}

int TeraEdit::filter_prepare(int* histogram, int filter) {
  const bool isHistogram = histogram != nullptr && maxLength > 0 &&
                           std::all_of(histogram, histogram + maxLength, [](int num) { return num >= 0; });
  if (!isHistogram || filter < 0 || filter > MAX_FILTER) return -1;
  editStore = nullptr;
  const std::vector<int> slots(histogram, histogram + maxLength);
  filterLog = filter;
  filterEdit = std::make_unique<TeraFilter>();
  return filterEdit->build(numCols, slots, filter);
}

int TeraEdit::filter_refine(const char** strings, const Token** tokens, int fine, int flags,
                            AceReporter* rep) {
  if (strings == nullptr || tokens == nullptr || fine < 0) return -1;
  const std::vector<Large> order = cluster_entries(tokens, fine, flags, rep);
  int numMoved = 0;
  std::vector<const char*> oldStrings(strings, strings + numEntry);
  std::vector<const Token*> oldTokens(tokens, tokens + numEntry);
  for (Large slot = 0; slot < numEntry; ++slot) {
    const Large from = order[slot];
    numMoved += from != slot && oldTokens[from] != nullptr ? 1 : 0;
    strings[slot] = oldStrings[from];
    tokens[slot] = oldTokens[from];
  }
  return numMoved;
}

/// Clusters each length by itself, on several threads.
std::vector<Large> TeraEdit::cluster_entries(const Token* const* tokens, int fine, int flags,
                                             AceReporter* rep) const {
  std::vector<Large> order(numEntry);
  std::iota(order.begin(), order.end(), Large{0});
  std::vector<EditCluster> jobs;
  for (int length = 1; length < maxLength; ++length) {
    const int first = first_slot(length);
    const int* const end = lengthSum + length;
    int last = *end;
    while (last > first && tokens[last - 1] == nullptr) --last;
    EditCluster job{tokens, order.data() + first, last - first, length, filterLog, fine, flags};
    job.split(&jobs);
  }
  EditCluster::run_all(&jobs, num_threads(), rep);
  return order;
}

int TeraEdit::fill_bits(const Token** tokens) {
  editStore = nullptr;
  if (tokens == nullptr || (filterLog > 0 && fill_filter(tokens) < 0) || init_modules() < 0) return -1;
  for (Large slot = 0; slot < numEntry; ++slot)
    if (tokens[slot] != nullptr && enter(tokens[slot], static_cast<int>(slot)) < 0)
      return ace_error(__FILE__, __LINE__, "enter(tokens[slot], slot)", -1, 0, -1);
  finish_columns(staysPlain);
  editStore = std::make_unique<EditStore>(*this);
  return 0;
}

int TeraEdit::enter(const Token* tokens, int slot) {
  if (tokens == nullptr || !is_plain()) return -1;
  const bool operators = (editFeatures & ALLOW_ALT) != 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  const int length = operators ? TeraToken::alt_len(tokens)
                               : static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
  if (fileMapped != 0 || slot < 0 || static_cast<Large>(slot) >= numEntry) return -1;
  if (length != get_length(static_cast<Large>(slot))) return -1;
  return set_bits(this, tokens, slot);
}

int TeraEdit::fill_filter(const Token** tokens) {
  std::vector<int> slots(static_cast<std::size_t>(maxLength));
  for (int length = 0; length < maxLength; ++length)
    slots[static_cast<std::size_t>(length)] = lengthSum[length] - first_slot(length);
  if (filter_prepare(slots.data(), filterLog) < 0) return -1;
  for (int length = 1; length < maxLength; ++length)
    for (int slot = first_slot(length); slot < lengthSum[length]; ++slot) {
      if (tokens[slot] == nullptr) continue;
      const int group = (slot - first_slot(length)) >> filterLog;
      if (set_bits(filterEdit.get(), tokens[slot], filterEdit->first_slot(length) + group) < 0) return -1;
    }
  filterEdit->finish_columns(staysPlain);
  return 0;
}

/// Sets the bits of an entry; a wildcard has all tokens. -1 for tokens without a column.
int TeraEdit::set_bits(TeraBitMatrix* matrix, const Token* tokens, int slot) {
  const bool operators = (editFeatures & ALLOW_ALT) != 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  bool isKnown = true;
  const auto accept = [&](int pos, Token tok) {
    if (!operators || tok != TOKEN_WILDCARD) {
      isKnown &= tok < numCols;
      if (tok < numCols) matrix->set_bit(slot, pos, tok);
      return;
    }
    for (int any = 1; any < numCols; ++any) matrix->set_bit(slot, pos, static_cast<Token>(any));
  };
  const auto ignore = [](int) {};
  walk_positions(tokens, operators, accept, ignore, ignore);
  return isKnown ? 0 : -1;
}

// ---------------------------------------------------------------- strings, attributes, aliases
// What belongs to a slot lies in the order of slots, so that its number finds it.

int TeraEdit::make_strings(const std::vector<const char*>& strings, AceReporter* rep) {
  rep->psect(numEntry, "Building String Handle");
  stringHandle = std::make_unique<TeraIndex>();
  if (const int rc = stringHandle->make_distinct(static_cast<int>(numEntry), strings.data(), rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "stringHandle->make_distinct(numEntry, strings, rep)", rc, 0, -1);
  editFeatures |= HAS_STRINGS;
  return 0;
}

void TeraEdit::sort_entries() {
  struct Key {
    VBit key;
    Large slot;
  };
  std::vector<Key> keys(numEntry);
  const auto string_of = [this](Large slot) { return stringHandle->get_line(slot, nullptr); };
  const auto isLess = [&](const Key& a, const Key& b) {
    if (a.key != b.key) return a.key < b.key;
    const int order = mapConfig.compare(string_of(a.slot), string_of(b.slot), true);
    return order != 0 ? order < 0 : a.slot < b.slot;
  };
  for (Large slot = 0; slot < numEntry; ++slot) keys[slot].slot = slot;
  ace_parallel_sort(
      std::span<Key>(keys),
      [&](std::span<Key> piece) {
        for (Key& one : piece) one.key = mapConfig.sort_key(string_of(one.slot), true);
        std::sort(piece.begin(), piece.end(), isLess);
      },
      isLess, num_threads());
  ownSorted.resize(numEntry);
  std::transform(keys.begin(), keys.end(), ownSorted.begin(), [](const Key& key) { return key.slot; });
  sortedEntries = ownSorted.data();
}

int TeraEdit::make_info(const Entries& entries, AceReporter* rep) {
  const auto list_of = [&](const Entries::Entry& entry) { return entries.strings.list_of(entry.string); };
  if (std::none_of(entries.all.begin(), entries.all.end(), list_of)) return 0;
  rep->psect(numEntry, "Building Info");
  std::vector<AceBulk::List*> bulk_lists = entries.of_slots(list_of);
  infoHandle = std::make_unique<AceIdMap>();
  if (infoHandle->build(numEntry, bulk_lists.data(), nullptr) < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->make(numEntry, bulk_lists, 0, rep)", -1, 0, -1);
  infoHandle->build_reverse(nullptr);  // none where entries share attribute numbers
  editFeatures |= HAS_DATA;
  return 0;
}

namespace {

/// Slots by what the map makes of their strings.
class PreparedSlots {
 public:
  explicit PreparedSlots(const std::vector<const Token*>& tokens) : tokensOf(tokens) {
    for (Large slot = 0; slot < tokens.size(); ++slot)
      if (tokens[slot] != nullptr) slots.push_back(slot);
    std::sort(slots.begin(), slots.end(), [this](Large a, Large b) {
      const int order = compare(tokensOf[a], tokensOf[b]);
      return order != 0 ? order < 0 : a < b;
    });
  }
  std::span<const Large> find(const Token* wanted) const {
    const auto isLess = [&](Large slot, const Token* tokens) { return compare(tokensOf[slot], tokens) < 0; };
    const auto first = std::lower_bound(slots.begin(), slots.end(), wanted, isLess);
    const auto last =
        std::find_if(first, slots.end(), [&](Large slot) { return compare(tokensOf[slot], wanted) != 0; });
    return {first, last};
  }

 private:
  static int compare(const Token* a, const Token* b) {
    return std::strcmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b));
  }

  const std::vector<const Token*>& tokensOf;
  std::vector<Large> slots;
};

}  // namespace

/// A string of a pair stands for all entries that the map does not tell from it.
int TeraEdit::make_aliases(const Entries& entries, AceReporter* rep) {
  if (entries.aliases == nullptr) return 0;
  rep->psect(0, "Adding Aliases");
  if (entries.aliases->rewind() < 0) return ace_error(__FILE__, __LINE__, "aliases->rewind()", -1, 0, -1);
  const PreparedSlots slots(entries.tokens);
  const bool noGlob = (editFeatures & ALLOW_ALT) == 0;
  TeraAliasMap::Pairs pairs(numEntry);
  const char* target = nullptr;
  const char* alias = nullptr;
  int penalty = 0;
  int rc = 0;
  while ((rc = entries.aliases->read_entry(&target, &alias, &penalty, nullptr)) > 0) {
    AceAttach at;
    const auto slots_of = [&](const char* string) {
      return mapConfig.alt_len(string, noGlob) > 0 ? slots.find(mapConfig.convert(string, noGlob, &at))
                                                   : std::span<const Large>();
    };
    const auto aliasSlots = slots_of(alias);
    for (const Large ofTarget : slots_of(target))
      for (const Large ofAlias : aliasSlots)
        if (ofTarget != ofAlias) pairs.add(ofTarget, ofAlias, penalty);
  }
  if (rc < 0)
    return ace_error(__FILE__, __LINE__, "aliases->read_entry(&target, &alias, &penalty, 0)", rc, 0, -1);
  aliasMap = std::make_unique<TeraAliasMap>();
  if (aliasMap->make_from(&pairs) < 0) return -1;
  editFeatures |= HAS_ALIASES;
  return 0;
}

int TeraEdit::make_phonetics(const std::vector<const char*>& strings, AceReporter* rep) {
  if (phoneCoding == nullptr) return 0;
  rep->psect(numEntry, "Phonetics");
  CodeReader codes(*this, strings.data());
  phoneEdit = std::make_unique<TeraEdit>(TeraMap::get_ident_map(), nullptr);  // codes may be digits
  const int options = (editFeatures & (COMPACT | REVERSE)) | (staysPlain ? PLAIN_COLUMNS : 0);
  rep->psect(numEntry, "Primary phonetics");
  return phoneEdit->make(&codes, nullptr, filterLog, 0, options, 0, rep, nullptr);
}
