#include "tradeapi/com/ComTradeApi.h"

#include "tradeapi/ComponentIds.h"
#include "tradeapi/TradeEvents.h"
#include "tradeapi/com/Com.h"
#include "tradeapi/com/ComItems.h"
#include "tradeapi/com/ComponentLoader.h"
#include "tradeapi/com/Identifiers.h"

namespace halvane {
namespace {

// Every object that comes back to this platform was created by it, so it is one of its own.
IDispatch* ObjectOf(Item& item) { return static_cast<ComItem&>(item).Object(); }
IDispatch* ObjectOf(OrderParameters& parameters) {
    return static_cast<ComOrderParameters&>(parameters).Object();
}
IDispatch* ObjectOf(PositionTracker& tracker) {
    return static_cast<ComPositionTracker&>(tracker).Object();
}

Variant Given(const std::optional<Text>& text) { return text ? Variant(*text) : Variant(); }

std::vector<EventRow> RowsOf(HostEvents& sink, const HostEventIds& ids) {
    return {
        {ids.generalServiceUpdate, 0,
         [&sink](const CallArguments&) { sink.OnGeneralServiceUpdate(); }},
        {ids.commandMsg, 3,
         [&sink](const CallArguments& e) { sink.OnCommandMsg(e.Int(0), e.Int(1), e.String(2)); }},
    };
}

std::vector<EventRow> RowsOf(TradeEvents& sink) {
    using Arguments = CallArguments;
    return {
        {kOnAccountUpdate, 3,
         [&sink](const Arguments& e) { sink.OnAccountUpdate(e.Int(0), e.String(1), e.Int(2)); }},
        {kOnCommandMsg, 3,
         [&sink](const Arguments& e) { sink.OnCommandMsg(e.Int(0), e.Int(1), e.String(2)); }},
        {kOnExecutionReport, 1,
         [&sink](const Arguments& e) { sink.OnExecutionReport(e.String(0)); }},
        {kOnFilledReport, 1, [&sink](const Arguments& e) { sink.OnFilledReport(e.String(0)); }},
        {kOnReportReset, 0, [&sink](const Arguments&) { sink.OnReportReset(); }},
        {kOnSetTopic, 4,
         [&sink](const Arguments& e) {
             sink.OnSetTopic(e.String(0), e.Int(1), e.String(2), e.HeldString(3));
         }},
        {kOnPositionTracker, 0, [&sink](const Arguments&) { sink.OnPositionTracker(); }},
    };
}

} // namespace

std::unique_ptr<TradeApi> MakeComTradeApi() {
    ComPtr<IDispatch> object = CreateAutomationObject(kTradeApiProgId);
    return object ? std::make_unique<ComTradeApi>(std::move(object)) : nullptr;
}

std::unique_ptr<Item> ComTradeApi::CreateItem(ItemClass itemClass) {
    ComPtr<IDispatch> object = CreateAutomationObject(ProgIdOf(itemClass));
    return object ? std::make_unique<ComItem>(std::move(object), NamedReadOf(itemClass)) : nullptr;
}

std::unique_ptr<OrderParameters> ComTradeApi::CreateParameters(ItemClass itemClass) {
    ComPtr<IDispatch> object = CreateAutomationObject(ProgIdOf(itemClass));
    return object ? std::make_unique<ComOrderParameters>(std::move(object)) : nullptr;
}

std::unique_ptr<PositionTracker> ComTradeApi::CreatePositionTracker() {
    ComPtr<IDispatch> object = CreateAutomationObject(ProgIdOf(ItemClass::PositionTracker));
    return object ? std::make_unique<ComPositionTracker>(std::move(object)) : nullptr;
}

bool ComTradeApi::Advise(HostEvents& sink) {
    const std::optional<HostEventIds> ids = ReadHostEventIds();
    if (!ids) return false;
    hostEvents_ = EventConnection::Make(*object_.Object(), ids->interfaceId, RowsOf(sink, *ids));
    return hostEvents_ != nullptr;
}

bool ComTradeApi::Advise(TradeEvents& sink) {
    IID events;
    if (FAILED(IIDFromString(kTradeEventsId, &events))) return false;
    tradeEvents_ = EventConnection::Make(*object_.Object(), events, RowsOf(sink));
    return tradeEvents_ != nullptr;
}

std::int32_t ComTradeApi::Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                                  std::int32_t mode) {
    return ToInt(object_.Ask(kConnect, hostAddress, systemName, serviceKey, mode).Value());
}

void ComTradeApi::GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                                 std::optional<Text>& inOut) {
    Variant answer = Given(inOut);
    object_.Do(kGeneralCommand, kind, subKind, source, &answer);
    inOut = HeldText(answer.Value());
}

std::int32_t ComTradeApi::GetDataItem(std::int32_t kind, std::int32_t index, TextView accountMask,
                                      Item& item) {
    return ToInt(object_.Ask(kGetDataItem, kind, index, accountMask, ObjectOf(item)).Value());
}

std::int32_t ComTradeApi::ReplaceOrder(OrderParameters& parameters) {
    return ToInt(object_.Ask(kReplaceOrder, ObjectOf(parameters)).Value());
}

std::int32_t ComTradeApi::CancelOrder(TextView reportId, TextView key) {
    return ToInt(object_.Ask(kCancelOrder, reportId, key).Value());
}

std::int32_t ComTradeApi::QueryReport(std::int32_t kind, TextView id, Item& item) {
    return ToInt(object_.Ask(kQueryReport, kind, id, ObjectOf(item)).Value());
}

Text ComTradeApi::GetPlatformValue(TextView name) {
    return ToText(object_.Ask(kGetPlatformValue, name).Value());
}

void ComTradeApi::SubscribeTopic(TextView topic) { object_.Do(kSubscribeTopic, topic); }

void ComTradeApi::SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                                   std::optional<Text> data) {
    Variant answer = Given(data);
    object_.Do(kSendTopicCommand, topic, value, text, &answer);
}

void ComTradeApi::SendRequest(std::int32_t kind, TextView name, TextView command,
                              std::int32_t option, TextView accountKey) {
    object_.Do(kSendRequest, kind, name, command, option, accountKey);
}

Text ComTradeApi::GetInstrumentData(TextView name, TextView symbol) {
    return ToText(object_.Ask(kGetInstrumentData, name, symbol).Value());
}

void ComTradeApi::SetMode(std::int32_t mode) { object_.Do(kSetMode, mode); }

std::int32_t ComTradeApi::NewOrder(std::int32_t kind, OrderParameters& parameters) {
    return ToInt(object_.Ask(kNewOrder, kind, ObjectOf(parameters)).Value());
}

Text ComTradeApi::GetExpirationDate(TextView symbol) {
    return ToText(object_.Ask(kGetExpirationDate, symbol).Value());
}

void ComTradeApi::AttachPositionTracker(PositionTracker& tracker) {
    object_.Do(kAttachPositionTracker, ObjectOf(tracker));
}

std::int32_t ComTradeApi::GetTradingDays(TextView symbol, std::int32_t expiration) {
    return ToInt(object_.Ask(kGetTradingDays, symbol, expiration).Value());
}

void ComTradeApi::NewStrategyOrder(TextView text) { object_.Do(kNewStrategyOrder, text); }

} // namespace halvane
