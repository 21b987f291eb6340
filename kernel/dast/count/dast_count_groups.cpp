// Groups of neighbouring values (dast_count.h).
#include <cstring>

#include "dast/count/dast_count_cands_internal.h"
#include "dast/dast_string_storage.h"
#include "tera/tera_result.h"

using dast::FreqStruct;

namespace {

/// Fewer groups are not worth it, unless their number is enforced.
constexpr VInt LEAST_HALVED = 6;
constexpr VInt LEAST_GROUPS = 3;
/// Groups have more records than that on average.
constexpr VInt LEAST_RECORDS = 2;

/// The shortest beginning of `text` that `other` does not have; of whole characters in UTF-8.
std::string shortest_beginning(const std::string& text, const std::string& other, bool is_utf) {
  std::size_t length = 0;
  while (length < text.size() && length < other.size() && text[length] == other[length]) ++length;
  length = std::min(length + 1, text.size());
  const auto isInside = [&] { return (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80; };
  while (is_utf && length < text.size() && isInside()) ++length;
  return text.substr(0, length);
}

}  // namespace

bool CountCandCreator::group_cands() {
  const Large numIds = itsTask.field.get_all_base_ids();
  const bool isNumeric = itsTask.field.is_numeric();
  const bool isLarge = VInt{targetResult->get_biggest()} < VInt{numIds};
  if (itsTask.has(DastCount::COLLAPSE_ARRAY) && isNumeric && isLarge && group_collapse()) return true;
  if (!itsLimits.empty()) return group_fixed();
  const VInt numGroups = choose_group_number();
  if (numGroups == 0 || itsCounted.values.empty()) return false;
  const VInt step = itsCounted.total / numGroups;
  if (!isNumeric) return group_strings(step, numGroups);
  return itsTask.has(DastCount::GROUP_EQUIDISTANT) ? group_equidistant(numGroups)
                                                   : group_numeric(step, numGroups);
}

/// 0 when there are too few values or records for groups.
VInt CountCandCreator::choose_group_number() const {
  const VInt wanted = targetResult->get_num_cands();
  if (itsTask.has(DastCount::ENFORCE_GROUP_NO)) return wanted;
  const VInt few = std::min<VInt>(itsTask.field.get_all_base_ids() / 2, wanted);
  VInt number = std::max(LEAST_GROUPS, few);
  const auto fits = [&] {
    return itsCounted.total / number > LEAST_RECORDS && number < VInt{itsCounted.numValues};
  };
  if (fits()) return number;
  if (few < LEAST_HALVED) return 0;
  do {
    number /= 2;
    if (number < LEAST_HALVED) return 0;
  } while (!fits());
  return number;
}

/// Stretches of more than `step` records, which is the average of what is left from group to group.
std::vector<CountCandCreator::Stretch> CountCandCreator::cut(VInt step, VInt num_groups) const {
  std::vector<Stretch> groups;
  VInt left = itsCounted.total;
  VInt size = 0;
  std::size_t first = 0;
  for (std::size_t i = 0; i < itsCounted.values.size(); ++i) {
    size += itsCounted.values[i].freq;
    if (size <= std::max<VInt>(step, 2) && i + 1 < itsCounted.values.size()) continue;
    groups.push_back({first, i + 1});
    left -= size;
    if (--num_groups > 0) step = left / num_groups;
    size = 0;
    first = i + 1;
  }
  return groups;
}

bool CountCandCreator::group_numeric(VInt step, VInt num_groups) {
  for (const Stretch& group : cut(step, num_groups))
    add_group(group, get_string(group.first) + "-" + get_string(group.end - 1));
  return true;
}

bool CountCandCreator::group_strings(VInt step, VInt num_groups) {
  const std::vector<Stretch> groups = cut(step, num_groups);
  for (std::size_t i = 0; i < groups.size(); ++i) add_group(groups[i], short_label(groups, i));
  return true;
}

/// Beginnings say nothing of dates and numbers.
bool CountCandCreator::is_text_order() const {
  const char* name = itsTask.field.get_collation_name();
  if (name == nullptr) return true;
  const auto is = [name](const char* kind) { return std::strncmp(name, kind, std::strlen(kind)) == 0; };
  return !is("date") && !is("numeric") && !is("multi_price");
}

std::string CountCandCreator::short_label(const std::vector<Stretch>& groups, std::size_t index) const {
  const std::string first = get_string(groups[index].first);
  const std::string last = get_string(groups[index].end - 1);
  const bool isUtf = itsTask.has(DastCount::IS_UTF);
  if (!is_text_order()) return first == last ? first : first + "-" + last;
  const std::string before = index > 0 ? get_string(groups[index - 1].end - 1) : "";
  const std::string behind = index + 1 < groups.size() ? get_string(groups[index + 1].first) : "";
  const std::string lower = shortest_beginning(first, before, isUtf);
  std::string upper = shortest_beginning(last, behind, isUtf);
  if (first == last) return lower.size() > upper.size() ? lower : upper;
  if (const std::string apart = shortest_beginning(last, first, isUtf); apart.size() > upper.size())
    upper = apart;  // "bas-bi" and not "bas-b"
  return lower + "-" + upper;
}

VInt CountCandCreator::get_number(std::size_t index) const {
  const DastStringStorage* storage = itsTask.field.get_string_storage();
  return storage != nullptr ? storage->get_count_weight(itsCounted.values[index].id) : -1;
}

/// Values are in the order of their numbers, with the empty one, which has none, in front.
bool CountCandCreator::group_equidistant(VInt num_groups) {
  const std::size_t end = itsCounted.values.size();
  std::size_t pos = 0;
  while (pos < end && get_number(pos) < 0) ++pos;
  if (pos > 0) add_group({0, pos}, "");
  if (pos == end) return true;
  const VInt highest = get_number(end - 1);
  VInt lower = get_number(pos);
  const VInt width = (highest - lower) / num_groups + 1;
  for (VInt left = num_groups; left > 0 && lower <= highest; --left) {
    const VInt upper = highest - lower < width ? highest : lower + width - 1;
    const std::size_t first = pos;
    while (pos < end && get_number(pos) <= upper) ++pos;
    if (pos > first || !itsTask.has(DastCount::REMOVE_EMPTY))
      add_group({first, pos}, std::to_string(lower) + "-" + std::to_string(upper));
    if (upper == highest) break;
    lower = upper + 1;
  }
  return true;
}

bool CountCandCreator::group_fixed() {
  const auto& values = itsCounted.values;
  const auto position = [&](Large id) {
    const auto found =
        std::lower_bound(values.begin(), values.end(), FreqStruct{id, 0, 0}, FreqStruct::is_before);
    return static_cast<std::size_t>(found - values.begin());
  };
  for (const LimitStruct& limit : itsLimits) {
    const Stretch group{position(limit.first), position(limit.end)};
    if (group.first < group.end) add_group(group, limit.label);
  }
  return true;
}

/// Each value fills a group by wanted / values of what it holds.
bool CountCandCreator::group_collapse() {
  const VInt wanted = targetResult->get_num_cands();
  const auto numValues = static_cast<VInt>(itsCounted.values.size());
  if (wanted >= numValues) return false;
  VInt fill = 0;
  Stretch group{0, 0};
  for (; group.end < itsCounted.values.size(); ++group.end) {
    if (fill >= numValues) {
      add_group(group, get_string(group.first));
      fill -= numValues;
      group.first = group.end;
    }
    fill += wanted;
  }
  if (group.first < group.end) add_group(group, get_string(group.first));
  return true;
}

void CountCandCreator::add_group(const Stretch& group, const std::string& label) {
  const VInt figure =
      group.first < group.end ? itsCounted.fold(itsTask.config.relOp, group.first, group.end) : 0;
  add(TeraResult::MAX_VALUE, targetResult->attach(label.c_str()), group, figure, TeraCand::GROUP);
}
