// get, set, log-level: requests and answers by their fields.
#include <algorithm>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"

namespace quon::client {
namespace {

octets from_hex(const catalog::service& service, const std::string& hex) {
    octets bytes = parse_hex(hex);
    const uint32_t size = service.request->size;
    if (size != 0 && bytes.size() != size) {
        throw failure(exit_status::usage, std::string(short_name(service)) + " takes " +
                                              std::to_string(size) + " bytes, not " +
                                              std::to_string(bytes.size()));
    }
    return bytes;
}

void check_words(const catalog::service& service, const object_words& words) {
    const std::string name(short_name(service));
    const bool given = !words.all().empty();
    if (service.request == nullptr && (given || !words.hex.empty())) {
        throw failure(exit_status::usage, name + " takes no value");
    }
    if (service.request != nullptr && service.request->fields.empty() && given) {
        throw failure(exit_status::usage, name + " has no known fields: give its bytes with --hex");
    }
    if (service.request != nullptr && !given && words.hex.empty()) {
        throw failure(
            exit_status::usage,
            name + " needs " + (service.request->fields.empty() ? "--hex" : "a value or --hex"));
    }
}

// The method that reads what this signal sets, if there is one.
const catalog::service* reader_of(const catalog::service& service) {
    const auto all = catalog::services();
    const auto found = std::ranges::find(all, service.request, &catalog::service::reply);
    return found == all.end() ? nullptr : &*found;
}

// The request that the words alone make: the rest from --hex, or zero.
octets request_of(const catalog::service& service, const object_words& words) {
    if (service.request == nullptr) {
        return {};
    }
    octets base = words.hex.empty() ? octets{} : from_hex(service, words.hex);
    return words.all().empty() ? base : encode(*service.request, std::move(base), words.all());
}

// Whether fields that are not given shall keep their present value, and can.
bool wants_present(const catalog::service& service, const object_words& words) {
    return service.request != nullptr && words.hex.empty() && words.base == "current" &&
           reader_of(service) != nullptr && !is_complete(*service.request, words.all());
}

// A level's name or its number.
const catalog::known_value& log_level_of(const catalog::record& profile, const std::string& level) {
    const auto levels = field_named(profile, "level_limit").values;
    std::vector<std::string> names;
    for (const catalog::known_value& each : levels) {
        if (level == each.meaning || level == std::to_string(each.value)) {
            return each;
        }
        names.emplace_back(each.meaning);
    }
    throw failure(exit_status::usage, unknown("log level", level, names));
}

}  // namespace

std::vector<std::string> object_words::all() const {
    std::vector<std::string> words = values;
    words.insert(words.end(), fields.begin(), fields.end());
    return words;
}

void get_object(context& ctx, const object_words& words) {
    const catalog::service& service = service_of("get", words.object);
    check_words(service, words);
    const octets request = request_of(service, words);
    bus_session bus(ctx.timeout_ms);
    const octets payload = bus.query(service, request);
    show_record(ctx.out, *service.reply, payload,
                {{"service", service.name},
                 {"length", payload.size()},
                 {"hex", catalog::to_hex(payload)},
                 {"fields", fields_json(*service.reply, payload)}});
}

void set_object(context& ctx, const object_words& words) {
    const catalog::service& service = service_of("set", words.object);
    check_words(service, words);
    octets request = request_of(service, words);
    bus_session bus(ctx.timeout_ms);
    if (wants_present(service, words)) {
        request = encode(*service.request, bus.query(*reader_of(service), {}), words.all());
    }
    bus.send(service, request);
    show_sent(ctx.out, service, request);
}

void set_log_level(context& ctx, const std::string& level) {
    const catalog::service& service = service_of("set", "log.profile");
    const std::vector<std::string> words = {
        "enable=1", "level_limit=" + std::to_string(log_level_of(*service.request, level).value)};
    const octets request = encode(*service.request, {}, words);
    bus_session bus(ctx.timeout_ms);
    bus.send(service, request);
    show_sent(ctx.out, service, request);
}

}  // namespace quon::client
