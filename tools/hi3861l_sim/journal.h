// The record of every frame: one line each, printed and kept for a while.
#pragma once

#include <cstdio>
#include <deque>
#include <functional>
#include <string>

#include "shared/bytes.h"

namespace quon::sim {

// A frame in the journal's form without the time: direction, type with its name, length, then the
// payload's fields or its hex digits. A frame whose length field does not match its size is marked.
std::string describe_frame(bool from_host, byte_view frame);

class journal {
  public:
    static constexpr size_t kKeptLines = 2000;

    // Writes to `out`, which stays open.
    explicit journal(std::FILE* out) : out_(out) {}

    void frame(bool from_host, byte_view frame, const std::string& remark = {});
    void note(const std::string& text);

    // Also called with every frame.
    void tap(std::function<void(bool from_host, byte_view frame)> call) { tap_ = std::move(call); }

    [[nodiscard]] const std::deque<std::string>& lines() const { return lines_; }
    void forget() { lines_.clear(); }

  private:
    void print(const std::string& text);

    std::FILE* out_;
    std::function<void(bool, byte_view)> tap_ = [](bool, byte_view) {};
    bool lost_ = false;  // the last line could not be written
    std::deque<std::string> lines_;
};

}  // namespace quon::sim
