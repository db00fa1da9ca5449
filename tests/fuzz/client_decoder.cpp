// Answers of a broken daemon or chip, as every record of the catalog, in every form that the client
// shows.
#include <fcntl.h>
#include <unistd.h>

#include "catalog/catalog.h"
#include "harness.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/output.h"
#include "shared/owned_descriptor.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a field was shown",  "a list had entries",      "bytes were left over",
    "a record was empty", "a message was described", "an answer was shown",
};

void note(const std::vector<catalog::decoded_field>& fields) {
    for (const auto& field : fields) {
        saw("a field was shown");
        if (field.name.starts_with("entry[")) {
            saw("a list had entries");
        }
        if (field.name.starts_with("rest_")) {
            saw("bytes were left over");
        }
    }
}

// In every output mode.
void show_answer(const catalog::service& service, byte_view payload, std::uint8_t choice) {
    static const owned_descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    output out("fuzz", nowhere.get(), nowhere.get());
    out.mode = static_cast<output_mode>(choice % 4);
    const std::string_view zero = catalog::zero_reason(service);
    client::show_record(out, *service.reply, payload, client::answer_json(service, payload, zero),
                        zero);
    saw("an answer was shown");
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const std::uint8_t choice = input.byte();
    const std::uint8_t mode = input.byte();
    const Bytes payload = input.bytes(8192);
    const catalog::record& record = *catalog::records()[choice % catalog::records().size()];
    note(catalog::decode(record, payload));
    if (catalog::one_line(&record, payload) == "empty") {
        saw("a record was empty");
    }
    (void)client::fields_text(record, payload);
    (void)client::line_text(record, payload, "not known");
    (void)dump(client::fields_json(record, payload, "not known"));
    for (const auto way : {catalog::direction::to_chip, catalog::direction::from_chip}) {
        if (catalog::describe_payload(way, mode, payload) != "empty") {
            saw("a message was described");
        }
    }
    const catalog::service& service = catalog::services()[choice % catalog::services().size()];
    if (service.reply != nullptr) {
        show_answer(service, payload, mode);
    }
}

}  // namespace quon::fuzz
