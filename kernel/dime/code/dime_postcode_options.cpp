// The options of the POSTCODE method.
#include <algorithm>
#include <charconv>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_postcode.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "PCROP";
constexpr int MAX_PENALTY = 255;

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("no_glob", "Don't use '[' and ']' for local alternatives");
  parser->add_flag_option("no_transpose", "Deactivate transposition of characters");
  parser->add_flag_option("leven_comp", "Use the Levenshtein based variable position comparison");
  parser->add_int_option("restricted_length", 2, "Minimum quality during single word recall");
  parser->add_int_option("auto_max_edit", 3, "Maximum edit distance of the automaton");
  parser->add_int_option("lead_zero_pen", 20, "Penalty for leading zero correction");
  parser->add_int_option("length_pen", 0, "Penalty for length differences of query and entry");
  parser->add_string_option("eval_mode", TeraEval::get_mode_name(TeraEval::LEVENSHTEIN),
                            "Evaluation algorithm to be used in the recall");
  parser->add_string_option("weight_str", "5-4-3-2-1",
                            "String representing position weights (example '5-4-3-2-1')");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

bool is_penalty(int value) {
  return value >= 0 && value <= MAX_PENALTY;
}

}  // namespace

AceOptionsParser* DimePostCodeRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimePostCodeMethod::NAME,
                                 declare_recall_options);
  return listed.get();
}

int DimePostCodeRecallOptions::set_weights(const char* text) {
  std::string_view rest = text != nullptr ? text : "";
  std::array<int, MAX_WEIGHTS> weights{};
  int num = 0;
  int total = 0;
  for (bool isMore = true; isMore; ++num) {
    const std::size_t end = std::min(rest.find('-'), rest.size());
    const std::string_view piece = rest.substr(0, end);
    int weight = -1;
    const auto [behind, error] = std::from_chars(piece.data(), piece.data() + piece.size(), weight);
    const bool isNumber = error == std::errc() && behind == piece.data() + piece.size();
    if (num == MAX_WEIGHTS || !isNumber || weight < 0 || weight > MAX_WEIGHT) {
      total = 0;
      break;
    }
    weights[static_cast<std::size_t>(num)] = weight;
    total += weight;
    isMore = end < rest.size();
    rest.remove_prefix(isMore ? end + 1 : end);
  }
  if (total <= 0) {
    AceReporter::use_default()->ev_wprintf(
        "1 to %d weights from 0 to %d, not all 0, with '-' between expected, '%s' found\n", MAX_WEIGHTS,
        MAX_WEIGHT, text != nullptr ? text : "");
    return -1;
  }
  std::fill(weights.begin() + num, weights.end(), weights[static_cast<std::size_t>(num) - 1]);
  expectedLen = num;
  totalWeight = total;
  weightsArray = weights;
  return 0;
}

int DimePostCodeRecallOptions::apply(const char* config_string) {
  AceReporter* const rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimePostCodeRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.noGlob = parser->get_bool_value("no_glob");
  parsed.noTranspose = parser->get_bool_value("no_transpose");
  parsed.levenComp = parser->get_bool_value("leven_comp");
  parsed.restrictedLength = parser->get_int_value("restricted_length");
  parsed.autoMaxEdit = parser->get_int_value("auto_max_edit");
  parsed.leadZeroPenalty = parser->get_int_value("lead_zero_pen");
  parsed.lengthPenalty = parser->get_int_value("length_pen");
  parsed.evalMode = TeraEval::get_mode(parser->get_string_value("eval_mode"), nullptr);
  if (!is_penalty(parsed.leadZeroPenalty) || !is_penalty(parsed.lengthPenalty)) {
    rep->ev_wprintf("Penalties from 0 to %d expected, %d and %d found\n", MAX_PENALTY, parsed.leadZeroPenalty,
                    parsed.lengthPenalty);
    return -1;
  }
  if (parsed.set_weights(parser->get_string_value("weight_str")) < 0)
    return ace_error(__FILE__, __LINE__, "set_weights(weight_str)", -1, 0, -1);
  configure(parsed);
  return 0;
}

// ---------------------------------------------------------------- persistence

VInt DimePostCodeRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  for (const bool flag : {noGlob, noTranspose, levenComp}) file->put_bool(flag);
  for (const int value : {autoMaxEdit, restrictedLength, leadZeroPenalty, lengthPenalty})
    file->put_int(value);
  TeraEval::save_algorithm(evalMode, file);
  file->put_int(expectedLen);
  file->put_int(totalWeight);
  for (const int weight : weightsArray) file->put_int(weight);
  return 0;
}

VInt DimePostCodeRecallOptions::read(AceFile* file) {
  if (file->get_magic(MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"PCROP\")", -1, 0, -1);
  DimePostCodeRecallOptions stored;
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  for (bool* flag : {&stored.noGlob, &stored.noTranspose, &stored.levenComp}) *flag = file->get_bool();
  for (int* value :
       {&stored.autoMaxEdit, &stored.restrictedLength, &stored.leadZeroPenalty, &stored.lengthPenalty})
    *value = file->get_int();
  stored.evalMode = TeraEval::read_algorithm(file);
  stored.expectedLen = file->get_int();
  stored.totalWeight = file->get_int();
  for (int& weight : stored.weightsArray) weight = file->get_int();
  const bool areWeights = std::all_of(stored.weightsArray.begin(), stored.weightsArray.end(),
                                      [](int weight) { return weight >= 0 && weight <= MAX_WEIGHT; });
  if (file->is_short() || !areWeights || stored.expectedLen < 1 || stored.expectedLen > MAX_WEIGHTS ||
      !is_penalty(stored.leadZeroPenalty) || !is_penalty(stored.lengthPenalty) ||
      stored.evalMode == TeraEval::UNDEF) {
    AceReporter::use_default()->printf("Options of a postcode method broken before offset %ld: %d weights\n",
                                       file->get_pos(), stored.expectedLen);
    return -1;
  }
  configure(stored);
  return 0;
}
