#include "tests/hold/Gateway.h"

#include "foundation/logger/CStaticLogger.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "paper/Paper.h"
#include "tests/SilentLogger.h"
#include "tests/hold/FakeZmq.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace halvane {
namespace {

std::string program; // where this run's seems to lie

std::deque<std::string> troubleLines; // at Error and Fatal
std::string portLine;

// Lines at Error and Fatal that requests of clients and faults of the platform bring about.
constexpr const char* kMayBeLogged[] = {
    "FATAL parse failed for json data",
    "FATAL [RepWorker]create ",
    "ERROR ReqGetContractList ",
    "ERROR ReqGetInstrumentInfo ",
    "ERROR [RepWorker]",                   // an operation that the platform has failed
    "ERROR OnGeneralServiceUpdate failed", // the platform comes back, and fails again
};

class Notes final : public SilentLogger {
  public:
    void* Delete(unsigned int) override {
        delete this;
        return nullptr;
    }
    void Write(LogLevel level, const wchar_t* text) override {
        if (level >= LL_ERROR)
            troubleLines.push_back(ToUtf8(ILogger_GetLogLevelDesc(level)) + " " + ToUtf8(text));
        if (TextView(text).starts_with(L"RepPort:")) portLine = ToUtf8(text + 8);
        Turns::All().MayPause();
    }
};

// Without commissions, so that money is prices times quantities; with sessions now and then.
constexpr const char* kMarket = R"(,"start":"2026-12-21 08:00:00",
"accounts":[{"brokerId":"PAPER","account":"1000001","balance":10000000},
            {"brokerId":"PAPER","account":"1000002","balance":400000},
            {"brokerId":"PAPER","account":"1000003","balance":9000000,"permissions":["futures"]}],
"stocks":[{"security":"ALFA","exchange":"PAPX","price":120,"tick":0.05,"quoteSize":40,"limit":0.02},
          {"security":"BETU","exchange":"PAPX","price":45.5,"tick":0.01,"quoteSize":9}],
"futures":[{"security":"IDX","exchange":"PAPF","price":20000,"tick":1,"multiplier":50,"quoteSize":6}],
"options":[{"future":"IDX","strikes":[19000,20000],"tick":1,"quoteSize":5}],
"incidents":[)";

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape)
Gateway::Gateway(Random& random, std::int64_t durationMs) {
    TheStaticLogger().Reset(new Notes);
    program = ToUtf8(folder_.TextOf("Halvane64"));
    const std::uint64_t seed = random();
    if (OneIn(random, 3))
        chances_ = {static_cast<std::uint32_t>(Within(random, 20, 400)),
                    static_cast<std::uint32_t>(Within(random, 20, 400)),
                    static_cast<std::uint32_t>(Within(random, 20, 400))};
    WriteFile(folder_ / "market.json", MarketFile(random, durationMs));
    if (OneIn(random, 2)) readyAtMs_ = Within(random, 2000, 40'000);
    auto taken = Within(random, 0, 3); // ports, of each kind
    fake_zmq::fails = [taken](const char* call) mutable {
        return std::string_view(call) == "zmq_bind" && taken-- > 0;
    };
    const auto note = [this](const wchar_t* type, TextView key) {
        told.push_back(ToUtf8(type) + " " + ToUtf8(key));
    };
    dialog_.emplace(loop_, [&, seed](TextView) {
        auto platform = std::make_unique<FaultyPlatform>(MakePaperTradeApi(), seed, note);
        platform_ = platform.get();
        platform->HoldReadyUntil(readyAtMs_);
        return platform;
    });
    const Text market = L"paper:" + folder_.TextOf("market.json");
    const Text system = L"SIM" + DecimalText(static_cast<std::int64_t>(CurrentProcessId()));
    Keep(dialog_->OnInitDialog({market, system, L"key", L"PaperStk,PaperFut,PaperOpt:Options",
                                OneIn(random, 2) ? L"Corvinta" : L""}),
         "the gateway starts");
    host_ = std::jthread([this] { loop_.Run({}, WindowState::Minimised); });
    Turns::All().Sleep(1000);
    Keep(!portLine.empty() && !GetSetting(L"PublishPort").empty(), "the gateway serves");
    port_ = std::stoi(portLine);
}

Gateway::~Gateway() {
    Harm(false);
    loop_.Quit(0);
    host_ = {};
    dialog_.reset();
    TheStaticLogger().Reset(ILogger_Create());
}

std::string Gateway::PublishEndpoint() const {
    return "tcp://127.0.0.1:" + ToUtf8(GetSetting(L"PublishPort"));
}

std::string Gateway::MarketFile(Random& random, std::int64_t durationMs) {
    constexpr const char* kKinds[] = {"disconnect",  "refuseRows",   "delayAnswers", "rejectOrders",
                                      "closeMarket", "resetReports", "rollDay"};
    stepMs_ = static_cast<int>(AnyOf(random, std::initializer_list<int>{10'000, 30'000, 60'000}));
    const char* const sessions = R"(,"sessions":[{"opens":"09:00","closes":"13:30"}])";
    std::string market = R"({"seed":)" + std::to_string(random() >> 1) + R"(,"tickMs":)" +
                         std::to_string(stepMs_) + R"(,"exchanges":[{"exchange":"PAPF"},)" +
                         R"({"exchange":"PAPX")" + (OneIn(random, 4) ? sessions : "") + "}]" +
                         kMarket;
    for (auto left = Within(random, 0, 5); left > 0; --left) {
        const char* const kind = AnyOf(random, kKinds);
        const std::int64_t from = Within(random, 60, std::max<std::int64_t>(durationMs / 1000, 61));
        const std::int64_t length = Within(random, 20, 600);
        const bool moment = kind == kKinds[5] || kind == kKinds[6];
        market += R"({"kind":")" + std::string(kind) + R"(","after":)" + std::to_string(from);
        if (!moment) market += R"(,"for":)" + std::to_string(length);
        if (kind == kKinds[1] || kind == kKinds[3])
            market += R"(,"every":)" + std::to_string(Within(random, 1, 4));
        if (kind == kKinds[2]) market += R"(,"delayMs":)" + std::to_string(Within(random, 1, 9000));
        market += "},";
        if (kind == kKinds[0] || kind == kKinds[1] || kind == kKinds[2])
            troubles_.push_back(
                {kind, from * 1000 - 2 * stepMs_, (from + length) * 1000 + 2 * stepMs_});
    }
    if (market.back() == ',') market.pop_back();
    return market + "]}";
}

bool Gateway::IsCalmSince(std::int64_t ms) const {
    const std::int64_t now = Turns::All().NowMs();
    return std::ranges::none_of(
        troubles_, [&](const Trouble& each) { return now >= each.fromMs && ms <= each.untilMs; });
}

int Gateway::Logged(const std::string& start) {
    return static_cast<int>(std::ranges::count_if(
        troubleLines, [&](const std::string& line) { return line.starts_with(start); }));
}

void Gateway::CheckLog() {
    for (const std::string& line : troubleLines) {
        const bool known = std::ranges::any_of(
            kMayBeLogged, [&](const char* start) { return line.starts_with(start); });
        Keep(known, "nothing goes wrong inside: " + line);
    }
}

} // namespace halvane

// What the platform writes lies beside the program: each run has that for itself, since others run
// at the same time and write it anew.
extern "C" ssize_t readlink(const char* path, char* target, std::size_t size) noexcept {
    static auto* const real = reinterpret_cast<decltype(&readlink)>(dlsym(RTLD_NEXT, "readlink"));
    if (halvane::program.empty() || std::strcmp(path, "/proc/self/exe") != 0)
        return real(path, target, size);
    return static_cast<ssize_t>(halvane::program.copy(target, size));
}
