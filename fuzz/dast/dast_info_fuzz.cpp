// Hostile info maps and interval lists, read in place. The first byte is the kind: 0 a payload from nothing,
// else changes to a sound map of runs (with and without table), of lists or an offset. What is accepted is
// read all over, and saved again is the same map. Paths: tables that disagree with the bounds, bounds that
// fall, lists that do not ascend or leave the other side, counts beyond the file.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "dast/dast_info_map.h"
#include "support/fuzz_input.h"
#include "support/payload.h"

namespace {

using fuzz::require;

constexpr Large MOST_IDS = 100;

std::string image_of(const DastInfoMap* map) {
  return support::image_by([=](AceFile* file) { DastInfoMap::save_map(map, file); });
}

DastInfoMap* sound_map(unsigned kind) {
  DastInterval bounds;
  for (const Large bound : {0, 1, 3, 4, 9, 12}) bounds.add(bound);
  const auto speedup = kind % 2 == 0 ? DastInfoMap::SPEEDUP_ALWAYS : DastInfoMap::SPEEDUP_NEVER;
  DastInfoMap* runs = DastInfoMap::make_map(&bounds, nullptr, speedup, DastInfoMap::COARSER);
  if (kind % 4 < 2) return runs;
  DastInfoMap* map = kind % 8 < 4 ? runs->make_reverse() : DastInfoMap::make_offset_map(3);
  runs->unref();
  return map;
}

void use(const DastInfoMap* map) {
  AceAttach at;
  for (Large id = 0; id < MOST_IDS; ++id) {
    Large entry = 0;
    Large from = 0;
    Large to = 0;
    if (map->range(id, &entry, &from, &to) == 0) require(from <= id && id < to);
    const Large* entries = nullptr;
    const Large count = map->get_entries(id, &entries, &from, &to, &at);
    require(std::is_sorted(entries, entries + count));
    const Large pair[] = {id, id + 7};
    const DastInfoList range(2, pair, true);
    const DastInfoList* up = map->up(&range, &at);
    require(map->get_num_entries(&range) <= up->get_size());
    const DastInfoList* down = map->down(&range, &at);
    require(std::is_sorted(down->get_infos().begin(), down->get_infos().end()));
    const DastInfoList* records = map->down(up, &at);
    if (map->up(id) != DastInfoMap::NONE && map->down(map->up(id)) != DastInfoMap::NONE)
      require(!records->is_empty());
  }
}

void load(const std::string& bytes) {
  support::PayloadFile file(bytes);
  DastInfoMap* map = nullptr;
  try {
    map = DastInfoMap::read_map(file.get());
  } catch (const AceException&) {
  }
  if (map == nullptr) return;
  use(map);
  const std::string saved = image_of(map);
  DastInfoMap::destroy(map);
  support::PayloadFile again(saved);
  DastInfoMap* copy = DastInfoMap::read_map(again.get());
  require(copy != nullptr && image_of(copy) == saved);
  DastInfoMap::destroy(copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::clear_default();
  if (size < 2 || size > 2000) return 0;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  if (data[0] == 0) {
    load(bytes);
    return 0;
  }
  DastInfoMap* map = sound_map(data[0]);
  std::string image = image_of(map);
  DastInfoMap::destroy(map);
  // Pairs of an offset and a value; a last odd byte cuts.
  for (size_t i = 0; i + 2 <= bytes.size(); i += 2)
    image[static_cast<Token>(bytes[i]) % image.size()] = bytes[i + 1];
  if (bytes.size() % 2 == 1) image.resize(image.size() - static_cast<Token>(bytes.back()) % image.size());
  load(image);
  return 0;
}
