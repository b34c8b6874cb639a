#pragma once

#include "tradeapi/Items.h"

#include <cstdint>

namespace halvane {

// The numbers and identifiers of the platform's automation interface, for both its ends.

struct ComponentClass {
    const wchar_t* progId;
    const wchar_t* classId;
};

inline constexpr const wchar_t* kTradeApiProgId = L"Ovaro.TradeAPI.1";

// The classes that can be created from the component's file alone.
// clang-format off
inline constexpr ComponentClass kComponentClasses[] = {
    {kTradeApiProgId,                          L"{0CF98F95-AFB2-437D-AE52-E4B99945E843}"},
    {L"Ovaro.TradeNewOrderParametersFutOpt.1", L"{24661DB3-7BF1-4B5D-A078-FA38B71C49C1}"},
    {L"Ovaro.TradeNewOrderParametersStock.1",  L"{135CAED0-D365-41E3-851C-1E9F996B80B9}"},
    {L"Ovaro.TradeDataAccount.1",              L"{B323E7F5-5455-42FD-9CB6-2FB71E6B7516}"},
    {L"Ovaro.TradeDataMarginItem.1",           L"{A1F787EE-1C81-4638-BE26-33E83456E1BB}"},
    {L"Ovaro.TradeDataPositionItem.1",         L"{281B2D42-ED45-41DD-93A7-BA6966121CE1}"},
    {L"Ovaro.TradeRptExecutionReportItem.1",   L"{4F379AC1-30D5-4981-AFD5-E458A96C91AB}"},
    {L"Ovaro.TradeFilledOrderItem.1",          L"{FBBC4CDD-6D4F-4A09-B92B-9503EBDEDB4B}"},
    {L"Ovaro.TradeRptReportItem.1",            L"{456085ED-ED7D-46C9-A4BD-D3735526C9A2}"},
    {L"Ovaro.PositionTracker.1",               L"{C1A5505D-6E5E-4822-BF2B-6BCBCCEA4A9A}"},
};

inline constexpr const wchar_t* kHostEventsId =  L"{34DBB30A-5EEC-4F17-B62F-95D47EFCA465}";
inline constexpr const wchar_t* kTradeEventsId = L"{485C6CCF-70AE-4CAD-810F-9B67B9BD135E}";
// clang-format on

// The trade API object's methods.
enum ApiMethod : std::int32_t {
    kConnect = 1,
    kGeneralCommand = 3,
    kGetDataItem = 4,
    kReplaceOrder = 6,
    kCancelOrder = 7,
    kQueryReport = 8,
    kGetPlatformValue = 11,
    kSubscribeTopic = 12,
    kSendTopicCommand = 14,
    kSendRequest = 15,
    kGetInstrumentData = 16,
    kSetMode = 19,
    kNewOrder = 22,
    kGetExpirationDate = 35,
    kAttachPositionTracker = 38,
    kGetTradingDays = 39,
    kNewStrategyOrder = 44,
};

enum TrackerMethod : std::int32_t {
    kTrackerEntries = 2,
    kTrackerInstruments = 3,
    kTrackerFigure = 4,
};

enum HostEvent : std::int32_t {
    kOnGeneralServiceUpdate = 1,
    kOnHostCommandMsg = 2,
};

enum TradeEvent : std::int32_t {
    kOnAccountUpdate = 1,
    kOnCommandMsg = 2,
    kOnExecutionReport = 3,
    kOnReportReset = 5,
    kOnSetTopic = 9,
    kOnFilledReport = 12,
    kOnPositionTracker = 19,
};

// The method that reads by name, on the items that have one; else 0.
constexpr std::int32_t NamedReadOf(ItemClass itemClass) {
    switch (itemClass) {
    case ItemClass::Account: return 11;
    case ItemClass::Margin:
    case ItemClass::Position:
    case ItemClass::CombinationOrder: return 2;
    case ItemClass::ExecutionReport: return 40;
    default: return 0;
    }
}

// The method that gives a text by index, on the items that have one; else 0.
constexpr std::int32_t IndexedReadOf(ItemClass itemClass) {
    switch (itemClass) {
    case ItemClass::ExecutionReport: return 3;
    case ItemClass::ReportList: return 4;
    default: return 0;
    }
}

} // namespace halvane
