#include "dime/dime_auto.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_checked_reader_internal.h"
#include "dime/method/dime_phonetics_internal.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_scan_query.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_transform.h"

namespace {

constexpr int ALIAS_BUFFER = 10000;
constexpr int LOAD = 99;
constexpr int NO_STRINGS = -2;
constexpr int NO_GLOB = TeraAutoRecall::NO_OPERATORS;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeAutoMethod_constructor(
    []() -> DastBaseMethod* { return new DimeAutoMethod; }, DimeAutoMethod::NAME, DimeAutoMethod::MAGIC);
const MagicConstructor<DastDetectorInterface> DastDetectorInterfaceDimeAutoMethod_constructor(
    []() -> DastDetectorInterface* { return new DimeAutoMethod; }, DimeAutoMethod::NAME,
    DimeAutoMethod::MAGIC);
/// Lists the parsers while the library is loaded, so that they are found by name.
const bool parsersAreListed =
    DimeAutoRecallOptions::get_parser() != nullptr && DimeAutoMethod::get_parser() != nullptr;

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using GraphRef = std::unique_ptr<TeraScanGraph, Unref>;

}  // namespace

void DimeAutoMethod_init() {}

DimeAutoMethod::DimeAutoMethod() = default;

DimeAutoMethod::~DimeAutoMethod() = default;

int DimeAutoMethod::init(const TeraMap* map) {
  std::unique_ptr<TeraTransform> trafo;
  if (dime_make_phonetics(phoneTrafo, &trafo) < 0) return -1;
  if (map == nullptr || autoStruct.init(map, trafo.get()) < 0)
    return ace_error(__FILE__, __LINE__, "autoStruct.init(map, trafo)", -1, 0, -1);
  return 0;
}

int DimeAutoMethod::configure_build_options(const char* options, const TeraMap* map) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  ACE_CALL(init(map));
  return 0;
}

// ---------------------------------------------------------------- building

int DimeAutoMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  const bool serves = (flags & DastFieldFlags::IN_INDEX_STORAGE) != 0;
  makeOpt = serves ? makeOpt | SERVES_STRINGS : makeOpt & ~SERVES_STRINGS;
  if (!serves) return make_index(reader, rep, filename);
  DimeCheckedReader checked(reader, autoStruct.get_tera_map());
  const int rc = make_index(&checked, rep, filename);
  if (rc < 0 || checked.firstLost.empty()) return rc;
  rep->printf("%s: the index cannot give back '%s'\n", filename != nullptr ? filename : NAME,
              checked.firstLost.c_str());
  return NO_STRINGS;
}

int DimeAutoMethod::make_index(TeraReader* reader, AceReporter* rep, const char* filename) {
  std::unique_ptr<AceInput> input;
  std::unique_ptr<TeraAliasFileReader> aliases;
  if (!aliasFile.empty()) {
    input = std::make_unique<AceInput>(aliasFile.c_str(), ALIAS_BUFFER, true);
    aliases = std::make_unique<TeraAliasFileReader>(input.get(), nullptr, 0);
  }
  return autoStruct.make(reader, nullptr, LOAD, makeOpt & ~SERVES_STRINGS, rep, aliases.get(), filename);
}

void DimeAutoMethod::clean() {
  autoStruct.clean();
}

// ---------------------------------------------------------------- recall

int DimeAutoMethod::lookup_options() const {
  return (recallOpts.get_no_glob() ? NO_GLOB : 0) |
         (recallOpts.get_no_transpose() ? 0 : TeraAutoRecall::TRANSPOSE) |
         (recallOpts.get_split_at_unmapped() ? TeraAutoRecall::SPLIT_UNMAPPED : 0) |
         ((makeOpt & ALLOW_WILD) != 0 ? TeraAutoRecall::HAS_WILD : 0);
}

TeraScanGraph* DimeAutoMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (query == nullptr) return nullptr;
  if (call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE) return detect(call, query);
  auto result = std::make_unique<TeraResult>(query, recallOpts.get_min_value(), recallOpts.get_num_cands(),
                                             recallOpts.get_max_dist(), nullptr);
  if (recall(call, result.get(), rep) < 0) return nullptr;
  if (!measures_alike(call)) result->set_best_frequent(TeraEval::PERFECT);
  return dime_graph_of(std::move(result), query);
}

/// Whether query objects give no value more than look-ups do, although they swap where these do not: in these
/// modes nothing is more alike without swaps.
bool DimeAutoMethod::measures_alike(DastOptions::Call call) const {
  static constexpr TeraEval::Mode MODES[] = {TeraEval::LEVENSHTEIN, TeraEval::PREFIX, TeraEval::EXTEND,
                                             TeraEval::FACTOR,      TeraEval::COVER,  TeraEval::MID,
                                             TeraEval::SEQ};
  if (call == DastOptions::EXACT) return true;
  return call != DastOptions::DETECT && !recallOpts.get_no_transpose() &&
         std::find(std::begin(MODES), std::end(MODES), recallOpts.get_eval_mode(call)) != std::end(MODES);
}

int DimeAutoMethod::recall(DastOptions::Call call, TeraResult* result, AceReporter* rep) const {
  const int options = lookup_options();
  if (call == DastOptions::EXACT) {
    const int rc = autoStruct.exact(result, options);
    return rc >= 0 ? rc : ace_error(__FILE__, __LINE__, "autoStruct.exact(result, options)", rc, 0, -1);
  }
  const TeraEval::Model model = recallOpts.get_eval_model(call);
  if (call == DastOptions::DETECT) {
    result->use_collection();
    const int rc =
        autoStruct.recall_s(result, model, options, recallOpts.get_max_edit(), recallOpts.get_orig_weight(),
                            recallOpts.get_add_separators(), recallOpts.get_complete_markers());
    if (rc >= 0) return rc;
    return ace_error(__FILE__, __LINE__,
                     "autoStruct.recall_s(result, eval_model, options, max_edit, orig_weight, add_seps, "
                     "comp_markers)",
                     rc, 0, -1);
  }
  const int rc = autoStruct.recall(result, recallOpts.get_eval_mode(call), model, options,
                                   recallOpts.get_max_edit(), 0, rep, recallOpts.get_orig_weight());
  if (rc >= 0) return rc;
  return ace_error(__FILE__, __LINE__,
                   "autoStruct.recall(result, eval_mode, eval_model, options, max_edit, 0, rep, orig_weight)",
                   rc, 0, -1);
}

TeraScanGraph* DimeAutoMethod::detect(DastOptions::Call call, const char* text) const {
  GraphRef graph(new TeraScanGraph(0, text, recallOpts.get_min_value(), recallOpts.get_num_cands(),
                                   recallOpts.get_max_dist(), TeraScanGraph::NO_ORIGIN));
  const int options =
      lookup_options() | (call == DastOptions::FS_COMPLETE ? TeraAutoRecall::COMPLETE_QUERY : 0);
  const int rc = autoStruct.scan(graph.get(), TeraEval::REDUNDANT, options, recallOpts.get_max_edit(),
                                 recallOpts.get_orig_weight(), recallOpts.get_add_separators(),
                                 recallOpts.get_complete_markers());
  if (rc >= 0) return graph.release();
  ace_error_msg(__FILE__, __LINE__,
                "autoStruct.scan(graph, REDUNDANT, options, max_edit, orig_weight, add_seps, comp_markers)",
                rc);
  return nullptr;
}

/// Flag 2 has the opposite sense of that in look-ups: kept as it always was.
TeraQuery* DimeAutoMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  const int options = (recallOpts.get_no_glob() ? NO_GLOB : 0) |
                      (recallOpts.get_no_transpose() ? TeraAutoRecall::TRANSPOSE : 0);
  const TeraEval::Model model = recallOpts.get_eval_model(call);
  if (call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE)
    return new TeraScanQuery(get_map(), model, query, options);
  return new TeraStandardQuery(query, recallOpts.get_eval_mode(call), model, get_map(), options);
}

// ---------------------------------------------------------------- items

int DimeAutoMethod::get_items(int id, const Large** keys, AceAttach* at) const {
  *keys = nullptr;
  const Large key = autoStruct.get_sort_key(static_cast<Large>(id));
  if (key == TeraCand::NO_INFO) return -1;
  Large* kept = nullptr;
  *at->malloc(kept, 1) = key;
  *keys = kept;
  return 1;
}

const char* DimeAutoMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 ? autoStruct.get_entry(static_cast<Large>(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence

VInt DimeAutoMethod::save(AceFile* file) {
  file->put_int(autoFeatures);
  file->mem_point("Main Automaton Structure");
  if (const VInt rc = autoStruct.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = autoStruct.save(file)", static_cast<int>(rc), 0, -1);
  file->put_int(makeOpt);
  file->put_string(aliasFile.empty() ? nullptr : aliasFile.c_str());
  if (const VInt rc = recallOpts.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = recallOpts.save(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

VInt DimeAutoMethod::read(AceFile* file) {
  autoFeatures = file->get_int();
  ACE_CALL(autoStruct.read(file));
  makeOpt = file->get_int();
  AceAttach at;
  const char* const alias = file->get_string(&at);
  aliasFile = alias != nullptr ? alias : "";
  ACE_CALL(recallOpts.read(file));
  constexpr int known = SERVES_STRINGS | FAST | ALLOW_WILD | PATH_COMPRESS;
  if (!file->is_short() && (makeOpt & ~known) == 0) return 0;
  AceReporter::use_default()->printf("Automaton method that is broken at offset %ld: build flags %d\n",
                                     file->get_pos(), makeOpt);
  return -1;
}
