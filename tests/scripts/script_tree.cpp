#include "script_tree.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quon::test {

namespace {

namespace fs = std::filesystem;

const fs::path kTop = QUON_SOURCE_FOLDER;

// Programs that the scripts call, other than shell built-ins.
constexpr const char* kPrograms[] = {"apt-cache",
                                     "apt-config",
                                     "apt-get",
                                     "ar",
                                     "awk",
                                     "basename",
                                     "cat",
                                     "chmod",
                                     "chown",
                                     "chroot",
                                     "clang-format",
                                     "clang-tidy",
                                     "cmake",
                                     "comm",
                                     "cp",
                                     "cpack",
                                     "cpio",
                                     "cppcheck",
                                     "ctest",
                                     "cut",
                                     "cmp",
                                     "dirname",
                                     "dot",
                                     "dpkg",
                                     "dpkg-deb",
                                     "dpkg-query",
                                     "find",
                                     "flock",
                                     "gcovr",
                                     "git",
                                     "grep",
                                     "gzip",
                                     "head",
                                     "hostname",
                                     "id",
                                     "install",
                                     "ln",
                                     "make",
                                     "mipsel-linux-gnu-ar",
                                     "mipsel-linux-gnu-gcc",
                                     "mipsel-linux-gnu-size",
                                     "mipsel-linux-gnu-strip",
                                     "mkdir",
                                     "mktemp",
                                     "mmdebstrap",
                                     "mount",
                                     "mv",
                                     "mypy",
                                     "nproc",
                                     "pivot_root",
                                     "qemu-system-mipsel",
                                     "readlink",
                                     "realpath",
                                     "rm",
                                     "rmdir",
                                     "runuser",
                                     "sed",
                                     "setpriv",
                                     "sha256sum",
                                     "shellcheck",
                                     "sort",
                                     "stat",
                                     "sudo",
                                     "tail",
                                     "tar",
                                     "tee",
                                     "timeout",
                                     "tr",
                                     "umount",
                                     "unshare",
                                     "wc",
                                     "xargs"};

void make_stubs(const fs::path& folder) {
    fs::create_directories(folder);
    for (const char* program : kPrograms) {
        fs::create_symlink(kTop / "tests/scripts/stub", folder / program);
    }
}

void copy_into(const fs::path& checkout, const char* part) {
    fs::create_directories((checkout / part).parent_path());
    fs::copy(kTop / part, checkout / part, fs::copy_options::recursive);
}

}  // namespace

ScriptTree::ScriptTree(const std::string& parent) {
    std::string name = parent + "/scripts of XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no scratch folder");
    }
    folder_ = name;
    checkout_ = folder_ + "/a checkout";
    fs::permissions(folder_, fs::perms(0755));
    make_stubs(folder_ + "/bin");
    for (const char* part :
         {".ci", "bench", "cmake", "docs/man", "docs/pictures", "packaging", "scripts", "examples",
          "tests/board/guest", "tests/board/module", "tests/cannot_run.txt",
          "tests/packaging/in_root", "tools/wireshark"}) {
        copy_into(checkout_, part);
    }
    for (const char* program :
         {"scripts/lib/demo-tour", "scripts/lib/coverage-report", "scripts/lib/mutation",
          "tests/fuzz/planted.py", "tests/fuzz/seeds.py", "tests/model/differences.py"}) {
        fs::create_directories(fs::path(path(program)).parent_path());
        fs::remove(path(program));
        fs::create_symlink(kTop / "tests/scripts/stub", path(program));
    }
    std::ofstream(path("tests/fuzz/targets.txt")) << "one reached\n";
    std::ofstream(path("docs/page.md")) << "<!-- list: generated by quon-mcu docs list -->\n"
                                           "<!-- end of list -->\n";
    std::ofstream(path("one.cpp")) << "\n";
    std::ofstream(path("one")) << "#!/bin/sh\n";
}

ScriptTree::~ScriptTree() {
    std::error_code ignored;
    for (const char* part : {"", "build"}) {
        fs::permissions(path(part), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
    fs::remove_all(folder_, ignored);
}

Result ScriptTree::run_script(const std::string& line, const Setting& setting) {
    return run(command_of(line, setting), {}, std::chrono::minutes(2));
}

std::vector<std::string> ScriptTree::command_of(const std::string& line, const Setting& setting) {
    if (!keep_) {
        fs::remove_all(path("build"));
        fs::remove_all(folder_ + "/cache");
    }
    fs::remove_all(folder_ + "/tmp");
    fs::create_directories(folder_ + "/tmp");
    fs::permissions(folder_ + "/tmp", fs::perms(01777));
    std::ofstream(folder_ + "/calls").close();
    fs::permissions(folder_ + "/calls", fs::perms(0666));
    const std::string real_path = "/usr/bin:/bin";
    // In its own session, so that an interruption stays inside.
    std::vector<std::string> command = {"setsid", "env", "-i"};
    if (setting.as_user && geteuid() == 0) {
        command = {"setsid", "setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                   "env",    "-i"};
    }
    command.insert(
        command.end(),
        {"PATH=" + folder_ + "/bin:" + real_path, "HOME=" + folder_, "TMPDIR=" + folder_ + "/tmp",
         "QUON_CACHE=" + folder_ + "/cache", "STUB_CALLS=" + folder_ + "/calls",
         "STUB_FAIL=" + setting.failing, "STUB_MISSING=" + setting.missing,
         "STUB_REAL_PATH=" + real_path, "STUB_SELF=" + (kTop / "tests/scripts/stub").string(),
         "STUB_CHECKOUT=" + checkout_});
    command.insert(command.end(), setting.further.begin(), setting.further.end());
    std::vector<std::string> words = words_of(line);
    words[0] = path(words[0]);
    for (std::string& word : words) {
        if (word.starts_with("./")) {
            word = path(word.substr(2));
        }
    }
    if (!setting.closing.empty()) {
        command.insert(command.end(), {"sh", "-c", "exec \"$@\" " + setting.closing, "sh"});
    }
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

std::vector<std::string> ScriptTree::calls() const {
    std::vector<std::string> all;
    std::ifstream file(folder_ + "/calls");
    for (std::string call; std::getline(file, call);) {
        if (std::find(all.begin(), all.end(), call) == all.end()) {
            all.push_back(call);
        }
    }
    return all;
}

bool ScriptTree::called(const std::string& beginning) const {
    const std::vector<std::string> all = calls();
    return std::any_of(all.begin(), all.end(),
                       [&](const std::string& call) { return call.starts_with(beginning); });
}

}  // namespace quon::test
