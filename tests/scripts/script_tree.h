// A checkout of only the scripts, in a folder whose name has a blank, and stand-ins for every
// program that they call.
#pragma once

#include <string>
#include <vector>

#include "child_process.h"

namespace quon::test {

class ScriptTree {
  public:
    // The checkout's folder; files in /tmp only are not visible in a private world.
    explicit ScriptTree(const std::string& parent = "/tmp");
    ~ScriptTree();
    ScriptTree(const ScriptTree&) = delete;
    ScriptTree& operator=(const ScriptTree&) = delete;

    struct Setting {
        std::string failing = {};  // the beginning of the call that fails
        std::string missing = {};  // part of dpkg-query's call: this package is missing
        bool as_user = false;      // as a user who owns none of it
        std::vector<std::string> further = {};  // NAME=VALUE
        std::string closing = {};               // redirections, as a shell writes them
    };
    // Runs a command line of the checkout ("scripts/test dev") from scratch: results of an earlier
    // run are removed, unless they are kept. A word "./NAME" becomes the path of NAME in the
    // checkout.
    Result run_script(const std::string& line, const Setting& setting);
    // The same as a command line, for a process started by the test.
    std::vector<std::string> command_of(const std::string& line, const Setting& setting);
    // The distinct calls of the last run, in the order of their first occurrence.
    [[nodiscard]] std::vector<std::string> calls() const;
    [[nodiscard]] bool called(const std::string& beginning) const;
    // A file of the checkout.
    [[nodiscard]] std::string path(const std::string& name) const { return checkout_ + "/" + name; }
    // The next run finds the results of the last one.
    void keep_results() { keep_ = true; }

  private:
    std::string folder_;
    std::string checkout_;
    bool keep_ = false;
};

}  // namespace quon::test
