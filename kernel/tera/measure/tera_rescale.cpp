#include "tera/tera_rescale.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"

namespace {

constexpr int PERFECT = 255;
constexpr int MAX_CUSTOM = 255;

/// In the order of the enum.
constexpr const char* SHAPE_NAMES[] = {"IDENTITY", "MANDATORY", "OPTIONAL", "FILTER",
                                       "NOT",      "CUSTOM",    "RESCALE"};

const char* shape_name(RescaleShape shape) {
  const int index = static_cast<int>(shape);
  return index >= 0 && index < static_cast<int>(std::size(SHAPE_NAMES)) ? SHAPE_NAMES[index] : "UNKNOWN";
}

int clamp(VInt value) {
  return static_cast<int>(std::clamp<VInt>(value, 0, PERFECT));
}

/// Fills a table with `value_of(v)`, and 255 for 255 where perfect hits are kept.
template <class ValueOf>
void fill(std::array<int, TeraRescale::NUM_VALUES>* table, bool keep_perfect, ValueOf value_of) {
  for (int v = 0; v < TeraRescale::NUM_VALUES; ++v) (*table)[static_cast<std::size_t>(v)] = value_of(v);
  if (keep_perfect) table->back() = PERFECT;
}

}  // namespace

TeraIdentityRescale::TeraIdentityRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  fill(&rescaledValues, config.get_keep_perfect() != 0, [=](int v) { return clamp(v - penalty); });
}

TeraMandatoryRescale::TeraMandatoryRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const int threshold = config.get_threshold();
  fill(&rescaledValues, config.get_keep_perfect() != 0,
       [=](int v) { return v < threshold ? 0 : clamp(v - penalty); });
}

TeraOptionalRescale::TeraOptionalRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const int threshold = config.get_threshold();
  fill(&rescaledValues, config.get_keep_perfect() != 0,
       [=](int v) { return clamp((v < threshold ? threshold : v) - penalty); });
}

TeraFilterRescale::TeraFilterRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const int threshold = config.get_threshold();
  fill(&rescaledValues, config.get_keep_perfect() != 0,
       [=](int v) { return v < threshold ? REJECTED : clamp(v - penalty); });
}

TeraNotRescale::TeraNotRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const int threshold = config.get_threshold();
  const int missing = static_cast<int>(std::clamp<VInt>(PERFECT - penalty, INT_MIN, INT_MAX));
  fill(&rescaledValues, false, [=](int v) { return v < threshold ? missing : REJECTED; });
}

TeraCustomRescale::TeraCustomRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const int* custom = config.get_custom_rescale();
  fill(&rescaledValues, config.get_keep_perfect() != 0, [=](int v) { return clamp(custom[v] - penalty); });
}

TeraLinearRescale::TeraLinearRescale(const TeraRescaleConfig& config) {
  const VInt penalty = config.get_penalty();
  const VInt threshold = config.get_threshold();
  fill(&rescaledValues, config.get_keep_perfect() != 0, [=](int v) {
    if (v < threshold) return 0;
    if (v == threshold) return static_cast<int>(std::min<VInt>(std::max<VInt>(-penalty, 0), INT_MAX));
    return clamp(PERFECT * (v - threshold) / (PERFECT - threshold) -
                 penalty);  // v > threshold, so it is below 255
  });
}

bool TeraRescale::check_monotonicity() const {
  if (std::is_sorted(rescaledValues.begin(), rescaledValues.end())) return true;
  AceReporter::use_default()->ev_wprintf(
      "Rescale '%s' is not monotonically increasing. This may lead to unexpected behaviour during recall",
      shape_name(get_type()));
  return false;
}

TeraRescale* TeraRescale::create_rescale(const TeraRescaleConfig* config, int no_check) {
  TeraRescale* made = nullptr;
  switch (config->get_shape()) {
    case RescaleShape::IDENTITY:
      made = new TeraIdentityRescale(*config);
      break;
    case RescaleShape::MANDATORY:
      made = new TeraMandatoryRescale(*config);
      break;
    case RescaleShape::OPTIONAL:
      made = new TeraOptionalRescale(*config);
      break;
    case RescaleShape::FILTER:
      made = new TeraFilterRescale(*config);
      break;
    case RescaleShape::NOT:
      made = new TeraNotRescale(*config);
      break;
    case RescaleShape::CUSTOM:
      if (config->get_custom_rescale() == nullptr) {
        AceReporter::use_default()->ev_wprintf("Cannot instantiate custom rescale without rescale values");
        return nullptr;
      }
      made = new TeraCustomRescale(*config);
      break;
    case RescaleShape::RESCALE:
      made = new TeraLinearRescale(*config);
      break;
    case RescaleShape::UNKNOWN:
      AceReporter::use_default()->ev_wprintf("Cannot instantiate rescale: Shape '%s' is unknown",
                                             config->get_shape_name());
      return nullptr;
  }
  if (made != nullptr && no_check == 0) made->check_monotonicity();
  return made;
}

// ---------------------------------------------------------------- configuration

TeraRescaleConfig::TeraRescaleConfig(RescaleShape shape, int penalty, int threshold, int keep_perfect,
                                     const int* custom)
    : shapeConf(shape), rescalePenalty(penalty), rescaleThreshold(threshold), keepPerfect(keep_perfect) {
  set_custom_rescale(custom);
}

TeraRescaleConfig::TeraRescaleConfig(const char* shape, int penalty, int threshold, int keep_perfect,
                                     const int* custom)
    : TeraRescaleConfig(enum_from_str(shape), penalty, threshold, keep_perfect, custom) {}

RescaleShape TeraRescaleConfig::enum_from_str(const char* name) {
  if (name == nullptr) return RescaleShape::UNKNOWN;
  if (*name == '\0') return RescaleShape::IDENTITY;
  for (std::size_t shape = 0; shape < std::size(SHAPE_NAMES); ++shape) {
    const char* known = SHAPE_NAMES[shape];
    std::size_t i = 0;
    while (name[i] != '\0' && toupper_C(name[i]) == known[i]) ++i;
    if (name[i] == '\0' && known[i] == '\0') return static_cast<RescaleShape>(shape);
  }
  return RescaleShape::UNKNOWN;
}

int TeraRescaleConfig::set_shape_name(const char* name) {
  shapeConf = enum_from_str(name);
  return shapeConf == RescaleShape::UNKNOWN ? -1 : 0;
}

const char* TeraRescaleConfig::get_shape_name() const {
  return shape_name(shapeConf);
}

void TeraRescaleConfig::set_custom_rescale(const int* values) {
  if (values == nullptr) {
    customShape = nullptr;
    return;
  }
  int* copied = nullptr;
  malloc(copied, TeraRescale::NUM_VALUES);
  std::copy_n(values, TeraRescale::NUM_VALUES, copied);
  customShape = copied;
}

int TeraRescaleConfig::parse_custom_shape(const char* text) {
  if (text == nullptr || std::count(text, text + std::strlen(text), ';') != TeraRescale::NUM_VALUES - 1)
    return -1;
  int values[TeraRescale::NUM_VALUES];
  for (int& value : values) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    value = end == text ? -1 : static_cast<int>(std::clamp<long>(number, INT_MIN, MAX_CUSTOM));
    text = end + std::strcspn(end, ";");
    if (*text != '\0') ++text;
  }
  set_custom_rescale(values);
  return 0;
}

void TeraRescaleConfig::copy(const TeraRescaleConfig* other) {
  if (other == this) return;
  shapeConf = other->shapeConf;
  rescalePenalty = other->rescalePenalty;
  rescaleThreshold = other->rescaleThreshold;
  keepPerfect = other->keepPerfect;
  set_custom_rescale(other->customShape);
}
