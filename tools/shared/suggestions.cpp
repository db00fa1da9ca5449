#include "shared/suggestions.h"

#include <algorithm>

namespace quon {
namespace {

constexpr size_t kMostSuggestions = 3;

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

// A name that contains the word is similar, whatever its length.
size_t strangeness(std::string_view word, std::string_view known) {
    const size_t letters = distance(word, known);
    const bool contained = word.size() >= 3 && known.find(word) != std::string_view::npos;
    return contained ? std::min<size_t>(letters, 1) : letters;
}

}  // namespace

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
    near.resize(std::min(near.size(), kMostSuggestions));
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

}  // namespace quon
