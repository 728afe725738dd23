#include "rng.h"

namespace tb::sampleplant {
namespace {

std::uint64_t Mix(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

}  // namespace

std::uint64_t Rng::Next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    return Mix(state_);
}

std::uint64_t Rng::Below(std::uint64_t n) {
    // Values below this threshold would make some results more likely than others.
    const std::uint64_t threshold = (0 - n) % n;
    for (;;) {
        const std::uint64_t r = Next();
        if (r >= threshold) return r % n;
    }
}

int Rng::Between(int lo, int hi) {
    return lo + static_cast<int>(Below(static_cast<std::uint64_t>(hi - lo) + 1));
}

bool Rng::Chance(int percent) {
    return static_cast<int>(Below(100)) < percent;
}

Rng Rng::Fork(std::uint64_t stream) const {
    return Rng(Mix(state_ ^ Mix(stream + 0xD1B54A32D192ED03ULL)));
}

std::string HexId(Rng& rng) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string id(32, '0');
    for (int half = 0; half < 2; ++half) {
        std::uint64_t v = rng.Next();
        for (int i = 15; i >= 0; --i) {
            id[static_cast<std::size_t>(half * 16 + i)] = kDigits[v & 0xF];
            v >>= 4;
        }
    }
    return id;
}

}  // namespace tb::sampleplant
