#include <algorithm>

#include "ace/ace_reporter.h"
#include "dare/rule/dare_exre_rule_internal.h"

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view BLANKS = " \t\r\n\v\f";
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(BLANKS) + 1 - first);
}

}  // namespace

// ---------------------------------------------------------------- infos

const std::string* DareExreInfos::get(const char* text) {
  if (text == nullptr) return nullptr;
  if (const auto found = byText.find(text); found != byText.end()) return found->second;
  infoTexts.emplace_back(text);
  byText.emplace(infoTexts.back(), &infoTexts.back());
  return &infoTexts.back();
}

const std::string* DareExreInfos::add(const std::string* info, const std::string& relation) {
  if (relation.empty() || (info != nullptr && info->size() + relation.size() >= MAX_LENGTH)) return info;
  const auto [place, isNew] = appended.try_emplace({info, &relation}, nullptr);
  if (isNew) place->second = get((info != nullptr ? *info + " " + relation : relation).c_str());
  return place->second;
}

// ---------------------------------------------------------------- inputs

/// "a(b(c()))": combinations outside, at the innermost place nothing or a name.
std::unique_ptr<DareExreInput> DareExreInput::parse(std::string_view text) {
  auto whole = std::make_unique<DareExreInput>();
  DareExreInput* input = whole.get();
  for (int depth = 0; depth <= MAX_DEPTH; ++depth) {
    text = trimmed(text);
    const std::size_t open = text.find('(');
    if (open == std::string_view::npos) {
      if (text.find(')') != std::string_view::npos) return nullptr;
      input->resultType = text.empty() ? UNDEF : NAMED;
      input->resultName = text;
      return whole;
    }
    input->combinationName = trimmed(text.substr(0, open));
    if (input->combinationName.empty() || !text.ends_with(')')) return nullptr;
    text = trimmed(text.substr(open + 1, text.size() - open - 2));
    input->resultType = text.empty() ? SEARCH : REEVAL;
    if (text.empty()) return whole;
    input->reevalInput = std::make_unique<DareExreInput>();
    input = input->reevalInput.get();
  }
  return nullptr;
}

// ---------------------------------------------------------------- rules

void DareExreRule::filter(std::vector<DareExreEntry>* entries, DareExreInfos* infos) const {
  DareExreFilter::Kept kept(entries->size(), 1);
  filterCriteria->check(*entries, &kept);
  auto behind = entries->begin();
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i] == 0) continue;
    const DareExreEntry& entry = (*entries)[i];
    const int quality = std::clamp(entry.quality - outputPenalty, 0, DastRecord::MAX_QUALITY);
    *behind++ = {entry.suggestion, infos->append(entry.info, relationID), quality};
  }
  entries->erase(behind, entries->end());
}

DastResult::Category DareExreRule::execute(const DareExreList& input, DareExreList* output,
                                           const DareExreRule** next, DareExreInfos* infos,
                                           AceReporter* trace) const {
  if (trace != nullptr)
    trace->printf("Rule %s: %s: Combination: %s->%s,", ruleID.c_str(), relationID.c_str(),
                  inputResult->combinationName.c_str(), inputResult->resultName.c_str());
  output->source = input.source;
  output->isMade = true;
  output->entries = input.entries;
  if (filterCriteria != nullptr) filter(&output->entries, infos);
  const bool isAccepted = acceptCriteria->check(*output, trace);
  const Instruction& instruction = isAccepted ? yesInstruction : noInstruction;
  *next = instruction.jumpTo;
  if (!isAccepted) return instruction.stopCategory;
  if (trace != nullptr) {
    trace->printf("Rule %s accepted", ruleID.c_str());
    trace->print(acceptCriteria->analysis().c_str());
  }
  if (filterCriteria == nullptr)
    for (DareExreEntry& entry : output->entries) entry.info = infos->append(entry.info, relationID);
  return instruction.stopCategory;
}
