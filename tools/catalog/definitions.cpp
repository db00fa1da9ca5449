#include "catalog/definitions.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <memory>
#include <optional>

#include "catalog/definition_text.h"
#include "catalog/table_changes.h"
#include "dbus_socket_common.h"
#include "shared/failure.h"
#include "shared/files.h"
#include "shared/suggestions.h"
#include "shared/values.h"

namespace quon::catalog {
namespace {

constexpr size_t kLongestName = 32;
constexpr size_t kLongestText = 120;

struct kind_row {
    std::string_view name;
    field_kind kind;
    uint32_t size;  // 0: any
    int64_t least;
    int64_t most;
};
constexpr kind_row kKinds[] = {
    {"u8", field_kind::u8, 1, 0, UINT8_MAX},    {"s8", field_kind::s8, 1, INT8_MIN, INT8_MAX},
    {"u16", field_kind::u16, 2, 0, UINT16_MAX}, {"u32", field_kind::u32, 4, 0, UINT32_MAX},
    {"ipv4", field_kind::ipv4, 4, 0, 0},        {"mac", field_kind::mac, 6, 0, 0},
    {"text", field_kind::text, 0, 0, 0},        {"bytes", field_kind::bytes, 0, 0, 0},
};

// Requests that the programs fill in themselves, and answers that they interpret.
constexpr std::string_view kOwnRecords[] = {
    "time",          "log_profile_request", "upg_start",    "upg_block",
    "shell_command", "shell_status",        "shell_output", "zero_word",
};

// A record and everything that it refers to.
struct own_record {
    record what;
    std::vector<field> fields;
    std::deque<std::vector<known_value>> values;
    std::deque<std::string> texts;

    std::string_view keep(const std::string& text) { return texts.emplace_back(text); }
};

using record_list = std::vector<std::unique_ptr<own_record>>;

record_list& defined_records() {
    static record_list all;
    return all;
}

std::optional<std::string>& loaded_file() {
    static std::optional<std::string> file;
    return file;
}

bool is_name(std::string_view text) {
    const auto is_letter = [](char c) { return c >= 'a' && c <= 'z'; };
    return !text.empty() && text.size() <= kLongestName && is_letter(text[0]) &&
           std::ranges::all_of(
               text, [&](char c) { return is_letter(c) || c == '_' || (c >= '0' && c <= '9'); });
}

// Names that the decoder itself uses for bytes without a field.
bool is_taken(std::string_view name) {
    return name == "bytes" || name == "count" || name.starts_with("rest_") ||
           name.starts_with("entry");
}

uint32_t end_of(const field& what) {
    return what.size == 0 ? UINT32_MAX : what.offset + what.size;
}

class reader {
  public:
    explicit reader(const std::string& file) : file_(file) {}

    record_list read(std::string_view text) const {
        const node all = read_nodes(text, file_);
        must(all.kind == node_kind::group, all, "the file is no { } of records");
        record_list records;
        for (const node& each : all.parts) {
            records.push_back(read_record(each));
        }
        return records;
    }

  private:
    void must(bool holds, const node& where, const std::string& what) const {
        if (!holds) {
            fail_at(file_, where.line, what);
        }
    }

    void check_members(const node& where, const std::vector<std::string>& known) const {
        for (const node& each : where.parts) {
            must(std::ranges::count(known, each.name) != 0, each,
                 unknown("name", each.name, known));
        }
    }

    static const node* find(const node& where, std::string_view name) {
        const auto found = std::ranges::find(where.parts, name, &node::name);
        return found == where.parts.end() ? nullptr : &*found;
    }

    std::string text(const node& where, std::string_view name) const {
        const node* found = find(where, name);
        if (found == nullptr) {
            return "";
        }
        const auto is_control = [](char c) { return static_cast<uint8_t>(c) < 0x20 || c == 0x7f; };
        must(found->kind == node_kind::text && found->text.size() <= kLongestText &&
                 std::ranges::none_of(found->text, is_control),
             *found,
             "'" + std::string(name) + "' is no text of at most " + std::to_string(kLongestText) +
                 " bytes on one line");
        return found->text;
    }

    std::optional<uint32_t> number(const node& where, std::string_view name) const {
        const node* found = find(where, name);
        if (found == nullptr) {
            return std::nullopt;
        }
        must(
            found->kind == node_kind::number && found->number >= 0 &&
                found->number <= DBUS_DATA_SIZE,
            *found,
            "'" + std::string(name) + "' is no number from 0 to " + std::to_string(DBUS_DATA_SIZE));
        return static_cast<uint32_t>(found->number);
    }

    std::unique_ptr<own_record> read_record(const node& where) const {
        must(is_name(where.name), where,
             "'" + where.name + "' is no name of a record: small letters, digits and '_'");
        must(where.kind == node_kind::group, where,
             "'" + where.name + "' is no { } of size, fields");
        must(std::ranges::count(kOwnRecords, where.name) == 0, where,
             where.name + " is the daemon's own and stays as it is");
        check_members(where, {"size", "fields"});
        auto made = std::make_unique<own_record>();
        const record* known = find_record(where.name);
        made->what = known != nullptr ? *known : record{};
        made->what.name = made->keep(where.name);
        made->what.is_makers = true;
        set_size(made->what, known, where);
        read_fields(*made, where);
        if (known != nullptr) {
            keep_fields(*made, *known);
        }
        std::ranges::sort(made->fields, {}, &field::offset);
        made->what.fields = made->fields;
        return made;
    }

    void set_size(record& what, const record* known, const node& where) const {
        const std::optional<uint32_t> size = number(where, "size");
        if (!size) {
            return;
        }
        must(known == nullptr || known->size == *size, *find(where, "size"),
             where.name + " has " + (what.size == 0 ? "any number of" : std::to_string(what.size)) +
                 " bytes, not " + std::to_string(*size));
        what.size = *size;
    }

    void read_fields(own_record& made, const node& where) const {
        const node* fields = find(where, "fields");
        must(fields != nullptr && fields->kind == node_kind::list && !fields->parts.empty(),
             fields == nullptr ? where : *fields, where.name + " has no [ ] of fields");
        for (const node& each : fields->parts) {
            const field one = read_field(made, each);
            for (const field& other : made.fields) {
                must(other.name != one.name, each,
                     "a second field '" + std::string(one.name) + "'");
                must(end_of(other) <= one.offset || end_of(one) <= other.offset, each,
                     "'" + std::string(one.name) + "' has bytes in common with '" +
                         std::string(other.name) + "'");
            }
            made.fields.push_back(one);
        }
    }

    field read_field(own_record& made, const node& where) const {
        must(where.kind == node_kind::group, where, "a field is no { } of name, offset, kind");
        check_members(where, {"name", "offset", "size", "kind", "unit", "values", "meaning"});
        const std::string name = text(where, "name");
        must(is_name(name) && !is_taken(name), where,
             "'" + name +
                 "' is no name of a field: small letters, digits and '_', and none of "
                 "bytes, count, rest_..., entry...");
        const kind_row& kind = kind_of(where, name);
        const std::optional<uint32_t> offset = number(where, "offset");
        must(offset.has_value(), where, "'" + name + "' has no offset");
        field made_field{.name = made.keep(name),
                         .offset = *offset,
                         .size = size_of(made.what, where, kind, *offset),
                         .kind = kind.kind,
                         .unit = made.keep(text(where, "unit")),
                         .values = values(made, where, kind),
                         .meaning = made.keep(text(where, "meaning"))};
        return made_field;
    }

    const kind_row& kind_of(const node& where, const std::string& name) const {
        const std::string wanted = text(where, "kind");
        const auto* found = std::ranges::find(kKinds, wanted, &kind_row::name);
        std::vector<std::string> known;
        for (const kind_row& each : kKinds) {
            known.emplace_back(each.name);
        }
        must(found != std::end(kKinds), where,
             "'" + name +
                 "': " + (wanted.empty() ? "it has no kind" : unknown("kind", wanted, known)));
        return *found;
    }

    // The number of bytes in the field, whose end lies within the record.
    uint32_t size_of(const record& what, const node& where, const kind_row& kind,
                     uint32_t offset) const {
        const std::optional<uint32_t> given = number(where, "size");
        must(!given || kind.size == 0 || *given == kind.size, where,
             std::string(kind.name) + " has " + std::to_string(kind.size) + " bytes");
        must(!given || *given != 0, where, "a field has a size of 1 or more");
        const uint32_t room = what.entry_size != 0 ? what.entry_size : what.size;
        const uint32_t most = room != 0 ? room : uint32_t{DBUS_DATA_SIZE};
        const uint32_t to_the_end = room != 0 && offset < room ? room - offset : 0;
        const uint32_t size = kind.size != 0 ? kind.size : given.value_or(to_the_end);
        must(offset < most && offset + size <= most, where,
             "the field ends beyond the " + std::to_string(most) + " bytes of its record");
        return size;
    }

    std::span<const known_value> values(own_record& made, const node& where,
                                        const kind_row& kind) const {
        const node* found = find(where, "values");
        if (found == nullptr) {
            return {};
        }
        must(found->kind == node_kind::group && is_number(kind.kind), *found,
             "'values' is the { } of a number's meanings");
        std::vector<known_value>& all = made.values.emplace_back();
        for (const node& each : found->parts) {
            const int64_t number = value_of(each, kind);
            const uint32_t value = static_cast<uint32_t>(number) &
                                   (kind.size == 4 ? UINT32_MAX : (1U << (8 * kind.size)) - 1);
            must(std::ranges::count(all, value, &known_value::value) == 0, each,
                 "the value " + std::to_string(number) + " stands twice");
            all.push_back({value, made.keep(text(*found, each.name))});
        }
        return all;
    }

    int64_t value_of(const node& where, const kind_row& kind) const {
        try {
            return parse_number(where.name, kind.least, kind.most);
        } catch (const failure& error) {
            fail_at(file_, where.line, error.what());
        }
    }

    // The table's existing fields that these leave room for.
    static void keep_fields(own_record& made, const record& known) {
        const std::vector<field> own = made.fields;
        for (const field& each : known.fields) {
            const bool stays = std::ranges::all_of(own, [&each](const field& one) {
                return one.name != each.name &&
                       (end_of(one) <= each.offset || end_of(each) <= one.offset);
            });
            if (stays) {
                made.fields.push_back(each);
            }
        }
    }

    std::string file_;
};

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool is_there(const std::string& file) {
    return access(file.c_str(), F_OK) == 0;
}

// Empty if there is none.
std::string usual_file() {
    if (std::getenv("QUON_MCU_RECORDS") != nullptr) {
        return environment("QUON_MCU_RECORDS");
    }
    const std::string home = environment("HOME");
    std::string folder = environment("XDG_CONFIG_HOME");
    if (folder.empty() && !home.empty()) {
        folder = home + "/.config";
    }
    for (const std::string& each : {folder, std::string("/etc")}) {
        const std::string file = each + "/quon-mcu/records.json";
        if (!each.empty() && is_there(file)) {
            return file;
        }
    }
    return "";
}

}  // namespace

void add_definitions(std::string_view text, const std::string& file) {
    record_list made = reader(file).read(text);
    for (std::unique_ptr<own_record>& each : made) {
        put_record(each->what);
        defined_records().push_back(std::move(each));
    }
}

void load_definitions(const std::string& file) {
    std::optional<std::string>& loaded = loaded_file();
    const std::string wanted = file.empty() ? usual_file() : file;
    if (loaded && *loaded == wanted) {
        return;
    }
    if (!wanted.empty()) {
        add_definitions(content_of(wanted), wanted);
    }
    loaded = wanted;
}

void forget_definitions() {
    forget_records();
    defined_records().clear();
    loaded_file().reset();
}

}  // namespace quon::catalog
