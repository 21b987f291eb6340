// Ranges of whole numbers: the input is a factor, the bits of the exponent, the way to ask, and two texts
// with a byte FF between them, a query and a value. The quality must be that of the definition.
#include <cstdlib>
#include <string>

#include "ace/ace_reporter.h"
#include "dime/dime_direct.h"
#include "oracle/numbers.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 3) return 0;
  AceReporter::clear_default();
  constexpr int EXPO_BITS[] = {0, 2, 3, 4, 5};
  constexpr char CODES[] = "!?<>";  // in the order of EvalType
  const int factor = data[0] < 0x80 ? data[0] : data[0] << 23;
  const int expo = EXPO_BITS[data[1] % 5];
  const int way = data[2] % 4;
  const auto [text, value] = fuzz::two_texts(fuzz::text_of(data + 3, size - 3));
  DimeDirectQuery query(text.c_str(), static_cast<DimeDirectMethod::EvalType>(way), factor, expo);
  require(query.is_empty() != 0 ? query.get_from() == -1 && query.get_to() == -1
                                : query.get_from() >= 0 && query.get_from() <= query.get_to());
  const int quality = query.compare(value.c_str());
  require(quality >= 0 && quality <= 255 && (query.is_empty() == 0 || quality == 0));
  if (query.is_empty() != 0) return 0;
  const long number = std::strtol(value.c_str(), nullptr, 10);
  const int expected = oracle::direct_quality(CODES[way], query.get_from(), query.get_to(),
                                              std::max(number, 0L), factor, expo);
  require(quality == expected || value.find_first_of("0123456789") == std::string::npos || quality == 0);
  return 0;
}
