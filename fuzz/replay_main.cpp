// Runs a fuzz target over a corpus: each file as it is, and with bytes changed, cut out and doubled
// by a generator with a fixed seed.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "mutate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int kMutationsPerSeed = 300;

void Try(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS\n", argv[0]);
        return 2;
    }
    // The reader tells of every text that it refuses.
    static_cast<void>(!std::freopen("/dev/null", "w", stderr));
    std::mt19937 random(1);
    int seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string seed{std::istreambuf_iterator<char>(file), {}};
        Try(seed);
        for (int count = 0; count < kMutationsPerSeed; ++count) {
            Try(vantry::Mutated(seed, random));
        }
        ++seeds;
    }
    std::printf("%d seeds\n", seeds);
    return seeds == 0 ? 1 : 0;
}
