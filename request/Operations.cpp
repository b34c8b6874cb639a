#include "request/Operations.h"

#include "foundation/support/Settings.h"
#include "request/Activity.h"
#include "request/SessionRequests.h"
#include "request/orders/Orders.h"
#include "request/queries/Queries.h"
#include "request/status/Status.h"

namespace halvane {
namespace {

// clang-format off
constexpr Operation kOperations[] = {
    {L"LOGIN",                LogIn,                 kSilent},
    {L"RESTOREREPORT",        RestoreReports,        kSession},
    {L"ACCOUNTS",             QueryAccounts,         kSession},
    {L"LOGOUT",               LogOut,                kNothing},
    {L"NEWORDER",             NewOrder,              kSession | kParam},
    {L"REPLACEORDER",         ReplaceOrder,          kSession | kParam},
    {L"CANCELORDER",          CancelOrder,           kSession | kParam},
    {L"MARGINS",              QueryMargins,          kTradeData | kSession},
    {L"POSITIONS",            QueryPositions,        kTradeData | kSession},
    {L"QUERYALLINSTRUMENT",   QueryAllInstrument,    kSession},
    {L"QUERYINSTRUMENTINFO",  QueryInstrumentInfo,   kSession},
    {L"PONG",                 Pong,                  kSession},
    {L"RESTOREFILLREPORT",    RestoreFills,          kSession},
    {L"OPTCOMB",              ActOnOptionCombination, kSession | kParam},
    {L"QUERYOPTCOMBORDER",    QueryOptCombOrder,     kSession},
    {L"QUERYOPTCOMBPOSITION", QueryOptCombPosition,  kSession},
    {L"POSITIONTRACKER",      QueryPositionTracker,  kSession},
    {L"SENDMESSAGE",          SendLineMessage,       kSession | kParam},
    {L"NEWSTRATEGYORDER",     NewStrategyOrder,      kSession | kParam},
    {L"STATUS",               ReportStatus,          kSession, L"Status"},
    {L"FEEDSTATUS",           TellFeedStatus,        kSession, L"Feed"},
    {L"FEEDREPLAY",           ReplayFeed,            kSession, L"Feed"},
};
// clang-format on

} // namespace

std::span<const Operation> Operations() { return kOperations; }

const Operation* FindOperation(TextView name) {
    for (const Operation& operation : kOperations) {
        if (name != operation.name) continue;
        const bool offered = operation.setting == nullptr || GetSetting(operation.setting) == L"1";
        return offered ? &operation : nullptr;
    }
    return nullptr;
}

OperationCounts& CountsOf(const Operation* operation) {
    static std::array<OperationCounts, std::size(kOperations) + 1> counts;
    return counts[operation == nullptr ? std::size(kOperations)
                                       : static_cast<std::size_t>(operation - kOperations)];
}

} // namespace halvane
