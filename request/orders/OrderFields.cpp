#include "request/orders/OrderFields.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "request/orders/PriceText.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/UserKeys.h"

namespace halvane {
namespace {

constexpr TextView kOrderSource = L"Halvane";
constexpr std::int32_t kMarketOrder = 1;
constexpr std::int32_t kStopOrder = 3;

// The switches have members of their own but travel among the extended commands. What the client
// has written there by hand stays.
Text AppendSwitches(TextView commands, const JsonValue& param) {
    Text text(commands);
    for (const TextView name :
         {L"SelfTradePrevention", L"FlowControl", L"FitOrderFreq", L"DelayTransPosition"}) {
        const TextView value = StringMember(param, name);
        if (value.empty() || text.find(name) != Text::npos) continue;
        text.erase(text.find_last_not_of(L';') + 1);
        if (!text.empty()) text += L";";
        text.append(name).append(L"=").append(value);
    }
    return text;
}

bool ResetsPrice(std::int32_t orderType) {
    return orderType == kMarketOrder || orderType == kStopOrder;
}

void PutField(OrderParameters& parameters, const OrderField& field, const JsonValue& param) {
    const TextView text = StringMember(param, field.member);
    switch (field.put) {
    case Put::Str: parameters.PutText(field.id, text); break;
    case Put::Int: parameters.PutInt(field.id, ToInt32(text)); break;
    case Put::Int64: parameters.PutInt64(field.id, ToInt64(text)); break;
    case Put::Price: parameters.PutText(field.id, RewritePrice(text)); break;
    case Put::ChasePrice:
        if (!text.empty()) parameters.PutText(field.id, RewriteChasePrice(text));
        break;
    case Put::ScaledPrice:
        if (const auto scaled = ScalePrice(text)) parameters.PutInt64(field.id, *scaled);
        break;
    case Put::UserKeys: {
        const Text packed = PackUserKeys(param);
        parameters.PutText(field.id, packed.empty() ? text : packed);
        break;
    }
    case Put::Source: parameters.PutText(field.id, kOrderSource); break;
    case Put::ExtCommands: parameters.PutText(field.id, AppendSwitches(text, param)); break;
    case Put::PriceReset:
        if (ResetsPrice(ToInt32(text))) parameters.PutText(field.id, L"0");
        break;
    case Put::StopReset:
        if (ToInt32(text) == kMarketOrder) parameters.PutText(field.id, L"0");
        break;
    }
}

} // namespace

void PutOrderFields(TextView order, OrderParameters& parameters, std::span<const OrderField> fields,
                    const JsonValue& param) {
    for (const OrderField& field : fields) {
        try {
            PutField(parameters, field, param);
        } catch (const TradeApiError& error) {
            Log().Warn(L"[RepWorker]%s: put of property %d refused: %s", order,
                       static_cast<int>(field.id), error.Description());
        }
    }
}

} // namespace halvane
