// Changes to the table of catalog.h.
#pragma once

#include "catalog/catalog.h"

namespace quon::catalog {

// Replaces the record of the same name, or adds one. Must outlive the table.
void put_record(const record& what);

void forget_records();

}  // namespace quon::catalog
