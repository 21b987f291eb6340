/// Query objects: a query that gives an entry its quality.
///
/// Results keep the query that produced them, so queries are reference-counted: the maker holds one
/// reference, `ref` adds one, `unref` drops one and deletes the object with the last.
///
/// Thread safety: the count is atomic; `compare` may be called by one thread at a time.
#pragma once

#include "ace/ace_atomic.h"
#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class TeraResult;

class SORV_API TeraQuery {
 public:
  TeraQuery() { refCount.modify(1); }
  TeraQuery(const TeraQuery&) = delete;
  TeraQuery& operator=(const TeraQuery&) = delete;
  virtual ~TeraQuery();

  /// Whether nothing can match.
  virtual int is_empty() const = 0;
  /// Quality 0..255 of an entry string for this query; -1 when the query could not be built.
  virtual int compare(const char* entry) = 0;
  /// Quality of an entry by its number; -1 for queries that know no entries.
  virtual int compare(Large entry);
  /// The entry as it is to be shown, in `at`.
  virtual char* display(const char* entry, AceAttach* at) const;
  /// Whether the entry has the tokens of the query's text, operators off; false for what has no text.
  virtual bool equals(const char* entry) const;

  /// A query for the best quality of several (tera_query_kinds.h), which adds references of its own. Null
  /// ones are left out. The second form takes the query objects of results, and `first`, which may be null.
  static TeraQuery* create_merge_query(TeraQuery** queries, int num);
  static TeraQuery* create_merge_query(int num, TeraResult** results, TeraQuery* first);

  TeraQuery* ref();
  void unref();

 private:
  AceCount refCount;
};
