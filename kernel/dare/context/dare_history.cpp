#include "dare/dare_history.h"

#include <algorithm>
#include <utility>

bool DareHistory::Elem::no_change() const {
  if (const Text* const old_text = std::get_if<Text>(&oldValue)) {
    const Text* const new_text = std::get_if<Text>(&newValue);
    return new_text != nullptr && old_text->value_or("") == new_text->value_or("");
  }
  return oldValue == newValue;
}

bool DareHistory::has_event(const Stack& stack) {
  return std::any_of(stack.begin(), stack.end(), [](const Elem& elem) { return elem.paramType != STOP; });
}

void DareHistory::stamp(int back) {
  Stack& stack = back != 0 ? redoStack : undoStack;
  if (!stack.empty() && stack.back().paramType != STOP) stack.push_back(Elem());
}

bool DareHistory::append(Elem elem) {
  if (isSleeping || elem.no_change()) return false;
  redoStack.clear();
  undoStack.push_back(std::move(elem));
  ++stackSize;
  trim();
  return true;
}

void DareHistory::trim() {
  if (isOpen || stackSize <= MAX_SIZE) return;
  int kept = 0;
  auto place = undoStack.end();
  while (place != undoStack.begin()) {
    const bool is_stop = (place - 1)->paramType == STOP;
    if (is_stop && kept >= TRIMMED_SIZE) break;
    kept += is_stop ? 0 : 1;
    --place;
  }
  undoStack.erase(undoStack.begin(), place);
  stackSize = kept;
}

const DareHistory::Elem* DareHistory::step(int back) {
  Stack& from = back != 0 ? undoStack : redoStack;
  Stack& to = back != 0 ? redoStack : undoStack;
  if (from.empty()) return nullptr;
  Elem elem = std::move(from.back());
  from.pop_back();
  if (elem.paramType == STOP) return nullptr;
  stackSize += back != 0 ? -1 : 1;
  to.push_back(std::move(elem));
  return &to.back();
}

bool DareHistory::skip_stops(int back) {
  Stack& stack = back != 0 ? undoStack : redoStack;
  while (!stack.empty() && stack.back().paramType == STOP) stack.pop_back();
  return !stack.empty();
}

void DareHistory::merge(DareHistory* other) {
  if (other == this || other->undoStack.empty()) return;
  redoStack.clear();
  std::move(other->undoStack.begin(), other->undoStack.end(), std::back_inserter(undoStack));
  stackSize += other->stackSize;
  other->clear();
  trim();
}

void DareHistory::clear() {
  undoStack.clear();
  redoStack.clear();
  stackSize = 0;
  isSleeping = false;
}

DareHistory::Kept DareHistory::begin(bool is_walk) {
  Kept kept{undoStack.size(), stackSize, {}, redoStack, isSleeping};
  if (is_walk) kept.undoStack = undoStack;
  isOpen = true;
  return kept;
}

void DareHistory::put_back(Kept kept) {
  if (kept.undoStack.has_value())
    undoStack.swap(*kept.undoStack);
  else
    undoStack.erase(undoStack.begin() + static_cast<std::ptrdiff_t>(kept.undoSize), undoStack.end());
  redoStack.swap(kept.redoStack);
  stackSize = kept.stackSize;
  isSleeping = kept.isSleeping;
  isOpen = false;
}

void DareHistory::end() {
  isOpen = false;
  trim();
}

const char* DareHistory::get_type_name(EventType type) {
  static constexpr const char* NAMES[] = {
      "STOP",  "QUERY", "MODE",    "FREE_SEARCH", "EVENT", "HAS_RESULT", "VOLATILE",    "COLLECT",
      "COMBI", "CONF",  "DEFAULT", "DIST",        "CANDS", "FOCUS",      "RESULT_TYPE", "ABSTR_LEVEL"};
  return type >= STOP && type <= ABSTR_LEVEL ? NAMES[type] : "???";
}

namespace {

std::string text_of(const DareHistory::Value& value) {
  if (const int* const number = std::get_if<int>(&value)) return std::to_string(*number);
  if (const Mask* const mask = std::get_if<Mask>(&value)) return std::to_string(*mask);
  return "'" + std::get<DareHistory::Text>(value).value_or("") + "'";
}

}  // namespace

std::string DareHistory::describe() const {
  std::string text;
  for (auto elem = undoStack.rbegin(); elem != undoStack.rend(); ++elem) {
    if (elem->paramType != STOP)
      text += std::string(get_type_name(elem->paramType)) + " " + std::to_string(elem->fieldId) + " " +
              text_of(elem->oldValue) + " -> " + text_of(elem->newValue);
    text += "\n";
  }
  return text;
}
