// The comma-separated name list that a client keeps.
#ifndef CORVANE_CLIENT_NAME_LIST_H
#define CORVANE_CLIENT_NAME_LIST_H

#include <corvane/types.h>

#include <vector>

namespace corvane::detail {

// Every piece before a comma is kept, even an empty one; the rest after the last comma (or the
// whole text) only when it is not empty.
std::vector<WMString> SplitNameList(WMString const& nameList);

}  // namespace corvane::detail

#endif
