// call, send: one request with a raw payload.
#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::client {
namespace {

byte_list payload_of(const request_words& words) {
    byte_list payload;
    for (const std::string& each : words.hex) {
        const byte_list piece = parse_hex(each);
        payload.insert(payload.end(), piece.begin(), piece.end());
    }
    return payload;
}

const catalog::service& service_of_kind(const std::string& name, catalog::service_kind kind) {
    const catalog::service& service = service_named(name);
    if (service.kind != kind) {
        const bool is_signal = service.kind == catalog::service_kind::signal;
        throw failure(exit_status::usage, std::string(service.name) +
                                              (is_signal ? " is a signal: use 'quon-mcu send "
                                                         : " is a method: use 'quon-mcu call ") +
                                              name + "'");
    }
    return service;
}

void show_answer(output& out, const catalog::service& service, const answer& got) {
    const std::string hex = catalog::to_hex(got.payload);
    const std::string length = std::to_string(got.payload.size());
    switch (out.mode) {
        case output_mode::people:
            out.write(aligned(
                {{"result", std::to_string(got.result)}, {"length", length}, {"hex", hex}}));
            break;
        case output_mode::json: {
            json document = {{"service", service.name},
                             {"result", got.result},
                             {"length", got.payload.size()},
                             {"hex", hex}};
            if (got.result >= 0) {
                document.update(answer_json(service, got.payload, zero_reason(service)));
            }
            print(out, document);
            break;
        }
        case output_mode::hex:
            out.line(hex);
            break;
        case output_mode::raw:
            out.write(got.payload);
            break;
    }
}

}  // namespace

void call_method(context& ctx, const request_words& words) {
    const catalog::service& service = service_of_kind(words.name, catalog::service_kind::method);
    const byte_list payload = payload_of(words);
    bus_session bus(ctx.timeout_ms);
    const answer got = bus.call(service, payload);
    if (got.result >= 0 || ctx.out.mode == output_mode::people ||
        ctx.out.mode == output_mode::json) {
        show_answer(ctx.out, service, got);
    }
    if (got.result < 0) {
        throw failure(exit_status::failure, refusal_text(service, got));
    }
}

void send_signal(context& ctx, const request_words& words) {
    const catalog::service& service = service_of_kind(words.name, catalog::service_kind::signal);
    const byte_list payload = payload_of(words);
    bus_session bus(ctx.timeout_ms);
    bus.send(service, payload);
    show_sent(ctx.out, service, payload);
}

}  // namespace quon::client
