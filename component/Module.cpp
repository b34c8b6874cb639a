#include "component/Classes.h"
#include "component/ComponentObject.h"
#include "component/Registration.h"

// What the component's file offers by name.

namespace halvane {
namespace {

// This file as it is loaded. A flag for GetModuleHandleEx says what becomes of its reference.
HMODULE ThisModule(DWORD flags) {
    static const int address = 0;
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flags,
                       reinterpret_cast<const wchar_t*>(&address), &module);
    return module;
}

Text ThisFile() {
    Text path(32 * 1024, L'\0');
    const HMODULE module = ThisModule(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT);
    path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

} // namespace
} // namespace halvane

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    // The objects have threads, which need this code until they end; callers unload it when they
    // please.
    halvane::ThisModule(GET_MODULE_HANDLE_EX_FLAG_PIN);
    const auto factory = halvane::MakeClassFactory(classId);
    return factory ? factory->QueryInterface(id, object) : CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
    return halvane::CountComponentObjects() == 0 ? S_OK : S_FALSE;
}

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer() {
    return halvane::RegisterClasses(halvane::ThisFile());
}

extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer() { return halvane::UnregisterClasses(); }
