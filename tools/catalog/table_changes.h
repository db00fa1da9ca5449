// Changes of the table that catalog.h shows.
#pragma once

#include "catalog/catalog.h"

namespace quon::catalog {

// Takes the place of the record of its name, or is a further one. Outlives the table.
void put_record(const record& what);

void forget_records();

}  // namespace quon::catalog
