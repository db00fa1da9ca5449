#include "quon_mcu/names.h"

#include <algorithm>

#include "shared/failure.h"
#include "shared/suggestions.h"

namespace quon::client {
namespace {

constexpr std::string_view kNamePrefix = "quon.mcu.";

// "time" for get.time.
std::string_view object_of(const catalog::service& service) {
    const std::string_view name = short_name(service);
    return name.substr(name.find('.') + 1);
}

const catalog::service* find_short(std::string_view name) {
    const auto found = std::ranges::find(catalog::services(), name, short_name);
    return found == catalog::services().end() ? nullptr : &*found;
}

}  // namespace

std::string_view short_name(const catalog::service& service) {
    return service.name.substr(service.name.find(kNamePrefix) + kNamePrefix.size());
}

const catalog::service& service_named(std::string_view name) {
    const catalog::service* found = catalog::find_service(name);
    if (found == nullptr) {
        found = find_short(name);
    }
    if (found == nullptr) {
        throw failure(exit_status::usage, unknown("service", name, short_names()));
    }
    return *found;
}

std::vector<const catalog::service*> services_named(std::string_view name) {
    std::vector<const catalog::service*> found;
    for (const catalog::service& each : catalog::services()) {
        if (object_of(each) == name) {
            found.push_back(&each);
        }
    }
    if (!found.empty()) {
        return found;
    }
    if (catalog::find_service(name) == nullptr && find_short(name) == nullptr) {
        std::vector<std::string> known = short_names();
        for (const catalog::service& each : catalog::services()) {
            known.emplace_back(object_of(each));
        }
        std::ranges::sort(known);
        // cppcheck-suppress mismatchingContainerExpression ; unique returns a part of its argument
        known.erase(std::ranges::unique(known).begin(), known.end());
        throw failure(exit_status::usage, unknown("service", name, known));
    }
    return {&service_named(name)};
}

const catalog::service& service_of(std::string_view verb, std::string_view object) {
    const std::string start = std::string(verb) + ".";
    for (const std::string& name : {start + std::string(object), std::string(object)}) {
        const catalog::service* found = catalog::find_service(name);
        found = found == nullptr ? find_short(name) : found;
        if (found != nullptr && short_name(*found).starts_with(start)) {
            return *found;
        }
    }
    throw failure(exit_status::usage,
                  unknown("object of " + std::string(verb), object, objects_of(verb)));
}

std::vector<std::string> objects_of(std::string_view verb) {
    const std::string start = std::string(verb) + ".";
    std::vector<std::string> objects;
    for (const catalog::service& each : catalog::services()) {
        if (short_name(each).starts_with(start)) {
            objects.emplace_back(short_name(each).substr(start.size()));
        }
    }
    return objects;
}

std::vector<std::string> short_names() {
    std::vector<std::string> names;
    for (const catalog::service& each : catalog::services()) {
        names.emplace_back(short_name(each));
    }
    return names;
}

}  // namespace quon::client
