// Files of record definitions, and answers shown with them.
#include <algorithm>

#include "catalog/catalog.h"
#include "catalog/definitions.h"
#include "harness.h"
#include "shared/failure.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a known record was defined",
    "a new record was defined",
    "a file was refused",
    "a record was shown",
};

// The fields of a defined record are in order and inside it.
void check_fields(const catalog::record& what) {
    const std::size_t room = what.entry_size != 0 ? what.entry_size : what.size;
    std::size_t done = 0;
    for (const catalog::field& each : what.fields) {
        require(each.offset >= done, "fields do not overlap");
        done = each.offset + std::max<std::size_t>(each.size, 1);
        require(room == 0 || done <= room, "a field ends within its record");
    }
}

void show_defined(byte_view answer) {
    for (const catalog::record* each : catalog::records()) {
        if (!each->is_makers) {
            continue;
        }
        check_fields(*each);
        for (const catalog::decoded_field& field : catalog::decode(*each, answer)) {
            require(!field.name.empty(), "a field has a name");
        }
        saw("a record was shown");
    }
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const Bytes answer = input.bytes(input.number(2) % 500);
    const std::string text = input.text_to_the_end();
    catalog::forget_definitions();
    const std::size_t known = catalog::records().size();
    try {
        catalog::add_definitions(text, "file");
        show_defined(answer);
        saw(catalog::records().size() > known ? "a new record was defined"
                                              : "a known record was defined");
    } catch (const failure& error) {
        require(error.status() == exit_status::usage, "a bad file is wrong usage");
        require(std::string_view(error.what()).starts_with("file:"), "a refusal names its place");
        require(catalog::records().size() == known, "a refused file changes nothing");
        saw("a file was refused");
    }
}

}  // namespace quon::fuzz
