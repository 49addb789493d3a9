#include "soap/server_text.h"

#include <cstdint>

namespace corvane {

namespace {

// Decodes strict UTF-8 into `out`; false at the first invalid sequence.
bool DecodeUTF8(std::string_view bytes, WMString& out) {
    out.reserve(bytes.size());
    std::size_t i = 0;
    while (i < bytes.size()) {
        auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x80) {
            out.push_back(static_cast<char16_t>(byte));
            ++i;
            continue;
        }
        std::size_t length;
        char32_t code;
        char32_t minimum;
        if ((byte & 0xE0) == 0xC0) {
            length = 2;
            code = byte & 0x1F;
            minimum = 0x80;
        } else if ((byte & 0xF0) == 0xE0) {
            length = 3;
            code = byte & 0x0F;
            minimum = 0x800;
        } else if ((byte & 0xF8) == 0xF0) {
            length = 4;
            code = byte & 0x07;
            minimum = 0x10000;
        } else {
            return false;
        }
        if (bytes.size() - i < length) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(bytes[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            code = (code << 6) | (next & 0x3F);
        }
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            return false;
        }
        if (code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(code));
        }
        i += length;
    }
    return true;
}

void AppendCodePoint(char32_t code, std::string& out) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (code >> 6)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (code >> 12)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (code >> 18)));
        out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

}  // namespace

WMString DecodeHTTPText(std::string_view bytes) {
    WMString text;
    if (DecodeUTF8(bytes, text)) {
        return text;
    }
    text.assign(bytes.size(), u'\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text[i] = static_cast<unsigned char>(bytes[i]);
    }
    return text;
}

void AppendUTF8(WMString const& text, std::string& out) {
    out.reserve(out.size() + text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t unit = text[i];
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            AppendCodePoint(0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00), out);
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            AppendCodePoint(0xFFFD, out);
        } else {
            AppendCodePoint(unit, out);
        }
    }
}

}  // namespace corvane
