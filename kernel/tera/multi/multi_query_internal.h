/// Query objects of multi-word indexes.
#pragma once

#include <string>
#include <vector>

#include "tera/multi/multi_eval_internal.h"
#include "tera/tera_query.h"

class TeraMulti;

/// What a line is worth for a query of several words.
class MultiQuery : public TeraQuery {
 public:
  MultiQuery(const TeraMulti& multi, const char* query, MultiAsk ask)
      : index(multi), multiEval(multi, query, std::move(ask)) {}

  TeraMultiEval* get_eval() { return &multiEval; }

  int is_empty() const override { return multiEval.get_query().num_atoms() == 0 ? 1 : 0; }
  int compare(const char* entry) override;
  /// By its number.
  int compare(Large entry) override;
  /// With marks, unless the options say no.
  char* display(const char* entry, AceAttach* at) const override;
  bool equals(const char* entry) const override { return entry != nullptr && multiEval.is_same(entry); }

 private:
  const TeraMulti& index;
  mutable TeraMultiEval multiEval;  // its scratch changes while it looks at a line
};

/// The best word of a line for a query of one word.
class MultiSingleQuery : public TeraQuery {
 public:
  MultiSingleQuery(const TeraMulti& multi, const MultiRules& rules, TeraQuery* word)
      : index(multi), lineRules(rules), wordQuery(word) {}

  int is_empty() const override { return wordQuery->is_empty(); }
  int compare(const char* entry) override;
  /// By its number.
  int compare(Large entry) override;
  bool equals(const char* entry) const override { return entry != nullptr && wordQuery->equals(entry); }

 private:
  const TeraMulti& index;
  MultiRules lineRules;
  TeraQueryRef wordQuery;
  MultiText line;
};

/// The line that `eval` has looked at last, with marks around the words that have pairs; in `at`.
char* multi_marked_line(const TeraMultiEval& eval, const std::string& line, AceAttach* at);
