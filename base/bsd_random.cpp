// The type-3 additive-feedback generator of the BSD and glibc random() family.
#include "base/bsd_random.h"

namespace hordera {

BsdRandom::BsdRandom(uint32_t seed) {
  int32_t word = static_cast<int32_t>(seed == 0 ? 1 : seed);
  state_[0] = static_cast<uint32_t>(word);
  // Park-Miller minimal standard sequence, by Schrage's method to stay within 32 bits.
  for (int i = 1; i < kDegree; ++i) {
    const int32_t hi = word / 127773;
    const int32_t lo = word % 127773;
    word = 16807 * lo - 2836 * hi;
    if (word < 0) word += 2147483647;
    state_[i] = static_cast<uint32_t>(word);
  }
  for (int i = 0; i < kDegree * 10; ++i) next();
}

int32_t BsdRandom::next() {
  // Unsigned words: the sum wraps modulo 2^32 exactly as the C library's does.
  const uint32_t value = state_[front_] += state_[rear_];
  front_ = front_ + 1 == kDegree ? 0 : front_ + 1;
  rear_ = rear_ + 1 == kDegree ? 0 : rear_ + 1;
  return static_cast<int32_t>(value >> 1);
}

}  // namespace hordera
