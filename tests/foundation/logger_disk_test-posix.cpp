#include "tests/foundation/LoggerTest.h"

#include <algorithm>
#include <csignal>
#include <sys/resource.h>

namespace halvane {
namespace {

TEST_F(LoggerTest, AFullDiskCostsABatchAndNoMore) {
    std::filesystem::create_directories(folder_ / "logs");
    std::filesystem::create_symlink("/dev/full", FileOf(0));
    ASSERT_EQ(OpenLog(), 1);
    WriteAndDrain(L"lost");
    EXPECT_EQ(logger_.GetLastError(), 13);

    std::filesystem::remove(FileOf(0));
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  kept\r\n");
}

TEST_F(LoggerTest, WhatADiskCutsShortTearsNoOtherLine) {
    ASSERT_EQ(OpenLog(), 1);
    constexpr rlim_t kRoom = 1 << 20;
    std::filesystem::resize_file(FileOf(0), kRoom - 50);
    rlimit whole{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &whole), 0);
    const rlimit small{kRoom, whole.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    WriteAndDrain(Text(100, L'x').c_str());
    setrlimit(RLIMIT_FSIZE, &whole);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(logger_.GetLastError(), 13);

    WriteAndDrain(L"next");
    WriteAndDrain(L"and next");
    const std::string end = ReadFile(FileOf(0)).substr(kRoom - 50);
    EXPECT_EQ(std::ranges::count(end, '\n'), 3);
    EXPECT_NE(end.find("xx\r\n"), std::string::npos);
}

} // namespace
} // namespace halvane
