#include "catalog/definition_text.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "shared/failure.h"

namespace quon::catalog {
namespace {

using nlohmann::json;

constexpr size_t kDeepest = 8;

// Counts lines while the parser reads; all copies share the count.
struct counting_iterator {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    const char* at;
    size_t* line;

    reference operator*() const { return *at; }
    counting_iterator& operator++() {
        *line += *at == '\n' ? 1 : 0;
        ++at;
        return *this;
    }
    counting_iterator operator++(int) {
        const counting_iterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const counting_iterator& other) const { return at == other.at; }
    bool operator!=(const counting_iterator& other) const { return at != other.at; }
};

// The text after "at line 3, column 5: " in the parser's message.
std::string reason_of(const std::exception& problem) {
    const std::string text = problem.what();
    const size_t column = text.find(", column ");
    const size_t start = column == std::string::npos ? column : text.find(": ", column);
    return start == std::string::npos ? text : text.substr(start + 2);
}

class node_maker : public nlohmann::json_sax<json> {
  public:
    node_maker(const size_t& line, const std::string& file) : line_(line), file_(file) {}

    bool null() override { return add(node_kind::other); }
    bool boolean(bool) override { return add(node_kind::other); }
    bool number_integer(number_integer_t value) override { return add_number(value); }
    bool number_unsigned(number_unsigned_t value) override {
        return value > INT64_MAX ? add(node_kind::other) : add_number(static_cast<int64_t>(value));
    }
    bool number_float(number_float_t, const string_t&) override { return add(node_kind::other); }
    bool string(string_t& value) override {
        add(node_kind::text);
        last().text = value;
        return true;
    }
    bool binary(binary_t&) override { return false; }  // text has none
    bool start_object(std::size_t) override { return open(node_kind::group); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(node_kind::list); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        const node& group = *open_.back();
        if (std::ranges::find(group.parts, name, &node::name) != group.parts.end()) {
            fail_at(file_, line_, "'" + name + "' stands there twice");
        }
        name_ = name;
        name_line_ = line_;
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const json::exception& problem) override {
        fail_at(file_, line_, reason_of(problem));
    }

    node& whole() { return whole_; }

  private:
    node& last() { return open_.empty() ? whole_ : open_.back()->parts.back(); }

    bool add(node_kind kind) {
        const bool is_member = !open_.empty() && open_.back()->kind == node_kind::group;
        node made{.kind = kind,
                  .line = is_member ? name_line_ : line_,
                  .name = is_member ? name_ : "",
                  .text = ""};
        if (open_.empty()) {
            whole_ = std::move(made);
        } else {
            open_.back()->parts.push_back(std::move(made));
        }
        return true;
    }

    bool add_number(int64_t value) {
        add(node_kind::number);
        last().number = value;
        return true;
    }

    bool open(node_kind kind) {
        if (open_.size() == kDeepest) {
            fail_at(file_, line_, "nested too deep");
        }
        add(kind);
        open_.push_back(&last());
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    const size_t& line_;
    const std::string& file_;
    node whole_;
    std::vector<node*> open_;  // a node's parts only grow while it is the last one here
    std::string name_;
    size_t name_line_ = 0;
};

}  // namespace

void fail_at(const std::string& file, size_t line, const std::string& what) {
    throw failure(exit_status::usage, file + ":" + std::to_string(line) + ": " + what);
}

node read_nodes(std::string_view text, const std::string& file) {
    size_t line = 1;
    node_maker maker(line, file);
    const counting_iterator begin{text.data(), &line};
    const counting_iterator end{text.data() + text.size(), &line};
    constexpr bool kWholeText = true;
    constexpr bool kIgnoreComments = true;
    if (!json::sax_parse(begin, end, &maker, json::input_format_t::json, kWholeText,
                         kIgnoreComments)) {
        fail_at(file, line, "this is no JSON");
    }
    return std::move(maker.whole());
}

}  // namespace quon::catalog
