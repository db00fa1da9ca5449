#include "quon_mcu/timeline.h"

#include <algorithm>
#include <array>
#include <set>

#include "quon_mcu/log_input.h"

namespace quon::client {
namespace {

constexpr int64_t kLongestStartUs = 60'000'000;
constexpr std::string_view kUp = "ifconfig wlan0 up";
constexpr std::string_view kNetworkEvent = "network event";
constexpr std::string_view kLastQuery = "get_version";

// A line with both texts belongs to the step.
struct line_mark {
    std::array<std::string_view, 2> texts;
    std::string_view name;  // empty: the command that begins with the first text
    step_kind kind;
};
constexpr line_mark kLineMarks[] = {
    {{"execve(\"", "quon_mcu_daemon\", ["}, "exec", step_kind::start},
    {{"bind(", "dbus-quon.mcu.daemon\""}, "bus open", step_kind::start},
    {{"bind(", "nl_pid=1100"}, "channel open", step_kind::start},
    {{"note host connected", ""}, "channel open", step_kind::start},
    {{"open", "/quon_mcu_daemon_run\""}, "run flag", step_kind::start},
    {{kUp, ""}, "", step_kind::network},
    {{"ifconfig wlan0 down", ""}, "", step_kind::network},
    {{"ifconfig wlan0 hw ether", ""}, "", step_kind::network},
    {{"ifconfig wlan0 ", " netmask "}, "", step_kind::network},
    {{"route add default gw", ""}, "", step_kind::network},
    {{"ws init ip:", ""}, "hand-off ready", step_kind::connection},
    {{"connect(", "sa_family=AF_INET,"}, "early connection asked", step_kind::connection},
    {{"ws ls connected remote:", ""}, "early connection up", step_kind::connection},
    {{"ws ls ", "sendfd ret ="}, "hand-off", step_kind::connection},
    {{"sendmsg(", "SCM_RIGHTS"}, "hand-off", step_kind::connection},
};

bool is_in(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

// A program searched for in the wrong folder, or a command that could not be started.
bool is_failure(std::string_view line) {
    return is_in(line, "= -1 E") || line.ends_with(" failed");
}

// "ifconfig wlan0 down" from a log line, or from an executed program's arguments.
std::string command_in(std::string_view line, std::string_view first_words) {
    const std::string_view rest = line.substr(line.find(first_words));
    return std::string(rest.substr(0, rest.find_first_of("\"\x1b")));
}

// A step that occurs once per start; the network's commands may repeat.
bool is_once(const std::string& name) {
    return !name.starts_with("ifconfig ") && !name.starts_with("route ");
}

}  // namespace

double timeline::share_of(const timeline_step& step) const {
    return total_us == 0 ? 0
                         : 100.0 * static_cast<double>(step.for_us) / static_cast<double>(total_us);
}

timeline_reader::timeline_reader()
    : exchanges_([this](const exchange& what) { add_exchange(what); }) {}

void timeline_reader::line(std::string_view text) {
    exchanges_.line(text);
    add_line_marks(text);
}

void timeline_reader::add_line_marks(std::string_view text) {
    const auto at = time_of_day(text);
    if (!at || is_failure(text)) {
        return;
    }
    for (const line_mark& each : kLineMarks) {
        if (is_in(text, each.texts[0]) && is_in(text, each.texts[1])) {
            marks_.push_back(
                {each.name.empty() ? command_in(text, each.texts[0]) : std::string(each.name),
                 each.kind, *at, -1});
            return;
        }
    }
}

void timeline_reader::add_exchange(const exchange& what) {
    if (!what.at_us) {
        return;
    }
    if (what.kind == exchange_kind::event && what.name == "event_net") {
        marks_.push_back({std::string(kNetworkEvent), step_kind::network, *what.at_us, -1});
    } else if (what.kind == exchange_kind::query) {
        marks_.push_back({what.name + (what.answer ? "" : " (no answer)"), step_kind::query,
                          *what.at_us, what.for_us.value_or(-1)});
    } else if (what.kind == exchange_kind::answer) {
        marks_.push_back({what.name + " (answer)", step_kind::query, *what.at_us, 0});
    }
}

// In order of time, up to the end of the first start.
std::vector<timeline_reader::mark> timeline_reader::start_alone() const {
    std::vector<mark> all = marks_;
    if (all.empty()) {
        return all;
    }
    std::ranges::stable_sort(all, [](const mark& one, const mark& other) {
        return elapsed_us(one.at_us, other.at_us) > 0;
    });
    std::vector<mark> kept;
    std::set<std::string> seen;
    bool queries_over = false;
    bool network_begun = false;
    bool network_over = false;
    for (mark& each : all) {
        const bool is_second_start = each.name == "exec" && !kept.empty() && seen.contains("exec");
        if (is_second_start || elapsed_us(all[0].at_us, each.at_us) > kLongestStartUs) {
            break;
        }
        // The start brings the interface up before anything else is done to it.
        if (each.name == kUp && !network_begun) {
            each.name = "interface up";
            each.kind = step_kind::start;
        }
        const bool is_repeated = is_once(each.name) && seen.contains(each.name);
        const bool is_late = (each.kind == step_kind::query && queries_over) ||
                             (each.kind == step_kind::network && network_over);
        if (is_repeated || is_late) {
            continue;
        }
        queries_over = queries_over || each.name.starts_with(kLastQuery);
        network_over = network_over || each.name == kUp;
        network_begun = network_begun || each.kind == step_kind::network;
        seen.insert(each.name);
        kept.push_back(each);
    }
    return kept;
}

timeline timeline_reader::end(const std::string& title) {
    exchanges_.end();
    timeline start{.title = title, .steps = {}};
    const std::vector<mark> marks = start_alone();
    for (size_t i = 0; i < marks.size(); ++i) {
        const bool is_last = i + 1 == marks.size();
        const int64_t to_next = is_last ? 0 : elapsed_us(marks[i].at_us, marks[i + 1].at_us);
        const int64_t at = elapsed_us(marks[0].at_us, marks[i].at_us);
        const int64_t lasts = marks[i].for_us < 0 ? to_next : marks[i].for_us;
        start.steps.push_back({marks[i].name, marks[i].kind, at, lasts});
        start.total_us = std::max(start.total_us, at + lasts);
    }
    return start;
}

}  // namespace quon::client
