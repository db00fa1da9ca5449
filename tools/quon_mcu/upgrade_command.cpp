// upgrade: a firmware image, block by block.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <utility>

#include "mcu_records.h"
#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"
#include "shared/values.h"

namespace quon::client {
namespace {

constexpr size_t kBlockSize = kMcuUpgBlockDataSize;

// A firmware image, read block by block while it is sent.
class image_file {
  public:
    // Throws failure (usage) before anything is read for what can be no image: neither a device nor
    // a pipe is opened.
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

// A bar on a terminal; elsewhere a line at each tenth.
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
        : ctx_(ctx), image_(words.file), name_(words.file) {
        const std::string size = std::to_string(image_.size());
        const std::string second = words.second == "size" ? size : words.second;
        const std::string assigned[] = {"first=" + words.first, "second=" + second};
        start_ = encode(*service_named("upg.start").request, {}, assigned);
        tail_ = static_cast<uint8_t>(parse_number("--tail", words.tail, 0, UINT8_MAX));
        if (!words.resume_from.empty()) {
            resumed_ = true;
            from_ = offset_of(words.resume_from);
        }
    }

    void run() {
        bus_session bus(ctx_.timeout_ms);
        if (!resumed_) {
            query(bus, "upg.start", start_, "start");
        }
        send_blocks(bus);
        query(bus, "upg.finish", {}, "finish");
        report();
    }

  private:
    size_t offset_of(const std::string& text) const {
        const auto last = static_cast<int64_t>(image_.size()) - 1;
        const auto offset = static_cast<size_t>(parse_number("--resume-from", text, 0, last));
        if (offset % kBlockSize != 0) {
            throw failure(exit_status::usage, "a block begins at a multiple of " +
                                                  std::to_string(kBlockSize) + ", not at " + text);
        }
        return offset;
    }

    static void query(bus_session& bus, std::string_view name, std::span<const uint8_t> request,
                      const std::string& what) {
        try {
            static_cast<void>(bus.query(service_named(name), request));
        } catch (const failure& error) {
            throw failure(error.status(), "upgrade stopped at the " + what + ": " + error.what());
        }
    }

    byte_list block_at(size_t offset) const {
        const size_t length = std::min(kBlockSize, image_.size() - offset);
        byte_list block(kMcuUpgBlockSize);
        put_le(block, 0, 4, static_cast<uint32_t>(offset));
        put_le(block, kMcuUpgBlockLengthOffset, 4, static_cast<uint32_t>(length));
        image_.read_at(offset, std::span(block).subspan(kMcuUpgBlockDataOffset, length));
        block[kMcuUpgBlockTailOffset] = tail_;
        return block;
    }

    void send_blocks(bus_session& bus) {
        const catalog::service& transmit = service_named("upg.transmit");
        progress bar(ctx_.out, image_.size());
        for (size_t offset = from_; offset < image_.size(); offset += kBlockSize) {
            bar.at(offset);
            try {
                static_cast<void>(bus.query(transmit, block_at(offset)));
            } catch (const failure& error) {
                bar.end_bar();
                throw failure(error.status(), stopped_at(offset) + error.what());
            }
        }
        bar.at(image_.size());
    }

    static std::string stopped_at(size_t offset) {
        const std::string at = std::to_string(offset);
        return "upgrade stopped at block " + std::to_string(offset / kBlockSize) + ", offset " +
               at + " (--resume-from " + at + " goes on there): ";
    }

    void report() {
        const size_t sent = image_.size() - from_;
        const size_t blocks = (sent + kBlockSize - 1) / kBlockSize;
        if (ctx_.out.mode == output_mode::json) {
            print(ctx_.out, {{"file", name_},
                             {"size", image_.size()},
                             {"from", from_},
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
    byte_list start_;
    uint8_t tail_ = 0;
    bool resumed_ = false;
    size_t from_ = 0;
};

}  // namespace

void upgrade_chip(context& ctx, const upgrade_words& words) {
    image_sender(ctx, words).run();
}

}  // namespace quon::client
