// Building a base from record files, in passes over the records:
//
//     statistics    which values there are             DastBaseStats, then the base ids of each field
//     order         sorted builds only                 DastBaseStats::sort
//     entering      which record has which values      DastBaseEntryStats, field by field for stretches of
//     records finishing     runs, maps, texts of values        DastBaseEntryStats::Field::terminate
//
// Fields do not know each other, so that threads take whole fields and the result does not depend on them.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <new>
#include <numeric>
#include <unordered_map>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "dast/build/dast_base_entry_stats_internal.h"
#include "dast/build/dast_base_stats_internal.h"
#include "dast/build/dast_record_chunk_internal.h"
#include "dast/dast_alias_gen_cache.h"
#include "dast/dast_alias_generator.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_parallel_resource.h"
#include "dast/dast_record_iterator.h"

namespace {

constexpr int FULL_LEVEL = 100;
constexpr int PARTIAL_LEVEL = 60;

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

/// A record file in memory, and where its lines are.
struct LoadedFile {
  explicit LoadedFile(const char* filename, AceReporter* rep);

  AceAttach at;
  AceFile file;
  const char* text = nullptr;
  std::vector<Huge> starts;
};

/// The file is copied, so that nobody can shorten it under the build; where it is too large for that, it is
/// mapped.
LoadedFile::LoadedFile(const char* filename, AceReporter* rep) {
  if (file.prep(filename, nullptr) < 0) throw AceException("Record file cannot be read", "'%s'", filename);
  const Huge size = file.get_size();
  try {
    text = file.read_array<char>(size, &at, 1);
  } catch (const std::bad_alloc&) {
    rep->print("Could not lock source file in memory, mapping file instead\n");
    if (file.map(filename, nullptr, nullptr, 0, nullptr, rep) < 0) {
      rep->printf(
          "ERROR: File %s could not be mapped. Probably it's too large\n==>Try using presort or split!\n",
          filename);
      throw AceException("Record file cannot be read", "'%s'", filename);
    }
    text = file.get_address();
  }
  if (text == nullptr && size > 0) throw AceException("Record file cannot be read", "'%s'", filename);
  constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  Huge pos = size >= 3 && std::memcmp(text, BYTE_ORDER_MARK, 3) == 0 ? 3 : 0;
  while (pos < size) {
    starts.push_back(pos);
    while (pos < size && text[pos] != '\n' && text[pos] != '\r') ++pos;
    if (pos < size && text[pos] == '\r' && pos + 1 < size && text[pos + 1] == '\n') ++pos;
    if (pos < size) ++pos;
  }
  starts.push_back(size);
}

/// A section of the progress, which ends however its steps end.
class ProgressSection {
 public:
  ProgressSection(AceReporter* rep, Huge size, const char* text) : itsRep(rep), itsText(text) {
    itsRep->pstart(size, itsText);
  }
  ProgressSection(const ProgressSection&) = delete;
  ProgressSection& operator=(const ProgressSection&) = delete;
  ~ProgressSection() { itsRep->pstop(itsText); }

 private:
  AceReporter* itsRep;
  const char* itsText;
};

}  // namespace

/// What a build keeps from one pass to the next.
struct DastBase::Build {
  DastBaseStats stats;
  DastBaseEntryStats entries;
  int numThreads = DastParallelResource::get_build_worker_threads();
  Mask allFields = 0;
};

int DastBase::get_sort_level(const char* text) {
  std::string upper(text_or_empty(text));
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper == "FULL" ? FULL_LEVEL : upper == "PARTIAL" ? PARTIAL_LEVEL : 0;
}

bool DastBase::has_interval_fields() const {
  return std::any_of(fieldComp.begin(), fieldComp.end(),
                     [](const auto& field) { return field->has_type(DastFieldFlags::OPTIMIZE_INTERVALS); });
}

void DastBase::forget_records() {
  for (const auto& field : fieldComp) field->forget_values();
  drop_master();
  masterIntMask = 0;
  numRecords = 1;
}

// ---------------------------------------------------------------- the build
// The records are read once; then each field makes its maps and its index, several fields at a time.

int DastBase::make(const char* filename, const char* sort, const char* access_dir, const char* copyname,
                   const char* cache_dir, AceReporter* rep) {
  if (filename == nullptr) return -1;
  if (access_dir != nullptr) accessDir = own(access_dir);
  const int level = has_interval_fields() ? get_sort_level(sort) : 0;
  if (level == 0) {
    sortLevel = 0;
    return make_sorted(&filename, 1, copyname, cache_dir, rep);
  }
  const int rc = run_sorted(filename, level, rep,
                            [&](RecordIterator* sorted) { return build(sorted, copyname, cache_dir, rep); });
  if (rc < 0) return ace_error(__FILE__, __LINE__, "head = stats.sort(&file, sortLevel)", rc, 0, -1);
  sortLevel = level;
  set_filename(copyname != nullptr ? copyname : filename);
  return 0;
}

int DastBase::make_sorted(const char* const* files, int num_files, const char* copyname,
                          const char* cache_dir, AceReporter* rep) {
  if (files == nullptr || num_files < 1 || std::find(files, files + num_files, nullptr) != files + num_files)
    return -1;
  MultiFileRecordIterator source(std::vector<std::string>(files, files + num_files));
  if (build(&source, copyname, cache_dir, rep) < 0) return -1;
  std::string names = copyname != nullptr ? copyname : files[0];
  for (int i = 1; copyname == nullptr && i < num_files; ++i) names += std::string(" ") + files[i];
  set_filename(names.c_str());
  return 0;
}

int DastBase::build(RecordIterator* source, const char* copyname, const char* cache_dir, AceReporter* rep) {
  const ProgressSection section(rep, 100, "MAKE");
  forget_records();
  int rc = -1;
  try {
    Build build;
    rc = build_stats(&build, source, cache_dir, rep);
    if (rc >= 0 && copyname != nullptr) rc = write_sorted(copyname, source, rep);
    if (rc >= 0) rc = enter_records(&build, source, rep);
    if (rc >= 0) rc = make_fields(&build, rep);
  } catch (...) {
    forget_records();
    throw;
  }
  if (rc < 0) forget_records();
  return rc < 0 ? -1 : 0;
}

int DastBase::build_stats(Build* build, RecordIterator* source, const char* cache_dir, AceReporter* rep) {
  rep->psect(20, "Building Statistics");
  rep->print("Collecting statistics\n");
  source->rewind();
  for (const auto& field : fieldComp)
    build->stats.add_field(text_or_empty(field->get_name()), field->get_type(), false);
  build->allFields = fieldComp.size() == MAX_FIELDS ? ~Mask{0} : (Mask{1} << fieldComp.size()) - 1;
  const VInt count = build->stats.collect_word_stat(source, build->numThreads, rep);
  if (count < 0)
    return ace_error(__FILE__, __LINE__, "numRecords = stats->collect_word_stat(&provider)",
                     static_cast<int>(count), 0, -1);
  numRecords = static_cast<Large>(count) + 1;
  rep->print("Compiling compression handle\n");
  AceAttach at;
  for (int i = 0; i < get_num_fields(); ++i)
    build->entries.add_field(std::make_unique<DastBaseEntryStats::Field>(
        get_field(i), build->stats.get_field(i), get_field_tera_name(i, &at)));
  const std::string cacheName =
      cache_dir != nullptr
          ? std::string(cache_dir) + "/" + text_or_empty(baseName != nullptr ? baseName : "base")
          : "";
  DastAliasGenCache cache;
  const bool isCached = cache_dir != nullptr && open_alias_cache(cache_dir, &cache) > 0;
  Mask parallel = 0;  // scripts may want to run one by one
  for (int i = 0; i < get_num_fields(); ++i)
    if (DastAliasGenerator::is_parallelizable(get_field(i)->get_alias_generator())) parallel |= Mask{1} << i;
  const auto compile = [&](int i) {
    const std::string name = cache_dir != nullptr ? cacheName + "." + get_field_name(i) + ".partials" : "";
    build->entries.get_field_statistics(i)->compile(numRecords, name, isCached ? &cache : nullptr, rep);
  };
  dast_for_each_field(build->allFields & parallel, build->numThreads, compile);
  dast_for_each_field(build->allFields & ~parallel, 1, compile);
  if (isCached && cache.close_cache_file() < 0) return -1;
  return rep->printf("Statistics of %ld records\n", count) < 0 ? -1 : 0;
}

/// The cache knows values, not fields: it serves bases with one generator. Returns 1 when it is used.
int DastBase::open_alias_cache(const char* cache_dir, DastAliasGenCache* cache) const {
  static const AceTraceFlag isDisabled("ALIAS_GEN_CACHE_DISABLED", __FILE__, __LINE__);
  const auto numGenerators = std::count_if(fieldComp.begin(), fieldComp.end(), [](const auto& field) {
    return field->get_alias_generator() != nullptr;
  });
  if (numGenerators != 1 || isDisabled.get() != 0) return 0;
  const std::string name = std::string(cache_dir) + "/" + DastAliasGenCache::FILE_NAME;
  if (AceFile::exists(name.c_str()) != 0 && cache->read(name.c_str()) < 0) return 0;
  return cache->open_cache_file(cache_dir) < 0 ? 0 : 1;
}

int DastBase::enter_records(Build* build, RecordIterator* source, AceReporter* rep) {
  rep->psect(numRecords, "Entering Records");
  rep->print("Writing tera files\n");
  source->rewind();
  RecordChunk chunk;
  Large next = 1;
  while (chunk.fill(source, get_num_fields(), next) > 0) {
    dast_for_each_field(build->allFields, build->numThreads, [&](int i) {
      DastBaseEntryStats::Field* field = build->entries.get_field_statistics(i);
      for (int line = 0; line < chunk.get_num_lines(); ++line)
        field->enter(chunk.get_field(line, i), chunk.get_start() + static_cast<Large>(line), false);
    });
    next += static_cast<Large>(chunk.get_num_lines());
    if (rep->pset(next, "Entering Records") < 0) return -1;
  }
  if (next == numRecords) return 0;
  rep->printf("Missing %d entries: Only %d sorted entries processed\n",
              static_cast<int>(numRecords) - static_cast<int>(next), static_cast<int>(next) - 1);
  return -1;
}

int DastBase::make_fields(Build* build, AceReporter* rep) {
  rep->psect(100, "Finish Base");
  for (int i = 0; i < get_num_fields(); ++i) build->entries.get_field_statistics(i)->close(numRecords);
  make_abstract_intervals(*build);
  make_master_interval(*build);
  std::atomic<int> worst = 0;
  dast_for_each_field(build->allFields, build->numThreads, [&](int i) {
    DastInfoMap* shared = (masterIntMask >> i & 1) != 0 ? masterInterval : nullptr;
    const int rc = build->entries.get_field_statistics(i)->terminate(shared, rep);
    if (rc < 0)
      worst = ace_error(__FILE__, __LINE__, "bfield->terminate(f,numRecords,cur_writer, rep)", rc, 0, -1);
    build->entries.destroy_field(i);
  });
  return worst;
}

/// The runs of each abstraction level: the common refinement of those of its fields.
void DastBase::make_abstract_intervals(const Build& build) {
  for (int level = 0; level < numAbstractions; ++level) {
    std::vector<const DastInterval*> lists;
    for (int i = 0; i < get_num_fields(); ++i) {
      const bool belongs = fieldToAbstr[static_cast<std::size_t>(i)] == level ||
                           (abstractionPattern[static_cast<std::size_t>(level)] >> i & 1) != 0;
      const DastInterval* list = build.entries.get_field_statistics(i)->get_intervals();
      if (belongs && list != nullptr) lists.push_back(list);
    }
    DastInterval* runs = abstractionLevel[static_cast<std::size_t>(level)].get();
    runs->clean();
    if (!lists.empty()) runs->make(static_cast<int>(lists.size()), lists.data());
  }
}

/// Fields whose runs are the same share one map: those of the largest such group.
void DastBase::make_master_interval(const Build& build) {
  const auto runs_of = [&](int i) { return build.entries.get_field_statistics(i)->get_intervals(); };
  Mask best = 0;
  for (int i = 0; i < get_num_fields(); ++i) {
    if (runs_of(i) == nullptr) continue;
    Mask group = 0;
    for (int k = i; k < get_num_fields(); ++k)
      if (runs_of(k) != nullptr && std::ranges::equal(runs_of(i)->get_bounds(), runs_of(k)->get_bounds()))
        group |= Mask{1} << k;
    if (std::popcount(group) > std::popcount(best)) best = group;
  }
  if (std::popcount(best) < 2) return;
  masterIntMask = best;
  masterInterval = DastInfoMap::make_map(runs_of(std::countr_zero(best)), nullptr,
                                         DastInfoMap::SPEEDUP_AUTOMATIC, DastInfoMap::SIMILAR);
}

// ---------------------------------------------------------------- sorting
// An order is the list of records in the sequence of the copy; later fields only order what earlier ones
// leave equal.

int DastBase::find_order(const char* filename, int level, std::vector<Large>* order, AceReporter* rep) const {
  rep->psect(20, "Building Sort Head");
  MultiFileRecordIterator source({filename});
  DastBaseStats stats;
  for (const auto& field : fieldComp)
    stats.add_field(text_or_empty(field->get_name()), 0, field->has_type(DastFieldFlags::OPTIMIZE_INTERVALS));
  if (stats.collect_word_stat(&source, DastParallelResource::get_build_worker_threads(), rep) < 0) return -1;
  source.rewind();
  return stats.sort(&source, level, order, rep);
}

int DastBase::run_sorted(const char* filename, int level, AceReporter* rep,
                         const std::function<int(RecordIterator* sorted)>& use) const {
  std::vector<Large> order;
  if (find_order(filename, level, &order, rep) < 0) return -1;
  rep->print("Loading source file again\n");
  LoadedFile file(filename, rep);
  if (file.starts.size() != order.size() + 1)
    throw AceException("Record file has changed", "'%s': %zu records expected, %zu found", filename,
                       order.size(), file.starts.size() - 1);
  SortHeadIterator sorted(std::move(order), file.text, std::move(file.starts));
  return use(&sorted);
}

int DastBase::sort(const char* filename, const char* sort, const char* copyname, AceReporter* rep) {
  const int level = has_interval_fields() ? get_sort_level(sort) : 0;
  if (filename == nullptr || copyname == nullptr) return -1;
  if (level > 0)
    return run_sorted(filename, level, rep,
                      [&](RecordIterator* sorted) { return write_sorted(copyname, sorted, rep); });
  MultiFileRecordIterator source({filename});
  return write_sorted(copyname, &source, rep);
}

int DastBase::write_sorted(const char* copyname, RecordIterator* source, AceReporter* rep) const {
  const ProgressSection section(rep, source->estimate_records(), "WRITE_SORTED");
  AceFile copy_stream;
  if (copy_stream.build_atomic(copyname, AceReporter::null()) < 0) {
    rep->printf("Cannot write '%s'\n", copyname);
    return ace_error(__FILE__, __LINE__, "copy_stream = AceFile::open(copyname,\"wb\")", -1, 0, -1);
  }
  source->rewind();
  std::string_view line;
  int count = 0;
  while (source->get_next(&line)) {
    copy_stream.write(static_cast<VInt>(line.size()), line.data(), 1);
    copy_stream.put_char('\n');
    if (rep->ppset(++count, "WRITE_SORTED") < 0) return -1;
  }
  copy_stream.close();
  rep->printf("Wrote %i records to file '%s'\n", count, copyname);
  return 0;
}

int DastBase::presort_field() const {
  if (preSort > 0) return has_field(preSort - 1) ? preSort - 1 : -1;
  for (int i = 0; i < get_num_fields(); ++i)
    if (get_field(i)->has_type(DastFieldFlags::OPTIMIZE_INTERVALS)) return i;
  return -1;
}

int DastBase::split(const char* filename, const char* dir, int num, AceReporter* rep) {
  const int field = presort_field();
  constexpr int MAX_FILES = 1000;
  if (filename == nullptr || dir == nullptr || num < 1 || num > MAX_FILES || field < 0) {
    rep->printf(
        "Cannot split into %d files (1 to %d) by field %d: a field from 1 to %d expected, or one that is "
        "OPTIMIZED\n",
        num, MAX_FILES, preSort, get_num_fields());
    return -1;
  }
  MultiFileRecordIterator source({filename});
  DastValueTable keys;
  RecordChunk chunk;
  const auto for_each_record = [&](auto use) {
    source.rewind();
    Large record = 1;
    while (chunk.fill(&source, get_num_fields(), record) > 0)
      for (int line = 0; line < chunk.get_num_lines(); ++line) use(line, record++);
  };
  for_each_record([&](int line, Large record) { keys.count(chunk.get_field(line, field), record); });

  // The largest groups first, each into the file that has the fewest records.
  std::vector<Large> order(keys.size());
  std::iota(order.begin(), order.end(), Large{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](Large a, Large b) { return keys[a].numRecords > keys[b].numRecords; });
  std::vector<std::size_t> fileOf(keys.size());
  std::vector<VInt> filled(static_cast<std::size_t>(num), 0);
  for (const Large key : order) {
    const auto file = std::min_element(filled.begin(), filled.end());
    *file += keys[key].numRecords;
    fileOf[key] = static_cast<std::size_t>(file - filled.begin());
  }
  std::vector<std::unique_ptr<AceFile>> files;
  for (int i = 0; i < num; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "%03d.split", i);
    files.push_back(std::make_unique<AceFile>());
    if (files.back()->build_atomic((std::string(dir) + "/" + name).c_str(), AceReporter::null()) < 0)
      throw AceException("File cannot be written", "'%s/%s'", dir, name);
  }
  for_each_record([&](int line, Large) {
    const Large key = keys.find(chunk.get_field(line, field));
    if (key == ~Large{0}) throw AceException("Record file has changed", "'%s'", filename);
    AceFile& out = *files[fileOf[key]];
    for (int i = 0; i < get_num_fields(); ++i) {
      const std::string_view value = chunk.get_field(line, i);
      out.write(static_cast<VInt>(value.size()), value.data(), 1);
      out.put_char(i + 1 < get_num_fields() ? '\t' : '\n');
    }
  });
  for (const auto& file : files) file->close();
  rep->printf("%d different presort keys used\n", static_cast<int>(keys.size()));
  return static_cast<int>(keys.size());
}

// ---------------------------------------------------------------- indexes
// An index is made from the temporary file of a field's values, or comes from a file of its own.

int DastBase::make_access(int field, AceReporter* rep) {
  DastBaseField* built = get_field(field);
  if (built == nullptr) return -1;
  if (!built->has_type(DastFieldFlags::IS_PRIMARY)) return 0;
  const int rc = built->make_method(accessDir, built->get_type() & DastFieldFlags::IN_INDEX_STORAGE, rep);
  if (rc == -2) {
    built->clear_type(DastFieldFlags::IS_PRIMARY);
    rep->print("Method doesn't support primary access!\n");
    return 0;
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "fieldComp[field]->make_method(accessDir, flags, rep)", rc, 0,
                            -1)
                : 0;
}

int DastBase::make_all_access(AceReporter* rep) {
  const ProgressSection section(rep, 100, "MAKE_ALL_ACCESS");
  rep->psect(95, "Making Methods");
  int rc = 0;
  for (int i = 0; rc >= 0 && i < get_num_fields(); ++i) {
    if (!get_field(i)->has_type(DastFieldFlags::IS_PRIMARY)) continue;
    if (rep->psect(1, text_or_empty(get_field_name(i))) < 0)
      rc = -1;
    else
      rc = make_access(i, rep);
  }
  if (rc >= 0 && !detectorArray.empty() && rep->psect(5, "Making Detectors") < 0) rc = -1;
  for (int i = 0; rc >= 0 && i < get_num_detectors(); ++i) rc = make_detector(i, rep);
  return rc;
}

int DastBase::dump_access(int field, const char* filename, AceReporter* rep) {
  rep->psect(1, "DUMP_ACCESS");
  return has_field(field) ? get_field(field)->dump_method(filename, rep) : -1;
}

int DastBase::load_field_access(const char* fieldname, const char* filename, int mode, AceReporter* rep) {
  rep->psect(1, "LOAD_ACCESS");
  DastBaseField* field = get_field(get_field_index(fieldname));
  if (field == nullptr || !field->has_type(DastFieldFlags::IS_PRIMARY)) {
    rep->printf("Cannot load access file '%s': '%s' is not recognized as an index field\n",
                text_or_empty(filename), text_or_empty(fieldname));
    return -1;
  }
  return field->load_method(filename, mode, rep);
}

int DastBase::del_access(int field) {
  return has_field(field) ? get_field(field)->delete_method() : -1;
}
