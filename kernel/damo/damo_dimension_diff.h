/// Differences of a table whose keys the rows of another one carry: deleted masters take their rows along.
///
///     int key[] = {0}, customer[] = {1}, order[] = {0};
///     DamoDimensionDiff customers(key, 1, 5, 0, 1);          customers: 5 fields, the first one is the key
///     customers.set_relation(customer, order, 1, 4);         orders: 4 fields, number first, then the
///     customers.add_rows("orders.txt");                      customer
///     customers.add_diff("customers.dif", rep);
///     customers.set_cascade_file("orders.cascade");
///     customers.cascade_master_deletions(rep);
///     customers.add_file("customers.txt", "customers.new");
///     customers.update(rep);
///
/// The cascade is a difference file of the other table with a "<del>" line for each row of a master that the
/// differences delete (and do not deliver again), for `DamoDiff` or `DamoRelationDiff` to apply, in front of
/// the other table's own differences: rows that these move to another master, or deliver anew, stay.
///
/// Errors and thread safety as in damo_diff.h.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "damo/damo_diff.h"

class DamoCascadeFiles;

class SORV_API DamoDimensionDiff : public DamoDiff {
 public:
  /// As for `DamoDiff`.
  DamoDimensionDiff(const int* id_cols, int num_ids, int num_fields, int is_purge, int implicit_delete);
  ~DamoDimensionDiff() override;

  /// The other table: the columns in which its rows carry the key, as many as it has and in its order; its
  /// own key; and the number of its fields.
  void set_relation(const int* master_cols, const int* row_id_cols, int num_row_ids, int num_row_fields);
  /// A part of its record file.
  void add_rows(const char* file);
  /// Where the cascade goes, and a line for each decision: what, key, and the difference line that is the
  /// reason, with TABs in between and "|" for those within.
  void set_cascade_file(const char* file);
  void set_debug_file(const char* file);
  /// Writes both, once all differences have been added. Returns the number of rows.
  VInt cascade_master_deletions(AceReporter* rep);

  /// Notes deletions, too.
  void process_diff(DiffStructure* diff, AceReporter* rep) override;

 private:
  struct Deleted;

  bool is_gone(std::string_view master, const std::string** reason) const;

  bool isPurge;
  std::vector<int> masterCols;
  std::vector<int> rowIdCols;
  int numRowFields = 0;
  std::vector<std::string> rowFiles;
  std::unique_ptr<Deleted> deleted;
  std::unique_ptr<DamoCascadeFiles> files;
};
