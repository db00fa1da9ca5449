// Logs and journals that `quon-mcu decode` reads back.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "harness.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/log_decoder.h"
#include "shared/owned_descriptor.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a dump was a frame",    "a journal had a frame", "a dump line was stray",
    "a frame was malformed", "a log was decoded",
};

void decode_lines(const std::string& text) {
    client::log_decoder decoder([](const client::logged_frame& frame) {
        saw(frame.bytes.empty() ? "a journal had a frame" : "a dump was a frame");
        if (client::describe_frame(frame.way, frame.bytes).find("malformed") != std::string::npos) {
            saw("a frame was malformed");
        }
    });
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        decoder.line(std::string_view(text).substr(at, end - at));
        at = end + 1;
    }
    decoder.end();
    if (decoder.strays() != 0) {
        saw("a dump line was stray");
    }
}

// The whole command, over a file.
void decode_file(const std::string& text, bool as_json, bool exchanges) {
    static const owned_descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    const owned_descriptor file(memfd_create("log", MFD_CLOEXEC));
    require(write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            "there is memory for a log");
    client::context ctx{.out = output("fuzz", nowhere.get(), nowhere.get())};
    ctx.out.mode = as_json ? output_mode::json : output_mode::people;
    client::decode_words words;
    words.files = {"/proc/self/fd/" + std::to_string(file.get())};
    words.exchanges = exchanges;
    client::decode_logs(ctx, words);
    saw("a log was decoded");
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const uint8_t form = input.byte();
    const std::string text = input.text_to_the_end();
    decode_lines(text);
    decode_file(text, (form & 1) != 0, (form & 2) != 0);
}

}  // namespace quon::fuzz
