// Doubles are written with a shortcut for values of moderate size; every value must come out
// as printf's "%f" prints it, which to_chars reproduces.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "soap/fixed_format.h"

namespace {

std::string Reference(double value) {
    char buffer[352];
    auto const result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
    return std::string(buffer, result.ptr);
}

std::string Written(double value) {
    WMString text;
    corvane::detail::AppendFixed6(text, value);
    return std::string(text.begin(), text.end());
}

TEST(FixedFormat, EdgesOfTheShortcutPrintAsPrintfDoes) {
    double const cases[] = {0.0,
                            -0.0,
                            0.5,
                            -0.5,
                            1e-7,
                            -1e-7,
                            4.9999999e-7,
                            5e-7,
                            1.0 / 128,
                            -1.0 / 128,
                            3.0 / 128,
                            0.1,
                            2.675,
                            1234.5,
                            7999.9999995,
                            7999.999999,
                            8000.0,
                            8000.0000005,
                            9.9e15,
                            1e300,
                            std::numeric_limits<double>::denorm_min(),
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()};
    for (double value : cases) {
        EXPECT_EQ(Written(value), Reference(value)) << value;
    }
}

TEST(FixedFormat, RandomValuesAcrossMagnitudesPrintAsPrintfDoes) {
    std::mt19937_64 random(16);
    std::uniform_real_distribution<double> exponent(-9, 11);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (int i = 0; i < 200000; ++i) {
        double value = unit(random) * std::pow(10.0, exponent(random));
        if (i % 4 == 0) {
            // Near the rounding boundary of the sixth digit.
            value = (std::floor(value * 1e6) + 0.5) / 1e6;
        }
        ASSERT_EQ(Written(value), Reference(value)) << value;
    }
}

}  // namespace
