/// Queries made of other queries.
///
/// They own references to their parts. Qualities of parts that could not be built count as 0.
/// Thread safety: as that of the parts.
#pragma once

#include <memory>
#include <vector>

#include "tera/tera_cand.h"
#include "tera/tera_query.h"

class TeraTransform;

/// Drops a reference.
struct TeraQueryUnref {
  void operator()(TeraQuery* query) const { query->unref(); }
};
using TeraQueryRef = std::unique_ptr<TeraQuery, TeraQueryUnref>;

/// How an entry is spelt and how it sounds.
class SORV_API TeraMixQuery : public TeraQuery {
 public:
  /// Takes over the caller's references, which may be null. `percent` is the weight of the plain quality. The
  /// transform is kept by pointer.
  TeraMixQuery(TeraQuery* plain, TeraQuery* phonetic, int percent, const TeraTransform* transform);

  int is_empty() const override;
  /// `TeraEval::phone_eval` of the plain quality and the best one of the entry's codes. -1 when neither part
  /// could be built.
  int compare(const char* entry) override;
  using TeraQuery::compare;
  /// As the plain query shows it, and says.
  char* display(const char* entry, AceAttach* at) const override;
  bool equals(const char* entry) const override;

 private:
  TeraQueryRef plainQuery;
  TeraQueryRef phoneQuery;
  int plainPercent;
  const TeraTransform* phoneCoding;
};

/// Only entries that are the query's text: a mode or model may find others perfect, too.
class SORV_API TeraForceExactQuery : public TeraQuery {
 public:
  /// Takes over the caller's reference. The strings of entries that are given by number come from `strings`.
  explicit TeraForceExactQuery(TeraQuery* query, TeraCand::GetString strings = {});

  int is_empty() const override;
  /// 255 for entries for which `equals` holds, else 0; -1 as the query, and for numbers without strings.
  int compare(const char* entry) override;
  int compare(Large entry) override;
  char* display(const char* entry, AceAttach* at) const override;
  bool equals(const char* entry) const override;

 private:
  TeraQueryRef exactQuery;
  TeraCand::GetString entryStrings;
};

/// The best of several queries. Made by `TeraQuery::create_merge_query`; without queries nothing matches.
class SORV_API MergeQuery : public TeraQuery {
 public:
  explicit MergeQuery(std::vector<TeraQueryRef> queries);
  ~MergeQuery() override;

  /// 1 when all are.
  int is_empty() const override;
  int compare(const char* entry) override;
  int compare(Large entry) override;
  /// As the first query that finds the entry best shows it.
  char* display(const char* entry, AceAttach* at) const override;
  /// Whether it does for any of them.
  bool equals(const char* entry) const override;

 private:
  template <class Entry>
  int best_of(Entry entry);

  std::vector<TeraQueryRef> mergedQueries;
};
