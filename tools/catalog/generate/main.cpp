// Writes the generated sources of the tree, or names those that are out of date.
//
//   quon_generate check|write TOP-OF-THE-TREE
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "catalog/generate/pages.h"

namespace {

namespace fs = std::filesystem;

struct page {
    const char* path;
    std::string (*text)();
};

constexpr page kPages[] = {
    {"client/include/quon_mcu_client_services.h", quon::generate::c_header},
    {"client/client_records_table.cpp", quon::generate::c_records},
    {"client/client_services.cpp", quon::generate::c_functions},
    {"python/quon_mcu/_services.py", quon::generate::python_module},
    {"tests/unit/client/services_rows.inc", quon::generate::c_test_rows},
};

std::string content_of(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool write(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text << std::flush;
    if (!out) {
        std::fprintf(stderr, "quon_generate: cannot write %s\n", path.c_str());
    }
    return out.good();
}

bool check(const fs::path& path, const std::string& text) {
    if (content_of(path) == text) {
        return true;
    }
    std::fprintf(stderr, "quon_generate: %s is stale: 'quon_generate write .' makes it anew\n",
                 path.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view command = argc == 3 ? argv[1] : "";
    if (command != "check" && command != "write") {
        std::fputs("usage: quon_generate check|write TOP-OF-THE-TREE\n", stderr);
        return 2;
    }
    bool good = true;
    for (const page& each : kPages) {
        const fs::path path = fs::path(argv[2]) / each.path;
        good = (command == "write" ? write : check)(path, each.text()) && good;
    }
    return good ? 0 : 1;
}
