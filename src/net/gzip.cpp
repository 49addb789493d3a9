// zlib is linked (statically in the Windows build) rather than loaded at run time like OpenSSL:
// it is small, present on every system that builds Corvane, and has no security updates that a
// user would need to drop in beside the program.
#include "net/gzip.h"

#include <zlib.h>

namespace corvane::detail {

bool Gunzip(std::string_view in, std::string& out, std::size_t limit, std::string& error) {
    out.clear();
    z_stream stream{};
    // 16 + the largest window: gzip framing only, as "Content-Encoding: gzip" promises.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) {
        error = "gzip: cannot start the decoder";
        return false;
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    stream.avail_in = static_cast<uInt>(in.size());
    // Compressed SOAP is typically a tenth of its size: start at four times and then double.
    std::size_t room = in.size() * 4 + 4096;
    bool ok = true;
    for (;;) {
        const std::size_t used = out.size();
        std::size_t step = room > 0x40000000 ? 0x40000000 : room;
        // One byte over the limit is enough to know that it is exceeded.
        if (step > limit - used) {
            step = limit - used + 1;
        }
        out.resize(used + step);
        stream.next_out = reinterpret_cast<Bytef*>(&out[used]);
        stream.avail_out = static_cast<uInt>(step);
        const int rc = inflate(&stream, Z_NO_FLUSH);
        out.resize(used + (step - stream.avail_out));
        room = out.size() < 4096 ? 4096 : out.size();
        if (out.size() > limit) {
            error = "The answer is larger than the limit of " + std::to_string(limit) + " bytes.";
            ok = false;
            break;
        }
        if (rc == Z_STREAM_END) {
            if (stream.avail_in == 0) {
                break;
            }
            // Another gzip member follows: decode it into the same output.
            inflateReset(&stream);
            continue;
        }
        if (rc == Z_BUF_ERROR && stream.avail_in == 0) {
            error = "gzip: the compressed answer is truncated";
            ok = false;
            break;
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            error = std::string("gzip: ") + (stream.msg != nullptr ? stream.msg : "invalid data");
            ok = false;
            break;
        }
    }
    inflateEnd(&stream);
    return ok;
}

}  // namespace corvane::detail
