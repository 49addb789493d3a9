#include "text/wire_text.h"

namespace corvane::detail {
namespace {

char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

bool Is(std::string_view label, std::string_view lowerName) {
    if (label.size() != lowerName.size()) {
        return false;
    }
    for (std::size_t i = 0; i < label.size(); ++i) {
        if (Lower(label[i]) != lowerName[i]) {
            return false;
        }
    }
    return true;
}

bool DecodeUtf8(std::string_view bytes, WMString& out, std::string& error) {
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const unsigned char lead = static_cast<unsigned char>(bytes[i]);
        if (lead < 0x80) {
            out += static_cast<WMChar>(lead);
            ++i;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
        char32_t value = lead & (length == 4 ? 0x07 : length == 3 ? 0x0F : 0x1F);
        bool ok = length != 0 && lead < 0xF5 && i + length <= bytes.size();
        for (std::size_t k = 1; ok && k < length; ++k) {
            const unsigned char next = static_cast<unsigned char>(bytes[i + k]);
            ok = (next & 0xC0) == 0x80;
            value = (value << 6) | (next & 0x3F);
        }
        // Over-long forms, encoded surrogates and values beyond Unicode are all refused.
        static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        ok = ok && value >= kSmallest[length] && value <= 0x10FFFF &&
             (value < 0xD800 || value > 0xDFFF);
        if (!ok) {
            error = "The answer is not valid UTF-8 (at byte " + std::to_string(i) + ").";
            return false;
        }
        if (value >= 0x10000) {
            value -= 0x10000;
            out += static_cast<WMChar>(0xD800 + (value >> 10));
            out += static_cast<WMChar>(0xDC00 + (value & 0x3FF));
        } else {
            out += static_cast<WMChar>(value);
        }
        i += length;
    }
    return true;
}

bool DecodeUtf16(std::string_view bytes, bool bigEndian, WMString& out, std::string& error) {
    if (bytes.size() % 2 != 0) {
        error = "The answer is not valid UTF-16 (an odd number of bytes).";
        return false;
    }
    out.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const unsigned char a = static_cast<unsigned char>(bytes[i]);
        const unsigned char b = static_cast<unsigned char>(bytes[i + 1]);
        out += static_cast<WMChar>(bigEndian ? (a << 8 | b) : (b << 8 | a));
    }
    return true;
}

}  // namespace

bool EncodeUtf8(WMString const& text, std::string& out, std::size_t& bad) {
    out.clear();
    out.reserve(text.size() + text.size() / 8);
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c < 0x80) {
            out += static_cast<char>(c);
            continue;
        }
        if (c >= 0xD800 && c <= 0xDFFF) {
            const bool paired = c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
                                text[i + 1] <= 0xDFFF;
            if (!paired) {
                bad = i;
                return false;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        } else if (c >= 0x800) {
            out += static_cast<char>(0xE0 | (c >> 12));
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
            continue;
        }
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    return true;
}

bool DecodeText(std::string_view bytes, std::string_view charset, WMString& out,
                std::string& error) {
    out.clear();
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        return DecodeUtf8(bytes.substr(3), out, error);
    }
    if (bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF") {
        return DecodeUtf16(bytes.substr(2), bytes[0] == '\xFE', out, error);
    }
    if (charset.empty() || Is(charset, "utf-8") || Is(charset, "utf8")) {
        return DecodeUtf8(bytes, out, error);
    }
    if (Is(charset, "iso-8859-1") || Is(charset, "iso8859-1") || Is(charset, "latin1") ||
        Is(charset, "l1") || Is(charset, "us-ascii")) {
        out.reserve(bytes.size());
        for (char c : bytes) {
            out += static_cast<WMChar>(static_cast<unsigned char>(c));
        }
        return true;
    }
    if (Is(charset, "utf-16") || Is(charset, "utf-16be")) {
        return DecodeUtf16(bytes, true, out, error);
    }
    if (Is(charset, "utf-16le")) {
        return DecodeUtf16(bytes, false, out, error);
    }
    error = "The answer's charset is not supported: " + std::string(charset) + ".";
    return false;
}

std::string_view CharsetOf(std::string_view contentType) {
    std::size_t at = 0;
    while ((at = contentType.find(';', at)) != std::string_view::npos) {
        std::string_view parameter = contentType.substr(++at);
        parameter = parameter.substr(0, parameter.find(';'));
        while (!parameter.empty() && (parameter.front() == ' ' || parameter.front() == '\t')) {
            parameter.remove_prefix(1);
        }
        if (parameter.size() > 8 && Is(parameter.substr(0, 8), "charset=")) {
            std::string_view value = parameter.substr(8);
            while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) {
                value.remove_suffix(1);
            }
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return {};
}

}  // namespace corvane::detail
