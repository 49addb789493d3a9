// MD5 message digest (RFC 1321) over wide text.
#include <corvane/codec.h>

#include <cstring>

namespace corvane {
namespace {

inline std::uint32_t RotateLeft(std::uint32_t x, int n) {
    return (x << n) | (x >> (32 - n));
}

inline std::uint32_t LoadLittleEndian(unsigned char const* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

inline void StoreLittleEndian(std::uint32_t v, unsigned char* p) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

constexpr int kShifts[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                             5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                             4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                             6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

// The integer part of 2^32 * |sin(i + 1)|.
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

void Compress(std::uint32_t state[4], unsigned char const block[64]) {
    std::uint32_t x[16];
    for (int i = 0; i < 16; ++i) {
        x[i] = LoadLittleEndian(block + 4 * i);
    }
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (int i = 0; i < 64; ++i) {
        std::uint32_t f;
        int g;
        if (i < 16) {
            f = (b & c) | (~b & d);
            g = i;
        } else if (i < 32) {
            f = (b & d) | (c & ~d);
            g = (5 * i + 1) % 16;
        } else if (i < 48) {
            f = b ^ c ^ d;
            g = (3 * i + 5) % 16;
        } else {
            f = c ^ (b | ~d);
            g = (7 * i) % 16;
        }
        std::uint32_t const rotated = b + RotateLeft(a + f + kSines[i] + x[g], kShifts[i]);
        a = d;
        d = c;
        c = b;
        b = rotated;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace
}  // namespace corvane

WMMD5::WMMD5() {
    Initialize();
}

WMMD5::WMMD5(WMMD5 const& other) = default;

WMMD5& WMMD5::operator=(WMMD5 const& other) = default;

WMMD5::~WMMD5() = default;

void WMMD5::Initialize() {
    state_[0] = 0x67452301;
    state_[1] = 0xEFCDAB89;
    state_[2] = 0x98BADCFE;
    state_[3] = 0x10325476;
    bitCount_[0] = 0;
    bitCount_[1] = 0;
    std::memset(buffer_, 0, sizeof buffer_);
}

void WMMD5::ProcessBlock() {
    corvane::Compress(state_, buffer_);
}

// `count` is a number of bytes while positions in `data` advance in wide characters; callers
// depend on exactly which bytes this takes (see the header).
void WMMD5::Update(WMChar const* data, unsigned long count) {
    if (data == nullptr || count == 0) {
        return;
    }
    auto const* bytes = reinterpret_cast<unsigned char const*>(data);
    std::size_t const buffered = (bitCount_[0] >> 3) & 63;
    std::uint32_t const addedBits = static_cast<std::uint32_t>(count << 3);
    bitCount_[0] += addedBits;
    if (bitCount_[0] < addedBits) {
        ++bitCount_[1];
    }
    bitCount_[1] += static_cast<std::uint32_t>(count >> 29);

    std::size_t const room = 64 - buffered;
    std::size_t position = 0;  // in wide characters
    if (count >= room) {
        std::memcpy(buffer_ + buffered, bytes, room);
        ProcessBlock();
        for (position = room; position + 63 < count; position += 64) {
            corvane::Compress(state_, bytes + 2 * position);
        }
        std::memcpy(buffer_, bytes + 2 * position, count - position);
    } else {
        std::memcpy(buffer_ + buffered, bytes, count);
    }
}

void WMMD5::Finalize(unsigned long* digest) {
    std::size_t buffered = (bitCount_[0] >> 3) & 63;
    buffer_[buffered++] = 0x80;
    if (buffered > 56) {
        std::memset(buffer_ + buffered, 0, 64 - buffered);
        ProcessBlock();
        buffered = 0;
    }
    std::memset(buffer_ + buffered, 0, 56 - buffered);
    corvane::StoreLittleEndian(bitCount_[0], buffer_ + 56);
    corvane::StoreLittleEndian(bitCount_[1], buffer_ + 60);
    ProcessBlock();
    if (digest != nullptr) {
        for (int i = 0; i < 4; ++i) {
            digest[i] = state_[i];
        }
    }
    Initialize();
}

// The digest is read as its 16 bytes, each written as two digits: the natural reading of the
// text form, which is defined by the digest alone.
void WMMD5::FinalizeHexEncoded(WMString& out) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    unsigned long words[4];
    Finalize(words);
    unsigned char bytes[16];
    for (int i = 0; i < 4; ++i) {
        corvane::StoreLittleEndian(static_cast<std::uint32_t>(words[i]), bytes + 4 * i);
    }
    out.clear();
    for (unsigned char b : bytes) {
        out.push_back(static_cast<WMChar>(kDigits[b >> 4]));
        out.push_back(static_cast<WMChar>(kDigits[b & 15]));
    }
}
