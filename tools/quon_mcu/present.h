// Records and answers, for people and as JSON.
//
// A record that the daemon filled up after a shorter answer, or whose query was not answered, looks
// like one with zeros. So a zero at the end of an answer is not a fact: `zero` below is the reason
// shown instead, and empty for records in which zeros are facts.
#pragma once

#include <string>
#include <vector>

#include "catalog/catalog.h"
#include "shared/json_text.h"
#include "shared/output.h"

namespace quon::client {

// Keeps the order in which members were added.
using json = nlohmann::ordered_json;
using row_list = std::vector<std::vector<std::string>>;

bool is_not_known(const catalog::decoded_field& field, std::string_view zero);

// Why the field, or the end of it, is unknown; empty if it is known.
std::string reason_text(const catalog::decoded_field& field, std::string_view zero);

// "1500 ms", "13 (meaning)", "-  (reason)", "50  (4 bytes more: reason)".
std::string value_text(const catalog::decoded_field& field, std::string_view zero);

// {"name": value, ...}: numbers as numbers, everything else as text, null if unknown; the entries
// of a list as "entries".
json fields_json(const catalog::record& what, byte_view bytes, std::string_view zero = {});

// {"name": reason, ...} for the fields that have one.
json reasons_json(const catalog::record& what, byte_view bytes, std::string_view zero);

json value_json(const catalog::decoded_field& field, std::string_view zero);

// service, length, hex, fields, and reasons if there are any.
json answer_json(const catalog::service& service, byte_view payload, std::string_view zero);

// One aligned line per field; bytes in lines of 16, or in words if they are all zero.
std::string fields_text(const catalog::record& what, byte_view bytes, std::string_view zero = {});

// "name=value name=value" as in a journal, with "-" for unknown values.
std::string line_text(const catalog::record& what, byte_view bytes, std::string_view zero);

// A document on one line; an object begins with "time" if the output is timed.
void print(output& out, json document);

// The payload in the output's mode; `document` is printed for --json.
void show_record(output& out, const catalog::record& what, byte_view bytes, const json& document,
                 std::string_view zero = {});

// A signal has no answer: only --json shows what was sent.
void show_sent(output& out, const catalog::service& service, byte_view request);

}  // namespace quon::client
