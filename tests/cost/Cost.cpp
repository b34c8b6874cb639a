#include "foundation/logger/Log.h"
#include "foundation/logger/LogFile.h"
#include "foundation/logger/LogFormat.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"
#include "paper/Paper.h"
#include "publish/PublishWorker.h"
#include "request/RepWorker.h"
#include "request/Sessions.h"

#include <valgrind/callgrind.h>

#include <cstdio>
#include <functional>

namespace halvane {
namespace {

constexpr int kWarmUps = 60; // orders, so that a page is full
constexpr int kRounds = 200;
constexpr int kPatienceMs = 10000;
constexpr const wchar_t* kSession = L"0123456789abcdef0123456789abcdef";

// A gateway without sockets: its parts are started with a stop that was already requested, so they
// know the platform, do all the work, and nothing takes what they send. What the figures leave out
// is the library's part.
class Gateway {
  public:
    explicit Gateway(const Text& market) {
        std::stop_source stop;
        stop.request_stop();
        connected_ = api_->Connect(L"paper:" + market, L"COST", L"key", 1) == 1;
        OpenSession(kSession);
        worker_.StartService(*api_, stop.get_token());
        std::ignore = publisher_.StartService(*api_, stop.get_token());
    }

    bool IsConnected() const { return connected_; }
    void Ask(const std::string& request) { worker_.DoWork(request); }
    void Report(TextView id) { publisher_.OnExecutionReport(id); }
    IdentifierPage FirstReport() {
        return api_->QueryPage(kReports, 0, 1).value_or(IdentifierPage());
    }

  private:
    LoginInfoTable sessions_;
    PublishWorker publisher_; // outlives the platform
    std::unique_ptr<TradeApi> api_ = MakePaperTradeApi();
    RepWorker worker_{L"", "secret"};
    bool connected_ = false;
};

// Tells callgrind to write down what this thread has executed in the rounds, under that name. What
// other threads do in the meantime depends on how they are scheduled and does not count.
void Count(const char* name, int rounds, const std::function<void()>& work) {
    for (int n = 0; n < kWarmUps; ++n)
        work();
    CALLGRIND_ZERO_STATS;
    for (int n = 0; n < rounds; ++n)
        work();
    CALLGRIND_DUMP_STATS_AT(name);
    std::printf("%s %d\n", name, rounds);
}

int Run(const Text& market, const Text& log) {
    TheLogger().Open(log.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    Gateway gateway(market);
    if (!gateway.IsConnected()) return 1;
    const std::string ask = R"("SessionKey":")" + ToUtf8(kSession) + R"(")";
    const std::string pong = R"({"Request":"PONG",)" + ask + "}";
    const std::string order = R"({"Request":"NEWORDER",)" + ask +
                              R"(,"Param":{"BrokerID":"PAPER",)"
                              R"("Account":"1000001","Symbol":"OV.S.PAPX.ALFA","Side":"1",)"
                              R"("OrderType":"2","Price":"110.5","OrderQty":"1","UserKey1":"a"}})";
    const std::string page = R"({"Request":"RESTOREREPORT",)" + ask + R"(,"QryIndex":"0"})";
    Count("pong", kRounds, [&] { gateway.Ask(pong); });
    Count("order", kRounds, [&] { gateway.Ask(order); });
    // Orders are listed when the platform's own thread has told of them.
    IdentifierPage reports;
    for (int n = 0; n < kPatienceMs && reports.count != kWarmUps + kRounds; ++n) {
        TheClock().Sleep(1);
        reports = gateway.FirstReport();
    }
    if (reports.count != kWarmUps + kRounds) return 1; // some orders were none
    Count("page", kRounds / 10, [&] { gateway.Ask(page); });
    Count("report", kRounds, [&] { gateway.Report(reports.identifiers.front()); });
    DrainLog();   // whose writer would share the heap with this thread
    LogFile file; // the writer's work, on this thread
    file.SetBase(log + L".lines");
    file.Open();
    const Text line(212, L'x');
    LogLines lines;
    Count("line", 10 * kRounds, [&] { // so short that what happens once would show
        const LineStamp stamp = StampOf(ToLocalTime(TheClock().UnixTimeMs()));
        lines.Add({{stamp.data(), stamp.size()}, HeadOf(1, 3).View(), ToNarrow(line)});
        if (lines.Count() % 100 != 0) return;
        file.Append(lines);
        lines.Clear();
    });
    file.Close();
    ShutDownLog();
    return 0;
}

} // namespace
} // namespace halvane

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const auto text = [&](int n) { return halvane::FromUtf8(arguments[n]).value_or(L""); };
    return halvane::Run(text(1), text(2));
}
