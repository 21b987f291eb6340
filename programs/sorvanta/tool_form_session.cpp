#include "sorvanta/tool_form_session.h"

#include <chrono>

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
  timed([&] {
    if (text.empty()) return session.clear(&answer, name(field), 0, 1);
    session.update(&answer, name(field), text.c_str(), ">");
    return answer.get_num_alts(static_cast<int>(field)) > 0
               ? 1
               : session.update(&answer, name(field), text.c_str(), "?");
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
  for (const std::string& text : texts) {
    modes.push_back(text.empty() ? "-" : "?");
    queries.push_back(text.empty() ? nullptr : text.c_str());
  }
  timed(
      [&] { return session.assess(&answer, static_cast<int>(texts.size()), modes.data(), queries.data()); });
}

void FormSession::undo() {
  timed([&] { return session.undo(&answer, 0); });
  read_texts();
}

void FormSession::redo() {
  timed([&] { return session.redo(&answer, 0); });
  read_texts();
}

void FormSession::read_texts() {
  for (SorvantaStatus field(&answer); field.get_field_name() != nullptr; field.go_next())
    texts[static_cast<std::size_t>(field.get_rank())] =
        field.get_string() != nullptr && field.get_status() != SorvantaStatus::EMPTY ? field.get_string()
                                                                                     : "";
}
