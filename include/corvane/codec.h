// Upper-case hexadecimal coding of bytes as wide text, and the MD5 message digest.
#ifndef CORVANE_CODEC_H
#define CORVANE_CODEC_H

#include <corvane/types.h>

#include <cstdint>
#include <string>

class CORVANE_API WMHexCode {
public:
    WMHexCode();
    WMHexCode(WMHexCode const& other);
    WMHexCode& operator=(WMHexCode const& other);
    virtual ~WMHexCode();

    // Appends two upper-case digits per byte, high nibble first, to `out` (not emptied first).
    // Always returns true.
    bool Encode(unsigned char const* data, int length, WMString& out);

    // Sets `length` to half the number of characters (false when that number is odd) and, when
    // `out` is not null, decodes the pairs into it: call with a null `out` to learn the size.
    // Only the low byte of each character is looked up and lower-case digits are not accepted;
    // on a bad digit the result is false and the bytes before it are kept.
    bool Decode(WMString const& text, unsigned char* out, int& length);

private:
    std::string alphabet_;
};

// MD5 (RFC 1321) over the memory of wide text: Update takes `count` bytes but advances through
// `data` in wide characters. Within one call the first 64 - k bytes (k = bytes already
// buffered) come from the start of the text, and every following 64-byte block starts 64 wide
// characters after the previous one, so `count` wide characters never read past the text.
class CORVANE_API WMMD5 {
public:
    WMMD5();
    WMMD5(WMMD5 const& other);
    WMMD5& operator=(WMMD5 const& other);
    virtual ~WMMD5();

    void Update(WMChar const* data, unsigned long count);

    // Pads the message, stores the four chaining words A, B, C, D (the digest bytes in
    // little-endian order) in digest[0..3], and starts a new message.
    void Finalize(unsigned long* digest);

    // Finalizes and writes the digest as 32 upper-case hexadecimal digits into `out`.
    void FinalizeHexEncoded(WMString& out);

protected:
    void Initialize();
    void ProcessBlock();

private:
    std::uint32_t state_[4];
    unsigned char buffer_[64];
    std::uint32_t bitCount_[2];  // low word, high word
};

#endif
