/// What a form does, whatever draws it: a session, the text of each field, and the answer to the last
/// command.
///
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "sorvanta/tool_target.h"
#include "svcpp/sorvanta.h"

class FormSession {
 public:
  /// `target` outlives it. The values of the first field are shown.
  explicit FormSession(Target* target);

  // Commands. `field` is an index of `get_fields`. Each replaces the answer.

  /// Looks a text up, by its beginning where values have one, then with errors; an empty one clears the field
  /// and shows some values.
  void type(std::size_t field, const std::string& text);
  /// Looks up one of the values that were shown, exactly.
  void take(std::size_t field, const std::string& value);
  /// Only records that the field has found remain, and they are shown.
  void select(std::size_t field);
  void release(std::size_t field);
  void clear();
  void suggest();
  /// Asks the rules to decide on what stands in all fields.
  void assess();
  /// The texts change with the session.
  void undo();
  void redo();

  const std::vector<TargetField>& get_fields() const { return fields; }
  const std::vector<std::string>& get_texts() const { return texts; }
  const SorvantaSessionResult& get_answer() const { return answer; }
  /// The last command was not possible.
  bool is_refused() const { return isRefused; }
  double get_milliseconds() const { return milliseconds; }

 private:
  template <class Call>
  void timed(Call call);
  bool is_half_typed() const;
  void read_texts();
  const char* name(std::size_t field) const { return fields[field].name.c_str(); }

  const std::vector<TargetField>& fields;
  SorvantaSession session;
  SorvantaSessionResult answer;
  std::vector<std::string> texts;
  bool isRefused = false;
  double milliseconds = 0;
};
