// Random GUID text for names that must be unique without coordination.
#ifndef CORVANE_PLATFORM_GUID_H
#define CORVANE_PLATFORM_GUID_H

#include <string>

namespace corvane::platform {

// A new random (version 4) GUID in registry form: braces, upper-case hexadecimal in 8-4-4-4-12
// groups, 38 characters in all.
std::u16string NewGuidText();

}  // namespace corvane::platform

#endif
