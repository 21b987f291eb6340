/// What a session can undo and redo.
///
///     undo stack     QUERY name ""->"Jon" | MODE name '-'->'?' |STOP| EVENT name 0->1 |STOP| ... top
///     redo stack     what was undone last is on top
///
/// Changes come in groups, one for a command, with a STOP between two groups. Undoing a group moves its
/// changes to the redo stack; a new change empties that.
///
/// At most 400 changes are kept: beyond it, the last 200 and the rest of their group stay.
///
/// Thread safety: belongs to one thread.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ace/ace_types.h"

class SORV_API DareHistory {
 public:
  static constexpr int MAX_SIZE = 400;
  static constexpr int TRIMMED_SIZE = 200;

  enum EventType : int {
    STOP = 0,
    QUERY = 1,
    MODE = 2,
    FREE_SEARCH = 3,
    EVENT = 4,       ///< context event of a field: 0, or the ordinal of its selection
    HAS_RESULT = 5,  ///< whether the field's query has been looked up
    VOLATILE = 6,
    COLLECT = 7,
    COMBI = 8,
    CONF = 9,
    DEFAULT = 10,
    DIST = 11,
    CANDS = 12,
    FOCUS = 13,
    RESULT_TYPE = 14,
    ABSTR_LEVEL = 15,
  };
  using Text = std::optional<std::string>;
  using Value = std::variant<int, Text, Mask>;

  struct Elem {
    int fieldId = -1;  ///< -1: of the session
    EventType paramType = STOP;
    Value oldValue;
    Value newValue;

    /// Whether the values are the same; no text and an empty one are.
    bool no_change() const;
  };

  /// Ends the group on top of the undo stack (`back` 0) or of the redo stack.
  void stamp(int back);
  /// Records a change, unless it is none or the history sleeps; redo ends. Returns whether it was recorded.
  bool append(Elem elem);
  /// Moves one change: from undo to redo (`back` not 0), or the other way. Null at the end of a group, whose
  /// separator goes, and of the stack. What is returned stays until the next call.
  const Elem* step(int back);
  /// Drops separators from the top of the stack. Returns whether a change is left there.
  bool skip_stops(int back);
  /// Adds the changes of another history, which becomes empty.
  void merge(DareHistory* other);
  /// Empties both stacks and wakes up.
  void clear();

  // A command that fails puts back what was there before it. Until it has ended, older changes than are kept
  // stay. `is_walk`: it undoes or redoes.

  struct Kept;
  Kept begin(bool is_walk);
  void put_back(Kept kept);
  void end();

  bool can_undo() const { return has_event(undoStack); }
  bool can_redo() const { return has_event(redoStack); }
  /// Changes on the undo stack, without separators.
  int get_size() const { return stackSize; }
  void set_sleeping(bool sleeping) { isSleeping = sleeping; }
  bool is_sleeping() const { return isSleeping; }

  /// The changes that undo would take back, newest first, a line for each ("QUERY 2 'Jon' -> 'John'") and an
  /// empty line between commands.
  std::string describe() const;
  static const char* get_type_name(EventType type);

 private:
  using Stack = std::vector<Elem>;  // the top is at the end
  static bool has_event(const Stack& stack);
  void trim();

  int stackSize = 0;
  Stack undoStack;
  Stack redoStack;
  bool isSleeping = false;
  bool isOpen = false;  // within a command
};

struct DareHistory::Kept {
  std::size_t undoSize;
  int stackSize;
  std::optional<Stack> undoStack;  // of a walk
  Stack redoStack;
  bool isSleeping;
};
