#include "foundation/support/Json.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Utf.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

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

// What RapidJSON's own reader makes of it, written again; "" for what it refuses.
Text ReadByTheLibrary(const std::string& text) {
    JsonDocument document;
    rapidjson::StringStream stream(text.c_str());
    try {
        constexpr unsigned kHow =
            rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
        document.ParseStream<kHow, rapidjson::UTF8<>>(stream);
    } catch (const JsonFault&) {
        return {}; // half of a surrogate pair
    }
    return document.HasParseError() ? Text() : WriteJson(document);
}

// Without digits: the library takes some numbers for others.
TEST(Json, BrokenTextsAreReadAsTheLibraryReadsThem) {
    constexpr std::string_view kPieces = "{}[]\":,\\/ \t\ntruefalsn\xC3\xA9\x01-abdf";
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::directory_iterator(JSON_CORPUS)) {
        const std::string text = ReadFile(entry.path());
        if (text.size() < 1000 && text.find_first_of(std::string("\0"
                                                                 "0123456789",
                                                                 11)) == std::string::npos)
            texts.push_back(text);
    }
    std::mt19937 random(20261122);
    int accepted = 0;
    for (int n = 0; n < 50'000; ++n) {
        std::string text = texts[random() % texts.size()];
        for (auto changes = random() % 4; changes > 0; --changes)
            text.replace(random() % (text.size() + 1), random() % 2, 1,
                         kPieces[random() % kPieces.size()]);
        JsonDocument document;
        const bool read = ParseJson(text, document);
        ASSERT_EQ(read ? WriteJson(document) : Text(), ReadByTheLibrary(text)) << text;
        accepted += read ? 1 : 0;
    }
    EXPECT_GT(accepted, 1'000);
}

TEST(Json, NestingStopsAtAThousandLevels) {
    for (const auto& [open, close] : {std::pair{L"[", L"]"}, {L"{\"a\":", L"}"}}) {
        const auto nested = [open = open, close = close](std::size_t depth) {
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

// Holds a number text against the C library, read and written again.
void CheckNumber(const std::string& number) {
    JsonDocument document;
    const double expected = std::strtod(number.c_str(), nullptr);
    const bool accepted = ParseJson(L"[" + Text(number.begin(), number.end()) + L"]", document);
    ASSERT_EQ(accepted, std::isfinite(expected)) << number;
    if (!accepted) return;
    ASSERT_EQ(document[0].GetDouble(), expected) << number;
    const std::string written = ToUtf8(WriteJson(document[0]));
    ASSERT_EQ(std::strtod(written.c_str(), nullptr), expected) << number << " " << written;
}

TEST(Json, NumbersAreWhatTheCLibraryReads) {
    const std::string zeros(400, '0');
    for (const std::string& number : {
             "0." + zeros,
             "0." + zeros + "1e-2147483639",
             "0." + zeros + "e-2147483639",
             "0." + zeros + "1e401",
             "1" + zeros,
             "1" + zeros + "e-400",
             "-0." + std::string(2000, '7') + "e+5",
             std::string("0e-300"),
             std::string("0.0000000000000000000000000e-325"),
             std::string("0.1e-325"),
             std::string("0e400"),
             std::string("1e-99999999999999999999"),
             std::string("1e99999999999999999999"),
             std::string("1e-000000000000000000012"),
             std::string("17976931348623157e292"),
             std::string("17976931348623159e292"),
             std::string("4.9e-324"),
             std::string("2.4e-324"),
             std::string("18446744073709551615"),
             std::string("18446744073709551616"),
         })
        CheckNumber(number);
}

TEST(Json, AMillionNumbersAreWhatTheCLibraryReads) {
    std::mt19937 random(20261122);
    const auto below = [&](unsigned end) { return static_cast<std::size_t>(random() % end); };
    const auto digits = [&](std::size_t most) {
        std::string text(1 + below(static_cast<unsigned>(most)), '0');
        if (below(2) == 0) return text;
        for (std::size_t at = below(static_cast<unsigned>(text.size())); at < text.size(); ++at)
            text[at] = static_cast<char>('0' + below(10));
        return text;
    };
    for (int n = 0; n < 1'000'000; ++n) {
        const std::size_t most = n % 64 == 0 ? 400 : 25;
        std::string number = below(4) == 0 ? "-" : "";
        number += below(2) == 0 ? "0" : std::to_string(1 + below(9)) + digits(most);
        if (below(4) != 0) number += "." + digits(most);
        if (below(4) != 0)
            number += (below(2) == 0 ? "e" : "E") + std::string(below(3), '-').substr(0, 1) +
                      (below(4) == 0 ? digits(12) : std::to_string(below(700)));
        CheckNumber(number);
        if (HasFatalFailure()) return;
    }
}

TEST(Json, WhatLooksLikeANumberStaysTextOrIsRefused) {
    for (const Text number : {L"1e", L"1e+", L"-", L"01", L"-01", L".5", L"1.", L"1.e2", L"+1",
                              L"1-2", L"0x1", L"1.2.3", L"--1", L"1e5e5", L"1E1.0"}) {
        EXPECT_FALSE(Accepts(number)) << ToUtf8(number);
        EXPECT_FALSE(Accepts(L"{\"n\":[" + number + L"]}")) << ToUtf8(number);
        EXPECT_TRUE(Accepts(L"{\"a\\\"" + number + L"\":\"x\\\\\"}")) << "only text";
    }
    JsonDocument document;
    const Text mixed = L"{\"1\":-12,\"2\":[0,\"3\",4.5,{\"6e7\":8}],\"9\":18446744073709551615}";
    ASSERT_TRUE(ParseJson(mixed, document));
    EXPECT_EQ(WriteJson(document), mixed);
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
    EXPECT_EQ(writer.Finish(),
              "{\"z\":\"a\\\"\\\\/\\u0001\xC3\xA9\",\"list\":[{\"a\":\"\\u0000\"}]}");
}

} // namespace
} // namespace halvane
