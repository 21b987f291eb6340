#include "dime/dime_number.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <memory>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_id_map.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_magic_constructor.h"
#include "dime/dime_detect_settings.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_map_config.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_standard_query.h"

namespace {

constexpr int INDEX_FILTER = 3;
constexpr int INDEX_REFINE = 400;
constexpr int FULL_WEIGHT = 100;
constexpr int NO_STRINGS = -2;
constexpr char WILDCARDS[] = "*?";

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeNumberMethod_constructor(
    []() -> DastBaseMethod* { return new DimeNumberMethod; }, DimeNumberMethod::NAME,
    DimeNumberMethod::MAGIC);
const bool parsersAreListed =
    DimeNumberRecallOptions::get_parser() != nullptr && DimeNumberMethod::get_parser() != nullptr;

/// Hexadecimal digits; only letters that are none may stand for the digit that they look like, or codes would
/// collapse.
const TeraMap& number_map() {
  static const auto map = [] {
    constexpr const char* lookAlikes[][2] = {{"0", "Oo"}, {"1", "IilL"}, {"2", "zZ"},
                                             {"5", "Ss"}, {"6", "G"},    {"9", "g"}};
    TeraMapConfig config("ascii");
    config.set_tokens("0-9A-F");
    for (const auto& [digit, letters] : lookAlikes) config.set_map(digit, letters);
    config.map_upper();
    config.map_globs(WILDCARDS);
    auto made = std::make_unique<TeraMap>();
    config.compile_map(made.get());
    return made;
  }();
  return *map;
}

/// The digit that each byte stands for; 0 for those that stand for none.
const std::array<char, 256>& digit_table() {
  static const auto table = [] {
    std::array<char, 256> digits{};
    for (std::size_t byte = 1; byte < digits.size(); ++byte) {
      const char text[] = {static_cast<char>(byte), '\0'};
      AceAttach at;
      digits[byte] = number_map().normalize(text, true, &at)[0];
    }
    return digits;
  }();
  return table;
}

bool has_wildcard(const char* text) {
  return std::strpbrk(text, WILDCARDS) != nullptr;
}

/// How query objects measure: as configured, whatever look-ups make of most calls.
struct Measure {
  Measure(DastOptions::Call call, const DimeNumberRecallOptions& configured)
      : mode(configured.get_eval_algorithm()), model(configured.get_eval_model()) {
    int transpose = configured.get_do_transpose() ? 1 : 0;
    adjust_edit_detect_options(call, &mode, &model, nullptr, nullptr, nullptr, &transpose, nullptr);
    if (call == DastOptions::EXACT) mode = TeraEval::EXACT;
    hasSwaps = transpose != 0 && call != DastOptions::EXACT;
  }
  /// Whether it gives no value more than a look-up does.
  bool is_within(const DimeNumberRecallOptions& lookup) const {
    const bool isLess = model == TeraEval::MAXIMUM && lookup.get_eval_model() == TeraEval::ENTRY;
    return mode == lookup.get_eval_algorithm() && (model == lookup.get_eval_model() || isLess) &&
           (!hasSwaps || lookup.get_do_transpose()) && TeraEdit::is_measured_alike(mode);
  }

  TeraEval::Mode mode;
  TeraEval::Model model;
  bool hasSwaps;
};

/// Lines with their values filled; notes the first value that the index cannot keep.
class LeadingReader : public TeraReader {
 public:
  LeadingReader(TeraReader* reader, const DimeNumberMethod* method) : refConfig(method), origReader(reader) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    const int rc = origReader->get_line(string, info, line);
    if (rc <= 0 || (*string)[0] == '\0') return rc;
    const char* value = *string;
    *string = refConfig->add_leading(value, &filled);
    if (firstLost.empty() && number_map().tok_len(*string, true) > TeraEdit::MAX_POSITIONS) firstLost = value;
    return rc;
  }
  int rewind() override { return origReader->rewind(); }
  VInt get_estimate() override { return origReader->get_estimate(); }
  const std::string& get_first_lost() const { return firstLost; }

 private:
  const DimeNumberMethod* refConfig;
  TeraReader* origReader;
  std::string filled;
  std::string firstLost;
};

/// Fills what it compares; a pattern compares what is left without filling.
class LeadingQuery : public TeraStandardQuery {
 public:
  LeadingQuery(const char* query, TeraEval::Mode mode, TeraEval::Model model, int options, bool is_pattern,
               const DimeNumberMethod* method)
      : TeraStandardQuery(query, mode, model, method->get_map(), options),
        refConfig(method),
        isPattern(is_pattern) {}

  int compare(const char* entry) override {
    if (entry == nullptr || entry[0] == '\0') return std::min(TeraStandardQuery::compare(entry), 0);
    const char* compared =
        isPattern ? refConfig->strip_leading(entry, &scratch) : refConfig->add_leading(entry, &scratch);
    return TeraStandardQuery::compare(compared);
  }
  using TeraStandardQuery::compare;
  char* display(const char* entry, AceAttach* at) const override {
    AceAttach filled;
    return TeraStandardQuery::display(entry != nullptr ? refConfig->add_leading(entry, &filled) : nullptr,
                                      at);
  }
  bool equals(const char* entry) const override {
    if (entry == nullptr || get_query() == nullptr) return false;
    if (isPattern) {  // what matches it is what is asked for
      LeadingQuery same(get_query(), TeraEval::WILDCARD, TeraEval::QUERY, 0, true, refConfig);
      return same.compare(entry) == TeraEval::PERFECT;
    }
    AceAttach filled;
    return refConfig->get_map()->tok_len(get_query(), true) > 0 &&
           refConfig->get_map()->strings_are_equal(refConfig->add_leading(get_query(), &filled),
                                                   refConfig->add_leading(entry, &filled)) != 0;
  }

 private:
  const DimeNumberMethod* refConfig;
  bool isPattern;
  std::string scratch;
};

}  // namespace

void DimeNumberMethod_init() {}

const TeraMap* DimeNumberMethod::get_map() const {
  return &number_map();
}

int DimeNumberMethod::configure_build_options(const char* options, const TeraMap*) {
  if (parse_options(options) < 0)
    return ace_error(__FILE__, __LINE__, "parse_options(config_string)", -1, 0, -1);
  return 0;
}

// ---------------------------------------------------------------- filling
// Numbers of one length are filled with leading characters, so that 47 and 0047 are the same.

std::size_t DimeNumberMethod::num_missing(const char* text) const {
  const auto& digits = digit_table();
  int numThere = 0;
  for (; *text != '\0'; ++text) numThere += digits[static_cast<unsigned char>(*text)] != '\0' ? 1 : 0;
  return numThere > 0 && numThere < numDigits ? static_cast<std::size_t>(numDigits - numThere) : 0;
}

const char* DimeNumberMethod::add_leading(const char* text, AceAttach* at) const {
  std::string filled;
  const char* result = add_leading(text, &filled);
  return result == text ? text : at->attach(result);
}

const char* DimeNumberMethod::add_leading(const char* text, std::string* scratch) const {
  const std::size_t missing = num_missing(text);
  if (missing == 0) return text;
  scratch->assign(missing, leadingChar);
  return scratch->append(text).c_str();
}

const char* DimeNumberMethod::strip_leading(const char* text, std::string* scratch) const {
  const auto& digits = digit_table();
  scratch->clear();
  for (; *text != '\0'; ++text)
    if (const char digit = digits[static_cast<unsigned char>(*text)]; digit != '\0')
      scratch->push_back(digit);
  const std::size_t first = scratch->find_first_not_of(digits[static_cast<unsigned char>(leadingChar)]);
  scratch->erase(0, first != std::string::npos ? first : std::max<std::size_t>(scratch->size(), 1) - 1);
  return scratch->c_str();
}

const char* DimeNumberMethod::bare_pattern(const char* query) const {
  const auto& digits = digit_table();
  const auto digit_of = [&](char c) { return digits[static_cast<unsigned char>(c)]; };
  const char* rest = query;
  while (*rest != '\0' && std::strchr(WILDCARDS, *rest) == nullptr &&
         (digit_of(*rest) == '\0' || digit_of(*rest) == digit_of(leadingChar)))
    ++rest;
  return rest;
}

int DimeNumberMethod::make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) {
  LeadingReader lreader(reader, this);
  if (const int rc = editStruct.make(&lreader, &number_map(), INDEX_FILTER, INDEX_REFINE, 0, 0, rep, nullptr);
      rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = editStruct.make(&lreader, map, 3, 400, type, 0, rep, nullptr)",
                     rc, 0, -1);
  if ((flags & DastFieldFlags::IN_INDEX_STORAGE) == 0 || lreader.get_first_lost().empty()) return 0;
  rep->printf("%s: '%s' cannot be given back by the index, which keeps up to %d digits\n",
              filename != nullptr ? filename : NAME, lreader.get_first_lost().c_str(),
              TeraEdit::MAX_POSITIONS);
  return NO_STRINGS;
}

// ---------------------------------------------------------------- queries
// A query is filled like a value; a pattern is not, as what it leaves out may be at its beginning.

TeraQuery* DimeNumberMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  const bool takesWildcards = recallOpts.get_allow_wildcards() || call == DastOptions::EXACT;
  if (takesWildcards && has_wildcard(query))
    return new LeadingQuery(bare_pattern(query), TeraEval::WILDCARD, TeraEval::QUERY, 0, true, this);
  const Measure measure(call, recallOpts);
  AceAttach at;
  const char* filled = recallOpts.get_no_normalization() ? query : add_leading(query, &at);
  const int options = TeraEdit::NO_OPERATORS | (measure.hasSwaps ? TeraEdit::TRANSPOSE : 0);
  return new LeadingQuery(filled, measure.mode, measure.model, options, false, this);
}

TeraScanGraph* DimeNumberMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (editStruct.get_num_entries() == 0 || query == nullptr) return nullptr;
  const DimeNumberRecallOptions options(call, recallOpts);
  const bool isPattern = options.get_allow_wildcards() && has_wildcard(query);
  AceAttach at;
  const bool isFilled = !options.get_no_normalization() && !isPattern;
  const char* asked = isFilled ? add_leading(query, &at) : query;
  const DimeRecallOptions& limits = options.get_primary();
  auto result =
      std::make_unique<TeraResult>(asked, limits.minValue, limits.numCands, limits.maxDist, nullptr);
  result->use_collection();
  const TeraQueryRef tquery(eval(call, asked, rep));
  if (tquery == nullptr) {
    ace_error_msg(__FILE__, __LINE__, "tquery = eval(mode, query, rep)", -1);
    return nullptr;
  }
  const int rc = isPattern ? recall_pattern(result.get(), bare_pattern(query), tquery.get(), rep)
                           : recall(result.get(), asked, options, rep);
  if (rc < 0) {
    ace_error_msg(__FILE__, __LINE__,
                  "editStruct.recall(result, eval_mode, eval_model, 0, 0, options, 100, rep)", rc);
    return nullptr;
  }
  const bool isFilledAlike = options.get_no_normalization() == recallOpts.get_no_normalization();
  if (!isPattern && (!isFilledAlike || !Measure(call, recallOpts).is_within(options)))
    result->set_best_frequent(TeraEval::PERFECT);
  result->add_query(tquery.get(), 1);
  return dime_resolved_graph(std::move(result), query);
}

int DimeNumberMethod::recall(TeraResult* result, const char* query, const DimeNumberRecallOptions& options,
                             AceReporter* rep) const {
  if (query[0] == '\0') return 0;
  const int flags = TeraEdit::NO_OPERATORS | (options.get_do_transpose() ? TeraEdit::TRANSPOSE : 0);
  return editStruct.recall(result, options.get_eval_algorithm(), options.get_eval_model(), 0, 0, flags,
                           FULL_WEIGHT, rep);
}

/// What ends as the pattern says, in spite of any filling, is found by the index; the query object then looks
/// at where it begins.
int DimeNumberMethod::recall_pattern(TeraResult* result, const char* query, TeraQuery* object,
                                     AceReporter* rep) const {
  TeraResult ending((std::string("*") + query).c_str(), result);
  const int rc = editStruct.recall(&ending, TeraEval::WILDCARD, TeraEval::QUERY, 0, 0, 0, FULL_WEIGHT, rep);
  if (rc < 0) return rc;
  ending.remove_any([&](const TeraCand* cand) {
    return cand->get_string() == nullptr || object->compare(cand->get_string()) <= 0;
  });
  return result->add_cands_from(&ending);
}

// ---------------------------------------------------------------- items
// Items are the entries of the index, in its order.

const char* DimeNumberMethod::show(Large id, AceAttach* at) const {
  const AceIdMap* infos = editStruct.get_info_handle();
  const Large slot = infos != nullptr ? infos->get_index(id) : AceIdMap::NONE;
  return slot != AceIdMap::NONE ? editStruct.get_string(slot, at) : nullptr;
}

int DimeNumberMethod::get_items(int pos, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  const AceIdMap* infos = editStruct.get_info_handle();
  return infos != nullptr && pos >= 0 ? static_cast<int>(infos->get_array(static_cast<Large>(pos), ids)) : 0;
}

const char* DimeNumberMethod::get_item(int pos, AceAttach* at) const {
  return pos >= 0 && pos < get_num_items() ? editStruct.get_string(static_cast<Large>(pos), at) : nullptr;
}

// ---------------------------------------------------------------- persistence
// How numbers are filled, the index, and the options of recalls.

VInt DimeNumberMethod::save(AceFile* file) {
  file->put_int(numberFeatures);
  file->put_int(numDigits);
  file->put_char(leadingChar);
  file->mem_point("Main Structure");
  if (const VInt rc = editStruct.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = editStruct.save(file)", static_cast<int>(rc), 0, -1);
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimeNumberMethod::read(AceFile* file) {
  numberFeatures = file->get_int();
  numDigits = file->get_int();
  leadingChar = file->get_char();
  if (file->is_short() || numDigits < 0 || numDigits > MAX_DIGITS ||
      std::isxdigit(static_cast<unsigned char>(leadingChar)) == 0) {
    AceReporter::use_default()->printf("Number method that is broken at offset %ld: %d digits, led by %d\n",
                                       file->get_pos(), numDigits, leadingChar);
    numDigits = 0;
    return -1;
  }
  if (const VInt rc = editStruct.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "rc = editStruct.read(file)", static_cast<int>(rc), 0, -1);
  ACE_CALL(recallOpts.read(file));
  return 0;
}
