// The generated sources of the client libraries and of their tests, each as one text.
#pragma once

#include <string>

namespace quon::generate {

std::string c_header();     // structures and functions of the C client library
std::string c_records();    // layout tables for the client's one encoder and decoder
std::string c_functions();  // one function per service
std::string c_test_rows();
std::string python_module();

}  // namespace quon::generate
