#include <algorithm>
#include <array>
#include <cstring>

#include "ace/ace_reporter.h"
#include "dare/rule/dare_exre_rule_internal.h"

namespace {

using Settings = DareExreAcceptorKind::Settings;

int size_of(const DareExreList& list) {
  return static_cast<int>(list.entries.size());
}

bool has_relation(const DareExreList& list, const std::string& relation) {
  return std::ranges::any_of(list.entries, [&](const DareExreEntry& entry) {
    return entry.info != nullptr && entry.info->find(relation) != std::string::npos;
  });
}

// ---------------------------------------------------------------- one condition

bool has_exactly(const Settings& settings, const DareExreList& list) {
  return size_of(list) == settings.number;
}

bool has_at_least(const Settings& settings, const DareExreList& list) {
  return size_of(list) >= settings.number;
}

bool has_at_most(const Settings& settings, const DareExreList& list) {
  return size_of(list) <= settings.number;
}

bool is_good(const Settings& settings, const DareExreList& list) {
  return !list.entries.empty() && list.entries.front().quality >= settings.number;
}

/// Suggestions without value are never the same.
bool is_same(const DareExreEntry& a, const DareExreEntry& b, int field) {
  const char* first = a.suggestion->get_field(field);
  const char* second = b.suggestion->get_field(field);
  return first != nullptr && first[0] != '\0' && second != nullptr && std::strcmp(first, second) == 0;
}

bool is_ahead(const Settings& settings, const DareExreList& list) {
  if (list.entries.empty()) return false;
  const DareExreEntry& best = list.entries.front();
  const auto second = std::find_if(list.entries.begin() + 1, list.entries.end(), [&](const auto& entry) {
    return settings.dedupField < 0 || !is_same(best, entry, settings.dedupField);
  });
  return second == list.entries.end() || best.quality - second->quality >= settings.number;
}

bool includes_relation(const Settings& settings, const DareExreList& list) {
  return has_relation(list, settings.text);
}

bool excludes_relation(const Settings& settings, const DareExreList& list) {
  return !has_relation(list, settings.text);
}

std::string with_number(const char* head, int number, const char* tail) {
  return head + std::to_string(number) + tail;
}

std::string show_exactly(const Settings& settings) {
  return with_number("HasNumRecordsAcceptor: ", settings.number, " Records exact");
}

std::string show_at_least(const Settings& settings) {
  return with_number("MinNumRecordsAcceptor: ", settings.number, " Records min");
}

std::string show_at_most(const Settings& settings) {
  return with_number("MaxNumRecordsAcceptor: ", settings.number, " Records max");
}

std::string show_good(const Settings& settings) {
  return with_number("RecordMinQualAcceptor: ", settings.number, " ");
}

std::string show_ahead(const Settings& settings) {
  if (settings.dedupField < 0) return with_number("RecordMinDiffAcceptor: ", settings.number, " ");
  return with_number("RecordMinDiffWithDedupAcceptor: ", settings.number, " with dedup field ") +
         std::to_string(settings.dedupField) + " ";
}

std::string show_includes(const Settings& settings) {
  return "ExreIncludeRelationAcceptor: Relation=" + settings.text;
}

std::string show_excludes(const Settings& settings) {
  return "ExreExcludeRelationAcceptor: Relation=" + settings.text;
}

template <bool (*accepts)(const Settings& settings, const DareExreList& list),
          std::string (*show)(const Settings& settings)>
class PredicateAcceptor : public DareExreAcceptor {
 public:
  explicit PredicateAcceptor(Settings settings) : itsSettings(std::move(settings)) {}
  bool check(const DareExreList& list, AceReporter*) const override { return accepts(itsSettings, list); }
  std::string analysis() const override { return show(itsSettings); }

 private:
  Settings itsSettings;
};

template <bool (*accepts)(const Settings& settings, const DareExreList& list),
          std::string (*show)(const Settings& settings)>
std::unique_ptr<DareExreAcceptor> make_acceptor(Settings settings) {
  return std::make_unique<PredicateAcceptor<accepts, show>>(std::move(settings));
}

// ---------------------------------------------------------------- several

class AndAcceptor : public DareExreAcceptor {
 public:
  explicit AndAcceptor(Settings settings) : subAcceptors(std::move(settings.acceptors)) {}
  bool check(const DareExreList& list, AceReporter* trace) const override {
    for (std::size_t i = 0; i < subAcceptors.size(); ++i) {
      if (subAcceptors[i]->check(list, trace)) continue;
      if (trace != nullptr) trace->printf("AndAcceptor: Rejected by acceptor %d", static_cast<int>(i));
      return false;
    }
    return true;
  }
  std::string analysis() const override {
    return with_number("AndAcceptor: ", static_cast<int>(subAcceptors.size()), " subacceptors");
  }

 private:
  DareExreAcceptors subAcceptors;
};

class OrAcceptor : public DareExreAcceptor {
 public:
  explicit OrAcceptor(Settings settings) : subAcceptors(std::move(settings.acceptors)) {}
  bool check(const DareExreList& list, AceReporter* trace) const override {
    for (const auto& acceptor : subAcceptors)
      if (acceptor->check(list, trace)) return true;
    if (trace != nullptr) trace->print("OrAcceptor: Rejected");
    return false;
  }
  std::string analysis() const override {
    return with_number("OrAcceptor: ", static_cast<int>(subAcceptors.size()), " subacceptors");
  }

 private:
  DareExreAcceptors subAcceptors;
};

template <class Acceptor>
std::unique_ptr<DareExreAcceptor> make_compound(Settings settings) {
  return std::make_unique<Acceptor>(std::move(settings));
}

using Kind = DareExreAcceptorKind;
constexpr std::array KINDS = {
    Kind{"has_num_records", Kind::NUMBER, make_acceptor<has_exactly, show_exactly>},
    Kind{"min_num_records", Kind::NUMBER, make_acceptor<has_at_least, show_at_least>},
    Kind{"max_num_records", Kind::NUMBER, make_acceptor<has_at_most, show_at_most>},
    Kind{"record_min_qual", Kind::NUMBER, make_acceptor<is_good, show_good>},
    Kind{"record_min_diff", Kind::NUMBER, make_acceptor<is_ahead, show_ahead>},
    Kind{"include_relation", Kind::TEXT, make_acceptor<includes_relation, show_includes>},
    Kind{"exclude_relation", Kind::TEXT, make_acceptor<excludes_relation, show_excludes>},
    Kind{"and", Kind::ACCEPTORS, make_compound<AndAcceptor>},
    Kind{"or", Kind::ACCEPTORS, make_compound<OrAcceptor>}};

// ---------------------------------------------------------------- the older format

class CompatFieldAcceptor : public DareExreAcceptor {
 public:
  explicit CompatFieldAcceptor(const DareExreFieldCondition& condition) : itsCondition(condition) {}
  bool check(const DareExreList& list, AceReporter*) const override {
    if (list.entries.empty()) return false;
    const int best = quality_of(list.entries[0]);
    if (best == 0 && !itsCondition.isMandatory) return true;
    const int second = list.entries.size() > 1 ? quality_of(list.entries[1]) : 0;
    return best >= itsCondition.minimum && best - second >= itsCondition.difference;
  }
  std::string analysis() const override {
    return "CompatFieldAcceptor " + std::to_string(itsCondition.field) + " (" +
           (itsCondition.isMandatory ? "mandatory" : "optional") +
           "): Min:" + std::to_string(itsCondition.minimum) +
           "(Diff:" + std::to_string(itsCondition.difference) + ") ";
  }

 private:
  int quality_of(const DareExreEntry& entry) const {
    return std::max(entry.suggestion->get_field_quality(itsCondition.field), 0);
  }

  DareExreFieldCondition itsCondition;
};

}  // namespace

const DareExreAcceptorKind* DareExreAcceptorKind::find(std::string_view name) {
  if (name.empty()) name = "and";
  const auto* found = std::ranges::find_if(KINDS, [name](const Kind& kind) { return name == kind.name; });
  return found != KINDS.end() ? found : nullptr;
}

std::unique_ptr<DareExreAcceptor> make_field_acceptor(const DareExreFieldCondition& condition) {
  return std::make_unique<CompatFieldAcceptor>(condition);
}
