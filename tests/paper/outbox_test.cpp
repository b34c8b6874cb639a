#include "foundation/support/Json.h"
#include "foundation/support/Strings.h"
#include "paper/Outbox.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <vector>

namespace halvane::paper {
namespace {

std::vector<Text> LinesOf(const std::filesystem::path& path) {
    const Text text = FromUtf8(ReadFile(path)).value_or(Text());
    std::vector<Text> lines;
    for (const TextView line : Split(text, L'\n'))
        lines.emplace_back(line);
    EXPECT_EQ(lines.back(), L""); // the last line is ended too
    lines.pop_back();
    return lines;
}

TEST(Outbox, EachMessageIsOneLineAndComesBackAsItWas) {
    const TempFolder folder;
    Outbox outbox(folder / "PaperOutbox.log");
    const std::pair<Text, Text> kMessages[] = {
        {L"line-1", L"Hello"},
        {L"", L""},
        {L"../../etc/x", L"two\r\nlines\ttab \"quoted\" \\ {\"LineID\":\"other\"}"},
        {L"Ж", L"\xD83D\xDE00 ж"},
        {Text(1, L'\0'), Text(100'000, L'x')},
    };
    for (const auto& [id, message] : kMessages)
        EXPECT_TRUE(outbox.Add(id, message));
    const std::vector<Text> lines = LinesOf(folder / "PaperOutbox.log");
    ASSERT_EQ(lines.size(), std::size(kMessages));
    for (std::size_t at = 0; at < lines.size(); ++at) {
        JsonDocument line;
        ASSERT_TRUE(ParseJson(lines[at], line));
        EXPECT_EQ(StringMember(line, L"LineID"), kMessages[at].first);
        EXPECT_EQ(StringMember(line, L"Message"), kMessages[at].second);
        EXPECT_EQ(StringMember(line, L"Time").size(), 18u);
    }
}

TEST(Outbox, LosesALineThatCannotBeWrittenAndGoesOn) {
    const TempFolder folder;
    Outbox outbox(folder / "later" / "PaperOutbox.log");
    EXPECT_FALSE(outbox.Add(L"1", L"lost"));
    std::filesystem::create_directories(folder / "later");
    EXPECT_TRUE(outbox.Add(L"2", L"kept"));
    EXPECT_EQ(LinesOf(folder / "later" / "PaperOutbox.log").size(), 1u);
}

} // namespace
} // namespace halvane::paper
