#include "foundation/support/JsonWriter.h"
#include "foundation/support/Utf.h"
#include "tradeapi/NumberText.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/UserKeys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace halvane {
namespace {

constexpr std::int64_t kMin = INT64_MIN;
constexpr std::int64_t kMax = INT64_MAX;

TEST(NumberText, FixedPointModes) {
    const struct {
        std::int64_t value;
        int mode;
        const char* text;
    } cases[] = {
        {1234500000, kAmount, "1234.5"},
        {3000000, kAmount, "3"},
        {0, kAmount, "0"},
        {-2500000, kAmount, "-2.5"},
        {1500000, kAmount, "1.5"},
        {kMax, kAmount, "9223372036854.775391"},
        {kMin, kAmount, ""},
        {12345000000, kPrice, "1.2345"},
        {1234500000000, kPrice, "123.45"},
        {1000000000000, kPrice, "100"},
        {1, kPrice, "0"},
        {-1, kPrice, "-0"}, // rounded to zero, the sign stays
        {kMin, kPrice, ""},
        {1234567890123, kAveragePrice, "123.45678901"},
        {10000000000, kAveragePrice, "1"},
        {250000000000, kAveragePrice, "25"},
        {12345, kCents, "0"},
        {50000000, kCents, "0.01"},   // half away from zero
        {-50000000, kCents, "-0.01"}, // on both sides
        {-49999999, kCents, "-0"},
        {1234567890123, kCents, "123.46"},
        {kMin, kCents, ""},
        {42, kWhole, "42"},
        {100, kWhole, "100"},
        {kMax, kWhole, "9223372036854775807"},
        {kMin, kWhole, ""},
        {0, kCount, "0"},
        {2147483648, kCount, ""},
        {-2147483648, kCount, ""},
        {6442450944, kCount, ""},
        {2147483647, kCount, "2147483647"},
        {-2147483648, kWhole, "-2147483648"},
        {7, 6, ""},
        {7, -1, ""},
    };
    for (const auto& [value, mode, text] : cases)
        EXPECT_EQ(FormatFixedPoint(value, mode).View(), text) << value << " in mode " << mode;
    EXPECT_EQ(FormatLong(INT32_MIN).View(), "");
    EXPECT_EQ(FormatLong(-7).View(), "-7");
    EXPECT_EQ(FormatSixDecimals(kMin).View(), "-922337203.685478");
    EXPECT_EQ(FormatSixDecimals(1234500000000).View(), "123.450000");
}

// What the C library makes of the value; zeros at the end and a point before them are taken off.
std::string Printed(double value, int decimals, bool trimmed = true) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*lf", decimals, value);
    const std::string all = text;
    if (!trimmed) return all;
    const std::string some = all.substr(0, all.find_last_not_of('0') + 1);
    return some.ends_with('.') ? some.substr(0, some.size() - 1) : some;
}

// NUMBER_TEXTS=100000000 tries as many values; it takes some minutes.
TEST(NumberText, IsWhatTheCLibraryPrints) {
    const char* const wanted = std::getenv("NUMBER_TEXTS");
    std::mt19937_64 random(20261122);
    for (int rest = wanted != nullptr ? std::atoi(wanted) : 200'000; rest > 0; --rest) {
        auto value = static_cast<std::int64_t>(random()) >> random() % 64;
        if (rest % 4 == 0) value = value / 500 * 500; // halfway between two decimals, often
        if (value == kMin) continue;
        const auto number = static_cast<double>(value);
        ASSERT_EQ(FormatFixedPoint(value, kAmount).View(), Printed(number / 1e6, 6)) << value;
        ASSERT_EQ(FormatFixedPoint(value, kPrice).View(), Printed(number / 1e10, 7)) << value;
        ASSERT_EQ(FormatFixedPoint(value, kCents).View(),
                  Printed(std::round(number / 1e8) / 100, 2))
            << value;
        ASSERT_EQ(FormatFixedPoint(value, kAveragePrice).View(), Printed(number / 1e10, 8))
            << value;
        ASSERT_EQ(FormatSixDecimals(value).View(), Printed(number / 1e10, 6, false)) << value;
        ASSERT_EQ(FormatFixedPoint(value, kWhole).View(), std::to_string(value));
    }
}

TEST(Symbols, CombineAndSplit) {
    const struct {
        const wchar_t* combined;
        const wchar_t* first;
        const wchar_t* second;
    } splits[] = {{L"OV.FO.X.ABC.202406^P100", L"OV.F.X.ABC.202406", L"OV.O.X.P100"},
                  {L"OV.O2.X.A^B", L"OV.O.X.A", L"OV.O.X.B"},
                  {L"OV.F2.X.A^B^C", L"OV.F.X.A", L"OV.F.X.B"},
                  {L"OV.Q.X.A^B", L"OV..X.A", L"OV..X.B"},
                  {L"OV.O2.X.A", L"OV.O.X.A", L"OV.O.X."},
                  {L"", L"", L""},
                  {
                      L"^",
                      L"",
                      L"OV...",
                  }};
    for (const auto& [combined, first, second] : splits) {
        EXPECT_EQ(SplitCombinedSymbol(combined).first, first) << ToUtf8(combined);
        EXPECT_EQ(SplitCombinedSymbol(combined).second, second) << ToUtf8(combined);
    }
    const struct {
        const wchar_t* a;
        const wchar_t* b;
        const wchar_t* combined;
    } joins[] = {
        {L"OV.O.X.A", L"OV.O.X.B", L"OV.O2.X.A^B"},
        {L"OV.F.X.A", L"OV.F.Y.B", L"OV.F2.X.A^B"},
        {L"OV.F.X.A", L"OV.O.X.B", L"OV.FO.X.A^B"},
        {L"OV.O.X.A", L"OV.F.X.B", L"OV.FO.X.A^B"},
        {L"OV.S.X.A", L"OV.S.X.B", L"OV.FO.X.A^B"},
        {L"OV.O.X.Y.X.Z", L"OV.O.X.B", L"OV.O2.X.Y.X.Z^B"},
        {L"OV.O.X", L"OV.O.X.B", L"OV.O2.X.^B"},
        {L"", L"OV.O.X.B", L""},
        {L"OV.O.X.B", L"", L""},
    };
    for (const auto& [a, b, combined] : joins)
        EXPECT_EQ(CombineSymbols(a, b), combined);
}

TEST(UserKeys, Expand) {
    using Members = std::vector<std::pair<Text, Text>>;
    const struct {
        const wchar_t* second;
        Members members;
    } cases[] = {
        {L"plain", {{L"UserKey2", L"plain"}}},
        {L"", {{L"UserKey2", L""}}},
        {L"uk#2=a", {{L"UserKey2", L"uk#2=a"}}},
        {L"UK#2=abc;UK#3=x;y", {{L"UserKey2", L"abc"}, {L"UserKey3", L"x;y"}}},
        {L"UK#", {{L"UserKey", L""}}},
        {L"UK#7", {{L"UserKey7", L""}}},
        {L"UK#2=a=b=c", {{L"UserKey2", L"a"}}},
        {L"UK#2=a;;UK#2=b;", {{L"UserKey2", L"a"}, {L"UserKey2", L"b"}}},
        {L"UK#2=a;UKx=1", {{L"UserKey2", L"a"}, {L"UserKey", L"1"}}},
        {L"UK#2#5=a;b;c=d", {{L"UserKey2", L"a;b;c=d"}}},
    };
    for (const auto& [second, members] : cases) {
        JsonWriter written, expected;
        WriteUserKeys(written, L"one", second);
        expected.MemberNamed(L"UserKey1", L"one");
        for (const auto& [name, value] : members)
            expected.MemberNamed(name, value);
        EXPECT_EQ(written.Finish(), expected.Finish()) << ToUtf8(second);
    }
}

} // namespace
} // namespace halvane
