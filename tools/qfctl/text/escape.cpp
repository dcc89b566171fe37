#include "text/escape.h"

#include <array>
#include <cstdio>

#include "text/utf8.h"

namespace qfctl {
namespace {

std::string Formatted(const char* format, char character) {
    std::array<char, 8> text = {};
    (void)snprintf(text.data(), text.size(), format, static_cast<unsigned int>(static_cast<unsigned char>(character)));
    return text.data();
}

bool IsPrintableAscii(char character) {
    return character >= ' ' && character <= '~';
}

}  // namespace

std::string Quote(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        if (character == '\n') {
            quoted += "\\n";
        } else {
            quoted += IsPrintableAscii(character) ? std::string(1, character) : Formatted("\\x%02x", character);
        }
    }
    return quoted + "\"";
}

std::string QuoteIfUnprintable(const std::string& text) {
    return IsPrintable(text) ? text : Quote(text);
}

std::string EscapeJsonControls(const std::string& json) {
    std::string escaped;
    for (const char character : json) {
        const bool control = static_cast<unsigned char>(character) < ' ';
        escaped += control ? Formatted("\\u%04x", character) : std::string(1, character);
    }
    return escaped;
}

}  // namespace qfctl
