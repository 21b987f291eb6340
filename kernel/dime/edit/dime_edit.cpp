#include "dime/dime_edit.h"

#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_id_map.h"
#include "ace/ace_input.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_phonetics_internal.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"
#include "tera/tera_transform.h"

namespace {

constexpr int ALIAS_BUFFER = 10000;
/// In the saved build flags: strings are served from the index. An edit index of its own has another flag
/// there.
constexpr int SERVES_STRINGS = 8;
constexpr int INDEX_OPTIONS = TeraEdit::COMPACT | TeraEdit::ALLOW_ALT | TeraEdit::PLAIN_COLUMNS;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeEditMethod_constructor(
    []() -> DastBaseMethod* { return new DimeEditMethod; }, DimeEditMethod::NAME, DimeEditMethod::MAGIC);
const MagicConstructor<DastDetectorInterface> DastDetectorInterfaceDimeEditMethod_constructor(
    []() -> DastDetectorInterface* { return new DimeEditMethod; }, DimeEditMethod::NAME,
    DimeEditMethod::MAGIC);
/// Lists the parsers while the library is loaded, so that they are found by name.
const bool parsersAreListed =
    DimeEditRecallOptions::get_parser() != nullptr && DimeEditMethod::get_parser() != nullptr;

/// Counts the entries that pass.
class CountingReader : public TeraReader {
 public:
  explicit CountingReader(TeraReader* reader) : source(reader) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    const int rc = source->get_line(string, info, line);
    numLines += rc > 0 && (*string)[0] != '\0' ? 1 : 0;
    return rc;
  }
  int rewind() override {
    numLines = 0;
    return source->rewind();
  }
  VInt get_estimate() override { return source->get_estimate(); }

  VInt numLines = 0;

 private:
  TeraReader* source;
};

VInt count_values(const AceIdMap* map) {
  VInt count = 0;
  for (Large key = 0; map != nullptr && key < map->get_num_keys(); ++key) count += map->get_size(key);
  return count;
}

}  // namespace

void DimeEditMethod_init() {}

DimeEditMethod::DimeEditMethod() = default;

DimeEditMethod::~DimeEditMethod() = default;

int DimeEditMethod::init(const TeraMap* map) {
  std::unique_ptr<TeraTransform> trafo;
  if (dime_make_phonetics(phoneTrafo, &trafo) < 0) return -1;
  if (map == nullptr || editStruct.init(map, trafo.get()) < 0)
    return ace_error(__FILE__, __LINE__, "editStruct.init(map, trafo)", -1, 0, -1);
  return 0;
}

int DimeEditMethod::configure_build_options(const char* options, const TeraMap* map) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  ACE_CALL(init(map));
  return 0;
}

// ---------------------------------------------------------------- building
// The values become one edit index, whose attribute numbers are base ids.

int DimeEditMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  if ((editFeatures & IS_PRIMARY) == 0) return -2;
  const bool serves = (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0;
  makeOpts = serves ? makeOpts | SERVES_STRINGS : makeOpts & ~SERVES_STRINGS;
  CountingReader counted(reader);
  if (make_index(&counted, makeOpts & INDEX_OPTIONS, rep) < 0) return -1;
  const VInt numKept = serves ? count_values(editStruct.get_info_handle()) : 0;
  if (serves && numKept != counted.numLines) {
    rep->printf("%s: the index has %ld of %ld strings and cannot give them back\n",
                filename != nullptr ? filename : NAME, numKept, counted.numLines);
    return -1;
  }
  return 0;
}

int DimeEditMethod::make_index(TeraReader* reader, int options, AceReporter* rep) {
  std::unique_ptr<AceInput> input;
  std::unique_ptr<TeraAliasFileReader> aliases;
  if (!aliasFile.empty()) {
    input = std::make_unique<AceInput>(aliasFile.c_str(), ALIAS_BUFFER, true);
    aliases = std::make_unique<TeraAliasFileReader>(input.get(), nullptr, 0);
  }
  return editStruct.make(reader, nullptr, filterLog, filterRefine, options, 0, rep, aliases.get());
}

void DimeEditMethod::clean() {
  editStruct.clean();
}

// ---------------------------------------------------------------- recall
// Each call maps to a mode, a model and limits; the index answers with base ids.

int DimeEditMethod::recall_options(DastOptions::Call call) const {
  return (recallOpts.get_no_glob() ? TeraEdit::NO_OPERATORS : 0) |
         (recallOpts.get_no_transpose(call) ? 0 : TeraEdit::TRANSPOSE);
}

TeraScanGraph* DimeEditMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE) {
    TeraScanGraph* graph = detect(call, query);
    if (graph == nullptr) ace_error_msg(__FILE__, __LINE__, "graph = detect(mode, query)", -1);
    return graph;
  }
  std::unique_ptr<TeraResult> result(scan(call, query, rep));
  if (result == nullptr) {
    ace_error_msg(__FILE__, __LINE__, "result = scan(mode, query, rep)", -1);
    return nullptr;
  }
  return dime_graph_of(std::move(result), query);
}

TeraScanGraph* DimeEditMethod::lookup_below(const char* query, DastOptions::Call call, int min_value,
                                            AceReporter* rep) const {
  constexpr int OTHER_QUALITIES = TeraEdit::HAS_ALIASES | TeraEdit::HAS_PHONETICS;
  if (call != DastOptions::APPROX || min_value >= recallOpts.get_min_value(call) ||
      (editStruct.get_features() & OTHER_QUALITIES) != 0)
    return nullptr;
  std::unique_ptr<TeraResult> result(scan(call, query, min_value, rep));
  return result != nullptr ? dime_graph_of(std::move(result), query) : nullptr;
}

TeraResult* DimeEditMethod::scan(DastOptions::Call call, const char* query, int min_value,
                                 AceReporter* rep) const {
  if (editStruct.get_num_entries() == 0 || call == DastOptions::EMPTY || query == nullptr) return nullptr;
  auto result = std::make_unique<TeraResult>(query, min_value, recallOpts.get_num_cands(call),
                                             recallOpts.get_max_dist(call), nullptr);
  result->use_collection();
  const int rc =
      editStruct.recall(result.get(), recallOpts.get_eval_algorithm(call), recallOpts.get_eval_model(call), 0,
                        0, recall_options(call), recallOpts.get_orig_weight(call), rep);
  if (!TeraEdit::is_measured_alike(recallOpts.get_eval_algorithm(call)))
    result->set_best_frequent(TeraEval::PERFECT);  // query objects may give more
  if (rc >= 0) return result.release();
  ace_error_msg(__FILE__, __LINE__,
                "editStruct.recall(result, eval_type, eval_model, 0, 0, options, orig_weight, rep)", rc);
  return nullptr;
}

TeraScanGraph* DimeEditMethod::detect(DastOptions::Call call, const char* text) const {
  if (text == nullptr) return nullptr;
  struct Unref {
    void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
  };
  std::unique_ptr<TeraScanGraph, Unref> graph(
      new TeraScanGraph(0, text, recallOpts.get_min_value(call), recallOpts.get_num_cands(call),
                        recallOpts.get_max_dist(call), TeraScanGraph::NO_ORIGIN));
  const int options = recall_options(call);
  TeraSplitResult split(text, (options & TeraEdit::NO_OPERATORS) | TeraSplitter::BLANKS,
                        editStruct.get_tera_map(), nullptr, nullptr);
  graph->init(&split, TeraScanGraph::NO_ORIGIN, 0);
  const int rc = editStruct.scan(graph.get(), TeraEval::REDUNDANT, options, &split,
                                 recallOpts.get_orig_weight(call), nullptr);
  if (rc >= 0) return graph.release();
  ace_error_msg(__FILE__, __LINE__,
                "editStruct.scan(graph, TeraEval::REDUNDANT, options, &split, orig_weight)", rc);
  return nullptr;
}

TeraQuery* DimeEditMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  const TeraEval::Model model = recallOpts.get_eval_model(call);
  const TeraEval::Mode mode = recallOpts.get_eval_algorithm(call);
  const int weight = recallOpts.get_orig_weight(call);
  if (!recallOpts.get_allow_wildcards())
    return editStruct.get_query(query, mode, model, recall_options(call), weight);
  // Wildcards leave no room for transpositions.
  if (recallOpts.get_no_glob())
    return editStruct.get_query(query, mode, model, TeraEdit::NO_OPERATORS, weight);
  const bool isAnything = query[std::strspn(query, "*")] == '\0';
  if (!isAnything)
    if (TeraQuery* pattern = editStruct.get_query(query, TeraEval::WILDCARD, TeraEval::QUERY, 0, weight);
        pattern != nullptr)
      return pattern;
  return editStruct.get_query(query, mode, model, 0, weight);
}

// ---------------------------------------------------------------- items
// Items are the entries of the index, in its order.

const char* DimeEditMethod::show(Large id, AceAttach* at) const {
  const AceIdMap* infos = editStruct.get_info_handle();
  const Large slot = infos != nullptr ? infos->get_index(id) : AceIdMap::NONE;
  return slot != AceIdMap::NONE ? editStruct.get_string(slot, at) : nullptr;
}

int DimeEditMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  const AceIdMap* infos = editStruct.get_info_handle();
  return infos != nullptr && pos >= 0 ? static_cast<int>(infos->get_array(static_cast<Large>(pos), ids)) : 0;
}

const char* DimeEditMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 && pos < get_num_items() ? editStruct.get_string(static_cast<Large>(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// The index, what it was built with, and the options of recalls.

VInt DimeEditMethod::save(AceFile* file) {
  file->mem_point("Main Structure");
  if (const VInt rc = editStruct.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = editStruct.save(file)", static_cast<int>(rc), 0, -1);
  file->put_int(editFeatures);
  file->put_int(makeOpts);
  file->put_int(filterLog);
  file->put_int(filterRefine);
  file->put_string(aliasFile.empty() ? nullptr : aliasFile.c_str());
  return recallOpts.save(file);
}

VInt DimeEditMethod::read(AceFile* file) {
  if (const VInt rc = editStruct.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = editStruct.read(file)", static_cast<int>(rc), 0, -1);
  editFeatures = file->get_int();
  makeOpts = file->get_int();
  filterLog = file->get_int();
  filterRefine = file->get_int();
  AceAttach at;
  assign_alias_file(file->get_string(&at));
  ACE_CALL(recallOpts.read(file));
  if (file->is_short() || filterLog < 0 || filterLog > TeraEdit::MAX_FILTER || filterRefine < 0) {
    AceReporter::use_default()->printf("Edit method that is broken at offset %ld: filter %d, refinement %d\n",
                                       file->get_pos(), filterLog, filterRefine);
    return -1;
  }
  return 0;
}
