// Writes the frames as a packet capture.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "shared/bytes.h"

namespace quon::sim {

// A pcap file: each frame in its netlink message after a netlink monitor's cooked header, as a
// capture on the camera would have it.
class capture {
  public:
    // Overwrites the file. Throws std::runtime_error if it cannot be written.
    explicit capture(const std::string& path);

    // Returns when the frame is in the file. If it cannot be written, says so once on standard
    // error.
    void frame(bool from_host, byte_view frame);

  private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> out_;
    bool lost_ = false;
};

}  // namespace quon::sim
