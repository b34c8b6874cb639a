#include "foundation/support/AddressGuard.h"
#include "foundation/support/AddressList.h"
#include "foundation/support/Format.h"
#include "foundation/support/Hex.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace halvane {
namespace {

constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();

TEST(AddressList, HasWhatItNamesAndThisMachine) {
    const struct {
        const wchar_t* list;
        const char* address;
        bool contained;
    } cases[] = {
        {L"", "8.8.8.8", true},
        {L"10.0.0.7", "10.0.0.7", true},
        {L"10.0.0.7", "10.0.0.70", false},
        {L"10.0.0.7", "127.0.0.1", true},
        {L" 10.0.0.7 , 192.168.1.9/24", "192.168.1.255", true},
        {L"192.168.1.9/24", "192.168.2.0", false},
        {L"192.168.1.128/25", "192.168.1.127", false},
        {L"1.2.3.4/0", "8.8.8.8", true},
        {L"10.0.0.7", "10.0.0.7 ", false},
        {L"10.0.0.7", "::1", false},
        {L"10.0.0/8, 10.0.0.256, 10.0.0.0/33, x", "10.0.0.0", false},
        {L"010.0.0.7", "10.0.0.7", true},
    };
    for (const auto& [list, address, contained] : cases)
        EXPECT_EQ(AddressList(list).Contains(address), contained) << address;
    EXPECT_EQ(AddressList(L"1.2.3.4,10.0.0/8,1.2.3.4/,x").Bad().size(), 3u);
}

TEST(AddressGuard, LetsInWhoIsListedAndSaysOnceWhoIsNot) {
    std::vector<Text> refused;
    AddressGuard guard(L"10.0.0.7", L"192.168.0.1",
                       [&](const Text& who) { refused.push_back(who); });
    for (const char* in : {"10.0.0.7", "127.0.0.1", "192.168.0.1"}) {
        EXPECT_EQ(guard.Judge({"plain", in, "NULL", {}}), "") << in;
        EXPECT_EQ(guard.Judge({"plain", in, "PLAIN", {"a", "b"}}), std::nullopt) << in;
    }
    for (int n = 0; n < 2; ++n)
        EXPECT_EQ(guard.Judge({"plain", "10.0.0.8", "NULL", {}}), std::nullopt);
    EXPECT_EQ(refused.size(), 4u);
}

TEST(Zap, TheSecretIsKnownByItsNameAndWhole) {
    const struct {
        const char* mechanism;
        std::vector<std::string> credentials;
        bool known;
    } cases[] = {
        {"PLAIN", {"halvane", "secret"}, true},
        {"PLAIN", {"halvane", "secre"}, false},
        {"PLAIN", {"halvane", ""}, false},
        {"PLAIN", {"other", "secret"}, false},
        {"PLAIN", {"secret"}, false},
        {"PLAIN", {"halvane", "secret", ""}, false},
        {"NULL", {}, false},
        {"CURVE", {"halvane", "secret"}, false},
    };
    for (const auto& [mechanism, credentials, known] : cases)
        EXPECT_EQ(KnowsSecret({"relay", "127.0.0.1", mechanism, credentials}, "secret"), known);
}

TEST(Hex, ReadsWholeBytesInSmallLettersAlone) {
    EXPECT_EQ(BytesOfHex("00ff7f"), std::string("\0\xFF\x7F", 3));
    for (const char* none : {"0", "0g", "FF", "0x", " 0"})
        EXPECT_EQ(BytesOfHex(none), std::nullopt) << none;
}

TEST(Utf, ConvertsWellFormedTextBothWays) {
    const struct {
        std::string bytes;
        Text text;
    } cases[] = {
        {"", L""},
        {std::string("a\0b", 3), Text(L"a\0b", 3)},
        {"\x7F\xC2\x80\xDF\xBF", L"\x7F\x80\x7FF"},
        {"\xE0\xA0\x80\xED\x9F\xBF", L"\x800\xD7FF"},
        {"\xEE\x80\x80\xEF\xBF\xBF", L"\xE000\xFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\xD800\xDC00\xDBFF\xDFFF"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(FromUtf8(bytes), text) << bytes;
        EXPECT_EQ(ToUtf8(text), bytes);
    }
}

TEST(Utf, RefusesIllFormedBytes) {
    for (const std::string bytes : {"\x80",             // a continuation alone
                                    "\xC0\xAF",         // over-long in two,
                                    "\xE0\x9F\xBF",     // three
                                    "\xF0\x8F\xBF\xBF", // and four bytes
                                    "\xED\xA0\x80",     // a surrogate
                                    "\xF4\x90\x80\x80", // above U+10FFFF
                                    "\xF8\x88\x80\x80\x80", "\xFF",
                                    "ab\xE2\x82",    // cut short
                                    "\xE2\x28\xA1"}) // a continuation missing
        EXPECT_EQ(FromUtf8(bytes), std::nullopt) << bytes;
}

TEST(Utf, HalfAPairGoesOutAsReplacement) {
    EXPECT_EQ(ToUtf8(L"a\xD800"), "a\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(L"\xDC00z"), "\xEF\xBF\xBDz");
    EXPECT_EQ(ToUtf8(L"\xD800\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

Text Printf(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    Text out = FormatV(format, args);
    va_end(args);
    return out;
}

TEST(Strings, FormatVReadsTextAsWindowsDoes) {
    EXPECT_EQ(Printf(L"%s|%-5s|%5s|%.2s|", L"a", L"b", L"c", L"defg"), L"a|b    |    c|de|");
    EXPECT_EQ(Printf(L"%c%C%S%hs", L'x', 'y', "narrow", "too"), L"xynarrowtoo");
    EXPECT_EQ(Printf(L"%I64d %lld %I32d %06d %%s", kMin64, static_cast<long long>(kMax64), 5, -42),
              L"-9223372036854775808 9223372036854775807 5 -00042 %s");
    EXPECT_EQ(Printf(L"%s", L"\xD83D\xDE00"), L"\xD83D\xDE00");
    const Text large(300'000, L'x');
    EXPECT_EQ(Printf(L"<%s>", large.c_str()), L"<" + large + L">");
    EXPECT_FALSE(Printf(L"%hs", "\xFF").empty()) << "what no room can help";
}

TEST(Format, WritesAsPrintfDoes) {
    EXPECT_EQ(Format(L""), L"");
    EXPECT_EQ(Format(L"100%% of %s%s", Text(L"a"), TextView(L"b")), L"100% of ab");
    EXPECT_EQ(Format(L"%s|%-3s|%3s|%2s", L"a", L"b", L"c", L"long"), L"a|b  |  c|long");
    EXPECT_EQ(Format(L"%d %lld", kMin32, kMin64), L"-2147483648 -9223372036854775808");
    EXPECT_EQ(Format(L"%03d|%03d|%-3d|%3d|%02d|%-04d|%05lld", 7, -7, 7, -7, 1234, 7, kMax64),
              L"007|-07|7  | -7|1234|7   |9223372036854775807");
    EXPECT_EQ(Format(L"%s.", TextView(L"cut\0short", 9)), L"cut.");
}

template <class... Arguments> constexpr bool Takes(TextView format) {
    const FormatKind kinds[] = {KindOfArgument<Arguments>()..., FormatKind::String};
    return FormatFits(format, {kinds, sizeof...(Arguments)});
}
static_assert(Takes<int, Text>(L"%d%%%-5s") && Takes<std::int64_t>(L"%lld") && Takes<>(L"%%"));
static_assert(!Takes<>(L"%s") && !Takes<int, int>(L"%d") && !Takes<int>(L"%s") && !Takes<>(L"%"));
static_assert(!Takes<int>(L"%lld") && !Takes<std::int64_t>(L"%d") && !Takes<int>(L"%u"));
static_assert(!Formattable<unsigned> && !Formattable<bool> && !Formattable<double> &&
              !Formattable<wchar_t> && !Formattable<const char*> && !Formattable<std::string>);

TEST(Strings, SplitKeepsEmptyParts) {
    using Parts = std::vector<TextView>;
    EXPECT_EQ(Split(L"", L','), Parts({L""}));
    EXPECT_EQ(Split(L",a,,b,", L','), Parts({L"", L"a", L"", L"b", L""}));
    EXPECT_EQ(SplitField(L"a.b.", L'.', 1), L"b");
    EXPECT_EQ(SplitField(L"a.b.", L'.', 2), L"");
    EXPECT_EQ(SplitField(L"a.b.", L'.', 3), std::nullopt);
}

TEST(Strings, ReplaceAllDoesNotLookAtWhatItPutIn) {
    EXPECT_EQ(ReplaceAll(L"aXbX", L"X", L"XX"), L"aXXbXX");
    EXPECT_EQ(ReplaceAll(L"aaa", L"aa", L"b"), L"ba");
    EXPECT_EQ(ReplaceAll(L"abc", L"", L"x"), L"abc");
}

TEST(Strings, OnlyAsciiLettersAreAlike) {
    EXPECT_TRUE(EqualsIgnoringCase(L"aZ_1", L"Az_1"));
    EXPECT_FALSE(EqualsIgnoringCase(L"ab", L"abc"));
    EXPECT_FALSE(EqualsIgnoringCase(L"\xC4", L"\xE4"));
    EXPECT_FALSE(EqualsIgnoringCase(L"@", L"`"));
}

TEST(Numbers, IntegersReadToTheFirstOtherCharacterAndSaturate) {
    const struct {
        Text text;
        std::int32_t small;
        std::int64_t large;
    } cases[] = {
        {L"", 0, 0},
        {L"abc", 0, 0},
        {L"-", 0, 0},
        {L" \t\r\n+7x9", 7, 7},
        {L"+-7", 0, 0},
        {L"- 7", 0, 0},
        {L"-0012.9", -12, -12},
        {L"2147483647", kMax32, 2147483647},
        {L"2147483648", kMax32, 2147483648},
        {L"-2147483648", kMin32, -2147483648},
        {L"-2147483649", kMin32, -2147483649},
        {L"9223372036854775807", kMax32, kMax64},
        {L"9223372036854775808", kMax32, kMax64},
        {L"-9223372036854775808", kMin32, kMin64},
        {L"-9223372036854775809", kMin32, kMin64},
        {Text(500, L'9'), kMax32, kMax64},
        {L"-" + Text(500, L'9'), kMin32, kMin64},
    };
    for (const auto& [text, small, large] : cases) {
        EXPECT_EQ(ToInt32(text), small) << ToUtf8(text);
        EXPECT_EQ(ToInt64(text), large) << ToUtf8(text);
    }
}

TEST(Numbers, DoublesReadPlainDecimals) {
    const struct {
        Text text;
        double value;
    } cases[] = {
        {L" 12.50 ", 12.5},
        {L"-.5", -0.5},
        {L"5.", 5},
        {L"1.2.3", 1.2},
        {L"1e5", 1},
        {L".", 0},
        {L"x1", 0},
        {L"inf", 0},
        {Text(400, L'9'), std::numeric_limits<double>::infinity()},
        {L"-" + Text(400, L'9'), -std::numeric_limits<double>::infinity()},
        {L"0." + Text(400, L'0') + L"1", 0},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(ToDouble(text), value) << ToUtf8(text);
    EXPECT_FALSE(std::signbit(ToDouble(L"-"))) << "no digits, no sign";
    EXPECT_TRUE(std::signbit(ToDouble(L"-0")));
}

TEST(Numbers, TextsAreExact) {
    EXPECT_EQ(DecimalText(kMin64), L"-9223372036854775808");
    EXPECT_EQ(FixedText(1.23456789123e18, 6), L"1234567891230000128.000000");
    EXPECT_EQ(FixedText(static_cast<double>(kMax64) / 1e6, 6), L"9223372036854.775391");
    EXPECT_EQ(FixedText(-0.001, 2), L"-0.00");
    EXPECT_EQ(FixedText(std::numeric_limits<double>::max(), 8).size(), 309u + 1 + 8);
}

TEST(Numbers, TrimsZerosBehindAPointOnly) {
    const Text cases[][2] = {{L"1.500", L"1.5"}, {L"100.00", L"100"}, {L"100", L"100"},
                             {L"-0.00", L"-0"},  {L".0", L""},        {L"", L""}};
    for (const auto& [before, after] : cases) {
        Text text = before;
        TrimTrailingZeros(text);
        EXPECT_EQ(text, after) << ToUtf8(before);
    }
}

// The same on both systems: on Windows it is the system that reads.
TEST(IniFile, IsReadAsWindowsReadsIt) {
    constexpr char kUtf16[] =
        "\xFF\xFE[\0Z\0]\0\n\0K\0=\0\xE9\0"; // the last zero is the literal's own
    const struct {
        std::string file;
        Text value;
    } cases[] = {
        {"[Z]\r\nK=1\r\n", L"1"},
        {"[z]\nk = 1 ", L"1"},
        {"[Z]\nK=1\nK=2\n", L"1"},
        {"[Z]\nK=1\n  2\nL=3\n", L"1"},
        {"[Z]\nK:1\n", L"none"},
        {"[Z]\nK=1 ; remark\n", L"1 ; remark"},
        {"[Z]\nK=1;remark\n", L"1;remark"},
        {"[Z]\n;K=1\n", L"none"},
        {"[Z]\nK=\n", L""},
        {"[Z]\nK\nK=1\n", L"none"},
        {"[Z]\nK=\" 1 \"\n", L" 1 "},
        {"[Z]\nK='1'\n", L"1"},
        {"[Z]\nK=\"1\n", L"\"1"},
        {"[Z]\nK=a=b\n", L"a=b"},
        {"K=0\n[Y]\nK=1\n[Z]\nK=2\n", L"2"},
        {"[Z]\nL=1\n[Z]\nK=2\n", L"none"},
        {"[ Z ]\nK=1\n", L"1"},
        {"[Z]\nK=x\n[Y]\nK=y", L"x"},
        {std::string(kUtf16, sizeof kUtf16 - 1), L"\xE9"},
        {"", L"none"},
    };
    const TempFolder folder;
    for (const auto& [file, value] : cases) {
        WriteFile(folder / "x.ini", file);
        EXPECT_EQ(ReadIniText(folder.TextOf("x.ini"), L"Z", L"K", L"none"), value) << file;
    }
    std::filesystem::create_directory(folder / "folder.ini");
    for (const char* unreadable : {"y.ini", "folder.ini"})
        EXPECT_EQ(ReadIniText(folder.TextOf(unreadable), L"Z", L"K", L"none"), L"none");
}

} // namespace
} // namespace halvane
