#include <algorithm>
#include <array>
#include <cstring>

#include "dare/rule/dare_exre_rule_internal.h"

namespace {

using Settings = DareExreFilterKind::Settings;

/// A filter is a predicate over the settings of its class.
template <bool (*keeps)(const Settings& settings, const DareExreEntry& entry)>
class PredicateFilter : public DareExreFilter {
 public:
  explicit PredicateFilter(Settings settings) : itsSettings(std::move(settings)) {}
  bool check(const DareExreEntry& entry) const override { return keeps(itsSettings, entry); }

 private:
  Settings itsSettings;
};

template <bool (*keeps)(const Settings& settings, const DareExreEntry& entry)>
std::unique_ptr<DareExreFilter> make_filter(Settings settings) {
  return std::make_unique<PredicateFilter<keeps>>(std::move(settings));
}

bool contains(const std::string* info, const std::string& relation) {
  return info != nullptr && info->find(relation) != std::string::npos;
}

bool has_record_quality(const Settings& settings, const DareExreEntry& entry) {
  return entry.quality >= settings.number;
}

bool has_field_quality(const Settings& settings, const DareExreEntry& entry) {
  return std::max(entry.suggestion->get_field_quality(settings.field), 0) >= settings.number;
}

bool has_field_value(const Settings& settings, const DareExreEntry& entry) {
  const char* value = entry.suggestion->get_field(settings.field);
  return settings.text == (value != nullptr ? value : "");
}

bool includes_relation(const Settings& settings, const DareExreEntry& entry) {
  return contains(entry.info, settings.text);
}

bool excludes_relation(const Settings& settings, const DareExreEntry& entry) {
  return !contains(entry.info, settings.text);
}

bool is_relation(const Settings& settings, const DareExreEntry& entry) {
  return entry.info != nullptr && *entry.info == settings.text;
}

bool passes_all(const Settings& settings, const DareExreEntry& entry) {
  return std::ranges::all_of(settings.filters, [&](const auto& filter) { return filter->check(entry); });
}

bool passes_any(const Settings& settings, const DareExreEntry& entry) {
  return std::ranges::any_of(settings.filters, [&](const auto& filter) { return filter->check(entry); });
}

using Kind = DareExreFilterKind;
constexpr std::array KINDS = {Kind{"record_min_qual", Kind::NUMBER, false, make_filter<has_record_quality>},
                              Kind{"field_min_qual", Kind::NUMBER, true, make_filter<has_field_quality>},
                              Kind{"field_value", Kind::TEXT, true, make_filter<has_field_value>},
                              Kind{"include_relation", Kind::TEXT, false, make_filter<includes_relation>},
                              Kind{"exclude_relation", Kind::TEXT, false, make_filter<excludes_relation>},
                              Kind{"is_relation", Kind::TEXT, false, make_filter<is_relation>},
                              Kind{"and", Kind::FILTERS, false, make_filter<passes_all>},
                              Kind{"or", Kind::FILTERS, false, make_filter<passes_any>}};

}  // namespace

const DareExreFilterKind* DareExreFilterKind::find(std::string_view name) {
  if (name.empty()) name = "and";
  const auto* found = std::ranges::find_if(KINDS, [name](const Kind& kind) { return name == kind.name; });
  return found != KINDS.end() ? found : nullptr;
}
