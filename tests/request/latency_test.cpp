#include "request/LatencyCounts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace halvane {
namespace {

TEST(LatencyCounts, PercentilesAreAtMostAnEighthAboveTheTruth) {
    std::mt19937_64 generator(7);
    for (const double range : {10.0, 1e3, 1e6, 1e9}) {
        LatencyCounts counts;
        std::vector<std::int64_t> times;
        std::uniform_real_distribution<double> power(0, std::log(range));
        for (int n = 0; n < 5000; ++n) {
            times.push_back(static_cast<std::int64_t>(std::exp(power(generator))));
            counts.Add(times.back());
        }
        std::ranges::sort(times);
        EXPECT_EQ(counts.Count(), times.size());
        EXPECT_EQ(counts.Longest(), times.back());
        for (const double share : {0.0, 0.5, 0.9, 0.99, 1.0}) {
            const auto rank = static_cast<std::size_t>(std::max(std::llround(share * 5000), 1LL));
            const std::int64_t truth = times[rank - 1];
            const std::int64_t told = counts.Percentile(share);
            EXPECT_GE(told, truth) << range << " " << share;
            EXPECT_LE(told, std::min(truth + truth / 8, times.back())) << range << " " << share;
        }
    }
    EXPECT_EQ(LatencyCounts().Percentile(0.99), 0);
}

} // namespace
} // namespace halvane
