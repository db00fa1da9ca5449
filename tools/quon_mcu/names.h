// Names of services as people write them, and what they may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalog.h"

namespace quon::client {

// "get.time" for "method.quon.mcu.get.time".
std::string_view short_name(const catalog::service& service);

// The service of a full ("method.quon.mcu.get.time") or a short name ("get.time"). Throws failure
// (usage) with the nearest names.
const catalog::service& service_named(std::string_view name);

// All services of an object ("time" for get.time and set.time), or the one of a full or short name.
// Throws failure (usage) with the nearest names.
std::vector<const catalog::service*> services_named(std::string_view name);

// The service of an object ("time") under a verb ("get"); a short or a full name with that verb
// serves as well. Throws failure (usage) with the nearest objects.
const catalog::service& service_of(std::string_view verb, std::string_view object);

// The objects of all services with `verb`.
std::vector<std::string> objects_of(std::string_view verb);
std::vector<std::string> short_names();

}  // namespace quon::client
