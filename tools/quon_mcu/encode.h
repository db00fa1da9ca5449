// Builds requests from words.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "catalog/catalog.h"
#include "shared/values.h"

namespace quon::client {

// The bytes of one field. Numbers in decimal or with "0x", a known value also by its meaning,
// "192.168.1.1", "02:00:00:00:00:01", text, hex for bytes. A text is padded with zeros; one without
// a fixed size gets a closing zero. Throws failure (usage).
byte_list encode_field(const catalog::field& field, std::string_view value);

// The field of that name. Throws failure (usage) with similar names.
const catalog::field& field_named(const catalog::record& record, std::string_view name);

// True if `words` give every byte of the record, so that no base is needed.
bool is_complete(const catalog::record& record, std::span<const std::string> words);

// `base`, padded with zeros if it is short, with the fields given by `words`: each as NAME=VALUE,
// or one value per field in order; a time also as "now" (local time) or as a date and a time of
// day, with its other bytes zero. Throws failure (usage).
byte_list encode(const catalog::record& record, byte_list base, std::span<const std::string> words);

}  // namespace quon::client
