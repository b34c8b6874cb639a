#include "tradeapi/com/ComponentLoader.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Process.h"
#include "tradeapi/com/Identifiers.h"

#include <map>
#include <type_traits>

namespace halvane {
namespace {

constexpr std::uint32_t kPauseMs = 200;

struct FreeModule {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeModule>;

// Null when the module has no function of that name.
template <typename Function> Function ExportOf(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// The loaded component files by path. They stay when the process ends by itself: threads of theirs
// may still run.
class ModuleCache {
  public:
    HMODULE Find(const Text& file) {
        const MutexLock guard(lock_);
        const auto found = modules_.find(file);
        return found != modules_.end() ? found->second : nullptr;
    }

    // A module that another thread entered first stays; then ours goes.
    void Enter(const Text& file, Module& module) {
        const MutexLock guard(lock_);
        if (modules_.try_emplace(file, module.get()).second) static_cast<void>(module.release());
    }

    void Unload() {
        std::map<Text, HMODULE> modules;
        {
            const MutexLock guard(lock_);
            modules.swap(modules_);
        }
        for (const auto& [file, module] : modules)
            if (IsUnused(module)) FreeLibrary(module);
    }

  private:
    static bool IsUnused(HMODULE module) {
        using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
        const auto canUnloadNow = ExportOf<CanUnloadNow>(module, "DllCanUnloadNow");
        return canUnloadNow != nullptr && canUnloadNow() == S_OK;
    }

    Mutex lock_;
    std::map<Text, HMODULE> modules_ GUARDED_BY(lock_);
};

ModuleCache& TheModules() {
    static ModuleCache modules;
    return modules;
}

// Keeps the process's current directory over a call that may change it; one that is longer than the
// buffer is left as the call leaves it.
class CurrentDirectoryKeeper {
  public:
    CurrentDirectoryKeeper() {
        const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(std::size(path_)), path_);
        if (length >= std::size(path_)) path_[0] = L'\0';
    }
    ~CurrentDirectoryKeeper() {
        if (path_[0] != L'\0') SetCurrentDirectoryW(path_);
    }
    CurrentDirectoryKeeper(const CurrentDirectoryKeeper&) = delete;
    CurrentDirectoryKeeper& operator=(const CurrentDirectoryKeeper&) = delete;

  private:
    wchar_t path_[256 + 1] = {};
};

// "" when the executable does not lie below the platform's folder.
Text FindComponentFile() {
    constexpr TextView kRoot = L"OvaroRelease";
    const Text folder = ExecutableFolder();
    const std::size_t root = folder.find(kRoot);
    if (root == Text::npos) return {};
    return folder.substr(0, root + kRoot.size()) + L"\\Components\\OVTradeAPI64.dll";
}

ComPtr<IDispatch> CreateFrom(HMODULE module, const CLSID& classId) {
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject = ExportOf<GetClassObject>(module, "DllGetClassObject");
    void* found = nullptr;
    if (getClassObject == nullptr || FAILED(getClassObject(classId, IID_IClassFactory, &found)))
        return nullptr;
    const ComPtr<IClassFactory> factory(static_cast<IClassFactory*>(found));
    if (!factory || FAILED(factory->CreateInstance(nullptr, IID_IUnknown, &found))) return nullptr;
    const ComPtr<IUnknown> instance(static_cast<IUnknown*>(found));
    return instance ? QueryInterfaceOf<IDispatch>(*instance, IID_IDispatch) : nullptr;
}

ComPtr<IDispatch> TryToCreate(const Text& file, const CLSID& classId) {
    HMODULE module = TheModules().Find(file);
    Module loaded;
    if (module == nullptr) {
        // What the component needs itself is looked for beside it.
        loaded.reset(LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
        module = loaded.get();
    }
    if (module == nullptr) return nullptr;
    ComPtr<IDispatch> object = CreateFrom(module, classId);
    if (object && loaded) TheModules().Enter(file, loaded);
    return object;
}

} // namespace

const Text& ComponentFile() {
    static const Text file = FindComponentFile();
    return file;
}

ComPtr<IDispatch> CreateComponentObject(const wchar_t* progId, int attempts) {
    InitialiseComOnThisThread();
    const Text& file = ComponentFile();
    const std::optional<CLSID> classId = ClassIdOf(progId);
    if (file.empty() || !classId) return nullptr;
    const CurrentDirectoryKeeper keeper;
    for (int attempt = 1;; ++attempt) {
        if (ComPtr<IDispatch> object = TryToCreate(file, *classId)) return object;
        if (attempt >= attempts) return nullptr;
        TheClock().Sleep(kPauseMs);
    }
}

ComPtr<IDispatch> CreateAutomationObject(const wchar_t* progId) {
    if (ComPtr<IDispatch> object = CreateComponentObject(progId)) return object;
    CLSID classId;
    void* found = nullptr;
    if (FAILED(CLSIDFromProgID(progId, &classId)) ||
        FAILED(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &found)))
        return nullptr;
    return ComPtr<IDispatch>(static_cast<IDispatch*>(found));
}

void UnloadComponentModules() { TheModules().Unload(); }

} // namespace halvane
