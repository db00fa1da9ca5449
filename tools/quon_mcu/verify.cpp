#include "quon_mcu/verify.h"

#include <chrono>
#include <cstdlib>
#include <ctime>

#include "quon_mcu/names.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

constexpr std::chrono::milliseconds kPause{50};
constexpr double kClockToleranceS = 3;
constexpr size_t kClockBytes = 6;  // year since 2000, month, day, hour, minute, second

std::time_t moment_of(byte_view clock) {
    std::tm parts{};
    parts.tm_year = static_cast<int8_t>(clock[0]) + 100;
    parts.tm_mon = clock[1] - 1;
    parts.tm_mday = clock[2];
    parts.tm_hour = clock[3];
    parts.tm_min = clock[4];
    parts.tm_sec = clock[5];
    return timegm(&parts);
}

bool is_same(const catalog::record& what, byte_view given, byte_view got) {
    if (what.name == "time" && given.size() >= kClockBytes && got.size() >= kClockBytes) {
        return std::abs(std::difftime(moment_of(got), moment_of(given))) <= kClockToleranceS;
    }
    return std::ranges::equal(given, got);
}

std::string difference(const catalog::record& what, byte_view given, byte_view got) {
    const auto wanted = catalog::decode(what, given);
    const auto present = catalog::decode(what, got);
    for (size_t i = 0; i < wanted.size() && i < present.size(); ++i) {
        if (wanted[i].value != present[i].value) {
            return present[i].name + " is " + present[i].value + ", not " + wanted[i].value;
        }
    }
    return "the answer has " + std::to_string(got.size()) + " bytes, not " +
           std::to_string(given.size());
}

}  // namespace

void verify_set(context& ctx, bus_session& bus, const catalog::service& service,
                const catalog::service& reader, const byte_list& given) {
    using steady = std::chrono::steady_clock;
    const auto deadline = steady::now() + std::chrono::milliseconds(ctx.timeout_ms);
    for (;;) {
        const byte_list got = bus.query(reader, {});
        if (is_same(*reader.reply, given, got)) {
            return;
        }
        if (steady::now() >= deadline) {
            throw failure(exit_status::failure,
                          std::string(short_name(service)) +
                              " was not taken over: " + difference(*reader.reply, given, got));
        }
        ctx.out.rest(kPause);
    }
}

}  // namespace quon::client
