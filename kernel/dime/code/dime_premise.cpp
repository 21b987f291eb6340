#include "dime/dime_premise.h"

#include <pcre.h>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_parse_internal.h"
#include "tera/tera_eval.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr const char* OPTIONS_MAGIC = "PREOP";
constexpr int NO_INDEX = -2;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimePremiseMethod_constructor(
    []() -> DastBaseMethod* { return new DimePremiseMethod; }, DimePremiseMethod::NAME,
    DimePremiseMethod::MAGIC);
const bool parserIsListed = DimePremiseRecallOptions::get_parser() != nullptr;

/// Numbers with a letter, letters or a second number: as words of their own, and within others.
constexpr const char* SHAPES[] = {
    R"(\d+\s?(?:(?:\p{L}\s?(?:-\s?\p{L})?)|(?:-\s?\d+))?(?=[^0-9\p{L}]|$))",
    R"(\d+(?:(?:\s?\p{L}+(?:\s?-\s?\p{L}+)?)|(?:\s?-\s?\d+))?)",
};
constexpr int NUM_SHAPES = static_cast<int>(std::size(SHAPES));

/// A penalty, or the least quality that is shown, by name.
struct NumberOption {
  const char* name;
  int DimePremiseRecallOptions::*field;
  const char* help;
};
constexpr NumberOption NUMBER_OPTIONS[] = {
    {"missing_extension", &DimePremiseRecallOptions::missingExtension, "Penalty for a missing extension"},
    {"incorrect_extension", &DimePremiseRecallOptions::incorrectExtension, "Penalty for incorrect extension"},
    {"boundary_fault", &DimePremiseRecallOptions::boundaryFault,
     "Penalty for invalid range boundaries: Start and end have different parity"},
    {"parity_fault", &DimePremiseRecallOptions::parityFault, "Penalty for incorrect parity in range"},
    {"display_minqual", &DimePremiseRecallOptions::minDisplay, "Minimum value for display"}};

void declare_recall_options(AceOptionsParser* parser) {
  const DimePremiseRecallOptions defaults;
  parser->add_flag_option("extension_penalty", "Penalize extensions in query if entry contains a range");
  parser->add_flag_option("use_lcs", "Use LCS string comparison additionally");
  for (const NumberOption& option : NUMBER_OPTIONS)
    parser->add_int_option(option.name, defaults.*option.field, option.help);
}

void mark_artificial(TeraScanGraph* graph) {
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      if (edge->get_result() == nullptr) continue;
      for (auto* group = edge->get_result()->get_first_group(); group != nullptr; group = group->get_next())
        for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
          cand->add_state(TeraCand::ARTIFICIAL);
    }
}

}  // namespace

void DimePremiseMethod_init() {}

// ---------------------------------------------------------------- options

AceOptionsParser* DimePremiseRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimePremiseMethod::NAME, declare_recall_options);
  return listed.get();
}

DimePremiseRecallOptions DimePremiseRecallOptions::exact() {
  DimePremiseRecallOptions options;
  for (const NumberOption& option : NUMBER_OPTIONS) options.*option.field = TeraEval::PERFECT;
  options.penalizeExtensionInRange = true;
  return options;
}

bool DimePremiseRecallOptions::is_valid() const {
  for (const NumberOption& option : NUMBER_OPTIONS)
    if (this->*option.field < 0 || this->*option.field > TeraEval::PERFECT) return false;
  return true;
}

int DimePremiseRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimePremiseRecallOptions parsed;
  parsed.penalizeExtensionInRange = parser->get_bool_value("extension_penalty");
  parsed.useLcs = parser->get_bool_value("use_lcs");
  for (const NumberOption& option : NUMBER_OPTIONS) parsed.*option.field = parser->get_int_value(option.name);
  if (!parsed.is_valid()) {
    rep->ev_wprintf("Penalties and qualities from 0 to %d expected in '%s'\n", TeraEval::PERFECT,
                    config_string);
    return -1;
  }
  configure(parsed);
  return 0;
}

VInt DimePremiseRecallOptions::save(AceFile* file) const {
  file->put_magic(OPTIONS_MAGIC);
  for (const NumberOption& option : NUMBER_OPTIONS) file->put_int(this->*option.field);
  file->put_bool(penalizeExtensionInRange);
  file->put_bool(useLcs);
  return 0;
}

VInt DimePremiseRecallOptions::read(AceFile* file) {
  if (file->get_magic(OPTIONS_MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"PREOP\")", -1, 0, -1);
  DimePremiseRecallOptions stored;
  for (const NumberOption& option : NUMBER_OPTIONS) stored.*option.field = file->get_int();
  stored.penalizeExtensionInRange = file->get_bool();
  stored.useLcs = file->get_bool();
  if (file->is_short() || !stored.is_valid()) {
    AceReporter::use_default()->printf("Options of premises that are broken at offset %ld\n",
                                       file->get_pos());
    return -1;
  }
  configure(stored);
  return 0;
}

// ---------------------------------------------------------------- method

int DimePremiseMethod::init() {
  patternDetector.set_compile_options(PCRE_UTF8);  // without other digits than 0 to 9
  return patternDetector.init(NUM_SHAPES, SHAPES, nullptr, nullptr);
}

int DimePremiseMethod::configure_build_options(const char* options, const TeraMap*) {
  if (options != nullptr && options[0] != '\0') {
    AceReporter::use_default()->ev_wprintf("Unknown build option(s) for premise method: '%s'\n", options);
    return -1;
  }
  ACE_CALL(init());
  return 0;
}

int DimePremiseMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  if (const int rc = patternDetector.make(reader, flags, rep, filename); rc < 0)
    return ace_error(__FILE__, __LINE__, "patternDetector.make(reader, field_type, rep, filename)", rc, 0,
                     -1);
  return NO_INDEX;
}

TeraScanGraph* DimePremiseMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (query == nullptr || (call != DastOptions::FS_DETECT && call != DastOptions::FS_COMPLETE))
    return nullptr;
  TeraScanGraph* graph = patternDetector.lookup(query, call, rep);
  if (graph != nullptr) mark_artificial(graph);
  return graph;
}

TeraQuery* DimePremiseMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  return new DimePremiseQuery(query,
                              call == DastOptions::EXACT ? DimePremiseRecallOptions::exact() : recallOpts);
}

VInt DimePremiseMethod::save(AceFile* file) {
  file->put_magic(MAGIC);
  file->put_int(premiseFeatures);
  ACE_CALL(patternDetector.save(file));
  file->mem_point("Recall options");
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimePremiseMethod::read(AceFile* file) {
  if (const int version = file->get_magic(MAGIC); version < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"PREM1\")", version, 0, -1);
  premiseFeatures = file->get_int();
  ACE_CALL(patternDetector.read(file));
  ACE_CALL(recallOpts.read(file));
  return 0;
}
