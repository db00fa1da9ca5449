// Any bytes as text of an XML document.
#pragma once

#include <string>

namespace quon {

// For an element or an attribute in double quotes. Invalid UTF-8, and characters that XML does not
// have, become U+FFFD.
std::string xml_text(const std::string& bytes);

}  // namespace quon
