#include "damo/damo_relation_diff.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_map>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/cascade/damo_cascade_internal.h"
#include "damo/diff/damo_record_key_internal.h"
#include "dast/dast_base.h"
#include "dast/dast_field_flags.h"

namespace {

constexpr const char* WILDCARD = "*";

std::vector<std::string> cut_key(const std::string& key) {
  std::vector<std::string> values(1);
  for (const char c : key)
    if (c == '\t')
      values.emplace_back();
    else
      values.back() += c;
  return values;
}

/// The values of a key that are not left open.
std::string known_part(const std::vector<std::string>& key, const std::vector<bool>& is_open) {
  std::string part;
  for (std::size_t i = 0; i < key.size(); ++i)
    if (!is_open[i]) part.append(key[i]) += '\t';
  return part;
}

/// Numbers have lost their leading zeros, and what is no number is gone.
void check_strings(const DastBase& base, int column) {
  constexpr int WITHOUT_STRINGS = DastFieldFlags::NO_STRING_STORAGE | DastFieldFlags::NUMERIC_STORAGE;
  if ((base.get_field_type(column) & WITHOUT_STRINGS) != 0)
    throw AceException("The base does not have the strings of a column", "Column %d", column);
}

/// Texts and their numbers.
class Names {
 public:
  int find_or_add(const std::string& text) {
    const auto [found, isNew] = numbers.emplace(text, static_cast<int>(texts.size()));
    if (isNew) texts.push_back(&found->first);
    return found->second;
  }
  int size() const { return static_cast<int>(texts.size()); }
  const std::string& get(int number) const { return *texts[static_cast<std::size_t>(number)]; }

 private:
  std::unordered_map<std::string, int> numbers;
  std::vector<const std::string*> texts;
};

/// A table whose keys are carried.
struct Master {
  std::vector<int> cols;
  std::vector<int> idCols;
  int numFields;
  std::unique_ptr<DamoCascadeFiles> files;
  Names keys;

  /// The record of a key, other fields empty.
  std::string record_of(int key) const {
    const std::vector<std::string> values = cut_key(keys.get(key));
    std::string record;
    for (int column = 0; column < numFields; ++column) {
      if (column > 0) record += '\t';
      const auto found = std::find(idCols.begin(), idCols.end(), column);
      if (found != idCols.end()) record += values[static_cast<std::size_t>(found - idCols.begin())];
    }
    return record;
  }
};

/// What the differences make of a row's key.
struct Fate {
  std::string line;                         // which is the reason
  std::vector<std::vector<int>> delivered;  // masters of each new row
};

}  // namespace

/// The rows of the base and of the differences.
struct DamoRelationDiff::Rows {
  std::vector<Master> masters;
  Names keys;
  std::vector<int> rowKeys;     // of the rows of the base
  std::vector<int> rowMasters;  // of each, one for each table
  std::unordered_map<int, Fate> fates;
  /// For each set of open columns, the keys with the same known part.
  std::map<std::vector<bool>, std::unordered_map<std::string, std::vector<int>>> byKnownPart;
  DamoCascadeFiles debug;
  bool hasRows = false;

  int add_key(const std::string& key) {
    const int before = keys.size();
    const int number = keys.find_or_add(key);
    if (number == before)
      for (auto& [isOpen, index] : byKnownPart) index[known_part(cut_key(key), isOpen)].push_back(number);
    return number;
  }
  const std::unordered_map<std::string, std::vector<int>>& index_of(const std::vector<bool>& is_open) {
    const auto [found, isNew] = byKnownPart.try_emplace(is_open);
    for (int number = 0; isNew && number < keys.size(); ++number)
      found->second[known_part(cut_key(keys.get(number)), is_open)].push_back(number);
    return found->second;
  }
  template <class Value>
  std::vector<int> masters_of(Value value) {
    std::vector<int> numbers;
    for (Master& master : masters) {
      std::string key;
      for (std::size_t i = 0; i < master.cols.size(); ++i)
        key.append(i > 0 ? "\t" : "").append(value(master.cols[i]));
      numbers.push_back(master.keys.find_or_add(key));
    }
    return numbers;
  }
  void note_deletion(int key, std::string_view line) {
    Fate& fate = fates[key];
    fate.line = line;
    fate.delivered.clear();
  }
  void note_row(int key, std::string_view line, std::vector<int> carried) {
    Fate& fate = fates[key];
    fate.line = line;
    fate.delivered.push_back(std::move(carried));
  }
  VInt cascade(std::size_t table, bool is_purge);
};

DamoRelationDiff::DamoRelationDiff(const int* id_cols, int num_ids, int num_fields, int is_purge,
                                   int implicit_delete)
    : DamoDiff(id_cols, num_ids, num_fields, is_purge, implicit_delete),
      isPurge(is_purge != 0),
      implicitDelete(implicit_delete != 0),
      rows(std::make_unique<Rows>()) {}

DamoRelationDiff::~DamoRelationDiff() = default;

int DamoRelationDiff::add_master(const int* cols, const int* master_id_cols, int num_cols,
                                 int num_master_fields, const char* cascade_file) {
  if (rows->hasRows) throw AceException("Tables come before rows", "add_master after init");
  if (cols == nullptr || master_id_cols == nullptr || num_cols < 1)
    throw AceException("Bad key columns", "There are none");
  for (int i = 0; i < num_cols; ++i)
    if (cols[i] < 0 || cols[i] >= get_num_fields() || master_id_cols[i] < 0 ||
        master_id_cols[i] >= num_master_fields)
      throw AceException("Bad key columns", "Column %d for column %d: expected 0 to %d for 0 to %d", cols[i],
                         master_id_cols[i], get_num_fields() - 1, num_master_fields - 1);
  Master master{{cols, cols + num_cols},
                {master_id_cols, master_id_cols + num_cols},
                num_master_fields,
                std::make_unique<DamoCascadeFiles>(),
                {}};
  master.files->set_cascade(cascade_file);
  rows->masters.push_back(std::move(master));
  return static_cast<int>(rows->masters.size());
}

VInt DamoRelationDiff::init(const DastBase* base, AceReporter* rep) {
  if (rep == nullptr) rep = AceReporter::use_default();
  if (rows->hasRows) throw AceException("Rows are taken once", "A second init");
  if (base == nullptr || base->get_num_fields() != get_num_fields())
    throw AceException("Not the base of these records", "It has %d fields, %d are expected",
                       base != nullptr ? base->get_num_fields() : 0, get_num_fields());
  for (int i = 0; i < get_num_ids(); ++i) check_strings(*base, get_id_col(i));
  for (const Master& master : rows->masters)
    for (const int column : master.cols) check_strings(*base, column);
  rows->hasRows = true;
  for (Large record = 1; record < base->get_num_records(); ++record) {
    AceAttach at;
    const auto value_of = [&](int column) {
      const char* value = nullptr;
      if (base->get_single_field(column, record, &value, &at) < 0 || value == nullptr)
        throw AceException("The base does not have the strings of a column", "Column %d, record %u", column,
                           record);
      return value;
    };
    std::string key;
    for (int i = 0; i < get_num_ids(); ++i) key.append(i > 0 ? "\t" : "").append(value_of(get_id_col(i)));
    rows->rowKeys.push_back(rows->add_key(key));
    for (const int master : rows->masters_of(value_of)) rows->rowMasters.push_back(master);
  }
  rep->printf("Took %zu rows from base '%s'\n", rows->rowKeys.size(),
              base->get_base_name() != nullptr ? base->get_base_name() : "");
  return static_cast<VInt>(rows->rowKeys.size());
}

void DamoRelationDiff::set_debug_file(const char* file) {
  rows->debug.set_debug(file);
}

bool DamoRelationDiff::is_wildcard_diff(const DiffStructure& diff) {
  return diff.isDeletion &&
         std::any_of(diff.difKey->keyStrings, diff.difKey->keyStrings + diff.difKey->numKeys,
                     [](const char* value) { return std::strcmp(value, WILDCARD) == 0; });
}

void DamoRelationDiff::delete_matching(const DiffStructure& diff) {
  std::vector<std::string> pattern(diff.difKey->keyStrings, diff.difKey->keyStrings + diff.difKey->numKeys);
  std::vector<bool> isOpen;
  for (const std::string& value : pattern) isOpen.push_back(value == WILDCARD);
  const auto& index = rows->index_of(isOpen);
  const auto found = index.find(known_part(pattern, isOpen));
  if (found == index.end()) return;
  for (const int number : found->second) {
    const std::string& key = rows->keys.get(number);
    const std::vector<std::string> values = cut_key(key);
    std::vector<const char*> strings;
    for (const std::string& value : values) strings.push_back(value.c_str());
    const DifKey difKey{strings.data(), static_cast<int>(strings.size())};
    process_single_diff({{}, true, diff.isExplicit, diff.procLine, &difKey});
    rows->note_deletion(number, diff.procLine);
    rows->debug.write_decision("row deleted by pattern", key, diff.procLine);
  }
}

void DamoRelationDiff::process_diff(DiffStructure* diff, AceReporter* /*rep*/) {
  if (is_wildcard_diff(*diff)) {
    delete_matching(*diff);
    return;
  }
  process_single_diff(*diff);
  const int key = rows->add_key(damo_joined(*diff->difKey));
  if (diff->isDeletion || implicitDelete) rows->note_deletion(key, diff->procLine);
  if (diff->isDeletion) return;
  const auto value_of = [diff](int column) { return diff->entryWords[static_cast<std::size_t>(column)]; };
  rows->note_row(key, diff->procLine, rows->masters_of(value_of));
}

/// Masters of rows of the base, less those of rows that stay and of new ones.
VInt DamoRelationDiff::Rows::cascade(std::size_t table, bool is_purge) {
  Master& master = masters[table];
  std::vector<int> numRows(static_cast<std::size_t>(master.keys.size()));
  std::vector<const std::string*> reasons(numRows.size());  // of the masters that rows of the base have
  static const std::string MISSING = "not delivered";
  for (std::size_t row = 0; row < rowKeys.size(); ++row) {
    const auto number = static_cast<std::size_t>(rowMasters[row * masters.size() + table]);
    const auto fate = fates.find(rowKeys[row]);
    if (fate == fates.end() && !is_purge) ++numRows[number];
    reasons[number] = fate != fates.end() ? &fate->second.line : &MISSING;
  }
  for (const auto& [key, fate] : fates)
    for (const std::vector<int>& delivered : fate.delivered)
      ++numRows[static_cast<std::size_t>(delivered[table])];
  VInt count = 0;
  for (std::size_t number = 0; number < numRows.size(); ++number) {
    if (reasons[number] == nullptr || numRows[number] > 0) continue;
    master.files->write_cascading_deletion(master.record_of(static_cast<int>(number)));
    debug.write_decision("master deleted with its last row", master.keys.get(static_cast<int>(number)),
                         *reasons[number]);
    ++count;
  }
  master.files->commit();
  return count;
}

VInt DamoRelationDiff::cascade_slave_deletions(AceReporter* rep) {
  if (rep == nullptr) rep = AceReporter::use_default();
  if (!rows->hasRows || rows->masters.empty())
    throw AceException("Cannot cascade deletions", "There are no rows of a base, or no other tables");
  VInt count = 0;
  for (std::size_t table = 0; table < rows->masters.size(); ++table) count += rows->cascade(table, isPurge);
  rows->debug.commit();
  rep->printf("Cascaded deletions of rows to %ld masters\n", count);
  return count;
}
