/// One packed automaton: sorted distinct token strings as paths of a minimal acyclic automaton, each with its
/// number.
///
///     0   ""           path 0 is the empty string, which the start state always accepts
///     1   bad          entries are numbered from 1 on, in the order of their token strings; 0 stands for
///     2   bar          "absent" as well
///     3   car
///
///     start --b--> --a--> --d--> (end)
///       |            |             ^
///       c            +-----r-------+      "ar" of bar and of car are the same states
///       +--> --a-----------r-------+
///
/// Every transition knows how many paths of its state come before it; the sum along a string is its number.
///
/// Slots. All transitions of all states lie in one array, interleaved. A state is the index S of its
/// reference slot, which has the state's smallest token r (0, the end of an entry, in a state that accepts);
/// the slot of token t is S - r + t, and is the state's own when t stands there. No two states have the same
/// S - r, so that none can take a slot of another for its own. The tokens of a state are chained, ascending,
/// from the reference slot on.
///
/// Chains. With path compression, states that do not accept and have one transition lie in a heap of tokens:
/// the tokens of a run of them, a 0, and the state that follows, in four bytes. A state from `arrSize` on is
/// the position `id - arrSize` of that heap.
///
/// Payload of `save`:
///
///     loadFactor      Large           1..100, in percent
///     numPaths        Large           entries, and one for the empty string
///     numNodes        Large           states
///     numCompressed   Large           chains
///     longestPath     int             tokens, up to MAX_TOKENS
///     dictSize        VInt            tokens of all entries
///     arrSize         Large           slots, at least 1
///     numExtra        Large           counts that do not fit into a slot
///     extraLimit      Large           0..65535
///     seqSize         Large           bytes
///     transArray      arrSize x 8     aligned to 8: transToken, nextToken, hashIndex (2), nextState (4)
///     extraArray      numExtra x 4    aligned to 8, if numExtra > 0
///     seqHeap         seqSize         aligned to 8, if seqSize > 0
///
/// A count below `extraLimit` stands in `hashIndex`; others are `extraArray[hashIndex - extraLimit]`, which
/// is sorted, or, with a limit of 65535, `extraArray` at the index of the slot itself.
///
/// `read` checks the numbers; walks check where they read, so that in damaged arrays they stay in bounds and
/// end: tokens of a chain ascend, no path is longer than `longestPath`, no number is beyond `numPaths`.
///
/// Thread safety: built or read by one thread, then read by any number.
/// Cost: a string takes two slots per token; its text from its number the tokens of each state on its way.
/// Source: J. Daciuk, S. Mihov, B. Watson, R. Watson, Computational Linguistics 26(1), 2000 (minimal automata
/// from sorted strings); C. Lucchesi, T. Kowaltowski, Software 23(1), 1993 (numbers of paths).
#pragma once

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "tera/tera_map.h"

class AceFile;
class AceReporter;

/// One slot, as it is saved.
struct TeraAutoTrans {
  Token transToken;  ///< 0: the end of an entry, or no transition
  Token nextToken;   ///< the next greater one of the same state; 0 for none
  Small hashIndex;   ///< paths before
  Large nextState;   ///< at the end of an entry: the accept information, 1
};
static_assert(sizeof(TeraAutoTrans) == 8, "slots are saved as they are");

/// Access to an automaton, whatever it lies in.
class SORV_API TeraAutoDataInterface {
 public:
  /// Gets each entry and its number, ascending, until it returns a negative value.
  using GetEntry = std::function<int(int index, const Token* tokens)>;

  /// The map is kept by pointer.
  explicit TeraAutoDataInterface(const TeraMap* map) : mapConfigRef(map) {}
  TeraAutoDataInterface(const TeraAutoDataInterface&) = delete;
  TeraAutoDataInterface& operator=(const TeraAutoDataInterface&) = delete;
  virtual ~TeraAutoDataInterface();

  /// Whether look-ups read what other threads may change.
  virtual bool needs_cache() const = 0;
  /// Returns the number of entries, or what the function returned.
  virtual int for_each(const GetEntry& get) const = 0;
  virtual Large get_num_paths() const = 0;
  virtual Large get_num_nodes() const = 0;
  virtual int get_longest_path() const = 0;
  virtual bool is_state(Large id) const = 0;
  /// The text of a number, in `at`; null for no number.
  virtual const char* get_literal_string(int index, AceAttach* at) const = 0;
  /// The number of what is read from a state on, `index` paths in; 0 when it is absent.
  virtual Large get_internal_id(Large state, Large index, const char* rest) const = 0;
  /// Where token 0 of the state would be.
  virtual VInt get_base(Large state) const = 0;
  /// The paths of the state before the transition.
  virtual Large get_index(const TeraAutoTrans* slot) const = 0;
  /// Whether the state lies in a chain.
  virtual bool is_sequence(Large state) const = 0;
  /// The token of a state in a chain; moves on to the next state.
  virtual Token seq_token(Large* state) const = 0;

  /// The number of an entry, operators off; 0 when it is absent or empty.
  Large get_path_index(const char* string) const;
  Large get_token_path_index(const Token* tokens) const { return token_path_index(tokens); }
  /// The entry with that number, "" for 0; null outside.
  const char* get_entry(int index, AceAttach* at) const { return get_literal_string(index, at); }
  const TeraMap* get_map() const { return mapConfigRef; }

 protected:
  virtual Large token_path_index(const Token* tokens) const = 0;

  const TeraMap* mapConfigRef;
};

class SORV_API TeraAutoData final : public TeraAutoDataInterface {
 public:
  /// Tokens of an entry.
  static constexpr int MAX_TOKENS = 4096;
  static constexpr Large START = 0;
  /// Where a walk ends that leads nowhere.
  static constexpr Large NOWHERE = ~Large{0};

  explicit TeraAutoData(const TeraMap* map) : TeraAutoDataInterface(map) {}

  /// Builds from distinct token strings, none empty, in byte order, in place of what there was. `load` is the
  /// percentage, 1 to 100, up to which the slots are searched for room; `compress` makes chains. Returns the
  /// number of paths; -1, reported, for more paths, or slots, than 32 bits count.
  VInt make(std::span<const Token* const> entries, int load, bool compress, AceReporter* rep);
  void clean();
  VInt save(AceFile* file) const;
  /// Returns the number of paths, or -1, reported; it is empty then.
  VInt read(AceFile* file);
  /// Whether every state can be reached in its bounds, paths are numbered densely and slots hold what their
  /// states say. Returns 0, or -1, reported. One pass.
  int verify(AceReporter* rep) const;
  void print(AceReporter* rep) const;

  bool needs_cache() const override { return false; }
  int for_each(const GetEntry& get) const override;
  Large get_num_paths() const override { return numPaths; }
  Large get_num_nodes() const override { return numNodes; }
  int get_longest_path() const override { return longestPath; }
  bool is_state(Large id) const override { return id < VUint{arrSize} + seqSize; }
  const char* get_literal_string(int index, AceAttach* at) const override;
  Large get_internal_id(Large state, Large index, const char* rest) const override;
  VInt get_base(Large state) const override {
    return state < arrSize ? VInt{state} - transArray[state].transToken : 0;
  }
  Large get_index(const TeraAutoTrans* slot) const override { return count_of(*slot); }
  bool is_sequence(Large state) const override { return state >= arrSize; }
  Token seq_token(Large* state) const override { return next_of_chain(state); }

  Large get_num_slots() const { return arrSize; }
  Large get_num_chains() const { return numCompressed; }
  Large get_chain_bytes() const { return seqSize; }
  Large get_load_factor() const { return loadFactor; }
  Large get_extra_limit() const { return extraLimit; }
  VInt get_dict_size() const { return dictSize; }
  std::span<const TeraAutoTrans> slots() const { return {transArray, arrSize}; }

  // Walking.

  /// Moves a state along a token, and adds the paths that come before to `*index`. NOWHERE when there is no
  /// such transition.
  Large next(Large state, Token token, Large* index) const;
  /// Whether an entry ends there.
  bool is_accepting(Large state) const { return state < arrSize && transArray[state].transToken == 0; }
  /// Calls `visit(token, paths before, state)` for the transitions, ascending, until it returns false.
  template <class Visit>
  void for_each_transition(Large state, Visit visit) const;
  /// The tokens of a number, at most MAX_TOKENS and a 0, in `out`. Returns how many there are; -1 outside.
  int get_tokens(Large index, Token* out) const;
  /// The text of at most MAX_TOKENS tokens, in `at`.
  char* text_of(const Token* tokens, AceAttach* at) const;
  /// The number of paths of a state.
  Large count_paths(Large state) const;

 protected:
  Large token_path_index(const Token* tokens) const override;

 private:
  static constexpr Large SMALL_LIMIT = 65535;
  static constexpr int LINK_BYTES = 4;

  Large count_of(const TeraAutoTrans& slot) const {
    if (slot.hashIndex < extraLimit) return slot.hashIndex;
    return extra_count(slot);
  }
  Large extra_count(const TeraAutoTrans& slot) const;
  /// The slot of a token of a state in the array; null when it has none.
  const TeraAutoTrans* find_slot(Large state, Token token) const {
    const VInt slot = VInt{state} - transArray[state].transToken + token;
    if (slot < 0 || slot >= VInt{arrSize}) return nullptr;
    return transArray[slot].transToken == token ? transArray + slot : nullptr;
  }
  Token next_of_chain(Large* state) const;
  bool last_transition(Large state, Large limit, Token* token, Large* count, Large* target) const;
  VInt read_payload(AceFile* file);
  const char* check_numbers() const;
  int refuse(const char* reason) const;
  const char* find_fault() const;
  const char* check_slot(Large state, std::vector<VBit>* bases) const;

  friend class TeraAutoBuilder;

  int longestPath = 0;
  Large loadFactor = 100;
  Large numPaths = 0;
  Large numNodes = 0;
  Large numCompressed = 0;
  VInt dictSize = 0;
  Large arrSize = 0;
  const TeraAutoTrans* transArray = nullptr;
  Large numExtra = 0;
  const Large* extraArray = nullptr;
  Large extraLimit = SMALL_LIMIT;
  Large seqSize = 0;
  const Token* seqHeap = nullptr;
  int isMapped = 0;
  AceAttach memAt;  // holds the arrays unless a file does
};

inline Token TeraAutoData::next_of_chain(Large* state) const {
  const Large at = *state - arrSize;
  if (at >= seqSize || seqSize - at < 2 + LINK_BYTES) {
    *state = NOWHERE;
    return 0;
  }
  const Token token = seqHeap[at];
  if (seqHeap[at + 1] != 0) {
    ++*state;
    return token;
  }
  Large target = 0;
  std::copy_n(seqHeap + at + 2, LINK_BYTES, reinterpret_cast<Token*>(&target));
  *state = target;
  return token;
}

inline Large TeraAutoData::next(Large state, Token token, Large* index) const {
  if (state < arrSize) {
    const TeraAutoTrans* const slot = find_slot(state, token);
    if (slot == nullptr) return NOWHERE;
    *index += count_of(*slot);
    return slot->nextState;
  }
  return next_of_chain(&state) == token ? state : NOWHERE;
}

template <class Visit>
void TeraAutoData::for_each_transition(Large state, Visit visit) const {
  if (state >= arrSize) {
    if (const Token token = next_of_chain(&state); token != 0) visit(token, Large{0}, state);
    return;
  }
  const TeraAutoTrans* slot = transArray + state;
  const VInt base = VInt{state} - slot->transToken;
  for (Token token = slot->transToken;;) {
    if (token != 0 && !visit(token, count_of(*slot), slot->nextState)) return;
    const Token following = slot->nextToken;
    const VInt place = base + following;
    if (following <= token || place < 0 || place >= VInt{arrSize}) return;
    slot = transArray + place;
    token = following;
  }
}
