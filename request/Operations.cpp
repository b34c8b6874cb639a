#include "request/Operations.h"

#include "request/SessionRequests.h"
#include "request/orders/Orders.h"
#include "request/queries/Queries.h"

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
    {L"FEEDSTATUS",           TellFeedStatus,        kSession | kFeed},
    {L"FEEDREPLAY",           ReplayFeed,            kSession | kFeed},
};
// clang-format on

} // namespace

const Operation* FindOperation(TextView name) {
    for (const Operation& operation : kOperations) {
        if (name == operation.name) return &operation;
    }
    return nullptr;
}

} // namespace halvane
