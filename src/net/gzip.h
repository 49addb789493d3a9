// gzip decoding of HTTP answers.
#ifndef CORVANE_NET_GZIP_H
#define CORVANE_NET_GZIP_H

#include <cstddef>
#include <string>
#include <string_view>

namespace corvane::detail {

// Decodes the gzip data `in` (one member or several in a row) into `out`, replacing what it
// held. False with the reason in `error` when the data is not valid gzip or its decoded form
// would exceed `limit` bytes.
bool Gunzip(std::string_view in, std::string& out, std::size_t limit, std::string& error);

}  // namespace corvane::detail

#endif
