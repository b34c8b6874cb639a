#include "bench/BatchLogger.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <vector>

namespace halvane::bench {
namespace {

constexpr int kThreads = 4;
constexpr int kLines = 10'000; // of each thread in a round: all find room in the queue
constexpr std::size_t kLineSize = 212;

// In a folder that is empty, so that nobody waits for the disk to write what others left.
std::string FileName(const char* name) {
    const std::filesystem::path folder = ToUtf8(ExecutableFolder()) + "logs";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder / name;
}

// What a line costs its caller is measured for each, and the rest of the round is waited for.
void Lines(benchmark::State& state, const std::function<void()>& line,
           const std::function<void()>& drain) {
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(kThreads);
    for ([[maybe_unused]] auto round : state) {
        std::vector<std::jthread> threads;
        for (std::vector<double>& mine : times) {
            threads.emplace_back([&] {
                for (int n = 0; n < kLines; ++n) {
                    const auto start = Clock::now();
                    line();
                    mine.push_back(static_cast<double>((Clock::now() - start).count()));
                }
            });
        }
        threads.clear();
        drain();
    }
    std::vector<double> all;
    for (const std::vector<double>& mine : times)
        all.insert(all.end(), mine.begin(), mine.end());
    const auto p99 = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 100 * 99);
    std::nth_element(all.begin(), p99, all.end());
    state.counters["p99 ns"] = *p99;
    state.counters["lines/s"] =
        benchmark::Counter(kThreads * kLines, benchmark::Counter::kIsIterationInvariantRate);
}

void Bare(benchmark::State& state) {
    BatchLogger log(FileName("bare.log"));
    const std::string text(kLineSize, 'x');
    Lines(
        state, [&] { log.Line("DoWork:", text); }, [&] { log.Drain(); });
}
BENCHMARK(Bare)->Name("log lines of 212 bytes from four threads/bare")->UseRealTime();

void Halvane(benchmark::State& state) {
    const Text file = FromUtf8(FileName("bench.log")).value_or(L"");
    TheLogger().Open(file.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    const Text text(kLineSize, L'x');
    Lines(
        state, [&] { Log().Info(L"DoWork:%s", text); }, DrainLog);
    ShutDownLog();
}
BENCHMARK(Halvane)->Name("log lines of 212 bytes from four threads/Halvane")->UseRealTime();

void Spdlog(benchmark::State& state) {
    const auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
    const auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(FileName("spd.log"));
    const auto log = std::make_shared<spdlog::async_logger>("bench", sink, pool,
                                                            spdlog::async_overflow_policy::block);
    const std::string text(kLineSize, 'x');
    const auto drain = [&] {
        while (pool->queue_size() > 0)
            TheClock().Sleep(0);
    };
    Lines(
        state, [&] { log->info("DoWork:{}", text); }, drain);
}
BENCHMARK(Spdlog)->Name("log lines of 212 bytes from four threads/spdlog")->UseRealTime();

} // namespace
} // namespace halvane::bench
