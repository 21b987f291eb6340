/// The parts of a rule program: inputs, filters, acceptors and rules. All are constant once parsed.
///
/// Rules do not work on results but on lists of entries, which point to the suggestions of a search and have
/// their present quality and info. So a rule costs no copies; `DareExreEngine` makes a result of the last
/// list.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"
#include "dare/dare_result.h"

class AceReporter;

/// A suggestion as the rules have left it.
struct DareExreEntry {
  const DastSuggestion* suggestion;
  const std::string* info;  ///< null for none
  int quality;
};

/// What a rule takes and gives.
struct DareExreList {
  static constexpr int NO_SOURCE = -1;

  int source = NO_SOURCE;  ///< the result that the suggestions belong to
  bool isMade = false;
  std::vector<DareExreEntry> entries;
};

/// The infos of a run: each text once.
class DareExreInfos {
 public:
  /// An info does not grow beyond that.
  static constexpr std::size_t MAX_LENGTH = 65536;

  /// Null for null.
  const std::string* get(const char* text);
  /// The info with the relation, which must stay, behind it and a blank between; the info itself for an empty
  /// relation.
  const std::string* append(const std::string* info, const std::string& relation) {
    if (lastAddition != Addition(info, &relation)) {
      lastSum = add(info, relation);
      lastAddition = {info, &relation};
    }
    return lastSum;
  }

 private:
  const std::string* add(const std::string* info, const std::string& relation);

  std::deque<std::string> infoTexts;
  std::map<std::string_view, const std::string*> byText;
  using Addition = std::pair<const std::string*, const std::string*>;  // info and relation
  std::map<Addition, const std::string*> appended;
  Addition lastAddition = {nullptr, nullptr};  // most suggestions of a list have the same info
  const std::string* lastSum = nullptr;
};

// ---------------------------------------------------------------- filters

class DareExreFilter {
 public:
  using Entries = std::vector<DareExreEntry>;
  /// For each entry whether it is still kept: 1 or 0.
  using Kept = std::vector<unsigned char>;

  virtual ~DareExreFilter() = default;
  /// Clears the marks of those among the marked entries that are not kept. A list at a time: a call for each
  /// suggestion and class costs more than what most classes do.
  virtual void check(const Entries& entries, Kept* kept) const = 0;
};

/// Makes the filter of a class: with a number, a text or a list of filters, as the class wants.
struct DareExreFilterKind {
  enum Wants : int { NUMBER, TEXT, FILTERS };
  struct Settings {
    int field = -1;
    int number = 0;
    std::string text;
    std::vector<std::unique_ptr<DareExreFilter>> filters;
  };
  const char* name;
  Wants wants;
  bool hasField;
  std::unique_ptr<DareExreFilter> (*make)(Settings settings);

  /// Null for an unknown class; "" is "and".
  static const DareExreFilterKind* find(std::string_view name);
};

// ---------------------------------------------------------------- acceptors

class DareExreAcceptor {
 public:
  virtual ~DareExreAcceptor() = default;
  /// Whether the list is accepted. `trace`, which may be null, is told why not.
  virtual bool check(const DareExreList& list, AceReporter* trace) const = 0;
  /// What it wants, for traces.
  virtual std::string analysis() const = 0;
};

using DareExreAcceptors = std::vector<std::unique_ptr<DareExreAcceptor>>;

struct DareExreAcceptorKind {
  enum Wants : int { NUMBER, TEXT, ACCEPTORS };
  struct Settings {
    int dedupField = -1;
    int number = 0;
    std::string text;
    DareExreAcceptors acceptors;
  };
  const char* name;
  Wants wants;
  std::unique_ptr<DareExreAcceptor> (*make)(Settings settings);

  static const DareExreAcceptorKind* find(std::string_view name);
};

/// A condition of the older format: the field's quality in the first suggestion is at least `minimum`, and by
/// at least `difference` better than in the second. An optional one holds without quality, too.
struct DareExreFieldCondition {
  int field;
  int minimum;
  int difference;
  bool isMandatory;
};
std::unique_ptr<DareExreAcceptor> make_field_acceptor(const DareExreFieldCondition& condition);

// ---------------------------------------------------------------- rules

/// Where a rule's suggestions come from.
struct DareExreInput {
  enum Type : int { UNDEF = 0, NAMED = 1, REEVAL = 2, SEARCH = 3 };
  /// Re-evaluations inside of each other.
  static constexpr int MAX_DEPTH = 64;

  Type resultType = UNDEF;
  std::string resultName;  ///< NAMED
  int resultSlot = -1;
  std::string combinationName;                 ///< REEVAL, SEARCH
  std::unique_ptr<DareExreInput> reevalInput;  ///< REEVAL

  /// Parses "", "name", "combination()" and "combination(input)". Null for all else.
  static std::unique_ptr<DareExreInput> parse(std::string_view text);
};

struct DareExreOutput {
  enum Type : int { UNDEF = 0, NAMED = 1 };

  Type resultType = UNDEF;
  std::string resultName;
  int resultSlot = -1;
};

class DareExreRule {
 public:
  /// What follows: another rule or, with null, the end with a category.
  struct Instruction {
    DastResult::Category stopCategory = DastResult::NO_DECISION;
    const DareExreRule* jumpTo = nullptr;
  };

  const std::string& get_rule_id() const { return ruleID; }
  const std::string& get_relation() const { return relationID; }
  const DareExreInput& get_input() const { return *inputResult; }
  const DareExreOutput& get_output() const { return outputResult; }
  /// Fills the output and stores the next rule, null for none. Returns the category with which it stops.
  DastResult::Category execute(const DareExreList& input, DareExreList* output, const DareExreRule** next,
                               DareExreInfos* infos, AceReporter* trace) const;

  std::string ruleID;
  std::string relationID;
  std::unique_ptr<DareExreInput> inputResult;
  DareExreOutput outputResult;
  int outputPenalty = 0;
  const DareExreFilter* filterCriteria = nullptr;  // of the program
  std::unique_ptr<DareExreAcceptor> acceptCriteria;
  Instruction yesInstruction;
  Instruction noInstruction;

 private:
  void filter(std::vector<DareExreEntry>* entries, DareExreInfos* infos) const;
};
