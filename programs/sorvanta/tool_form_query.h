/// A query of a base, and its answer as rows.
#pragma once

#include <string>
#include <vector>

#include "sorvanta/tool_output.h"
#include "sorvanta/tool_target.h"

struct QueryLimits {
  char mode = '?';
  int quality = -1;  // -1: as the base has it
  int number = 10;
  bool isLiteral = false;  // values of a file: "?", "*" and brackets in them stand for themselves
};

/// Asks one session; belongs to one thread.
class FormQuery {
 public:
  FormQuery(Target* target, const QueryLimits& limits);

  /// Sets what a field is asked; an empty text is not asked.
  void set(std::size_t field, const std::string& text);
  /// Asks the fields that have values like words of the text, each by those: a free search. An empty text:
  /// no longer.
  void set_free(const std::string& text);
  /// The records found, best first, as rows of `columns`; none when nothing is asked.
  std::vector<Output::Row> ask();
  /// Why the fields that were asked could not find anything, whatever they were asked; empty where they
  /// could.
  std::string obstacle() const;

  static std::vector<OutputColumn> columns(const Target& target);

 private:
  bool has_values_in(std::size_t field, const std::string& text);
  /// The characters that are operators in queries of words, by the field's character map.
  std::string operators_of(std::size_t field) const;
  std::string reason(const SorvantaSuggestion& record) const;

  const Target* askedTarget;
  QueryLimits queryLimits;
  SorvantaSession session;
  std::vector<std::string> texts;
  std::vector<std::string> operators;  // that a text loses, by field
  std::string freeText;
  std::vector<bool> areFree;  // fields that were asked words of the free text, at the last time
  bool isLookedUp = false;    // a field was, at the last time
};

/// The words that a query finds in an index, as rows of quality, word, lines and reason.
std::vector<Output::Row> ask_words(const TeraEdit& index, const std::string& query,
                                   const QueryLimits& limits);
std::vector<OutputColumn> word_columns();
