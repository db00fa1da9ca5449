// The output of the code under test, captured at descriptor level (so printf, puts and write all
// count).
#pragma once

#include <functional>
#include <string>

namespace quon::test {

// Redirects a descriptor (1: standard output) during the object's lifetime. One at a time per
// descriptor.
class OutputCapture {
  public:
    explicit OutputCapture(int descriptor = 1);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Everything printed so far; flushes stdio first. Other threads may continue to print.
    [[nodiscard]] std::string text() const;

  private:
    int descriptor_;
    int saved_;
    int file_;
};

// What `function` prints to standard output.
std::string captured_output(const std::function<void()>& function);

}  // namespace quon::test
