#include "tera/tera_rand.h"

#include <mutex>
#include <random>

namespace {

struct Sequence {
  std::mutex lock;
  std::mt19937 engine;
};

Sequence& sequence() {
  static Sequence process;
  return process;
}

}  // namespace

void tera_srand(unsigned seed) {
  const std::lock_guard<std::mutex> guard(sequence().lock);
  sequence().engine.seed(seed);
}

int tera_rand(int k) {
  if (k < 2) return 0;
  const std::lock_guard<std::mutex> guard(sequence().lock);
  return std::uniform_int_distribution<int>(0, k - 1)(sequence().engine);
}
