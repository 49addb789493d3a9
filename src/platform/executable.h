// The directory of the running executable, and path joining on "/".
#ifndef CORVANE_PLATFORM_EXECUTABLE_H
#define CORVANE_PLATFORM_EXECUTABLE_H

#include <string>

namespace corvane::platform {

// The directory holding the process's executable, as the file system's bytes, without a
// trailing separator ("/" for the root); empty when it cannot be found.
std::string ExecutableDirectory();

// `directory` + "/" + `name`, without doubling the separator.
std::string JoinPath(const std::string& directory, const std::string& name);

}  // namespace corvane::platform

#endif
