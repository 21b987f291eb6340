#include "damo/damo_dimension_diff.h"

#include <unordered_map>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "damo/cascade/damo_cascade_internal.h"
#include "damo/diff/damo_record_key_internal.h"

namespace {

constexpr int BUFFER_SIZE = 4 << 20;
constexpr char SEPARATOR = '\t';

/// Columns that a record of so many fields has.
std::vector<int> checked_columns(const int* columns, int count, int num_fields) {
  std::vector<int> checked(columns, columns + (columns != nullptr ? std::max(count, 0) : 0));
  for (const int column : checked)
    if (column < 0 || column >= num_fields)
      throw AceException("Bad key columns", "Column %d: expected columns 0 to %d", column, num_fields - 1);
  return checked;
}

}  // namespace

/// Lines that deleted masters, by their keys.
struct DamoDimensionDiff::Deleted {
  std::unordered_map<std::string, std::string> lines;
};

DamoDimensionDiff::DamoDimensionDiff(const int* id_cols, int num_ids, int num_fields, int is_purge,
                                     int implicit_delete)
    : DamoDiff(id_cols, num_ids, num_fields, is_purge, implicit_delete),
      isPurge(is_purge != 0),
      deleted(std::make_unique<Deleted>()),
      files(std::make_unique<DamoCascadeFiles>()) {}

DamoDimensionDiff::~DamoDimensionDiff() = default;

void DamoDimensionDiff::set_relation(const int* master_cols, const int* row_id_cols, int num_row_ids,
                                     int num_row_fields) {
  if (num_row_fields < 1) throw AceException("A record has no fields", "%d", num_row_fields);
  masterCols = checked_columns(master_cols, get_num_ids(), num_row_fields);
  rowIdCols = checked_columns(row_id_cols, num_row_ids, num_row_fields);
  numRowFields = num_row_fields;
}

void DamoDimensionDiff::add_rows(const char* file) {
  rowFiles.emplace_back(file != nullptr ? file : "");
}

void DamoDimensionDiff::set_cascade_file(const char* file) {
  files->set_cascade(file);
}

void DamoDimensionDiff::set_debug_file(const char* file) {
  files->set_debug(file);
}

void DamoDimensionDiff::process_diff(DiffStructure* diff, AceReporter* /*rep*/) {
  process_single_diff(*diff);
  const std::string key = damo_joined(*diff->difKey);
  if (diff->isDeletion)
    deleted->lines[key] = diff->procLine;
  else
    deleted->lines[key].clear();  // delivered
}

/// In a complete delivery also masters that it does not have.
bool DamoDimensionDiff::is_gone(std::string_view master, const std::string** reason) const {
  static const std::string MISSING = "not delivered";
  const auto found = deleted->lines.find(std::string(master));
  *reason = found != deleted->lines.end() ? &found->second : &MISSING;
  return found != deleted->lines.end() ? !found->second.empty() : isPurge;
}

VInt DamoDimensionDiff::cascade_master_deletions(AceReporter* rep) {
  if (rep == nullptr) rep = AceReporter::use_default();
  if (numRowFields == 0 || !files->has_cascade())
    throw AceException("Cannot cascade deletions", "There is no other table, or no file for its deletions");
  VInt count = 0;
  for (const std::string& name : rowFiles) {
    AceInput input(name.c_str(), BUFFER_SIZE, false);
    char* line = nullptr;
    std::string room, rowRoom;
    VInt rowNum = 0;
    for (int length; (length = input.read_line(&line)) >= 0;) {
      const std::string_view row = damo_without_mark({line, static_cast<std::size_t>(length)}, ++rowNum);
      const int found = strncount(row.data(), SEPARATOR, static_cast<int>(row.size())) + 1;
      if (found != numRowFields) {
        rep->printf("Wrong number of fields found in record %ld when cascading (found %d, expected %d)\n",
                    rowNum, found, numRowFields);
        continue;
      }
      const std::string* reason = nullptr;
      if (!is_gone(damo_key_of(row, masterCols, &room), &reason)) continue;
      files->write_cascading_deletion(row);
      files->write_decision("row deleted with its master", damo_key_of(row, rowIdCols, &rowRoom), *reason);
      ++count;
    }
    if (input.read_error() != 0)
      throw AceException("Cannot read file", "'%s' cannot be read beyond line %ld", name.c_str(), rowNum);
  }
  files->commit();
  rep->printf("Cascaded deletions of masters to %ld rows\n", count);
  return count;
}
