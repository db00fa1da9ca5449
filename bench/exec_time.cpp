// From exec to exit of two commands, alternating: exec_time COUNT FIRST... -- SECOND...
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "child.h"
#include "report.h"
#include "timing.h"

namespace quon::bench {
namespace {

using Command = std::vector<std::string>;

Clock::duration run(const Command& command) {
    return time_of([&] {
        if (spawn(command).wait() != 0) {
            throw std::runtime_error(command[0] + " has failed");
        }
    });
}

nlohmann::json measure(int count, const Command& first, const Command& second) {
    Times of_first;
    Times of_second;
    for (int i = 0; i < count; i++) {
        of_first.push_back(run(first));
        of_second.push_back(run(second));
    }
    return {{"first_us", median(of_first)}, {"second_us", median(of_second)}};
}

}  // namespace
}  // namespace quon::bench

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + std::min(argc, 2), argv + argc);
    const auto between = std::ranges::find(words, "--");
    if (between == words.begin() || between == words.end() || between + 1 == words.end()) {
        std::cerr << "usage: exec_time COUNT FIRST... -- SECOND...\n";
        return 2;
    }
    return quon::bench::report(argv[0], [&] {
        return quon::bench::measure(std::stoi(argv[1]), {words.begin(), between},
                                    {between + 1, words.end()});
    });
}
