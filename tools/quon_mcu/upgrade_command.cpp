// upgrade: sends a firmware image block by block.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <span>
#include <utility>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"
#include "shared/values.h"

namespace quon::client {
namespace {

using steady = std::chrono::steady_clock;

constexpr size_t kBlockSize = QUON_MCU_UPGRADE_BLOCK;

// A firmware image, read block by block while it is sent.
class image_file {
  public:
    // Throws failure (usage) before reading anything that cannot be an image: devices and pipes are
    // not opened.
    explicit image_file(const std::string& name) : name_(name) {
        struct stat facts {};
        if (stat(name.c_str(), &facts) != 0) {
            refuse_with_errno();
        }
        check(facts);
        file_ = owned_descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (file_.get() < 0 || fstat(file_.get(), &facts) != 0) {
            refuse_with_errno();
        }
        check(facts);
        size_ = static_cast<size_t>(facts.st_size);
    }

    size_t size() const { return size_; }

    // `room` lies within the image.
    void read_at(size_t offset, std::span<uint8_t> room) const {
        while (!room.empty()) {
            const ssize_t got =
                pread(file_.get(), room.data(), room.size(), static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got < 0) {
                refuse_with_errno();
            }
            if (got == 0) {
                throw failure(exit_status::usage, "'" + name_ + "' became shorter meanwhile");
            }
            offset += static_cast<size_t>(got);
            room = room.subspan(static_cast<size_t>(got));
        }
    }

  private:
    [[noreturn]] void refuse_with_errno() const {
        throw failure(exit_status::usage, "cannot read '" + name_ + "': " + std::strerror(errno));
    }

    void check(const struct stat& facts) const {
        if (S_ISDIR(facts.st_mode)) {
            errno = EISDIR;
            refuse_with_errno();
        }
        if (!S_ISREG(facts.st_mode)) {
            throw failure(exit_status::usage, "'" + name_ + "' is no regular file");
        }
        if (facts.st_size == 0) {
            throw failure(exit_status::usage, "'" + name_ + "' is empty");
        }
        if (std::cmp_greater(facts.st_size, UINT32_MAX)) {
            throw failure(exit_status::usage, "'" + name_ + "' has " +
                                                  std::to_string(facts.st_size) +
                                                  " bytes; an image has at most 4294967295");
        }
    }

    std::string name_;
    owned_descriptor file_;
    size_t size_ = 0;
};

// A bar on a terminal; otherwise a line per tenth.
class progress {
  public:
    progress(output& out, size_t total) : out_(out), total_(total), bar_(out.notes_on_terminal()) {}
    ~progress() { end_bar(); }
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    void at(size_t done) {
        const size_t percent = done * 100 / total_;
        if (bar_) {
            draw(percent, done);
        } else if (percent / 10 != shown_ / 10 || shown_ == kNever) {
            out_.note("upgrade " + std::to_string(percent) + "%, " + std::to_string(done) + " of " +
                      std::to_string(total_) + " bytes");
        }
        shown_ = percent;
    }

    void end_bar() {
        if (bar_ && shown_ != kNever) {
            out_.write_notes("\n");
            bar_ = false;
        }
    }

  private:
    static constexpr size_t kNever = SIZE_MAX;
    static constexpr size_t kWidth = 40;

    void draw(size_t percent, size_t done) {
        const size_t full = percent * kWidth / 100;
        out_.write_notes("\r[" + std::string(full, '#') + std::string(kWidth - full, ' ') + "] " +
                         std::to_string(percent) + "% " + std::to_string(done) + "/" +
                         std::to_string(total_) + " bytes");
    }

    output& out_;
    size_t total_;
    bool bar_;
    size_t shown_ = kNever;
};

class image_sender {
  public:
    image_sender(context& ctx, const upgrade_words& words)
        : ctx_(ctx), image_(words.file), name_(words.file), bar_(ctx.out, image_.size()) {
        const auto size = static_cast<uint32_t>(image_.size());
        sent_.size = size;
        sent_.first = static_cast<uint8_t>(parse_number("first", words.first, 0, UINT8_MAX));
        sent_.second =
            words.second == "size"
                ? size
                : static_cast<uint32_t>(parse_number("second", words.second, 0, UINT32_MAX));
        sent_.tail = static_cast<uint8_t>(parse_number("--tail", words.tail, 0, UINT8_MAX));
        sent_.from = words.resume_from.empty() ? 0 : offset_of(words.resume_from);
        sent_.context = this;
        sent_.read = [](void* own, uint32_t offset, uint8_t* into, uint32_t length) {
            return static_cast<image_sender*>(own)->read(offset, {into, length});
        };
        sent_.progress = [](void* own, uint32_t done, uint32_t) {
            static_cast<image_sender*>(own)->step(done);
        };
    }

    void run() {
        bus_session bus(ctx_.timeout_ms);
        step_start_ = steady::now();
        const quon_mcu_status status =
            quon_mcu_client_upgrade(bus.library(), &sent_, ctx_.timeout_ms);
        bar_.end_bar();
        if (refusal_ != nullptr) {
            std::rethrow_exception(refusal_);
        }
        check(bus, status);
        report();
    }

  private:
    uint32_t offset_of(const std::string& text) const {
        const auto last = static_cast<int64_t>(image_.size()) - 1;
        const auto offset = static_cast<uint32_t>(parse_number("--resume-from", text, 0, last));
        if (offset % kBlockSize != 0) {
            throw failure(exit_status::usage, "a block begins at a multiple of " +
                                                  std::to_string(kBlockSize) + ", not at " + text);
        }
        return offset;
    }

    // No exception may pass through the library.
    int read(size_t offset, std::span<uint8_t> room) noexcept {
        try {
            image_.read_at(offset, room);
            return 0;
        } catch (...) {
            refusal_ = std::current_exception();
            return -1;
        }
    }

    void step(size_t done) noexcept {
        try {
            has_started_ = true;
            bar_.at(done);
        } catch (...) {
            refusal_ = std::current_exception();
        }
        step_start_ = steady::now();
    }

    void check(const bus_session& bus, quon_mcu_status status) const {
        const auto took =
            std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - step_start_);
        const bool is_finishing = sent_.stopped_at == sent_.size;
        const std::string_view name = !has_started_  ? "upg.start"
                                      : is_finishing ? "upg.finish"
                                                     : "upg.transmit";
        try {
            bus.check(service_named(name), status, sent_.result,
                      static_cast<int32_t>(took.count()));
        } catch (const failure& error) {
            throw failure(error.status(), stopped_at(is_finishing) + error.what());
        }
    }

    std::string stopped_at(bool is_finishing) const {
        if (!has_started_ || is_finishing) {
            return std::string("upgrade stopped at the ") + (is_finishing ? "finish" : "start") +
                   ": ";
        }
        const std::string at = std::to_string(sent_.stopped_at);
        return "upgrade stopped at block " + std::to_string(sent_.stopped_at / kBlockSize) +
               ", offset " + at + " (--resume-from " + at + " goes on there): ";
    }

    void report() {
        const size_t sent = sent_.size - sent_.from;
        const size_t blocks = (sent + kBlockSize - 1) / kBlockSize;
        if (ctx_.out.mode == output_mode::json) {
            print(ctx_.out, {{"file", name_},
                             {"size", sent_.size},
                             {"from", sent_.from},
                             {"sent", sent},
                             {"blocks", blocks}});
        } else {
            ctx_.out.line("sent " + std::to_string(sent) + " bytes in " + std::to_string(blocks) +
                          (blocks == 1 ? " block" : " blocks"));
        }
    }

    context& ctx_;
    image_file image_;
    std::string name_;
    progress bar_;
    quon_mcu_upgrade sent_ = {};
    bool has_started_ = false;
    steady::time_point step_start_;
    std::exception_ptr refusal_;
};

}  // namespace

void upgrade_chip(context& ctx, const upgrade_words& words) {
    image_sender(ctx, words).run();
}

}  // namespace quon::client
