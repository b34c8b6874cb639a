#include "foundation/logger/CStaticLogger.h"
#include "foundation/logger/Log.h"
#include "foundation/logger/LogErrors.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "tests/SilentLogger.h"
#include "tests/foundation/LoggerTest.h"
#include "tests/foundation/ScarceMemory.h"

#include "foundation/support/Format.h"
#include "foundation/support/Strings.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace halvane {
namespace {

constexpr std::int64_t kLargest = 104'857'600;

TEST(LogFormat, LineHasItsColumns) {
    const auto start = [](const LocalTime& time, std::uint32_t threadId, int level) {
        const LineStamp stamp = StampOf(time);
        return std::string(stamp.begin(), stamp.end()).append(HeadOf(threadId, level).View());
    };
    EXPECT_EQ(start({2026, 11, 0, 15, 9, 30, 5, 123}, 4312, 3), "09:30:05.123   4312  [INFO ]  ");
    EXPECT_EQ(start({}, 1234567, 7), "00:00:00.000 1234567  [-----]  ");
    EXPECT_EQ(start({}, 4294967295, 6), "00:00:00.000     -1  [FATAL]  ");
}

TEST(LogFormat, RecordHasItsSize) {
    EXPECT_EQ(NewLogMsg(ILogger::LL_INFO, L"[RepWorker]working...")->size, 30u + 2 * 22);
    EXPECT_EQ(NewLogMsg(ILogger::LL_INFO, nullptr)->size, 32u);
}

TEST(LogFormat, ControlsAndLineEndsAreEscaped) {
    EXPECT_EQ(WithoutControls(L"a\t\x1F ~\x7F\x9F\xA0\x2027\x2028\x2029\x202A"),
              L"a\\u0009\\u001f ~\\u007f\\u009f\xA0\x2027\\u2028\\u2029\x202A");
}

TEST(LogLines, ABurstsMemoryIsGivenBack) {
    for (const std::size_t size : {std::size_t{1}, LogLines::kBlock + 1}) {
        LogLines lines;
        for (std::size_t n = 0; n <= 2 * LogLines::kBlock; n += size)
            lines.Add({std::string(size, 'x')});
        lines.Clear();
        EXPECT_EQ(lines.Count(), 0u);
        EXPECT_EQ(lines.Blocks().size(), size == 1 ? 1u : 0u) << "one of the usual size is kept";
    }
}

TEST(LogErrors, SystemErrorsBecomeCodes) {
    const std::pair<std::uint32_t, std::int32_t> cases[] = {
        {0, 0},   {2, 2},   {3, 3},    {4, 4},   {5, 5},    {6, 2},   {11, 6},  {16, 7},
        {18, 2},  {19, 5},  {21, 10},  {25, 9},  {28, 1},   {31, 1},  {32, 11}, {33, 12},
        {38, 14}, {39, 13}, {62, 8},   {87, 1},  {112, 13}, {124, 3}, {126, 1}, {132, 9},
        {206, 3}, {267, 3}, {996, 10}, {998, 1}, {999, 5}};
    for (const auto& [error, code] : cases)
        EXPECT_EQ(ToLogError(error), code) << error;
}

TEST(LogErrors, TextsEndInTheFixedEnglish) {
    EXPECT_STREQ(ILogger_GetErrorDesc(0), L"No error occurred");
    EXPECT_TRUE(TextView(ILogger_GetErrorDesc(13)).ends_with(L" -> The disk is full"));
    EXPECT_TRUE(TextView(ILogger_GetErrorDesc(16)).find(L" (ll) -> ") != TextView::npos);
    EXPECT_STREQ(ILogger_GetErrorDesc(-1), ILogger_GetErrorDesc(19));
    EXPECT_STREQ(ILogger_GetLogLevelDesc(ILogger::LL_NONE), L"NONE");
}

TEST_F(LoggerTest, OpenAndCloseTellWhatIsNotAllowed) {
    EXPECT_EQ(OpenLog(ILogger::LL_NONE), 0);
    EXPECT_EQ(logger_.GetLastError(), 16);
    EXPECT_EQ(logger_.Open(nullptr, ILogger::LL_INFO, 4), 0);
    EXPECT_EQ(logger_.GetLastError(), 17);
    logger_.Info(L"lost");
    EXPECT_EQ(logger_.GetLastError(), 15);
    EXPECT_EQ(logger_.Close(), 0);

    EXPECT_EQ(OpenLog(), 1);
    EXPECT_EQ(logger_.GetLastError(), 0);
    EXPECT_EQ(OpenLog(), 0);
    EXPECT_EQ(logger_.GetLastError(), 15);
    auto expected = folder_ / "logs/test.log";
    EXPECT_EQ(Text(logger_.GetFileName()), FromPath(expected.make_preferred()));

    EXPECT_EQ(logger_.Close(), 1);
    EXPECT_EQ(logger_.GetLogLevel(), ILogger::LL_NONE);
    EXPECT_EQ(logger_.GetPrintFlag(), ILogger::DEFAULT_PRINT_FLAG);
    EXPECT_STREQ(logger_.GetFileName(), L"");
    EXPECT_EQ(OpenLog(), 1) << "closed is not the end";
}

TEST_F(LoggerTest, NoNameIsTheProgramsOwn) {
    ASSERT_EQ(logger_.Open(L"", ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE), 1);
    EXPECT_EQ(Text(logger_.GetFileName()), LogFile::DefaultPath());
    EXPECT_TRUE(LogFile::DefaultPath().starts_with(ExecutableFolder() + L"logs" + kPathSeparator));
    logger_.Close();
    logger_.TryFatal(L"to nobody, which is no error");
    EXPECT_EQ(logger_.GetLastError(), 0);
}

TEST_F(LoggerTest, WhoLogsWithoutMemoryLosesTheLineAlone) {
    ASSERT_EQ(OpenLog(), 1);
    const std::runtime_error error("a reason that is longer than short texts are");
    const std::string bytes = error.what();
    const Text text = ReasonOf(error);
    allocationsLeft = 0;
    const bool silent = ReasonOf(error).empty() && ILogger_Create() == nullptr;
    logger_.Info(L"%s", text.c_str());
    const int formatting = logger_.GetLastError();
    logger_.WriteBytes(ILogger::LL_INFO, {}, bytes);
    const int queueing = logger_.GetLastError();
    logger_.Info_0(text.c_str());
    allocationsLeft = kUnlimited;
    EXPECT_TRUE(silent);
    EXPECT_EQ(formatting, 0);
    EXPECT_EQ(queueing, 1);
    EXPECT_EQ(logger_.GetLastError(), 1);
    logger_.Write(ILogger::LL_INFO, nullptr);
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  \r\n[INFO ]  kept\r\n");
}

TEST_F(LoggerTest, EveryOperationWritesAtItsLevelAndInOrder) {
    struct Row {
        ILogger::LogLevel level;
        const char* start;
        void (ILogger::*text)(const wchar_t*);
        void (ILogger::*form)(const wchar_t*, ...);
        void (ILogger::*tried)(const wchar_t*, ...);
    };
    const Row rows[] = {
        {ILogger::LL_DEBUG, "[DEBUG]  ", &ILogger::Debug_0, &ILogger::Debug, &ILogger::TryDebug},
        {ILogger::LL_TRACE, "[TRACE]  ", &ILogger::Trace_0, &ILogger::Trace, &ILogger::TryTrace},
        {ILogger::LL_INFO, "[INFO ]  ", &ILogger::Info_0, &ILogger::Info, &ILogger::TryInfo},
        {ILogger::LL_WARN, "[WARN ]  ", &ILogger::Warn_0, &ILogger::Warn, &ILogger::TryWarn},
        {ILogger::LL_ERROR, "[ERROR]  ", &ILogger::Error_0, &ILogger::Error, &ILogger::TryError},
        {ILogger::LL_FATAL, "[FATAL]  ", &ILogger::Fatal_0, &ILogger::Fatal, &ILogger::TryFatal},
    };
    std::string expected;
    for (const Row& open : rows) {
        ASSERT_EQ(OpenLog(open.level), 1);
        for (const Row& row : rows) {
            (logger_.*row.text)(L"100%s");
            (logger_.*row.form)(L"%s %c", L"\xE4", L'x');
            (logger_.*row.tried)(L"%lld", 2LL);
            logger_.Log(row.level, L"");
            logger_.TryLog(row.level, L"%d", 1);
            EXPECT_TRUE(logger_.Drain(kDrainMs)); // the queue of this one is short
            if (row.level < open.level) continue;
            for (const wchar_t* line : {L"100%s", L"\xE4 x", L"2", L"", L"1"})
                expected += std::string(row.start) + ToNarrow(line) + "\r\n";
        }
        logger_.Close();
    }
    EXPECT_EQ(Lines(FileOf(0)), expected);
}

TEST_F(LoggerTest, ScreenAloneWritesNoFile) {
    const Text name = folder_.TextOf("logs/test.log");
    ASSERT_EQ(logger_.Open(name.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_SCREEN), 1);
    const auto window = reinterpret_cast<HWND__*>(std::uintptr_t{4}); // nobody's
    logger_.SetWindow(window);
    WriteAndDrain(L"nobody sees it");
    logger_.WriteBytes(ILogger::LL_INFO, "nor ", "this");
    for (const Text large(2000, L'x'); logger_.Missing() == 0;) // dropped, which is told there, too
        logger_.Info_0(large.c_str());
    EXPECT_TRUE(logger_.Drain(kDrainMs));
    EXPECT_EQ(logger_.GetLastError(), 0);
    EXPECT_EQ(logger_.GetWindow(), window);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "logs"));
}

TEST_F(LoggerTest, MidnightStartsANewFileWithNumberZero) {
    const LocalTime now = ToLocalTime(clock_.UnixTimeMs());
    const std::int64_t second = now.hour * 3600 + now.minute * 60 + now.second;
    clock_.SetUnixTimeMs(clock_.UnixTimeMs() + (86'399 - second) * 1000);
    ASSERT_EQ(OpenLog(), 1);
    std::filesystem::resize_file(FileOf(0), kLargest + 1);
    WriteAndDrain(L"late");
    const auto late = FileOf(1);
    clock_.Advance(1000);
    const auto early = FileOf(0);
    WriteAndDrain(L"early");
    EXPECT_EQ(Lines(late), "[INFO ]  late\r\n");
    EXPECT_EQ(Lines(early), "[INFO ]  early\r\n");
}

TEST_F(LoggerTest, AFileIsFullPastAHundredMebibytes) {
    ASSERT_EQ(OpenLog(), 1);
    std::filesystem::resize_file(FileOf(0), kLargest);
    WriteAndDrain(L"still in the first");
    EXPECT_GT(std::filesystem::file_size(FileOf(0)), kLargest);
    EXPECT_FALSE(std::filesystem::exists(FileOf(1)));

    WriteAndDrain(L"second");
    EXPECT_EQ(Lines(FileOf(1)), "[INFO ]  second\r\n");
    std::filesystem::resize_file(FileOf(1), kLargest + 1);
    WriteFile(FileOf(2), "");
    std::filesystem::resize_file(FileOf(2), kLargest + 1);
    WriteAndDrain(L"fourth");
    EXPECT_EQ(Lines(FileOf(3)), "[INFO ]  fourth\r\n");
}

TEST_F(LoggerTest, AFolderThatGoesMissingIsMadeAgain) {
    ASSERT_EQ(OpenLog(), 1);
    std::filesystem::remove_all(folder_ / "logs");
    WriteAndDrain(L"back");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  back\r\n");
}

TEST_F(LoggerTest, OldFilesOfItsOwnGoAndNoOthers) {
    const std::pair<const char*, bool> files[] = {
        {"test-20200101-0.log", false},  {"test-20200101-123.log", false},
        {"test-20991231-0.log", true},   {"test-20200101-.log", true},
        {"test-20200101-x.log", true},   {"test-20200101_0.log", true},
        {"test_20200101-0.log", true},   {"test-2020x101-0.log", true},
        {"test-20201301-0.log", true},   {"test-20200101-0.txt", true},
        {"other-20200101-0.log", true},  {"test.log", true},
        {"a-test-20200101-0.log", true},
    };
    ASSERT_EQ(OpenLog(), 1);
    for (const auto& [name, stays] : files)
        WriteFile(folder_ / "logs" / name, "");
    logger_.SetOptions(false, 2);
    WriteAndDrain(L"today's");
    for (const auto& [name, stays] : files)
        EXPECT_EQ(std::filesystem::exists(folder_ / "logs" / name), stays) << name;
    logger_.SetOptions(false, 3);
    std::filesystem::remove_all(folder_ / "logs");
    WriteAndDrain(L"there is nothing to look through");
    EXPECT_TRUE(std::filesystem::exists(FileOf(0)));
}

TEST_F(LoggerTest, ABadFolderFailsOpenAndCostsABatchLater) {
    WriteFile(folder_ / "logs", "a file in the way");
    EXPECT_EQ(OpenLog(), 0);
    EXPECT_EQ(logger_.GetLastError(), 3);
    EXPECT_EQ(logger_.IsOpen(), 0);

    std::filesystem::remove(folder_ / "logs");
    ASSERT_EQ(OpenLog(), 1);
    std::filesystem::remove_all(folder_ / "logs");
    WriteFile(folder_ / "logs", "again in the way");
    WriteAndDrain(L"lost");
    EXPECT_EQ(logger_.GetLastError(), 3);

    std::filesystem::remove(folder_ / "logs");
    WriteAndDrain(L"kept");
    EXPECT_EQ(Lines(FileOf(0)), "[WARN ]  1 messages lost: the file could not be written\r\n"
                                "[INFO ]  kept\r\n");
}

TEST_F(LoggerTest, AnOpenThatFindsNoMemoryLeavesItClosed) {
    const Text name = folder_.TextOf("logs/test.log");
    std::filesystem::create_directory(folder_ / "logs"); // so that every try does the same
    int failures = 0;
    for (;; ++failures) {
        allocationsLeft = failures;
        const int opened = logger_.Open(name.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
        allocationsLeft = kUnlimited;
        if (opened != 0) break;
        ASSERT_NE(logger_.GetLastError(), 0);
        ASSERT_EQ(logger_.GetLogLevel(), ILogger::LL_NONE);
        ASSERT_EQ(logger_.IsOpen(), 0);
    }
    EXPECT_GT(failures, 3);
    WriteAndDrain(L"open");
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  open\r\n");
}

TEST_F(LoggerTest, AFailedOpenLeavesNoNameBehind) {
    WriteFile(folder_ / "blocked", "");
    EXPECT_EQ(logger_.Open(folder_.TextOf("blocked/a.log").c_str(), ILogger::LL_INFO, 1), 0);
    ASSERT_EQ(OpenLog(), 1);
    EXPECT_TRUE(std::filesystem::exists(FileOf(0)));
}

TEST_F(LoggerTest, DrainKeepsWhatIsQueuedAndCloseDropsIt) {
    ASSERT_EQ(OpenLog(), 1);
    clock_.Shut();
    logger_.Info_0(L"with the writer");
    clock_.AwaitWaiter();
    logger_.Info_0(L"queued");
    EXPECT_FALSE(logger_.Drain(0));
    clock_.Open();
    EXPECT_TRUE(logger_.Drain(kDrainMs));

    clock_.Shut();
    logger_.Info_0(L"the last");
    clock_.AwaitWaiter();
    logger_.Info_0(L"dropped");
    std::jthread closer([this] { logger_.Close(); });
    while (logger_.GetLogLevel() != ILogger::LL_NONE)
        std::this_thread::yield();
    logger_.Info_0(L"too late");
    EXPECT_FALSE(logger_.Drain(kDrainMs)) << "nor does anybody wait for it";
    clock_.Open();
    closer.join();
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  with the writer\r\n[INFO ]  queued\r\n"
                                "[INFO ]  the last\r\n");
}

TEST_F(LoggerTest, WhatDoesNotFitIsDroppedAndSaidOnce) {
    ASSERT_EQ(OpenLog(), 1);
    clock_.Shut();
    logger_.Info_0(L"with the writer");
    clock_.AwaitWaiter();
    const Text large(2000, L'x'); // two of them exceed the limit of this logger
    for (int i = 0; i < 4; ++i)
        logger_.Info_0(large.c_str());
    logger_.Info_0(L"small enough");
    clock_.Open();
    EXPECT_TRUE(logger_.Drain(kDrainMs));
    for (int i = 0; i < 3; ++i)
        WriteAndDrain(large.c_str()); // what was written makes room again

    const std::string kept = "[INFO ]  " + ToUtf8(large) + "\r\n";
    EXPECT_EQ(Lines(FileOf(0)), "[INFO ]  with the writer\r\n" + kept +
                                    "[INFO ]  small enough\r\n" +
                                    "[WARN ]  3 messages dropped: the log could not keep up\r\n" +
                                    kept + kept + kept);
    EXPECT_EQ(logger_.Missing(), 3);
}

TEST_F(LoggerTest, FourThreadsLoseAndTearNoLine) {
    constexpr int kThreads = 4, kLines = 10'000;
    CLoggerImpl logger;
    const Text name = folder_.TextOf("logs/test.log");
    ASSERT_EQ(logger.Open(name.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE), 1);
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&logger, t] {
                for (int i = 0; i < kLines; ++i)
                    logger.Info(L"%d:%d:%s", t, i, L"some text");
            });
    }
    ASSERT_TRUE(logger.Drain(kDrainMs));

    int next[kThreads] = {};
    const Text text = *FromUtf8(ReadFile(FileOf(0)));
    for (const TextView line : Split(text, L'\n')) {
        if (line.empty()) continue;
        const TextView message = line.substr(std::min(line.find(L']') + 3, line.size()));
        const int t = message.front() - L'0';
        ASSERT_TRUE(t >= 0 && t < kThreads) << ToUtf8(line);
        ASSERT_EQ(message, Format(L"%d:%d:some text\r", t, next[t]));
        ++next[t];
    }
    for (const int count : next)
        EXPECT_EQ(count, kLines);
}

TEST(StaticLogger, OwnsWhatItIsGiven) {
    CStaticLogger none(0);
    EXPECT_FALSE(none.IsValid());
    none.Reset(ILogger_Create());
    EXPECT_TRUE(none.IsValid());
    none.Reset(none.Get());
    EXPECT_EQ(none->GetLogLevel(), ILogger::LL_NONE);
    none.Reset(nullptr);
    ILogger_Destroy(nullptr);

    alignas(CLoggerImpl) std::byte room[sizeof(CLoggerImpl)]; // it may lie in a guest's own
    EXPECT_EQ((new (room) CLoggerImpl)->Delete(0), room);

    const CStaticLogger one;
    EXPECT_TRUE(one.IsValid());
    EXPECT_EQ(static_cast<ILogger*>(one), one.Get());
}

TEST(Log, ShutDownClosesWhateverIsInItsPlace) {
    struct : SilentLogger {
        int closed = 0;
        int Close() override { return ++closed; }
        void* Delete(unsigned int) override { return this; }
    } other;
    TheStaticLogger().Reset(&other);
    ShutDownLog();
    TheStaticLogger().Reset(ILogger_Create());
    EXPECT_EQ(other.closed, 1);
}

TEST(Log, ShutDownWritesWhatIsQueued) {
    JumpingClock clock;
    const ScopedClock scoped(clock);
    const TempFolder folder;
    ASSERT_EQ(TheLogger().Open(folder.TextOf("x.log").c_str(), ILogger::LL_INFO, 1), 1);
    for (int i = 0; i < 100; ++i)
        Log().Info(L"%d", i);
    ShutDownLog();
    EXPECT_EQ(TheLogger().IsOpen(), 0);
    const LocalTime day = ToLocalTime(clock.UnixTimeMs());
    const Text name = Format(L"x-%04d%02d%02d-0.log", int{day.year}, int{day.month}, int{day.day});
    EXPECT_TRUE(ReadFile(folder / ToUtf8(name)).ends_with("[INFO ]  99\r\n"));
}

} // namespace
} // namespace halvane
