// wakeup, status: several answers on one screen.
#include <algorithm>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/known_answer.h"
#include "quon_mcu/names.h"
#include "quon_mcu/own_network.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

// The decoded fields of one answer by name; a missing field is empty.
class fields_by_name {
  public:
    fields_by_name(const catalog::service& service, const known_answer& answer)
        : fields_(catalog::decode(*service.reply, answer.fields)), zero_(answer.zero) {}

    const catalog::decoded_field& operator[](std::string_view name) const {
        static const catalog::decoded_field none{};
        const auto found = std::ranges::find(fields_, name, &catalog::decoded_field::name);
        return found == fields_.end() ? none : *found;
    }
    bool is_known(std::string_view name) const { return !is_not_known((*this)[name], zero_); }
    std::string reason(std::string_view name) const { return reason_text((*this)[name], zero_); }

    // The value; "-" if it is unknown.
    std::string text(std::string_view name) const {
        return is_known(name) ? (*this)[name].value : "-";
    }
    // The same with unit, meaning and reason.
    std::string full(std::string_view name) const { return value_text((*this)[name], zero_); }

  private:
    std::vector<catalog::decoded_field> fields_;
    std::string_view zero_;
};

using name_list = std::vector<std::string>;

// The values, followed by the reasons why some are unknown.
std::string with_reason(const fields_by_name& fields, const name_list& names, std::string text) {
    for (const std::string& each : names) {
        if (!fields.is_known(each)) {
            return text + "  (" + fields.reason(each) + ")";
        }
    }
    return text;
}

std::string joined(const fields_by_name& fields, const name_list& names, const char* separator) {
    std::string text;
    for (const std::string& each : names) {
        text += (text.empty() ? "" : separator) + fields.text(each);
    }
    return with_reason(fields, names, text);
}

// A chip's clock may contain anything: each part is shown unchanged.
std::string clock_text(const fields_by_name& fields, const std::string& prefix) {
    struct part {
        const char* name;
        const char* separator;
        int offset;
    };
    constexpr part kParts[] = {{"year", "", 2000}, {"month", "-", 0},  {"day", "-", 0},
                               {"hour", " ", 0},   {"minute", ":", 0}, {"second", ":", 0}};
    std::string text;
    name_list names;
    for (const part& each : kParts) {
        names.push_back(prefix + each.name);
        std::string value = "--";
        if (fields.is_known(names.back())) {
            const int number = std::stoi(fields.text(names.back())) + each.offset;
            value = (number >= 0 && number < 10 ? "0" : "") + std::to_string(number);
        }
        text += each.separator + value;
    }
    const bool is_blank = std::ranges::none_of(
        names, [&fields](const std::string& each) { return fields.is_known(each); });
    return with_reason(fields, names, is_blank ? "-" : text);
}

std::string shortened(const fields_by_name& fields, std::string_view name) {
    constexpr size_t kShown = 32;
    const std::string hex = fields.text(name);
    if (hex.size() <= kShown) {
        return fields.full(name);
    }
    return hex.substr(0, kShown) + "... (" + std::to_string(hex.size() / 2) + " bytes)";
}

// A missing name server is normal.
std::string name_servers(const fields_by_name& fields, const std::string& first,
                         const std::string& second) {
    if (fields.is_known(first) && !fields.is_known(second)) {
        return fields.text(first);
    }
    return joined(fields, {first, second}, ", ");
}

std::string seconds_text(const std::string& milliseconds) {
    const auto ms = std::stoul(milliseconds);
    std::string fraction = std::to_string(ms % 1000);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::to_string(ms / 1000) + "." + fraction + " s";
}

row_list wakeup_rows(const fields_by_name& snapshot, const fields_by_name& since) {
    const std::string started = snapshot.full("start_ms");
    return {
        {"reason", snapshot.full("wakeup_reason")},
        {"socup times", joined(snapshot, {"socup_time1", "socup_time2"}, ", ")},
        {"chip time", clock_text(snapshot, "time_")},
        {"battery", shortened(snapshot, "battery_status")},
        {"Wi-Fi status", shortened(snapshot, "wifi_status")},
        {"MAC", snapshot.full("wifi_mac")},
        {"address", snapshot.full("wifi_ip")},
        {"gateway", snapshot.full("wifi_gateway")},
        {"name servers", name_servers(snapshot, "wifi_dns1", "wifi_dns2")},
        {"server", joined(snapshot, {"server_ip", "server_port"}, ":")},
        {"version", snapshot.full("version")},
        {"started", snapshot.is_known("start_ms") ? started + " on the monotonic clock" : started},
        {"since start", since.full("since_start")},
    };
}

struct status_row {
    const char* label;
    const char* key;
    const char* service;
    std::string (*people)(const fields_by_name&);
};

std::string version_text(const fields_by_name& fields) {
    return fields.full("version");
}
std::string time_text(const fields_by_name& fields) {
    return clock_text(fields, "");
}
std::string bytes_text(const fields_by_name& fields) {
    return shortened(fields, "bytes");
}
std::string network_text(const fields_by_name& fields) {
    const std::string servers = name_servers(fields, "dns1", "dns2");
    return with_reason(fields, {"ip", "gateway", "mac"},
                       fields.text("ip") + ", gateway " + fields.text("gateway") + ", MAC " +
                           fields.text("mac") + ", name servers " +
                           servers.substr(0, servers.find("  (")));
}
std::string up_time_text(const fields_by_name& fields) {
    return fields.is_known("since_start") ? seconds_text(fields.text("since_start"))
                                          : fields.full("since_start");
}

constexpr const char* kNetworkService = "get.wifi.info";
constexpr status_row kStatusRows[] = {
    {"version", "version", "get.ver", version_text},
    {"time", "time", "get.time", time_text},
    {"battery", "battery", "get.battery.status", bytes_text},
    {"Wi-Fi", "wifi", "get.wifi.status", bytes_text},
    {"network", "network", kNetworkService, network_text},
    {"up time", "up_time", "get.socup.time", up_time_text},
};

// wlan0's actual state, compared with the daemon's memory of the chip's reports.
struct comparison {
    const char* what;
    const char* field;
    const std::string interface_state::*real;
};
constexpr comparison kComparisons[] = {
    {"address", "ip", &interface_state::ip},
    {"gateway", "gateway", &interface_state::gateway},
    {"MAC", "mac", &interface_state::mac},
};

class interface_row {
  public:
    explicit interface_row(const fields_by_name& remembered) : real_(state_of_interface("wlan0")) {
        for (const comparison& each : kComparisons) {
            const std::string& now = real_.*each.real;
            document_[each.field] = now.empty() ? json() : json(now);
            is_compared_ = is_compared_ || remembered.is_known(each.field);
            if (remembered.is_known(each.field) && now != remembered.text(each.field)) {
                differences_ += (differences_.empty() ? "" : ", ") + std::string(each.what) + " " +
                                (now.empty() ? "none" : now);
                differing_.push_back(each.field);
            }
        }
    }

    std::string text() const {
        if (!real_.exists) {
            return "missing on this machine";
        }
        const std::string state = real_.is_up ? "up" : "down";
        if (!is_compared_) {
            return state + "; the daemon remembers no network to compare with";
        }
        return differences_.empty() ? state + ", as the daemon remembers it"
                                    : state + ", differs: " + differences_;
    }
    bool is_as_remembered() const { return real_.exists && real_.is_up && differing_.empty(); }

    json document() const {
        json all = {{"exists", real_.exists}, {"up", real_.is_up}};
        all.update(document_);
        all["differs"] = differing_;
        return all;
    }

  private:
    interface_state real_;
    bool is_compared_ = false;
    std::string differences_;
    json document_ = json::object();
    json differing_ = json::array();
};

class status_screen {
  public:
    status_screen(context& ctx, bool take_events) : ctx_(ctx), take_events_(take_events) {}

    void run() {
        if (ctx_.out.mode != output_mode::people && ctx_.out.mode != output_mode::json) {
            throw failure(exit_status::usage, "status has several payloads: use --json");
        }
        bus_session bus(ctx_.timeout_ms);
        for (const status_row& each : kStatusRows) {
            ask_for(bus, each);
        }
        if (take_events_) {
            take_events(bus);
        } else {
            rows_.push_back({"events",
                             "not asked: taking them empties the queue "
                             "(--take-events does)"});
            document_["events"] = nullptr;
        }
        show();
        if (worst_) {
            throw failure(*worst_);
        }
    }

  private:
    // A failing row does not hide the others; if the daemon does not answer, none can follow.
    void ask_for(bus_session& bus, const status_row& what) {
        const catalog::service& service = service_named(what.service);
        try {
            add(what, service, ask(ctx_.out, bus, service, {}));
        } catch (const failure& error) {
            if (error.status() == exit_status::unreachable ||
                error.status() == exit_status::timed_out) {
                throw;
            }
            rows_.push_back({what.label, ctx_.out.coloured("31", "failed")});
            document_[what.key] = nullptr;
            worst_ = worst_ ? worst_ : error;
        }
    }

    void add(const status_row& what, const catalog::service& service, const known_answer& got) {
        const fields_by_name fields(service, got);
        rows_.push_back({what.label, what.people(fields)});
        document_[what.key] = fields_json(*service.reply, got.fields, got.zero);
        const json reasons = reasons_json(*service.reply, got.fields, got.zero);
        if (!reasons.empty()) {
            reasons_[what.key] = reasons;
        }
        if (std::string_view(what.service) == kNetworkService) {
            const interface_row wlan0(fields);
            rows_.push_back({"wlan0", wlan0.is_as_remembered()
                                          ? wlan0.text()
                                          : ctx_.out.coloured("31", wlan0.text())});
            document_["wlan0"] = wlan0.document();
        }
    }

    void take_events(bus_session& bus) {
        const catalog::service& service = service_named("get.event.info");
        json events = json::array();
        for (answer got = bus.call(service, {}); got.result >= 0; got = bus.call(service, {})) {
            events.push_back(catalog::to_hex(got.payload));
        }
        rows_.push_back({"events", std::to_string(events.size()) + " taken"});
        for (const json& each : events) {
            rows_.push_back({"", each.get<std::string>()});
        }
        document_["events"] = events;
        hint_at_lost_events(ctx_.out, events.size());
    }

    void show() {
        if (ctx_.out.mode == output_mode::people) {
            ctx_.out.write(aligned(rows_));
            return;
        }
        if (!reasons_.empty()) {
            document_["reasons"] = reasons_;
        }
        print(ctx_.out, document_);
    }

    context& ctx_;
    bool take_events_;
    row_list rows_;
    json document_ = json::object();
    json reasons_ = json::object();
    std::optional<failure> worst_;
};

}  // namespace

void show_wakeup(context& ctx) {
    const catalog::service& service = service_named("get.allwakeup.info");
    const catalog::service& since_service = service_named("get.socup.time");
    bus_session bus(ctx.timeout_ms);
    const known_answer got = ask(ctx.out, bus, service, {});
    const known_answer since = ask(ctx.out, bus, since_service, {});
    if (ctx.out.mode == output_mode::people) {
        ctx.out.write(aligned(
            wakeup_rows(fields_by_name(service, got), fields_by_name(since_service, since))));
        return;
    }
    json document = known_json(service, got);
    document["since_start_ms"] =
        fields_json(*since_service.reply, since.fields, since.zero)["since_start"];
    show_known(ctx.out, service, got, document);
}

void show_status(context& ctx, bool take_events) {
    status_screen(ctx, take_events).run();
}

}  // namespace quon::client
