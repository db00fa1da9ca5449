#include "harness.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace quon::fuzz {

namespace {

constexpr std::size_t kMostOutcomes = 32;
std::atomic<unsigned long> counts[kMostOutcomes];

}  // namespace

void saw(std::string_view outcome) {
    const auto known = outcomes();
    const auto at = static_cast<std::size_t>(std::ranges::find(known, outcome) - known.begin());
    require(at < std::min(known.size(), kMostOutcomes), "an outcome that is not on the list");
    counts[at]++;
}

std::span<const unsigned long> sightings() {
    static std::vector<unsigned long> seen;
    seen.assign(std::begin(counts), std::begin(counts) + outcomes().size());
    return seen;
}

void require(bool holds, std::string_view what) {
    if (!holds) {
        (void)std::fprintf(stderr, "fuzz: not so: %.*s\n", static_cast<int>(what.size()),
                           what.data());
        std::abort();
    }
}

}  // namespace quon::fuzz

extern "C" {

// The code under test prints a lot, and its programs ignore SIGPIPE: otherwise a hand-over to a
// peer that has just left would silently end the process.
int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    (void)std::signal(SIGPIPE, SIG_IGN);
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    quon::fuzz::Input input({data, size});
    quon::fuzz::run_input(input);
    return 0;
}
}
