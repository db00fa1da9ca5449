// upgrade: a firmware image, block by block.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "mcu_records.h"
#include "quon_little_endian.h"
#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"

namespace quon::client {
namespace {

constexpr size_t block_size = MCU_UPG_BLOCK_DATA_SIZE;

octets read_file(const std::string& name) {
    const auto refuse = [&name] {
        throw failure(exit_status::usage, "cannot read '" + name + "': " + std::strerror(errno));
    };
    const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        refuse();
    }
    octets bytes;
    octets piece(65536);
    ssize_t got = 0;
    while ((got = read(fd, piece.data(), piece.size())) > 0 || (got < 0 && errno == EINTR)) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + std::max<ssize_t>(got, 0));
    }
    const int error = errno;
    close(fd);
    if (got < 0) {
        errno = error;
        refuse();
    }
    if (bytes.empty()) {
        throw failure(exit_status::usage, "'" + name + "' is empty");
    }
    if (bytes.size() > UINT32_MAX) {
        throw failure(exit_status::usage, "'" + name + "' is too long for an image");
    }
    return bytes;
}

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
        } else if (percent / 10 != shown_ / 10 || shown_ == never) {
            out_.note("upgrade " + std::to_string(percent) + "%, " + std::to_string(done) + " of " +
                      std::to_string(total_) + " bytes");
        }
        shown_ = percent;
    }

    void end_bar() {
        if (bar_ && shown_ != never) {
            out_.write_notes("\n");
            bar_ = false;
        }
    }

  private:
    static constexpr size_t never = SIZE_MAX;
    static constexpr size_t width = 40;

    void draw(size_t percent, size_t done) {
        const size_t full = percent * width / 100;
        out_.write_notes("\r[" + std::string(full, '#') + std::string(width - full, ' ') + "] " +
                         std::to_string(percent) + "% " + std::to_string(done) + "/" +
                         std::to_string(total_) + " bytes");
    }

    output& out_;
    size_t total_;
    bool bar_;
    size_t shown_ = never;
};

class image_sender {
  public:
    image_sender(context& ctx, const upgrade_words& words)
        : ctx_(ctx), image_(read_file(words.file)), name_(words.file) {
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
        if (offset % block_size != 0) {
            throw failure(exit_status::usage, "a block begins at a multiple of " +
                                                  std::to_string(block_size) + ", not at " + text);
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

    octets block_at(size_t offset) const {
        const size_t length = std::min(block_size, image_.size() - offset);
        octets block(MCU_UPG_BLOCK_SIZE);
        put_word(block, 0, offset);
        put_word(block, MCU_UPG_BLOCK_LENGTH_OFFSET, length);
        std::copy_n(image_.begin() + static_cast<std::ptrdiff_t>(offset), length,
                    block.begin() + MCU_UPG_BLOCK_DATA_OFFSET);
        block[MCU_UPG_BLOCK_TAIL_OFFSET] = tail_;
        return block;
    }

    static void put_word(octets& block, size_t at, size_t value) {
        quon_store_le32(block.data() + at, static_cast<uint32_t>(value));
    }

    void send_blocks(bus_session& bus) {
        progress bar(ctx_.out, image_.size());
        for (size_t offset = from_; offset < image_.size(); offset += block_size) {
            bar.at(offset);
            try {
                static_cast<void>(bus.query(service_named("upg.transmit"), block_at(offset)));
            } catch (const failure& error) {
                bar.end_bar();
                throw failure(error.status(), stopped_at(offset) + error.what());
            }
        }
        bar.at(image_.size());
    }

    // The daemon answers alike when the chip refuses a block and when it does not answer.
    static std::string stopped_at(size_t offset) {
        const std::string at = std::to_string(offset);
        return "upgrade stopped at block " + std::to_string(offset / block_size) + ", offset " +
               at + " (--resume-from " + at + " goes on there): ";
    }

    void report() {
        const size_t sent = image_.size() - from_;
        const size_t blocks = (sent + block_size - 1) / block_size;
        if (ctx_.out.mode == output_mode::json) {
            ctx_.out.line(dump({{"file", name_},
                                {"size", image_.size()},
                                {"from", from_},
                                {"sent", sent},
                                {"blocks", blocks}}));
        } else {
            ctx_.out.line("sent " + std::to_string(sent) + " bytes in " + std::to_string(blocks) +
                          (blocks == 1 ? " block" : " blocks"));
        }
    }

    context& ctx_;
    octets image_;
    std::string name_;
    octets start_;
    uint8_t tail_ = 0;
    bool resumed_ = false;
    size_t from_ = 0;
};

}  // namespace

void upgrade_chip(context& ctx, const upgrade_words& words) {
    image_sender(ctx, words).run();
}

}  // namespace quon::client
