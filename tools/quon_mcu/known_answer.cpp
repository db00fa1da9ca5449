#include "quon_mcu/known_answer.h"

#include <algorithm>
#include <chrono>

#include "mcu_records.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

constexpr std::string_view kNoSnapshot = "the start-up snapshot does not exist yet";
constexpr std::chrono::milliseconds kMoreThanASecond{1100};

bool shows_answers_fields(const output& out) {
    return out.mode == output_mode::people || out.mode == output_mode::json;
}

bool may_lack_seconds(const catalog::record& clock, byte_view bytes) {
    const auto fields = catalog::decode(clock, bytes);
    const auto found = std::ranges::find(fields, "second", &catalog::decoded_field::name);
    return found != fields.end() && found->blank;
}

bool has_snapshot(byte_view context) {
    return get_le(context, kMcuContextStartMsOffset, 4) != 0;
}

void clear_from(byte_list& bytes, size_t offset) {
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(), uint8_t{0});
}

}  // namespace

known_answer ask(output& out, bus_session& bus, const catalog::service& service,
                 byte_view request) {
    known_answer got{bus.query(service, request), {}, zero_reason(service)};
    if (service.reply->name == "time" && shows_answers_fields(out) &&
        may_lack_seconds(*service.reply, got.payload)) {
        out.rest(kMoreThanASecond);
        got.payload = bus.query(service, request);
    }
    got.fields = got.payload;
    if (service.reply->name == "wakeup_context" && !has_snapshot(got.payload)) {
        clear_from(got.fields, 0);
        got.zero = kNoSnapshot;
    }
    if (service.reply->name == "socup_time" && shows_answers_fields(out) &&
        !has_snapshot(bus.query(service_named("get.allwakeup.info"), {}))) {
        clear_from(got.fields, 0);
        got.zero = kNoSnapshot;
    }
    return got;
}

json known_json(const catalog::service& service, const known_answer& answer) {
    json document = answer_json(service, answer.fields, answer.zero);
    document["hex"] = catalog::to_hex(answer.payload);
    return document;
}

void show_known(output& out, const catalog::service& service, const known_answer& answer,
                const json& document) {
    const bool as_fields = out.mode == output_mode::people;
    show_record(out, *service.reply, as_fields ? answer.fields : answer.payload, document,
                answer.zero);
}

}  // namespace quon::client
