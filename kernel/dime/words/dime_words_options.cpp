// The options of the WORDS method: what can be said, and what the call modes make of it.
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_detect_settings.h"
#include "dime/dime_words.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "WOROP";
constexpr int PERCENT = 100;
constexpr int MAX_QUALITY = 255;

/// The recall parser, declared and listed once.
void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("reeval", "Ensure all words are hit approximately");
  parser->add_flag_option("no_teaser", "Do not generate a teaser");
  parser->add_flag_option("split_unmapped", "In scan mode, use unmapped characters as separators");
  parser->add_flag_option("decompose", "Trigger decomposition of single words");
  parser->add_flag_option("no_transpose", "Disables transpositions use pure levenshtein distance instead");
  parser->add_int_option("single_minqual", TeraMulti::SINGLE_MIN_QUAL,
                         "Minimum quality during single word recall");
  parser->add_int_option("single_maxedit", TeraMulti::SINGLE_MAX_EDIT,
                         "Maximum edit distance during automaton single word recall");
  parser->add_int_option("orig_weight", TeraMulti::ORIG_WEIGHT,
                         "Weight of the literal index as percentage when combining with phonetic hit");
  parser->add_string_option("complete_markers", nullptr, "Markers for word completion");
  parser->add_string_option("model", TeraEval::get_model_name(TeraEval::SHORT),
                            "Evaluation model during intersection of single word hits");
  parser->add_string_option("det_model", TeraEval::get_model_name(TeraEval::SHORT),
                            "Evaluation model during intersection of single word hits in detection");
  parser->add_string_option("eval_mode", TeraEval::get_mode_name(TeraEval::LEVENSHTEIN),
                            "Evaluation mode to be used in single words recall");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("unique",
                          "Build flag, set to true to avoid double occurrences of complete entries\n"
                          "Requires more memory at build time if set.\n"
                          "Note: Skipword frequency will be calculated based on number of unique entries.");
  parser->add_flag_option("unbound_recall", "Use the boundary free recall in approx mode");
  parser->add_flag_option("single_hits", "Allows quick lookup for single word hits");
  parser->add_flag_option("use_auto", "Use a TeraAuto instead of TeraEdit as single word index");
  parser->add_flag_option("merge_entries",
                          "Create decomposition aliases during index build by merging adjacent entry words");
  parser->add_int_option("add_len", 4,
                         "Minimum length of additional single word keys after splitting using add_sep");
  parser->add_int_option("sort", 80,
                         "Percentage of sortable items to be considered (default 80)\n"
                         "for reducing memory requirement during build put it down to 60");
  parser->add_int_option("skip", 10,
                         "Percentage of entries containing a given word to treat is as skip word");
  parser->add_int_option("filter", 3,
                         "Triggers generation of finer filters with specified granularity\n"
                         " in the inner edit structure");
  parser->add_int_option("refine", 150, "Determines whether filter optimisation is used");
  parser->add_char_option("sep", ' ', "Word separator character (e.g. space)");
  parser->add_string_option("add", nullptr, "Additional word separator (e.g. hyphen)");
  parser->add_string_option("phonetics", nullptr, "Type of phonetics used for extra comparison structure");
  parser->add_string_option("single_alias_file", nullptr, "A file that keeps aliases for single words");
  parser->add_string_option("skip_export_file", nullptr,
                            "A file in that that used skipwords will be written");
  parser->add_string_option("skip_file", nullptr,
                            "File that holds a list of words that shall be treated as skip words");
}

/// Lists the parsers while the library is loaded, so that they are found by name.
const bool parsersAreListed =
    DimeWordsRecallOptions::get_parser() != nullptr && DimeWordsMethod::get_parser() != nullptr;

/// A text, none for "{}".
std::string text_of(const AceOptionsParser& parser, const char* name) {
  const char* text = parser.get_string_value(name);
  return text != nullptr && std::strcmp(text, "{}") != 0 ? text : "";
}

bool is_model(TeraEval::Model model, const char* name) {
  if (model != TeraEval::UNKNOWN) return true;
  AceReporter::use_default()->ev_wprintf("An evaluation model expected, '%s' found\n", name);
  return false;
}

}  // namespace

AceOptionsParser* DimeWordsRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeWordsMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeWordsMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeWordsMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeWordsRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeWordsRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.doReeval = parser->get_bool_value("reeval");
  parsed.noTeaser = parser->get_bool_value("no_teaser");
  parsed.splitAtUnmapped = parser->get_bool_value("split_unmapped");
  parsed.doDecompose = parser->get_bool_value("decompose");
  parsed.noTranspose = parser->get_bool_value("no_transpose");
  parsed.singleMinQual = parser->get_int_value("single_minqual");
  parsed.singleMaxEdit = parser->get_int_value("single_maxedit");
  parsed.origWeight = parser->get_int_value("orig_weight");
  parsed.completeMarkers = text_of(*parser, "complete_markers");
  parsed.evalModel = TeraEval::get_model_enum(parser->get_string_value("model"));
  parsed.detModel = TeraEval::get_model_enum(parser->get_string_value("det_model"));
  parsed.evalMode = TeraEval::get_mode(parser->get_string_value("eval_mode"), nullptr);
  if (!is_model(parsed.evalModel, parser->get_string_value("model")) ||
      !is_model(parsed.detModel, parser->get_string_value("det_model")))
    return -1;
  if (!parsed.is_valid()) {
    rep->ev_wprintf(
        "Qualities from 0 to 255, weights from 0 to 100 and 1 to %d candidates expected in '%s'\n",
        DimeRecallOptions::MOST_CANDS, config_string);
    return -1;
  }
  configure(parsed);
  return 0;
}

bool DimeWordsRecallOptions::is_valid() const {
  return singleMinQual >= 1 && singleMinQual <= MAX_QUALITY && origWeight >= 0 && origWeight <= PERCENT &&
         evalMode != TeraEval::UNDEF && evalModel != TeraEval::UNKNOWN && detModel != TeraEval::UNKNOWN &&
         TeraEval::get_model_func(evalModel, 0) != nullptr &&
         TeraEval::get_model_func(detModel, 0) != nullptr;
}

// ---------------------------------------------------------------- the settings of a call
// Calls that want what is the same, or whole, overrule what was set for all.

int DimeWordsRecallOptions::get_min_value(DastOptions::Call call) const {
  int value = primaryOptions.minValue;
  adjust_edit_detect_options(call, nullptr, nullptr, &value, nullptr, nullptr, nullptr, nullptr);
  return value;
}

int DimeWordsRecallOptions::get_max_dist(DastOptions::Call call) const {
  int value = primaryOptions.maxDist;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, &value, nullptr, nullptr, nullptr);
  return value;
}

int DimeWordsRecallOptions::get_num_cands(DastOptions::Call call) const {
  int value = primaryOptions.numCands;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, nullptr, &value, nullptr, nullptr);
  return value;
}

TeraEval::Model DimeWordsRecallOptions::get_eval_model(DastOptions::Call call) const {
  if (call == DastOptions::COMPLETE) return TeraEval::SHORT;
  if (call == DastOptions::DETECT) return TeraEval::LONG;
  TeraEval::Model model = evalModel;
  adjust_edit_detect_options(call, nullptr, &model, nullptr, nullptr, nullptr, nullptr, nullptr);
  return model;
}

TeraEval::Mode DimeWordsRecallOptions::get_eval_mode(DastOptions::Call call) const {
  TeraEval::Mode mode = evalMode;
  adjust_edit_detect_options(call, &mode, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  return mode;
}

bool DimeWordsRecallOptions::get_no_transpose(DastOptions::Call call) const {
  int transpose = noTranspose ? 0 : 1;
  adjust_edit_detect_options(call, nullptr, nullptr, nullptr, nullptr, nullptr, &transpose, nullptr);
  return transpose == 0;
}

int DimeWordsRecallOptions::get_options(DastOptions::Call call) const {
  const auto bit = [](bool isSet, int option) { return isSet ? option : 0; };
  return bit(!get_no_transpose(call), TeraMulti::TRANSPOSE) |
         bit(doReeval && call != DastOptions::DETECT, TeraMulti::REEVALUATE) |
         bit(noTeaser, TeraMulti::NO_TEASER) | bit(splitAtUnmapped, TeraMulti::SPLIT_UNMAPPED) |
         bit(doDecompose, TeraMulti::DECOMPOSE) |
         bit(call == DastOptions::COMPLETE || call == DastOptions::FS_COMPLETE, TeraMulti::COMPLETE);
}

// ---------------------------------------------------------------- persistence
// One value after the other, behind a magic number.

VInt DimeWordsRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  for (const bool flag : {doReeval, noTeaser, splitAtUnmapped, noTranspose}) file->put_bool(flag);
  file->put_string(completeMarkers.empty() ? nullptr : completeMarkers.c_str());
  for (const int value : {singleMinQual, singleMaxEdit, origWeight}) file->put_int(value);
  TeraEval::save_model(evalModel, file);
  TeraEval::save_model(detModel, file);
  TeraEval::save_algorithm(evalMode, file);
  file->put_bool(doDecompose);
  return 0;
}

VInt DimeWordsRecallOptions::read(AceFile* file) {
  DimeWordsRecallOptions stored;
  if (file->get_magic(MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"WOROP\")", -1, 0, -1);
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  for (bool* flag : {&stored.doReeval, &stored.noTeaser, &stored.splitAtUnmapped, &stored.noTranspose})
    *flag = file->get_bool();
  AceAttach at;
  const char* markers = file->get_string(&at);
  stored.completeMarkers = markers != nullptr ? markers : "";
  for (int* value : {&stored.singleMinQual, &stored.singleMaxEdit, &stored.origWeight})
    *value = file->get_int();
  stored.evalModel = TeraEval::read_model(file);
  stored.detModel = TeraEval::read_model(file);
  stored.evalMode = TeraEval::read_algorithm(file);
  stored.doDecompose = file->get_bool();
  if (file->is_short() || !stored.is_valid())
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"WOROP\")", -1, 0, -1);
  configure(stored);
  return 0;
}

// ---------------------------------------------------------------- building
// What shapes the index itself, and cannot be changed in a recall.

int DimeWordsMethod::parse_options(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  const int filter = parser->get_int_value("filter");
  const int sort = parser->get_int_value("sort");
  if (filter < 0 || filter > TeraEdit::MAX_FILTER || parser->get_int_value("refine") < 0 || sort < 1 ||
      sort > PERCENT || parser->get_int_value("skip") < 0 || parser->get_int_value("add_len") < 1) {
    rep->ev_wprintf(
        "A filter from 0 to %d, a refinement and a share of skip words from 0 on, a share from 1 to 100 to "
        "sort "
        "and parts of at least 1 character expected in '%s'\n",
        TeraEdit::MAX_FILTER, config_string);
    return -1;
  }
  doUnique = parser->get_bool_value("unique");
  unboundRecall = parser->get_bool_value("unbound_recall");
  useAuto = parser->get_bool_value("use_auto");
  wordsFeatures = (parser->get_bool_value("single_hits") ? HAS_DIRECT_HIT : 0) |
                  (parser->get_bool_value("merge_entries") ? MERGE_ENTRIES : 0);
  addLen = parser->get_int_value("add_len");
  sortPercent = sort;
  skipPercent = parser->get_int_value("skip");
  editFilter = filter;
  refineEdit = parser->get_int_value("refine");
  sepChar = parser->get_char_value("sep");
  addSep = text_of(*parser, "add");
  phoneTrafo = text_of(*parser, "phonetics");
  singleAlias = text_of(*parser, "single_alias_file");
  skipExport = text_of(*parser, "skip_export_file");
  skipFile = text_of(*parser, "skip_file");
  return 0;
}
