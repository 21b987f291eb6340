/// Texts that are kept, and numbers for keys.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

/// Copies of texts, one behind the other.
class DamoTexts {
 public:
  std::string_view keep(std::string_view text) {
    if (text.size() > left) add_block(text.size());
    char* const copy = next;
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    next += text.size();
    left -= text.size();
    return {copy, text.size()};
  }

 private:
  static constexpr std::size_t BLOCK = std::size_t{1} << 18;

  void add_block(std::size_t least) {
    const std::size_t size = std::max(least, BLOCK);
    blocks.push_back(std::make_unique_for_overwrite<char[]>(size));
    next = blocks.back().get();
    left = size;
  }

  std::vector<std::unique_ptr<char[]>> blocks;
  char* next = nullptr;
  std::size_t left = 0;
};

/// Keys, numbered from 0 as they come. Their texts are the caller's and stay. Where memory runs out, nothing
/// has changed.
///
///     slots      | hash, 1 | free | free | hash, 0 | hash, 2 |     a key is at its hash, or in the next
///     keys       | "Ann" | "Bob" | "Zoe" |                         free slot behind it
class DamoKeyTable {
 public:
  static constexpr std::size_t NONE = static_cast<std::size_t>(-1);

  static std::size_t hash_of(std::string_view key) { return std::hash<std::string_view>()(key); }

  std::size_t size() const { return keys.size(); }
  std::string_view key(std::size_t number) const { return keys[number]; }
  /// NONE for a key that is not there.
  std::size_t find(std::string_view key) const {
    if (slots.empty()) return NONE;
    const Slot& slot = slots[place_of(key, short_hash(key))];
    return slot.number != FREE ? slot.number : NONE;
  }
  /// Adds a key that is not there. Returns its number.
  std::size_t add(std::string_view key) {
    if (keys.size() * 2 >= slots.size()) grow();
    if (keys.size() >= FREE) throw std::bad_alloc();
    const std::uint32_t hash = short_hash(key);
    const std::size_t place = place_of(key, hash);
    keys.push_back(key);
    slots[place] = {hash, static_cast<std::uint32_t>(keys.size() - 1)};
    return keys.size() - 1;
  }

 private:
  static constexpr std::uint32_t FREE = static_cast<std::uint32_t>(-1);
  static constexpr std::size_t FIRST_SIZE = 64;

  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = FREE;
  };

  static std::uint32_t short_hash(std::string_view key) { return static_cast<std::uint32_t>(hash_of(key)); }
  /// The slot of a key, or the free one where it belongs.
  std::size_t place_of(std::string_view key, std::uint32_t hash) const {
    const std::size_t last = slots.size() - 1;
    std::size_t place = hash & last;
    while (slots[place].number != FREE && (slots[place].hash != hash || keys[slots[place].number] != key))
      place = (place + 1) & last;
    return place;
  }
  void grow() {
    std::vector<Slot> larger(std::max(2 * slots.size(), FIRST_SIZE));
    const std::size_t last = larger.size() - 1;
    for (const Slot& slot : slots) {
      if (slot.number == FREE) continue;
      std::size_t place = slot.hash & last;
      while (larger[place].number != FREE) place = (place + 1) & last;
      larger[place] = slot;
    }
    slots.swap(larger);
  }

  std::vector<Slot> slots;  // a power of two, at most half of them taken
  std::vector<std::string_view> keys;
};
