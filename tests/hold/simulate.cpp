#include "tests/hold/Simulation.h"

#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace halvane {
namespace {

int RunOne(std::uint64_t seed, const char* hours) {
    cpu_set_t here; // threads that take turns only wait for each other on several
    CPU_ZERO(&here);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &here);
    sched_setaffinity(0, sizeof here, &here);
    const ScopedClock clock(Turns::All());
    const auto durationMs = static_cast<std::int64_t>(std::strtod(hours, nullptr) * 3'600'000);
    auto simulation = std::make_unique<Simulation>(seed, durationMs);
    const auto number = static_cast<unsigned long long>(seed);
    try {
        simulation->Run();
    } catch (const std::exception& error) {
        simulation->PrintTrace();
        std::printf("BROKEN: %s\nReplay: ./dev simulate %llu %s\n", error.what(), number, hours);
        std::fflush(stdout);
        std::_Exit(1); // where it stands: nobody would have the next turn
    }
    std::printf("seed %llu: %d requests, digest %016llx\n", number, simulation->Requests(),
                static_cast<unsigned long long>(simulation->Digest()));
    return 0;
}

// What a process of its own says: it begins anew, and its end is not ours.
std::string Say(std::uint64_t seed, const std::string& hours) {
    const std::string command = "exec /proc/" + std::to_string(CurrentProcessId()) + "/exe " +
                                std::to_string(seed) + " " + hours + " 2>&1";
    std::string said;
    FILE* const child = popen(command.c_str(), "r");
    for (int c = 0; child != nullptr && (c = std::fgetc(child)) != EOF;)
        said += static_cast<char>(c);
    if (child == nullptr || pclose(child) == 0) return said;
    return said + "FAILED: ./dev simulate " + std::to_string(seed) + " " + hours + "\n";
}

// One after the other; the first twice, since a seed that is no replay proves nothing.
int RunMany(std::uint64_t first, std::uint64_t last, const std::string& hours) {
    int failed = 0;
    const std::string again = Say(first, hours);
    for (std::uint64_t seed = first; seed <= last; ++seed) {
        const std::string said = Say(seed, hours);
        const bool fails = !said.starts_with("seed ") || (seed == first && said != again);
        failed += fails ? 1 : 0;
        if (fails) std::printf("%s", said.c_str());
        std::fflush(stdout);
    }
    std::printf("%d of %d seeds failed\n", failed, static_cast<int>(last - first + 1));
    return failed == 0 ? 0 : 1;
}

} // namespace
} // namespace halvane

int main(int count, char** arguments) {
    if (count != 3) return std::puts("simulate SEED|FIRST-LAST HOURS"), 2;
    char* end = nullptr;
    const std::uint64_t first = std::strtoull(arguments[1], &end, 10);
    if (*end != '-') return halvane::RunOne(first, arguments[2]);
    return halvane::RunMany(first, std::strtoull(end + 1, nullptr, 10), arguments[2]);
}
