// User input: numbers, times, addresses, bytes, names and the fields of requests.
#include <functional>
#include <iterator>
#include <sstream>

#include "catalog/catalog.h"
#include "harness.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/names.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "bytes were read",      "a duration was read", "a number was read",
    "an address was read",  "a service was named", "a field was encoded",
    "a record was encoded", "a text was refused",  "a name was not known",
};

constexpr std::uint8_t kNames = 0xe0;  // from here on the text is a name
constexpr std::size_t kLongestName = 80;

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

// A rejection quotes the input and has no other effect.
void try_to(std::string_view outcome, std::string_view refusal,
            const std::function<void()>& parse) {
    try {
        parse();
        saw(outcome);
    } catch (const failure& error) {
        require(error.status() == exit_status::usage, "a bad text is wrong usage");
        saw(refusal);
    }
}

void parse_values(const std::string& text) {
    constexpr std::string_view kRefused = "a text was refused";
    try_to("bytes were read", kRefused, [&] { (void)parse_hex(text); });
    try_to("a duration was read", kRefused,
           [&] { require(parse_duration(text) >= 0, "a duration is not negative"); });
    try_to("a number was read", kRefused, [&] {
        const int64_t number = parse_number(text, -5, 70000);
        require(number >= -5 && number <= 70000, "a number lies within its range");
    });
    try_to("an address was read", kRefused,
           [&] { require(parse_ipv4(text).size() == 4, "an address has four bytes"); });
    try_to("an address was read", kRefused,
           [&] { require(parse_mac(text).size() == 6, "a hardware address has six bytes"); });
}

void parse_names(const std::string& text) {
    constexpr std::string_view kUnknown = "a name was not known";
    try_to("a service was named", kUnknown, [&] { (void)client::service_named(text); });
    try_to("a service was named", kUnknown, [&] {
        require(!client::services_named(text).empty(), "a name that is known is there");
    });
    try_to("a service was named", kUnknown, [&] { (void)client::service_of("set", text); });
}

void parse_fields(const catalog::record& record, const std::string& text) {
    constexpr std::string_view kRefused = "a text was refused";
    for (const catalog::field& field : record.fields) {
        try_to("a field was encoded", kRefused, [&] {
            const byte_list bytes = client::encode_field(field, text);
            require(field.size == 0 || bytes.size() == field.size, "a field has its size");
        });
    }
    try_to("a record was encoded", kRefused, [&] {
        const byte_list bytes = client::encode(record, {}, words_of(text));
        require(bytes.size() >= record.size, "a record has its size");
    });
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const std::uint8_t choice = input.byte();
    const std::string text = input.text_to_the_end();
    if (choice >= kNames) {
        parse_names(text.substr(0, kLongestName));
        return;
    }
    parse_values(text);
    parse_fields(*catalog::records()[choice % catalog::records().size()], text);
}

}  // namespace quon::fuzz
