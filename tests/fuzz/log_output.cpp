// Log lines and hex dumps of any text under any profile. The output is checked.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "harness.h"
#include "quon_log.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a line was printed",  "a dump line was cut", "a dump was printed",
    "nothing was printed", "a hook was called",
};

// A two-byte length, usually small, and that many letters, none of them zero.
std::string text_of(Input& input) {
    std::string text = input.text();
    std::ranges::replace(text, '\0', '0');
    text.shrink_to_fit();
    return text;
}

bool ends_within(const char* field, std::size_t size) {
    return std::memchr(field, 0, size) != nullptr;
}

void look(QnLogRecord record) {
    require(ends_within(record.tag, sizeof(record.tag)) &&
                ends_within(record.file, sizeof(record.file)) &&
                ends_within(record.func, sizeof(record.func)) &&
                ends_within(record.msg, sizeof(record.msg)),
            "the texts of a hook's record end");
    saw("a hook was called");
}

void set_profile(Input& input) {
    QnLogProfile profile{};
    profile.color = input.byte() & 1;
    profile.fmt_mask = input.byte();
    profile.level_limit = input.number(4);
    profile.hook = input.byte() % 2 == 0 ? nullptr : look;
    QnLogSetProfile(profile);
}

// A text in its own allocation, so that every access beyond it is noticed.
struct Copy {
    explicit Copy(const std::string& text) : letters(strdup(text.c_str())) {}
    ~Copy() { std::free(letters); }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    char* letters;
};

void print_line(Input& input) {
    const unsigned level = input.byte() % 8 == 7 ? input.number(4) : input.byte() % 5;
    const Copy tag(text_of(input));
    const Copy file(text_of(input));
    const Copy function(text_of(input));
    const auto line = static_cast<int>(input.number(4));
    const Copy message(text_of(input));
    QnLogPrint(level, tag.letters, file.letters, function.letters, line, "%s", message.letters);
}

Bytes repeated(const Bytes& pattern, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size && !pattern.empty(); i++) {
        bytes[i] = pattern[i % pattern.size()];
    }
    return bytes;
}

void dump(Input& input) {
    const Copy name(text_of(input));
    const std::uint8_t width = input.byte();
    const Bytes data = repeated(input.piece(), input.number(2));
    QnLogHexDump(name.letters, width, data.data(), static_cast<unsigned short>(data.size()));
}

// What a call prints.
template <typename Call>
std::string printed(Call call) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const before = stdout;
    stdout = open_memstream(&text, &size);
    call();
    (void)std::fclose(stdout);
    stdout = before;
    const std::string whole(text, size);
    std::free(text);
    return whole;
}

void look_at_dump(const std::string& text) {
    saw(text.empty() ? "nothing was printed" : "a dump was printed");
    require(text.empty() || text.back() == '\n', "a dump ends with a newline");
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = text.find('\n', at) + 1 - at;
        require(length <= QN_LOG_LINE_SIZE, "a line has its greatest length");
        if (length == QN_LOG_LINE_SIZE) {
            saw("a dump line was cut");
        }
        at += length;
    }
}

void look_at_line(const std::string& text) {
    saw(text.empty() ? "nothing was printed" : "a line was printed");
    require(text.size() <= QN_LOG_LINE_SIZE, "a line has its greatest length");
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    set_profile(input);
    while (!input.empty()) {
        switch (input.byte() % 4) {
            case 0:
                set_profile(input);
                break;
            case 1:
                look_at_dump(printed([&input] { dump(input); }));
                break;
            default:
                look_at_line(printed([&input] { print_line(input); }));
                break;
        }
    }
}

}  // namespace quon::fuzz
