#include "bench/FixedPlatform.h"
#include "foundation/support/Utf.h"
#include "request/RepWorker.h"
#include "request/Sessions.h"
#include "tradeapi/TradeData.h"

#include <benchmark/benchmark.h>

#include <charconv>

namespace halvane::bench {
namespace {

constexpr const wchar_t* kSession = L"0123456789abcdef0123456789abcdef";
constexpr const wchar_t* kAccount = L"PAPER-1000001";

// A worker that knows a platform and has no socket that sends: it was started with a stop that was
// already requested. Its log is closed.
class Worker {
  public:
    Worker() {
        for (const std::int32_t kind : {kPositions, kMargins})
            StoreRowCount(kind, kAccount, kRows);
        SetTradeDataReady();
        OpenSession(kSession);
        std::stop_source stop;
        stop.request_stop();
        worker_.StartService(platform_, stop.get_token());
    }

    // What was read of the platform.
    Reads Ask(const std::string& request) {
        platform_.reads = {};
        worker_.DoWork(request);
        return platform_.reads;
    }

  private:
    LoginInfoTable sessions_;
    FixedPlatform platform_;
    RepWorker worker_{L"", "secret"};
};

void AppendText(std::string& out, TextView text) {
    const std::size_t before = out.size();
    out.resize(before + text.size());
    char* at = out.data() + before;
    for (const wchar_t unit : text) // none of them is to be escaped here
        *at++ = static_cast<char>(unit);
}

template <class Integer> void AppendInteger(std::string& out, Integer value) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendPrice(std::string& out, std::int64_t priceE10) {
    constexpr std::int64_t kScale = 10'000'000;
    const std::int64_t rounded = (priceE10 + 500) / 1000;
    AppendInteger(out, rounded / kScale);
    char decimals[8] = ".";
    std::int64_t rest = rounded % kScale;
    for (int n = 7; n > 0; --n, rest /= 10)
        decimals[n] = static_cast<char>('0' + rest % 10);
    std::string_view shown(decimals, sizeof decimals);
    shown = shown.substr(0, shown.find_last_not_of('0') + 1);
    if (shown.size() > 1) out += shown;
}

// As many members as were read, of the same types, straight from items to bytes.
std::string ByHand(const Reads& reads) {
    Reads counted;
    FixedItem item(counted);
    std::string out = R"({"Reply":"RESTOREREPORT","Success":"OK","Orders":[)";
    const auto write = [&](int members, auto append) {
        for (int n = 0; n < members; ++n) {
            out += R"("FilledQty12":")";
            append(n);
            out += "\",";
        }
    };
    write(reads.texts, [&](int id) { AppendText(out, item.GetText(id)); });
    write(reads.ints, [&](int id) { AppendInteger(out, item.GetInt(id)); });
    write(reads.int64s, [&](int id) { AppendPrice(out, item.GetInt64(id)); });
    write(reads.named, [&](int) { AppendText(out, item.GetNamed(L"RecFillQty")); });
    return out;
}

benchmark::Counter NsPerMember(const Reads& reads) {
    return {reads.All() * 1e-9,
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

void Page(benchmark::State& state, const char* request, bool byHand) {
    static Worker worker;
    const std::string text = R"({"Request":")" + std::string(request) + R"(","SessionKey":")" +
                             ToUtf8(kSession) + R"(","QryIndex":"0","AccountMask":")" +
                             ToUtf8(kAccount) + R"("})";
    const Reads reads = worker.Ask(text);
    if (reads.All() < kRows) return state.SkipWithError("no page");
    for ([[maybe_unused]] auto round : state) {
        if (byHand)
            benchmark::DoNotOptimize(ByHand(reads));
        else
            worker.Ask(text);
    }
    state.counters["ns/member"] = NsPerMember(reads);
}

[[maybe_unused]] const bool pagesRegistered = [] {
    for (const char* request :
         {"RESTOREREPORT", "RESTOREFILLREPORT", "POSITIONS", "MARGINS", "POSITIONTRACKER"}) {
        for (const bool byHand : {true, false}) {
            const auto name =
                "page of " + std::string(request) + (byHand ? "/by hand" : "/Halvane");
            benchmark::RegisterBenchmark(name.c_str(), Page, request, byHand);
        }
    }
    return true;
}();

} // namespace
} // namespace halvane::bench
