#include "upgrade.h"

#include <algorithm>

#include "mcu_records.h"

namespace quon::sim {

bool upgrade::refuse(std::string why) {
    refusal_ = std::move(why);
    return false;
}

bool upgrade::start(byte_view request) {
    if (request.size() != kMcuUpgStartSize) {
        return refuse("start of " + std::to_string(request.size()) + " bytes");
    }
    image_.clear();
    blocks_ = 0;
    kind_ = request[0];
    size_ = get_le(request, 1, 4);
    state_ = "receiving";
    refusal_.clear();
    return true;
}

bool upgrade::repeats_last(uint32_t offset, byte_view data) const {
    return blocks_ > 0 && offset == last_offset_ && offset + data.size() == image_.size() &&
           std::equal(data.begin(), data.end(), image_.begin() + offset);
}

bool upgrade::block(byte_view request) {
    if (state_ != "receiving") {
        return refuse("block without a start");
    }
    if (request.size() != kMcuUpgBlockSize) {
        return refuse("block of " + std::to_string(request.size()) + " bytes");
    }
    const uint32_t offset = get_le(request, 0, 4);
    const uint32_t length = get_le(request, kMcuUpgBlockLengthOffset, 4);
    if (length == 0 || length > kMcuUpgBlockDataSize) {
        return refuse("block with " + std::to_string(length) + " data bytes");
    }
    const byte_view data = request.subspan(kMcuUpgBlockDataOffset, length);
    if (repeats_last(offset, data)) {
        return true;
    }
    if (offset != image_.size()) {
        return refuse("block at " + std::to_string(offset) + ", expected " +
                      std::to_string(image_.size()));
    }
    if (size_ != 0 && offset + uint64_t{length} > size_) {
        return refuse("image longer than " + std::to_string(size_) + " bytes");
    }
    image_.insert(image_.end(), data.begin(), data.end());
    last_offset_ = offset;
    blocks_++;
    refusal_.clear();
    return true;
}

void upgrade::finish() {
    if (state_ != "receiving") {
        refuse("finish without a start");
        return;
    }
    const bool complete = !image_.empty() && (size_ == 0 || image_.size() == size_);
    state_ = complete ? "finished" : "incomplete";
}

uint32_t upgrade::checksum() const {
    uint32_t sum = ~uint32_t{0};
    for (const uint8_t byte : image_) {
        sum ^= byte;
        for (int bit = 0; bit < 8; bit++) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xEDB88320U : 0);
        }
    }
    return ~sum;
}

}  // namespace quon::sim
