// wakeup, status: several answers on one screen.
#include <algorithm>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"

namespace quon::client {
namespace {

// The decoded fields of one record by name; a field that is not there is empty.
class fields_by_name {
  public:
    fields_by_name(const catalog::record& what, std::span<const uint8_t> bytes)
        : fields_(catalog::decode(what, bytes)) {}

    const catalog::decoded_field& operator[](std::string_view name) const {
        static const catalog::decoded_field none{};
        const auto found = std::ranges::find(fields_, name, &catalog::decoded_field::name);
        return found == fields_.end() ? none : *found;
    }
    const std::string& text(std::string_view name) const { return (*this)[name].value; }
    int number(std::string_view name) const { return std::stoi("0" + text(name)); }

  private:
    std::vector<catalog::decoded_field> fields_;
};

std::string two_digits(int value) {
    return (value >= 0 && value < 10 ? "0" : "") + std::to_string(value);
}

// A chip's clock may hold anything: each part is shown as it stands.
std::string clock_text(const fields_by_name& fields, const std::string& prefix) {
    const auto part = [&](const char* name) {
        const std::string& text = fields.text(prefix + name);
        return text.empty() ? 0 : std::stoi(text);
    };
    return std::to_string(2000 + part("year")) + "-" + two_digits(part("month")) + "-" +
           two_digits(part("day")) + " " + two_digits(part("hour")) + ":" +
           two_digits(part("minute")) + ":" + two_digits(part("second"));
}

std::string shortened_hex(const std::string& hex) {
    constexpr size_t shown = 32;
    if (hex.size() <= shown) {
        return hex;
    }
    return hex.substr(0, shown) + "... (" + std::to_string(hex.size() / 2) + " bytes)";
}

std::string or_dash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string name_servers(const std::string& first, const std::string& second) {
    return or_dash(first + (first.empty() || second.empty() ? "" : ", ") + second);
}

std::string seconds_text(const std::string& milliseconds) {
    const auto ms = std::stoul("0" + milliseconds);
    std::string fraction = std::to_string(ms % 1000);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::to_string(ms / 1000) + "." + fraction + " s";
}

std::string with_meaning(const catalog::decoded_field& field) {
    return field.meaning.empty() ? field.value
                                 : field.value + " (" + std::string(field.meaning) + ")";
}

row_list wakeup_rows(const fields_by_name& snapshot, const fields_by_name& since) {
    return {
        {"reason", with_meaning(snapshot["wakeup_reason"])},
        {"socup times", snapshot.text("socup_time1") + ", " + snapshot.text("socup_time2")},
        {"chip time", clock_text(snapshot, "time_")},
        {"battery", snapshot.text("battery_status")},
        {"Wi-Fi status", shortened_hex(snapshot.text("wifi_status"))},
        {"MAC", or_dash(snapshot.text("wifi_mac"))},
        {"address", or_dash(snapshot.text("wifi_ip"))},
        {"gateway", or_dash(snapshot.text("wifi_gateway"))},
        {"name servers", name_servers(snapshot.text("wifi_dns1"), snapshot.text("wifi_dns2"))},
        {"server", snapshot.text("server_ip") + ":" + snapshot.text("server_port")},
        {"version", or_dash(snapshot.text("version"))},
        {"started", snapshot.text("start_ms") + " ms on the monotonic clock"},
        {"since start", since.text("since_start") + " ms"},
    };
}

struct status_row {
    const char* label;
    const char* key;
    const char* service;
    std::string (*people)(const fields_by_name&);
};

std::string version_text(const fields_by_name& fields) {
    return or_dash(fields.text("version"));
}
std::string time_text(const fields_by_name& fields) {
    return clock_text(fields, "");
}
std::string bytes_text(const fields_by_name& fields) {
    return shortened_hex(fields.text("bytes"));
}
std::string network_text(const fields_by_name& fields) {
    return fields.text("ip") + ", gateway " + fields.text("gateway") + ", MAC " +
           fields.text("mac") + ", name servers " +
           name_servers(fields.text("dns1"), fields.text("dns2"));
}
std::string up_time_text(const fields_by_name& fields) {
    return seconds_text(fields.text("since_start"));
}

constexpr status_row status_rows[] = {
    {"version", "version", "get.ver", version_text},
    {"time", "time", "get.time", time_text},
    {"battery", "battery", "get.battery.status", bytes_text},
    {"Wi-Fi", "wifi", "get.wifi.status", bytes_text},
    {"network", "network", "get.wifi.info", network_text},
    {"up time", "up_time", "get.socup.time", up_time_text},
};

class status_screen {
  public:
    status_screen(context& ctx, bool take_events) : ctx_(ctx), take_events_(take_events) {}

    void run() {
        bus_session bus(ctx_.timeout_ms);
        for (const status_row& each : status_rows) {
            ask(bus, each);
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
    // A row that failed does not hide the others; without a daemon that answers none can follow.
    void ask(bus_session& bus, const status_row& what) {
        const catalog::service& service = service_named(what.service);
        try {
            const octets payload = bus.query(service, {});
            rows_.push_back({what.label, what.people(fields_by_name(*service.reply, payload))});
            document_[what.key] = fields_json(*service.reply, payload);
        } catch (const failure& error) {
            if (error.status() == exit_status::no_daemon ||
                error.status() == exit_status::timed_out) {
                throw;
            }
            rows_.push_back({what.label, ctx_.out.coloured("31", "failed")});
            document_[what.key] = nullptr;
            worst_ = worst_ ? worst_ : error;
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
    }

    void show() {
        if (ctx_.out.mode == output_mode::people) {
            ctx_.out.write(aligned(rows_));
        } else if (ctx_.out.mode == output_mode::json) {
            ctx_.out.line(dump(document_));
        } else {
            throw failure(exit_status::usage, "status has several payloads: use --json");
        }
    }

    context& ctx_;
    bool take_events_;
    row_list rows_;
    json document_ = json::object();
    std::optional<failure> worst_;
};

}  // namespace

void show_wakeup(context& ctx) {
    const catalog::service& service = service_named("get.allwakeup.info");
    const catalog::service& since_service = service_named("get.socup.time");
    bus_session bus(ctx.timeout_ms);
    const octets payload = bus.query(service, {});
    const octets since = bus.query(since_service, {});
    if (ctx.out.mode == output_mode::people) {
        ctx.out.write(aligned(wakeup_rows(fields_by_name(*service.reply, payload),
                                          fields_by_name(*since_service.reply, since))));
        return;
    }
    show_record(ctx.out, *service.reply, payload,
                {{"service", service.name},
                 {"length", payload.size()},
                 {"hex", catalog::to_hex(payload)},
                 {"fields", fields_json(*service.reply, payload)},
                 {"since_start_ms", fields_json(*since_service.reply, since)["since_start"]}});
}

void show_status(context& ctx, bool take_events) {
    status_screen(ctx, take_events).run();
}

}  // namespace quon::client
