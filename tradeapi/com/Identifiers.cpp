#include "tradeapi/com/Identifiers.h"

#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Strings.h"
#include "tradeapi/ComponentIds.h"

#include <map>

namespace halvane {
namespace {

// The value of a key, without the remark that may follow it.
Text ReadIdentifier(const wchar_t* section, const wchar_t* key, const Text& builtIn) {
    const Text path = ExecutableFolder() + L"Configs\\TradeApi.ini";
    const Text line = ReadIniText(path, section, key, builtIn);
    const TextView value = Split(line, L';').front();
    return Text(value.substr(0, value.find_last_not_of(L" \t") + 1));
}

std::map<TextView, Text> ReadClassIds() {
    std::map<TextView, Text> ids;
    for (const ComponentClass& known : kComponentClasses)
        ids[known.progId] = ReadIdentifier(L"ClassId", known.progId, known.classId);
    return ids;
}

} // namespace

std::optional<CLSID> ClassIdOf(const wchar_t* progId) {
    static const std::map<TextView, Text> ids = ReadClassIds();
    const auto known = ids.find(progId);
    CLSID id;
    if (known == ids.end()) return std::nullopt;
    // Not CLSIDFromString, which would take a ProgID as well.
    if (SUCCEEDED(IIDFromString(known->second.c_str(), &id))) return id;
    if (SUCCEEDED(CLSIDFromProgID(progId, &id))) return id;
    return std::nullopt;
}

std::optional<HostEventIds> ReadHostEventIds() {
    const auto read = [](const wchar_t* key, const Text& builtIn) {
        return ReadIdentifier(L"HostEvents", key, builtIn);
    };
    HostEventIds ids{};
    if (FAILED(IIDFromString(read(L"Interface", kHostEventsId).c_str(), &ids.interfaceId)))
        return std::nullopt;
    ids.generalServiceUpdate =
        ToInt32(read(L"GeneralServiceUpdate", DecimalText(kOnGeneralServiceUpdate)));
    ids.commandMsg = ToInt32(read(L"CommandMsg", DecimalText(kOnHostCommandMsg)));
    return ids;
}

} // namespace halvane
