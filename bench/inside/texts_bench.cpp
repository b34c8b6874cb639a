#include "foundation/support/Json.h"
#include "foundation/support/Utf.h"
#include "tradeapi/NumberText.h"

#include <benchmark/benchmark.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <random>

namespace halvane::bench {
namespace {

// Prices of four and five digits in ticks of 0.05, and sums that are not round.
std::array<std::int64_t, 1024> Values() {
    std::mt19937_64 random(1);
    std::array<std::int64_t, 1024> values;
    for (std::size_t n = 0; n < values.size(); ++n)
        values[n] = static_cast<std::int64_t>(n % 2 == 0 ? random() % 2'000'000 * 500'000'000
                                                         : random() % 100'000'000'000'000'000);
    return values;
}

struct Mode {
    const char* name;
    FixedPointMode mode;
    double scale;
    int decimals;
};
constexpr Mode kModes[] = {{"amount", kAmount, 1e6, 6},
                           {"price", kPrice, 1e10, 7},
                           {"cents", kCents, 1e10, 2},
                           {"average price", kAveragePrice, 1e10, 8}};

double Scaled(const Mode& mode, std::int64_t value) {
    if (mode.mode != kCents) return static_cast<double>(value) / mode.scale;
    return std::round(static_cast<double>(value) / 1e8) / 100;
}

template <class Write> void EachValue(benchmark::State& state, Write write) {
    static const auto kValues = Values();
    std::size_t at = 0;
    for ([[maybe_unused]] auto value : state)
        benchmark::DoNotOptimize(write(kValues[++at % kValues.size()]));
}

void Printf(benchmark::State& state, const Mode& mode) {
    char text[64];
    EachValue(state, [&](std::int64_t value) {
        return std::snprintf(text, sizeof text, "%.*lf", mode.decimals, Scaled(mode, value));
    });
}
void ToChars(benchmark::State& state, const Mode& mode) {
    char text[64];
    EachValue(state, [&](std::int64_t value) {
        return std::to_chars(text, text + sizeof text, Scaled(mode, value),
                             std::chars_format::fixed, mode.decimals)
            .ptr;
    });
}
void NumberTexts(benchmark::State& state, const Mode& mode) {
    EachValue(state, [&](std::int64_t value) { return FormatFixedPoint(value, mode.mode); });
}

// What conversions cost at least when all is ASCII: a look at each unit.
template <class To, class From> To UnitByUnit(const From& from) {
    To to(from.size(), 0);
    for (std::size_t n = 0; n < from.size(); ++n) {
        if (static_cast<std::uint32_t>(from[n]) >= 0x80) return {};
        to[n] = static_cast<typename To::value_type>(from[n]);
    }
    return to;
}

template <class Work> void Repeat(benchmark::State& state, const Work& work) {
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(work());
}

std::string RequestOf(std::size_t size) {
    std::string text = R"({"Request":"PONG","SessionKey":"0123456789abcdef0123456789abcdef")";
    text += R"(,"Padding":")";
    return text + std::string(size - text.size() - 2, 'x') + "\"}";
}

bool ParsePlainly(const std::string& text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    JsonDocument document;
    return !document.ParseStream<0, rapidjson::UTF8<>>(stream).HasParseError();
}

bool ParseAsWorkersDo(const std::string& text) {
    JsonDocument document;
    return ParseJson(FromUtf8(text).value_or(L""), document);
}

void Register(const std::string& name, auto run, auto... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), run, arguments...);
}

[[maybe_unused]] const bool textsRegistered = [] {
    for (const Mode& mode : kModes) {
        const std::string work = "number text, " + std::string(mode.name);
        Register(work + "/printf", Printf, mode);
        Register(work + "/to_chars", ToChars, mode);
        Register(work + "/Halvane", NumberTexts, mode);
    }
    const auto pair = [](const std::string& work, auto limit, auto halvane) {
        Register(work + "/limit", [limit](benchmark::State& state) { Repeat(state, limit); });
        Register(work + "/Halvane", [halvane](benchmark::State& state) { Repeat(state, halvane); });
    };
    for (const std::size_t size : {100, 40'000}) {
        const std::string bytes(size, 'x');
        const Text text(size, L'x');
        const std::string units = ", " + std::to_string(size) + " units";
        pair(
            "UTF-8 to text" + units, [bytes] { return UnitByUnit<Text>(bytes); },
            [bytes] { return FromUtf8(bytes); });
        pair(
            "text to UTF-8" + units, [text] { return UnitByUnit<std::string>(text); },
            [text] { return ToUtf8(text); });
    }
    for (const std::size_t size : {200, 300'000}) {
        const std::string text = RequestOf(size);
        pair(
            "parse a request of " + std::to_string(size) + " bytes",
            [text] { return ParsePlainly(text); }, [text] { return ParseAsWorkersDo(text); });
    }
    return true;
}();

} // namespace
} // namespace halvane::bench
