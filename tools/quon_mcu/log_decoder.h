// Frames of the chip out of the daemon's log or the simulated chip's journal, line by line.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalog/catalog.h"
#include "shared/values.h"

namespace quon::client {

struct logged_frame {
    std::string time;  // what stands before the frame: the time of a journal or of a kept log
    catalog::direction way;
    byte_list bytes;   // the whole frame; empty when it comes from a journal
    std::string text;  // the journal's own words after the direction
};

class log_decoder {
  public:
    explicit log_decoder(std::function<void(const logged_frame&)> found)
        : found_(std::move(found)) {}

    // One line without its newline; colour sequences and words around the dump are ignored.
    void line(std::string_view text);

    // Nothing more comes for now: a dump that has its declared length is a frame.
    void idle();

    // The log is over: a dump that has begun is a frame.
    void end();

    // Dump lines that belong to no frame.
    size_t strays() const { return strays_; }

  private:
    void dump_line(std::string_view before, std::string_view text, size_t start, size_t width);
    bool is_complete() const;
    void emit();

    std::function<void(const logged_frame&)> found_;
    byte_list frame_;
    std::string time_;  // of the frame that is being gathered
    size_t strays_ = 0;
};

// What stands before a dump or a log line, up to its time of day; empty without one. A log may be
// kept by a program that puts a time before each line.
std::string time_in(std::string_view before);

// The fields in the words of a journal ("year=26 month=2"), as its record names them; empty when
// the words have none.
std::vector<std::pair<std::string, std::string>> journal_fields(const catalog::record& what,
                                                                std::string_view words);

// "chip->host 0x84 get_time len 10 year=26 ...", or what is wrong with the frame.
std::string describe_frame(catalog::direction way, std::span<const uint8_t> frame);

}  // namespace quon::client
