/// Combination logic: which fields must match for a record to be a good answer, as an expression over field
/// names.
///
///     (a|b)&!c&(d:e)           in parentheses:  ((a|b)&!c&(d:e))
///
///                 0 AND                      logic ids: depth first from 0 at the root
///        /          |          \             each field has the id of its (first) leaf
///      1 OR       4 NOT     6 PLUS_AND
///      /   \        |           |
///     2 a  3 b     5 c      7 PLUS_OR        a plus group takes two nodes: ":" weighs how many of its
///                             /   \          fields match against how well the best one does
///                          8 d    9 e
///
/// Syntax, with blanks anywhere between:
///
///     logic     operand                       alone: a leaf, a negation or a group
///     operand   name | '!' operand | '(' operand { operator operand } ')'
///     operator  '&' | '|' | ':'               one kind in a group
///     name      up to the next of ( ) , & | :  or the end, without trailing blanks; it starts with none of
///               these and not with '!'
///
/// A group of one operand is that operand. A permissive parser puts parentheses around the text, and where
/// '&' and '|' meet in one group takes the last.
///
/// Nodes with ids of 128 and up exist, but are in no mask and take no part in anything that is computed.
///
/// Ownership: the tree and its names lie in the configuration.
/// Errors: -1, explained on the reporter of the call, which may be null; then the configuration is empty.
/// Thread safety: a configuration that nobody changes may be read by any number of threads.
/// Cost: parsing and numbering are linear and take no stack, however deep the text is nested; looking up a
/// name is linear in the nodes.
#pragma once

#include <cstdio>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceReporter;
class DastInfoList;

class SORV_API DareLogicConfig {
 public:
  /// Nodes in masks; those beyond take no part.
  static constexpr int MAX_NODES = 128;
  /// Percentage of the best field in a plus group, unless set.
  static constexpr int DEFAULT_PLUS_WEIGHT = 50;

  enum NodeType : int { INVALID = 0, FIELD = 1, AND = 2, OR = 3, PLUS_OR = 4, PLUS_AND = 5, NOT = 6 };

  struct Node {
    int nodeType = INVALID;
    int logicId = -1;
    Node* parentNode = nullptr;
    Node* nextNode = nullptr;  ///< next sibling
    Node* firstChild = nullptr;
    Node* lastChild = nullptr;
    const char* fieldName = nullptr;  ///< of a leaf; a label, or null, of other nodes
    int numChildren = 0;
  };

  /// The nodes of a tree, depth first.
  class SORV_API NodeIter {
   public:
    explicit NodeIter(Node* root) : topNode(root), nextNode(root) {}
    /// Null at the end.
    Node* next();

   private:
    Node* topNode;
    Node* nextNode;
  };

  DareLogicConfig() = default;
  /// A deep copy.
  explicit DareLogicConfig(const DareLogicConfig* other) { copy(other); }
  DareLogicConfig(const DareLogicConfig&) = delete;
  DareLogicConfig& operator=(const DareLogicConfig&) = delete;

  /// Replaces the tree. A text of fewer than 3 characters is refused. More than 128 nodes are told on `rep`.
  /// Returns 0 or -1.
  int parse(const char* logic, bool permissive, AceReporter* rep);
  void clear();
  void copy(const DareLogicConfig* other);
  /// Replaces the tree by the AND of leaves with these names, which may hold any character; a name that comes
  /// again is left out. Returns the number of leaves.
  int make_and(int num, const char* const* names);
  /// Adds a child at the end and numbers the tree anew, unless the name is null: such children are numbered
  /// by the next call that names one. Null for a name that has an id.
  Node* add_child(Node* parent, const char* name);

  /// The id of the first leaf of that name, else of the first other node with that label; -1 when absent.
  int get_logic_id(const char* field) const;
  /// Stores the names of the leaves, depth first, unless `out` is null. Returns their number.
  int get_logic_fields(const char** out) const;
  /// The number of nodes.
  int get_num_slots() const { return numNodes; }
  Node* get_root() const { return rootNode; }
  NodeIter get_node_iter() const { return NodeIter(rootNode); }

  /// 0 to 100. Returns 0; -1, and nothing changes, for others.
  int set_plus_weight(int percent);
  int get_plus_weight() const { return plusWeight; }

  // Fields that take part. `fields` is a mask of the ids of leaves.

  /// Stores the ids of the leaves that can be selected together with all `fields`: no OR has the two in
  /// different children. `out` has room for 128, or is null. Returns their number.
  int get_select_fields(GrandMask fields, int* out) const;
  /// Stores the ids of those leaves and of all nodes above them. Returns their number.
  int get_slots_needed(GrandMask fields, GrandMask* slots) const;

  // The records that fields, once selected, leave in a context. `lists` has one set for each node, by id;
  // those in `restricted` are in force. Leaves are set by the caller; of the restricted children of an inner
  // node AND takes the intersection, OR and the plus nodes the union; NOT takes what its child lacks of the
  // records 1 to num_records - 1. New arrays are in `at`. Each returns the new mask; with bit 0, list 0 is
  // the context.

  /// Computes all inner nodes from the leaves.
  GrandMask select(DastInfoList* lists, GrandMask restricted, Large num_records, AceAttach* at) const;
  /// Narrows the leaf `slot` to `hits` (as well, when it is in force already), and what lies above it.
  GrandMask narrow(int slot, const DastInfoList* hits, DastInfoList* lists, GrandMask restricted,
                   Large num_records, AceAttach* at) const;
  /// Takes the leaf `slot` out of force.
  GrandMask release(int slot, DastInfoList* lists, GrandMask restricted, Large num_records,
                    AceAttach* at) const;

  // Text for graph tools: one line for each node at or below `node`, and for each link from one to a child.

  void graphviz_write_nodes(std::FILE* file, Node* node) const;
  void graphviz_write_links(std::FILE* file, Node* node) const;
  /// "AND", "OR", ...; "???" for an unknown type.
  static const char* get_type_name(int type);

 private:
  friend class DareLogicEval;
  friend class DareLogicParser;

  static GrandMask bit(int id) { return GrandMask{1} << id; }

  Node* new_child(Node* parent);
  int set_logic_id();
  Node* find_node(int id) const;
  GrandMask combine(const Node* node, DastInfoList* lists, GrandMask restricted, Large num_records,
                    AceAttach* at) const;
  GrandMask combine_above(int slot, DastInfoList* lists, GrandMask restricted, Large num_records,
                          AceAttach* at) const;

  AceAttach memAt;  // holds the nodes and the names
  Node* rootNode = nullptr;
  int numNodes = 0;
  int plusWeight = DEFAULT_PLUS_WEIGHT;
};
