// Building an automaton index from entry lines.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_auto.h"
#include "tera/tera_reader.h"
#include "tera/tera_scan.h"
#include "tera/tera_token.h"
#include "tera/tera_transform.h"

namespace {

/// Token strings one behind the other.
class TokenHeap {
 public:
  /// A copy of the tokens of a text; with `wild` those of "?" and "*" stay, of other operators none. Null for
  /// a text of too many.
  const Token* convert(const TeraMap& map, const char* text, bool wild) {
    const bool operators = wild && map.is_operator(TOKEN_WILDCARD);
    TeraScan scan(&map, text, !operators);
    int length = 0;
    while (const Token token = scan.get_next_token(0)) {
      const bool isOperator = operators && token >= TOKEN_WILDCARD;
      if (isOperator && token != TOKEN_WILDCARD && token != TOKEN_WILDSEQ) continue;
      if (length == TeraAutoData::MAX_TOKENS) return nullptr;
      work[length++] = token;
    }
    return store(length);
  }
  const Token* turned(const Token* tokens) {
    const int length = static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
    std::reverse_copy(tokens, tokens + length, work);
    return store(length);
  }

 private:
  static constexpr int CHUNK = 1 << 16;

  const Token* store(int length) {
    if (length + 1 > room) {
      heapAt.malloc(next, CHUNK);
      room = CHUNK;
    }
    Token* const stored = next;
    std::copy_n(work, length, stored);
    stored[length] = 0;
    next += length + 1;
    room -= length + 1;
    return stored;
  }

  AceAttach heapAt;
  Token* next = nullptr;
  int room = 0;
  Token work[TeraAutoData::MAX_TOKENS];
};

/// A token string with what decides most comparisons.
struct Keyed {
  explicit Keyed(const Token* string = nullptr, Large number = 0) : tokens(string), info(number) {
    for (int shift = 56; string != nullptr && *string != 0 && shift >= 0; shift -= 8)
      key |= VUint{*string++} << shift;
  }
  bool operator<(const Keyed& other) const { return key != other.key ? key < other.key : order(other) < 0; }
  bool equals(const Keyed& other) const { return key == other.key && order(other) == 0; }
  int order(const Keyed& other) const {
    return std::strcmp(reinterpret_cast<const char*>(tokens), reinterpret_cast<const char*>(other.tokens));
  }

  VUint key = 0;  // the first eight tokens, the first in the highest byte
  const Token* tokens;
  Large info;
};

}  // namespace

/// The distinct entries in order; the lists of their attributes, that of the empty string in front.
struct TeraAuto::Entries {
  TokenHeap heap;
  std::vector<Keyed> lines;
  std::vector<const Token*> distinct;
  std::vector<AceBulk::List*> infos;
  AceBulk bulk;

  void unite(bool no_info);
};

void TeraAuto::Entries::unite(bool no_info) {
  if (!std::is_sorted(lines.begin(), lines.end())) std::stable_sort(lines.begin(), lines.end());
  infos.assign(1, nullptr);
  for (const Keyed& line : lines) {
    const bool isEmpty = *line.tokens == 0;
    const bool isNew = !isEmpty && (distinct.empty() || !line.equals(Keyed(distinct.back())));
    if (isNew) {
      distinct.push_back(line.tokens);
      infos.push_back(nullptr);
    }
    AceBulk::List*& list = infos.back();
    const bool isKnown = list != nullptr && (*list)[list->count() - 1] == line.info;
    if (!no_info && line.info != TeraCand::NO_INFO && !isKnown) bulk.inc(list, line.info);
  }
}

namespace {

/// Enters the lines of a reader; too long ones are left out.
int read_lines(TeraReader* reader, const TeraMap& map, bool wild, TokenHeap* heap, std::vector<Keyed>* lines,
               AceReporter* rep) {
  const char* string = nullptr;
  Large info = 0;
  VInt line = 0;
  int rc = 0;
  while ((rc = reader->get_line(&string, &info, &line)) > 0) {
    const Token* const tokens = heap->convert(map, string, wild);
    if (tokens != nullptr)
      lines->emplace_back(tokens, info);
    else
      rep->ev_wprintf("Line %ld has an entry of more than %d tokens, skipping it\n", line,
                      TeraAutoData::MAX_TOKENS);
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "reader->get_line(&string, &info, &line)", rc, 0, -1) : 0;
}

/// The strings of aliases, without attributes.
int read_aliases(TeraAliasReader* aliases, const TeraMap& map, bool wild, TokenHeap* heap,
                 std::vector<Keyed>* lines) {
  const char* target = nullptr;
  const char* alias = nullptr;
  int rc = 0;
  while ((rc = aliases->read_entry(&target, &alias, nullptr, nullptr)) > 0)
    for (const char* string : {target, alias}) {
      const Token* const tokens = string != nullptr ? heap->convert(map, string, wild) : nullptr;
      if (tokens != nullptr) lines->emplace_back(tokens, TeraCand::NO_INFO);
    }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "aliases->read_entry(&target, &alias, 0, 0)", rc, 0, -1) : 0;
}

/// The phonetic codes of all entries, each with the entry's number.
class CodeReader : public TeraReader {
 public:
  CodeReader(const TeraAuto& automaton, const TeraTransform& transform)
      : itsAuto(automaton), itsTransform(transform) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    while (nextVariant == numVariants) {
      if (++entry >= itsAuto.get_capacity()) return 0;
      codeAt.release();
      const char* const text = itsAuto.get_entry(entry, &codeAt);
      numVariants = std::max(itsTransform.code(text, &variants, &codeAt), 0);
      nextVariant = 0;
    }
    if (string != nullptr) *string = variants[nextVariant];
    if (info != nullptr) *info = entry;
    if (line != nullptr) *line = entry;
    ++nextVariant;
    return 1;
  }
  int rewind() override {
    entry = 0;
    nextVariant = numVariants = 0;
    return 0;
  }
  VInt get_estimate() override { return itsAuto.get_capacity(); }

 private:
  const TeraAuto& itsAuto;
  const TeraTransform& itsTransform;
  Large entry = 0;
  char** variants = nullptr;
  int numVariants = 0;
  int nextVariant = 0;
  AceAttach codeAt;
};

}  // namespace

// ---------------------------------------------------------------- the index
// Entries are sorted and made distinct first: the automaton is built from its words in their order, once.

int TeraAuto::make(TeraReader* reader, const TeraMap* map, int load, int options, AceReporter* rep,
                   TeraAliasReader* aliases, const char*) {
  if (reader == nullptr) return -1;
  if ((options & ~KNOWN_BUILD_OPTIONS) != 0) {
    rep->ev_wprintf("Build options of an automaton (a sum of %d) expected, %d found\n", KNOWN_BUILD_OPTIONS,
                    options);
    return -1;
  }
  const std::unique_ptr<TeraTransform> phonetics(phoneTrafo != nullptr ? phoneTrafo->copy() : nullptr);
  TeraMap used;
  used.copy(map != nullptr ? map : &mapConfig);
  if (init(&used, phonetics.get()) < 0) return -1;
  const auto entries = std::make_unique<Entries>();
  const bool wild = (options & ALLOW_WILD) != 0;
  rep->psect(reader->get_estimate(), "Reading File");
  if (read_lines(reader, mapConfig, wild, &entries->heap, &entries->lines, rep) < 0) return -1;
  if (aliases != nullptr && read_aliases(aliases, mapConfig, wild, &entries->heap, &entries->lines) < 0)
    return -1;
  entries->unite((options & NO_INFO) != 0);
  if (make_entries(*entries, load, options, rep) < 0) {
    clean();
    return -1;
  }
  bind();
  if ((aliases != nullptr && build_alias_map(aliases, rep) < 0) || make_phonetic(load, options, rep) < 0) {
    clean();
    return -1;
  }
  bind();
  return 0;
}

int TeraAuto::make_entries(const Entries& entries, int load, int options, AceReporter* rep) {
  const bool compress = (options & PATH_COMPRESS) != 0;
  rep->psect(static_cast<VInt>(entries.distinct.size()), "Building Automaton");
  forwardAutoData = std::make_unique<TeraAutoData>(&mapConfig);
  if (forwardAutoData->make(entries.distinct, load, compress, rep) < 0)
    return ace_error(__FILE__, __LINE__, "forwardAutoData->make(entries, load, compress, rep)", -1, 0, -1);
  autoFeatures |= HAS_DATA;
  if ((options & NO_INFO) == 0 && make_info(entries, rep) < 0) return -1;
  if ((options & (REVERSE | BIDIRECT)) == 0) return 0;
  rep->psect(static_cast<VInt>(entries.distinct.size()), "Building Suffix Structure");
  if (make_back(entries.distinct, load, compress, &mapConfig, &backAutoData, &ownTurner, rep) < 0) return -1;
  reverseToForward = ownTurner.data();
  autoFeatures |= HAS_BACK;
  return 0;
}

int TeraAuto::make_back(const std::vector<const Token*>& entries, int load, bool compress, const TeraMap* map,
                        std::unique_ptr<TeraAutoData>* back, std::vector<int>* turner,
                        AceReporter* rep) const {
  const auto heap = std::make_unique<TokenHeap>();
  std::vector<Keyed> turned;
  turned.reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i)
    turned.emplace_back(heap->turned(entries[i]), static_cast<Large>(i) + 1);
  std::sort(turned.begin(), turned.end());
  std::vector<const Token*> strings(turned.size());
  turner->assign(turned.size() + 2, 0);
  for (std::size_t i = 0; i < turned.size(); ++i) {
    strings[i] = turned[i].tokens;
    (*turner)[i + 1] = static_cast<int>(turned[i].info);
  }
  *back = std::make_unique<TeraAutoData>(map);
  if ((*back)->make(strings, load, compress, rep) >= 0) return 0;
  return ace_error(__FILE__, __LINE__, "backAutoData->make(entries, load, compress, rep)", -1, 0, -1);
}

int TeraAuto::make_info(const Entries& entries, AceReporter* rep) {
  rep->psect(static_cast<VInt>(entries.infos.size()), "Building Info");
  std::vector<AceBulk::List*> lists = entries.infos;
  infoHandle = std::make_unique<AceIdMap>();
  if (infoHandle->build(static_cast<Large>(lists.size()), lists.data(), nullptr) < 0)
    return ace_error(__FILE__, __LINE__, "infoHandle->build(numPaths, lists, 0)", -1, 0, -1);
  infoHandle->build_reverse(nullptr);  // none where entries share attributes
  return 0;
}

int TeraAuto::build_alias_map(TeraAliasReader* aliases, AceReporter* rep) {
  rep->psect(0, "Adding Aliases");
  ACE_CALL(aliases->rewind());
  TeraAliasMap::Pairs pairs(get_capacity());
  const char* target = nullptr;
  const char* alias = nullptr;
  int penalty = 0;
  int rc = 0;
  while ((rc = aliases->read_entry(&target, &alias, &penalty, nullptr)) > 0) {
    const Large ofTarget = get_internal_id(target);
    const Large ofAlias = get_internal_id(alias);
    if (ofTarget > 0 && ofAlias > 0 && ofTarget != ofAlias) pairs.add(ofTarget, ofAlias, penalty);
  }
  if (rc < 0)
    return ace_error(__FILE__, __LINE__, "aliases->read_entry(&target, &alias, &penalty, 0)", rc, 0, -1);
  aliasMap = std::make_unique<TeraAliasMap>();
  if (aliasMap->make_from(&pairs) < 0) return -1;
  autoFeatures |= HAS_ALIASES;
  return 0;
}

// ---------------------------------------------------------------- its sounds
// Codes are entries of a second automaton, whose attributes are the paths of the words that sound so.

int TeraAuto::make_phonetic(int load, int options, AceReporter* rep) {
  if (phoneTrafo == nullptr) return 0;
  rep->psect(get_capacity(), "Phonetics");
  CodeReader codes(*this, *phoneTrafo);
  return make_phonetic_reader(&codes, load, options, rep);
}

/// Codes may be digits, so that their tokens are their bytes.
int TeraAuto::make_phonetic_reader(TeraReader* codes, int load, int options, AceReporter* rep) {
  const TeraMap* const map = TeraMap::get_ident_map();
  const auto entries = std::make_unique<Entries>();
  if (read_lines(codes, *map, false, &entries->heap, &entries->lines, rep) < 0) return -1;
  entries->unite(false);
  const bool compress = (options & PATH_COMPRESS) != 0;
  phoneAutoData = std::make_unique<TeraAutoData>(map);
  if (phoneAutoData->make(entries->distinct, load, compress, rep) < 0)
    return ace_error(__FILE__, __LINE__, "phoneAutoData->make(codes, load, compress, rep)", -1, 0, -1);
  std::vector<AceBulk::List*> lists = entries->infos;
  phoneInfo = std::make_unique<AceIdMap>();
  if (phoneInfo->build(static_cast<Large>(lists.size()), lists.data(), nullptr) < 0)
    return ace_error(__FILE__, __LINE__, "phoneInfo->build(numPaths, lists, 0)", -1, 0, -1);
  if ((options & (REVERSE | BIDIRECT)) == 0) return 0;
  if (make_back(entries->distinct, load, compress, map, &phoneBackAutoData, &ownPhoneTurner, rep) < 0)
    return -1;
  phoneReverseToForward = ownPhoneTurner.data();
  autoFeatures |= HAS_PHONE_BACK;
  return 0;
}
