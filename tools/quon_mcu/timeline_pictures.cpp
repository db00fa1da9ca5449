// The start of a camera as text, as JSON and as a picture.
#include <algorithm>
#include <cstdio>

#include "quon_mcu/present.h"
#include "quon_mcu/timeline.h"
#include "shared/xml_text.h"

namespace quon::client {
namespace {

constexpr int kBarWidth = 40;

std::string ms(int64_t us) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", static_cast<double>(us) / 1000);
    return text;
}

std::string percent(double share) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f %%", share);
    return text;
}

std::string right(const std::string& text, size_t width) {
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

int column_at(const timeline& start, int64_t us) {
    return start.total_us == 0 ? 0 : static_cast<int>(us * kBarWidth / start.total_us);
}

std::string bar_of(const timeline& start, const timeline_step& step) {
    const int from = std::min(column_at(start, step.at_us), kBarWidth - 1);
    const int to = column_at(start, step.at_us + step.for_us);
    return std::string(static_cast<size_t>(from), ' ') +
           std::string(static_cast<size_t>(std::max(to - from, 1)), '#');
}

std::string one_start(const timeline& start) {
    row_list rows = {{right("at ms", 8), right("for ms", 8), right("share", 7), "step", ""}};
    for (const timeline_step& each : start.steps) {
        rows.push_back({right(ms(each.at_us), 8), right(ms(each.for_us), 8),
                        right(percent(start.share_of(each)), 7), each.name, bar_of(start, each)});
    }
    return aligned(rows) + "total " + ms(start.total_us) + " ms\n";
}

const timeline_step* step_named(const timeline& start, const std::string& name) {
    const auto found = std::ranges::find(start.steps, name, &timeline_step::name);
    return found == start.steps.end() ? nullptr : &*found;
}

// The steps of all starts, each once: those of the first, then those that only later ones have.
std::vector<std::string> all_names(const std::vector<timeline>& starts) {
    std::vector<std::string> names;
    for (const timeline& start : starts) {
        for (const timeline_step& each : start.steps) {
            if (std::ranges::find(names, each.name) == names.end()) {
                names.push_back(each.name);
            }
        }
    }
    return names;
}

std::string side_by_side(const std::vector<timeline>& starts) {
    row_list rows(2);
    rows[0].emplace_back("");
    rows[1].emplace_back("step");
    for (const timeline& start : starts) {
        rows[0].insert(rows[0].end(), {start.title, "", ""});
        rows[1].insert(rows[1].end(), {right("at ms", 8), right("for ms", 8), right("share", 7)});
    }
    for (const std::string& name : all_names(starts)) {
        rows.push_back({name});
        for (const timeline& start : starts) {
            const timeline_step* step = step_named(start, name);
            rows.back().insert(rows.back().end(),
                               {right(step == nullptr ? "-" : ms(step->at_us), 8),
                                right(step == nullptr ? "-" : ms(step->for_us), 8),
                                right(step == nullptr ? "-" : percent(start.share_of(*step)), 7)});
        }
    }
    rows.push_back({"total"});
    for (const timeline& start : starts) {
        rows.back().insert(rows.back().end(), {"", right(ms(start.total_us), 8), ""});
    }
    return aligned(rows);
}

// ---- SVG

constexpr int kLeft = 20;
constexpr int kScaleWidth = 640;
constexpr int kNameWidth = 300;
constexpr int kRow = 18;
constexpr int kTitle = 34;

const char* colour_of(step_kind kind) {
    switch (kind) {
        case step_kind::start:
            return "#4e79a7";
        case step_kind::query:
            return "#59a14f";
        case step_kind::network:
            return "#f28e2b";
        case step_kind::connection:
            return "#b07aa1";
    }
    return "#000000";
}

std::string text_at(int x, int y, const std::string& text, const char* more = "") {
    return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"" + more + ">" +
           xml_text(text) + "</text>\n";
}

class picture {
  public:
    explicit picture(int64_t scale_us) : scale_us_(std::max<int64_t>(scale_us, 1)) {}

    void add(const timeline& start) {
        body_ += text_at(kLeft, y_ + 22, start.title + ", " + ms(start.total_us) + " ms",
                         " font-weight=\"bold\"");
        y_ += kTitle;
        for (const timeline_step& each : start.steps) {
            add_step(start, each);
        }
    }

    std::string whole() const {
        const std::string width = std::to_string(kLeft + kScaleWidth + kNameWidth);
        const std::string height = std::to_string(y_ + kLeft);
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" +
               height + "\" font-family=\"sans-serif\" font-size=\"12\">\n" + "<rect width=\"" +
               width + "\" height=\"" + height + "\" fill=\"#ffffff\"/>\n" + body_ + "</svg>\n";
    }

  private:
    int x_of(int64_t us) const { return kLeft + static_cast<int>(us * kScaleWidth / scale_us_); }

    void add_step(const timeline& start, const timeline_step& step) {
        const int x = x_of(step.at_us);
        const int end = std::max(x_of(step.at_us + step.for_us), x + 2);
        body_ += "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y_) + "\" width=\"" +
                 std::to_string(end - x) + "\" height=\"" + std::to_string(kRow - 4) +
                 "\" fill=\"" + colour_of(step.kind) + "\"/>\n";
        body_ +=
            text_at(end + 6, y_ + 11,
                    step.name + " " + ms(step.for_us) + " ms, " + percent(start.share_of(step)));
        y_ += kRow;
    }

    int64_t scale_us_;
    int y_ = 0;
    std::string body_;
};

}  // namespace

std::string timeline_text(const std::vector<timeline>& starts) {
    return starts.size() == 1 ? one_start(starts[0]) : side_by_side(starts);
}

nlohmann::ordered_json timeline_json(const timeline& start) {
    json steps = json::array();
    for (const timeline_step& each : start.steps) {
        steps.push_back({{"step", each.name},
                         {"at_ms", static_cast<double>(each.at_us) / 1000},
                         {"for_ms", static_cast<double>(each.for_us) / 1000},
                         {"share", start.share_of(each)}});
    }
    return {{"title", start.title},
            {"total_ms", static_cast<double>(start.total_us) / 1000},
            {"steps", steps}};
}

std::string timeline_svg(const std::vector<timeline>& starts) {
    int64_t scale = 0;
    for (const timeline& each : starts) {
        scale = std::max(scale, each.total_us);
    }
    picture drawn(scale);
    for (const timeline& each : starts) {
        drawn.add(each);
    }
    return drawn.whole();
}

}  // namespace quon::client
