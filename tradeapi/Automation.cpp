#include "tradeapi/Automation.h"

#include "foundation/support/Numbers.h"
#include "tradeapi/TradeApi.h"

#include <objbase.h>

#include <iterator>
#include <new>

namespace halvane {
namespace {

bool LeadsNowhere(const VARIANT& value) {
    if ((value.vt & VT_BYREF) == 0) return false;
    if (value.byref == nullptr) return true;
    if (value.vt != (VT_BYREF | VT_VARIANT)) return false;
    return (value.pvarVal->vt & VT_BYREF) != 0 && value.pvarVal->byref == nullptr;
}

// The value itself, whatever lies between; nothing for what leads nowhere. Fails for a reference to
// a reference, among others.
HRESULT Dereference(const VARIANT& value, Variant& plain) {
    if (LeadsNowhere(value)) return S_OK;
    return VariantCopyInd(plain.Raw(), const_cast<VARIANT*>(&value));
}

Variant Converted(const VARIANT& value, VARTYPE type) {
    Variant plain;
    if (const HRESULT code = Dereference(value, plain); FAILED(code))
        throw TradeApiError(code, DescribeError(code));
    if (plain.Value().vt == type) return plain;
    const bool nothing = plain.Value().vt == VT_NULL ||
                         (plain.Value().vt == VT_BSTR && SysStringLen(plain.Value().bstrVal) == 0);
    if (nothing) plain = Variant();
    const HRESULT result = VariantChangeTypeEx(plain.Raw(), plain.Raw(), LOCALE_INVARIANT, 0, type);
    if (FAILED(result)) throw TradeApiError(result, DescribeError(result));
    return plain;
}

Text TextOf(BSTR text) { return {text != nullptr ? text : L"", SysStringLen(text)}; }

} // namespace

Variant::Variant(std::int32_t value) : Variant() {
    value_.vt = VT_I4;
    value_.lVal = value;
}

Variant::Variant(std::int64_t value) : Variant() {
    value_.vt = VT_I8;
    value_.llVal = value;
}

Variant::Variant(TextView value) : Variant() {
    value_.bstrVal = SysAllocStringLen(value.data(), static_cast<UINT>(value.size()));
    if (value_.bstrVal == nullptr) throw std::bad_alloc();
    value_.vt = VT_BSTR;
}

Variant::Variant(IDispatch* object) : Variant() {
    if (object != nullptr) object->AddRef();
    value_.vt = VT_DISPATCH;
    value_.pdispVal = object;
}

Variant::Variant(Variant* target) : Variant() {
    value_.vt = VT_BYREF | VT_VARIANT;
    value_.pvarVal = target->Raw();
}

std::int32_t ToInt(const VARIANT& value) { return Converted(value, VT_I4).Value().lVal; }

std::int64_t ToInt64(const VARIANT& value) { return Converted(value, VT_I8).Value().llVal; }

Text ToText(const VARIANT& value) { return TextOf(Converted(value, VT_BSTR).Value().bstrVal); }

std::optional<Text> HeldText(const VARIANT& value) {
    Variant plain;
    if (FAILED(Dereference(value, plain)) || plain.Value().vt != VT_BSTR) return std::nullopt;
    return TextOf(plain.Value().bstrVal);
}

IDispatch* HeldObject(const VARIANT& value) {
    if (value.vt == VT_DISPATCH) return value.pdispVal;
    if (value.vt == (VT_BYREF | VT_DISPATCH) && value.ppdispVal != nullptr) return *value.ppdispVal;
    if (value.vt == (VT_BYREF | VT_VARIANT) && value.pvarVal != nullptr)
        return HeldObject(*value.pvarVal);
    return nullptr;
}

Text DescribeError(HRESULT code) {
    wchar_t text[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, static_cast<DWORD>(code), 0, text,
                                        static_cast<DWORD>(std::size(text)), nullptr);
    TextView said(text, length);
    while (!said.empty() && said.back() <= L' ')
        said.remove_suffix(1);
    return said.empty() ? L"error " + DecimalText(code) : Text(said);
}

void InitialiseComOnThisThread() {
    // Not undone: the end of a thread is no place to call COM from, and the system tidies up there.
    thread_local const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    static_cast<void>(initialised);
}

} // namespace halvane
