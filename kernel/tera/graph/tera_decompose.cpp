#include "tera/tera_decompose.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "tera/result/tera_result_internal.h"
#include "tera/tera_scan.h"

namespace {

constexpr int MAX_QUALITY = TeraEval::PERFECT;

/// A place where the query can be cut.
struct Cut {
  int offset;    // bytes before
  int position;  // positions before
};

/// A query in two parts, and what was found for them.
class Pairing {
 public:
  Pairing(int left_positions, int right_positions) : leftLen(left_positions), rightLen(right_positions) {}

  /// Rounded to the nearest.
  int quality(int left, int right) const {
    const VInt total = VInt{leftLen} + rightLen;
    return static_cast<int>((VInt{leftLen} * left + VInt{rightLen} * right + total / 2) / total);
  }
  /// The least quality of a part with which a pair can reach `wanted`; at least 1.
  int least_left(int wanted) const {
    return least([&](int value) { return quality(value, MAX_QUALITY) >= wanted; });
  }
  int least_right(int wanted) const {
    return least([&](int value) { return quality(MAX_QUALITY, value) >= wanted; });
  }

 private:
  template <class Reaches>
  static int least(Reaches reaches) {
    int value = 1;
    while (value < MAX_QUALITY && !reaches(value)) ++value;
    return value;
  }

  int leftLen;
  int rightLen;
};

/// The places between characters with positions before and behind, the end included.
std::vector<Cut> find_cuts(const char* query, const TeraMap* map) {
  std::vector<Cut> cuts;
  TeraScan scan(map, query, true);
  for (int position = 1; scan.get_next_token() != 0; ++position)
    if (scan.is_char_finished()) cuts.push_back({scan.get_current_off(), position});
  return cuts;
}

std::unique_ptr<TeraCand> make_pair(const TeraCand& left, const TeraCand& right, AceAttach* at) {
  std::vector<Large> numbers;
  append_numbers(left, &numbers);
  append_numbers(right, &numbers);
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  Large* kept = nullptr;
  std::copy(numbers.begin(), numbers.end(), at->malloc(kept, static_cast<long>(numbers.size())));
  const char* string = nullptr;
  if (left.get_string() != nullptr && right.get_string() != nullptr)
    string = at->attach((std::string(left.get_string()) + ' ' + right.get_string()).c_str());
  std::unique_ptr<TeraCand> pair(
      TeraCand::create_collection_cand(string, static_cast<int>(numbers.size()), kept));
  pair->add_state(TeraCand::SECONDARY);
  if (left.is(TeraCand::RESOLVED)) pair->add_state(TeraCand::RESOLVED);
  return pair;
}

/// Adds the pairs, best qualities first, as long as `room` lasts.
void add_pairs(const Pairing& pairing, TeraResult* left, TeraResult* right, TeraResult* result, int* room) {
  left->high_first();
  right->high_first();
  for (const TeraCandGroup* one = left->get_first_group(); one != nullptr; one = one->get_next())
    for (const TeraCandGroup* other = right->get_first_group(); other != nullptr; other = other->get_next()) {
      const int quality = pairing.quality(one->get_value(), other->get_value());
      if (!result->accept(quality)) break;
      for (const TeraCand* a = one->get_first_cand(); a != nullptr; a = a->get_next())
        for (const TeraCand* b = other->get_first_cand(); b != nullptr; b = b->get_next()) {
          if (a->is_special() || b->is_special() || a->is(TeraCand::RESOLVED) != b->is(TeraCand::RESOLVED))
            continue;
          if (--*room < 0) return;
          result->add(quality, make_pair(*a, *b, result).release());
        }
    }
}

}  // namespace

int TeraDecompose::decompose(TeraResult* result, int min_left, int min_right, TeraEval::Model model,
                             const TeraMap* map, const Recall& recall) {
  if (result == nullptr || map == nullptr || !recall || result->get_string() == nullptr) return -1;
  const std::string query = result->get_string();
  const std::vector<Cut> cuts = find_cuts(query.c_str(), map);
  const int length = cuts.empty() ? 0 : cuts.back().position;
  if (length > MAX_POSITIONS) {
    AceReporter::use_default()->printf("Compound of %d positions, of which at most %d are taken apart\n",
                                       length, MAX_POSITIONS);
    return -1;
  }
  int room = TeraResult::MAX_CANDS;
  for (const Cut& cut : cuts) {
    const int behind = length - cut.position;
    if (cut.position < min_left || behind < std::max(min_right, 1) || room < 0) continue;
    const Pairing pairing(cut.position, behind);
    const int wanted = result->get_min_value();
    const auto find = [&](const std::string& text, int least, Direction direction) {
      auto part = std::make_unique<TeraResult>(text.c_str(), result);
      part->clear_resolved();
      part->allow(least, 0);
      part->set_min_value(least);
      recall(part.get(), direction, model);
      return part;
    };
    const auto offset = static_cast<std::size_t>(cut.offset);
    const auto left = find(query.substr(0, offset), pairing.least_left(wanted), PREFIX);
    if (left->num_cands() == 0) continue;
    const auto right = find(query.substr(offset), pairing.least_right(wanted), SUFFIX);
    add_pairs(pairing, left.get(), right.get(), result, &room);
    if (left->is_resolved() && right->is_resolved()) result->set_resolved();
  }
  if (room < 0) result->set_unreliable();
  return result->merge_unresolved(nullptr, nullptr);
}
