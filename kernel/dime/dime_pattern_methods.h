/// Field methods without an index, which score stored strings one by one.
///
/// REGEXP: the query is a regular expression (PCRE 8, without its leading '^' and trailing '$'):
///
///     EXACT      ^query$       COMPLETE   ^query
///     DETECT     query$        others     query
///
/// A string that matches has quality 255, others 0; a query that cannot be compiled matches nothing. It shows
/// a match as the whole and its groups, "&" between them. Recall option: "ignore_case" (flag). Record of
/// `save`: int features, int PCRE options; magic RXROP, bool ignore_case.
///
/// CATEGORY: the query is a list of words, between blanks or bars. A string has quality 255 when
///
///     EXACT      it is a word                 APPROX     it contains a word
///     COMPLETE   it starts with a word        DETECT     it starts with a word
///     DETECT0    the query, as an expression, matches somewhere, whatever the case
///     DETECT1    the same in UTF-8
///
/// and 0 otherwise, as in all other modes. It shows the part that matches. Record of `save`: nothing.
///
/// Where only the query's text is wanted, an expression must match all of a string, and of a list the string
/// must be a word.
///
/// Both build nothing: `make` gives -2, and there is nothing to look up.
/// Thread safety: as DastBaseMethod.
#pragma once

#include "dast/dast_base_method.h"

class AceOptionsParser;

/// What methods without an index have in common.
class SORV_API DimeIndexlessMethod : public DastBaseMethod {
 public:
  using DastBaseMethod::make;
  using DastBaseMethod::reconfigure;
  TeraScanGraph* lookup(const char*, DastOptions::Call, AceReporter*) const override { return nullptr; }
  int make(TeraReader*, int, AceReporter*, const char*) override { return -2; }
  void clean() override {}
  const TeraMap* get_map() const override { return nullptr; }
  const char* show(Large, AceAttach*) const override { return nullptr; }
  int get_num_items() const override { return 0; }
  int get_items(int, const Large** ids, AceAttach*) const override {
    *ids = nullptr;
    return 0;
  }
  const char* get_item(int, AceAttach*) const override { return nullptr; }
  int can_sort() const override { return 0; }
};

class SORV_API DimeRegexpRecallOptions {
 public:
  static AceOptionsParser* get_parser();
  int apply(const char* options, AceReporter* rep);
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  bool ignoreCase = false;
};

class SORV_API DimeRegexpMethod : public DimeIndexlessMethod {
 public:
  static constexpr const char* NAME = "REGEXP";
  static constexpr const char* MAGIC = "REXM";

  int magic() const override;
  const char* get_name() const override { return NAME; }
  int reconfigure(const DastDetectorInterface* other) override;
  int reconfigure(const DastBaseMethod* other) override;
  int configure_recall_options(const char* options) override;
  /// There are none: -1 for a text that is not empty. The map is not used.
  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

  /// PCRE's options for all expressions, such as PCRE_UTF8.
  void set_pcre_flags(int flags) { pcreFlags = flags; }

 private:
  int pcreFlags = 0;
  int regexFeatures = 0;
  DimeRegexpRecallOptions recallOpts;
};

class SORV_API DimeCategoryMethod : public DimeIndexlessMethod {
 public:
  static constexpr const char* NAME = "CATEGORY";
  static constexpr const char* MAGIC = "CATM";

  int magic() const override;
  const char* get_name() const override { return NAME; }
  int reconfigure(const DastDetectorInterface* other) override;
  int reconfigure(const DastBaseMethod* other) override;
  /// There are none of either kind: -1 for a text that is not empty.
  int configure_recall_options(const char* options) override;
  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  VInt read(AceFile*) override { return 0; }
  VInt save(AceFile*) override { return 0; }
};

/// Makes sure that the methods are known, for hosts that link statically.
SORV_API void DimeRegexpMethod_init();
SORV_API void DimeCategoryMethod_init();
