/// Differences of a table whose rows carry the keys of others: masters whose last row goes are deleted, and
/// a deletion may be of many rows.
///
///     int key[] = {0, 1}, customer[] = {1}, id[] = {0};
///     DamoRelationDiff orders(key, 2, 4, 0, 1);              orders: 4 fields, key: number and customer
///     orders.add_master(customer, id, 1, 5, "customers.cascade");   customers: 5 fields, the first is the
///     orders.init(base, rep);                                key
///     orders.add_diff("orders.cascade", rep);
///     orders.add_diff("orders.dif", rep);
///     orders.cascade_slave_deletions(rep);
///     orders.add_file("orders.txt", "orders.new");
///     orders.update(rep);
///
/// The rows as they are lie in a record base, which was built from the record files and keeps the strings of
/// the key columns and of those that carry keys (not as numbers). A master that has rows there, and none once
/// all differences are applied, gets a "<del>" line in the cascade of its table.
///
///     <del> <tab> * <tab> 4711 <tab> <tab>      all rows of 4711 with whatever number
///
/// A deletion with "*" in key columns is one of all rows that have the key's other values: those of the base,
/// and new ones of lines before.
///
/// Memory: about 200 bytes a row, or 100 more for each set of key columns that "*" stands in.
/// Errors and thread safety as in damo_diff.h.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "damo/damo_diff.h"

class DastBase;

class SORV_API DamoRelationDiff : public DamoDiff {
 public:
  /// As for `DamoDiff`.
  DamoRelationDiff(const int* id_cols, int num_ids, int num_fields, int is_purge, int implicit_delete);
  ~DamoRelationDiff() override;

  /// A table whose key the rows carry in `cols`: the columns of its own key, in the same order; the number of
  /// its fields; and where its deletions go. Before `init`. Returns the number of tables.
  int add_master(const int* cols, const int* master_id_cols, int num_cols, int num_master_fields,
                 const char* cascade_file);
  /// Takes the rows of a base, once, before differences are added. Returns their number; throws for a base
  /// with another number of fields, and for a column without strings.
  VInt init(const DastBase* base, AceReporter* rep);
  /// A line for each deletion by "*" and each one of a master: what, key, and the difference line that is the
  /// reason, with TABs in between and "|" for those within.
  void set_debug_file(const char* file);

  void process_diff(DiffStructure* diff, AceReporter* rep) override;
  /// Whether a line is a deletion with "*" in its key.
  static bool is_wildcard_diff(const DiffStructure& diff);
  /// Writes the cascades and decisions, once all differences have been added. Returns the number of masters
  /// deleted.
  VInt cascade_slave_deletions(AceReporter* rep);

 private:
  struct Rows;

  void delete_matching(const DiffStructure& diff);

  bool isPurge;
  bool implicitDelete;
  std::unique_ptr<Rows> rows;
};
