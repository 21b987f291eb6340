// Value counters: the input is a payload; what can be read is asked and matched, and written again.
#include <cstring>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "tera/tera_count.h"
#include "tera/tera_result.h"

namespace {

constexpr int MOST_ENTRIES = 100000;

void ask(TeraCount* count) {
  AceAttach at;
  Large* entries = nullptr;
  const int list[] = {0, ~1, 2, ~3};
  for (int n = 1; n <= 4; ++n) {
    count->get_exact(n, list, &at);
    count->get_first_entry(count->get_group(n, list, &at));
    count->get_numeric_exact(5, 0, n, n % 2, &at);
    count->get_numeric_geq(5, 0, n, &at);
    count->get_numeric_smaller(5, 0, n, &at);
    count->get_all_combis(n, &entries, &at);
  }
  AceBulk bulk;
  count->fold(3, 4, list, nullptr, &bulk);
  count->reeval(3, 4, list, list);
  count->num_groups(7);
  count->get_density();
  const VBit* bits[] = {count->get_array(0), count->get_array(1), count->get_array(2)};
  TeraResult result("", 1, 100, 255, nullptr);
  count->match(&result, 3, bits, TeraEval::MEAN);
  const int flags[] = {0, 2};
  count->set_flags_horizontal(1, 2, flags);
  AceFile measure;
  count->save(&measure);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  std::vector<long> aligned(size / sizeof(long) + 1);
  if (size > 0) std::memcpy(aligned.data(), data, size);
  AceFile file;
  file.init_read(reinterpret_cast<const char*>(aligned.data()), size > 0 ? static_cast<VInt>(size) : 1);
  TeraCount count;
  try {
    if (count.read(&file) >= 0 && count.get_num_entries() <= MOST_ENTRIES) ask(&count);
  } catch (const AceException&) {  // ends early
  }
  return 0;
}
