#include "tests/windows/probe/Recorder.h"

#include "foundation/support/Mutex.h"

#include <oleauto.h>

#include <map>
#include <utility>

namespace {

struct Failure {
    HRESULT code;
    SCODE exceptionCode;
    std::wstring description;
};

halvane::Mutex callsLock;
std::wstring calls;
std::map<DISPID, VARIANT> answers;
std::map<DISPID, VARIANT> answersByReference;
std::map<DISPID, Failure> failures;

std::wstring KindOf(WORD flags) {
    switch (flags) {
    case DISPATCH_METHOD: return L"method";
    case DISPATCH_PROPERTYGET: return L"get";
    case DISPATCH_PROPERTYPUT: return L"put";
    default: return L"flags " + std::to_wstring(flags);
    }
}

// An object that came as an argument is called by name 0, which all objects of the probe answer.
std::wstring NameOf(IDispatch* object) {
    if (object == nullptr) return L"nothing";
    VARIANT name{};
    DISPPARAMS none{};
    object->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &name, nullptr, nullptr);
    const std::wstring text = name.vt == VT_BSTR ? name.bstrVal : L"stranger";
    VariantClear(&name);
    return text;
}

std::wstring DescribeCall(const std::wstring& object, DISPID id, WORD flags,
                          const DISPPARAMS& parameters, bool wantsResult) {
    std::wstring line = object + L" " + KindOf(flags) + L" " + std::to_wstring(id) + L"(";
    for (UINT i = parameters.cArgs; i > 0; --i)
        line += Describe(parameters.rgvarg[i - 1]) + (i > 1 ? L", " : L"");
    line += L")";
    for (UINT i = 0; i < parameters.cNamedArgs; ++i)
        line += L" named " + std::to_wstring(parameters.rgdispidNamedArgs[i]);
    return line + (wantsResult ? L" =\n" : L"\n");
}

void Tell(std::map<DISPID, VARIANT>& told, DISPID id, const VARIANT& value) {
    const halvane::MutexLock guard(callsLock);
    VariantCopy(&told[id], const_cast<VARIANT*>(&value));
}

void Forget(std::map<DISPID, VARIANT>& told) {
    for (auto& [id, value] : told)
        VariantClear(&value);
    told.clear();
}

void FillByReference(DISPID id, const DISPPARAMS& parameters) {
    const auto told = answersByReference.find(id);
    if (told == answersByReference.end()) return;
    for (UINT i = 0; i < parameters.cArgs; ++i) {
        const VARIANT& argument = parameters.rgvarg[i];
        if (argument.vt == (VT_BYREF | VT_VARIANT)) VariantCopy(argument.pvarVal, &told->second);
    }
}

// Failures of even ids give their description only when they are asked for it.
HRESULT STDAPICALLTYPE FillInLater(EXCEPINFO* exception) {
    const halvane::MutexLock guard(callsLock);
    const auto told = failures.find(static_cast<DISPID>(exception->wReserved));
    exception->bstrDescription = SysAllocString(told->second.description.c_str());
    return S_OK;
}

} // namespace

std::wstring Describe(const VARIANT& value) {
    switch (value.vt) {
    case VT_EMPTY: return L"EMPTY";
    case VT_I4: return L"I4 " + std::to_wstring(value.lVal);
    case VT_I8: return L"I8 " + std::to_wstring(value.llVal);
    case VT_BSTR:
        return L"BSTR \"" +
               (value.bstrVal ? std::wstring(value.bstrVal, SysStringLen(value.bstrVal)) : L"") +
               L"\"";
    case VT_DISPATCH: return L"DISPATCH " + NameOf(value.pdispVal);
    case VT_BYREF | VT_VARIANT: return L"&" + Describe(*value.pvarVal);
    default: return L"type " + std::to_wstring(value.vt);
    }
}

HRESULT RecordAndAnswer(const std::wstring& object, DISPID id, WORD flags,
                        const DISPPARAMS& parameters, VARIANT* result, EXCEPINFO* exception) {
    const std::wstring line = DescribeCall(object, id, flags, parameters, result != nullptr);
    const halvane::MutexLock guard(callsLock);
    calls += line;
    if (const auto told = failures.find(id); told != failures.end()) {
        const Failure& failure = told->second;
        if (failure.code == DISP_E_EXCEPTION) {
            exception->scode = failure.exceptionCode;
            exception->wReserved = static_cast<WORD>(id);
            if (id % 2 == 0)
                exception->pfnDeferredFillIn = FillInLater;
            else
                exception->bstrDescription = SysAllocString(failure.description.c_str());
        }
        return failure.code;
    }
    FillByReference(id, parameters);
    const auto told = answers.find(id);
    return told != answers.end() && result != nullptr ? VariantCopy(result, &told->second) : S_OK;
}

void ResetRecorder() {
    const halvane::MutexLock guard(callsLock);
    calls.clear();
    failures.clear();
    Forget(answers);
    Forget(answersByReference);
}

void TellAnswer(DISPID id, const VARIANT& value) { Tell(answers, id, value); }

void TellAnswerByReference(DISPID id, const VARIANT& value) { Tell(answersByReference, id, value); }

void TellFailure(DISPID id, HRESULT code, SCODE exceptionCode, const wchar_t* description) {
    const halvane::MutexLock guard(callsLock);
    failures[id] = {code, exceptionCode, description};
}

void MendFailure(DISPID id) {
    const halvane::MutexLock guard(callsLock);
    failures.erase(id);
}

std::wstring TakeCalls() {
    const halvane::MutexLock guard(callsLock);
    return std::exchange(calls, {});
}

const wchar_t* RecordedCalls() {
    static std::wstring given;
    const halvane::MutexLock guard(callsLock);
    given = calls;
    return given.c_str();
}
