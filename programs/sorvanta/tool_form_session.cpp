#include "sorvanta/tool_form_session.h"

#include <chrono>

#include "dare/dare_session_field.h"
#include "dast/dast_options.h"

namespace {

/// Whether values are found by their beginning: of dates and quantities that means those from there on.
bool begins_values(const std::string& method) {
  return method != "DATE" && method != "DOUBLE" && method != "DIRECT";
}

DastOptions::Call mode_of(const SorvantaStatus& field) {
  const char code[] = {static_cast<char>(field.get_mode()), '\0'};
  return DastOptions::get_call_mode(code);
}

}  // namespace

FormSession::FormSession(Target* target)
    : fields(target->get_fields()), session(target->make_session()), texts(fields.size()) {
  type(0, "");
}

/// Times a call, which returns -1 where it is not possible.
template <class Call>
void FormSession::timed(Call call) {
  const auto start = std::chrono::steady_clock::now();
  isRefused = call() < 0;
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  milliseconds = spent.count();
}

void FormSession::type(std::size_t field, const std::string& text) {
  texts[field] = text;
  const std::string query = DareSessionField::as_query(text.c_str());
  timed([&] {
    if (text.empty()) return session.clear(&answer, name(field), 0, 1);
    if (begins_values(fields[field].method)) {
      session.update(&answer, name(field), query.c_str(), ">");
      if (answer.get_num_alts(static_cast<int>(field)) > 0) return 1;
    }
    return session.update(&answer, name(field), query.c_str(), "?");
  });
}

void FormSession::take(std::size_t field, const std::string& value) {
  texts[field] = value;
  timed([&] { return session.update(&answer, name(field), value.c_str(), "!"); });
}

void FormSession::select(std::size_t field) {
  timed([&] { return session.select(name(field)) > 0 ? session.suggest(&answer, 0, name(field)) : -1; });
}

void FormSession::release(std::size_t field) {
  const char* const released = name(field);
  timed([&] { return session.deselect(1, &released) > 0 ? session.suggest(&answer, 0, nullptr) : -1; });
}

void FormSession::clear() {
  texts.assign(texts.size(), "");
  timed([&] { return session.clear_all() > 0 ? session.clear(&answer, name(0), 0, 1) : -1; });
}

void FormSession::suggest() {
  timed([&] { return session.suggest(&answer, 0, nullptr); });
}

void FormSession::assess() {
  std::vector<const char*> modes, queries;
  std::vector<std::string> typed;
  for (const std::string& text : texts) typed.push_back(DareSessionField::as_query(text.c_str()));
  for (const std::string& text : typed) {
    modes.push_back(text.empty() ? "-" : "?");
    queries.push_back(text.empty() ? nullptr : text.c_str());
  }
  timed(
      [&] { return session.assess(&answer, static_cast<int>(texts.size()), modes.data(), queries.data()); });
}

void FormSession::undo() {
  timed([&] {
    const int code = session.undo(&answer, 0);
    return is_half_typed() && answer.can_undo() != 0 ? session.undo(&answer, 0) : code;
  });
  read_texts();
}

void FormSession::redo() {
  timed([&] {
    const int code = session.redo(&answer, 0);
    return is_half_typed() && answer.can_redo() != 0 ? session.redo(&answer, 0) : code;
  });
  read_texts();
}

/// Whether a text has been looked up by its beginning, in vain, and not yet with errors.
bool FormSession::is_half_typed() const {
  for (SorvantaStatus field(&answer); field.get_field_name() != nullptr; field.go_next())
    if (mode_of(field) == DastOptions::COMPLETE && field.get_status() == SorvantaStatus::NOTHING) return true;
  return false;
}

void FormSession::read_texts() {
  for (SorvantaStatus field(&answer); field.get_field_name() != nullptr; field.go_next())
    texts[static_cast<std::size_t>(field.get_rank())] =
        field.get_string() != nullptr && mode_of(field) > DastOptions::EMPTY ? field.get_string() : "";
}
