#include "quon_mcu/names.h"

#include <algorithm>

#include "quon_mcu/failure.h"

namespace quon::client {
namespace {

constexpr std::string_view name_prefix = "quon.mcu.";
constexpr size_t most_suggestions = 3;

// Letters to insert, delete, replace or swap with their neighbour.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> cost(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                   cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

// A name that contains the word is near however long it is.
size_t strangeness(std::string_view word, std::string_view known) {
    const size_t letters = distance(word, known);
    const bool contained = word.size() >= 3 && known.find(word) != std::string_view::npos;
    return contained ? std::min<size_t>(letters, 1) : letters;
}

const catalog::service* find_short(std::string_view name) {
    const auto found = std::ranges::find(catalog::services(), name, short_name);
    return found == catalog::services().end() ? nullptr : &*found;
}

}  // namespace

std::string_view short_name(const catalog::service& service) {
    return service.name.substr(service.name.find(name_prefix) + name_prefix.size());
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

std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& known) {
    const size_t limit = std::max<size_t>(2, word.size() / 3);
    std::vector<std::pair<size_t, std::string>> near;
    for (const std::string& each : known) {
        const size_t letters = strangeness(word, each);
        if (letters <= limit && letters < each.size()) {
            near.emplace_back(letters, each);
        }
    }
    std::ranges::stable_sort(near, {}, &std::pair<size_t, std::string>::first);
    near.resize(std::min(near.size(), most_suggestions));
    std::vector<std::string> names;
    for (const auto& [letters, name] : near) {
        names.push_back(name);
    }
    return names;
}

std::string unknown(std::string_view what, std::string_view word,
                    const std::vector<std::string>& known) {
    std::string text = "unknown " + std::string(what) + " '" + std::string(word) + "'";
    const char* separator = "; did you mean ";
    const std::vector<std::string> names = nearest(word, known);
    for (const std::string& name : names) {
        text += separator + ("'" + name + "'");
        separator = ", ";
    }
    return names.empty() ? text : text + "?";
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
