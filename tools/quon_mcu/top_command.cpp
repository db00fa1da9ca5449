// top: the camera on one screen, refreshed repeatedly.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/daemon_state.h"
#include "quon_mcu/names.h"
#include "quon_mcu/own_network.h"
#include "quon_mcu/process_view.h"
#include "shared/failure.h"
#include "shared/times.h"
#include "shared/values.h"

namespace quon::client {
namespace {

using steady = std::chrono::steady_clock;

constexpr const char* kClearScreen = "\x1b[H\x1b[2J";
constexpr size_t kShownAnswer = 60;
constexpr const char* kAsked[] = {"get.ver", "get.time", "get.battery.status", "get.wifi.status",
                                  "get.wifi.info"};

// How long one service's calls took.
class latency {
  public:
    void add(double ms, bool failed) {
        least_ = calls_ == 0 ? ms : std::min(least_, ms);
        most_ = std::max(most_, ms);
        total_ += ms;
        last_ = ms;
        ++calls_;
        failures_ += failed ? 1 : 0;
    }

    std::vector<std::string> cells() const {
        return {std::to_string(calls_), std::to_string(failures_),
                number(last_),          number(least_),
                number(mean()),         number(most_)};
    }

    json document() const {
        return {{"calls", calls_},    {"failures", failures_}, {"last_ms", last_},
                {"least_ms", least_}, {"mean_ms", mean()},     {"most_ms", most_}};
    }

  private:
    static std::string number(double ms) {
        char text[32];
        std::snprintf(text, sizeof(text), "%.1f", ms);
        return text;
    }
    double mean() const { return calls_ == 0 ? 0 : total_ / calls_; }

    int calls_ = 0;
    int failures_ = 0;
    double last_ = 0;
    double least_ = 0;
    double most_ = 0;
    double total_ = 0;
};

struct asked_service {
    const catalog::service* service;
    latency times;
    std::string answer;  // from the last round
};

class top_screen {
  public:
    explicit top_screen(context& ctx) : ctx_(ctx) {
        for (const char* each : kAsked) {
            asked_.push_back({&service_named(each), {}, ""});
        }
    }

    // One round. The status says whether the daemon could be reached.
    exit_status round() {
        const exit_status status = ask_all();
        const pid_t process = process_behind(kBusSocket);
        if (ctx_.out.mode == output_mode::json) {
            show_json(process);
        } else {
            show_text(process);
        }
        return status;
    }

  private:
    exit_status ask_all() {
        trouble_.clear();
        try {
            if (bus_ == nullptr) {
                bus_ = std::make_unique<bus_session>(ctx_.timeout_ms);
            }
            for (asked_service& each : asked_) {
                ask(each);
            }
            return exit_status::done;
        } catch (const failure& error) {
            bus_.reset();
            trouble_ = error.what();
            return error.status();
        }
    }

    void ask(asked_service& what) {
        const auto start = steady::now();
        const answer got = bus_->call(*what.service, {});
        const std::chrono::duration<double, std::milli> took = steady::now() - start;
        what.times.add(took.count(), got.result < 0);
        what.answer = got.result < 0 ? "failed, result " + std::to_string(got.result)
                                     : catalog::one_line(what.service->reply, got.payload);
    }

    void show_text(pid_t process) {
        std::string text = ctx_.out.results_on_terminal() ? kClearScreen : "";
        text += "quon-mcu top, " + time_text(std::chrono::system_clock::now()) + "\n\n";
        text += process_line(process) + "\n" + network_line() + "\n" +
                "events   not asked: taking them empties the queue\n\n";
        text += trouble_.empty() ? "" : ctx_.out.coloured("31", trouble_) + "\n\n";
        ctx_.out.write(text + aligned(service_rows()) + "\n");
        if (process != 0) {
            ctx_.out.write(aligned(sockets_of(process)) + "\n");
        }
    }

    static std::string process_line(pid_t process) {
        if (process == 0) {
            return "daemon   not found";
        }
        return "daemon   process " + std::to_string(process) + ", " +
               std::to_string(threads_of(process).size()) + " threads, " +
               std::to_string(descriptors_of(process).size()) + " of " +
               limit_of_descriptors(process) + " descriptors, " + status_line(process, "VmRSS") +
               " resident";
    }

    static std::string network_line() {
        const interface_state wlan0 = state_of_interface("wlan0");
        return std::string("wlan0    ") +
               (!wlan0.exists ? "missing"
                : wlan0.is_up ? "up"
                              : "down") +
               (wlan0.ip.empty() ? ", no address" : ", " + wlan0.ip) +
               (wlan0.gateway.empty() ? "" : ", gateway " + wlan0.gateway);
    }

    row_list service_rows() const {
        row_list rows = {
            {"service", "calls", "failed", "last ms", "least", "mean", "most", "answer"}};
        for (const asked_service& each : asked_) {
            rows.push_back({std::string(short_name(*each.service))});
            const auto cells = each.times.cells();
            rows.back().insert(rows.back().end(), cells.begin(), cells.end());
            rows.back().push_back(each.answer.substr(0, kShownAnswer));
        }
        return rows;
    }

    void show_json(pid_t process) {
        json services = json::object();
        for (const asked_service& each : asked_) {
            services[short_name(*each.service)] = each.times.document();
        }
        json daemon;
        if (process != 0) {
            daemon = {{"process", process},
                      {"threads", threads_of(process).size()},
                      {"descriptors", descriptors_of(process).size()},
                      {"resident", status_line(process, "VmRSS")}};
        }
        print(ctx_.out, {{"daemon", daemon},
                         {"services", services},
                         {"trouble", trouble_.empty() ? json() : json(trouble_)}});
    }

    context& ctx_;
    std::vector<asked_service> asked_;
    std::unique_ptr<bus_session> bus_;
    std::string trouble_;
};

}  // namespace

void show_top(context& ctx, const watch_words& words) {
    if (ctx.out.mode != output_mode::people && ctx.out.mode != output_mode::json) {
        throw failure(exit_status::usage, "top has several payloads: use --json");
    }
    const auto interval = std::chrono::milliseconds(parse_duration(words.interval));
    const int64_t rounds =
        words.rounds.empty() ? INT64_MAX : parse_number("--rounds", words.rounds, 1, INT32_MAX);
    ctx.out.is_timed = true;
    top_screen screen(ctx);
    for (int64_t round = 1;; ++round) {
        ctx.status = to_int(screen.round());
        if (round == rounds) {
            return;
        }
        ctx.out.rest(interval);
    }
}

}  // namespace quon::client
