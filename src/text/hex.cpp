// Hexadecimal coding of bytes as wide text.
#include <corvane/codec.h>

WMHexCode::WMHexCode() : alphabet_("0123456789ABCDEF") {}

WMHexCode::WMHexCode(WMHexCode const& other) = default;

WMHexCode& WMHexCode::operator=(WMHexCode const& other) = default;

WMHexCode::~WMHexCode() = default;

// A null `data` appends nothing, like a length below 1.
bool WMHexCode::Encode(unsigned char const* data, int length, WMString& out) {
    if (data == nullptr || length < 1) {
        return true;
    }
    out.reserve(out.size() + 2 * static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i) {
        out.push_back(static_cast<WMChar>(static_cast<unsigned char>(alphabet_[data[i] >> 4])));
        out.push_back(static_cast<WMChar>(static_cast<unsigned char>(alphabet_[data[i] & 15])));
    }
    return true;
}

bool WMHexCode::Decode(WMString const& text, unsigned char* out, int& length) {
    if (text.size() % 2 != 0) {
        return false;
    }
    length = static_cast<int>(text.size() / 2);
    if (out == nullptr || length < 1) {
        return true;
    }
    for (int i = 0; i < length; ++i) {
        // Only the low byte of each character is looked up.
        auto high = alphabet_.find(static_cast<char>(text[2 * i] & 0xFF));
        auto low = alphabet_.find(static_cast<char>(text[2 * i + 1] & 0xFF));
        if (high == std::string::npos || low == std::string::npos) {
            return false;
        }
        out[i] = static_cast<unsigned char>(high * 16 + low);
    }
    return true;
}
