/// The order in which suggestions are shown: as they come, rotated, shuffled, or sorted by fields.
///
/// Thread safety: belongs to one thread.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_types.h"
#include "dare/dare_record.h"

class DastBaseFieldRecall;

struct DareSortSuggestion {
  DastRecord* recordObj = nullptr;
  Large recordId = 0;
};

class SORV_API SortFunction {
 public:
  virtual ~SortFunction() = default;
  /// Negative, 0 or positive.
  virtual int cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const = 0;
};

/// By the quality of a session field, best first; records without one count as -1.
class SORV_API QualitySortFunc : public SortFunction {
 public:
  explicit QualitySortFunc(int field) : sessionField(field) {}
  int cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const override;

 private:
  int sessionField;
};

/// By the bytes of a session field's string; null first.
class SORV_API BasicLexicalSortFunc : public SortFunction {
 public:
  explicit BasicLexicalSortFunc(int field) : sessionField(field) {}
  int cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const override;

 private:
  int sessionField;
};

/// By the main values of the records in a base field, in the order of its collation.
class SORV_API AdvancedLexicalSortFunc : public SortFunction {
 public:
  explicit AdvancedLexicalSortFunc(const DastBaseFieldRecall* field) : baseField(field) {}
  int cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const override;

 private:
  const DastBaseFieldRecall* baseField;
};

class SORV_API ReversedSortFunc : public SortFunction {
 public:
  explicit ReversedSortFunc(std::unique_ptr<SortFunction> function) : sortFunction(std::move(function)) {}
  int cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const override {
    return sortFunction->cmp(b, a);
  }

 private:
  std::unique_ptr<SortFunction> sortFunction;
};

class SORV_API DareSessionSort {
 public:
  enum RandomMode : int { KEEP_ORDER = 0, ROUND_ROBIN = 1, SHUFFLE = 2, SORT = 3 };
  enum SortMode : int { LEXICAL = 2, QUALITY = 3, REVERSE = 4 };

  void set_random_mode(int mode) { randomMode = mode; }
  int get_random_mode() const { return randomMode; }
  void set_sort_functions(std::vector<std::unique_ptr<SortFunction>> functions) {
    sortCmpFuncs = std::move(functions);
  }
  /// The functions read the quality, or the string, of session field i.
  void add_quality_field(int i) { qualitySort |= GrandMask{1} << i; }
  void add_string_field(int i) { stringSort |= GrandMask{1} << i; }
  bool field_is_qual_sort(int i) const { return (qualitySort >> i & 1) != 0; }
  bool field_is_string_sort(int i) const { return (stringSort >> i & 1) != 0; }
  /// Whether records need the strings or qualities that the functions read.
  bool needs_records() const { return qualitySort != 0 || stringSort != 0; }

  /// By the mode. -1 for an unknown one; else 0.
  int sort_suggestions(DareSortSuggestion** list, int n) const;
  /// By the functions; stable.
  void resort_suggestions(DareSortSuggestion** list, int n) const;
  /// The last change places with any before them; the first two never with each other.
  static void shuffle_suggestions(DareSortSuggestion** list, int n);
  /// Rotates left by a random number of places.
  static void round_robin(DareSortSuggestion** list, int n);
  /// The first function that tells them apart decides.
  int compare_suggs(const DareSortSuggestion* a, const DareSortSuggestion* b) const;

 private:
  int randomMode = KEEP_ORDER;
  std::vector<std::unique_ptr<SortFunction>> sortCmpFuncs;
  GrandMask stringSort = 0;
  GrandMask qualitySort = 0;
};
