#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <dlfcn.h>
#include <thread>

namespace halvane {
namespace {

// All that the guest has logged, once its last line is there.
std::string GuestLog(const TempFolder& folder) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (std::string log;;) {
        for (const auto& file : std::filesystem::directory_iterator(folder.Path()))
            if (file.path().extension() == ".log") log = ReadFile(file.path());
        if (log.ends_with("the end\r\n") || std::chrono::steady_clock::now() > end) return log;
        std::this_thread::yield();
    }
}

TEST(Guest, UsesWhatItsHostExports) {
    const TempFolder folder;
    std::filesystem::current_path(folder.Path());
    void* const guest = dlopen(GUEST, RTLD_NOW);
    ASSERT_NE(guest, nullptr) << dlerror();
    const auto report = reinterpret_cast<const wchar_t* (*)()>(dlsym(guest, "GuestReport"));
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(ToUtf8(report()), "1WARN fine\nvalue-5 sessions 0\nguest-folder,a,b,\n"
                                "GuestNews=hello");
    EXPECT_NE(GuestLog(folder).find("[INFO ]  the guest logs number 7\r\n"), std::string::npos);
    std::filesystem::current_path("/");
}

} // namespace
} // namespace halvane
