#include "dare/dare_exre.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"
#include "dare/rule/dare_exre_rule_internal.h"

namespace {

const AceTraceFlag traceAcceptors("EXRE_ACCEPTOR", __FILE__, __LINE__);
/// Rules that a report of a run without end names.
constexpr std::size_t REPORTED_RULES = 10;

}  // namespace

DareExreConfig::DareExreConfig() {
  refCount.modify(1);
}

DareExreConfig::~DareExreConfig() = default;

/// The state of a run: results of searches, and the lists that rules have made of them.
class DareExreEngine::Run {
 public:
  Run(const DareExreEngine& engine, const DareMultiQuery* mquery)
      : itsEngine(engine),
        multiQuery(mquery),
        traceRep(traceAcceptors.get() != 0 ? engine.aceRep : nullptr),
        outputs(static_cast<std::size_t>(engine.itsConfig->get_num_outputs())) {}

  DastResult* execute();

 private:
  DareExreSession* session() const { return itsEngine.itsSession; }
  const DareExreList* find_input(const DareExreInput& input);
  const DareExreList* search(const std::string& combination);
  const DareExreList* reevaluate(const DareExreInput& input);
  int add_source(DastResult* result);
  DareExreList list_all(int source);
  std::unique_ptr<DastResult> copy_of(const DareExreList& list) const;
  DastResult* finish(const DareExreList& list, const DareExreRule& rule, DastResult::Category category);
  void report_end(const char* reason, const std::vector<const DareExreRule*>& executed) const;

  const DareExreEngine& itsEngine;
  const DareMultiQuery* multiQuery;
  AceReporter* traceRep;  // null unless rules are traced
  DareExreInfos infos;
  std::vector<std::unique_ptr<DastResult>> sources;
  std::map<std::string, DareExreList> searches;  // by combination
  std::vector<DareExreList> outputs;             // by slot
  DareExreList evaluated;                        // of the last re-evaluation
  const DareExreList nothing;
};

DastResult* DareExreEngine::run(const DareMultiQuery* mquery) {
  const AceTimeSection section("EXRE_ENGINE_RUN");
  return Run(*this, mquery).execute();
}

DastResult* DareExreEngine::Run::execute() {
  std::vector<const DareExreRule*> executed;
  const DareExreRule* rule = itsEngine.itsConfig->get_start_rule();
  DareExreList made;
  for (;;) {
    const DareExreList* input = find_input(rule->get_input());
    if (input == nullptr) {
      ace_error_msg(__FILE__, __LINE__, "input = find_input(rule->get_input())", -1);
      return nullptr;
    }
    const DareExreRule* next = nullptr;
    DastResult::Category category = rule->execute(*input, &made, &next, &infos, traceRep);
    DareExreList& output = outputs[static_cast<std::size_t>(rule->get_output().resultSlot)];
    std::swap(output, made);
    executed.push_back(rule);
    if (next == nullptr) return finish(output, *rule, category);
    const bool isOver = session()->get_remaining_time() <= 0;
    if (isOver || static_cast<int>(executed.size()) >= MAX_EXECUTED) {
      report_end(isOver ? "the time of the command is over" : "they have not decided", executed);
      return finish(output, *rule, DastResult::NO_DECISION);
    }
    rule = next;
  }
}

void DareExreEngine::Run::report_end(const char* reason,
                                     const std::vector<const DareExreRule*>& executed) const {
  std::string names;
  const std::size_t count = std::min(executed.size(), REPORTED_RULES);
  for (auto rule = executed.end() - static_cast<std::ptrdiff_t>(count); rule != executed.end(); ++rule)
    names += (names.empty() ? "'" : ", '") + (*rule)->get_rule_id() + "'";
  itsEngine.aceRep->printf("Rules end after %zu were executed, %s; the last ones: %s\n", executed.size(),
                           reason, names.c_str());
}

// ---------------------------------------------------------------- inputs

const DareExreList* DareExreEngine::Run::find_input(const DareExreInput& input) {
  if (input.resultType == DareExreInput::REEVAL) return reevaluate(input);
  if (input.resultType != DareExreInput::NAMED) return search(input.combinationName);
  const DareExreList& list = outputs[static_cast<std::size_t>(input.resultSlot)];
  if (list.isMade) return &list;
  itsEngine.aceRep->printf("Result '%s' is used before a rule has made it: it is empty\n",
                           input.resultName.c_str());
  return &nothing;
}

const DareExreList* DareExreEngine::Run::search(const std::string& combination) {
  if (const auto found = searches.find(combination); found != searches.end()) return &found->second;
  const int source = add_source(
      session()->search_combination(multiQuery, combination.empty() ? nullptr : combination.c_str()));
  if (source < 0) return nullptr;
  return &searches.emplace(combination, list_all(source)).first->second;
}

/// From the innermost input outwards.
const DareExreList* DareExreEngine::Run::reevaluate(const DareExreInput& input) {
  const DareExreList* inner = find_input(*input.reevalInput);
  if (inner == nullptr) return nullptr;
  std::unique_ptr<DastResult> result = copy_of(*inner);
  if (result == nullptr) return nullptr;
  const int least = session()->reevaluate(multiQuery, input.combinationName.c_str(), result.get());
  if (least < 0) return nullptr;
  result->resort_suggs();
  int numGood = 0;
  while (numGood < result->get_num_suggs() && result->get_sugg(numGood)->get_quality() >= least) ++numGood;
  result->cut(numGood);
  evaluated = list_all(add_source(result.release()));
  return &evaluated;
}

/// Takes the result over. Its number; -1 for null.
int DareExreEngine::Run::add_source(DastResult* result) {
  std::unique_ptr<DastResult> held(result);
  if (held == nullptr) return -1;
  sources.push_back(std::move(held));
  return static_cast<int>(sources.size()) - 1;
}

DareExreList DareExreEngine::Run::list_all(int source) {
  DareExreList list;
  list.source = source;
  list.isMade = true;
  const DastResult& result = *sources[static_cast<std::size_t>(source)];
  for (int i = 0; i < result.get_num_suggs(); ++i) {
    const DastSuggestion* suggestion = result.get_sugg(i);
    if (suggestion->repObj == nullptr) continue;
    list.entries.push_back(
        {suggestion, infos.get(suggestion->repObj->get_record_info()), suggestion->get_quality()});
  }
  return list;
}

// ---------------------------------------------------------------- results

namespace {

void settle(const DareExreEntry& entry, DastRecord* record) {
  record->set_quality(entry.quality);
  const char* info = record->get_record_info();
  if (entry.info != nullptr && (info == nullptr || *entry.info != info))
    record->set_record_info(entry.info->c_str());
}

}  // namespace

std::unique_ptr<DastResult> DareExreEngine::Run::copy_of(const DareExreList& list) const {
  if (list.source == DareExreList::NO_SOURCE)
    return std::unique_ptr<DastResult>(session()->create_empty_result());
  auto copy = std::make_unique<DastResult>(sources[static_cast<std::size_t>(list.source)].get(), 0, 0);
  std::vector<DastSuggestion> suggestions(list.entries.size());
  for (std::size_t i = 0; i < suggestions.size(); ++i) {
    suggestions[i].copy(*list.entries[i].suggestion);
    settle(list.entries[i], suggestions[i].repObj.get());
  }
  copy->set_current_suggs(std::move(suggestions));
  return copy;
}

/// The result of the list's search, which nobody needs any more, with the suggestions that are left.
DastResult* DareExreEngine::Run::finish(const DareExreList& list, const DareExreRule& rule,
                                        DastResult::Category category) {
  std::unique_ptr<DastResult> result;
  if (list.source == DareExreList::NO_SOURCE) {
    result.reset(session()->create_empty_result());
    if (result == nullptr) return nullptr;
  } else {
    result = std::move(sources[static_cast<std::size_t>(list.source)]);
    std::vector<DastSuggestion> left;
    left.reserve(list.entries.size());
    for (const DareExreEntry& entry : list.entries) {
      left.push_back(std::move(*const_cast<DastSuggestion*>(entry.suggestion)));  // of `result`
      settle(entry, left.back().repObj.get());
    }
    result->set_current_suggs(std::move(left));
  }
  result->set_category(category);
  result->set_reason(rule.get_relation().c_str());
  result->set_rule(rule.get_rule_id().c_str());
  return result.release();
}
