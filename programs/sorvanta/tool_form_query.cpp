#include "sorvanta/tool_form_query.h"

#include <algorithm>

#include "dare/dare_session.h"
#include "dast/dast_base_field.h"
#include "dast/dast_base_method.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "tera/tera_cand.h"
#include "tera/tera_map.h"
#include "tera/tera_result.h"
#include "tera/tera_word.h"

namespace {

constexpr int PERFECT = 255;
constexpr int WORD_QUALITY = 150;
constexpr Large MOST_LINES = 5;  // of a word, shown
constexpr int OWN_WEIGHT = 50;
constexpr const char* NOT_ASKED = "-";
constexpr const char* FREE = "+";
constexpr const char* UNANSWERED = "the query cannot be answered";
constexpr int FREE_QUALITY = 200;         // of a value that is found in a text
constexpr int FREE_RECORD_QUALITY = 100;  // words may belong to another field

const char* reason_name(int reason) {
  switch (reason) {
    case TeraEval::MISSING_PREFIX:
      return "beginning missing";
    case TeraEval::EXTRA_PREFIX:
      return "more in front";
    case TeraEval::MISSING_SUFFIX:
      return "end missing";
    case TeraEval::EXTRA_SUFFIX:
      return "more behind";
    case TeraEval::VARIATION:
      return "variation";
    case TeraEval::TYPING_ERROR:
      return "typing error";
    case TeraEval::CAPITALIZATION:
      return "capitals";
    case TeraEval::WORD_REORDER:
      return "order of words";
    default:
      return "abbreviation";
  }
}

/// Whether words of a text can be values of the field: those of numbers have a digit.
bool can_be_in(const TargetField& field, const std::string& text) {
  const bool isNumber = field.method == "NUMBER" || field.method == "DOUBLE" || field.method == "DIRECT";
  return !isNumber || std::any_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Of a query of words; an operator is in the second byte of what a map has for its character.
std::string word_operators(const TeraMap& map) {
  std::string found;
  for (const char c : std::string("?*[]")) {
    const auto entry = map.map_any_char(c);
    if ((entry & 0xFF) == 0 && map.is_operator(static_cast<int>(entry >> 8 & 0xFF))) found += c;
  }
  return found;
}

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

FormQuery::FormQuery(Target* target, const QueryLimits& limits)
    : askedTarget(target), queryLimits(limits), session(target->make_session()) {
  texts.resize(target->get_fields().size());
  areFree.resize(texts.size());
  operators.resize(texts.size());
  for (std::size_t i = 0; i < texts.size() && limits.isLiteral; ++i) operators[i] = operators_of(i);
}

std::string FormQuery::operators_of(std::size_t field) const {
  const DastSession* const internal = session.get_internal_session();
  const DareSessionField* const unit = internal->get_config()->get_session_field(static_cast<int>(field));
  const auto* const base = dynamic_cast<const DastBaseField*>(unit->get_base_field());
  const std::string& method = askedTarget->get_fields()[field].method;
  const bool hasWords = method == "EDIT" || method == "WORDS" || method == "AUTO";
  const bool hasMethod = hasWords && base != nullptr && base->get_method() != nullptr;
  const TeraMap* const map = hasMethod ? base->get_method()->get_map() : nullptr;
  return map != nullptr ? word_operators(*map) : "";
}

void FormQuery::set(std::size_t field, const std::string& text) {
  texts[field] = DareSessionField::as_query(text.c_str());
  std::erase_if(texts[field], [&](char c) { return operators[field].find(c) != std::string::npos; });
}

void FormQuery::set_free(const std::string& text) {
  freeText = DareSessionField::as_query(text.c_str());
}

bool FormQuery::has_values_in(std::size_t field, const std::string& text) {
  if (!can_be_in(askedTarget->get_fields()[field], text)) return false;
  std::vector<const char*> modes(texts.size(), NOT_ASKED), queries(texts.size(), nullptr);
  modes[field] = FREE;
  queries[field] = text.c_str();
  session.set_globals(nullptr, nullptr, FREE_QUALITY, -1, 1);
  SorvantaSessionResult result;
  ToolReporter::get().keep_warnings(true);  // that the words are no values of this field is no fault
  const int found = session.search(&result, static_cast<int>(texts.size()), modes.data(), queries.data(), 1);
  ToolReporter::get().keep_warnings(false);
  if (found < 0) throw Failure(UNANSWERED);
  ToolReporter::get().take_messages();
  return found > 0 && result.get_num_suggs() > 0;
}

std::vector<OutputColumn> FormQuery::columns(const Target& target) {
  std::vector<OutputColumn> columns{{"quality", true}, {"record", true}};
  if (target.has_rules()) columns.push_back({"decision", false});
  for (const TargetField& field : target.get_fields())
    if (field.isShown) columns.push_back({field.name, false});
  columns.push_back({"reason", false});
  return columns;
}

std::vector<Output::Row> FormQuery::ask() {
  std::vector<const char*> modes, queries;
  const char asked[] = {queryLimits.mode, '\0'};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const bool isFree = texts[i].empty() && !freeText.empty() && has_values_in(i, freeText);
    areFree[i] = isFree;
    const std::string& text = isFree ? freeText : texts[i];
    modes.push_back(text.empty() ? NOT_ASKED : isFree ? FREE : asked);
    queries.push_back(text.empty() ? nullptr : text.c_str());
  }
  if (std::all_of(modes.begin(), modes.end(), [](const char* mode) { return mode == NOT_ASKED; })) return {};
  const auto count = static_cast<int>(texts.size());
  const bool isLoose = !freeText.empty() && queryLimits.quality < 0;
  session.set_globals(nullptr, nullptr, isLoose ? FREE_RECORD_QUALITY : queryLimits.quality, -1,
                      queryLimits.number);
  SorvantaSessionResult result;
  const int found = askedTarget->has_rules()
                        ? session.assess(&result, count, modes.data(), queries.data())
                        : session.search(&result, count, modes.data(), queries.data(), queryLimits.number);
  if (found < 0) throw Failure(UNANSWERED);
  isLookedUp = false;
  for (int i = 0; i < count; ++i) {
    SorvantaStatus status;
    if (result.get_field_status(&status, i) >= 0) isLookedUp |= status.get_status() != SorvantaStatus::EMPTY;
  }
  std::vector<Output::Row> rows;
  SorvantaSuggestion record(&result);
  for (; record.get_idx() >= 0 && static_cast<int>(rows.size()) < queryLimits.number; record.go_next()) {
    Output::Row row{std::to_string(record.get_quality()), std::to_string(record.get_idx())};
    if (askedTarget->has_rules()) row.emplace_back(text_or_empty(result.get_category_name()));
    for (std::size_t i = 0; i < texts.size(); ++i)
      if (askedTarget->get_fields()[i].isShown) row.emplace_back(text_or_empty(record[static_cast<int>(i)]));
    const std::string why = askedTarget->has_rules() ? text_or_empty(result.get_reason()) : "";
    const std::string differences = reason(record);
    row.push_back(why + (why.empty() || differences.empty() ? "" : "; ") + differences);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string FormQuery::obstacle() const {
  std::vector<std::string> shown, weighed;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const TargetField& field = askedTarget->get_fields()[i];
    if (!texts[i].empty() && texts[i] != TeraCand::BLANK)
      (field.method.empty() ? shown : weighed).push_back(field.name);
  }
  if (isLookedUp || !freeText.empty()) return "";
  if (!weighed.empty())
    return listed(weighed) +
           ": no index; records that other fields find are weighed by it, so ask another field, too";
  return shown.empty() ? "" : listed(shown) + ": no method; it is shown, and cannot be asked";
}

/// "surname 208, city 92"; "exact" where every field that is asked is perfect, by itself or by free text.
std::string FormQuery::reason(const SorvantaSuggestion& record) const {
  std::string text;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const int quality = record.get_field_quality(static_cast<int>(i));
    const TargetField& field = askedTarget->get_fields()[i];
    const bool isAsked = !texts[i].empty() || areFree[i];
    if (!isAsked || !field.isShown || quality < 0 || quality == PERFECT) continue;
    text += (text.empty() ? "" : ", ") + field.name + " " + std::to_string(quality);
  }
  return text.empty() && record.get_quality() == PERFECT ? "exact" : text;
}

// ---------------------------------------------------------------- words

std::vector<OutputColumn> word_columns() {
  return {{"quality", true}, {"word", false}, {"lines", false}, {"reason", false}};
}

std::vector<Output::Row> ask_words(const TeraEdit& index, const std::string& query,
                                   const QueryLimits& limits) {
  TeraResult result(query.c_str(), limits.quality >= 0 ? limits.quality : WORD_QUALITY, limits.number,
                    TeraResult::MAX_VALUE);
  const int options = TeraEdit::TRANSPOSE | (limits.isLiteral ? TeraEdit::NO_OPERATORS : 0);
  if (index.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, options, OWN_WEIGHT,
                   &ToolReporter::get()) < 0)
    throw Failure("'" + printable(query) + "' cannot be looked up");
  result.high_first();
  TeraWord word(query.c_str(), index.get_tera_map(), true);
  std::vector<Output::Row> rows;
  result.find_any([&](int quality, const TeraCand* cand) {
    TeraWordResult how;
    word.localize(cand->represent(), nullptr, TeraEdit::TRANSPOSE, &how);
    std::string reasons, lines;
    for (int reason = 0; reason < TeraEval::ABBREVIATION; ++reason)
      if ((how.reasonFlags >> reason & 1) != 0)
        reasons += (reasons.empty() ? "" : ", ") + std::string(reason_name(reason));
    for (Large i = 0; i < std::min(cand->get_num_infos(), MOST_LINES); ++i)
      lines += (i > 0 ? " " : "") + std::to_string(cand->get_info(i));
    if (cand->get_num_infos() > MOST_LINES) lines += " ...";
    rows.push_back(
        {std::to_string(quality), cand->represent(), lines, quality == PERFECT ? "exact" : reasons});
    return static_cast<int>(rows.size()) == limits.number;
  });
  return rows;
}
