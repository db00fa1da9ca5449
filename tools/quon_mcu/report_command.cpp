// report: everything that can be seen of the camera, in one text.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/daemon_state.h"
#include "quon_mcu/log_level.h"
#include "quon_mcu/names.h"
#include "quon_mcu/own_network.h"
#include "quon_mcu/process_view.h"
#include "quon_mcu_services.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"
#include "shared/times.h"
#include "shared/values.h"

namespace quon::client {
namespace {

constexpr size_t kShortestKey = 5;      // a Wi-Fi key has 5, 13, or 8 to 63 characters
constexpr size_t kShortestRawKey = 13;  // or as many bytes of any value
constexpr size_t kHexOfByte = 2;

// For the shell of the daemon, which logs each command at level 3.
constexpr uint8_t kNothing[] = {':'};

bool is_printable(uint8_t byte) {
    return byte >= 0x20 && byte <= 0x7e;
}

size_t run_of(byte_view bytes, size_t from, bool (*belongs)(uint8_t)) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return static_cast<size_t>(std::find_if_not(begin, bytes.end(), belongs) - begin);
}

// Hex digits with every run of bytes that may be a key replaced by "**" for each. What stands
// behind a first one, the network's name, is masked whatever its length.
std::string masked(byte_view bytes) {
    std::string text;
    bool has_name = false;
    for (size_t at = 0; at < bytes.size();) {
        const size_t printable = run_of(bytes, at, is_printable);
        const size_t not_zero = run_of(bytes, at, [](uint8_t byte) { return byte != 0; });
        const size_t masked_run = has_name || not_zero >= kShortestRawKey ? not_zero
                                  : printable >= kShortestKey             ? printable
                                                                          : 0;
        if (masked_run != 0) {
            text += std::string(masked_run * kHexOfByte, '*');
            has_name = true;
            at += masked_run;
        } else {
            text += catalog::to_hex(bytes.subspan(at, 1));
            ++at;
        }
    }
    return text;
}

// A field defined by the camera's maker.
bool is_key(const std::string& name) {
    constexpr std::string_view kWords[] = {"key", "pass", "psk", "pwd", "secret"};
    return std::ranges::any_of(
        kWords, [&name](std::string_view word) { return name.find(word) != std::string::npos; });
}

// Needs no request data and has no side effect.
bool is_harmless(const catalog::service& service) {
    return service.kind == catalog::service_kind::method && service.request == nullptr &&
           service.reply != nullptr && short_name(service).starts_with("get.") &&
           short_name(service) != "get.event.info";
}

class report {
  public:
    report(context& ctx, bool take_events)
        : ctx_(ctx), take_events_(take_events), process_(process_behind(kBusSocket)) {}

    std::string whole() {
        text_ = "Report of quon-mcu, " + time_text(std::chrono::system_clock::now()) + "\n";
        add_versions();
        const log_watch log(process_);
        add_answers(log.can_tell());
        add_state(log.level(chip_answers_));
        add_process();
        add_network();
        return text_;
    }

  private:
    void title(const char* words) { text_ += std::string("\n== ") + words + "\n"; }
    void rows(const row_list& all) { text_ += aligned(all); }

    void add_versions() {
        utsname kernel{};
        uname(&kernel);
        title("Versions");
        const std::string program = process_ == 0 ? "" : program_of(process_);
        rows({{"quon-mcu", QUON_VERSION},
              {"kernel", std::string(kernel.release) + ", " + kernel.machine},
              {"daemon", process_ == 0 ? "not found"
                                       : (program.empty() ? "file not readable" : program) +
                                             ", process " + std::to_string(process_)}});
    }

    // A failing service does not hide the others; if the daemon does not answer, none can follow.
    void add_answers(bool log_is_watched) {
        title("Services");
        try {
            bus_session bus(ctx_.timeout_ms);
            row_list all;
            for (const catalog::service& each : catalog::services()) {
                if (is_harmless(each)) {
                    all.push_back({std::string(short_name(each)), answer_text(bus, each)});
                }
            }
            rows(all);
            if (log_is_watched) {
                bus.call(service_named("get.system"), kNothing);
            }
            if (take_events_) {
                take_events(bus);
            }
        } catch (const failure& error) {
            text_ += std::string(error.what()) + "\n";
            ctx_.status = to_int(error.status());
        }
    }

    void take_events(bus_session& bus) {
        const catalog::service& service = service_named("get.event.info");
        row_list all;
        for (answer got = bus.call(service, {}); got.result >= 0; got = bus.call(service, {})) {
            all.push_back(
                {std::to_string(all.size() + 1), masked_line(*service.reply, got.payload)});
        }
        title("Events, taken from the queue");
        if (all.empty()) {
            all.push_back({"none"});
        }
        rows(all);
    }

    std::string answer_text(bus_session& bus, const catalog::service& service) {
        const answer got = bus.call(service, {});
        chip_answers_ = chip_answers_ || (got.result >= 0 && service.message.has_value());
        return got.result < 0 ? refusal_text(service, got)
                              : masked_line(*service.reply, got.payload);
    }

    static std::string masked_line(const catalog::record& what, byte_view payload) {
        std::string line;
        for (const catalog::decoded_field& each : catalog::decode(what, payload)) {
            const std::string value = each.kind == catalog::field_kind::bytes
                                          ? masked(parse_hex(each.value))
                                      : is_key(each.name) ? std::string("**")
                                                          : each.value;
            line += (line.empty() ? "" : " ") + each.name + "=" + value;
        }
        return line.empty() ? "empty" : line;
    }

    void add_state(const std::string& log_level) {
        struct stat flag {};
        title("State");
        rows({{"event queue", take_events_
                                  ? "see above"
                                  : "not asked: taking events empties it (--take-events does)"},
              {"log level", log_level},
              {"run flag",
               stat(QUON_MCU_RUN_FLAG_PATH, &flag) == 0
                   ? "set, " + time_text(std::chrono::system_clock::from_time_t(flag.st_mtime))
                   : std::string("missing")}});
    }

    void add_process() {
        title("The daemon's process");
        if (process_ == 0) {
            text_ += why_unreachable(kBusSocket) + "\n";
            return;
        }
        row_list all;
        for (const char* each : {"State", "VmSize", "VmRSS", "VmData", "Threads"}) {
            all.push_back({each, status_line(process_, each)});
        }
        all.push_back({"open files", std::to_string(descriptors_of(process_).size()) + " of " +
                                         limit_of_descriptors(process_)});
        rows(all);
        title("Its threads");
        row_list threads;
        for (const thread_view& each : threads_of(process_)) {
            threads.push_back({std::to_string(each.id), each.name, each.state});
        }
        rows(threads);
        title("Its descriptors");
        row_list descriptors;
        for (const descriptor_view& each : descriptors_of(process_)) {
            descriptors.push_back({std::to_string(each.number), each.what});
        }
        rows(descriptors);
        title("Its sockets");
        rows(sockets_of(process_));
    }

    void add_network() {
        const interface_state wlan0 = state_of_interface("wlan0");
        const auto or_none = [](const std::string& text) {
            return text.empty() ? std::string("none") : text;
        };
        title("wlan0, as the kernel has it");
        rows({{"state", !wlan0.exists ? "missing"
                        : wlan0.is_up ? "up"
                                      : "down"},
              {"address", or_none(wlan0.ip)},
              {"gateway", or_none(wlan0.gateway)},
              {"MAC", or_none(wlan0.mac)}});
        title("/etc/resolv.conf");
        std::ifstream resolver("/etc/resolv.conf");
        text_ += resolver ? std::string(std::istreambuf_iterator<char>(resolver), {})
                          : std::string("not readable\n");
    }

    context& ctx_;
    bool take_events_;
    bool chip_answers_ = false;
    pid_t process_;
    std::string text_;
};

// Readable by its owner only: it reveals much about the camera.
void write_report(const std::string& file, const std::string& text) {
    const owned_descriptor out(
        open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (out.get() < 0 ||
        write(out.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw failure(exit_status::failure, "cannot write '" + file + "': " + std::strerror(errno));
    }
}

}  // namespace

void make_report(context& ctx, const report_words& words) {
    if (ctx.out.mode != output_mode::people) {
        throw failure(exit_status::usage, "report is one text: it has no other form");
    }
    const std::string text = report(ctx, words.take_events).whole();
    if (words.file.empty() || words.file == "-") {
        ctx.out.write(text);
    } else {
        write_report(words.file, text);
    }
}

}  // namespace quon::client
