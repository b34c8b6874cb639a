#pragma once

#include "tradeapi/Automation.h"

#include <optional>

namespace halvane {

// The identifiers of the platform's classes and of its host events: built in, unless
// Configs\TradeApi.ini beside the executable had others when they were first asked for.

// Nothing for the classes that only the registry knows. A built-in or configured text that is no
// identifier sends to the registry for one.
std::optional<CLSID> ClassIdOf(const wchar_t* progId);

struct HostEventIds {
    IID interfaceId;
    DISPID generalServiceUpdate;
    DISPID commandMsg;
};

// Nothing when the configured interface is no identifier.
std::optional<HostEventIds> ReadHostEventIds();

} // namespace halvane
