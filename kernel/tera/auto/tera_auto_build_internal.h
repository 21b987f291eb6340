/// Building a packed automaton: first its states, then their places.
#pragma once

#include <span>
#include <vector>

#include "tera/tera_auto_data.h"

/// A state while the automaton is built. Ids follow the order in which states are finished, so that every
/// transition leads to a smaller id.
struct TeraAutoState {
  enum Flag : Token { IS_ACCEPTED = 1, HAS_MULTI_IN = 2, IS_COMPRESSED = 4, HAS_PATH = 8 };

  bool is(Flag flag) const { return (flags & flag) != 0; }

  VUint firstTrans = 0;  ///< index of its transitions, which lie behind each other
  Large numPaths = 0;
  Large nextState = 0;  ///< its number in the packed automaton
  Small numTrans = 0;
  Token flags = 0;
  Token lastToken = 0;  ///< its reference token
};

/// The minimal automaton of sorted token strings.
class TeraAutoStates {
 public:
  struct Trans {
    Token token;
    Large target;
    bool operator==(const Trans&) const = default;
  };

  TeraAutoStates();
  /// Appends an entry, which must be greater than the last one. -1 when there are too many paths.
  int add(const Token* tokens);
  /// Finishes. The last state is the start, which accepts the empty string.
  void finish();

  std::span<const Trans> transitions(const TeraAutoState& state) const {
    return {allTrans.data() + state.firstTrans, state.numTrans};
  }
  void mark_multi_in();

  std::vector<TeraAutoState> states;
  int longestPath = 0;
  VInt numTokens = 0;

 private:
  /// A state on the path of the last entry, whose transitions may still grow.
  struct Open {
    std::vector<Trans> transitions;
    bool isAccepted = false;
  };

  Large freeze(Open* open);
  static VUint hash(const Open& open);
  int compare(const TeraAutoState& state, const Open& open) const;
  void grow_register();

  std::vector<Trans> allTrans;
  std::vector<Large> hashTable;  // ids + 1; 0 for none
  std::vector<Open> openPath;    // by depth
  std::vector<Token> lastEntry;
  int lastLength = 0;
};

/// Which slots and which bases are taken.
class TeraTestFlag {
 public:
  static constexpr int MAX_TRANS = 256;

  /// `load`: words of slots that are filled to that percentage are not searched any more.
  explicit TeraTestFlag(int load) : loadFactor(load) {}
  /// Takes a base, and the slot of each token, which ascend. Returns the base; -1 when there is none below
  /// 2^31.
  VInt place(std::span<const Token> tokens);
  /// Takes them at a base.
  void take(VInt base, std::span<const Token> tokens);
  /// Behind the last slot that is taken.
  VInt get_end() const { return endSlot; }

 private:
  static constexpr int WORD_BITS = 64;
  static constexpr VInt MAX_SLOTS = VInt{1} << 31;
  /// Words that are searched before the search begins further on the next time.
  static constexpr VInt PATIENCE = 64;

  VBit free_slots(VInt from) const;
  void widen(VInt slots);

  int loadFactor;
  std::vector<VBit> takenSlots;
  std::vector<VBit> takenBases;
  VInt firstWord[MAX_TRANS + 1] = {};  // by number of tokens: words before are not searched
  VInt endSlot = 0;
};
