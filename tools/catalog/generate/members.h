// Records as structures of a language, and the names of services in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalog.h"

namespace quon::generate {

// One part of a record; runs of bytes without a field are parts too.
struct member {
    std::string name;
    uint32_t offset;
    uint32_t size;  // bytes; 0: to the end of the record
    catalog::field_kind kind;
    std::string remark;
    const catalog::field* known;  // null: not interpreted
};

// The parts of the record, or of one entry of a list.
std::vector<member> members_of(const catalog::record& what);

// The largest size of a record of variable size: a chip's payload, or the bus's.
uint32_t longest(const catalog::record& what);

uint32_t most_entries(const catalog::record& list);

// Whether any service's reply has fields of this record that may be absent.
bool may_lack_fields(const catalog::record& what);

// The records used by services, in the services' order.
std::vector<const catalog::record*> records_of_services();

// "get.time (reply), set.time (request)".
std::string users_of(const catalog::record& what);

std::string short_name(const catalog::service& service);  // "get.time"
std::string identifier(const catalog::service& service);  // "get_time"
std::string upper(std::string_view text);

}  // namespace quon::generate
