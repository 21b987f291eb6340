/// Rules: a small program that decides what a session's answer is worth.
///
///     rule "clear"      input exact()        accept min_num_records 1    yes: MATCH    no: go on with
///     "fuzzy" rule "fuzzy"      input default()      filter "good"               yes: CONFIRM  no: SUGGEST
///
/// Each rule takes suggestions (of a search, of an earlier rule, or evaluated again by another combination),
/// keeps those that pass its filter, looks whether what is left is accepted, and stops with a category or
/// goes on with another rule. The file format is described in docs/rules.md.
///
///     DareExreConfig* rules = DareExreConfig::parse_config("rules.xml", names, rep);
///     DareExreEngine engine(rules, &session, rep);
///     DastResult* result = engine.run(&query);          category, reason and rule are set
///
/// Ownership: a parsed program is shared by all sessions of a template; whoever keeps it has a reference.
/// Errors: null, explained on the reporter.
/// Thread safety: a program is constant, its count is atomic; an engine belongs to one command of one
/// session. Cost: a rule costs its filter and acceptance for each suggestion; suggestions are not copied
/// until the end.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_atomic.h"
#include "ace/ace_types.h"

class AceReporter;
class DareExreFilter;
class DareExreParser;
class DareExreRule;
class DareMultiQuery;
class DastResult;

/// What a program may name.
struct DareExreNames {
  /// The session field, and the combination, of a name; -1 for none.
  std::function<int(const char* name)> getFieldIndex;
  std::function<int(const char* name)> getCombiId;
  /// The session field by whose values suggestions count as the same for "record_min_diff"; -1 for none.
  int dedupField = -1;
};

/// What rules ask of a session.
class SORV_API DareExreSession {
 public:
  virtual ~DareExreSession() = default;
  /// The answer to the query by a combination, null for the first one. The caller owns it. Null, explained,
  /// on failure.
  virtual DastResult* search_combination(const DareMultiQuery* mquery, const char* combination) = 0;
  /// Gives every suggestion of the result the quality, and its fields the qualities, that the combination has
  /// for the record. Returns the least quality that the combination wants; negative, explained, on failure.
  virtual int reevaluate(const DareMultiQuery* mquery, const char* combination, DastResult* result) = 0;
  /// For the session's fields; the caller owns it.
  virtual DastResult* create_empty_result() const = 0;
  /// Milliseconds that the command has left; 0 when its time is over.
  virtual int get_remaining_time() const = 0;

 protected:
  DareExreSession() = default;
  DareExreSession(const DareExreSession&) = default;
  DareExreSession& operator=(const DareExreSession&) = default;
};

/// A parsed program.
class SORV_API DareExreConfig {
 public:
  /// Largest file that is read.
  static constexpr Huge MAX_FILE_SIZE = Huge{64} << 20;

  /// Reads a file. One reference, which is the caller's. Null for a file that cannot be read, that is no
  /// program, or whose program is faulty: every fault is named with rule, element and text.
  static DareExreConfig* parse_config(const char* filename, const DareExreNames& names, AceReporter* rep);
  /// The same from memory; `filename` is for messages.
  static DareExreConfig* parse_text(const char* text, Huge size, const char* filename,
                                    const DareExreNames& names, AceReporter* rep);
  DareExreConfig(const DareExreConfig&) = delete;
  DareExreConfig& operator=(const DareExreConfig&) = delete;

  void ref() { refCount.modify(1); }
  /// Gives a reference back; the last one deletes the program.
  void destroy() {
    if (refCount.modify(-1) == 0) delete this;
  }

  int get_num_rules() const { return static_cast<int>(ruleArray.size()); }
  /// In the order of the file.
  const DareExreRule* get_rule(int index) const { return ruleArray[static_cast<std::size_t>(index)].get(); }
  const DareExreRule* get_start_rule() const { return ruleArray.front().get(); }
  int get_num_outputs() const { return numOutputs; }

 private:
  friend class DareExreParser;

  DareExreConfig();
  ~DareExreConfig();

  AceCount refCount;
  std::vector<std::unique_ptr<DareExreFilter>> namedFilters;
  std::vector<std::unique_ptr<DareExreRule>> ruleArray;  // never empty
  int numOutputs = 0;                                    // different names of results
};

/// One run of a program.
class SORV_API DareExreEngine {
 public:
  /// Rules that a run executes at most: what jumps in a circle ends.
  static constexpr int MAX_EXECUTED = 1000;

  /// All must outlive the engine.
  DareExreEngine(const DareExreConfig* config, DareExreSession* session, AceReporter* rep)
      : itsConfig(config), itsSession(session), aceRep(rep) {}

  /// The result of the last rule, with category, reason (the relation of that rule) and rule; the caller owns
  /// it. When MAX_EXECUTED rules have not decided, or the time is over: NO_DECISION, with a report. Null when
  /// a search fails.
  DastResult* run(const DareMultiQuery* mquery);

 private:
  class Run;

  const DareExreConfig* itsConfig;
  DareExreSession* itsSession;
  AceReporter* aceRep;
};
