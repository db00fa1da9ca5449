#include "figures.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace quon::board {

namespace {

// The numbers of a file with lines "NAME:  NUMBER kB", by name. Read in one go, because the file is
// generated for each reader.
std::map<std::string, long> numbers_in(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::map<std::string, long> numbers;
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string name;
        long number = 0;
        if (words >> name >> number && name.ends_with(':')) {
            name.pop_back();
            numbers[name] = number;
        }
    }
    return numbers;
}

std::filesystem::path folder_of(int pid) {
    return std::filesystem::path("/proc") / std::to_string(pid);
}

}  // namespace

Figures figures_of(int pid) {
    auto memory = numbers_in(folder_of(pid) / "smaps_rollup");
    return {.rss_kb = memory["Rss"],
            .private_dirty_kb = memory["Private_Dirty"],
            .anonymous_kb = memory["Anonymous"],
            .threads = numbers_in(folder_of(pid) / "status")["Threads"]};
}

uint64_t wake_ups_of(int pid) {
    uint64_t sum = 0;
    for (const auto& task : std::filesystem::directory_iterator(folder_of(pid) / "task")) {
        sum += static_cast<uint64_t>(numbers_in(task.path() / "status")["voluntary_ctxt_switches"]);
    }
    return sum;
}

}  // namespace quon::board
