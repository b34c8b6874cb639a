#include "app/CHalvaneDlg.h"

#include "app/CommandLine.h"
#include "app/HostLoop.h"
#include "app/Options.h"
#include "app/PlatformChoice.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "request/RepWorker.h"
#include "request/Supervision.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

constexpr std::int32_t kHostMode = 0;
constexpr std::int32_t kConnectMode = 1;

// Configs\ZMQ.ini beside the executable; without it only this machine is served.
Text ReadBindAddress() {
    const Text path = ExecutableFolder() + L"Configs" + kPathSeparator + L"ZMQ.ini";
    const Text ip = ReadIniText(path, L"ZMQ", L"IP", L"error");
    return ip == L"error" ? L"127.0.0.1" : ip;
}

// What is told by the operation STATUS, where it is wanted.
void PrepareStatus(const Text& hostAddress) {
    SetSetting(L"StartedMs", DecimalText(TheClock().UnixTimeMs()));
    SetSetting(L"Paper", IsPaper(hostAddress) ? L"1" : L"0");
}

void LogFailure(const wchar_t* work, const std::exception& error) {
    Log().Error(L"%s failed: %s", work, ReasonOf(error));
}

// The border of what the platform calls, and of what is done for it later.
template <class Work> void HandleEvent(const wchar_t* event, Work work) {
    try {
        work(event);
    } catch (const std::exception& error) {
        LogFailure(event, error);
    }
}

} // namespace

void LogWhereHelpIs() {
    Log().Info(
        L"HalvaneDoctor beside this program tells what is wrong: give it the same arguments");
}

CHalvaneDlg::CHalvaneDlg(HostLoop& loop, TradeApiMaker makeTradeApi)
    : loop_(loop), makeTradeApi_(std::move(makeTradeApi)) {}

bool CHalvaneDlg::OnInitDialog(const std::vector<Text>& arguments) {
    Log().Info(L"exe version : %s", FileVersion());
    if (!ParseCommandLine(arguments)) {
        Log().Fatal(L"Authentication failed!!");
        return false;
    }
    ReadOptions();
    access_ = ReadAccessConfig();
    TellOfBadAddresses(access_);
    SetSetting(L"AllowAtPlainPorts", access_.allowAtPlainPorts);
    if (auto guard = InstanceGuard::Take(GetSetting(L"SystemName"))) {
        instance_.emplace(*std::move(guard));
    } else {
        Log().Fatal(L"CheckInstance failed!!");
        return false;
    }
    tradeApi_ = makeTradeApi_(GetSetting(L"HostAddress"));
    if (tradeApi_ == nullptr) {
        Log().Fatal(L"Create Ovaro.TradeAPI.1 failed");
        return false;
    }
    if (!tradeApi_->Advise(static_cast<HostEvents&>(*this))) {
        Log().Fatal(L"Create event failed");
        return false;
    }
    PrepareStatus(GetSetting(L"HostAddress"));
    SetSetting(L"MyIP", ReadBindAddress());
    Log().Info(L"MyIP:%s", GetSetting(L"MyIP"));
    feed_.Open(publishWorker_, GetSetting(L"MyIP"));
    loginInfo_.emplace();
    if (!Connect()) return false;
    SubscribeTopics();
    supervision_ = std::jthread(ExecuteCheckPingTime);
    return true;
}

bool CHalvaneDlg::Connect() {
    std::int32_t result = 0;
    try {
        tradeApi_->SetMode(kHostMode);
        result = tradeApi_->Connect(GetSetting(L"HostAddress"), GetSetting(L"SystemName"),
                                    GetSetting(L"ServiceKey"), kConnectMode);
    } catch (const std::exception& error) {
        LogFailure(L"connect", error);
    }
    if (result < 1) Log().Fatal(L"failed to connect to Ovaro, result:%d", result);
    connected_ = result >= 1;
    SetSetting(L"Connected", connected_ ? L"1" : L"0");
    return connected_;
}

void CHalvaneDlg::SubscribeTopics() {
    const Text topics = GetSetting(L"SubTopic");
    for (const TextView topic : Split(topics, L'|')) {
        if (topic.empty()) continue;
        Log().Info(L"SubTopic:%s", topic);
        try {
            tradeApi_->SubscribeTopic(topic);
        } catch (const std::exception& error) {
            LogFailure(L"SubTopic", error);
        }
    }
}

void CHalvaneDlg::LetGoOfPlatform() {
    publishing_ = {};
    supervision_ = {};
    door_.reset();
    broker_.reset(); // with the handlers, which hold objects of the platform
    recovery_ = {};
    tradeApi_.reset(); // with its events
    feed_.Close();
}

Text CHalvaneDlg::StatusText() const {
    const auto line = [](const wchar_t* name, const Text& value) {
        return Format(L"%s: %s\r\n", name, value.empty() ? L"-" : value.c_str());
    };
    const auto number = [](std::uint64_t value) {
        return DecimalText(static_cast<std::int64_t>(value));
    };
    return line(L"System", GetSetting(L"SystemName")) +
           line(L"Platform", connected_ ? L"connected" : L"not connected") +
           line(L"Address", GetSetting(L"MyIP")) +
           line(L"Request port", DecimalText(broker_ != nullptr ? broker_->Port() : 0)) +
           line(L"Publish port", GetSetting(L"PublishPort")) +
           line(L"Sessions", number(SessionCount())) +
           line(L"Requests served", number(RequestsServed())) +
           line(L"Publications sent", number(publishWorker_.Sent()));
}

void CHalvaneDlg::OnGeneralServiceUpdate() {
    HandleEvent(L"OnGeneralServiceUpdate",
                [this](auto event) { Post(event, [this] { TakeServices(); }); });
}

void CHalvaneDlg::OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) {
    HandleEvent(L"OnCommandMsg", [&](auto event) {
        Post(event, [this, kind, subKind, said = Text(text)] { ObeyCommand(kind, subKind, said); });
    });
}

void CHalvaneDlg::Post(const wchar_t* event, std::function<void()> work) {
    loop_.Post([event, work = std::move(work)] { HandleEvent(event, [&](auto) { work(); }); });
}

// The platform may tell of its services more than once; the broker is started the first time.
void CHalvaneDlg::TakeServices() {
    loginType_ = tradeApi_->GetPlatformValue(L"PERMISSIONS.General.LoginType");
    Log().Info(L"OnGeneralServiceUpdate() m_strLoginType=%s", loginType_);
    served_ = true;
    StartBroker();
}

void CHalvaneDlg::StartBroker() {
    if (!served_ || lookingForPort_ || broker_ != nullptr) return;
    broker_ = std::make_unique<RequestBroker>(*tradeApi_, loginType_, feed_.Get());
    broker_->Start();
    if (access_.requestPort != 0)
        door_ = std::make_unique<AccessDoor>(access_, [this] { return broker_->Port(); });
}

void CHalvaneDlg::ObeyCommand(std::int32_t kind, std::int32_t subKind, const Text& text) {
    Log().Info(L"OnCommandMsg:%d-%d-%s", kind, subKind, text);
    if (kind != 2) return;
    if (subKind == 0) loop_.Quit(0);
    if (subKind == 1 && !publishing_.joinable()) StartPublishing();
}

// On a thread of its own: a host that waits for a port could not be told to end.
void CHalvaneDlg::StartPublishing() {
    std::optional<Text> answer = Text();
    tradeApi_->GeneralCommand(2, 0, L"COM", answer);
    lookingForPort_ = true;
    publishing_ = std::jthread([this](std::stop_token stop) {
        bool started = false;
        try {
            started = publishWorker_.StartService(*tradeApi_, stop);
        } catch (const std::exception& error) {
            LogFailure(L"[PublishWorker]StartService()", error);
        }
        Post(L"StartService", [this, started] { FinishPublishing(started); });
    });
}

void CHalvaneDlg::FinishPublishing(bool started) {
    lookingForPort_ = false;
    if (!started) {
        LogWhereHelpIs();
        ShutDownLog();
        loop_.Quit(0);
        return;
    }
    StartBroker();
    if (feed_.Get() != nullptr)
        recovery_ = std::jthread([this](std::stop_token stop) { feed_.Recover(*tradeApi_, stop); });
    tradeApi_->SubscribeTopic(L"VANTOR.RETURN");
}

} // namespace halvane
