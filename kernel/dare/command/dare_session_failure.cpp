// What a session was before a command, and how that comes back when the command is left by an exception. It
// needs no memory then: results are shared, and what is small is copied before.
#include <exception>
#include <vector>

#include "dare/dare_session.h"

struct DastSession::Kept {
  std::vector<DareSessionField::Kept> fields;
  DastContext::State context;
  DareHistory::Kept history;
  ResultPtr suggestions;  // once they are forgotten
  DareSessionGlobals globals;
  int inputFocus;
  int combination;
  int resultType;
  Mask abstraction;
  bool isTimerFresh;
};

std::unique_ptr<DastSession::Kept> DastSession::keep(bool is_walk) {
  std::vector<DareSessionField::Kept> fields;
  const int count = sesConfig->get_num_fields();
  fields.reserve(static_cast<std::size_t>(count));
  const DastCombination* const active = sesConfig->get_active_combination();
  for (int i = 0; i < count; ++i) fields.push_back(sesConfig->get_session_field(i)->keep());
  return std::unique_ptr<Kept>(new Kept{std::move(fields), tContext.keep(), tHistory.begin(is_walk), nullptr,
                                        sesGlobals, inputFocus,
                                        active != nullptr ? active->get_group_id() : 0,
                                        sesConfig->get_result_type(), abstractionMask, isTimerFresh});
}

void DastSession::put_back(Kept* kept) {
  sesConfig->switch_combination(kept->combination, nullptr);
  for (std::size_t i = 0; i < kept->fields.size(); ++i)
    sesConfig->get_session_field(static_cast<int>(i))->put_back(std::move(kept->fields[i]));
  tContext.put_back(std::move(kept->context));
  tHistory.put_back(std::move(kept->history));
  if (kept->suggestions != nullptr) currentResult = std::move(kept->suggestions);
  sesGlobals = std::move(kept->globals);
  inputFocus = kept->inputFocus;
  sesConfig->set_result_type(kept->resultType);
  abstractionMask = kept->abstraction;
  isTimerFresh = kept->isTimerFresh;
}

void DastSession::forget_suggestions() {
  if (beforeCommand != nullptr && beforeCommand->suggestions == nullptr)
    beforeCommand->suggestions = std::move(currentResult);
  currentResult.reset();
}

DastSession::Command::Command(DastSession* session, bool is_walk)
    : itsSession(session), numExceptions(std::uncaught_exceptions()) {
  if (session->beforeCommand != nullptr) return;
  before = session->keep(is_walk);
  session->beforeCommand = before.get();
  if (is_walk || session->tHistory.is_sleeping()) return;
  try {
    session->tHistory.stamp(0);
  } catch (...) {
    session->beforeCommand = nullptr;
    session->put_back(before.get());
    throw;
  }
}

DastSession::Command::~Command() {
  if (before == nullptr) return;
  itsSession->beforeCommand = nullptr;
  if (std::uncaught_exceptions() > numExceptions)
    itsSession->put_back(before.get());
  else
    itsSession->tHistory.end();
}
