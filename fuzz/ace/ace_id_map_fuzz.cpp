// Hostile id maps, read in place. The first byte is the kind: 0 a payload from nothing, else changes to a
// sound map whose representation that byte chooses. What is accepted is read all over, and saved again is
// the same map. Paths: every mode, sections, reverse index with and without blocks, offsets that go back or
// out, numbers of shared lists that are not there.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "support/payload.h"

namespace {

using fuzz::require;
using support::image_of;

constexpr Large MOST_SLOTS = 5000;  // maps of few bytes have that many only in sparse modes

struct NarrowIdMap : AceIdMap {
  NarrowIdMap() { offsetBits = 3; }
};

/// `kind` chooses the mode, sections, and whether values are sparse enough for a block index.
std::string sound_image(unsigned kind) {
  static constexpr int MODES[] = {4, 5, 6, 7, 12, 14, 20, 22, 21, 15};
  const Large step = kind / 20 % 2 == 0 ? 1 : 1000;
  AceBulk bulk;
  std::vector<AceBulk::List*> lists(12);
  for (Large value = 0; value < 20; ++value) bulk.inc(lists[value * value % 11], (1 + value) * step);
  NarrowIdMap narrow;
  AceIdMap wide;
  AceIdMap& map = kind / 10 % 2 == 0 ? wide : narrow;
  require(map.make(12, lists.data(), MODES[kind % 10], nullptr) == 0 && map.build_reverse() == 0);
  return image_of(map);
}

void use(const AceIdMap& map, const std::string& bytes) {
  VUint sum = 0;
  Large key = 0;
  const Large* values = nullptr;
  Large slot = 0;
  for (; slot < MOST_SLOTS; ++slot) {
    const VInt count = map.get_by_index(slot, key, values);
    if (count < 0) break;
    require(count == map.get_size(key));
    for (VInt i = 0; i < count; ++i) sum += values[i] + map.get_index(values[i]);
  }
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    Large number = 0;
    bytes.copy(reinterpret_cast<char*>(&number), 4, i);
    for (const Large value : map.get(number)) sum += value;
    require(map.get_index(number) == AceIdMap::NONE || map.get_index(number) < map.get_num_keys());
  }
  map.print(sum == 1 ? nullptr : AceReporter::null());
}

void load(const std::string& bytes) {
  support::PayloadFile file(bytes);
  AceIdMap map;
  try {
    const bool isRead = map.read(file.get()) == 0;
    use(map, bytes);
    if (!isRead) require(map.get_num_keys() == 0);
    if (!isRead) return;
  } catch (const AceException&) {
    require(map.get_num_keys() == 0);
    return;
  }
  const std::string saved = image_of(map);
  support::PayloadFile again(saved);
  AceIdMap copy;
  require(copy.read(again.get()) == 0 && image_of(copy) == saved);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::clear_default();
  if (size < 2 || size > 4000) return 0;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  load(data[0] == 0 ? bytes : fuzz::damaged(sound_image(data[0]), bytes));
  return 0;
}
