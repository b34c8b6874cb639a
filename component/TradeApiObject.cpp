#include "component/TradeApiObject.h"

#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "paper/Paper.h"
#include "tradeapi/ComponentIds.h"

#include <olectl.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace halvane {
namespace {

// Whatever address the caller knows, here it leads to the market file that lies beside the program,
// or to the built-in market.
Text MarketAddress() {
    const Text path = ExecutableFolder() + L"Configs" + kPathSeparator + L"PaperMarket.json";
    std::error_code ignored;
    return std::filesystem::exists(ToPath(path), ignored) ? L"paper:" + path : L"paper:";
}

// The argument as an object of this component; one that is not is refused as a wrong type.
template <typename Object>
Object& ObjectAt(const CallArguments& arguments, UINT index, Object* (ComponentObject::*as)()) {
    ComponentObject* own = OwnObject(HeldObject(arguments.At(index)));
    Object* object = own != nullptr ? (own->*as)() : nullptr;
    if (object == nullptr)
        throw TradeApiError(DISP_E_TYPEMISMATCH, L"an object of another component");
    return *object;
}

Item& ItemAt(const CallArguments& arguments, UINT index) {
    return ObjectAt(arguments, index, &ComponentObject::AsItem);
}

OrderParameters& ParametersAt(const CallArguments& arguments, UINT index) {
    return ObjectAt(arguments, index, &ComponentObject::AsParameters);
}

PositionTracker& TrackerAt(const CallArguments& arguments, UINT index) {
    return ObjectAt(arguments, index, &ComponentObject::AsTracker);
}

Variant GeneralCommand(TradeApi& platform, const CallArguments& a) {
    std::optional<Text> inOut = a.HeldString(3);
    platform.GeneralCommand(a.Int(0), a.Int(1), a.String(2), inOut);
    const VARIANT& target = a.At(3);
    if (target.vt == (VT_BYREF | VT_VARIANT) && target.pvarVal != nullptr) {
        VariantClear(target.pvarVal);
        *target.pvarVal = (inOut ? Variant(*inOut) : Variant()).Release();
    }
    return {};
}

struct Method {
    DISPID id;
    UINT arguments;
    Variant (*call)(TradeApi& platform, const CallArguments& a);
};

using Platform = TradeApi;
using Arguments = CallArguments;

constexpr Method kMethods[] = {
    {kConnect, 4,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.Connect(MarketAddress(), a.String(1), a.String(2), a.Int(3));
     }},
    {kGeneralCommand, 4, GeneralCommand},
    {kGetDataItem, 4,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.GetDataItem(a.Int(0), a.Int(1), a.String(2), ItemAt(a, 3));
     }},
    {kReplaceOrder, 1,
     [](Platform& p, const Arguments& a) -> Variant { return p.ReplaceOrder(ParametersAt(a, 0)); }},
    {kCancelOrder, 2,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.CancelOrder(a.String(0), a.String(1));
     }},
    {kQueryReport, 3,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.QueryReport(a.Int(0), a.String(1), ItemAt(a, 2));
     }},
    {kGetPlatformValue, 1,
     [](Platform& p, const Arguments& a) -> Variant { return p.GetPlatformValue(a.String(0)); }},
    {kSubscribeTopic, 1,
     [](Platform& p, const Arguments& a) -> Variant {
         p.SubscribeTopic(a.String(0));
         return {};
     }},
    {kSendTopicCommand, 4,
     [](Platform& p, const Arguments& a) -> Variant {
         p.SendTopicCommand(a.String(0), a.Int(1), a.String(2), a.HeldString(3));
         return {};
     }},
    {kSendRequest, 5,
     [](Platform& p, const Arguments& a) -> Variant {
         p.SendRequest(a.Int(0), a.String(1), a.String(2), a.Int(3), a.String(4));
         return {};
     }},
    {kGetInstrumentData, 2,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.GetInstrumentData(a.String(0), a.String(1));
     }},
    {kSetMode, 1,
     [](Platform& p, const Arguments& a) -> Variant {
         p.SetMode(a.Int(0));
         return {};
     }},
    {kNewOrder, 2,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.NewOrder(a.Int(0), ParametersAt(a, 1));
     }},
    {kGetExpirationDate, 1,
     [](Platform& p, const Arguments& a) -> Variant { return p.GetExpirationDate(a.String(0)); }},
    {kAttachPositionTracker, 1,
     [](Platform& p, const Arguments& a) -> Variant {
         p.AttachPositionTracker(TrackerAt(a, 0));
         return {};
     }},
    {kGetTradingDays, 2,
     [](Platform& p, const Arguments& a) -> Variant {
         return p.GetTradingDays(a.String(0), a.Int(1));
     }},
    {kNewStrategyOrder, 1,
     [](Platform& p, const Arguments& a) -> Variant {
         p.NewStrategyOrder(a.String(0));
         return {};
     }},
};

} // namespace

TradeApiObject::TradeApiObject()
    : hostPoint_(*this, kHostEventsId,
                 [this] { std::call_once(hostAdvised_, [this] { platform_->Advise(host_); }); }),
      tradePoint_(*this, kTradeEventsId,
                  [this] { std::call_once(tradeAdvised_, [this] { platform_->Advise(trade_); }); }),
      platform_(MakePaperTradeApi()) {}

HRESULT TradeApiObject::Answer(DISPID id, WORD flags, const CallArguments& arguments,
                               Variant& result) {
    const auto method = std::ranges::find(kMethods, id, &Method::id);
    if (method == std::end(kMethods) || (flags & DISPATCH_METHOD) == 0)
        return DISP_E_MEMBERNOTFOUND;
    if (arguments.Count() != method->arguments) return DISP_E_BADPARAMCOUNT;
    result = method->call(*platform_, arguments);
    return S_OK;
}

IUnknown* TradeApiObject::FindInterface(REFIID id) {
    return IsEqualIID(id, IID_IConnectionPointContainer)
               ? static_cast<IConnectionPointContainer*>(this)
               : nullptr;
}

HRESULT TradeApiObject::EnumConnectionPoints(IEnumConnectionPoints**) { return E_NOTIMPL; }

HRESULT TradeApiObject::FindConnectionPoint(REFIID events, IConnectionPoint** point) {
    if (point == nullptr) return E_POINTER;
    *point = nullptr;
    for (ConnectionPoint* each : {&hostPoint_, &tradePoint_})
        if (IsEqualIID(events, each->Events())) *point = each;
    if (*point == nullptr) return CONNECT_E_NOCONNECTION;
    (*point)->AddRef();
    return S_OK;
}

void TradeApiObject::HostForwarder::OnGeneralServiceUpdate() {
    point_.Fire(kOnGeneralServiceUpdate);
}

void TradeApiObject::HostForwarder::OnCommandMsg(std::int32_t kind, std::int32_t subKind,
                                                 TextView text) {
    point_.Fire(kOnHostCommandMsg, kind, subKind, text);
}

void TradeApiObject::TradeForwarder::OnAccountUpdate(std::int32_t kind, TextView key,
                                                     std::int32_t value) {
    point_.Fire(kOnAccountUpdate, kind, key, value);
}

void TradeApiObject::TradeForwarder::OnCommandMsg(std::int32_t kind, std::int32_t subKind,
                                                  TextView text) {
    point_.Fire(kOnCommandMsg, kind, subKind, text);
}

void TradeApiObject::TradeForwarder::OnExecutionReport(TextView reportId) {
    point_.Fire(kOnExecutionReport, reportId);
}

void TradeApiObject::TradeForwarder::OnFilledReport(TextView reportId) {
    point_.Fire(kOnFilledReport, reportId);
}

void TradeApiObject::TradeForwarder::OnReportReset() { point_.Fire(kOnReportReset); }

void TradeApiObject::TradeForwarder::OnSetTopic(TextView topic, std::int32_t lParam,
                                                TextView strParam,
                                                const std::optional<Text>& data) {
    Variant answer = data ? Variant(*data) : Variant();
    point_.Fire(kOnSetTopic, topic, lParam, strParam, &answer);
}

void TradeApiObject::TradeForwarder::OnPositionTracker() { point_.Fire(kOnPositionTracker); }

} // namespace halvane
