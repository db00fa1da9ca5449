// Requests from words.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "catalog/catalog.h"
#include "shared/values.h"

namespace quon::client {

// The bytes of one field. Numbers in decimal or after "0x", a known value also by its meaning,
// "192.168.1.1", "02:00:00:00:00:01", text, hex for bytes. A text is filled up with zeros; one
// without a fixed size ends with a zero byte. Throws failure (usage).
byte_list encode_field(const catalog::field& field, std::string_view value);

// The field of that name. Throws failure (usage) with the nearest names.
const catalog::field& field_named(const catalog::record& record, std::string_view name);

// True when `words` give every byte of the record, so that nothing is needed beneath them.
bool is_complete(const catalog::record& record, std::span<const std::string> words);

// `base`, or zeros where it is short, with the fields that `words` give: either NAME=VALUE each, or
// one value for every field in their order; a time also as "now" (local time) or as a date and a
// time of day, with its unnamed bytes zero. Throws failure (usage).
byte_list encode(const catalog::record& record, byte_list base, std::span<const std::string> words);

}  // namespace quon::client
