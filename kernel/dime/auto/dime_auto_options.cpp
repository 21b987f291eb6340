// The options of the AUTO method: what can be said, and what the call modes make of it.
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_auto.h"
#include "dime/dime_detect_settings.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "AUROP";
constexpr int FULL_WEIGHT = 100;

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("no_glob", "Do not interpret wildcards or local alternatives");
  parser->add_flag_option("no_transpose", "Do not use transpose operations");
  parser->add_flag_option("split_unmapped", "In scan mode, use unmapped characters as separators");
  parser->add_int_option("orig_weight", 50, "The weight of the literal string recall when using phonetics");
  parser->add_int_option("max_edit", 2,
                         "Maximum number of edit operations to allow, should be between 1 and 3 inclusive");
  parser->add_string_option(
      "complete_markers", "",
      "If one of these characters is at the end of a query word try to complete this word");
  parser->add_string_option("add_seps", "",
                            "Separators within a string that make parts standalone access keys");
  parser->add_string_option("eval_type", TeraEval::get_mode_name(TeraEval::LEVENSHTEIN),
                            "Algorithm used for recall");
  parser->add_string_option("eval_model", TeraEval::get_model_name(TeraEval::REDUNDANT),
                            "Evaluation model used for recall");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("fast", "Compiles speed optimised version of structure");
  parser->add_flag_option("allow_wild", "Automaton may contain wild card characters (*?)");
  parser->add_flag_option("path_compress", "Optimize automaton using path compression");
  parser->add_string_option("alias", "", "File that has aliases with weights");
  parser->add_string_option("phonetics", "", "Phonetic transformation of index");
}

/// "" for null, "" and "{}".
std::string name_of(const char* text) {
  return text != nullptr && std::strcmp(text, "{}") != 0 ? text : "";
}

}  // namespace

AceOptionsParser* DimeAutoRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeAutoMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeAutoMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeAutoMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeAutoMethod::parse_options(const char* config_string) {
  const DimeParse parser(get_parser(), config_string, AceReporter::use_default());
  if (parser.has_failed()) return -1;
  makeOpt = (parser->get_bool_value("fast") ? FAST : 0) |
            (parser->get_bool_value("allow_wild") ? ALLOW_WILD : 0) |
            (parser->get_bool_value("path_compress") ? PATH_COMPRESS : 0);
  aliasFile = name_of(parser->get_string_value("alias"));
  phoneTrafo = name_of(parser->get_string_value("phonetics"));
  return 0;
}

int DimeAutoRecallOptions::apply(const char* config_string) {
  AceReporter* const rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep, "parser->parse(string, rep)");
  if (parser.has_failed()) return -1;
  DimeAutoRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.noGlob = parser->get_bool_value("no_glob");
  parsed.noTranspose = parser->get_bool_value("no_transpose");
  parsed.splitAtUnmapped = parser->get_bool_value("split_unmapped");
  parsed.completeMarkers = name_of(parser->get_string_value("complete_markers"));
  parsed.addSeparators = name_of(parser->get_string_value("add_seps"));
  parsed.maxEdit = parser->get_int_value("max_edit");
  parsed.origWeight = parser->get_int_value("orig_weight");
  parsed.evalMode = TeraEval::get_mode(parser->get_string_value("eval_type"), nullptr);
  parsed.evalModel = TeraEval::get_model_enum(parser->get_string_value("eval_model"));
  if (parsed.origWeight < 0 || parsed.origWeight > FULL_WEIGHT) {
    rep->ev_wprintf("A weight from 0 to 100 expected as orig_weight, %d found\n", parsed.origWeight);
    return -1;
  }
  if (parsed.evalModel == TeraEval::UNKNOWN) {
    rep->ev_wprintf("An evaluation model expected, '%s' found\n", parser->get_string_value("eval_model"));
    return -1;
  }
  configure(parsed);
  return 0;
}

// ---------------------------------------------------------------- the settings of a call

TeraEval::Model DimeAutoRecallOptions::get_eval_model(DastOptions::Call call) const {
  TeraEval::Model model = TeraEval::MAXIMUM;
  if (call == DastOptions::COMPLETE) return TeraEval::SHORT;
  if (call == DastOptions::APPROX) return evalModel;
  if (call == DastOptions::DETECT) return TeraEval::REDUNDANT;
  adjust_edit_detect_options(call, nullptr, &model, nullptr, nullptr, nullptr, nullptr, nullptr);
  return model;
}

TeraEval::Mode DimeAutoRecallOptions::get_eval_mode(DastOptions::Call call) const {
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;
  if (call == DastOptions::EXACT) return TeraEval::EXACT;
  if (call == DastOptions::COMPLETE) return TeraEval::PREFIX;
  if (call == DastOptions::APPROX) return evalMode;
  if (call == DastOptions::DETECT) return TeraEval::COVER;
  adjust_edit_detect_options(call, &mode, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  return mode;
}

// ---------------------------------------------------------------- persistence

VInt DimeAutoRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  for (const bool flag : {noGlob, noTranspose, splitAtUnmapped}) file->put_bool(flag);
  file->put_string(completeMarkers.c_str());
  file->put_string(addSeparators.c_str());
  file->put_int(origWeight);
  file->put_int(maxEdit);
  TeraEval::save_model(evalModel, file);
  TeraEval::save_algorithm(evalMode, file);
  return 0;
}

VInt DimeAutoRecallOptions::read(AceFile* file) {
  DimeAutoRecallOptions stored;
  const bool isOlder = file->preview_int() != magic_number(MAGIC);
  if (!isOlder) file->get_int();
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  if (!isOlder) {
    for (bool* flag : {&stored.noGlob, &stored.noTranspose, &stored.splitAtUnmapped})
      *flag = file->get_bool();
    AceAttach at;
    stored.completeMarkers = name_of(file->get_string(&at));
    stored.addSeparators = name_of(file->get_string(&at));
    stored.origWeight = file->get_int();
    stored.maxEdit = file->get_int();
    stored.evalModel = TeraEval::read_model(file);
    stored.evalMode = TeraEval::read_algorithm(file);
    if (file->is_short() || stored.origWeight < 0 || stored.origWeight > FULL_WEIGHT ||
        stored.evalMode == TeraEval::UNDEF || stored.evalModel == TeraEval::UNKNOWN)
      return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"AUROP\")", -1, 0, -1);
  }
  configure(stored);
  return 0;
}
