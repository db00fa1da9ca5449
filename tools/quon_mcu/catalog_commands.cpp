// list, describe, docs: what the table says.
#include "quon_mcu/command.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

void refuse_payload_modes(const context& ctx, const char* command) {
    if (ctx.out.mode == output_mode::hex || ctx.out.mode == output_mode::raw) {
        throw failure(exit_status::usage, std::string(command) + " prints text or --json");
    }
}

bool contains(const catalog::service& service, const std::string& word) {
    return service.name.find(word) != std::string_view::npos ||
           service.meaning.find(word) != std::string_view::npos;
}

void list(context& ctx, const std::string& word) {
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
        ctx.out.line(dump(document));
        return;
    }
    const std::string text = aligned(rows);
    const size_t head = text.find('\n');
    ctx.out.write(ctx.out.coloured("1", text.substr(0, head)) + text.substr(head));
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

void describe(context& ctx, const std::string& name) {
    refuse_payload_modes(ctx, "describe");
    const catalog::service& service = service_named(name);
    if (ctx.out.mode == output_mode::json) {
        ctx.out.line(dump(service_json(service)));
        return;
    }
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
constexpr page_row pages[] = {
    {"services", services_page},
    {"services-table", services_table},
    {"messages-table", messages_table},
    {"bus-record-table", bus_record_table},
    {"chip-frame-table", chip_frame_table},
};

void docs(context& ctx, const std::string& name) {
    std::vector<std::string> names;
    for (const page_row& each : pages) {
        if (name == each.name) {
            ctx.out.write(each.text());
            return;
        }
        names.emplace_back(each.name);
    }
    throw failure(exit_status::usage, unknown("page", name, names));
}

}  // namespace

void add_catalog_commands(CLI::App& app, context& ctx) {
    const auto word = std::make_shared<std::string>();
    add_command(app, ctx, "list", "List the services", [&ctx, word] {
        list(ctx, *word);
    })->add_option("WORD", *word, "Only services whose name or meaning contains it");
    const auto name = std::make_shared<std::string>();
    add_command(app, ctx, "describe", "Describe a service and its records",
                [&ctx, name] { describe(ctx, *name); })
        ->add_option("NAME", *name, "Service, full or short (get.time)")
        ->required();
    const auto page = std::make_shared<std::string>();
    CLI::App* command = add_command(app, ctx, "docs", "Print a generated page of the documentation",
                                    [&ctx, page] { docs(ctx, *page); });
    command->add_option("PAGE", *page, "services, or a table of protocol.md")->required();
    command->group("");  // for maintainers
}

}  // namespace quon::client
