#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>

#include "ace/ace_reporter.h"
#include "tera/auto/tera_auto_build_internal.h"

// ---------------------------------------------------------------- states
// Equal states are one: a state that is finished is looked up by what it accepts and where it leads.

namespace {

constexpr std::size_t LEAST_REGISTER = 1024;
constexpr VUint HASH_FACTOR = 0x9E3779B97F4A7C15U;
constexpr Large MAX_PATHS = 0x7FFFFFFF;

VUint mix(VUint hash, VUint value) {
  hash = (hash ^ value) * HASH_FACTOR;
  return hash ^ hash >> 29;
}

}  // namespace

TeraAutoStates::TeraAutoStates() : hashTable(LEAST_REGISTER), openPath(1), lastEntry(1) {
  openPath[0].isAccepted = true;
}

VUint TeraAutoStates::hash(const Open& open) {
  VUint value = open.isAccepted ? 1 : 2;
  for (const Trans& trans : open.transitions) value = mix(value, VUint{trans.target} << 8 | trans.token);
  return mix(value, open.transitions.size());
}

/// 0 when they are the same: both accept or not, and lead to the same states by the same tokens.
int TeraAutoStates::compare(const TeraAutoState& state, const Open& open) const {
  const auto transitionsOf = transitions(state);
  const bool isSame = state.is(TeraAutoState::IS_ACCEPTED) == open.isAccepted &&
                      std::equal(transitionsOf.begin(), transitionsOf.end(), open.transitions.begin(),
                                 open.transitions.end());
  return isSame ? 0 : 1;
}

void TeraAutoStates::grow_register() {
  const auto hash_of = [this](Large id) {
    Open open;
    const auto transitionsOf = transitions(states[id]);
    open.transitions.assign(transitionsOf.begin(), transitionsOf.end());
    open.isAccepted = states[id].is(TeraAutoState::IS_ACCEPTED);
    return hash(open);
  };
  std::vector<Large> wider(4 * hashTable.size());
  for (Large id = 0; id < states.size(); ++id) {
    std::size_t at = hash_of(id) % wider.size();
    while (wider[at] != 0) at = (at + 1) % wider.size();
    wider[at] = id + 1;
  }
  hashTable.swap(wider);
}

/// The state that is the same, or else a new one; empties `open`.
Large TeraAutoStates::freeze(Open* open) {
  if (2 * states.size() >= hashTable.size()) grow_register();
  std::size_t at = hash(*open) % hashTable.size();
  while (hashTable[at] != 0 && compare(states[hashTable[at] - 1], *open) != 0)
    at = (at + 1) % hashTable.size();
  if (hashTable[at] == 0) {
    TeraAutoState state;
    state.firstTrans = allTrans.size();
    state.numTrans = static_cast<Small>(open->transitions.size());
    state.flags = open->isAccepted ? TeraAutoState::IS_ACCEPTED : 0;
    state.lastToken = open->isAccepted || open->transitions.empty() ? Token{0} : open->transitions[0].token;
    state.numPaths = open->isAccepted ? 1 : 0;
    for (const Trans& trans : open->transitions) state.numPaths += states[trans.target].numPaths;
    allTrans.insert(allTrans.end(), open->transitions.begin(), open->transitions.end());
    states.push_back(state);
    hashTable[at] = static_cast<Large>(states.size());
  }
  open->transitions.clear();
  open->isAccepted = false;
  return hashTable[at] - 1;
}

/// What the new entry does not share with the last one can grow no more.
int TeraAutoStates::add(const Token* tokens) {
  int shared = 0;
  while (shared < lastLength && tokens[shared] == lastEntry[static_cast<std::size_t>(shared)]) ++shared;
  const auto open_at = [this](int depth) -> Open& { return openPath[static_cast<std::size_t>(depth)]; };
  for (int depth = lastLength; depth > shared; --depth)
    open_at(depth - 1).transitions.back().target = freeze(&open_at(depth));
  const int length = static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
  if (openPath.size() <= static_cast<std::size_t>(length))
    openPath.resize(static_cast<std::size_t>(length) + 1);
  for (int depth = shared; depth < length; ++depth) open_at(depth).transitions.push_back({tokens[depth], 0});
  open_at(length).isAccepted = true;
  lastEntry.assign(tokens, tokens + length);
  lastLength = length;
  longestPath = std::max(longestPath, length);
  numTokens += length;
  return states.size() < MAX_PATHS ? 0 : -1;
}

void TeraAutoStates::finish() {
  for (int depth = lastLength; depth > 0; --depth) {
    const Large id = freeze(&openPath[static_cast<std::size_t>(depth)]);
    openPath[static_cast<std::size_t>(depth) - 1].transitions.back().target = id;
  }
  freeze(&openPath[0]);
  hashTable = {};
}

void TeraAutoStates::mark_multi_in() {
  for (const Trans& trans : allTrans) {
    Token& flags = states[trans.target].flags;
    flags |= (flags & TeraAutoState::HAS_PATH) != 0 ? TeraAutoState::HAS_MULTI_IN : TeraAutoState::HAS_PATH;
  }
}

// ---------------------------------------------------------------- places
// Words of 64 slots at a time tell where a state's transitions find room.

/// Bit i: slot `from` + i is free.
VBit TeraTestFlag::free_slots(VInt from) const {
  const auto word = static_cast<std::size_t>(from / WORD_BITS);
  const int shift = static_cast<int>(from % WORD_BITS);
  const auto taken = [this](std::size_t i) { return i < takenSlots.size() ? takenSlots[i] : 0; };
  if (shift == 0) return ~taken(word);
  return ~(taken(word) >> shift | taken(word + 1) << (WORD_BITS - shift));
}

void TeraTestFlag::widen(VInt slots) {
  const auto words = static_cast<std::size_t>(slots / WORD_BITS) + 1;
  if (takenSlots.size() >= words) return;
  takenSlots.resize(2 * words);
  takenBases.resize(2 * words);
}

void TeraTestFlag::take(VInt base, std::span<const Token> tokens) {
  const auto set = [](std::vector<VBit>* bits, VInt i) {
    (*bits)[static_cast<std::size_t>(i / WORD_BITS)] |= VBit{1} << i % WORD_BITS;
  };
  widen(base + MAX_TRANS);
  set(&takenBases, base);
  for (const Token token : tokens) set(&takenSlots, base + token);
  endSlot = std::max(endSlot, base + tokens.back() + 1);
}

/// Looks at 64 bases at once: bit i of `fits` says that base `from` + i is free, and its slots are.
VInt TeraTestFlag::place(std::span<const Token> tokens) {
  const auto is_full = [this](VInt word) {
    const auto at = static_cast<std::size_t>(word);
    return at < takenSlots.size() && 100 * std::popcount(takenSlots[at]) >= WORD_BITS * loadFactor;
  };
  VInt& first = firstWord[tokens.size()];
  while (is_full(first)) ++first;
  for (VInt word = first; word * WORD_BITS < MAX_SLOTS; ++word) {
    const VInt from = std::max<VInt>(word * WORD_BITS - tokens[0], 0);
    VBit fits = free_slots(from + tokens[0]);
    for (std::size_t i = 1; i < tokens.size() && fits != 0; ++i) fits &= free_slots(from + tokens[i]);
    for (; fits != 0; fits &= fits - 1) {
      const VInt base = from + std::countr_zero(fits);
      const auto at = static_cast<std::size_t>(base / WORD_BITS);
      if (at < takenBases.size() && (takenBases[at] >> base % WORD_BITS & 1) != 0) continue;
      if (word - first > PATIENCE) first += (word - first) / 2;
      take(base, tokens);
      return base;
    }
  }
  return -1;
}

// ---------------------------------------------------------------- packing
// Slots of all states share one array: a state's token t lies at its base + t, no two states have one base,
// and a base is tried where those slots are free.
//
//     slot       10   11   12   13
//     state 7     a         c            base 9, tokens 1 and 3
//     state 9          a         c       base 10

/// Writes the states into the arrays of an automaton.
class TeraAutoBuilder {
 public:
  TeraAutoBuilder(TeraAutoStates* source, TeraAutoData* target) : built(*source), data(*target) {}

  void compress();
  int place(int load);
  void fill();

 private:
  TeraAutoState& start() { return built.states.back(); }
  std::span<const Token> tokens_of(const TeraAutoState& state);
  Large target_of(Large id) const {
    const TeraAutoState& state = built.states[id];
    return state.is(TeraAutoState::IS_COMPRESSED) ? data.arrSize + state.nextState : state.nextState;
  }
  bool is_chainable(const TeraAutoState& state) const {
    return !state.is(TeraAutoState::IS_ACCEPTED) && state.numTrans == 1 && &state != &built.states.back();
  }
  void add_chain(Large id);
  void link_chains();
  void create_extra_array();
  void fill_transition(const TeraAutoState& state);
  void set_count(TeraAutoTrans* slot, Large count);

  TeraAutoStates& built;
  TeraAutoData& data;
  Token scratch[TeraTestFlag::MAX_TRANS] = {};
  std::vector<Token> chains;
  std::vector<std::pair<VUint, Large>> chainEnds;  // where a link stands, and the state that follows
  TeraAutoTrans* slots = nullptr;
  std::vector<Large> largeCounts;  // those from the limit on, sorted
  Large* extra = nullptr;          // by slot
};

/// A run begins where no run that was made before goes through, parents first.
void TeraAutoBuilder::compress() {
  for (std::size_t id = built.states.size(); id-- > 0;) {
    const TeraAutoState& state = built.states[id];
    if (is_chainable(state) && !state.is(TeraAutoState::IS_COMPRESSED)) add_chain(static_cast<Large>(id));
  }
  data.seqSize = static_cast<Large>(chains.size());
}

void TeraAutoBuilder::add_chain(Large id) {
  constexpr std::size_t LINK = 4;
  ++data.numCompressed;
  for (;;) {
    TeraAutoState& state = built.states[id];
    if (!is_chainable(state) || state.is(TeraAutoState::IS_COMPRESSED)) break;
    state.flags |= TeraAutoState::IS_COMPRESSED;
    state.nextState = static_cast<Large>(chains.size());
    const auto trans = built.transitions(state)[0];
    chains.push_back(trans.token);
    id = trans.target;
  }
  chains.push_back(0);
  chainEnds.emplace_back(chains.size(), id);
  chains.resize(chains.size() + LINK);
}

std::span<const Token> TeraAutoBuilder::tokens_of(const TeraAutoState& state) {
  std::size_t num = 0;
  if (state.is(TeraAutoState::IS_ACCEPTED)) scratch[num++] = 0;
  for (const auto& trans : built.transitions(state)) scratch[num++] = trans.token;
  return {scratch, num};
}

/// The start is at 0; then the states with the most transitions, which find room worst. Of as many, those
/// that are finished last, near the start, come first: what is walked often lies together.
int TeraAutoBuilder::place(int load) {
  TeraTestFlag flags(load);
  flags.take(0, tokens_of(start()));
  start().nextState = 0;
  const auto slots_of = [](const TeraAutoState& state) {
    return state.numTrans + (state.is(TeraAutoState::IS_ACCEPTED) ? 1U : 0U);
  };
  std::vector<std::vector<Large>> bySize(TeraTestFlag::MAX_TRANS + 1);
  for (std::size_t id = built.states.size() - 1; id-- > 0;)
    if (!built.states[id].is(TeraAutoState::IS_COMPRESSED))
      bySize[slots_of(built.states[id])].push_back(static_cast<Large>(id));
  for (std::size_t size = bySize.size(); size-- > 0;)
    for (const Large id : bySize[size]) {
      TeraAutoState& state = built.states[id];
      const VInt base = flags.place(tokens_of(state));
      if (base < 0) return -1;
      state.nextState = static_cast<Large>(base) + state.lastToken;
    }
  if (flags.get_end() + static_cast<VInt>(chains.size()) >= VInt{TeraAutoData::NOWHERE}) return -1;
  data.arrSize = static_cast<Large>(flags.get_end());
  return 0;
}

void TeraAutoBuilder::fill() {
  data.memAt.malloc(slots, static_cast<long>(data.arrSize));
  std::fill_n(slots, data.arrSize, TeraAutoTrans{});
  data.transArray = slots;
  create_extra_array();
  for (const TeraAutoState& state : built.states)
    if (!state.is(TeraAutoState::IS_COMPRESSED)) fill_transition(state);
  link_chains();
}

void TeraAutoBuilder::link_chains() {
  if (chains.empty()) return;
  for (const auto& [at, id] : chainEnds) {
    const Large target = target_of(id);
    std::memcpy(chains.data() + at, &target, sizeof target);
  }
  Token* heap = nullptr;
  data.memAt.malloc(heap, static_cast<long>(chains.size()));
  std::copy(chains.begin(), chains.end(), heap);
  data.seqHeap = heap;
}

/// The largest limit with which the distinct counts from it on can be told apart in the rest of 16 bits; else
/// one place per slot.
void TeraAutoBuilder::create_extra_array() {
  constexpr Large LIMIT = TeraAutoData::SMALL_LIMIT;
  std::vector<Large> counts;
  for (const TeraAutoState& state : built.states) {
    Large count = state.is(TeraAutoState::IS_ACCEPTED) ? 1 : 0;
    for (const auto& trans : built.transitions(state)) {
      counts.push_back(count);
      count += built.states[trans.target].numPaths;
    }
  }
  std::sort(counts.begin(), counts.end());
  counts.erase(std::unique(counts.begin(), counts.end()), counts.end());
  const auto from = [&](Large limit) { return std::lower_bound(counts.begin(), counts.end(), limit); };
  const auto fits = [&](Large limit) { return counts.end() - from(limit) <= VInt{LIMIT} - limit; };
  data.extraLimit = LIMIT;
  while (data.extraLimit > 0 && !fits(data.extraLimit)) --data.extraLimit;
  if (!fits(data.extraLimit)) {
    data.extraLimit = LIMIT;
    data.numExtra = data.arrSize;
  } else {
    largeCounts.assign(from(data.extraLimit), counts.end());
    data.numExtra = static_cast<Large>(largeCounts.size());
  }
  if (data.numExtra == 0) return;
  data.memAt.malloc(extra, static_cast<long>(data.numExtra));
  std::fill_n(extra, data.numExtra, Large{0});
  std::copy(largeCounts.begin(), largeCounts.end(), extra);
  data.extraArray = extra;
}

void TeraAutoBuilder::set_count(TeraAutoTrans* slot, Large count) {
  const Large limit = data.extraLimit;
  if (count < limit) {
    slot->hashIndex = static_cast<Small>(count);
  } else if (limit == TeraAutoData::SMALL_LIMIT) {
    slot->hashIndex = static_cast<Small>(limit);
    extra[slot - slots] = count;
  } else {
    const auto place = std::lower_bound(largeCounts.begin(), largeCounts.end(), count);
    slot->hashIndex = static_cast<Small>(limit + static_cast<Large>(place - largeCounts.begin()));
  }
}

void TeraAutoBuilder::fill_transition(const TeraAutoState& state) {
  TeraAutoTrans* const base = slots + state.nextState - state.lastToken;
  const auto transitions = built.transitions(state);
  Large count = 0;
  if (state.is(TeraAutoState::IS_ACCEPTED)) {
    base[0] = {0, transitions.empty() ? Token{0} : transitions[0].token, 0, 1};
    count = 1;
  }
  for (std::size_t i = 0; i < transitions.size(); ++i) {
    TeraAutoTrans& slot = base[transitions[i].token];
    slot.transToken = transitions[i].token;
    slot.nextToken = i + 1 < transitions.size() ? transitions[i + 1].token : Token{0};
    slot.nextState = target_of(transitions[i].target);
    set_count(&slot, count);
    count += built.states[transitions[i].target].numPaths;
  }
}

VInt TeraAutoData::make(std::span<const Token* const> entries, int load, bool compress, AceReporter* rep) {
  clean();
  loadFactor = static_cast<Large>(std::clamp(load, 1, 100));
  TeraAutoStates states;
  bool isTooLarge = entries.size() >= MAX_PATHS;
  for (std::size_t i = 0; i < entries.size() && !isTooLarge; ++i) isTooLarge = states.add(entries[i]) < 0;
  if (!isTooLarge) {
    states.finish();
    states.mark_multi_in();
    numPaths = static_cast<Large>(entries.size()) + 1;
    numNodes = static_cast<Large>(states.states.size());
    longestPath = states.longestPath;
    dictSize = states.numTokens;
    TeraAutoBuilder builder(&states, this);
    if (compress) builder.compress();
    isTooLarge = builder.place(static_cast<int>(loadFactor)) < 0;
    if (!isTooLarge) builder.fill();
  }
  if (!isTooLarge) return numPaths;
  clean();
  rep->printf("%zu entries are more than an automaton can number\n", entries.size());
  return -1;
}
