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
  void check(const Entries& entries, Kept* kept) const override {
    for (std::size_t i = 0; i < entries.size(); ++i)
      if ((*kept)[i] != 0 && !keeps(itsSettings, entries[i])) (*kept)[i] = 0;
  }

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

class AndFilter : public DareExreFilter {
 public:
  explicit AndFilter(Settings settings) : subFilters(std::move(settings.filters)) {}
  void check(const Entries& entries, Kept* kept) const override {
    for (const auto& filter : subFilters) filter->check(entries, kept);
  }

 private:
  std::vector<std::unique_ptr<DareExreFilter>> subFilters;
};

class OrFilter : public DareExreFilter {
 public:
  explicit OrFilter(Settings settings) : subFilters(std::move(settings.filters)) {}
  /// What one has kept, the next ones need not look at.
  void check(const Entries& entries, Kept* kept) const override {
    Kept left = *kept;
    for (const auto& filter : subFilters) {
      Kept passed = left;
      filter->check(entries, &passed);
      for (std::size_t i = 0; i < left.size(); ++i) left[i] = left[i] != 0 && passed[i] == 0 ? 1 : 0;
    }
    for (std::size_t i = 0; i < left.size(); ++i)
      if (left[i] != 0) (*kept)[i] = 0;
  }

 private:
  std::vector<std::unique_ptr<DareExreFilter>> subFilters;
};

template <class Filter>
std::unique_ptr<DareExreFilter> make_compound(Settings settings) {
  return std::make_unique<Filter>(std::move(settings));
}

using Kind = DareExreFilterKind;
constexpr std::array KINDS = {Kind{"record_min_qual", Kind::NUMBER, false, make_filter<has_record_quality>},
                              Kind{"field_min_qual", Kind::NUMBER, true, make_filter<has_field_quality>},
                              Kind{"field_value", Kind::TEXT, true, make_filter<has_field_value>},
                              Kind{"include_relation", Kind::TEXT, false, make_filter<includes_relation>},
                              Kind{"exclude_relation", Kind::TEXT, false, make_filter<excludes_relation>},
                              Kind{"is_relation", Kind::TEXT, false, make_filter<is_relation>},
                              Kind{"and", Kind::FILTERS, false, make_compound<AndFilter>},
                              Kind{"or", Kind::FILTERS, false, make_compound<OrFilter>}};

}  // namespace

const DareExreFilterKind* DareExreFilterKind::find(std::string_view name) {
  if (name.empty()) name = "and";
  const auto* found = std::ranges::find_if(KINDS, [name](const Kind& kind) { return name == kind.name; });
  return found != KINDS.end() ? found : nullptr;
}
