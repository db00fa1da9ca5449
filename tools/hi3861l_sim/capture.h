// The frames as a packet capture.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "shared/bytes.h"

namespace quon::sim {

// A file of the pcap format: each frame in its netlink message behind the cooked header of a
// netlink monitor, as a capture of the camera's own channel has it.
class capture {
  public:
    // The file is written anew. Throws std::runtime_error when it cannot be.
    explicit capture(const std::string& path);

    // In the file when this returns. When it cannot be written, says so once on standard error.
    void frame(bool from_host, byte_view frame);

  private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> out_;
    bool lost_ = false;
};

}  // namespace quon::sim
