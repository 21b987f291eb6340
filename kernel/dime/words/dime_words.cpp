#include "dime/dime_words.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_phonetics_internal.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_transform.h"
#include "tera/tera_words_reader.h"

namespace {

constexpr int ALIAS_BUFFER = 10000;
constexpr int UNUSED_QUALITY = 190;
constexpr int INDEX_OPTIONS = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE | TeraMulti::OPTIMIZE_HITS;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeWordsMethod_constructor(
    []() -> DastBaseMethod* { return new DimeWordsMethod; }, DimeWordsMethod::NAME, DimeWordsMethod::MAGIC);
const MagicConstructor<DastDetectorInterface> DastDetectorInterfaceDimeWordsMethod_constructor(
    []() -> DastDetectorInterface* { return new DimeWordsMethod; }, DimeWordsMethod::NAME,
    DimeWordsMethod::MAGIC);

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using GraphRef = std::unique_ptr<TeraScanGraph, Unref>;

bool is_row(DastOptions::Call call) {
  return call >= DastOptions::DETECT0 && call <= DastOptions::DETECT9;
}

const char* or_null(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

}  // namespace

void DimeWordsMethod_init() {}

DimeWordsMethod::DimeWordsMethod() = default;

DimeWordsMethod::~DimeWordsMethod() = default;

// ---------------------------------------------------------------- building
// Values become lines of a multi-word index, whose line numbers are base ids.

int DimeWordsMethod::init(const TeraMap* map) {
  std::unique_ptr<TeraTransform> trafo;
  if (dime_make_phonetics(phoneTrafo, &trafo) < 0) return -1;
  if (multiStruct.init(map, sepChar, trafo.get(), useAuto) < 0)
    return ace_error(__FILE__, __LINE__, "multiStruct.init(map, sepChar, trafo, useAuto)", -1, 0, -1);
  return 0;
}

int DimeWordsMethod::configure_build_options(const char* options, const TeraMap* map) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  return init(map);
}

int DimeWordsMethod::index_options(int flags) const {
  const bool joins = (wordsFeatures & MERGE_ENTRIES) != 0 || unboundRecall;
  return INDEX_OPTIONS | (doUnique ? TeraMulti::UNIQUIFY : 0) |
         ((flags & DastFieldFlags::IN_INDEX_STORAGE) != 0 ? TeraMulti::REVERSE_INFO : 0) |
         ((wordsFeatures & HAS_DIRECT_HIT) != 0 ? TeraMulti::FAST_SINGLE : 0) |
         (joins ? TeraMulti::MERGE_ENTRIES : 0) | (useAuto ? TeraMulti::USE_AUTO : 0);
}

int DimeWordsMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  if (rep == nullptr) rep = AceReporter::use_default();
  if (filename == nullptr) {
    rep->printf("%s: the name of the file of values is missing\n", NAME);
    return -1;
  }
  AceAttach at;
  WordsReader words(reader, AceFile::join_ext(filename, "chunk", &at));
  return make(&words, flags, rep);
}

int DimeWordsMethod::make(WordsReader* reader, int flags, AceReporter* rep) {
  std::unique_ptr<AceInput> input;
  std::unique_ptr<TeraAliasFileReader> aliases;
  if (!singleAlias.empty()) {
    input = std::make_unique<AceInput>(singleAlias.c_str(), ALIAS_BUFFER, true);
    aliases = std::make_unique<TeraAliasFileReader>(input.get(), nullptr, 0);
  }
  return multiStruct.make_reader(reader, nullptr, sepChar, editFilter, refineEdit, index_options(flags),
                                 or_null(addSep), addLen, sortPercent, skipPercent, aliases.get(),
                                 or_null(skipFile), or_null(skipExport), rep, UNUSED_QUALITY);
}

void DimeWordsMethod::clean() {
  multiStruct.clean();
}

// ---------------------------------------------------------------- recall
// A query is a line, too, or a text in which lines are looked for.

int DimeWordsMethod::recall_options(DastOptions::Call call) const {
  // Words that are joined for recall with errors alone stay apart in the other modes.
  const bool isBound = (wordsFeatures & MERGE_ENTRIES) == 0 && call != DastOptions::APPROX;
  return recallOpts.get_options(call) | (isBound ? TeraMulti::BOUND : 0);
}

TeraScanGraph* DimeWordsMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
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

TeraResult* DimeWordsMethod::scan(DastOptions::Call call, const char* query, AceReporter* rep) const {
  const bool isLines =
      call == DastOptions::COMPLETE || call == DastOptions::APPROX || call == DastOptions::DETECT;
  if (query == nullptr) return nullptr;
  if (call == DastOptions::EXACT) {
    TeraResult* result = multiStruct.exact(query, recall_options(call), rep);
    if (result == nullptr)
      ace_error_msg(__FILE__, __LINE__, "result = multiStruct.exact(query, options, rep)", -1);
    return result;
  }
  if (!isLines && !is_row(call)) return nullptr;
  auto result =
      std::make_unique<TeraResult>(query, recallOpts.get_min_value(call), recallOpts.get_num_cands(call),
                                   recallOpts.get_max_dist(call), nullptr);
  result->use_collection();
  const int rc = isLines ? scan_lines(call, result.get())
                         : multiStruct.single_recall(
                               result.get(), recall_options(call) & TeraMulti::TRANSPOSE,
                               recallOpts.get_eval_mode(call), recallOpts.get_eval_model(call),
                               recallOpts.get_single_max_edit(), recallOpts.get_orig_weight(), rep);
  if (!TeraEdit::is_measured_alike(recallOpts.get_eval_mode(call)))
    result->set_best_frequent(TeraEval::PERFECT);  // query objects may give more
  if (rc >= 0) return result.release();
  ace_error_msg(__FILE__, __LINE__,
                isLines
                    ? "multiStruct.recall(result, options, eval_model, nullptr, single_min_qual, "
                      "single_max_edit, orig_weight, comp_markers)"
                    : "multiStruct.single_recall(result, options, eval_mode, eval_model, single_max_edit, "
                      "orig_weight, rep)",
                rc);
  return nullptr;
}

int DimeWordsMethod::scan_lines(DastOptions::Call call, TeraResult* result) const {
  return multiStruct.recall(result, recall_options(call), recallOpts.get_eval_model(call), nullptr,
                            recallOpts.get_single_min_qual(), recallOpts.get_single_max_edit(),
                            recallOpts.get_orig_weight(), recallOpts.get_complete_markers(),
                            recallOpts.get_eval_mode(call));
}

TeraScanGraph* DimeWordsMethod::detect(DastOptions::Call call, const char* text) const {
  const AceTimeSection section("WORDS_METHOD_DETECT");
  if (text == nullptr) return nullptr;
  GraphRef graph(new TeraScanGraph(0, text, recallOpts.get_min_value(call), recallOpts.get_num_cands(call),
                                   recallOpts.get_max_dist(call), TeraScanGraph::NO_ORIGIN));
  const int rc = multiStruct.multi_detect(graph.get(), recall_options(call), recallOpts.get_det_model(),
                                          recallOpts.get_single_min_qual(), recallOpts.get_single_max_edit(),
                                          recallOpts.get_orig_weight(), recallOpts.get_complete_markers(),
                                          nullptr, recallOpts.get_eval_mode(call));
  if (rc >= 0) return graph.release();
  ace_error_msg(__FILE__, __LINE__, "multiStruct.multi_detect(graph, options, det_model)", rc);
  return nullptr;
}

TeraScanGraph* DimeWordsMethod::detect_single(const char* text, DastOptions::Call call,
                                              AceReporter* rep) const {
  const AceTimeSection section("SINGLE_WORD_DETECT");
  AceReporter* const told = rep != nullptr ? rep : AceReporter::use_default();
  if (text == nullptr) return nullptr;
  if ((wordsFeatures & HAS_DIRECT_HIT) == 0) {
    told->printf("ERROR! Cannot detect single words without direct hit lists\n");
    return nullptr;
  }
  GraphRef graph(new TeraScanGraph(0, text, recallOpts.get_min_value(call), recallOpts.get_num_cands(call),
                                   recallOpts.get_max_dist(call), TeraScanGraph::NO_ORIGIN));
  const TeraEval::Model model = is_row(call) ? recallOpts.get_eval_model(call)
                                             : TeraEval::get_default_model(recallOpts.get_eval_mode(call));
  const int rc =
      multiStruct.single_detect(graph.get(), recall_options(call), recallOpts.get_eval_mode(call), model,
                                recallOpts.get_single_max_edit(), recallOpts.get_orig_weight(), told);
  if (rc >= 0) return graph.release();
  ace_error_msg(__FILE__, __LINE__, "multiStruct.single_detect(graph, options, eval_mode, eval_model)", rc);
  return nullptr;
}

TeraQuery* DimeWordsMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  const int options = recall_options(call);
  if (is_row(call))
    return multiStruct.seval(query, options, recallOpts.get_eval_mode(call), recallOpts.get_eval_model(call));
  return multiStruct.eval(
      query, get_map(), sepChar, options | (call == DastOptions::EXACT ? TeraMulti::EXACT : 0),
      recallOpts.get_eval_model(call), recallOpts.get_single_min_qual(), recallOpts.get_orig_weight(),
      recallOpts.get_complete_markers(), recallOpts.get_eval_mode(call));
}

TeraAmortizedQuery* DimeWordsMethod::create_amortized_query(DastOptions::Call,
                                                            const TeraScanGraph* graph) const {
  return graph != nullptr ? new WordsAmortizedQuery(graph, &multiStruct, recallOpts.get_det_model())
                          : nullptr;
}

// ---------------------------------------------------------------- items
// Items are the lines in the order of their base ids.

const char* DimeWordsMethod::show(Large id, AceAttach* at) const {
  return multiStruct.show(id, at);
}

int DimeWordsMethod::get_items(int pos, const Large** ids, AceAttach* at) const {
  *ids = nullptr;
  if (pos < 0 || pos >= get_num_items()) return 0;
  Large* id = nullptr;
  at->malloc(id, 1);
  *id = static_cast<Large>(pos);
  *ids = id;
  return 1;
}

const char* DimeWordsMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 && pos < get_num_items() ? multiStruct.get_multiword(static_cast<Large>(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// The index first, then the settings that it was built with.

VInt DimeWordsMethod::save(AceFile* file) {
  file->mem_point("Main Multi Word Structure");
  if (const VInt rc = multiStruct.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = multiStruct.save(file)", static_cast<int>(rc), 0, -1);
  file->put_int(wordsFeatures);
  ACE_CALL(recallOpts.save(file));
  for (const bool flag : {doUnique, useAuto, unboundRecall}) file->put_bool(flag);
  file->put_char(sepChar);
  for (const int value : {sortPercent, skipPercent, addLen, refineEdit, editFilter}) file->put_int(value);
  for (const std::string* text : {&addSep, &singleAlias, &skipExport, &skipFile, &phoneTrafo})
    file->put_string(or_null(*text));
  return 0;
}

VInt DimeWordsMethod::read(AceFile* file) {
  if (const VInt rc = multiStruct.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = multiStruct.read(file)", static_cast<int>(rc), 0, -1);
  wordsFeatures = file->get_int();
  ACE_CALL(recallOpts.read(file));
  return read_settings(file);
}

int DimeWordsMethod::read_settings(AceFile* file) {
  for (bool* flag : {&doUnique, &useAuto, &unboundRecall}) *flag = file->get_bool();
  sepChar = file->get_char();
  for (int* value : {&sortPercent, &skipPercent, &addLen, &refineEdit, &editFilter}) *value = file->get_int();
  AceAttach at;
  for (std::string* text : {&addSep, &singleAlias, &skipExport, &skipFile, &phoneTrafo}) {
    const char* const stored = file->get_string(&at);
    *text = stored != nullptr ? stored : "";
  }
  constexpr int known = HAS_DIRECT_HIT | MERGE_ENTRIES;
  const bool isDirect = (wordsFeatures & HAS_DIRECT_HIT) != 0;
  if (!file->is_short() && (wordsFeatures & ~known) == 0 &&
      (!isDirect || multiStruct.num_records() == 0 || multiStruct.has_fast_single()))
    return 0;
  AceReporter::use_default()->printf("Words method that is broken at offset %ld: features %d\n",
                                     file->get_pos(), wordsFeatures);
  return -1;
}
