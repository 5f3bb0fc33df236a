// A private additive-feedback random generator that produces exactly the sequence of the BSD and
// glibc random() of type 3 (degree 31, separation 3), so that tables built from it do not depend
// on other users of the process-wide generator.
#pragma once

#include <array>
#include <cstdint>

namespace hordera {

class BsdRandom {
 public:
  // Seeds as srandom(seed) does: 0 counts as 1, then 310 outputs are discarded.
  explicit BsdRandom(uint32_t seed);
  // Next value in [0, 2^31), as random() returns it.
  int32_t next();

 private:
  static constexpr int kDegree = 31;
  static constexpr int kSeparation = 3;
  std::array<uint32_t, kDegree> state_{};
  int front_ = kSeparation;  // index of the word that receives the sum
  int rear_ = 0;             // index of the word added into it
};

}  // namespace hordera
