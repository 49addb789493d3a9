#include "platform/guid.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <random>

namespace corvane::platform {

namespace {

void FillRandom(std::uint8_t* bytes, std::size_t count) {
    std::size_t filled = 0;
    while (filled < count) {
        ssize_t got = getrandom(bytes + filled, count - filled, 0);
        if (got > 0) {
            filled += static_cast<std::size_t>(got);
        } else if (got < 0 && errno != EINTR) {
            break;
        }
    }
    // A kernel without getrandom still gets a name; uniqueness, not secrecy, is what matters.
    if (filled < count) {
        std::random_device device;
        for (; filled < count; ++filled) {
            bytes[filled] = static_cast<std::uint8_t>(device());
        }
    }
}

}  // namespace

std::u16string NewGuidText() {
    std::uint8_t bytes[16];
    FillRandom(bytes, sizeof bytes);
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static const char16_t kHex[] = u"0123456789ABCDEF";
    std::u16string text;
    text.reserve(38);
    text.push_back(u'{');
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back(u'-');
        }
        text.push_back(kHex[bytes[i] >> 4]);
        text.push_back(kHex[bytes[i] & 0x0F]);
    }
    text.push_back(u'}');
    return text;
}

}  // namespace corvane::platform
