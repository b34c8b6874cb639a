#pragma once

#include "foundation/support/Text.h"

#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>
#include <oleauto.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace halvane {

// Owners of what automation hands around, and conversion between its values and ours. Windows only.

struct ReleaseInterface {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface> using ComPtr = std::unique_ptr<Interface, ReleaseInterface>;

// Another interface of the object; null when it has none.
template <class Interface> ComPtr<Interface> QueryInterfaceOf(IUnknown& object, REFIID id) {
    void* found = nullptr;
    if (FAILED(object.QueryInterface(id, &found))) return nullptr;
    return ComPtr<Interface>(static_cast<Interface*>(found));
}

// Owns a VARIANT. Made from a value, it is the argument or result that carries this value: an int32
// is VT_I4, an int64 VT_I8, a text VT_BSTR, an object VT_DISPATCH, and a pointer to another one
// passes that by reference, for the callee to change.
class Variant {
  public:
    Variant() { VariantInit(&value_); }
    Variant(std::int32_t value);
    Variant(std::int64_t value);
    Variant(TextView value);
    Variant(const Text& value) : Variant(TextView(value)) {}
    Variant(IDispatch* object);
    Variant(Variant* target);
    ~Variant() { VariantClear(&value_); }

    Variant(Variant&& other) noexcept : value_(other.Release()) {}
    Variant& operator=(Variant&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }

    VARIANT* Raw() { return &value_; }
    const VARIANT& Value() const { return value_; }

    // Gives the value away.
    VARIANT Release() {
        const VARIANT value = value_;
        VariantInit(&value_);
        return value;
    }

  private:
    VARIANT value_;
};

// The value of any variant, also by reference and of another type that converts; nothing at all
// counts as 0 and "". Throw a TradeApiError when the value does not convert.
std::int32_t ToInt(const VARIANT& value);
std::int64_t ToInt64(const VARIANT& value);
Text ToText(const VARIANT& value);

// The text that the variant holds; nothing when it holds anything else or leads nowhere.
std::optional<Text> HeldText(const VARIANT& value);

// Null when the variant holds no object. The variant keeps its reference.
IDispatch* HeldObject(const VARIANT& value);

// What came with a call, first to last; the index must be below the count.
class CallArguments {
  public:
    explicit CallArguments(const DISPPARAMS& parameters) : parameters_(parameters) {}

    UINT Count() const { return parameters_.cArgs; }
    const VARIANT& At(UINT index) const { return parameters_.rgvarg[Count() - 1 - index]; }

    std::int32_t Int(UINT index) const { return ToInt(At(index)); }
    Text String(UINT index) const { return ToText(At(index)); }
    std::optional<Text> HeldString(UINT index) const { return HeldText(At(index)); }

  private:
    const DISPPARAMS& parameters_;
};

// What the system says to an error code.
Text DescribeError(HRESULT code);

// Initialises COM on the calling thread, for as long as the thread lives; a thread that was
// initialised otherwise stays as it is. Cheap when done before.
void InitialiseComOnThisThread();

} // namespace halvane
