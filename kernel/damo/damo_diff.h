/// Difference files: what has changed since the last delivery, and record files brought up to date.
///
///     int key[] = {0};
///     DamoDiff diff(key, 1, 3, 0, 1);                      records of 3 fields, the first one is the key
///     diff.add_file("people.txt", "people.new");           parts of the record file, each with its output
///     diff.add_diff("monday.dif", rep);
///     diff.add_diff("tuesday.dif", rep);
///     diff.update(rep);
///
/// A difference file has a line a record, fields with TABs in between, as the record file:
///
///     4711 <tab> Ann <tab> Bern              the record of 4711 is this one; where several lines have the
///                                            key, these
///     <del> <tab> 4711 <tab> Ann <tab> Bern  the record of 4711 is deleted, whatever the other fields are
///     4711 <tab> <tab>                       the same (where all fields are the key, only "<del>" deletes)
///
/// Lines with another number of fields, blank ones, and ones with a zero byte are ignored with a message.
/// Several lines of a key stand side by side in the order in which they came; with `implicit_delete` each
/// replaces those before it. A key that is deleted and delivered again has its new lines.
///
/// `update` copies each part to its output. The first record whose key has lines becomes these lines, further
/// ones of the key go, and records of deleted keys go to the deletion file. Lines of keys that no part has
/// are new records, dealt out over the outputs in the order of keys. With `is_purge` the difference files are
/// a complete delivery: records whose key is in none of them are deleted, too. Applied twice, differences
/// change nothing more.
///
/// The outputs, which may be the inputs, appear when all are complete. While they take their places a file
/// "<first output>.incomplete" lists them, a line each: where it stays, a process was killed in between.
///
/// Derived classes see each difference (`process_diff`) and so cascade deletions into other tables
/// (damo_dimension_diff.h, damo_relation_diff.h).
///
/// Cost: one look-up a record; memory is the difference lines, and about 100 bytes for each key.
/// Errors: `AceException` for files that cannot be opened or written; bad lines are reported and left out.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceReporter;
class DamoOutput;

/// The values of a record's key columns. Its memory is an attach's.
struct SORV_API DifKey {
  const char* const* keyStrings;
  int numKeys;

  /// Column by column, by bytes. A null key is less than any other.
  static int cmp(const DifKey* a, const DifKey* b);
};

/// A growing list of texts.
class SORV_API StrList {
 public:
  void append(std::string_view text) { texts.emplace_back(text); }
  void clean() { texts.clear(); }
  int get_length() const { return static_cast<int>(texts.size()); }
  const char* get_string(int index) const { return texts[static_cast<std::size_t>(index)].c_str(); }
  /// The texts, one behind the other.
  std::string to_string() const;

 private:
  std::vector<std::string> texts;
};

/// One line of a difference file. Its texts last as long as the call that it is handed to.
struct DiffStructure {
  std::vector<const char*> entryWords;  ///< the fields, without "<del>"
  bool isDeletion;
  bool isExplicit;  ///< by "<del>"
  std::string_view procLine;
  const DifKey* difKey;
};

class SORV_API DamoDiff {
 public:
  static constexpr int MAX_PARTS = 32;

  /// `id_cols` (copied) are the columns of the key, in its order, from 0. Throws for columns that a record of
  /// `num_fields` fields does not have, and for one that is given twice.
  DamoDiff(const int* id_cols, int num_ids, int num_fields, int is_purge, int implicit_delete);
  DamoDiff(const DamoDiff&) = delete;
  DamoDiff& operator=(const DamoDiff&) = delete;
  virtual ~DamoDiff();

  /// Hands a difference on; overridden where deletions have consequences. Here: `process_single_diff`.
  virtual void process_diff(DiffStructure* diff, AceReporter* rep);

  /// A part of the record file and where its successor goes. Returns the number of parts.
  int add_file(const char* input, const char* output);
  /// Where deleted records go. Returns 0; 1 when there is such a file already.
  int set_del_file(const char* file);
  /// Where those of them go whose last deletion was by "<del>".
  int set_explicit_del_file(const char* file);
  /// Collects the lines of a difference file. Returns their number.
  VInt add_diff(const char* file, AceReporter* rep);
  /// Applies what was collected. Returns the number of lines of the inputs that were left out as they had
  /// another number of fields.
  VInt update(AceReporter* rep);

  /// Whether the fields of a line are a deletion.
  bool is_delete(const char* const* words, int num_words) const;
  /// The key of a record, in `at`.
  DifKey* create_key(const char* const* words, AceAttach* at) const;
  /// Size of the parts in KiB, at least 1 each.
  VInt get_sizek() const;
  int get_num_fields() const { return numFields; }

 protected:
  void process_single_diff(const DiffStructure& diff);
  /// Whether the key's present difference is a deletion: -1 for a key without difference.
  int is_deleted(const DifKey& key) const;
  int get_num_ids() const { return static_cast<int>(idCols.size()); }
  int get_id_col(int index) const { return idCols[static_cast<std::size_t>(index)]; }

 private:
  struct Part;
  class Collected;

  bool read_line(std::string_view* line, VInt* line_num);
  void print_line(std::string_view line);
  /// To the present output, the file of deletions, and that of explicit ones, where there are such.
  [[gnu::format(printf, 2, 3)]] void fprintf(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void d_fprintf(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void ed_fprintf(const char* format, ...);
  void next();
  void update_part(AceReporter* rep, VInt* num_bad);
  void update_record(std::string_view line, std::string* room);
  VInt add_inserts();
  int add_remaining(AceReporter* rep);
  void commit();

  int numFields;
  std::vector<int> idCols;
  bool implicitDelete;
  bool isPurge;
  std::vector<std::unique_ptr<Part>> parts;
  int curPart = 0;
  VInt lineNum = 0;
  std::unique_ptr<DamoOutput> outStreamDelete;
  std::unique_ptr<DamoOutput> outStreamDeleteExplicit;
  std::unique_ptr<Collected> collectTree;
};
