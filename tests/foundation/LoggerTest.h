#pragma once

#include "foundation/logger/CLoggerImpl.h"
#include "foundation/support/Format.h"
#include "foundation/support/Mutex.h"
#include "tests/JumpingClock.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace halvane {

inline constexpr std::uint32_t kDrainMs = 60'000;

// Lets the test's own thread pass; others that ask for the time, as the writer does before it opens
// the file, wait at the gate while it is shut.
class GateClock : public JumpingClock {
  public:
    std::int64_t UnixTimeMs() override {
        if (std::this_thread::get_id() != owner_) {
            MutexLock guard(lock_);
            ++waiting_;
            changed_.notify_all();
            changed_.wait(guard, [this] { return !shut_; });
            --waiting_;
        }
        return JumpingClock::UnixTimeMs();
    }

    void Shut() {
        const MutexLock guard(lock_);
        shut_ = true;
    }
    void Open() {
        const MutexLock guard(lock_);
        shut_ = false;
        changed_.notify_all();
    }
    void AwaitWaiter() {
        MutexLock guard(lock_);
        changed_.wait(guard, [this] { return waiting_ > 0; });
    }

  private:
    const std::thread::id owner_ = std::this_thread::get_id();
    Mutex lock_;
    std::condition_variable_any changed_;
    bool shut_ = false;
    int waiting_ = 0;
};

class LoggerTest : public testing::Test {
  protected:
    int OpenLog(ILogger::LogLevel level = ILogger::LL_INFO) {
        return logger_.Open(folder_.TextOf("logs/test.log").c_str(), level,
                            ILogger::PRINT_FLAG_FILE);
    }

    std::filesystem::path FileOf(int index) {
        const LocalTime day = ToLocalTime(clock_.UnixTimeMs());
        return folder_ / ToUtf8(Format(L"logs/test-%04d%02d%02d-%d.log", int{day.year},
                                       int{day.month}, int{day.day}, index));
    }

    // What the file says, a line each from its level on.
    std::string Lines(const std::filesystem::path& path) {
        EXPECT_TRUE(logger_.Drain(kDrainMs));
        std::istringstream file(ReadFile(path));
        std::string out;
        for (std::string line; std::getline(file, line);)
            out += line.substr(line.find('[')) + "\n";
        return out;
    }

    void WriteAndDrain(const wchar_t* text) {
        logger_.Info_0(text);
        EXPECT_TRUE(logger_.Drain(kDrainMs));
    }

    GateClock clock_;
    ScopedClock scoped_{clock_};
    TempFolder folder_;
    CLoggerImpl logger_{4096};
};

} // namespace halvane
