#pragma once

#include "foundation/support/Text.h"

#include <windows.h>

namespace halvane {

// A class in the registry for as long as this lives.
class RegisteredClass {
  public:
    RegisteredClass(const Text& progId, const Text& classId, const Text& file)
        : progIdKey_(L"Software\\Classes\\" + progId),
          classKey_(L"Software\\Classes\\CLSID\\" + classId) {
        Write(progIdKey_ + L"\\CLSID", nullptr, classId);
        Write(classKey_ + L"\\InprocServer32", nullptr, file);
        Write(classKey_ + L"\\InprocServer32", L"ThreadingModel", L"Both");
    }
    ~RegisteredClass() {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, progIdKey_.c_str());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, classKey_.c_str());
    }
    RegisteredClass(const RegisteredClass&) = delete;
    RegisteredClass& operator=(const RegisteredClass&) = delete;

  private:
    static void Write(const Text& key, const wchar_t* name, const Text& value) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, value.c_str(),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }

    const Text progIdKey_;
    const Text classKey_;
};

} // namespace halvane
