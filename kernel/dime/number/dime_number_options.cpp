// The options of the NUMBER method: what can be said, and what the call modes make of it.
#include <cctype>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_detect_settings.h"
#include "dime/dime_number.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "NUROP";

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("do_transpose", "Allow transpositions");
  parser->add_flag_option("no_normalization", "Do not fill string with leading zeros");
  parser->add_flag_option("allow_wildcards", "Allows wildcards in query string");
  parser->add_string_option("eval_type", TeraEval::get_mode_name(TeraEval::SEQ),
                            "Evaluation algorithm to be used");
  parser->add_string_option("eval_model", TeraEval::get_model_name(TeraEval::MAXIMUM),
                            "Evaluation model to be used");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_int_option("num_digits", 10, "String length to which strings have to be filled up to");
  parser->add_char_option("leading", '0', "Character to be used to fill prefix");
}

}  // namespace

AceOptionsParser* DimeNumberRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeNumberMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeNumberMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeNumberMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeNumberRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeNumberRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.doTranspose = parser->get_bool_value("do_transpose");
  parsed.noNormalization = parser->get_bool_value("no_normalization");
  parsed.allowWildcards = parser->get_bool_value("allow_wildcards");
  parsed.evalAlgorithm = TeraEval::get_mode(parser->get_string_value("eval_type"), nullptr);
  parsed.evalModel = TeraEval::get_model_enum(parser->get_string_value("eval_model"));
  if (parsed.evalModel == TeraEval::UNKNOWN) {
    rep->ev_wprintf("An evaluation model expected, '%s' found\n", parser->get_string_value("eval_model"));
    return -1;
  }
  configure(parsed);
  return 0;
}

void DimeNumberRecallOptions::take_row(DastOptions::Call call) {
  int transpose = doTranspose ? 1 : 0;
  adjust_edit_detect_options(call, &evalAlgorithm, &evalModel, &primaryOptions.minValue,
                             &primaryOptions.maxDist, &primaryOptions.numCands, &transpose, nullptr);
  doTranspose = transpose != 0;
}

DimeNumberRecallOptions::DimeNumberRecallOptions(DastOptions::Call call,
                                                 const DimeNumberRecallOptions& configured)
    : DimeNumberRecallOptions(configured) {
  switch (call) {
    case DastOptions::EXACT:
      allowWildcards = true;
      doTranspose = false;
      evalModel = TeraEval::MAXIMUM;
      evalAlgorithm = TeraEval::EXACT;
      break;
    case DastOptions::COMPLETE:
      noNormalization = true;
      evalModel = TeraEval::QUERY;
      evalAlgorithm = TeraEval::FACTOR;
      break;
    case DastOptions::DETECT:
      evalModel = TeraEval::ENTRY;
      break;
    case DastOptions::DETECT0:  // as configured
      break;
    default:
      take_row(call);  // nothing unless it is another row
  }
}

VInt DimeNumberRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  for (const bool flag : {doTranspose, noNormalization, allowWildcards}) file->put_bool(flag);
  TeraEval::save_algorithm(evalAlgorithm, file);
  TeraEval::save_model(evalModel, file);
  return 0;
}

VInt DimeNumberRecallOptions::read(AceFile* file) {
  if (file->get_magic(MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"NUROP\")", -1, 0, -1);
  DimeNumberRecallOptions stored;
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  for (bool* flag : {&stored.doTranspose, &stored.noNormalization, &stored.allowWildcards})
    *flag = file->get_bool();
  stored.evalAlgorithm = TeraEval::read_algorithm(file);
  stored.evalModel = TeraEval::read_model(file);
  if (file->is_short() || stored.evalAlgorithm == TeraEval::UNDEF || stored.evalModel == TeraEval::UNKNOWN) {
    AceReporter::use_default()->printf("Options of digit strings that are broken at offset %ld\n",
                                       file->get_pos());
    return -1;
  }
  configure(stored);
  return 0;
}

int DimeNumberMethod::parse_options(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  const int digits = parser->get_int_value("num_digits");
  const char leading = parser->get_char_value("leading");
  if (digits < 0 || digits > MAX_DIGITS || std::isxdigit(static_cast<unsigned char>(leading)) == 0) {
    rep->ev_wprintf("0 to %d digits, led by a hexadecimal digit, expected; %d, led by '%c', found\n",
                    MAX_DIGITS, digits, leading);
    return -1;
  }
  numDigits = digits;
  leadingChar = leading;
  return 0;
}
