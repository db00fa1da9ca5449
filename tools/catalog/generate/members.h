// What a record becomes as a structure of a language, and how services appear in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalog.h"

namespace quon::generate {

// One part of a record, with the bytes that no field covers as parts of their own.
struct member {
    std::string name;
    uint32_t offset;
    uint32_t size;  // bytes; 0: to the end of the record
    catalog::field_kind kind;
    std::string remark;
    const catalog::field* known;  // null: not interpreted
};

// The record's own, or those of one entry of a list.
std::vector<member> members_of(const catalog::record& what);

// The longest that a record without a size can be: as a chip's payload, or as the bus's.
uint32_t longest(const catalog::record& what);

uint32_t most_entries(const catalog::record& list);

// Whether some service's reply has fields of it that may not have been sent.
bool may_lack_fields(const catalog::record& what);

// The records that services name, in their order.
std::vector<const catalog::record*> records_of_services();

// "get.time (reply), set.time (request)".
std::string users_of(const catalog::record& what);

std::string short_name(const catalog::service& service);  // "get.time"
std::string identifier(const catalog::service& service);  // "get_time"
std::string upper(std::string_view text);

}  // namespace quon::generate
