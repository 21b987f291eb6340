#include "sorvanta/tool_form_answer.h"

#include <jsoncons/json.hpp>

#include "sorvanta/tool_form_session.h"
#include "sorvanta/tool_output.h"

namespace {

using jsoncons::json;

constexpr const char* STATES[] = {"empty", "nothing", "unknown", "outside", "possible", "selected"};
constexpr int MOST_VALUES = 100;

json empty_array() {
  return json(jsoncons::json_array_arg);
}

json text_or_null(const char* text) {
  return text != nullptr ? json(valid_text(text)) : json::null();
}

json count_or_null(long count) {
  return count >= 0 ? json(count) : json::null();
}

json fields_of(const FormSession& form) {
  json fields = empty_array();
  for (SorvantaStatus status(&form.get_answer()); status.get_field_name() != nullptr; status.go_next()) {
    json field;
    field["text"] = valid_text(form.get_texts()[static_cast<std::size_t>(status.get_rank())]);
    field["state"] = STATES[status.get_status()];
    field["records"] =
        count_or_null(status.get_status() > SorvantaStatus::NOTHING ? status.num_records() : -1);
    fields.push_back(std::move(field));
  }
  return fields;
}

json values_of(const SorvantaSessionResult& answer) {
  json values = empty_array();
  for (SorvantaAlternative at(&answer); at.get_rep() != nullptr && at.get_rank() < MOST_VALUES;
       at.go_next()) {
    json value;
    value["text"] = text_or_null(at.get_rep());
    value["quality"] = at.get_quality();
    value["records"] = count_or_null(at.get_num_hits());
    value["outside"] = at.get_context_status() != SVAlternativeStatus::IN_CONTEXT;
    values.push_back(std::move(value));
  }
  return values;
}

json records_of(const SorvantaSessionResult& answer) {
  json records = empty_array();
  for (SorvantaSuggestion at(&answer); at.get_idx() >= 0; at.go_next()) {
    json record, texts = empty_array(), qualities = empty_array();
    for (int field = 0; field < at.get_num_strings(); ++field) {
      texts.push_back(text_or_null(at[field]));
      qualities.push_back(count_or_null(at.get_field_quality(field)));
    }
    record["record"] = at.get_idx();
    record["quality"] = at.get_quality();
    record["texts"] = std::move(texts);
    record["qualities"] = std::move(qualities);
    records.push_back(std::move(record));
  }
  return records;
}

json answer_of(const FormSession& form) {
  const SorvantaSessionResult& answer = form.get_answer();
  json told;
  told["milliseconds"] = form.get_milliseconds();
  told["refused"] = form.is_refused();
  told["fields"] = fields_of(form);
  told["context"] = count_or_null(answer.get_size_context());
  told["shown"] = count_or_null(answer.get_alt_field());
  told["values"] = values_of(answer);
  told["records"] = records_of(answer);
  told["decision"] = answer.get_category() > 0 ? text_or_null(answer.get_category_name()) : json::null();
  told["reason"] = text_or_null(answer.get_reason());
  told["canUndo"] = answer.can_undo() != 0;
  told["canRedo"] = answer.can_redo() != 0;
  return told;
}

}  // namespace

std::string form_answer(const FormSession& form) {
  return answer_of(form).to_string();
}

std::string form_opening(const std::string& page, const FormSession& form) {
  json told = answer_of(form);
  told["page"] = page;
  for (std::size_t i = 0; i < form.get_fields().size(); ++i) {
    told["fields"][i]["name"] = valid_text(form.get_fields()[i].name);
    told["fields"][i]["asked"] = !form.get_fields()[i].method.empty();
  }
  return told.to_string();
}
