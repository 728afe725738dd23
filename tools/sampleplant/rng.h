#pragma once
// The generator's only source of chance: SplitMix64 with our own mappings to ranges, so the
// same seed gives the same plant with every compiler and standard library (the standard
// distributions are implementation-defined).

#include <cstdint>
#include <string>
#include <vector>

namespace tb::sampleplant {

class Rng {
  public:
    explicit Rng(std::uint64_t seed) : state_(seed) {}

    std::uint64_t Next();
    // Uniform in [0, n) without modulo bias; n must be above 0.
    std::uint64_t Below(std::uint64_t n);
    // Uniform in [lo, hi], both included.
    int Between(int lo, int hi);
    bool Chance(int percent);
    // An independent stream for a part of the plant (a drawing, the ids), stable whatever
    // the other parts draw.
    Rng Fork(std::uint64_t stream) const;

    template <class T>
    const T& Pick(const std::vector<T>& items) {
        return items[static_cast<std::size_t>(Below(items.size()))];
    }

  private:
    std::uint64_t state_;
};

// A plant id: 32 upper-case hexadecimal characters, as SP_ID is in a real plant.
std::string HexId(Rng& rng);

}  // namespace tb::sampleplant
