// Runs a fuzz target over a corpus: each file as it is, and with bytes changed, cut out and doubled
// by a generator with a fixed seed.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int kMutationsPerSeed = 300;

void Try(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

std::string Mutated(std::string input, std::mt19937& random) {
    const auto below = [&](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
    for (std::size_t change = below(4) + 1; change > 0; --change) {
        const std::size_t place = below(input.size());
        switch (random() % 4) {
            case 0:
                input.insert(place, 1, static_cast<char>(random()));
                break;
            case 1:
                input.erase(place, below(8));
                break;
            case 2:
                input.insert(place, input.substr(below(input.size()), below(64)));
                break;
            default:
                if (!input.empty()) {
                    input[place] = static_cast<char>(random());
                }
        }
    }
    return input;
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
            Try(Mutated(seed, random));
        }
        ++seeds;
    }
    std::printf("%d seeds\n", seeds);
    return seeds == 0 ? 1 : 0;
}
