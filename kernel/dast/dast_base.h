/// Record base: the searchable form of one table of records.
///
///     const char* names[] = {"name", "city"};
///     DastBase base(2, names, nullptr, "people.txt", "access", "utf-8", 0, 0, "1", 0, 0);
///     base.assign("name", "BASIC|CHANGING|FULL|ORIGINAL", ...);
///     base.assign("city", "ADVANCED|CHANGING|FULL|ORIGINAL", ...);
///     base.configure_field("name", method);
///     base.make("people.txt", "NONE", "access", nullptr, nullptr, rep);
///     base.make_all_access(rep);
///     base.dump("people.base", rep);
///
/// A base is declared (fields, storage types, collations, alias lists, index fields, abstraction levels),
/// then built from a record file, or read. A file can also be read into a declared base, whose fields it must
/// have.
///
/// Record file: a record per line, in the encoding of the base, without a header; fields in declared order
/// between tabs; in a field "|" between the main value and its aliases (there is no escape). A byte order
/// mark is skipped, CR LF accepted. Record ids are line numbers, from 1 on; in a sorted build, of the sorted
/// copy.
///
/// Payload of `save` ("BASE6"), in order:
///
///     magic               BASE6
///     baseName            string
///     fileName            string
///     accessDir           string
///     optionFlags         int
///     numFields           int           0..64
///     detectorFieldMask   mask
///     fields              numFields times: int type word, BFLD1 record (dast_base_field.h)
///     numDetectors        int           0..64
///     detectors           DTCT1 record each (dast_detector.h)
///     numRecords          int
///     sessionConfig       string
///     stringEncoding      string
///     preSort, sortLevel  int, int
///     numAbstractions     int
///     numHierarchies      int           if numAbstractions > 0, as the next two
///     abstractionLevel    INTER record each (dast_interval.h)
///     abstractionPattern  mask[]        numAbstractions; aligned to 8
///     fieldToAbstr        int[]         numFields, if numFields > 0, as the next; aligned to 4
///     fieldToHierarchy    int[]         numFields; aligned to 4
///     masterIntMask       mask
///     masterInterval      DastInfoMap   if masterIntMask is not 0
///     primary fields      int, int[]    their number, and if it is positive the fields; aligned to 4
///     secondary fields    int, int[]    likewise
///     versionString       string
///     toBlockId           huge
///
/// Ownership: everything a base says lies in the base. It is made with `new`, and deleted by the last
/// `destroy` (dast_base_recall.h) or, if nobody else uses it, as any other object. Errors: negative results,
/// explained on the reporter given, or on the default reporter; `AceException` for field lists that cannot be
/// a base. Thread safety: declared, built or read by one thread; then all that is const may be called by any
/// number.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "ace/ace_wrap.h"
#include "dast/dast_base_field.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_info_map.h"
#include "dast/dast_interval.h"

class AceInput;
class DastAliasGenCache;
class DastCount;
class DastDetector;
class DastDetectorInterface;
class RecordIterator;
class TeraAliasReader;

class SORV_API DastBase : public DastBaseRecall, public AceWrap {
 public:
  /// Field sets are masks of 64 bits.
  static constexpr int MAX_FIELDS = 64;
  static constexpr int MAX_DETECTORS = 64;

  /// Stored in files, not to be renumbered.
  enum BaseFeatures : int { HAS_IMPLICIT_DELETE = 1 };

  /// Empty, to be read.
  DastBase();
  /// Declares fields. All texts are copied, and may be null. Throws an `AceException` for more than
  /// `MAX_FIELDS` fields, for a name that is empty, taken or holds a '/', and for negative numbers.
  DastBase(int num_fields, const char* const* names, const char* session_config, const char* file_name,
           const char* access_dir, const char* encoding, int pre_sort, int sort_level, const char* version,
           int num_abstractions, int num_hierarchies);
  ~DastBase() override;

  // Declaration.

  /// Declares the storage of a field: `type` as `DastBaseField::gen_storage_type` has it; with PARTIAL,
  /// values that `partial_freq` records have are indexed; the alias lists are files (tera_alias_reader.h),
  /// null or empty for none; the generator texts may all be null; `abstraction` is the level of the field,
  /// negative for none. With `do_index_empty` the empty value can be found. Returns 0; -1, for an unknown
  /// field without a report. Throws an `AceException` when an alias file cannot be opened.
  int assign(const char* fieldname, const char* type, int partial_freq, const char* collation,
             const char* global_alias, const char* anti_alias, const char* alias_generator_type,
             const char* alias_generator_name, const char* alias_generator_options,
             const char* alias_generator_configure_cmd, const char* alias_generator_generate_cmd,
             int abstraction, AceReporter* rep, int do_index_empty);
  /// The same with readers of the caller's, which must stay until the base is built.
  int assign_reader(const char* fieldname, const char* type, int partial_freq, const char* collation,
                    TeraAliasReader* global_alias, TeraAliasReader* anti_alias,
                    const char* alias_generator_type, const char* alias_generator_name,
                    const char* alias_generator_options, const char* alias_generator_configure_cmd,
                    const char* alias_generator_generate_cmd, int abstraction, AceReporter* rep,
                    int do_index_empty);
  /// Gives a field its method (`DastBaseField::reconfigure`). Returns the field, or -1.
  int configure_field(const char* fieldname, DastBaseMethod* method);
  int access(int field, DastBaseMethod* method);
  /// Takes over the run-time settings of all methods and detectors of another base. Returns the OR of all
  /// results.
  int reconfigure(const DastBase* other);
  int reconfigure_field(int field, const DastBaseMethod* primary);
  /// The fields by which records are looked up first, and those that only count afterwards. Returns 0; -1,
  /// and nothing changes, for a field that is not there, more than 64, or secondary ones without primary
  /// ones. Two empty lists clear the setting.
  int set_index_fields(const int* primary_fields, int num_primary_fields, const int* secondary_fields,
                       int num_secondary_fields);
  /// Whether the method is kept in a file of its own. Return the field and 0 or 1; -1 for no field.
  int set_latelink_field(int field, int latelink);
  int get_latelink_field(int field) const;
  /// Adds fields to an abstraction level, whose set of fields they become. `level` is not used. Returns 0,
  /// also for no level and no fields; -1, reported, for an unknown field.
  int add_abstract(int index, int level, int num_fields, const char* const* fieldnames);
  /// Adds a detector (dast_detector.h), before `make`: an index detector when `kind` is 1, else a pattern
  /// detector. `extra_file` counts with the feature EXTRA_FILE. Prefixes, suffixes and initials (whether
  /// single letters stand for values) have an element for each field; the arrays, and texts in them, may be
  /// null. Returns its index; -1, reported, for unknown fields, more than 64 fields or detectors, and for a
  /// name that is empty, taken or holds a '/'.
  int assign_detector(const char* name, int kind, const char* extra_file, int num_fields,
                      const char* const* field_names, Mask options, const char* const* prefixes,
                      const char* const* suffixes, int features, const int* initials);
  /// Gives a detector its matching object (`DastDetector::configure`). Returns 0 or negative.
  int configure_detector(int index, DastDetectorInterface* detector);
  int reconfigure_detector(int index, const DastDetector* other);
  void set_session(const char* config);
  void set_base_name(const char* name);
  void set_filename(const char* name);
  void set_implicit_delete(int flag);
  bool has_implicit_delete() const { return (optionFlags & HAS_IMPLICIT_DELETE) != 0; }
  void set_to_block_id(Huge id) { toBlockId = id; }

  // Building, from record files, in place of what there was (dast_base_build.cpp). Access folder and cache
  // folder must exist. The reporter is told the progress; a negative result of it stops the build. Return 0,
  // or -1; an `AceException` for files that cannot be read or written, and for records that are none: the
  // message names the line. After a failure the fields are empty. Threads: `DastParallelResource`; the result
  // does not depend on their number.

  /// Builds from one file. `sort`: FULL or PARTIAL (all, or 60 percent, of the repeated values of OPTIMIZED
  /// fields bring their records together), else the order of the file stays. `access_dir`: where the texts of
  /// values go, null for the folder that is declared. `copyname`: the records are written there in the order
  /// in which they are numbered; null for no copy. `cache_dir`: where PARTIAL fields note their indexed
  /// values, as "<base>.<field>.partials" with lines of value, tab and number of records; null for nowhere.
  int make(const char* filename, const char* sort, const char* access_dir, const char* copyname,
           const char* cache_dir, AceReporter* rep);
  /// Builds from files in their order, without sorting.
  int make_sorted(const char* const* files, int num_files, const char* copyname, const char* cache_dir,
                  AceReporter* rep);
  /// Only writes the sorted copy.
  int sort(const char* filename, const char* sort, const char* copyname, AceReporter* rep);
  /// Deals the records out to the files "000.split", "001.split" ... in a folder: records with the same value
  /// in the field `get_preSort()` (from 1; 0 is the first OPTIMIZED field) go to the same file, in their
  /// order, and the files are filled evenly. Returns the number of different values.
  int split(const char* filename, const char* dir, int num, AceReporter* rep);
  /// 100 for FULL, 60 for PARTIAL in any case, else 0.
  static int get_sort_level(const char* text);
  bool has_interval_fields() const;

  // Indexes: methods are built from the texts of values, and kept in the base, or in files of their own.

  /// Builds the index of one field, or of all, that have one. A method without index leaves the field
  /// without.
  int make_access(int field, AceReporter* rep);
  int make_all_access(AceReporter* rep);
  /// Write and read the index of a field (`DastBaseField::dump_method`, `load_method`). Return 0 or negative.
  int dump_access(int field, const char* filename, AceReporter* rep);
  int load_field_access(const char* fieldname, const char* filename, int mode, AceReporter* rep);
  /// Drops the index. Returns 1, or 0 when there was none; -1 for no field.
  int del_access(int field);

  /// The same for detectors, from the texts of values of their fields. Fields of pattern detectors that have
  /// a method by then look the texts of hits up. Return 0 or negative; `del_detector` 1, or 0 when there was
  /// nothing to drop.
  int make_detector(int index, AceReporter* rep);
  int dump_detector(int index, const char* filename, AceReporter* rep);
  int load_detector(int index, const char* filename, int mode, AceReporter* rep);
  int load_detector_access(const char* name, const char* filename, int mode, AceReporter* rep);
  int del_detector(int index);

  // What it is: see DastBaseRecall.

  const char* get_base_name() const override { return baseName; }
  const char* get_encoding() const override { return stringEncoding; }
  bool is_utf() const override;
  int get_num_fields() const override { return static_cast<int>(fieldComp.size()); }
  Large get_num_records() const override { return numRecords; }
  Large get_num_orig_records() const override { return numRecords; }
  int get_num_abstractions() const override { return numAbstractions; }
  int get_num_hierarchies() const override { return numHierarchies; }
  int get_num_detectors() const override { return static_cast<int>(detectorArray.size()); }
  Mask get_abstraction(int level) const override;
  Mask get_all_abstraction() const override;
  Mask get_detector_mask() const override { return detectorFieldMask; }
  int get_field_index(const char* name) const override;
  int get_field_type(int field) const override;
  Large get_field_num_unique(int field) const override;
  DastBaseField* get_field(int field) const override;
  int get_record_ranges(int num_parts, Large* part_offsets) const override;
  Huge get_to_block_id() const override { return toBlockId; }

  // Records (dast_base_records.cpp). Strings lie in the base or in `at`.

  /// Stores what each field shows of a record, as it came in, and its length; null and 0 for a field without
  /// strings. The arrays have an element for each field. Returns the number of fields; -1 for a record that
  /// is not there.
  int get_line(Large record, Large* lengths, const char** values, AceAttach* at) const;
  int get_single_field(int field, Large record, const char** value, AceAttach* at) const override;
  /// The string of a base id; null for no field and no id.
  const char* get_field_string(int field, Large base_id, AceAttach* at) const;
  /// The entries with exactly that text, ascending. Returns their number; 0 for no field and for the empty
  /// text.
  Large get_exact(int field, const char* text, const Large** ids, AceAttach* at, AceReporter* rep) const;
  TeraQuery* eval_field(int field, const char* text, DastOptions::Call call, int force_exact,
                        AceReporter* rep) const;
  DastInfoList* abstract_context(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* unabstract_context(const DastInfoList* list, AceAttach* at) const override;
  int sort_records(int num_fields, const int* fields, const int* descending, Large* records,
                   Large num_records, AceReporter* rep) const override;
  DastInfoList* load_delset(const char* filename, AceAttach* at, AceReporter* rep) const override;
  int count_context(int field, const DastCountOptions& options, TeraResult* result,
                    const DastInfoListCache* context, AceReporter* rep) const override;
  int cross_count(int num_fields, const int* fields, const DastCountOptions& options,
                  TeraResult* const* results, const DastInfoListCache* context,
                  AceReporter* rep) const override;
  VInt dedup_context(int field, TeraResult* result, const DastInfoListCache* context,
                     AceReporter* rep) const override;
  VInt widen_context(int field, TeraResult* result, const DastInfoListCache* context,
                     AceReporter* rep) const override;
  /// Writes such a file: version word and an INTER record (dast_interval.h) of pairs [from, to). 0 or
  /// negative.
  static int dump_delset(const DastInfoList* deleted, const char* filename, AceReporter* rep);
  /// The runs of an abstraction level; of -1, those of the level with the fewest. Null for none.
  const DastInterval* get_abstr_interval(int level) const;

  // Free text: see DastBaseRecall (dast_detector_resolve.cpp).

  TeraScanGraph* field_detect(int field, const char* text, DastOptions::Call call,
                              AceReporter* rep) const override;
  TeraScanGraph* single_detect(int field, const char* text, DastOptions::Call call,
                               AceReporter* rep) const override;
  TeraScanGraph* detector_detect(const char* text, Mask search_fields, DastOptions::Call call,
                                 Mask* initial_fields, AceReporter* rep) const override;
  /// The same by one detector; a graph without nodes when it finds nothing. Null for no detector, without a
  /// matching object, and when that knows no such mode.
  TeraScanGraph* detector_resolve(int index, const char* text, Mask search_fields, DastOptions::Call call,
                                  Mask* initial_fields, AceReporter* rep) const;

  const char* get_field_name(int field) const;
  DastBaseMethod* get_method(int field) const;
  const DastInfoMap* get_info_map(int field) const;
  /// The path of the field's text of values; "" for a field without index.
  const char* get_field_tera_name(int field, AceAttach* at) const;
  /// Null and -1 for no detector; the path is that of its file in the access folder, "<name>.det".
  DastDetector* get_detector(int index) const;
  int get_detector_index(const char* name) const;
  const char* get_detector_bin_name(int index, AceAttach* at) const;
  const char* get_version_string() const { return versionString != nullptr ? versionString : ""; }
  const char* get_session_config() const { return sessionConfig; }
  const char* get_filename() const { return fileName; }
  const char* get_access_dir() const { return accessDir; }
  int get_preSort() const { return preSort; }
  int get_sort() const { return sortLevel; }
  int get_primary_fields(const int** fields) const;
  int get_secondary_fields(const int** fields) const;
  /// The abstraction level of a field, -1 for none; and how deep it lies in a hierarchy, 0 for not at all.
  int get_field_abstraction(int field) const;
  int get_field_hierarchy(int field) const;
  /// Null for no level.
  const DastInterval* get_abstraction_level(int level) const;
  int compare_collation(int field, const char* a, const char* b) const;
  /// What the base is declared as, in `at`; "9-2-name-65924-city-65860-UTF-8-0-0-". Sessions compare it, or
  /// its MD5, with that of the base they were saved on.
  const char* config_string(AceAttach* at) const;
  /// As they were when the base was read; null before.
  const char* get_config_string() const { return configString; }
  const char* get_config_hash() const { return configHash; }
  /// FILENAMES and RECORDS, then the lines of each field.
  void print(AceReporter* rep) const;

  VInt save(AceFile* file) override;
  VInt read(AceFile* file) override;
  /// Becomes empty, as after the constructor without arguments; the declaration goes, too.
  void clean();

 private:
  struct AliasFile;
  struct Build;
  struct Declared;

  bool has_detector(int index) const { return index >= 0 && index < get_num_detectors(); }
  bool has_field(int field) const { return field >= 0 && field < get_num_fields(); }
  const char* own(const char* text) { return text != nullptr ? memAt.attach(text) : nullptr; }
  void declare(const char* name);
  TeraAliasReader* open_alias_file(const char* name);
  void forget_records();
  int build(RecordIterator* source, const char* copyname, const char* cache_dir, AceReporter* rep);
  int build_stats(Build* build, RecordIterator* source, const char* cache_dir, AceReporter* rep);
  int open_alias_cache(const char* cache_dir, DastAliasGenCache* cache) const;
  int enter_records(Build* build, RecordIterator* source, AceReporter* rep);
  void make_abstract_intervals(const Build& build);
  void make_master_interval(const Build& build);
  int make_fields(Build* build, AceReporter* rep);
  int find_order(const char* filename, int level, std::vector<Large>* order, AceReporter* rep) const;
  int run_sorted(const char* filename, int level, AceReporter* rep,
                 const std::function<int(RecordIterator* sorted)>& use) const;
  int write_sorted(const char* copyname, RecordIterator* source, AceReporter* rep) const;
  int presort_field() const;
  VInt save_abstractions(AceFile* file);
  VInt read_payload(AceFile* file, std::vector<Declared> declared);
  VInt read_fields(AceFile* file, int count, const std::vector<Declared>& declared);
  VInt read_detectors(AceFile* file, Mask expected);
  VInt read_abstractions(AceFile* file);
  VInt read_master(AceFile* file);
  VInt read_index_fields(AceFile* file, std::vector<int>* fields);
  int refuse(const AceFile* file, const char* expected, VInt found) const;
  void drop_master();
  DastCount make_count(int field, const DastCountOptions& options, const DastInfoListCache* context) const;

  const char* configString = nullptr;
  const char* configHash = nullptr;
  AceAttach memAt;
  int optionFlags = HAS_IMPLICIT_DELETE;
  const char* versionString = nullptr;
  const char* baseName = nullptr;
  const char* fileName = nullptr;
  const char* accessDir = nullptr;
  const char* sessionConfig = nullptr;
  const char* stringEncoding = nullptr;
  std::vector<int> primIndexFields;
  std::vector<int> secIndexFields;
  int preSort = 0;
  int sortLevel = 0;
  Large numRecords = 1;
  std::vector<std::unique_ptr<DastBaseField>> fieldComp;
  std::vector<std::unique_ptr<DastDetector>> detectorArray;
  Mask detectorFieldMask = 0;
  Mask masterIntMask = 0;
  DastInfoMap* masterInterval = nullptr;  // one reference
  std::vector<std::unique_ptr<DastInterval>> abstractionLevel;
  std::vector<Mask> abstractionPattern;
  int numAbstractions = 0;
  int numHierarchies = 0;
  std::vector<int> fieldToAbstr;
  std::vector<int> fieldToHierarchy;
  Huge toBlockId = 0;
  std::vector<std::unique_ptr<AliasFile>> aliasFiles;  // of `assign`
};
