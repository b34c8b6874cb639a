#pragma once

#include "paper/market/MarketPlan.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace halvane::paper {

// A market as it was read, or what is wrong with its file.
struct MarketReading {
    std::optional<MarketPlan> plan;
    std::vector<Text> mistakes; // "line 12: stocks[3].tick: ..."; none when there is a plan
};

// Reads a market file: JSON in UTF-8, as docs/paper.md describes it. Everything in it is checked,
// so that a plan makes a market; all mistakes are told at once, up to 50. `now` is when the market
// starts, unless the file says so.
MarketReading ReadMarketFile(const std::filesystem::path& path, LocalMs now);

// The same of a text.
MarketReading ReadMarketText(const std::string& utf8, LocalMs now);

} // namespace halvane::paper
