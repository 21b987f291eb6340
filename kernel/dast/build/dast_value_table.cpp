#include <algorithm>

#include "dast/build/dast_value_table_internal.h"

namespace {
constexpr std::size_t FIRST_SLOTS = 1024;
}

DastValueTable::DastValueTable() : slots(FIRST_SLOTS, NONE) {}

Large DastValueTable::enter(std::string_view text) {
  std::size_t slot = find_slot(text);
  if (slots[slot] != NONE) return slots[slot];
  if (2 * (values.size() + 1) > slots.size()) {
    grow();
    slot = find_slot(text);
  }
  const auto number = static_cast<Large>(values.size());
  values.push_back({store(text), static_cast<Large>(text.size()), 0, 0});
  slots[slot] = number;
  return number;
}

Large DastValueTable::find(std::string_view text) const {
  return slots[find_slot(text)];
}

void DastValueTable::grow() {
  std::vector<Large> wider(2 * slots.size(), NONE);
  const std::size_t mask = wider.size() - 1;
  for (Large number = 0; number < size(); ++number) {
    std::size_t slot = hash(values[number].view()) & mask;
    while (wider[slot] != NONE) slot = (slot + 1) & mask;
    wider[slot] = number;
  }
  slots.swap(wider);
}

const char* DastValueTable::store(std::string_view text) {
  const std::size_t room = text.size() + 1;
  if (room > blockLeft) {
    blockLeft = std::max(room, BLOCK_SIZE_BYTES);
    blocks.push_back(std::make_unique<char[]>(blockLeft));
    blockPos = blocks.back().get();
  }
  char* copy = blockPos;
  text.copy(copy, text.size());
  copy[text.size()] = '\0';
  blockPos += room;
  blockLeft -= room;
  numBytes += static_cast<VInt>(room);
  return copy;
}
