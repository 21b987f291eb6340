// sorvanta explain: why a record has its quality.
#include <algorithm>
#include <charconv>
#include <cstdio>

#include "ace/ace_attach.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_session.h"
#include "dast/dast_base.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dime/dime_auto.h"
#include "dime/dime_edit.h"
#include "dime/dime_words.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_target.h"
#include "sorvanta/tool_verbs.h"
#include "tera/tera_query_kinds.h"

namespace {

struct ExplainOptions {
  std::string base;
  std::string record;
  std::vector<std::string> query;
  std::string mode = "errors";
  OutputForm form = OutputForm::TABLE;
};

/// What a record is asked, by session field.
struct Asked {
  std::vector<std::string> texts;
  std::vector<const char*> modes, queries;
};

Asked read_asked(const Target& target, const ExplainOptions& options) {
  Asked asked;
  asked.texts.resize(target.get_fields().size());
  for (const std::string& argument : options.query) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos)
      throw Failure("expected field=value, found '" + printable(argument) + "'; fields are " +
                    listed(target.get_field_names()));
    asked.texts[target.find_field(argument.substr(0, equals))] = argument.substr(equals + 1);
  }
  const char* const mode = find_mode(options.mode);
  for (const std::string& text : asked.texts) {
    asked.modes.push_back(text.empty() ? "-" : mode);
    asked.queries.push_back(text.empty() ? nullptr : text.c_str());
  }
  return asked;
}

Large read_record(const std::string& text, Large num_records) {
  Large record = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, record);
  if (error != std::errc() || rest != end || record < 1 || record >= num_records)
    throw Failure("expected the number of a record, 1 to " + std::to_string(num_records - 1) + ", found '" +
                  printable(text) + "'");
  return record;
}

/// A field of the record, as the combination counts it.
struct FieldPart {
  std::string value;  // the writing that the method measures best
  int measured = -1;  // as the method measures it, before the shape; -1 where it does not
  int counted = 0;
  int weight = 0;
};

/// "RESCALE from 120 less 5"
std::string shape_of(const TeraRescaleConfig& shape) {
  std::string text = shape.get_shape_name();
  if (shape.get_threshold() > 0 && shape.get_shape() != RescaleShape::IDENTITY)
    text += " from " + std::to_string(shape.get_threshold());
  if (shape.get_penalty() > 0) text += " less " + std::to_string(shape.get_penalty());
  return text;
}

/// "LEVENSHTEIN, REDUNDANT": what methods of words count, and the model that makes a quality of it.
std::string measure_of(const DastSession& session, int base_field, const char* mode) {
  const auto* const base = dynamic_cast<const DastBase*>(session.get_base());
  const DastBaseMethod* const method = base != nullptr ? base->get_method(base_field) : nullptr;
  const DastOptions::Call call = DastOptions::get_call_mode(mode);
  const auto named = [](TeraEval::Mode measure, TeraEval::Model model) {
    return std::string(TeraEval::get_mode_name(measure)) + ", " + TeraEval::get_model_name(model);
  };
  if (const auto* const edit = dynamic_cast<const DimeEditMethod*>(method); edit != nullptr)
    return named(edit->get_recall_options().get_eval_algorithm(call),
                 edit->get_recall_options().get_eval_model(call));
  if (const auto* const words = dynamic_cast<const DimeWordsMethod*>(method); words != nullptr)
    return named(words->get_recall_options().get_eval_mode(call),
                 words->get_recall_options().get_eval_model(call));
  if (const auto* const codes = dynamic_cast<const DimeAutoMethod*>(method); codes != nullptr)
    return named(codes->get_recall_options().get_eval_mode(call),
                 codes->get_recall_options().get_eval_model(call));
  return "";
}

std::string alignment(const std::string& asked, const std::string& value) {
  return asked == value ? "equal" : "'" + printable(asked, 30) + "' against '" + printable(value, 30) + "'";
}

/// "Vienna|Wien": a record has a value under all of its names.
std::vector<std::string> writings_of(const std::string& value) {
  std::vector<std::string> writings;
  std::size_t from = 0;
  for (std::size_t bar = 0; (bar = value.find('|', from)) != std::string::npos; from = bar + 1)
    writings.push_back(value.substr(from, bar - from));
  writings.push_back(value.substr(from));
  return writings;
}

FieldPart part_of(const DastSession& session, int field, const char* text, const char* mode, Large record,
                  const DastRecord& scored) {
  const DareSessionField* const unit = session.get_config()->get_session_field(field);
  const DastBaseFieldRecall* const base = unit->get_base_field();
  FieldPart part;
  AceAttach at;
  const char* const value = base->get_string_by_recordid(record, nullptr, nullptr, &at, DastOptions::ALL);
  const TeraQueryRef query(base->eval(text, DastOptions::get_call_mode(mode), 0, &ToolReporter::get()));
  for (const std::string& writing : writings_of(value != nullptr ? value : "")) {
    const int measured = query != nullptr && value != nullptr ? query->compare(writing.c_str()) : -1;
    if (measured < part.measured || (measured == part.measured && !part.value.empty())) continue;
    part.measured = measured;
    part.value = writing;
  }
  part.counted = std::max(scored.get_quality(field), 0);
  part.weight = session.get_field_weight(field);
  return part;
}

void print_parts(const Target& target, const DastSession& session, const Asked& asked, Large record,
                 const DastRecord& scored, OutputForm form) {
  Output output(form, {{"field", false},
                       {"method", false},
                       {"measure", false},
                       {"compared", false},
                       {"measured", true},
                       {"shape", false},
                       {"counted", true},
                       {"weight", true},
                       {"product", true}});
  int weights = 0, sum = 0;
  for (std::size_t i = 0; i < asked.texts.size(); ++i) {
    if (asked.texts[i].empty() || !target.get_fields()[i].isShown) continue;
    const auto field = static_cast<int>(i);
    const FieldPart part = part_of(session, field, asked.queries[i], asked.modes[i], record, scored);
    const auto* const unit = session.get_config()->get_session_field(field)->get_unit();
    const std::string& name = target.get_fields()[i].name;
    output.add({name, target.get_fields()[i].method,
                measure_of(session, session.get_config()->get_related_index(name.c_str()), asked.modes[i]),
                alignment(asked.texts[i], part.value),
                part.measured >= 0 ? std::to_string(part.measured) : "",
                shape_of(*unit->get_rescale_config()), std::to_string(part.counted),
                std::to_string(part.weight), std::to_string(part.counted * part.weight)});
    weights += part.weight;
    sum += part.counted * part.weight;
  }
  output.add({"all", "", "", "", "", "", std::to_string(scored.get_quality()), std::to_string(weights),
              std::to_string(sum)});
  output.finish();
}

int explain(const ExplainOptions& options) {
  Target target(options.base);
  if (target.has_words()) throw Failure(printable(options.base) + ": expected a base, found a word index");
  const Asked asked = read_asked(target, options);
  SorvantaSession handle = target.make_session();
  DastSession* const session = handle.get_internal_session();
  const Large record = read_record(options.record, session->get_base()->get_num_records());
  const DareMultiQuery query(static_cast<int>(asked.texts.size()), asked.modes.data(), asked.queries.data());
  const std::unique_ptr<DastResult> result(session->create_empty_result());
  result->add_suggs(0, 1);
  DastSuggestion* const suggestion = result->get_sugg(0);
  suggestion->recordIndex = record;
  suggestion->repObj = std::make_unique<DastRecord>(session->get_config()->get_num_fields());
  const int minimum = session->reevaluate(&query, nullptr, result.get());
  if (minimum < 0) throw Failure("the record cannot be weighed");
  const DastRecord& scored = *suggestion->repObj;
  print_parts(target, *session, asked, record, scored, options.form);
  const bool isFound = scored.get_quality() >= minimum;
  if (options.form == OutputForm::TABLE)
    std::printf("\nsum of products / sum of weights = %d, %s the least quality %d\n", scored.get_quality(),
                isFound ? "which reaches" : "below", minimum);
  return isFound ? FOUND : FOUND_NOTHING;
}

}  // namespace

void declare_explain(CLI::App* tool, Action* action) {
  CLI::App* const verb = tool->add_subcommand(
      "explain",
      "Tells why a record has its quality: field by field what is compared, how its method measures "
      "that, what the shape makes of it, and its weight in the sum. Exit code 1: below the least quality.");
  verb->footer("Example:\n  sorvanta explain people.base 2866 surname=Moulan city=Mirovitse");
  const auto options = add_verb_action<ExplainOptions>(verb, action, explain);
  verb->add_option("BASE", options->base, "A base, or an ldb file")->required()->type_name("");
  verb->add_option("RECORD", options->record, "The number of the record, as `find` shows it")
      ->required()
      ->type_name("");
  verb->add_option("QUERY", options->query, "field=value")->required()->type_name("");
  add_mode_option(verb, &options->mode);
  add_output_option(verb, &options->form);
}
