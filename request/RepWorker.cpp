#include "request/RepWorker.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "foundation/support/Zap.h"
#include "request/Operations.h"
#include "request/Sessions.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeData.h"

#include <atomic>
#include <utility>

namespace halvane {
namespace {

constexpr const wchar_t* kRemoveLoginInfo = L"RemoveLoginInfo";
constexpr TextView kRequest = L"Request", kParamMember = L"Param", kSessionKey = L"SessionKey";
constexpr std::size_t kDocumentBytes = 8192;
constexpr std::uint32_t kReadyLookMs = 100;
constexpr int kReadyLooks = 200;

// The worker's end of its link to the broker, as wide as the other.
constexpr int kQueuedRequests = 64;
constexpr int kLinkBufferBytes = 65536;

std::atomic<std::uint64_t> requestsServed = 0;

bool IsOn(TextView option) { return GetSetting(option) == L"1"; }

// Every entry "<alias>:<type>", or "<alias>" alone for a type of the same name.
std::map<Text, Text, std::less<>> LoadContractNames() {
    std::map<Text, Text, std::less<>> names;
    const Text setting = GetSetting(L"ContractName");
    if (setting.empty()) return names;
    for (const TextView entry : Split(setting, L',')) {
        const std::size_t colon = entry.find(L':');
        const TextView alias = entry.substr(0, colon);
        const TextView type = colon == TextView::npos ? alias : entry.substr(colon + 1);
        if (alias.find_first_of(L"/\\:") != TextView::npos) // it becomes part of a file name
            Log().Warn(L"ContractName: alias %s is not used", alias);
        else
            names.insert_or_assign(Text(type), Text(alias));
    }
    return names;
}

void LogFailure(TextView work, const std::exception& error) {
    Log().Error(L"[RepWorker]%s failed: %s", work, ReasonOf(error));
}

} // namespace

std::uint64_t RequestsServed() { return requestsServed; }

RepWorker::RepWorker(Text loginType, const std::string& relaySecret, Feed* feed)
    : context_(MakeZmqContext()), socket_(zmq_socket(context_.get(), ZMQ_REP)),
      relaySecret_(relaySecret), processId_(CurrentProcessId()),
      serviceKey_(GetSetting(L"ServiceKey")), loginType_(std::move(loginType)), feed_(feed) {
    SaySecret(socket_.get(), relaySecret_);
}

RepWorker::~RepWorker() { CppUtility::UnregisterNotification(kRemoveLoginInfo, this); }

void RepWorker::StartService(TradeApi& tradeApi, std::stop_token stop) {
    Log().Info(L"[RepWorker]StartService()");
    tradeApi_ = &tradeApi;
    stop_ = stop;
    const Text endpoint = Format(L"tcp://127.0.0.1:%d", ToInt32(GetSetting(L"RelayPort")));
    SetZmqOption(socket_.get(), ZMQ_RCVHWM, kQueuedRequests);
    SetZmqOption(socket_.get(), ZMQ_RCVBUF, kLinkBufferBytes);
    if (zmq_connect(socket_.get(), ToNarrow(endpoint).c_str()) != 0) {
        Log().Info(L"[RepWorker]connect to relay service failed");
        return;
    }
    contractNames_ = LoadContractNames();
    CppUtility::RegisterNotification(kRemoveLoginInfo, this);
    Log().Info(L"[RepWorker]working...");
    const std::stop_callback end(stop, [this] { zmq_ctx_shutdown(context_.get()); });
    while (!stop.stop_requested())
        ServeNext();
}

void RepWorker::ServeNext() {
    ZmqMessage message;
    if (!message.Receive(socket_.get())) {
        Pause(1);
        return;
    }
    // Whatever follows the first frame belongs to the same request, which then is none.
    bool oneFrame = true;
    bytes_ = message.Bytes().size();
    for (bool more = message.HasMore(); more; oneFrame = false) {
        ZmqMessage rest;
        static_cast<void>(rest.ReceiveRest(socket_.get())); // what fails has no more either
        more = rest.HasMore();
        bytes_ += rest.Bytes().size();
    }
    if (message.Bytes() == relaySecret_) return AnswerTheBroker();
    replied_ = false;
    failed_ = false;
    activity_.Begin(kNoRequest.data(), CountsOf(nullptr));
    try {
        DoWork(oneFrame ? message.Bytes() : std::string_view());
    } catch (const std::exception& error) {
        LogFailure(L"DoWork", error);
    }
    while (!replied_ && !stop_.stop_requested()) {
        try {
            ReplyFail(kNoRequest, kHandlerFailed, L"");
        } catch (const std::exception&) { // no memory even for that: the client waits for it
            Pause(1);
        }
    }
}

void RepWorker::DoWork(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    if (!IsUtf8(bytes)) bytes = {};
    Log().InfoBytes("DoWork:", bytes);
    alignas(std::max_align_t) char room[kDocumentBytes]; // most documents need no other
    JsonDocument::AllocatorType memory(room, sizeof room);
    JsonDocument document(&memory);
    const JsonValue* name = ParseJson(bytes, document) ? FindMember(document, kRequest) : nullptr;
    if (name == nullptr || !name->IsString()) {
        Log().Fatal(L"parse failed for json data");
        ReplyFail(kNoRequest, L"", L"");
        return;
    }
    const Operation* operation = FindOperation(StringMember(document, kRequest));
    if (operation == nullptr) return ReplyFail(kNoRequest, kUndefined, L"");
    activity_.Recognise(operation->name.data(), CountsOf(operation));
    Run(*operation, document);
}

void RepWorker::Run(const Operation& operation, const JsonValue& root) {
    const JsonValue noParam(rapidjson::kObjectType);
    const JsonValue* param = FindMember(root, kParamMember);
    const bool hasParam = param != nullptr && param->IsObject();
    const Request request{operation.name, root, StringMember(root, kSessionKey),
                          hasParam ? *param : noParam, hasParam};
    try {
        if (Admit(operation, request)) operation.handler(*this, request);
    } catch (const std::exception& error) {
        LogFailure(operation.name, error);
    }
    if (replied_) return;
    if (operation.checks & kSilent)
        ReplyFail(operation.name, L"", L"");
    else
        Refuse(request, kHandlerFailed);
}

bool RepWorker::Admit(const Operation& operation, const Request& request) {
    const bool needsSession = (operation.checks & kSession) != 0;
    const auto refuseUnknown = [&] {
        const bool unknown = !IsSessionKnown(request.sessionKey);
        if (unknown) Refuse(request, kIllegalSession);
        return unknown;
    };
    if (operation.checks & kTradeData) { // each of these needs a session
        if (IsOn(L"RefuseUnknownFirst") && refuseUnknown()) return false;
        WaitForTradeData();
    }
    if (needsSession) {
        if (refuseUnknown()) return false;
        UpdatePingTime(Text(request.sessionKey));
    }
    if ((operation.checks & kParam) && !request.hasParam) {
        Refuse(request, kNoParam);
        return false;
    }
    return true;
}

void RepWorker::WaitForTradeData() {
    for (int look = 0; look < kReadyLooks && !IsTradeDataReady(); ++look) {
        if (!Pause(kReadyLookMs)) return;
    }
}

void RepWorker::ReplyFail(TextView request, TextView errMsg, TextView sessionKey) {
    failed_ = true;
    SendData(FailureReply(request, errMsg, sessionKey), true);
}

void RepWorker::SendOrderReply(std::string json, std::int32_t result) {
    failed_ = result != kAccepted;
    SendData(std::move(json), true);
}

void RepWorker::Refuse(const Request& request, TextView reason) {
    ReplyFail(request.name, reason, request.sessionKey);
}

void RepWorker::SendData(std::string json, bool log) {
    const MutexLock guard(sendLock_);
    if (log) Log().InfoBytes("[RepWorker]SendData:", json);
    ZmqMessage reply = ZmqMessage::WithTrailingZero(
        std::move(json)); // without memory for it nothing has been replied
    replied_ = true;
    ++requestsServed;
    Count();
    activity_.End(failed_); // before the client knows: who then asks for it finds it counted
    reply.Send(socket_.get(), 0);
}

void RepWorker::Count() {
    if (done_ == nullptr) return;
    done_->bytes += std::exchange(bytes_, 0);
    ++done_->requests;
}

// It wants to know whose turn it was, and looks at the counts. No client knows the secret.
void RepWorker::AnswerTheBroker() {
    bytes_ = 0;
    Count();
    ZmqMessage().Send(socket_.get(), 0);
}

void RepWorker::OnNotification(const wchar_t* name, const wchar_t* param) {
    try {
        DropSession(param);
    } catch (const std::exception& error) {
        LogFailure(name, error);
    }
}

bool RepWorker::Pause(std::uint32_t timeMs) { return TheClock().Sleep(timeMs, stop_); }

bool RepWorker::PauseForRetry(const Request& request, std::uint32_t timeMs) {
    if (!Pause(timeMs)) return false;
    if (IsSessionKnown(request.sessionKey) || !IsOn(L"EndRetriesWithSession")) return true;
    Refuse(request, kIllegalSession);
    return false;
}

void RepWorker::SetLoginMode(std::int32_t mode) {
    tradeApi_->SetMode(mode);
    loginMode_ = mode;
}

Text RepWorker::ContractAlias(TextView type) const {
    const auto found = contractNames_.find(type);
    return found == contractNames_.end() ? Text() : found->second;
}

} // namespace halvane
