#include "figures.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace quon::board {

namespace {

// The number behind "NAME:" in a file of lines "NAME:  NUMBER kB".
long number_in(const std::filesystem::path& file, const std::string& name) {
    std::ifstream lines(file);
    std::string word;
    while (lines >> word) {
        if (word == name + ":") {
            long number = 0;
            lines >> number;
            return number;
        }
    }
    return 0;
}

std::filesystem::path folder_of(int pid) {
    return std::filesystem::path("/proc") / std::to_string(pid);
}

}  // namespace

Figures figures_of(int pid) {
    const auto folder = folder_of(pid);
    return {.rss_kb = number_in(folder / "smaps_rollup", "Rss"),
            .private_dirty_kb = number_in(folder / "smaps_rollup", "Private_Dirty"),
            .anonymous_kb = number_in(folder / "smaps_rollup", "Anonymous"),
            .threads = number_in(folder / "status", "Threads")};
}

uint64_t wake_ups_of(int pid) {
    uint64_t sum = 0;
    for (const auto& task : std::filesystem::directory_iterator(folder_of(pid) / "task")) {
        sum += static_cast<uint64_t>(number_in(task.path() / "status", "voluntary_ctxt_switches"));
    }
    return sum;
}

}  // namespace quon::board
