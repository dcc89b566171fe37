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

std::string EscapeJson(const std::string& text) {
    const std::string valid = IsValidUtf8(text) ? text : Quote(text);
    std::string escaped;
    for (size_t i = 0; i < valid.size(); ++i) {
        const char character = valid[i];
        const char next = i + 1 < valid.size() ? valid[i + 1] : '\0';
        if (character == '\xc2' && (next & '\xe0') == '\x80') {  // U+0080 to U+009F
            escaped += Formatted("\\u%04x", next);
            ++i;
        } else if (static_cast<unsigned char>(character) < ' ' || character == '\x7f') {
            escaped += Formatted("\\u%04x", character);
        } else {
            escaped +=
                character == '"' || character == '\\' ? std::string("\\") + character : std::string(1, character);
        }
    }
    return escaped;
}

std::string EscapeMarkup(const std::string& text) {
    std::string markup;
    for (const char character : text) {
        switch (character) {
            case '&':
                markup += "&amp;";
                break;
            case '<':
                markup += "&lt;";
                break;
            case '>':
                markup += "&gt;";
                break;
            case '"':
                markup += "&quot;";
                break;
            case '\'':
                markup += "&#39;";
                break;
            default:
                markup += character;
        }
    }
    return markup;
}

std::string EscapeXml(const std::string& text) {
    for (const char* noncharacter : {"\xef\xbf\xbe", "\xef\xbf\xbf"}) {  // U+FFFE and U+FFFF
        if (text.find(noncharacter) != std::string::npos) {
            return EscapeMarkup(Quote(text));
        }
    }
    return EscapeMarkup(QuoteIfUnprintable(text));
}

}  // namespace qfctl
