// watch: repeats another command.
#include <chrono>

#include "quon_mcu/commands.h"
#include "quon_mcu/run.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::client {
namespace {

constexpr const char* kClearScreen = "\x1b[H\x1b[2J";

// --interval and --rounds may also be given at the end of the watched command.
void take_trailing_options(std::vector<std::string>& words, watch_words& options) {
    const auto target = [&options](const std::string& name) {
        return name == "--interval" ? &options.interval
               : name == "--rounds" ? &options.rounds
                                    : nullptr;
    };
    while (words.size() > 1) {
        const std::string& last = words.back();
        const size_t equals = last.find('=');
        const bool joined_by_equals = equals != std::string::npos;
        const size_t taken = joined_by_equals ? 1 : 2;
        std::string* value =
            target(joined_by_equals ? last.substr(0, equals) : words[words.size() - 2]);
        if (value == nullptr || words.size() <= taken) {
            return;
        }
        *value = joined_by_equals ? last.substr(equals + 1) : last;
        words.resize(words.size() - taken);
    }
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& each : words) {
        text += " " + each;
    }
    return text;
}

}  // namespace

void watch(context& ctx, watch_words options) {
    std::vector<std::string> words = ctx.rest;
    take_trailing_options(words, options);
    if (words.empty()) {
        throw failure(exit_status::usage, "watch needs a command");
    }
    const auto interval = std::chrono::milliseconds(parse_duration(options.interval));
    const int64_t rounds =
        options.rounds.empty() ? INT64_MAX : parse_number("--rounds", options.rounds, 1, INT32_MAX);
    int status = 0;
    for (int64_t round = 1;; ++round) {
        if (ctx.out.results_on_terminal()) {
            ctx.out.write(kClearScreen + ("every " + options.interval + ":" + joined(words)) +
                          "\n\n");
        }
        output timed = ctx.out;
        timed.is_timed = true;
        status = run(words, timed, ctx.timeout_ms);
        if (round == rounds || status == to_int(exit_status::usage)) {
            break;
        }
        ctx.out.rest(interval);
    }
    ctx.status = status;
}

}  // namespace quon::client
