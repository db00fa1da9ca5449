// Records and answers, for people and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "catalog/catalog.h"
#include "quon_mcu/output.h"

namespace quon::client {

using json = nlohmann::ordered_json;

// One line; bytes that are no UTF-8 become U+FFFD.
std::string dump(const json& value);

// {"name": value, ...}: numbers as numbers, all else as text; the entries of a list as "entries".
json fields_json(const catalog::record& what, std::span<const uint8_t> bytes);

// One aligned line a field; bytes in lines of 16, or in words when they are all zero.
std::string fields_text(const catalog::record& what, std::span<const uint8_t> bytes);

// The payload in the output's mode; `document` is what --json prints.
void show_record(output& out, const catalog::record& what, std::span<const uint8_t> bytes,
                 const json& document);

// A signal has no answer: only --json says what was sent.
void show_sent(output& out, const catalog::service& service, std::span<const uint8_t> request);

}  // namespace quon::client
