#include "publish/PublishWorker.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Event.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "publish/AccountRecord.h"
#include "publish/Publications.h"
#include "publish/ReportDocument.h"
#include "publish/SignalRecord.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeData.h"

#include <algorithm>
#include <random>
#include <tuple>

namespace halvane {
namespace {

constexpr int kFirstPort = 50000;
constexpr int kLastPort = 60000;
constexpr int kPorts = kLastPort - kFirstPort + 1;
constexpr std::size_t kMostRefused = 256;
constexpr std::uint32_t kHeartbeatMs = 20000;

int DrawPort(std::mt19937& generator) {
    const double port = static_cast<double>(generator()) / 4294967296.0 * kPorts + kFirstPort;
    return port >= kLastPort ? kLastPort : static_cast<int>(port);
}

template <class Work> void LogWhatFails(const wchar_t* work, Work run) {
    try {
        run();
    } catch (const std::exception& error) {
        Log().Error(L"[PublishWorker]%s failed: %s", work, ReasonOf(error));
    }
}

// The border of every event handler: nothing goes back to the platform but the return.
template <class Work> void HandleEvent(const wchar_t* event, Work work) {
    NotePlatformEvent();
    LogWhatFails(event, work);
}

} // namespace

PublishWorker::~PublishWorker() = default;

bool PublishWorker::StartService(TradeApi& tradeApi, std::stop_token stop) {
    context_ = MakeZmqContext();
    Log().Info(L"[PublishWorker]StartService()");
    tradeApi_ = &tradeApi;
    GuardAddresses();
    if (!BindToFreePort(stop)) return false;
    watch_.emplace(context_.get(), socket_.get(), [](int refused) {
        Log().Warn(L"[PublishWorker]no descriptors left: %d connections refused", refused);
    });
    if (!tradeApi.Advise(static_cast<TradeEvents&>(*this))) {
        Log().Fatal(L"Create event failed");
        return false;
    }
    Log().Info(L"[PublishWorker]working...");
    heartbeat_ = std::jthread([this](std::stop_token ended) { SendHeartbeats(ended); });
    return true;
}

void PublishWorker::GuardAddresses() {
    guard_.emplace(GetSetting(L"AllowAtPlainPorts"), GetSetting(L"MyIP"), [](const Text& address) {
        Log().Warn(L"[PublishWorker]a connection from %s was not let in", address);
    });
    if (!guard_->IsOn()) return;
    zap_.emplace(context_.get(),
                 [this](const ZapRequest& request) { return guard_->Judge(request); });
}

bool PublishWorker::BindToFreePort(std::stop_token stop) {
    std::mt19937 generator(std::random_device{}());
    // Each socket costs a descriptor, and the library does not survive having none.
    const std::size_t mostRefused = std::min(kMostRefused, OpenFileLimit() / 4);
    for (int refused = 0; !stop.stop_requested();) {
        const int port = DrawPort(generator);
        const Text ip = GetSetting(L"MyIP");
        // A socket whose bind failed is left open and replaced; once there are many of them the
        // last one is tried again.
        if (refused_.size() < mostRefused) {
            if (socket_ != nullptr) refused_.push_back(std::move(socket_));
            socket_.reset(zmq_socket(context_.get(), ZMQ_PUB));
            if (socket_ != nullptr) guard_->Guard(socket_.get());
        }
        if (socket_ != nullptr && BindTcp(socket_.get(), ip, port)) {
            SetSetting(L"PublishPort", DecimalText(port));
            Log().Info(L"PublishPort:%d", port);
            window_.Open(context_, ip, port);
            return true;
        }
        if (++refused % kPorts == 0)
            Log().Warn(L"[PublishWorker]no free port found in %d tries on %s", refused, ip);
        TheClock().Sleep(1, stop);
    }
    return false;
}

void PublishWorker::SendHeartbeats(std::stop_token stop) {
    do {
        LogWhatFails(L"heartbeat", [this] { PublishEmpty(L"PING", true, Taps::None); });
    } while (TheClock().Sleep(kHeartbeatMs, stop));
}

void PublishWorker::SendData(std::string text, bool log) { Send(std::move(text), log, Taps::All); }

void PublishWorker::Send(std::string text, bool log, Taps taps) {
    const MutexLock guard(sendLock_);
    if (log) Log().InfoBytes("[PublishWorker]SendData:", text);
    ++sent_;
    CountPublication(text);
    if (tap_ && taps == Taps::All) tap_(text);
    SendWithTrailingZero(socket_.get(), std::move(text));
    window_.CountSent();
}

void PublishWorker::PublishEmpty(const wchar_t* dataType, bool log, Taps taps) {
    JsonWriter document;
    document.Member(L"DataType", dataType);
    Send(document.Finish(), log, taps);
}

void PublishWorker::OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) {
    HandleEvent(L"OnAccountUpdate", [&] {
        if (value == -100 || value == -200) return; // the platform's marks for no news
        switch (kind) {
        case kAccounts: PublishAccounts(kind, value); break;
        case kPositions:
        case kDetailPositions:
        case kMargins:
        case kCombinationOrders: StoreRowCount(kind, key, value); break;
        case kTradeDataLoaded: SetTradeDataReady(); break;
        default: break;
        }
    });
}

void PublishWorker::PublishAccounts(std::int32_t kind, std::int32_t count) {
    Log().Info(L"[PublishWorker]ProcessAccountData(%d, %d)", kind, count);
    const auto item = tradeApi_->CreateItem(ItemClass::Account);
    if (item == nullptr) {
        Log().Fatal(L"[PublishWorker]create %s failed", ProgIdOf(ItemClass::Account));
        return;
    }
    StoreRowCount(kAccounts, L"", count);
    JsonWriter document;
    document.Member(L"DataType", L"ACCOUNTS");
    document.BeginArray(L"Accounts");
    // A list that breaks off is published as far as it was read; clients can ask for the whole.
    std::ignore = WriteAccounts(document, Form::Published, *tradeApi_, *item);
    document.EndArray();
    SendData(document.Finish(), true);
}

void PublishWorker::OnExecutionReport(TextView reportId) {
    HandleEvent(L"OnExecutionReport", [&] {
        Log().Info(L"[PublishWorker]OnExecutionReport(%s)", reportId);
        PublishReport(ItemClass::ExecutionReport, reportId);
    });
}

void PublishWorker::OnFilledReport(TextView reportId) {
    HandleEvent(L"OnFilledReport", [&] {
        Log().Info(L"[PublishWorker]OnFilledReport(%s)", reportId);
        PublishReport(ItemClass::Fill, reportId);
    });
}

// A report that the platform does not know is published too, as a row without values: clients learn
// that something happened, and "ReportID":"" tells them that they cannot know what.
void PublishWorker::PublishReport(ItemClass itemClass, TextView reportId) {
    DescribeReport(*tradeApi_, itemClass, reportId,
                   [this](std::string json) { SendData(std::move(json), true); });
}

void PublishWorker::OnReportReset() {
    HandleEvent(L"OnReportReset", [this] {
        Log().Info(L"[PublishWorker]OnReportReset");
        PublishEmpty(L"REPORTRESET", true);
    });
}

void PublishWorker::OnPositionTracker() {
    HandleEvent(L"OnPositionTracker", [this] { PublishEmpty(L"POSITIONTRACKER", false); });
}

void PublishWorker::OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) {
    if (kind != 2 || subKind != 5) return; // the host takes the others
    HandleEvent(L"OnCommandMsg", [&] {
        JsonWriter document;
        document.Member(L"DataType", L"SYMBOLCLEAR");
        document.BeginObject(L"Data");
        document.Member(L"Symbol", text);
        document.EndObject();
        SendData(document.Finish(), true);
        Log().Info(L"SYMBOLCLEAR. Symbol=%s.", text);
    });
}

void PublishWorker::OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                               const std::optional<Text>& data) {
    HandleEvent(L"OnSetTopic", [&] {
        Log().Info(L"OnSetTopic() Topic:%s, lParam:%d, strParam:%s", topic, lParam, strParam);
        if (topic == L"Corvinta")
            PublishSignal(strParam);
        else if (topic == L"VANTOR.RETURN")
            TakeRecoveredFile(lParam, strParam, data.value_or(L""));
    });
}

void PublishWorker::PublishSignal(TextView signal) {
    JsonWriter document;
    document.Member(L"DataType", L"CorvintaSignal");
    document.BeginObject(L"Data");
    WriteSignal(document, signal);
    document.EndObject();
    SendData(document.Finish(), true);
}

// The answer to a request that waits for a contract list of some date.
void PublishWorker::TakeRecoveredFile(std::int32_t date, TextView alias, const Text& file) {
    Log().Info(L"ProcessQRMRecover. lParam=%d, strParam=%s, strFile=%s.", date, alias, file);
    const Text key = Format(L"%s_%d", alias, date);
    SetSetting(key, file); // before the signal: whoever wakes reads it
    if (auto event = NamedEvent::Open(key)) event->Signal();
}

} // namespace halvane
