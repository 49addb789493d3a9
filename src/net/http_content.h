// What the library's own callers read of a WMHTTPRequestSock's response beyond its exported
// operations.
#ifndef CORVANE_NET_HTTP_CONTENT_H
#define CORVANE_NET_HTTP_CONTENT_H

#include <corvane/http.h>

#include <string_view>

namespace corvane::detail {

struct HttpContentAccess {
    // The body as GetContent's zero-terminated text reads: up to its first zero unit. Its
    // length is known unless a zero byte came in, which only a scan can place.
    static std::u16string_view Text(WMHTTPRequestSock const& http) {
        if (http.m_pContent == nullptr) {
            return std::u16string_view();
        }
        if (http.m_bZeroInContent) {
            return std::u16string_view(http.m_pContent);
        }
        return std::u16string_view(http.m_pContent, http.m_nContentSize);
    }
};

}  // namespace corvane::detail

#endif
