/// The second pass of a build: what becomes of the values of a field, and the finished field.
///
/// In order: `compile` settles the base ids and the string storage, `enter` takes the value of each record,
/// `close` the number of records, and `terminate` makes the maps. Friend of DastBaseField, which it fills.
///
/// Thread safety: a field is built by one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_bulk.h"
#include "ace/ace_types.h"
#include "dast/build/dast_base_stats_internal.h"
#include "dast/build/dast_field_writer_internal.h"
#include "dast/dast_base_field.h"
#include "dast/dast_interval.h"

class AceReporter;
class DastAliasGenCache;
class TeraIndex;

class DastBaseEntryStats {
 public:
  class Field {
   public:
    /// `tera_name`: file of the values; empty for none. Statistics and field must stay.
    Field(DastBaseField* field, DastBaseStats::Field* stats, std::string tera_name);

    /// Reads the alias lists, generates aliases, and gives every string its base id. `num_records`: one more
    /// than there are. `cache`: of generated aliases, or null.
    void compile(Large num_records, const std::string& partials_name, DastAliasGenCache* cache,
                 AceReporter* rep);
    /// Takes the value of a record, in ascending order of records. `force`: begins a new run whatever the
    /// value.
    void enter(std::string_view value, Large record, bool force);
    /// Closes the last run.
    void close(Large num_records);
    /// The runs; null for a field without.
    const DastInterval* get_intervals() const { return intervalArray.get(); }
    /// Makes the field's maps and puts the file of values in place. `shared`: the map of runs of the base, or
    /// null for one of its own. Returns 0 or -1.
    int terminate(DastInfoMap* shared, AceReporter* rep);

   private:
    struct Pair {
      Large key;
      Large value;
    };
    /// Pairs of an alias and a target.
    struct Alias {
      Large alias;
      Large target;
      Large penalty;
    };
    using ListArray = std::vector<AceBulk::List*>;

    bool has(int bits) const { return itsField->has_type(bits); }
    void read_aliases(TeraAliasReader* reader, bool is_anti, AceReporter* rep);
    void generate_aliases(DastAliasGenCache* cache, AceReporter* rep);
    void assign_ids();
    void order_by_collation(std::vector<Large>* order);
    void order_by_number(std::vector<Large>* order) const;
    void store_strings(const std::vector<Large>& order);
    std::unique_ptr<TeraIndex> make_array(std::string* heap, const std::vector<VInt>& starts) const;
    bool is_indexed(Large value) const;
    void write_values();
    void write_partials(const std::string& name) const;
    Large next_entry(std::string_view value, Large record, bool force);
    void enter_basic(std::string_view value, Large entry);
    void enter_advanced(std::string_view value, Large entry);
    void store_basic(std::string_view value, Large id);
    int terminate_basic();
    int terminate_advanced();
    int make_base_to_entry();
    int make_entry_to_base();
    int make_alias_maps();
    void make_info_map(DastInfoMap* shared);
    void warn_of_unique_values(AceReporter* rep) const;
    int build_map(std::unique_ptr<AceIdMap>* map, Large num_keys, const std::vector<Pair>& pairs) const;

    DastBaseField* itsField;
    DastBaseStats::Field* fieldStats;
    FieldWriter fieldWriter;
    std::unique_ptr<DastInterval> intervalArray;
    Large numEntries = 1;  // so far, entry 0 included

    // ADVANCED: per value of the statistics.
    std::vector<Large> baseIds;
    Large numIds = 1;
    std::vector<Alias> aliasPairs;  // of values
    std::vector<Alias> generatedPairs;
    std::vector<bool> isAlias;
    std::vector<Large> frequentValues;  // that stand for all records
    std::vector<Pair> entryPairs;       // entry, base id: in the order of entries and of the input

    // BASIC.
    std::string basicHeap;             // terminated strings
    std::vector<VInt> basicStarts{0};  // per entry
    std::vector<Large> emptyEntries;   // if the empty value is indexed
    std::string aliasHeap;
    std::vector<VInt> aliasStarts;
    std::vector<Large> aliasOwners;
  };

  void add_field(std::unique_ptr<Field> field) { fieldStats.push_back(std::move(field)); }
  Field* get_field_statistics(int i) const { return fieldStats[static_cast<std::size_t>(i)].get(); }
  void destroy_field(int i) { fieldStats[static_cast<std::size_t>(i)].reset(); }

 private:
  std::vector<std::unique_ptr<Field>> fieldStats;
};
