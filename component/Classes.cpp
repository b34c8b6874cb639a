#include "component/Classes.h"

#include "component/ItemObjects.h"
#include "component/TradeApiObject.h"

#include <objbase.h>

#include <iterator>

namespace halvane {
namespace {

constexpr ComponentClass kRegistryClasses[] = {
    {L"Ovaro.adiCombinationOrderItem.1", L"{E8FE5147-AB3D-4BBA-A2C9-74D4A9DDC9E8}"},
    {L"Ovaro.TradeReplaceOrderParameters.1", L"{CFA7FF53-10DA-41CA-8A25-81AF31267FB1}"},
};

class ClassFactory final : public Counted<IClassFactory> {
  public:
    explicit ClassFactory(const ComponentClass& componentClass) : class_(componentClass) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        const bool offered = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = offered ? this : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        try {
            return MakeComponentObject(class_)->QueryInterface(id, object);
        } catch (const std::exception&) {
            return E_OUTOFMEMORY; // nor threads, for that matter
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

  private:
    const ComponentClass class_;
};

ComPtr<IDispatch> MakeItemObject(ItemClass itemClass) {
    switch (itemClass) {
    case ItemClass::StockOrder:
    case ItemClass::FutOptOrder:
    case ItemClass::ReplaceOrder: return ComPtr<IDispatch>(new ParametersObject);
    case ItemClass::PositionTracker: return ComPtr<IDispatch>(new TrackerObject);
    default: return ComPtr<IDispatch>(new ItemObject(itemClass));
    }
}

} // namespace

const std::vector<ComponentClass>& AllComponentClasses() {
    static const std::vector<ComponentClass> all = [] {
        std::vector<ComponentClass> classes(std::begin(kComponentClasses),
                                            std::end(kComponentClasses));
        classes.insert(classes.end(), std::begin(kRegistryClasses), std::end(kRegistryClasses));
        return classes;
    }();
    return all;
}

ComPtr<IDispatch> MakeComponentObject(const ComponentClass& componentClass) {
    for (int each = 0; each <= static_cast<int>(ItemClass::PositionTracker); ++each) {
        const auto itemClass = static_cast<ItemClass>(each);
        if (TextView(componentClass.progId) == ProgIdOf(itemClass))
            return MakeItemObject(itemClass);
    }
    return ComPtr<IDispatch>(static_cast<ComponentObject*>(new TradeApiObject));
}

ComPtr<IClassFactory> MakeClassFactory(REFCLSID classId) {
    for (const ComponentClass& each : AllComponentClasses()) {
        CLSID id;
        if (SUCCEEDED(IIDFromString(each.classId, &id)) && IsEqualCLSID(id, classId))
            return ComPtr<IClassFactory>(new ClassFactory(each));
    }
    return nullptr;
}

} // namespace halvane
