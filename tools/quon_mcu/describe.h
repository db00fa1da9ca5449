// Services and records of the table as text, as JSON and as pages.
#pragma once

#include <string>
#include <vector>

#include "catalog/catalog.h"
#include "quon_mcu/present.h"

namespace quon::client {

std::string kind_text(catalog::service_kind kind);
std::string size_text(const catalog::record* record);       // "10", "any", or "-" without a record
std::string message_text(const catalog::service& service);  // "0x84 get_time", or "-"
std::string timeout_text(int timeout_ms);                   // "1000 ms", or "-"

// First a header row: offset, size, type, name, unit, meaning; bytes without a field as "rest".
row_list field_rows(const catalog::record& record);

// The names under which an answer's fields are shown; "entry[0]" stands for every entry of a list.
std::vector<std::string> answer_fields(const catalog::record& what);

json record_json(const catalog::record* record);
json service_json(const catalog::service& service);

// The pages and tables of docs/.
std::string services_page();
std::string services_table();
std::string messages_table();
std::string bus_record_table();
std::string chip_frame_table();
std::string channel_message_table();
std::string wireshark_tables();  // of tools/wireshark/quon.lua

// A Markdown table of rows, header first.
std::string markdown(const row_list& rows);

}  // namespace quon::client
