// watch: another command, again and again.
#include <chrono>

#include "quon_mcu/commands.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/run.h"
#include "quon_mcu/values.h"

namespace quon::client {
namespace {

constexpr const char* clear_screen = "\x1b[H\x1b[2J";

// --interval and --rounds may also stand at the end of the watched command.
void take_trailing_options(std::vector<std::string>& words, watch_words& options) {
    while (words.size() > 2) {
        const std::string& name = words[words.size() - 2];
        if (name != "--interval" && name != "--rounds") {
            return;
        }
        (name == "--interval" ? options.interval : options.rounds) = words.back();
        words.resize(words.size() - 2);
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
        options.rounds.empty() ? INT64_MAX : parse_number(options.rounds, 1, INT32_MAX);
    int status = 0;
    for (int64_t round = 1;; ++round) {
        if (ctx.out.results_on_terminal()) {
            ctx.out.write(clear_screen + ("every " + options.interval + ":" + joined(words)) +
                          "\n\n");
        }
        status = run(words, ctx.out, ctx.timeout_ms);
        if (round == rounds || status == static_cast<int>(exit_status::usage)) {
            break;
        }
        ctx.out.rest(interval);
    }
    ctx.status = status;
}

}  // namespace quon::client
