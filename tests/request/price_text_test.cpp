#include "request/orders/PriceText.h"

#include "foundation/support/Utf.h"

#include <gtest/gtest.h>

namespace halvane {
namespace {

TEST(PriceText, NewOrders) {
    const struct {
        const wchar_t* price;
        const wchar_t* sent;
    } cases[] = {
        {L"", L""},
        {L"100", L"1000000000000"},
        {L"12.5", L"125000000000"},
        {L"0.41", L"4100000000"},
        {L"5.", L"50000000000"},
        {L".5", L"5000000000"},
        {L".", L"0"},
        {L"..", L"0"},
        {L"1.2.3", L"12000000000"},
        {L"00012", L"120000000000"},
        {L"123456789012345678901234567890", L"1234567890123456846996462118072609669120"},
        {L"-5", L"-50000000000"},
        {L"B+5", L"B+50000000000"},
        {L"B-0.5", L"B-5000000000"},
        {L"5+5", L"50000000000+50000000000"}, // the reference's digits go too
        {L"B+1+2", L"B+10000000000+2"},       // up to the second sign
        {L"B-1+2", L"B-1+20000000000"},       // "+" before "-"
        {L"B+0.00000000001", L"B+0.1"},
        {L"B+-5", L"B+-50000000000"},
        {L"B+", L"B+"},
        {L"B+x", L"B+x"},
        {L"B+1.2.3", L"B+1.2.3"},
        {L"B+.", L"B+."},
        {L"LAST", L"LAST"},
        {L"1e5", L"1e5"},
        {L" 5", L" 5"},
    };
    for (const auto& [price, sent] : cases)
        EXPECT_EQ(RewritePrice(price), sent) << ToUtf8(price);
    EXPECT_EQ(RewritePrice(Text(400, L'9')), L"inf");
    EXPECT_EQ(RewritePrice(L"0." + Text(400, L'0') + L"1"), L"0");
}

TEST(PriceText, ChasePrices) {
    const struct {
        const wchar_t* chase;
        const wchar_t* sent;
    } cases[] = {
        {L"12.5|1|2|3", L"125000000000|1|2|3"},
        {L"12.5|1|-2", L"12.5|1|-2"},
        {L"12.5", L"125000000000"},
        {L"12.5|", L"125000000000|"},
        {L"|1|2", L"|1|2"},
        {L"B+5|1|2", L"B+5|1|2"},
        {L"5|5|5", L"50000000000|5|5"},
        {L"5|-5|5|-", L"50000000000|-5|5|-"},
    };
    for (const auto& [chase, sent] : cases)
        EXPECT_EQ(RewriteChasePrice(chase), sent) << ToUtf8(chase);
}

TEST(PriceText, Replacements) {
    EXPECT_EQ(ScalePrice(L"101.25"), 1012500000000);
    EXPECT_EQ(ScalePrice(L"0.41"), 4099999999); // the double below 0.41, truncated
    EXPECT_EQ(ScalePrice(L"."), 0);
    EXPECT_EQ(ScalePrice(L"99999999999"), INT64_MAX);
    for (const wchar_t* text : {L"", L"-1", L"+1", L"1e5", L"x", L" 1"})
        EXPECT_EQ(ScalePrice(text), std::nullopt) << ToUtf8(text);
}

} // namespace
} // namespace halvane
