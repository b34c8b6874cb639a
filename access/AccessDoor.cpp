#include "access/AccessDoor.h"

#include "access/PublishDoors.h"
#include "access/RequestDoor.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/ConnectionWatch.h"
#include "foundation/support/Hex.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"

#include <utility>

namespace halvane {
namespace {

constexpr std::uint32_t kLookMs = 500; // between two looks at the clients' files
constexpr int kMessagesPerPoll = 64;
constexpr std::uint32_t kAgainMs = 10;

// Where a program on this machine reaches a port that is bound to `MyIP`.
std::string PlainEndpoint(TextView port) {
    const Text ip = GetSetting(L"MyIP");
    const bool any = ip == L"0.0.0.0" || ip == L"*";
    return ToNarrow(L"tcp://" + (any ? L"127.0.0.1" : ip) + L":" + Text(port));
}

} // namespace

AccessDoor::AccessDoor(AccessConfig config, std::function<int()> requestPort)
    : config_(std::move(config)), requestPort_(std::move(requestPort)), allowed_(config_.allow),
      clients_(config_.folder), thread_([this](std::stop_token stop) {
          try {
              Serve(stop);
          } catch (const std::exception& error) {
              Log().Error(L"[Access]the encrypted doors are closed: %s", ReasonOf(error));
          }
      }) {}

void TellOfBadAddresses(const AccessConfig& config) {
    for (const Text* list : {&config.allow, &config.allowAtPlainPorts}) {
        const AddressList addresses(*list);
        for (const Text& bad : addresses.Bad())
            Log().Warn(L"Access.ini: %s is no address; nobody comes in by it", bad);
    }
}

void AccessDoor::Serve(std::stop_token stop) {
    const std::string secret = ServerSecret(config_.folder);
    if (secret.empty()) {
        Log().Error(L"[Access]no server key in %s: the encrypted doors stay closed",
                    config_.folder);
        return;
    }
    if (!WaitForPlainPort(stop)) return;
    const CurveKeys server = CurveKeysOf(secret);
    UnreadReplies unread(L"[Access]"); // outlives the context
    const ZmqContext context = MakeZmqContext();
    const std::stop_callback end(stop, [&] { zmq_ctx_shutdown(context.get()); });
    ShownByClient shown;
    ZapSocket zap(context.get());
    PublishDoors doors(context.get(), clients_, shown, server, config_.ip);
    RequestDoor requests(context.get(), server, clients_, shown, unread,
                         [&](const AccessClient& client) { return doors.PortOf(client); });
    for (bool told = false; !requests.Bind(config_); told = true) {
        if (!told)
            Log().Error(L"[Access]port %d cannot be bound on %s", config_.requestPort, config_.ip);
        if (!TheClock().Sleep(1000, stop)) return;
    }
    requests.ConnectTo(PlainEndpoint(DecimalText(requestPort_())));
    const ConnectionWatch watch(
        context.get(), requests.Front(),
        [](int refused) {
            Log().Warn(L"[Access]no descriptors left: %d connections refused", refused);
        },
        [](int failed) {
            Log().Warn(L"[Access]request port: %d connections were not let in, or did not speak "
                       L"as they should",
                       failed);
        });
    Log().Info(L"[Access]encrypted requests at %s:%d", config_.ip, config_.requestPort);
    clients_.Refresh();
    doors.Refresh();
    Forward(stop, zap, requests, doors);
}

bool AccessDoor::WaitForPlainPort(std::stop_token stop) {
    while (requestPort_() == 0) {
        if (!TheClock().Sleep(50, stop)) return false;
    }
    return true;
}

// What fails, for want of memory as a rule, is lost, and the next is moved.
void AccessDoor::Forward(std::stop_token stop, ZapSocket& zap, RequestDoor& requests,
                         PublishDoors& doors) {
    for (bool failed = false; !stop.stop_requested();) {
        try {
            Step(zap, requests, doors);
            failed = false;
        } catch (const std::exception& error) {
            if (!std::exchange(failed, true))
                Log().Error(L"[Access]forwarding failed, what was at hand is lost: %s",
                            ReasonOf(error));
            TheClock().Sleep(kAgainMs, stop);
        }
    }
}

// Replies and publications go first. Requests wait at the door while the gateway takes no more.
void AccessDoor::Step(ZapSocket& zap, RequestDoor& requests, PublishDoors& doors) {
    LookAround(doors);
    const bool room = IsReady(requests.Back(), ZMQ_POLLOUT);
    zmq_pollitem_t items[] = {
        {requests.Back(), 0, static_cast<short>(ZMQ_POLLIN | (room ? 0 : ZMQ_POLLOUT)), 0},
        {doors.Source(), 0, ZMQ_POLLIN, 0},
        {zap.Get(), 0, ZMQ_POLLIN, 0},
        {requests.Front(), 0, ZMQ_POLLIN, 0},
    };
    zmq_poll(items, room ? 4 : 3, kLookMs / 2);
    for (int n = 0; n < kMessagesPerPoll && requests.MoveReply();)
        ++n;
    for (int n = 0; n < kMessagesPerPoll && doors.MovePublication();)
        ++n;
    const ZapJudge judge = [this](const ZapRequest& request) { return Judge(request); };
    while (zap.AnswerNext(judge)) {
    }
    for (int n = 0;
         n < kMessagesPerPoll && IsReady(requests.Back(), ZMQ_POLLOUT) && requests.MoveRequest();)
        ++n;
}

void AccessDoor::LookAround(PublishDoors& doors) {
    const std::uint32_t now = TheClock().TickCount();
    if (now - lookedAt_ < kLookMs) return;
    lookedAt_ = now;
    clients_.Refresh();
    doors.Refresh();
    const Text port = GetSetting(L"PublishPort");
    if (hears_ || port.empty()) return;
    doors.ConnectTo(PlainEndpoint(port));
    hears_ = true;
}

std::optional<std::string> AccessDoor::Judge(const ZapRequest& request) {
    const std::string key = request.credentials.empty() ? "" : HexDigits(request.credentials[0]);
    const AccessClient* client = clients_.Find(key);
    const wchar_t* const whyNot = WhyNot(request, client);
    const Text who = client != nullptr ? client->name : L"somebody";
    const Text from = FromUtf8(request.address).value_or(L"");
    const wchar_t* const what =
        request.domain == RequestDoor::kDomain ? L"requests" : L"publications";
    if (*whyNot == L'\0') {
        Log().Info(L"[Access]%s let in from %s to %s", who, from, what);
        return key;
    }
    if (refusals_.IsDue(request.address + ToUtf8(who + whyNot)))
        Log().Warn(L"[Access]%s not let in from %s to %s: %s", who, from, what, whyNot);
    return std::nullopt;
}

const wchar_t* AccessDoor::WhyNot(const ZapRequest& request, const AccessClient* client) const {
    if (!allowed_.Contains(request.address)) return L"address";
    if (request.mechanism != "CURVE" || client == nullptr) return L"unknown key";
    const bool own = request.domain == RequestDoor::kDomain ||
                     request.domain == PublishDoors::DomainOf(client->key);
    return own ? client->WhyNot(clients_.Day()) : L"publications of another client";
}

} // namespace halvane
