#include "tests/windows/probe/Live.h"
#include "tests/windows/probe/Objects.h"
#include "tests/windows/probe/Probe.h"
#include "tests/windows/probe/Recorder.h"
#include "tests/windows/probe/Remote.h"

#include <objbase.h>

#include <cwchar>
#include <filesystem>
#include <fstream>

namespace {

struct ProbeClass {
    const wchar_t* id;
    const wchar_t* name;
};

// Written out again here: the probe stands for a component that was made elsewhere.
// clang-format off
constexpr ProbeClass kClasses[] = {
    {L"{0CF98F95-AFB2-437D-AE52-E4B99945E843}", L"TradeAPI"},
    {L"{24661DB3-7BF1-4B5D-A078-FA38B71C49C1}", L"FutOpt"},
    {L"{135CAED0-D365-41E3-851C-1E9F996B80B9}", L"Stock"},
    {L"{B323E7F5-5455-42FD-9CB6-2FB71E6B7516}", L"Account"},
    {L"{A1F787EE-1C81-4638-BE26-33E83456E1BB}", L"Margin"},
    {L"{281B2D42-ED45-41DD-93A7-BA6966121CE1}", L"Position"},
    {L"{4F379AC1-30D5-4981-AFD5-E458A96C91AB}", L"Report"},
    {L"{FBBC4CDD-6D4F-4A09-B92B-9503EBDEDB4B}", L"Fill"},
    {L"{456085ED-ED7D-46C9-A4BD-D3735526C9A2}", L"ReportList"},
    {L"{C1A5505D-6E5E-4822-BF2B-6BCBCCEA4A9A}", L"Tracker"},
    // Only the registry leads to these.
    {L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B901}", L"Replace"},
    {L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B902}", L"Combination"},
    {L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B903}", L"Renamed"},
};
// clang-format on

int ReadCounter(const wchar_t* name) {
    wchar_t text[16] = L"0";
    GetEnvironmentVariableW(name, text, 16);
    return static_cast<int>(std::wcstol(text, nullptr, 10));
}

void WriteCounter(const wchar_t* name, int value) {
    SetEnvironmentVariableW(name, std::to_wstring(value).c_str());
}

class Factory final : public Live<halvane::Counted<IClassFactory>> {
  public:
    explicit Factory(const wchar_t* name) : name_(name) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = known ? this : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) override {
        WriteCounter(L"PROBE_CREATED", ReadCounter(L"PROBE_CREATED") + 1);
        if (ReadCounter(L"PROBE_WANDER") != 0) SetCurrentDirectoryW(L"C:\\");
        if (const int failures = ReadCounter(L"PROBE_FAIL"); failures > 0) {
            WriteCounter(L"PROBE_FAIL", failures - 1);
            return E_FAIL;
        }
        IUnknown* instance = MakeProbeObject(name_);
        const HRESULT result = instance->QueryInterface(id, object);
        instance->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

  private:
    const wchar_t* name_;
};

// Crashes where it was told to.
void Crash(int place) {
    if (ReadCounter(L"PROBE_CRASH") == place)
        RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

void NoteAsked() {
    wchar_t path[512] = L"";
    if (GetEnvironmentVariableW(L"PROBE_ASKED", path, 512) != 0)
        std::ofstream(std::filesystem::path(path)) << liveObjects;
}

int CountLiveObjects() { return liveObjects; }

} // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID id, void** object) {
    wchar_t text[40];
    wchar_t refused[40] = L"";
    StartRemote();
    StringFromGUID2(classId, text, 40);
    GetEnvironmentVariableW(L"PROBE_REFUSE", refused, 40);
    for (const ProbeClass& known : kClasses) {
        if (std::wcscmp(known.id, text) != 0 || std::wcscmp(refused, text) == 0) continue;
        IClassFactory* factory = new Factory(known.name);
        const HRESULT result = factory->QueryInterface(id, object);
        factory->Release();
        return result;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
    NoteAsked();
    Crash(1);
    return liveObjects == 0 ? S_OK : S_FALSE;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_DETACH) Crash(2);
    return TRUE;
}

extern "C" const ProbeControls* ProbeGetControls() {
    static constexpr ProbeControls kControls = {
        ResetRecorder,    TellAnswer, TellAnswerByReference, TellFailure, RecordedCalls,
        CountLiveObjects, FireEvent,
    };
    return &kControls;
}
