#include "component/Registration.h"

#include "component/Classes.h"

#include <olectl.h>

namespace halvane {
namespace {

constexpr const wchar_t* kDescription = L"Halvane paper platform"; // tells our entries from others

const HKEY kRoots[] = {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER};

Text ProgIdKey(const ComponentClass& each) { return Text(L"Software\\Classes\\") + each.progId; }

Text ClassKey(const ComponentClass& each) {
    return Text(L"Software\\Classes\\CLSID\\") + each.classId;
}

// The default value of a key; "" when there is none.
Text Read(HKEY root, const Text& key) {
    wchar_t value[256];
    DWORD size = sizeof(value);
    if (RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size) != 0)
        return {};
    return value;
}

bool Write(HKEY root, const Text& key, const wchar_t* name, const Text& value) {
    const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    return RegSetKeyValueW(root, key.c_str(), name, REG_SZ, value.c_str(), size) == 0;
}

bool IsOurs(HKEY root, const Text& key) { return Read(root, key) == kDescription; }

bool IsForeign(HKEY root, const Text& key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != 0) return false;
    RegCloseKey(opened);
    return !IsOurs(root, key);
}

bool WriteClass(HKEY root, const ComponentClass& each, const Text& file) {
    const Text server = ClassKey(each) + L"\\InprocServer32";
    return Write(root, ProgIdKey(each), nullptr, kDescription) &&
           Write(root, ProgIdKey(each) + L"\\CLSID", nullptr, each.classId) &&
           Write(root, ClassKey(each), nullptr, kDescription) &&
           Write(root, ClassKey(each) + L"\\ProgID", nullptr, each.progId) &&
           Write(root, server, nullptr, file) && Write(root, server, L"ThreadingModel", L"Both");
}

bool WriteClasses(HKEY root, const Text& file) {
    for (const ComponentClass& each : AllComponentClasses())
        if (!WriteClass(root, each, file)) return false;
    return true;
}

void RemoveIfOurs(HKEY root, const Text& key) {
    if (IsOurs(root, key)) RegDeleteTreeW(root, key.c_str());
}

} // namespace

HRESULT RegisterClasses(const Text& file) {
    for (const HKEY root : kRoots)
        for (const ComponentClass& each : AllComponentClasses())
            if (IsForeign(root, ProgIdKey(each)) || IsForeign(root, ClassKey(each)))
                return SELFREG_E_CLASS;
    for (const HKEY root : kRoots)
        if (WriteClasses(root, file)) return S_OK;
    return SELFREG_E_CLASS;
}

HRESULT UnregisterClasses() {
    for (const HKEY root : kRoots) {
        for (const ComponentClass& each : AllComponentClasses()) {
            RemoveIfOurs(root, ProgIdKey(each));
            RemoveIfOurs(root, ClassKey(each));
        }
    }
    return S_OK;
}

} // namespace halvane
