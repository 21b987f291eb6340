/// One field of a record base: its declaration, strings, index and the maps between values and records.
///
/// Three numbers, all `Large`, lead from a text to the records that have it:
///
///     base id    a string of the field. Id 0 is the empty string.
///                ADVANCED: a distinct string, in the order of the collation: values of records, and strings
///                of alias lists and generators that are no values (those have no entries) BASIC: the entry
///                whose main value it is; from `get_num_entry_ids` on, local aliases
///     entry id   a record; in a field of runs (IS_INTERVAL), a run of records with the same value. Entry 0
///     stands
///                for no record
///     record id  a line of the record file, from 1 on
///
///     method --(attribute numbers)--> base ids --baseToEntry, or compAliasArray--> entries --infoMap-->
///     records
///                                                                          <--entryToBase--
///
/// Nothing depends on ids being dense behind the last record, so that records can be appended to a built
/// base.
///
/// Record of `save` ("BFLD1"), in order:
///
///     magic            BFLD1
///     fieldName        string
///     collationName    string
///     partialFreq      int
///     presence         int            1 method, 2 aliasMap, 4 aliasBits, 8 compAliasArray, 16 baseToEntry,
///                                     32 entryToBase, 64 strings, 128 own map of runs, 256 reverseAliasMap,
///                                     1024 always, 2048 artificialAlias, 4096 alias generator
///     numEntryIDs      Large
///     fieldType        int            the type word again; must be that in front of the record
///     method           int, record    its magic, then what it saves
///     aliasBits        AceFlags
///     compAliasArray   AceBits
///     baseToEntry      AceIdMap
///     entryToBase      AceIdMap
///     strings          DastStringStorage
///     infoMap          DastInfoMap    with its level and kind
///     aliasMap         TeraAliasMap   base id of an alias to pairs (base id of the target, penalty)
///     reverseAliasMap  TeraAliasMap   the other way
///     numBaseIDs       Large
///     allBaseIDs       Large
///     artificialAlias  AceIdMap       base id of a generated alias to pairs (base id of the value, penalty)
///     aliasGenerator   AliasGenConfig
///
/// where each part but the plain ones is there if its presence bit is. The method of a LATELINK field is
/// never there.
///
/// Errors: negative results, explained on the reporter given, or on the default reporter.
/// Thread safety: declared, built or read by one thread; then all that is const may be called by any number.
#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_info_map.h"
#include "dast/dast_options.h"

class AceBits;
class AceFile;
class AceFlags;
class AceIdMap;
class AceReporter;
class AceWrap;
class AliasGenConfig;
class DastBaseEntryStats;
class DastBaseMethod;
class DastInfoMap;
class DastStringStorage;
class TeraAliasMap;
class TeraAliasReader;
class TeraResult;

class SORV_API DastBaseField : public DastBaseFieldRecall {
 public:
  /// The penalty of a pair of the alias maps that says that the two exclude each other.
  static constexpr Large ANTI_ALIAS = 256;

  DastBaseField();
  DastBaseField(const DastBaseField&) = delete;
  DastBaseField& operator=(const DastBaseField&) = delete;
  ~DastBaseField() override;

  // Declaration.

  /// The type word of a text of four words FEATURES|INTERVAL|INDEX|STRINGS in any case:
  ///
  ///     BASIC | ADVANCED     CHANGING | OPTIMIZED     FULL | PARTIAL | NONE     ORIGINAL | NUMERIC | INDEXED
  ///     |
  ///                                                                             NOT_AT_ALL
  ///
  /// -1, and a static text in `*error`, for all else. PARTIAL is FULL for BASIC fields; INDEXED falls back to
  /// ORIGINAL where the index does not have every string.
  static int gen_storage_type(const char* type, const char** error);
  /// Sets the name once; null leaves the field without.
  void set_name(const char* name);
  void set_type(int type) { fieldType = type; }
  void add_type(int bits) { fieldType |= bits; }
  void clear_type(int bits) { fieldType &= ~bits; }
  void set_partial_freq(int freq) { partialFreq = freq; }
  /// Kept by ADVANCED fields only. Returns 0; -1 when there is no such collation.
  int set_collation(const char* name);
  const char* get_collation_name() const { return collationName.empty() ? nullptr : collationName.c_str(); }
  /// The readers stay the caller's; null for none.
  void set_global_alias(TeraAliasReader* reader) { globalAlias = reader; }
  void set_anti_alias(TeraAliasReader* reader) { antiAlias = reader; }
  void set_alias_generator(std::unique_ptr<AliasGenConfig> generator);
  const AliasGenConfig* get_alias_generator() const { return aliasGenerator.get(); }
  int get_partial_freq() const { return partialFreq; }

  // The method and its files.

  /// Takes over a method, or its settings where there is one of the same class. Returns 0; -2 for null, -1
  /// when the classes differ. The method is the field's afterwards if it had none, else it stays the
  /// caller's.
  int reconfigure(DastBaseMethod* method);
  /// Takes over the settings of a method. -1 without a method of its own.
  int reconfigure(const DastBaseMethod* method);
  DastBaseMethod* get_method() const { return baseMethod.get(); }
  /// Builds the index from the text of values in the access folder. `flags`: 0 or IN_INDEX_STORAGE. Returns
  /// 0, -2 for a method that keeps no index, or -1. An `AceException` when it should serve strings and
  /// cannot.
  int make_method(const char* access_dir, int flags, AceReporter* rep);
  /// Reads the method from a file of `dump_method`: version word, magic of the class, record. `mode` as for
  /// `AceWrap::load`. A field without method gets one of the class that the magic says; a method of another
  /// class is refused. Returns 0 or a negative value.
  int load_method(const char* filename, int mode, AceReporter* rep);
  int dump_method(const char* filename, AceReporter* rep);
  /// Returns 1; 0 when there was none.
  int delete_method();
  /// "<access folder>/<name>.tera" in `at`; null for a null folder.
  const char* get_tera_name(const char* access_dir, AceAttach* at) const;

  // What the field is: see DastBaseFieldRecall.

  const char* get_name() const override { return fieldName.empty() ? nullptr : fieldName.c_str(); }
  int get_type() const override { return fieldType; }
  Large get_num_entry_ids() const override { return numEntryIDs; }
  Large get_num_base_ids() const override { return numBaseIDs; }
  Large get_all_base_ids() const override { return allBaseIDs; }
  const TeraMap* get_method_map() const override;
  const char* get_method_name() const override;
  bool is_alias_cand(Large base_id) const override;
  bool has_intervals() const override { return has_type(DastFieldFlags::IS_INTERVAL); }
  bool has_data_loaded() const override;
  bool is_basic() const override { return has_type(DastFieldFlags::BASIC_FEATURES); }
  bool has_in_index_storage() const override { return has_type(DastFieldFlags::IN_INDEX_STORAGE); }
  bool is_numeric() const override { return has_type(DastFieldFlags::NUMERIC_STORAGE); }
  bool is_parallelizable() const override;
  bool has_global_aliases() const override { return aliasMap != nullptr; }
  bool can_sort() const override { return !is_basic(); }
  bool can_count() const override { return !is_basic(); }
  int compare_collation(const char* a, const char* b, int prefix) const override;

  const char* get_string_by_baseid(Large base_id, AceAttach* at) const override;
  const char* get_string_by_recordid(Large record, Large* from, Large* to, AceAttach* at,
                                     DastOptions::AliasDisplay display,
                                     const DastQualityCache* quals = nullptr) const override;
  Large get_base_ids(Large record, const Large** ids, AceAttach* at) const override;
  Large get_entry_id_by_rec_id(Large record) const override;
  Large get_base_id(const char* text, AceReporter* rep) const override;
  Large get_entries_by_string(const char* text, const Large** entries, AceAttach* at,
                              AceReporter* rep) const override;
  Large get_records_by_string(const char* text, const Large** records, AceAttach* at,
                              AceReporter* rep) const override;
  bool is_empty_string(Large base_id) const override;
  TeraScanGraph* full_scan_resolve(DastOptions::Call call, const char* query, DastQualityCache* qcache,
                                   int empty_qual, int force_exact, AceReporter* rep) const override;
  TeraScanGraph* full_scan_below(DastOptions::Call call, const char* query, DastQualityCache* qcache,
                                 int empty_qual, int min_value, AceReporter* rep) const override;
  TeraScanGraph* detect(const char* text, DastOptions::Call call, AceReporter* rep) const override;
  TeraQuery* eval(const char* query, DastOptions::Call call, int force_exact,
                  AceReporter* rep) const override;
  TeraCand* get_empty_candidate(AceAttach* at) const override;
  DastInfoList* get_info_list(const TeraCand* cand, AceAttach* at) const override;
  DastInfoIterator* create_info_iterator(const TeraCand* cand, AceAttach* at) const override;
  HitList* create_hitlist(Large* count, const TeraCand* cand, const HitList::Settings& settings,
                          AceAttach* at) const override;
  Large count_cand(const TeraCand* cand, const DastInfoListCache* context) const override;
  Large count_result(const TeraResult* result, const DastInfoListCache* context) const override;
  Large get_total_count(const char* text, AceReporter* rep) const override;
  int get_cands(const DastInfoListCache* context, int limit, TeraResult* result,
                AceReporter* rep) const override;
  int get_limits(LimitsContainer* limits, const char* text, AceReporter* rep) const override;
  Large get_limit_item(const char* word, bool behind, bool prefix) const override;
  TeraCand* limit_cand(const DastInfoListCache* context, const LimitStruct& limit,
                       AceAttach* at) const override;

  /// The same as `full_scan_resolve`, not resolved: attribute numbers are base ids.
  TeraScanGraph* full_scan(const char* query, DastOptions::Call call, int empty_qual, AceReporter* rep) const;
  /// Turns the base ids of every result into entries, of values with or without strings. Returns 0 or -1.
  int resolve(TeraScanGraph* graph, DastQualityCache* qcache, Large offset, bool has_strings = true) const;
  /// Single words of a text, resolved.
  TeraScanGraph* detect_single(const char* text, DastOptions::Call call, AceReporter* rep) const override;
  /// The entries of a base id. Returns their number; of one that stands for all records, {0, 0, ~0} as 3.
  Large get_entry_ids(Large base_id, const Large** entries, AceAttach* at) const;

  bool has_type(int bits) const { return (fieldType & bits) == bits; }
  const DastStringStorage* get_string_storage() const { return stringStorage.get(); }
  const AceIdMap* get_base_to_entry() const { return baseToEntry.get(); }
  const AceIdMap* get_entry_to_base() const { return entryToBase.get(); }
  const TeraAliasMap* get_alias_map() const { return aliasMap.get(); }
  const DastInfoMap* get_info_map() const { return infoMap; }
  /// Drops strings, maps and counts, but not the method: the field is as it was declared.
  void forget_values();
  /// Shares the map of the base's runs, to which it adds a reference. Returns 0; -1 for null.
  int add_foreign_interval(DastInfoMap* map);

  /// FIELD, TYPE and ALIASES lines.
  void print(AceReporter* rep) const;
  VInt save(AceFile* file) const;
  /// Reads behind a type word that the base has read (and set). Returns 0, or -1; then the field can only be
  /// destroyed.
  VInt read(AceFile* file);
  /// Whether the ids fit a base of so many records: 0, or -1, explained.
  int check_records(Large num_records) const;

 private:
  friend class DastBaseEntryStats;  // which builds it

  class Resolver;
  /// An alias that was generated for a value.
  struct GeneratedAlias {
    Large value;
    Large alias;
    bool operator<(const GeneratedAlias& other) const {
      return value != other.value ? value < other.value : alias < other.alias;
    }
  };

  int presence() const;
  VInt save_method(AceFile* file) const;
  VInt save_maps(AceFile* file) const;
  VInt read_method(AceFile* file);
  VInt read_maps(AceFile* file, int present);
  int check_ids() const;
  int refuse(const AceFile* file, const char* reason) const;
  void drop_info_map();
  Large owner_of_alias(Large base_id) const;
  std::vector<Large> choose_ids(std::span<const Large> ids, DastOptions::AliasDisplay display,
                                const DastQualityCache* quals) const;
  void add_aliases(std::vector<Large>* ids) const;
  std::span<const GeneratedAlias> get_generated_aliases(Large base_id) const;
  Large find_by_method(const char* text, const Large** entries, AceAttach* at, AceReporter* rep) const;
  Large find_by_strings(const char* text, const Large** entries, AceAttach* at) const;
  Large find_ids(const char* text, const Large** ids, AceAttach* at, AceReporter* rep) const;
  TeraScanGraph* multi_parts_scan(const std::vector<std::string>& parts, DastOptions::Call call,
                                  AceReporter* rep) const;
  TeraScanGraph* blank_graph(const char* query) const;
  int scan_empty_string(int empty_qual, TeraResult* result) const;
  void add_empty_string(int empty_qual, TeraScanGraph* graph) const;
  const char* show_base_id(Large base_id, AceAttach* at) const;

  std::string fieldName;
  int partialFreq = 0;
  int fieldType = 0;
  std::string collationName;
  Large numEntryIDs = 0;
  Large numBaseIDs = 0;
  Large allBaseIDs = 0;
  TeraAliasReader* globalAlias = nullptr;
  TeraAliasReader* antiAlias = nullptr;
  std::unique_ptr<AliasGenConfig> aliasGenerator;
  std::unique_ptr<AceFlags> aliasBits;      // entries with local aliases
  std::unique_ptr<AceBits> compAliasArray;  // entry that owns each local alias
  std::unique_ptr<AceIdMap> baseToEntry;
  std::unique_ptr<AceIdMap> entryToBase;
  std::unique_ptr<TeraAliasMap> aliasMap;
  std::unique_ptr<TeraAliasMap> reverseAliasMap;
  std::unique_ptr<AceIdMap> artificialAlias;
  mutable std::mutex generatedLock;                    // for the first who asks
  mutable std::vector<GeneratedAlias> generatedAlias;  // of `artificialAlias`, by value
  std::unique_ptr<DastStringStorage> stringStorage;
  DastInfoMap* infoMap = nullptr;       // one reference
  std::unique_ptr<AceWrap> methodFile;  // mapping of a method that was loaded, which it outlives
  std::unique_ptr<DastBaseMethod> baseMethod;
};
