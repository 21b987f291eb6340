// Any bytes as lines: statistics of two pieces, merged, say what that of the whole says, on a page or in a
// file.
#include <algorithm>
#include <string>

#include "ace/ace_reporter.h"
#include "damo/damo_statistic.h"
#include "support/fuzz_input.h"
#include "support/memory_file.h"

namespace {

constexpr std::size_t MAX_SIZE = 300;  // looked at

std::string written(const DamoStatistic& statistic, bool isPage) {
  const char* const name = support::MEMORY_FILE;
  fuzz::require((isPage ? statistic.write_page(name) : statistic.write_file(name)) == 0);
  return support::memory_file();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  AceReporter::clear_default();
  if (size < 1) return 0;
  const int isUtf = bytes[0] % 2;
  const bool isPage = bytes[0] / 2 % 2 == 1;
  const int numFields = bytes[0] / 4 % 4;
  const std::string text = fuzz::text_of(bytes + 1, std::min(size - 1, MAX_SIZE)).c_str();
  const std::size_t end = std::min(text.find('\n', text.size() / 2), text.size());
  DamoStatistic whole(isUtf, ',', numFields, nullptr), first(isUtf, ',', numFields, nullptr),
      second(isUtf, ',', numFields, nullptr);
  whole.add_line(text.c_str());
  first.add_line(text.substr(0, end + 1).c_str());
  if (end < text.size()) second.add_line(text.c_str() + end + 1);
  fuzz::require(first.merge(&second) == 0);
  fuzz::require(written(first, isPage) == written(whole, isPage));
  return 0;
}
