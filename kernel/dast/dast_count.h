/// Counting: which values a field has in a set of records, and in how many of them.
///
///     DastCountOptions options;
///     TeraResult facets(nullptr, 0, 20, 255);                       // the 20 most frequent
///     base.count_context(city, options, &facets, &context, rep);    // Basel 17, Bern 120, Biel 4 ...
///
/// A count gives a result with one candidate for each value or, when groups are asked for, for each group of
/// neighbours, ascending in the order of the field; `get_value` reads the figure. Only ADVANCED fields can be
/// counted: of BASIC ones hardly a value repeats.
///
/// - A record counts once for each of its values, local aliases included, or (`dedupAliases`) for the first.
/// - The empty value counts in fields that index it, unless `disableBlank` is set.
/// - Of more values than the result asks for (`get_num_cands`), the most frequent are shown, of equally
///   frequent ones those that come first in the order. With `combine` the others are one more candidate, with
///   string "COMBINED" and state COLLECTION.
/// - A result with a query text counts only the values that the field's index finds for it in `callMode`;
///   candidates have the quality of their value, else 255.
///
/// Groups. Candidates have state GROUP. "Wanted" is `get_num_cands` of the result.
///
///     group             neighbours that together have about equally many records; the label of numbers is
///                       "first-last", of texts the shortest beginnings that tell the groups apart
///     groupEquidistant  of numbers: ranges of equal width, labelled with their bounds; the empty value apart
///     collapse          of numbers: the values dealt out to the groups evenly, labelled with the first
///     enforceGroups     as many as wanted, if there are values enough; else fewer when they would be small
///     limit             the groups named, see below
///
/// Limit string: parts between '|'. A part of several words between '-' makes a group from each word to the
/// next, "a-f-m" the groups "a-f" and "f-m"; a part of one word is a group of its own. A group has the values
/// from its first word up to, and with, its last one that are not in the group before it. A group that begins
/// with '<' or ends with '>' (which are no part of the words) is outer: it also has the values that start
/// with the last word, and the next group begins anew and not behind it. "\-", "\|" and "\\" are characters.
/// At most 64 groups. Groups without records are left out.
///
/// Related field (`relOp`, `relFieldID`): in place of records, each value or group gets of the values that
/// its records have first in another field
///
///     SUM       the sum; of numeric fields, records without number count as 0
///     MIN, MAX  the least or greatest: numbers, or base ids of an ADVANCED field, which are in its order;
///               what has none is left out
///     DEDUP     how many different ones there are
///
/// The most frequent values, and the sizes of groups, still go by records.
///
/// What `get_value` reads is kept in the attribute numbers of a candidate, as `info` says:
///
///     INFO_COUNT    the figure: one number, or two when it exceeds 32 bits (the lower half first)
///     INFO_BASE_ID  the base ids of the value or the group
///     INFO_RECORDS  the records, as a candidate holds a set (dast_info_list.h)
///     INFO_FIRST    the lowest record
///
/// Cost: a context costs two memory accesses a record. Counters are an array (dense) when the field has at
/// most 8 times as many base ids as the context has records, or at most 65536; else (sparse, also with the
/// trace flag "SPARSE_COUNT_WORKER") ids are sorted or hashed. All records together are not walked: the
/// length of a value's list of entries is its count. With the trace flag "MAX_COUNT_ACTIONS" set, contexts of
/// more records are not counted: a warning, no candidates, and the result is marked unreliable.
///
/// Errors: -1, explained on the reporter, with the result unchanged. Thread safety: counting reads the base
/// only.
#pragma once

#include "ace/ace_types.h"
#include "dast/dast_options.h"

class AceAttach;
class AceReporter;
class DastBaseField;
class DastInfoList;
class DastQualityCache;
class TeraCand;
class TeraResult;

struct DastCountOptions {
  /// What is read of a related field.
  enum RelatedAction : int { NO_ACTION = -1, SUM = 0, MIN = 1, MAX = 2, DEDUP = 3 };
  enum Info : int { INFO_COUNT, INFO_BASE_ID, INFO_RECORDS, INFO_FIRST };

  DastOptions::Call callMode = DastOptions::APPROX;
  bool group = false;
  bool groupEquidistant = false;
  bool collapse = false;
  bool enforceGroups = false;
  bool disableBlank = false;
  bool dedupAliases = false;
  bool removeEmpty = false;  ///< equidistant groups without records are left out
  bool combine = false;
  Info info = INFO_COUNT;
  const char* limit = nullptr;
  RelatedAction relOp = NO_ACTION;
  int relFieldID = -1;
};

class SORV_API DastCount {
 public:
  /// The options as bits.
  enum CountOptions : int {
    IS_UTF = 1,
    WITH_INFO = 2,
    GROUP = 4,
    DISABLE_BLANK = 8,
    FIRST_INFO = 16,
    INFO_BASE_ID = 32,
    GROUP_EQUIDISTANT = 64,
    COMBINE_CANDS = 128,
    INNER_REC_DEDUP = 256,
    COLLAPSE_ARRAY = 512,
    ENFORCE_GROUP_NO = 1024,
    REMOVE_EMPTY = 2048,
  };
  struct Config {
    DastOptions::Call callMode;
    int optionFlags;  ///< `CountOptions`
    DastCountOptions::RelatedAction relOp;
    const DastBaseField* relField;
    const char* limitString;
  };
  /// Parts, words of a part, and groups of a limit string.
  static constexpr int MAX_LIMITS = 64;

  /// Of a field within `context` (records; null or NOT_USED: all below `num_records`). `rel_field` is the
  /// related field, or null. All stay the caller's and must last, as must the limit string.
  DastCount(const DastBaseField* count_field, const DastInfoList* context, Large num_records, bool is_utf,
            const DastCountOptions& options, const DastBaseField* rel_field);

  /// Adds the candidates to `result`. Returns their number, or -1.
  int count_context(TeraResult* result, AceReporter* rep) const;
  /// Adds one candidate, whose attribute numbers are the context without the records all of whose values a
  /// lower record of it has. Records without value stay. Returns the number of records; -1 without a context.
  VInt dedup_context(TeraResult* result, AceReporter* rep) const;
  /// The same for the context and all records that share a value with one of it.
  VInt widen_context(TeraResult* result, AceReporter* rep) const;

  /// The records of the context that have one of the base ids `first` to `end` - 1, in `at`.
  DastInfoList get_records(Large first, Large end, AceAttach* at) const;

  /// The figure of a candidate that was counted with INFO_COUNT; 0 without.
  static VInt get_value(const TeraCand* cand);
  int get_option_flags() const { return countOptions.optionFlags; }

 private:
  const char* find_fault(const TeraResult* result) const;
  int look_up(TeraResult* result, DastQualityCache* quals, AceReporter* rep) const;
  int add_context_cand(TeraResult* result, const DastInfoList& records) const;

  Large numRecords;
  const DastBaseField* countField;
  const DastInfoList* contextList;
  Config countOptions;
};
