#include "foundation/support/Settings.h"
#include "request/RepWorker.h"
#include "request/SessionRequests.h"
#include "request/Sessions.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

constexpr std::int32_t kKeyCheck = 3;
constexpr std::int32_t kSessionMode = 3;

} // namespace

void LogIn(RepWorker& worker, const Request& request) {
    std::optional<Text> system = Text(request.Param(L"ServiceKey"));
    if (request.hasParam) worker.Platform().GeneralCommand(kKeyCheck, 0, L"COM", system);
    if (!request.hasParam || !system || *system != request.Param(L"SystemName")) {
        worker.ReplyFail(request.name, L"", L"");
        return;
    }
    if (worker.LoginMode() == 0) worker.SetLoginMode(kSessionMode);
    const Text key = FormSessionKey();
    const Text publishPort = GetSetting(L"PublishPort");
    OpenSession(key);
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.Member(L"SessionKey", key);
    reply.Member(L"SubPort", publishPort);
    worker.SendData(reply.Finish(), true);
}

void LogOut(RepWorker& worker, const Request& request) {
    CloseSession(Text(request.sessionKey));
    worker.SendData(SuccessReply(request.name), true);
}

void Pong(RepWorker& worker, const Request& request) {
    worker.SendData(SuccessReply(request.name), true);
}

} // namespace halvane
