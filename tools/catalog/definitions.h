// Records as the camera's maker defines them, from a file beside the built-in table.
//
// The file is JSON, and may have comments (// and /* */):
//
//     {
//       "battery_status": {                  // a known record, or a new one
//         "size": 5,                         // of a new one; without: as long as its sender makes
//         it "fields": [
//           {"name": "charge", "offset": 0, "kind": "u8", "unit": "%", "meaning": "charge"},
//           {"name": "state", "offset": 3, "kind": "u8", "values": {"0": "idle", "1": "charging"}}
//         ]
//       }
//     }
//
// Kinds: u8, s8, u16, u32, ipv4, mac, and text and bytes, which have a "size" (without: to the end
// of the record). A known record keeps those of its fields that have neither a byte nor the name in
// common with one of these. In a list record the fields are those of one entry.
#pragma once

#include <string>
#include <string_view>

namespace quon::catalog {

// Adds the definitions in `text` to the table of catalog.h. Throws failure (usage) with "FILE:LINE:
// what is wrong" and then changes nothing. No other thread may be reading the table.
void add_definitions(std::string_view text, const std::string& file);

// Reads a file: `file`, or if that is empty the one named by QUON_MCU_RECORDS in the environment
// (empty: none), or the first found of quon-mcu/records.json in $XDG_CONFIG_HOME (or ~/.config) and
// in /etc; does nothing if there is none. Reads it once, however often it is called.
void load_definitions(const std::string& file);

// The built-in table alone.
void forget_definitions();

}  // namespace quon::catalog
