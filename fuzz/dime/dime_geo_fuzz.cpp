// Coordinates: the input is a unit size, a half distance, a hit circle, and two texts with a byte FF between
// them, a query and a value. Texts that a regular reader takes must be read like it does, and the quality be
// that of the definition for the box that was read.
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ace/ace_reporter.h"
#include "dime/dime_geo.h"
#include "oracle/places.h"
#include "support/fuzz_input.h"
#include "tera/tera_query_kinds.h"

namespace {

using fuzz::require;

/// The same by the C library.
DimeCord read_again(const char* text) {
  char* end = nullptr;
  const double x = std::strtod(std::to_string(std::strtoll(text, &end, 10)).c_str(), nullptr);
  if (end == text || *end != ',') return {};
  const char* second = end + 1;
  const double y = std::strtod(std::to_string(std::strtoll(second, &end, 10)).c_str(), nullptr);
  const auto isInt = [](double value) { return value >= INT_MIN && value <= INT_MAX; };
  if (end == second || *end != '\0' || !isInt(x) || !isInt(y)) return {};
  return {static_cast<int>(x), static_cast<int>(y)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 3) return 0;
  AceReporter::clear_default();
  const auto [text, value] = fuzz::two_texts(fuzz::text_of(data + 3, size - 3));
  const DimeCord cord(value.c_str(), 10);
  require(value.empty() || cord == read_again(value.c_str()));
  for (const int base : {2, 16, 36}) DimeCord(value.c_str(), base);
  const DimeBox box(text.c_str());
  require(box.blCord.xPos <= box.trCord.xPos && box.blCord.yPos <= box.trCord.yPos);
  char options[100];
  std::snprintf(options, sizeof options, "-xunit %d -yunit 3 -half_approx %d -hitcircle_approx %d",
                data[0] + 1, data[1], data[2]);
  DimeGeoMethod method;
  require(method.configure_recall_options(options) == 0);
  const TeraQueryRef query(method.eval(DastOptions::APPROX, text.c_str(), nullptr));
  const double distance =
      oracle::place_distance({{box.blCord.xPos, box.blCord.yPos}, {box.trCord.xPos, box.trCord.yPos}},
                             {cord.xPos, cord.yPos}, data[0] + 1, 3);
  const int quality = query->compare(value.c_str());
  require(value.empty() ? quality == 0
                        : std::abs(quality - oracle::place_quality(distance, data[1], data[2])) <= 1);
  AceAttach at;
  query->display(value.c_str(), &at);
  return 0;
}
