#include "catalog/generate/members.h"

#include <algorithm>
#include <cctype>

#include "dbus_socket_common.h"
#include "hi3861l_protocol.h"

namespace quon::generate {
namespace {

using catalog::field;
using catalog::record;
using catalog::service;

// "; 0 fatal, 1 error", or "; 1, 3, 13 this" where several values mean the same.
std::string values_text(const field& what) {
    std::string text;
    for (size_t i = 0; i < what.values.size(); ++i) {
        const catalog::known_value& each = what.values[i];
        const bool is_last = i + 1 == what.values.size();
        text += (text.empty() ? "; " : ", ") + std::to_string(each.value);
        if (is_last || what.values[i + 1].meaning != each.meaning) {
            text += " " + std::string(each.meaning);
        }
    }
    return text;
}

std::string remark_of(const field& what) {
    std::string text(what.meaning);
    if (!what.unit.empty()) {
        text += ", " + std::string(what.unit);
    }
    if (what.range.most != 0) {
        text += ", " + std::to_string(what.range.least) + " to " + std::to_string(what.range.most);
    }
    return text + values_text(what);
}

member rest(uint32_t from, uint32_t to, bool is_all) {
    const std::string name = is_all ? "bytes" : "rest_" + std::to_string(from);
    return {name, from, to - from, catalog::field_kind::bytes, "not interpreted", nullptr};
}

}  // namespace

std::vector<member> members_of(const record& what) {
    const uint32_t end = what.entry_size != 0 ? what.entry_size : what.size;
    std::vector<member> members;
    uint32_t done = 0;
    for (const field& each : what.fields) {
        if (each.offset > done) {
            members.push_back(rest(done, each.offset, false));
        }
        members.push_back(
            {std::string(each.name), each.offset, each.size, each.kind, remark_of(each), &each});
        done = each.offset + each.size;
    }
    if (end > done || what.fields.empty()) {
        members.push_back(rest(done, end, done == 0));
    }
    return members;
}

uint32_t longest(const record& what) {
    const auto messages = catalog::messages();
    const bool is_chips = std::ranges::any_of(messages, [&](const catalog::message& each) {
        return each.request == &what || each.reply == &what;
    });
    constexpr uint32_t kOnTheBus = DBUS_DATA_SIZE;
    return what.size != 0 ? what.size : is_chips ? kHi3861lPayloadSize : kOnTheBus;
}

uint32_t most_entries(const record& list) {
    return list.entry_size == 0 ? 0 : (list.size - 1) / list.entry_size;
}

bool may_lack_fields(const record& what) {
    return std::ranges::any_of(catalog::services(), [&](const service& each) {
        return each.reply == &what && !zero_reason(each).empty();
    });
}

std::vector<const record*> records_of_services() {
    std::vector<const record*> found;
    for (const service& each : catalog::services()) {
        for (const record* one : {each.request, each.reply}) {
            if (one != nullptr && std::ranges::count(found, one) == 0) {
                found.push_back(one);
            }
        }
    }
    return found;
}

std::string users_of(const record& what) {
    std::string text;
    for (const service& each : catalog::services()) {
        for (const auto& [used, role] :
             {std::pair{each.request, "request"}, std::pair{each.reply, "reply"}}) {
            if (used == &what) {
                text += (text.empty() ? "" : ", ") + short_name(each) + " (" + role + ")";
            }
        }
    }
    return text;
}

std::string short_name(const service& service) {
    constexpr std::string_view kPrefix = "method.quon.mcu.";  // as long as that of signals
    return std::string(service.name.substr(kPrefix.size()));
}

std::string identifier(const service& service) {
    std::string text = short_name(service);
    std::ranges::replace(text, '.', '_');
    return text;
}

std::string upper(std::string_view text) {
    std::string all(text);
    std::ranges::transform(all, all.begin(), [](unsigned char c) { return std::toupper(c); });
    return all;
}

}  // namespace quon::generate
