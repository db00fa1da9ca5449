// get, set, log-level: requests and answers by field.
#include <algorithm>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/known_answer.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "quon_mcu/verify.h"
#include "shared/failure.h"
#include "shared/suggestions.h"

namespace quon::client {
namespace {

byte_list from_hex(const catalog::service& service, const std::string& hex) {
    byte_list bytes = parse_hex(hex);
    const uint32_t size = service.request->size;
    if (size != 0 && bytes.size() != size) {
        throw failure(exit_status::usage, std::string(short_name(service)) + " takes " +
                                              std::to_string(size) + " bytes, not " +
                                              std::to_string(bytes.size()));
    }
    return bytes;
}

void check_given(const catalog::service& service, const object_words& words) {
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

// The request made of the words alone: the rest from --hex, or zero.
byte_list request_of(const catalog::service& service, const object_words& words) {
    if (service.request == nullptr) {
        return {};
    }
    byte_list base = words.hex.empty() ? byte_list{} : from_hex(service, words.hex);
    return words.all().empty() ? base : encode(*service.request, std::move(base), words.all());
}

// Whether fields that are not given should, and can, keep their present value.
bool wants_present(const catalog::service& service, const object_words& words) {
    return service.request != nullptr && words.hex.empty() && words.base == "current" &&
           reader_of(service) != nullptr && !is_complete(*service.request, words.all());
}

// Removes the names of answer fields from the words: all, or what follows the request's own values.
std::vector<std::string> take_field_names(const catalog::service& service, object_words& words) {
    const size_t own = service.request == nullptr ? 0 : service.request->fields.size();
    const size_t kept = std::min(own, words.values.size());
    const auto first = words.values.begin() + static_cast<std::ptrdiff_t>(kept);
    std::vector<std::string> wanted(first, words.values.end());
    words.values.resize(kept);
    const std::vector<std::string> known = answer_fields(*service.reply);
    for (const std::string& each : wanted) {
        if (!each.starts_with("entry[") && std::ranges::count(known, each) == 0) {
            throw failure(exit_status::usage, unknown("field", each, known));
        }
    }
    return wanted;
}

const catalog::decoded_field& field_in(const std::vector<catalog::decoded_field>& fields,
                                       const std::string& name) {
    const auto found = std::ranges::find(fields, name, &catalog::decoded_field::name);
    if (found == fields.end()) {
        throw failure(exit_status::failure, "the answer has no " + name);
    }
    return *found;
}

// For people, one value per line without its unit; why a value is unknown is not a result.
void show_fields(output& out, const catalog::service& service, const known_answer& got,
                 const std::vector<std::string>& wanted) {
    const auto fields = catalog::decode(*service.reply, got.fields);
    json values = json::object();
    json reasons = json::object();
    for (const std::string& name : wanted) {
        const catalog::decoded_field& field = field_in(fields, name);
        const std::string reason = reason_text(field, got.zero);
        values[name] = value_json(field, got.zero);
        if (!reason.empty()) {
            reasons[name] = reason;
        }
        if (out.mode == output_mode::people) {
            out.line(is_not_known(field, got.zero) ? "-" : field.value);
            if (!reason.empty()) {
                out.note(name + ": " + reason);
            }
        }
    }
    if (out.mode == output_mode::json) {
        json document = {{"service", service.name}, {"fields", values}};
        if (!reasons.empty()) {
            document["reasons"] = reasons;
        }
        print(out, document);
    }
}

// A level's name, an abbreviation of one, or its number.
const catalog::known_value& log_level_of(const catalog::record& profile, const std::string& level) {
    const auto levels = field_named(profile, "level_limit").values;
    std::vector<std::string> names;
    for (const catalog::known_value& each : levels) {
        if ((!level.empty() && each.meaning.starts_with(level)) ||
            level == std::to_string(each.value)) {
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

void get_object(context& ctx, object_words words) {
    const catalog::service& service = service_of("get", words.object);
    const std::vector<std::string> wanted = take_field_names(service, words);
    check_given(service, words);
    if (!wanted.empty() && ctx.out.mode != output_mode::people &&
        ctx.out.mode != output_mode::json) {
        throw failure(exit_status::usage, "--hex and --raw show whole answers: name no field");
    }
    const byte_list request = request_of(service, words);
    bus_session bus(ctx.timeout_ms);
    const known_answer got = ask(ctx.out, bus, service, request);
    if (wanted.empty()) {
        show_known(ctx.out, service, got, known_json(service, got));
    } else {
        show_fields(ctx.out, service, got, wanted);
    }
}

void set_object(context& ctx, const object_words& words) {
    const catalog::service& service = service_of("set", words.object);
    check_given(service, words);
    if (words.verify && (service.request == nullptr || reader_of(service) == nullptr)) {
        throw failure(exit_status::usage, std::string(short_name(service)) +
                                              " cannot be verified: no service reads it");
    }
    byte_list request = request_of(service, words);
    bus_session bus(ctx.timeout_ms);
    if (wants_present(service, words)) {
        request = encode(*service.request, bus.query(*reader_of(service), {}), words.all());
    }
    bus.send(service, request);
    if (words.verify) {
        verify_set(ctx, bus, service, *reader_of(service), request);
    }
    show_sent(ctx.out, service, request);
}

void set_log_level(context& ctx, const std::string& level) {
    const catalog::service& service = service_of("set", "log.profile");
    const std::vector<std::string> words = {
        "enable=1", "level_limit=" + std::to_string(log_level_of(*service.request, level).value)};
    const byte_list request = encode(*service.request, {}, words);
    bus_session bus(ctx.timeout_ms);
    bus.send(service, request);
    show_sent(ctx.out, service, request);
}

}  // namespace quon::client
