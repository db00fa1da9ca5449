// Names of services as users type them, and suggestions for misspelt ones.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalog.h"

namespace quon::client {

// "get.time" for "method.quon.mcu.get.time".
std::string_view short_name(const catalog::service& service);

// The service with a full ("method.quon.mcu.get.time") or a short name ("get.time"). Throws failure
// (usage) with similar names.
const catalog::service& service_named(std::string_view name);

// All services of an object ("time" for get.time and set.time), or the one with a full or short
// name. Throws failure (usage) with similar names.
std::vector<const catalog::service*> services_named(std::string_view name);

// The service for an object ("time") and a verb ("get"); a short or a full name with that verb is
// also accepted. Throws failure (usage) with similar objects.
const catalog::service& service_of(std::string_view verb, std::string_view object);

// The objects of all services with `verb`.
std::vector<std::string> objects_of(std::string_view verb);
std::vector<std::string> short_names();

}  // namespace quon::client
