#include <objbase.h>

#include "platform/guid.h"

namespace corvane::platform {

std::u16string NewGuidText() {
    GUID guid;
    wchar_t text[40];
    // CoCreateGuid needs no COM initialization. It only fails when the system has no random
    // source at all; the all-zero GUID it would leave must not pass for a fresh one.
    if (FAILED(::CoCreateGuid(&guid)) ||
        ::StringFromGUID2(guid, text, static_cast<int>(sizeof text / sizeof text[0])) != 39) {
        return std::u16string();
    }
    return std::u16string(reinterpret_cast<const char16_t*>(text), 38);
}

}  // namespace corvane::platform
