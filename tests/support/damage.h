/// Damaged copies of a file's bytes: what a reader must refuse or survive.
#pragma once

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

namespace support {

inline std::string cut(std::string_view bytes, std::size_t length) {
  return std::string(bytes.substr(0, length));
}

inline std::string flip(std::string_view bytes, std::size_t bit) {
  std::string damaged(bytes);
  damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
  return damaged;
}

/// `bytes` with the `word` written over those at `offset`.
template <class Word>
std::string overwrite(std::string_view bytes, std::size_t offset, Word word) {
  return std::string(bytes).replace(offset, sizeof word,
                                    std::string_view(reinterpret_cast<const char*>(&word), sizeof word));
}

/// Calls `use(damaged, what)` with the bytes cut at every length and with every bit flipped; `what` says
/// which.
template <class Use>
void for_each_damage(std::string_view bytes, Use use) {
  for (std::size_t length = 0; length < bytes.size(); ++length)
    use(cut(bytes, length), "cut at " + std::to_string(length));
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit)
    use(flip(bytes, bit), "bit " + std::to_string(bit) + " flipped");
}

/// The same with each aligned word of the bytes replaced by numbers that calculations do not expect.
template <class Use>
void for_each_hostile_word(std::string_view bytes, Use use) {
  constexpr int HOSTILE[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, 0x10000, INT_MAX - 1, INT_MAX};
  for (std::size_t offset = 0; offset + sizeof(int) <= bytes.size(); offset += sizeof(int))
    for (const int word : HOSTILE)
      use(overwrite(bytes, offset, word), std::to_string(word) + " at " + std::to_string(offset));
}

}  // namespace support
