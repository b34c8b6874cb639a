#include "tests/foundation/LoggerTest.h"

#include <algorithm>
#include <csignal>
#include <sys/resource.h>

namespace halvane {
namespace {

class LoggerDiskTest : public LoggerTest {
  protected:
    static constexpr rlim_t kRoom = 1 << 20;

    // Leaves the file ending inside a line, which the disk had no room for.
    void TearLine(const std::filesystem::path& file) {
        std::filesystem::resize_file(file, kRoom - 50);
        rlimit whole{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &whole), 0);
        const rlimit small{kRoom, whole.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        WriteAndDrain(Text(100, L'x').c_str());
        setrlimit(RLIMIT_FSIZE, &whole);
        std::signal(SIGXFSZ, handler);
        EXPECT_EQ(logger_.GetLastError(), 13);
    }
};

TEST_F(LoggerDiskTest, AFullDiskCostsABatchAndNoMore) {
    std::filesystem::create_directories(folder_ / "logs");
    std::filesystem::create_symlink("/dev/full", FileOf(0));
    ASSERT_EQ(OpenLog(), 1);
    WriteAndDrain(L"lost");
    EXPECT_EQ(logger_.GetLastError(), 13);

    WriteAndDrain(L"lost too");

    std::filesystem::remove(FileOf(0));
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[WARN ]  2 messages lost: the file could not be written\r\n"
                                "[INFO ]  kept\r\n");
    EXPECT_EQ(logger_.Missing(), 2);
}

TEST_F(LoggerDiskTest, WhatWasDroppedIsToldOnceTheDiskHasRoom) {
    std::filesystem::create_directories(folder_ / "logs");
    std::filesystem::create_symlink("/dev/full", FileOf(0));
    ASSERT_EQ(OpenLog(), 1);
    clock_.Shut();
    logger_.Info_0(L"lost");
    clock_.AwaitWaiter();
    while (logger_.Missing() == 0)
        logger_.Info_0(Text(1900, L'x').c_str());
    clock_.Open();
    EXPECT_TRUE(logger_.Drain(kDrainMs));
    std::filesystem::remove(FileOf(0));
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[WARN ]  3 messages lost: the file could not be written\r\n"
                                "[INFO ]  kept\r\n"
                                "[WARN ]  1 messages dropped: the log could not keep up\r\n");
}

TEST_F(LoggerDiskTest, ANameInAFolderThatIsGoneIsABadPath) {
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directory(folder_ / "gone");
    std::filesystem::current_path(folder_ / "gone");
    std::filesystem::remove(folder_ / "gone");
    EXPECT_EQ(logger_.Open(L"x.log", ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE), 0);
    EXPECT_EQ(logger_.GetLastError(), 3);
    std::filesystem::current_path(before);
}

// Guests have texts of 32-bit units here.
TEST_F(LoggerDiskTest, AUnitBeyondSixteenBitsBecomesTheReplacement) {
    ASSERT_EQ(OpenLog(), 1);
    WriteAndDrain(L"<\x1F600>");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  <\xEF\xBF\xBD>\r\n");
}

TEST_F(LoggerDiskTest, WhatADiskCutsShortTearsNoOtherLine) {
    ASSERT_EQ(OpenLog(), 1);
    TearLine(FileOf(0));
    WriteAndDrain(L"next");
    WriteAndDrain(L"and next");
    const std::string end = ReadFile(FileOf(0)).substr(kRoom - 50);
    EXPECT_EQ(std::ranges::count(end, '\n'), 4);
    EXPECT_NE(end.find("xx\r\n"), std::string::npos);
    EXPECT_NE(end.find("[WARN ]  1 messages lost"), std::string::npos);
}

TEST_F(LoggerDiskTest, ATornLineIsForgottenWithItsFile) {
    ASSERT_EQ(OpenLog(), 1);
    const auto first = FileOf(0);
    TearLine(first);
    clock_.Advance(24 * 3600 * 1000);
    WriteAndDrain(L"another day");
    EXPECT_NE(first, FileOf(0));
    EXPECT_NE(ReadFile(FileOf(0)).front(), '\r');

    TearLine(FileOf(0));
    std::filesystem::remove(FileOf(0));
    WriteAndDrain(L"another file");
    EXPECT_NE(ReadFile(FileOf(0)).front(), '\r');

    TearLine(FileOf(0));
    ASSERT_EQ(logger_.Close(), 1);
    std::filesystem::remove(FileOf(0));
    ASSERT_EQ(OpenLog(), 1);
    WriteFile(FileOf(0), "what others wrote\r\n");
    WriteAndDrain(L"opened again");
    EXPECT_EQ(ReadFile(FileOf(0)).find("\r\n\r\n"), std::string::npos);
}

TEST_F(LoggerDiskTest, WithoutDescriptorsALineIsLostAndCounted) {
    ASSERT_EQ(OpenLog(), 1);
    WriteAndDrain(L"first");
    rlimit whole{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &whole), 0);
    const rlimit none{0, whole.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    WriteAndDrain(L"lost");
    setrlimit(RLIMIT_NOFILE, &whole);
    EXPECT_EQ(logger_.GetLastError(), 4);
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  first\r\n"
                                "[WARN ]  1 messages lost: the file could not be written\r\n"
                                "[INFO ]  kept\r\n");
}

} // namespace
} // namespace halvane
