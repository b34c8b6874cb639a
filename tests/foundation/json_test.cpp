#include "foundation/support/Json.h"
#include "foundation/support/Utf.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

namespace halvane {
namespace {

bool Accepts(const Text& text) {
    JsonDocument document;
    return ParseJson(text, document);
}

Text Repeat(const Text& text, std::size_t times) {
    Text out;
    for (; times > 0; --times)
        out += text;
    return out;
}

TEST(Json, CorpusIsAcceptedAndRefusedAsItsNamesSay) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(JSON_CORPUS)) {
        const std::string name = entry.path().filename().string();
        const std::optional<Text> text = FromUtf8(ReadFile(entry.path()));
        JsonDocument document;
        const bool accepted = text && ParseJson(*text, document);
        EXPECT_TRUE(!accepted || Accepts(WriteJson(document))) << name;
        EXPECT_TRUE(accepted ? !name.starts_with("n_") : !name.starts_with("y_")) << name;
        ++files;
    }
    EXPECT_GT(files, 300);
}

TEST(Json, NestingStopsAtAThousandLevels) {
    for (const auto& [open, close] : {std::pair{L"[", L"]"}, {L"{\"a\":", L"}"}}) {
        const auto nested = [&](std::size_t depth) {
            return Repeat(open, depth - 1) + L"[]" + Repeat(close, depth - 1);
        };
        JsonDocument document;
        ASSERT_TRUE(ParseJson(nested(1000), document));
        EXPECT_EQ(WriteJson(document), nested(1000));
        EXPECT_FALSE(Accepts(nested(1001)));
        EXPECT_FALSE(Accepts(nested(1'000'000)));
    }
    EXPECT_TRUE(Accepts(L"[" + Repeat(L"[],", 5000) + L"\"" + Text(5000, L'[') + L"\"]"))
        << "not deep, only long";
}

TEST(Json, ExponentsThatTheParserCannotAddAreRefused) {
    const Text zeros(400, L'0');
    const struct {
        Text number;
        bool accepted;
    } cases[] = {
        {L"0." + zeros + L"1e-2147483639", false},
        {L"0." + zeros + L"e-2147483639", false},
        {L"0." + zeros + L"e-999999999", true},
        {L"1e-2147483648", false},
        {L"1e-000000000000000000012", true},
        {L"1e99999999999", false},
        {L"1" + zeros, false}, // beyond the largest double
        {L"-0." + Text(2000, L'7') + L"e+5", true},
    };
    for (const auto& [number, accepted] : cases) {
        EXPECT_EQ(Accepts(number), accepted) << ToUtf8(number);
        EXPECT_EQ(Accepts(L"{\"n\":[" + number + L"]}"), accepted) << ToUtf8(number);
        EXPECT_TRUE(Accepts(L"{\"a\\\"" + number + L"\":\"x\\\\\"}")) << "only text";
    }
}

TEST(Json, HalfAPairIsRefused) {
    for (const Text text : {L"\"\\udc00\"", L"\"\\ud800\"", L"\"\\ud800\\ud800\"", L"\"\\ud800x\"",
                            L"{\"\\udc00\":1}"})
        EXPECT_FALSE(Accepts(text)) << ToUtf8(text);
    JsonDocument document;
    ASSERT_TRUE(ParseJson(L"\"\\ud83d\\ude00\"", document));
    EXPECT_EQ(WriteJson(document), L"\"\xD83D\xDE00\"");
}

TEST(Json, AZeroEndsNeitherTextNorDocument) {
    JsonDocument document;
    ASSERT_TRUE(ParseJson(L"{\"k\\u0000x\":\"a\\u0000b\"}", document));
    EXPECT_EQ(StringMember(document, TextView(L"k\0x", 3)), TextView(L"a\0b", 3));
    EXPECT_EQ(FindMember(document, L"k"), nullptr);
    EXPECT_EQ(WriteJson(document), L"{\"k\\u0000x\":\"a\\u0000b\"}");
    EXPECT_FALSE(Accepts(Text(L"{}\0x", 4)));
}

TEST(Json, UnfitMembersReadAsMissing) {
    JsonDocument document;
    ASSERT_TRUE(ParseJson(L"{\"number\":1,\"text\":\"a\",\"text\":\"b\",\"list\":[]}", document));
    EXPECT_EQ(StringMember(document, L"number"), L"");
    EXPECT_EQ(StringMember(document, L"none"), L"");
    EXPECT_EQ(StringMember(document, L"text"), L"a");
    EXPECT_EQ(FindMember(*FindMember(document, L"list"), L"text"), nullptr);
    EXPECT_EQ(FindMember(*FindMember(document, L"text"), L"text"), nullptr);
}

TEST(Json, WriterKeepsTheOrderOfItsCalls) {
    JsonWriter writer;
    writer.Member(L"z", L"a\"\\/\x01\xE9");
    writer.BeginArray(L"list");
    writer.BeginObject();
    writer.Member(L"a", TextView(L"\0", 1));
    writer.EndObject();
    writer.EndArray();
    EXPECT_EQ(writer.Finish(), L"{\"z\":\"a\\\"\\\\/\\u0001\xE9\",\"list\":[{\"a\":\"\\u0000\"}]}");
}

} // namespace
} // namespace halvane
