// Texts as dates: what is read is printed and read again in its format, and asked for. The first byte is the
// format.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "dime/dime_date.h"
#include "tera/tera_reader.h"
#include "tera/tera_scan_graph.h"

namespace {

DimeDateMethod& method() {
  static DimeDateMethod built;
  static const bool isBuilt = [] {
    AceReporter::clear_default();
    built.configure_build_options("-format SHORT_DE", nullptr);
    std::string lines =
        "1\t3.4.1985\n2\t1985\n3\t4.1985\n4\tno date\n5\t29.2.2001\n6\t31.12.9999\n7\t1.1.30\n";
    AceInput input(lines.data(), true);
    TeraStandardReader reader(&input, 16);
    return built.make(&reader, 0, nullptr, nullptr) == 0 &&
           built.configure_recall_options("-switched -smth STRING_TIME") == 0;
  }();
  if (!isBuilt) std::abort();
  return built;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 300) return 0;
  const DimeDateMethod& dates = method();
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto format = static_cast<DimeDateText::DateFormat>(data[0] % DimeDateText::NUM_DATE_MODES);
  const int value = DimeDateText::read_date(text.c_str(), format, &dates.get_month_finder());
  AceAttach at;
  if (value != DimeDateText::NO_DATE) {
    const char* const printed = DimeDateText::print_date(value, format, &at);
    if (DimeDateText::read_date(printed, format, &dates.get_month_finder()) != value) std::abort();
  }
  for (const DastOptions::Call call :
       {DastOptions::EXACT, DastOptions::APPROX, DastOptions::COMPLETE, DastOptions::FS_DETECT})
    if (TeraScanGraph* graph = dates.lookup(text.c_str(), call, AceReporter::null()); graph != nullptr)
      graph->decr_ref();
  return 0;
}
