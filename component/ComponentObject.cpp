#include "component/ComponentObject.h"

#include "foundation/support/Utf.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

std::atomic<int> liveObjects = 0;

// Only objects of this module answer to it, with themselves.
constexpr IID kOwnObjectId = {
    0xb6209c75, 0xe8b8, 0x4fbd, {0xb9, 0x7a, 0x55, 0x8f, 0x8c, 0x9e, 0x3d, 0x99}};

HRESULT Fail(EXCEPINFO* exception, std::int32_t code, TextView text) {
    if (exception == nullptr) return DISP_E_EXCEPTION;
    *exception = {};
    exception->scode = code;
    exception->bstrDescription = Variant(text).Release().bstrVal;
    exception->bstrSource = Variant(TextView(L"OVTradeAPI64")).Release().bstrVal;
    return DISP_E_EXCEPTION;
}

} // namespace

int CountComponentObjects() { return liveObjects; }

ComponentObject::ComponentObject() { ++liveObjects; }
ComponentObject::~ComponentObject() { --liveObjects; }

HRESULT ComponentObject::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) return E_POINTER;
    const bool common = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch) ||
                        IsEqualIID(id, kOwnObjectId);
    IUnknown* found = common ? this : FindInterface(id);
    *object = found;
    if (found == nullptr) return E_NOINTERFACE;
    found->AddRef();
    return S_OK;
}

HRESULT ComponentObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                VARIANT* result, EXCEPINFO* exception, UINT*) {
    if (parameters == nullptr) return E_POINTER;
    try {
        Variant answer;
        const HRESULT code = Answer(id, flags, CallArguments(*parameters), answer);
        if (SUCCEEDED(code) && result != nullptr) *result = answer.Release();
        return code;
    } catch (const TradeApiError& error) {
        return Fail(exception, error.Code(), error.Description());
    } catch (const std::exception& error) {
        return Fail(exception, E_FAIL, ReasonOf(error));
    }
}

ComponentObject* OwnObject(IDispatch* object) {
    void* found = nullptr;
    if (object == nullptr || FAILED(object->QueryInterface(kOwnObjectId, &found))) return nullptr;
    const ComPtr<IUnknown> released(static_cast<IUnknown*>(found));
    return static_cast<ComponentObject*>(released.get());
}

} // namespace halvane
