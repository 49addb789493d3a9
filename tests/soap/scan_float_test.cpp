// Float texts read as strtof reads them, bit for bit: plain decimals take a shortcut that must
// round exactly as the general reading does.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "soap/deserializer_text.h"

namespace {

void ExpectAsStrtof(std::string const& text) {
    float const expected = std::strtof(text.c_str(), nullptr);
    float const got = corvane::ScanFloat(std::u16string(text.begin(), text.end()));
    EXPECT_EQ(0, std::memcmp(&expected, &got, sizeof got)) << text << ": " << got;
}

TEST(ScanFloat, ReadsDecimalsAsStrtof) {
    for (char const* text : {"0.1",
                             ".5",
                             "5.",
                             "-0.0",
                             "+2.5",
                             " 7.25",
                             "16777217",
                             "16777219",
                             "0.000000000000001",
                             "999999999999999",
                             "9999999999999999",
                             "1.00000005960464477539",
                             "3.4028235e38",
                             "1e-46",
                             "0x1.8p1",
                             "5.5abc",
                             "1.2.3",
                             "-",
                             ".",
                             "nan",
                             "inf"}) {
        ExpectAsStrtof(text);
    }
    // Values of every length and point position, where a rounding slip would show.
    std::mt19937_64 random(16);
    for (int i = 0; i < 20000; ++i) {
        int const length = 1 + static_cast<int>(random() % 15);
        std::string text = random() % 2 ? "-" : "";
        int const point = static_cast<int>(random() % (length + 1));
        for (int k = 0; k < length; ++k) {
            if (k == point) {
                text += '.';
            }
            text += static_cast<char>('0' + random() % 10);
        }
        ExpectAsStrtof(text);
    }
}

}  // namespace
