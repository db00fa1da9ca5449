// The chip's side of a firmware upgrade.
#pragma once

#include <string>

#include "shared/bytes.h"

namespace quon::sim {

class upgrade {
  public:
    // Bytes 1 to 4 are the image's size (0: any). Anything received earlier is discarded.
    bool start(byte_view request);

    // A block is accepted if it continues the image: its word is the offset of its data, it has 1
    // to 256 bytes, and the image stays within its size. The last block may be repeated, in case
    // its answer was lost.
    bool block(byte_view request);

    void finish();

    [[nodiscard]] const std::string& state() const { return state_; }
    [[nodiscard]] const std::string& refusal() const { return refusal_; }  // for the last request
    [[nodiscard]] uint32_t kind() const { return kind_; }
    [[nodiscard]] uint32_t size() const { return size_; }
    [[nodiscard]] size_t received() const { return image_.size(); }
    [[nodiscard]] uint32_t blocks() const { return blocks_; }
    [[nodiscard]] uint32_t checksum() const;  // CRC-32 (IEEE) of the data received

  private:
    bool refuse(std::string why);
    [[nodiscard]] bool repeats_last(uint32_t offset, byte_view data) const;

    std::string state_ = "idle";
    std::string refusal_;
    uint32_t kind_ = 0;
    uint32_t size_ = 0;
    uint32_t blocks_ = 0;
    byte_list image_;
    size_t last_offset_ = 0;
};

}  // namespace quon::sim
