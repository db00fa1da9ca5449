#include "shared/xml_text.h"

#include "shared/json_text.h"

namespace quon {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";
constexpr std::string_view kNoCharacters[] = {"\xef\xbf\xbe", "\xef\xbf\xbf"};

bool is_forbidden(char each) {
    return static_cast<unsigned char>(each) < ' ' && each != '\t' && each != '\n' && each != '\r';
}

std::string escaped(char each) {
    constexpr std::string_view kSpecial = "&<>\"";
    constexpr const char* kNames[] = {"&amp;", "&lt;", "&gt;", "&quot;"};
    const size_t at = kSpecial.find(each);
    if (at != std::string_view::npos) {
        return kNames[at];
    }
    return is_forbidden(each) ? std::string(kReplacement) : std::string(1, each);
}

}  // namespace

std::string xml_text(const std::string& bytes) {
    const std::string valid = nlohmann::json::parse(dump(bytes)).get<std::string>();
    std::string text;
    for (const char each : valid) {
        text += escaped(each);
    }
    for (const std::string_view each : kNoCharacters) {
        for (size_t at = text.find(each); at != std::string::npos; at = text.find(each, at)) {
            text.replace(at, each.size(), kReplacement);
        }
    }
    return text;
}

}  // namespace quon
