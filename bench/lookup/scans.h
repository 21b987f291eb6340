/// Scans of all entries, the peers of a look-up.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_map.h"

#ifdef BENCH_HAS_RAPIDFUZZ
#include <rapidfuzz/distance.hpp>
#endif

namespace lookup {

/// Entries as token strings, by their length.
inline std::vector<std::vector<std::string>> buckets(const std::vector<std::string>& entries,
                                                     const TeraMap& map) {
  std::vector<std::vector<std::string>> all;
  AceAttach at;
  for (const std::string& entry : entries) {
    const std::string tokens(reinterpret_cast<const char*>(map.convert(entry.c_str(), true, &at)));
    if (tokens.size() >= all.size()) all.resize(tokens.size() + 1);
    all[tokens.size()].push_back(tokens);
    at.release();
  }
  return all;
}

#ifdef BENCH_HAS_RAPIDFUZZ

/// The batch form: entries of one length side by side in SIMD registers.
struct Batch {
  virtual ~Batch() = default;
  virtual void distances(const std::string& query, std::size_t cutoff,
                         std::vector<std::size_t>* out) const = 0;
};
template <int MAX>
struct BatchOf : Batch {
  explicit BatchOf(const std::vector<std::string>& entries) : num(entries.size()), scorer(entries.size()) {
    for (const std::string& entry : entries) scorer.insert(entry);
  }
  void distances(const std::string& query, std::size_t cutoff, std::vector<std::size_t>* out) const override {
    out->resize(scorer.result_count());
    scorer.distance(out->data(), out->size(), query, cutoff);
    out->resize(num);  // what fills the last register is no entry
  }
  std::size_t num;
  rapidfuzz::experimental::MultiLevenshtein<MAX> scorer;
};
inline std::unique_ptr<Batch> make_batch(const std::vector<std::string>& entries, std::size_t length) {
  if (length <= 8) return std::make_unique<BatchOf<8>>(entries);
  if (length <= 16) return std::make_unique<BatchOf<16>>(entries);
  if (length <= 32) return std::make_unique<BatchOf<32>>(entries);
  return std::make_unique<BatchOf<64>>(entries);
}

/// Batches by length; those of more than 64 tokens are left out, as those of none.
inline std::vector<std::unique_ptr<Batch>> batches(const std::vector<std::vector<std::string>>& all) {
  std::vector<std::unique_ptr<Batch>> made(all.size());
  for (std::size_t n = 1; n < all.size() && n <= 64; ++n)
    if (!all[n].empty()) made[n] = make_batch(all[n], n);
  return made;
}

#endif

}  // namespace lookup
