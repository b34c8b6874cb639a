#include "doctor/Checks.h"
#include "foundation/support/InstanceGuard.h"
#include "foundation/support/Utf.h"
#include "tradeapi/ComponentIds.h"
#include "tradeapi/com/Com.h"
#include "tradeapi/com/ComponentLoader.h"

#include <fstream>

// Which of the component's parts are there. Its objects are made, as the gateway makes them, and
// let go of; nothing is asked of them but by --login.
namespace halvane::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::uint16_t kMachine64 = 0x8664;
constexpr std::uint16_t kMachine32 = 0x14C;
constexpr const wchar_t* kRegisteredClasses[] = {L"Ovaro.TradeReplaceOrderParameters.1",
                                                 L"Ovaro.adiCombinationOrderItem.1"};
constexpr std::int32_t kHostMode = 0;
constexpr std::int32_t kConnectMode = 1;

// What the head of a program or library says of the processor that it is for; 0 for no such file.
std::uint16_t MachineOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const auto read = [&stream](std::streamoff at, auto number) {
        stream.seekg(at);
        stream.read(reinterpret_cast<char*>(&number), sizeof number);
        return stream ? number : decltype(number){0};
    };
    if (read(0, std::uint16_t{}) != 0x5A4D) return 0;
    const std::uint32_t head = read(0x3C, std::uint32_t{});
    if (read(head, std::uint32_t{}) != 0x4550) return 0;
    return read(head + 4, std::uint16_t{});
}

std::string FileText(const fs::path& path) { return ToUtf8(FromPath(path)); }

// The file that the registry names for a class; "" for none.
fs::path RegisteredFile(const wchar_t* progId) {
    CLSID classId;
    if (FAILED(CLSIDFromProgID(progId, &classId))) return {};
    wchar_t text[64];
    StringFromGUID2(classId, text, static_cast<int>(std::size(text)));
    const Text key = L"CLSID\\" + Text(text) + L"\\InprocServer32";
    wchar_t file[1024] = {};
    DWORD size = sizeof file - sizeof(wchar_t);
    const LSTATUS read =
        RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, file, &size);
    return read == ERROR_SUCCESS ? fs::path(file) : fs::path();
}

std::optional<Finding> NotNeeded(const Case& patient) {
    if (patient.IsPaper()) return Skipped("the paper platform needs none");
    return {};
}

} // namespace

Finding LookAtComponentFile(Case& patient) {
    if (auto finding = NotNeeded(patient)) return *finding;
    const fs::path file = ToPath(ComponentFile());
    if (file.empty()) {
        return Fail("this folder does not lie below OvaroRelease: " + FileText(patient.folder),
                    "put the program's folder into the platform's folder OvaroRelease");
    }
    std::error_code error;
    if (fs::is_regular_file(file, error)) return Ok(FileText(file));
    return Fail("there is no " + FileText(file), "install the platform, or its component, again");
}

Finding LookAtComponentBits(Case&) {
    const std::uint16_t machine = MachineOf(ToPath(ComponentFile()));
    if (machine == kMachine64) return Ok("64 bits");
    return Fail(machine == kMachine32 ? "the component has 32 bits"
                                      : "the component is no library for Windows",
                "install the platform's 64-bit component: OVTradeAPI64.dll");
}

Finding LookAtComponentClasses(Case&) {
    std::string missing;
    for (const ComponentClass& each : kComponentClasses) {
        if (CreateComponentObject(each.progId, 1)) continue;
        missing.append(missing.empty() ? "" : ", ").append(ToUtf8(each.progId));
    }
    if (missing.empty()) return Ok(std::to_string(std::size(kComponentClasses)) + " classes");
    return Fail(
        "the component does not give: " + missing,
        "compare the identifiers in Configs/TradeApi.ini with those of the platform's version");
}

Finding LookAtRegisteredClasses(Case& patient) {
    if (auto finding = NotNeeded(patient)) return *finding;
    for (const wchar_t* progId : kRegisteredClasses) {
        const fs::path file = RegisteredFile(progId);
        std::error_code error;
        if (file.empty()) {
            return Fail(
                ToUtf8(progId) + " is not registered",
                "register the component: regsvr32 OVTradeAPI64.dll, as administrator; without it "
                "orders cannot be replaced");
        }
        if (!fs::is_regular_file(file, error)) {
            return Fail(
                ToUtf8(progId) + " is registered for " + FileText(file) + ", which is not there",
                "register the component again: regsvr32 OVTradeAPI64.dll, as administrator");
        }
    }
    return Ok(std::to_string(std::size(kRegisteredClasses)) + " classes are registered");
}

Finding LookAtPlatformLogIn(Case& patient) {
    if (!patient.request.login) return Skipped("only with --login");
    if (auto finding = NotNeeded(patient)) return *finding;
    if (!patient.IsNamed()) return Skipped("address, system name and key were not given");
    if (patient.runs)
        return Skipped(
            "the gateway runs and is logged in itself; a second log-in might end its own");
    const auto wide = [](const std::string& text) { return FromUtf8(text).value_or(L""); };
    const std::unique_ptr<TradeApi> platform = MakeComTradeApi();
    if (!platform)
        return Fail("the platform's object cannot be made", "see the lines of the component");
    try {
        platform->SetMode(kHostMode);
        const std::int32_t result =
            platform->Connect(wide(patient.request.hostAddress), wide(patient.request.systemName),
                              wide(patient.request.serviceKey), kConnectMode);
        if (result >= 1) return Ok("the platform takes the log-in");
        return Fail(
            "the platform refuses the log-in, result " + std::to_string(result),
            "compare address, system name and key with the platform's; look whether it runs");
    } catch (const std::exception& error) {
        return Fail("the platform fails at the log-in: " + ToUtf8(ReasonOf(error)),
                    "restart the platform");
    }
}

} // namespace halvane::doctor
