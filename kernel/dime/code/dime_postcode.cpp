#include "dime/dime_postcode.h"

#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_checked_reader_internal.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int LOAD = 99;
constexpr int NO_STRINGS = -2;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimePostCodeMethod_constructor(
    []() -> DastBaseMethod* { return new DimePostCodeMethod; }, DimePostCodeMethod::NAME,
    DimePostCodeMethod::MAGIC);
const bool parserIsListed = DimePostCodeRecallOptions::get_parser() != nullptr;

/// Codes on their way into the index; those with zeros in front are noted.
class ZeroReader : public TeraReader {
 public:
  explicit ZeroReader(TeraReader* reader) : source(reader) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    const int rc = source->get_line(string, info, line);
    if (rc > 0 && (*string)[0] == '0') codes.emplace_back(*string);
    return rc;
  }
  int rewind() override {
    codes.clear();
    return source->rewind();
  }
  VInt get_estimate() override { return source->get_estimate(); }

  std::vector<std::string> codes;

 private:
  TeraReader* source;
};

/// What is left of the noted codes without these zeros. It is read after the codes.
class ZeroAliases : public TeraAliasReader {
 public:
  explicit ZeroAliases(const ZeroReader& reader) : codes(reader.codes) {}
  int read_entry(const char** target, const char** alias, int* penalty, VInt* line) override {
    while (next < codes.size() && bare(codes[next])[0] == '\0') ++next;
    if (next == codes.size()) return 0;
    *target = codes[next].c_str();
    *alias = bare(codes[next]);
    if (penalty != nullptr) *penalty = 0;
    if (line != nullptr) *line = static_cast<VInt>(next);
    ++next;
    return 1;
  }
  int rewind() override {
    next = 0;
    return 0;
  }

 private:
  static const char* bare(const std::string& code) { return code.c_str() + std::strspn(code.c_str(), "0"); }

  const std::vector<std::string>& codes;
  std::size_t next = 0;
};

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};

}  // namespace

void DimePostCodeMethod_init() {}

DimePostCodeMethod::DimePostCodeMethod() = default;

DimePostCodeMethod::~DimePostCodeMethod() = default;

int DimePostCodeMethod::configure_build_options(const char* options, const TeraMap* map) {
  if (options != nullptr && options[0] != '\0') {
    AceReporter::use_default()->ev_wprintf("Unknown build option(s) '%s' for postcode method\n", options);
    return -1;
  }
  if (map == nullptr || autoStruct.init(map, nullptr) < 0)
    return ace_error(__FILE__, __LINE__, "autoStruct.init(map, nullptr)", -1, 0, -1);
  return 0;
}

int DimePostCodeMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  DimeCheckedReader checked(reader, autoStruct.get_tera_map());
  ZeroReader values(&checked);
  ZeroAliases aliases(values);
  const int rc = autoStruct.make(&values, nullptr, LOAD, 0, rep, &aliases, filename);
  if (rc < 0)
    return ace_error(__FILE__, __LINE__,
                     "autoStruct.make(reader, nullptr, 99, type, rep, &alias_reader, filename)", rc, 0, -1);
  if ((flags & DastFieldFlags::IN_INDEX_STORAGE) == 0 || checked.firstLost.empty()) return 0;
  rep->printf("%s: the index cannot give back '%s'\n", filename != nullptr ? filename : NAME,
              checked.firstLost.c_str());
  return NO_STRINGS;
}

// ---------------------------------------------------------------- recall

TeraQuery* DimePostCodeMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  return query != nullptr ? new PostCodeQuery(query, get_map(), recallOpts, call == DastOptions::EXACT)
                          : nullptr;
}

int DimePostCodeMethod::lookup_options() const {
  return (recallOpts.get_no_glob() ? TeraAutoRecall::NO_OPERATORS : 0) |
         (recallOpts.get_no_transpose() ? 0 : TeraAutoRecall::TRANSPOSE);
}

TeraScanGraph* DimePostCodeMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (query == nullptr) return nullptr;
  if (call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE) return detect(call, query);
  std::unique_ptr<TeraResult> result(scan(call, query, rep));
  if (result == nullptr) return nullptr;
  return dime_graph_of(std::move(result), query);
}

TeraResult* DimePostCodeMethod::scan(DastOptions::Call call, const char* query, AceReporter* rep) const {
  const DimeRecallOptions& limits = recallOpts.get_primary();
  if (call == DastOptions::DETECT) {
    const AceTimeSection section("POSTCODE_SCAN_RECALL");
    auto result =
        std::make_unique<TeraResult>(query, limits.minValue, limits.numCands, limits.maxDist, nullptr);
    const int rc =
        autoStruct.recall_s(result.get(), TeraEval::MAXIMUM, lookup_options(), recallOpts.get_auto_max_edit(),
                            TeraAutoRecall::NO_PHONETICS, nullptr, nullptr);
    result->remove_no_info_cands();
    result->set_best_frequent(TeraEval::PERFECT);  // words are measured by their errors
    if (rc >= 0) return result.release();
    ace_error_msg(__FILE__, __LINE__,
                  "autoStruct.recall_s(result, model, options, max_edit, 100, nullptr, nullptr)", rc);
    return nullptr;
  }
  TeraResult found(query, 0, TeraResult::MAX_CANDS, TeraResult::MAX_VALUE, nullptr);
  if (recall(call, &found, rep) < 0) return nullptr;
  const std::string code = PostCodeQuery::without_country(query);
  TeraResult inCountry(code.c_str(), 0, TeraResult::MAX_CANDS, TeraResult::MAX_VALUE, nullptr);
  if (!code.empty() && recall(call, &inCountry, rep) < 0) return nullptr;
  std::unique_ptr<TeraResult> result = reevaluate(&found, code.empty() ? nullptr : &inCountry);
  int unseen = most_unseen(call, PostCodeQuery(query, get_map(), recallOpts));
  if (!code.empty())
    unseen = std::max(unseen, most_unseen(call, PostCodeQuery(code.c_str(), get_map(), recallOpts)));
  result->set_best_frequent(unseen);
  return result.release();
}

/// What a code may be worth that is not looked up: more edits away, or of another length.
int DimePostCodeMethod::most_unseen(DastOptions::Call call, const PostCodeQuery& query) const {
  const int restricted = recallOpts.get_restricted_length();
  const int edits = std::max(recallOpts.get_auto_max_edit(), 0);
  if (restricted > 0) return query.most_beyond(std::min(edits, restricted));
  const bool countsEdits =
      call == DastOptions::COMPLETE || recallOpts.get_eval_mode() == TeraEval::LEVENSHTEIN;
  return countsEdits ? query.most_beyond(edits) : TeraEval::PERFECT;
}

int DimePostCodeMethod::find_exact(TeraResult* result) const {
  const AceTimeSection section("POSTCODE_EXACT");
  const int options = recallOpts.get_no_glob() ? TeraAutoRecall::NO_OPERATORS : 0;
  const int rc = autoStruct.exact(result, options);
  if (rc < 0) return ace_error(__FILE__, __LINE__, "autoStruct.exact(result, options)", rc, 0, -1);
  if (result->remove_no_info_cands() > 0) return rc;
  result->clear_resolved();
  return autoStruct.interval(result, 0, 1);
}

int DimePostCodeMethod::recall(DastOptions::Call call, TeraResult* result, AceReporter* rep) const {
  const bool isPattern = PostCodeQuery(result->get_string(), get_map(), recallOpts).is_pattern();
  if (call == DastOptions::EXACT || isPattern) return find_exact(result);
  const int options = lookup_options();
  const int maxEdit = recallOpts.get_auto_max_edit();
  const int restricted = recallOpts.get_restricted_length();
  const bool complete = call == DastOptions::COMPLETE;
  if (restricted > 0) {
    const int rc = autoStruct.recall_r(result, options, maxEdit, restricted, complete ? 1 : 0, 0);
    if (rc >= 0) return rc;
    return ace_error(__FILE__, __LINE__,
                     "autoStruct.recall_r(result, options, max_edit, restrict_len, complete,0)", rc, 0, -1);
  }
  const TeraEval::Mode algo = complete ? TeraEval::PREFIX : recallOpts.get_eval_mode();
  const int rc = autoStruct.recall(result, algo, complete ? TeraEval::SHORT : TeraEval::MAXIMUM, options,
                                   maxEdit, 0, rep);
  if (rc >= 0) return rc;
  return ace_error(__FILE__, __LINE__, "autoStruct.recall(result, algo, model, options, max_edit, 0, rep)",
                   rc, 0, -1);
}

/// The candidates that have attributes, with the qualities of positions and within the limits; those of both
/// results once.
std::unique_ptr<TeraResult> DimePostCodeMethod::reevaluate(TeraResult* result, TeraResult* more) const {
  const DimeRecallOptions& limits = recallOpts.get_primary();
  auto* const query = new PostCodeQuery(result->get_string(), get_map(), recallOpts);
  auto final_res = std::make_unique<TeraResult>(result->get_string(), limits.minValue, limits.numCands,
                                                limits.maxDist, query);
  query->unref();
  std::set<std::string_view> seen;
  const auto add = [&](int, const TeraCand* cand) {
    if (more != nullptr && !seen.insert(cand->get_string()).second) return false;
    const int quality = cand->get_num_infos() > 0 ? query->compare(cand->get_string()) : 0;
    if (quality > 0 && final_res->accept(quality))
      final_res->add(quality, new TeraCand(final_res->attach(cand->get_string()), cand->get_num_infos(),
                                           cand->get_infos()));
    return false;
  };
  result->find_any(add);
  if (more != nullptr) more->find_any(add);
  if (result->is_unreliable() || (more != nullptr && more->is_unreliable())) final_res->set_unreliable();
  final_res->set_resolved();
  return final_res;
}

/// Every run of words that finds codes, each compared with the words that found it.
TeraScanGraph* DimePostCodeMethod::detect(DastOptions::Call call, const char* text) const {
  const AceTimeSection section("POSTCODE_METHOD_DETECT");
  std::unique_ptr<TeraScanGraph, Unref> graph(
      new TeraScanGraph(0, text, 0, TeraResult::MAX_CANDS, TeraResult::MAX_VALUE, TeraScanGraph::NO_ORIGIN));
  const int options = lookup_options() | TeraAutoRecall::DONT_DEDUP |
                      (call == DastOptions::FS_COMPLETE ? TeraAutoRecall::COMPLETE_QUERY : 0);
  const int rc = autoStruct.scan(graph.get(), TeraEval::MAXIMUM, options, recallOpts.get_auto_max_edit());
  if (rc < 0) {
    ace_error_msg(__FILE__, __LINE__,
                  "autoStruct.scan(&auto_graph, eval_model, options, recallOpts.get_auto_max_edit())", rc);
    return nullptr;
  }
  for (int node = 0; node < graph->get_num_nodes(); ++node)
    for (TeraScanGraph::Edge* edge = graph->get_node(node)->get_first_edge(); edge != nullptr;
         edge = edge->get_next())
      if (edge->get_result() != nullptr) edge->replace_result(reevaluate(edge->get_result()).release());
  graph->dedup_resolved(false);  // by the qualities of positions, which decide the span that a code stays on
  return graph.release();
}

// ---------------------------------------------------------------- items

int DimePostCodeMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  const AceIdMap* const infos = autoStruct.get_info_handle();
  return infos != nullptr && pos >= 0 ? static_cast<int>(infos->get_array(static_cast<Large>(pos), ids)) : 0;
}

const char* DimePostCodeMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 ? autoStruct.get_entry(static_cast<Large>(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence

VInt DimePostCodeMethod::save(AceFile* file) {
  file->mem_point("Main Automaton Structure");
  if (const VInt rc = autoStruct.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = autoStruct.save(file)", static_cast<int>(rc), 0, -1);
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimePostCodeMethod::read(AceFile* file) {
  if (const VInt rc = autoStruct.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = autoStruct.read(file)", static_cast<int>(rc), 0, -1);
  ACE_CALL(recallOpts.read(file));
  return 0;
}
