#include <algorithm>

#include "catalog/generate/members.h"
#include "catalog/generate/pages.h"

namespace quon::generate {

std::string c_prototype(const catalog::service& what);  // as the header declares it

namespace {

using catalog::field_kind;
using catalog::record;
using catalog::service;

constexpr std::string_view kKinds[] = {"u8",           "s8",         "u16",  "u32", "text",
                                       "address_text", "digit_text", "ipv4", "mac", "bytes"};

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

// "wakeup_info" as the name of a constant: "kWakeupInfo".
std::string constant(std::string_view name) {
    std::string text = "k";
    bool begins = true;
    for (const char c : name) {
        if (c != '_') {
            text += begins && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        }
        begins = c == '_';
    }
    return text;
}

std::string values_name(const record& what, const member& each) {
    return constant(what.name) + constant(each.name).substr(1) + "Values";
}

std::string values_rows(const record& what) {
    std::string text;
    for (const member& each : members_of(what)) {
        if (each.known == nullptr || each.known->values.empty()) {
            continue;
        }
        text += "constexpr KnownValue " + values_name(what, each) + "[] = {\n";
        for (const catalog::known_value& value : each.known->values) {
            text += "    {" + std::to_string(value.value) + ", " + quoted(value.meaning) + "},\n";
        }
        text += "};\n";
    }
    return text;
}

std::string field_rows(const record& what) {
    const std::string structure =
        "quon_mcu_" + std::string(what.name) + (what.entry_size != 0 ? "_entry" : "");
    std::string text = "constexpr Field " + constant(what.name) + "Fields[] = {\n";
    for (const member& each : members_of(what)) {
        const bool is_known = each.known != nullptr;
        const bool has_values = is_known && !each.known->values.empty();
        text += "    {" + quoted(each.name) + ", " + std::to_string(each.offset) + ", " +
                std::to_string(each.size) + ", offsetof(" + structure + ", " + each.name +
                "), Kind::" + std::string(kKinds[static_cast<size_t>(each.kind)]) + ", " +
                (is_known || what.fields.empty() ? "true" : "false") + ", " +
                (is_known && each.known->is_daemons ? "true" : "false") + ", " +
                (is_known ? quoted(each.known->unit) : "\"\"") + ", " +
                (has_values ? values_name(what, each) : "{}") + ", " +
                std::to_string(is_known ? each.known->range.least : 0) + ", " +
                std::to_string(is_known ? each.known->range.most : 0) + "},\n";
    }
    return text + "};\n";
}

std::string parts_row(const record& what) {
    if (what.parts.empty()) {
        return "";
    }
    std::string text = "constexpr uint16_t " + constant(what.name) + "Parts[] = {";
    for (const uint32_t each : what.parts) {
        text += (text.ends_with('{') ? "" : ", ") + std::to_string(each);
    }
    return text + "};\n";
}

// The offset in the structure of a member that not every structure has.
std::string place(const record& what, bool there, std::string_view name) {
    return there ? "offsetof(quon_mcu_" + std::string(what.name) + ", " + std::string(name) + ")"
                 : "kNone";
}

std::string record_row(const record& what) {
    const std::string name(what.name);
    const bool is_list = what.entry_size != 0;
    const bool has_length = what.size == 0 && members_of(what).back().kind == field_kind::bytes;
    const std::string own = constant(name);
    return "constexpr Record " + own + " = {" + quoted(name) + ", " + own + "Fields, " +
           (what.parts.empty() ? "{}" : own + "Parts") + ", " + std::to_string(what.size) + ", " +
           std::to_string(longest(what)) + ", " + place(what, may_lack_fields(what), "absent") +
           ", " + place(what, has_length, "length") + ", sizeof(quon_mcu_" + name + "), {" +
           std::to_string(what.entry_size) + ", " + std::to_string(most_entries(what)) + ", " +
           (is_list ? "sizeof(quon_mcu_" + name + "_entry)" : "0") + ", " +
           place(what, is_list, "count") + ", " + place(what, is_list, "entries") + "}};\n";
}

std::string service_row(const service& what) {
    const auto address = [](const record* one) {
        return one == nullptr ? std::string("nullptr") : "&" + constant(one->name);
    };
    const std::string_view zero = zero_reason(what);
    return "    {" + quoted(what.name) + ", " + address(what.request) + ", " + address(what.reply) +
           ", " + (zero.empty() ? "nullptr" : quoted(zero)) + "},\n";
}

std::string call_text(const service& what) {
    std::string text = what.reply != nullptr ? "ask(client, kServices[" : "tell(client, kServices[";
    text += std::to_string(what.index) + "], ";
    text += what.request != nullptr ? "request, " : "nullptr, ";
    text += what.reply != nullptr ? "reply, " : "";
    return text + "timeout_ms)";
}

}  // namespace

std::string c_records() {
    std::string text = R"(// Generated from the table of the services: what the structures hold.
#include <stddef.h>

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::typed {

namespace {

// clang-format off
)";
    for (const record* each : records_of_services()) {
        text += values_rows(*each) + field_rows(*each) + parts_row(*each) + record_row(*each);
    }
    text += R"(
}  // namespace

constexpr Service kServices[] = {
)";
    for (const service& each : catalog::services()) {
        text += service_row(each);
    }
    return text + R"(};
// clang-format on

static_assert(sizeof(kServices) / sizeof(kServices[0]) == kServiceCount);

}  // namespace quon::typed
)";
}

std::string c_functions() {
    std::string text = R"(// Generated from the table of the services: one function each.
#include "client_calls.h"
#include "quon_mcu_client.h"

using quon::typed::ask;
using quon::typed::kServices;
using quon::typed::tell;

// clang-format off
)";
    for (const service& each : catalog::services()) {
        text += "\n" + c_prototype(each) + " {\n    return " + call_text(each) + ";\n}\n";
    }
    return text + "// clang-format on\n";
}

}  // namespace quon::generate
