#include "shared/times.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace quon {

std::string time_text(std::chrono::system_clock::time_point moment) {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    const auto ms = duration_cast<milliseconds>(moment.time_since_epoch()).count() % 1000;
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + size, text.size() - size, ".%03d", static_cast<int>(ms));
    return text.data();
}

}  // namespace quon
