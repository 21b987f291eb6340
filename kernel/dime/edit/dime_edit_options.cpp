// The options of the EDIT method: what can be said, and what the call modes make of it.
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_detect_settings.h"
#include "dime/dime_edit.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "EDROP";
constexpr int FULL_WEIGHT = 100;

/// The recall parser, declared and listed once.
void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("no_glob", "Do not interpret wildcards or local alternatives");
  parser->add_flag_option("no_transpose", "Do not use transpose operations");
  parser->add_flag_option("subset_cont",
                          "Use subset with completion (only available for SUBSET, SUPERSET or BLOCK)");
  parser->add_flag_option("allow_wildcards", "Flag to allow wildcard queries");
  parser->add_int_option("orig_weight", 50, "The weight of the literal string recall when using phonetics");
  parser->add_string_option("eval_type", TeraEval::get_mode_name(TeraEval::LEVENSHTEIN),
                            "Evaluation algorithm to be used");
  parser->add_string_option("eval_model", TeraEval::get_model_name(TeraEval::REDUNDANT),
                            "Evaluation model to be used");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("allow_glob", "Allow character alternatives in data, only if filter=0");
  parser->add_flag_option("compact", "Don't align entries with equal length, only if filter=0");
  parser->add_flag_option("plain_columns", "Do not compress the filter: faster first answers, larger file");
  parser->add_flag_option("secondary", "Do not build an index and use the edit purely secondary");
  parser->add_int_option("filter", 3, "Set logarithm of filter size, 0 is no filter");
  parser->add_int_option("refine", 1000, "Controls the filter optimization effort to improve recall times.");
  parser->add_string_option("alias", nullptr, "File that has global aliases with weights");
  parser->add_string_option("phonetics", nullptr, "Type of phonetics used for extra comparison structure");
}

bool is_given(const char* name) {
  return name != nullptr && name[0] != '\0' && std::strcmp(name, "{}") != 0;
}

}  // namespace

AceOptionsParser* DimeEditRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeEditMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeEditMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeEditMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeEditRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeEditRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.noGlob = parser->get_bool_value("no_glob");
  parsed.noTranspose = parser->get_bool_value("no_transpose");
  parsed.subsetCont = parser->get_bool_value("subset_cont");
  parsed.allowWildcards = parser->get_bool_value("allow_wildcards");
  parsed.origWeight = parser->get_int_value("orig_weight");
  if (parsed.origWeight < 0 || parsed.origWeight > FULL_WEIGHT) {
    rep->ev_wprintf("A weight from 0 to 100 expected as orig_weight, %d found\n", parsed.origWeight);
    return -1;
  }
  parsed.evalAlgorithm = TeraEval::get_mode(parser->get_string_value("eval_type"), nullptr);
  parsed.evalModel = TeraEval::get_model_enum(parser->get_string_value("eval_model"));
  if (parsed.evalModel == TeraEval::UNKNOWN) {
    rep->ev_wprintf("An evaluation model expected, '%s' found\n", parser->get_string_value("eval_model"));
    return -1;
  }
  configure(parsed);
  return 0;
}

// ---------------------------------------------------------------- the settings of a call

int DimeEditRecallOptions::get_min_value(DastOptions::Call call) const {
  int value = primaryOptions.minValue;
  adjust_edit_detect_options(call, nullptr, nullptr, &value, nullptr, nullptr, nullptr, nullptr);
  return call == DastOptions::EXACT ? TeraEval::PERFECT : value;
}

int DimeEditRecallOptions::get_max_dist(DastOptions::Call call) const {
  int value = primaryOptions.maxDist;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, &value, nullptr, nullptr, nullptr);
  return call == DastOptions::EXACT ? 1 : value;
}

int DimeEditRecallOptions::get_num_cands(DastOptions::Call call) const {
  int value = primaryOptions.numCands;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, nullptr, &value, nullptr, nullptr);
  return value;
}

bool DimeEditRecallOptions::keeps_subset(DastOptions::Call call) const {
  return call == DastOptions::COMPLETE && subsetCont &&
         (evalAlgorithm == TeraEval::SUBSET || evalAlgorithm == TeraEval::SUPERSET ||
          evalAlgorithm == TeraEval::BLOCKEDIT);
}

TeraEval::Model DimeEditRecallOptions::get_eval_model(DastOptions::Call call) const {
  TeraEval::Model model = evalModel;
  if (call == DastOptions::EXACT) return TeraEval::MAXIMUM;
  if (call == DastOptions::COMPLETE) return TeraEval::SHORT;
  if (call == DastOptions::DETECT) return TeraEval::LONG;
  adjust_edit_detect_options(call, nullptr, &model, nullptr, nullptr, nullptr, nullptr, nullptr);
  return model;
}

TeraEval::Mode DimeEditRecallOptions::get_eval_algorithm(DastOptions::Call call) const {
  TeraEval::Mode mode = evalAlgorithm;
  if (call == DastOptions::EXACT) return TeraEval::WILDCARD;
  if (call == DastOptions::COMPLETE) return keeps_subset(call) ? mode : TeraEval::PREFIX;
  if (call == DastOptions::DETECT) return TeraEval::COVER;
  adjust_edit_detect_options(call, &mode, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  return mode;
}

bool DimeEditRecallOptions::get_no_transpose(DastOptions::Call call) const {
  int transpose = noTranspose ? 0 : 1;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, nullptr, nullptr, &transpose, nullptr);
  return transpose == 0;
}

int DimeEditRecallOptions::get_orig_weight(DastOptions::Call call) const {
  int phonetics = 1;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &phonetics);
  return phonetics != 0 && call != DastOptions::EXACT ? origWeight : FULL_WEIGHT;
}

// ---------------------------------------------------------------- persistence

VInt DimeEditRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  for (const bool flag : {noGlob, noTranspose, subsetCont, allowWildcards}) file->put_bool(flag);
  file->put_int(origWeight);
  TeraEval::save_algorithm(evalAlgorithm, file);
  TeraEval::save_model(evalModel, file);
  return 0;
}

VInt DimeEditRecallOptions::read(AceFile* file) {
  DimeEditRecallOptions stored;
  const bool isOlder = file->preview_int() != magic_number(MAGIC);
  if (!isOlder) file->get_int();
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  if (!isOlder) {
    for (bool* flag : {&stored.noGlob, &stored.noTranspose, &stored.subsetCont, &stored.allowWildcards})
      *flag = file->get_bool();
    stored.origWeight = file->get_int();
    stored.evalAlgorithm = TeraEval::read_algorithm(file);
    stored.evalModel = TeraEval::read_model(file);
    if (file->is_short() || stored.origWeight < 0 || stored.origWeight > FULL_WEIGHT ||
        stored.evalAlgorithm == TeraEval::UNDEF || stored.evalModel == TeraEval::UNKNOWN)
      return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"EDROP\")", -1, 0, -1);
  }
  configure(stored);
  return 0;
}

int DimeEditMethod::parse_options(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  const int filter = parser->get_int_value("filter");
  if (filter < 0 || filter > TeraEdit::MAX_FILTER || parser->get_int_value("refine") < 0) {
    rep->ev_wprintf("A filter from 0 to %d and a refinement from 0 on expected, %d and %d found\n",
                    TeraEdit::MAX_FILTER, filter, parser->get_int_value("refine"));
    return -1;
  }
  const bool allowGlob = parser->get_bool_value("allow_glob");
  filterLog = filter;
  filterRefine = parser->get_int_value("refine");
  editFeatures = (parser->get_bool_value("secondary") ? 0 : IS_PRIMARY) | (allowGlob ? ALLOW_GLOB : 0);
  makeOpts = (allowGlob ? TeraEdit::ALLOW_ALT : 0) |
             (parser->get_bool_value("compact") ? TeraEdit::COMPACT : 0) |
             (parser->get_bool_value("plain_columns") ? TeraEdit::PLAIN_COLUMNS : 0);
  assign_alias_file(parser->get_string_value("alias"));
  assign_phonetics(parser->get_string_value("phonetics"));
  return 0;
}

void DimeEditMethod::assign_alias_file(const char* name) {
  aliasFile = is_given(name) ? name : "";
}

void DimeEditMethod::assign_phonetics(const char* name) {
  phoneTrafo = is_given(name) ? name : "";
}
