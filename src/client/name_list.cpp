#include "client/name_list.h"

namespace corvane::detail {

std::vector<WMString> SplitNameList(WMString const& nameList) {
    std::vector<WMString> names;
    WMString::size_type start = 0;
    for (WMString::size_type comma = nameList.find(u','); comma != WMString::npos;
         comma = nameList.find(u',', start)) {
        names.emplace_back(nameList, start, comma - start);
        start = comma + 1;
    }
    if (start < nameList.size()) {
        names.emplace_back(nameList, start);
    }
    return names;
}

}  // namespace corvane::detail
