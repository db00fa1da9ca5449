// list, describe, docs: the content of the table.
#include <algorithm>
#include <cctype>

#include "quon_mcu/commands.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/log_messages.h"
#include "quon_mcu/names.h"
#include "shared/failure.h"
#include "shared/suggestions.h"

namespace quon::client {
namespace {

void refuse_payload_modes(const context& ctx, const char* command) {
    if (ctx.out.mode == output_mode::hex || ctx.out.mode == output_mode::raw) {
        throw failure(exit_status::usage, std::string(command) + " prints text or --json");
    }
}

// Ignores case.
bool holds(std::string_view text, std::string_view word) {
    const auto alike = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return word.empty() || !std::ranges::search(text, word, alike).empty();
}

bool contains(const catalog::service& service, const std::string& word) {
    return holds(service.name, word) || holds(service.meaning, word);
}

std::string record_text(const char* role, const catalog::record* record) {
    if (record == nullptr) {
        return "";
    }
    return "\n" + std::string(role) + " " + std::string(record->name) + "\n" +
           aligned(field_rows(*record));
}

std::string bytes_text(const catalog::record* record) {
    if (record == nullptr) {
        return "none";
    }
    return std::string(record->name) + ", " +
           (record->size == 0 ? "any length" : std::to_string(record->size) + " bytes");
}

void describe_in_words(context& ctx, const catalog::service& service) {
    ctx.out.line(ctx.out.coloured("1", service.name));
    ctx.out.write(aligned({{"meaning", std::string(service.meaning)},
                           {"kind", kind_text(service.kind)},
                           {"request", bytes_text(service.request)},
                           {"reply", bytes_text(service.reply)},
                           {"chip message", message_text(service)},
                           {"time-out", timeout_text(service.timeout_ms)}}));
    ctx.out.write(record_text("request", service.request));
    ctx.out.write(record_text("reply", service.reply));
}

struct page_row {
    const char* name;
    std::string (*text)();
};
constexpr page_row kPages[] = {
    {"services", services_page},
    {"messages", log_messages_page},
    {"services-table", services_table},
    {"messages-table", messages_table},
    {"bus-record-table", bus_record_table},
    {"chip-frame-table", chip_frame_table},
    {"channel-message-table", channel_message_table},
    {"wireshark-tables", wireshark_tables},
};

}  // namespace

void list_services(context& ctx, const std::string& word) {
    refuse_payload_modes(ctx, "list");
    row_list rows = {{"kind", "name", "request", "reply", "meaning"}};
    json document = json::array();
    for (const catalog::service& each : catalog::services()) {
        if (!contains(each, word)) {
            continue;
        }
        rows.push_back({kind_text(each.kind), std::string(short_name(each)),
                        size_text(each.request), size_text(each.reply), std::string(each.meaning)});
        document.push_back({{"index", each.index},
                            {"name", each.name},
                            {"short_name", short_name(each)},
                            {"kind", kind_text(each.kind)},
                            {"request_size", each.request ? json(each.request->size) : json()},
                            {"reply_size", each.reply ? json(each.reply->size) : json()},
                            {"meaning", each.meaning}});
    }
    if (document.empty()) {
        throw failure(exit_status::usage, unknown("service", word, short_names()));
    }
    if (ctx.out.mode == output_mode::json) {
        print(ctx.out, document);
        return;
    }
    const std::string text = aligned(rows);
    const size_t head = text.find('\n');
    ctx.out.write(ctx.out.coloured("1", text.substr(0, head)) + text.substr(head));
}

void describe_service(context& ctx, const std::string& name) {
    refuse_payload_modes(ctx, "describe");
    const char* separator = "";
    for (const catalog::service* each : services_named(name)) {
        if (ctx.out.mode == output_mode::json) {
            print(ctx.out, service_json(*each));
            continue;
        }
        ctx.out.write(separator);
        describe_in_words(ctx, *each);
        separator = "\n";
    }
}

void print_page(context& ctx, const std::string& name) {
    std::vector<std::string> names;
    for (const page_row& each : kPages) {
        if (name == each.name) {
            ctx.out.write(each.text());
            return;
        }
        names.emplace_back(each.name);
    }
    throw failure(exit_status::usage, unknown("page", name, names));
}

}  // namespace quon::client
