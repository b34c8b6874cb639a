#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "request/RepWorker.h"
#include "request/orders/Orders.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/TradeApi.h"

#include <utility>

namespace halvane {
namespace {

constexpr TextView kBuy = L"1";
constexpr TextView kSell = L"2";

struct Legs {
    TextView a;
    TextView b;
};

// The side of leg B as the combination type wants it.
TextView SideOfLegB(TextView legA, TextView sideA, std::int32_t combinationType) {
    const bool call = legA.find(L".C.") != TextView::npos;
    switch (combinationType) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6: return kSell;
    case 9:
    case 10:
    case 11:
    case 14: return sideA == kBuy ? kSell : kBuy;
    case 12: return call ? kBuy : kSell;
    case 13: return call ? kSell : kBuy;
    case 15: return kBuy;
    default: return {};
    }
}

std::pair<TextView, TextView> SidesOfLegs(TextView legA, const Request& request) {
    if (legA.empty()) return {};
    const TextView sideA = request.Param(L"Side") == kBuy ? kBuy : kSell;
    return {sideA, SideOfLegB(legA, sideA, ToInt32(request.Param(L"CombinationType")))};
}

Text CombineCommand(const Legs& legs, const Request& request) {
    const auto [sideA, sideB] = SidesOfLegs(legs.a, request);
    return Text(L"SYMBOLA=")
        .append(legs.a)
        .append(L"&SYMBOLB=")
        .append(legs.b)
        .append(L"&VOLUME=")
        .append(request.Param(L"Volume"))
        .append(L"&ACTIONTYPE=1&SIDEA=")
        .append(sideA)
        .append(L"&SIDEB=")
        .append(sideB)
        .append(L"&OPTCOMB_CODE=")
        .append(request.Param(L"CombinationType"))
        .append(L"&OPTCOMB_ID=")
        .append(request.Param(L"OptCombID"));
}

Text SplitCommand(const Legs& legs, const Request& request) {
    return Text(L"SYMBOL=")
        .append(CombineSymbols(legs.a, legs.b))
        .append(L"&VOLUME=")
        .append(request.Param(L"Volume"))
        .append(L"&ACTIONTYPE=2&SIDE=")
        .append(request.Param(L"Side"))
        .append(L"&OPTCOMB_CODE=")
        .append(request.Param(L"CombinationType"))
        .append(L"&OPTCOMB_ID=")
        .append(request.Param(L"OptCombID"));
}

// An unknown direction gives an empty command, which the platform is sent all the same.
Text CommandOf(const Request& request) {
    const TextView symbol = request.Param(L"Symbol");
    const Legs legs{*SplitField(symbol, L'&', 0), SplitField(symbol, L'&', 1).value_or(TextView())};
    const TextView direction = request.Param(L"CombDirection");
    if (direction == L"1") return CombineCommand(legs, request);
    if (direction == L"2") return SplitCommand(legs, request);
    return {};
}

Text AccountKeyOf(const Request& request) {
    const TextView broker = request.Param(L"BrokerID");
    const TextView account = request.Param(L"Account");
    if (broker.empty() || account.empty()) return {};
    return Text(broker).append(L"-").append(account);
}

} // namespace

void ActOnOptionCombination(RepWorker& worker, const Request& request) {
    const Text command = CommandOf(request);
    Log().Info(L"ReqOptComb() send Param = %s", command);
    worker.Platform().SendRequest(1, L"OPTCOMB", command, 1, AccountKeyOf(request));
    worker.SendData(SuccessReply(request.name), true);
}

} // namespace halvane
