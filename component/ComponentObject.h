#pragma once

#include "tradeapi/Automation.h"
#include "tradeapi/AutomationObject.h"

namespace halvane {

class Item;
class OrderParameters;
class PositionTracker;

// Objects of this module that are still referred to.
int CountComponentObjects();

// What all objects of the component have in common: late binding by dispatch id, and the way from
// an object that comes as an argument to what it stands for. No exception leaves it: a failure is
// reported as automation reports failures.
class ComponentObject : public LateBound<> {
  public:
    ComponentObject();
    ~ComponentObject() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                     UINT* fault) override;

    // What the object is to the paper platform; null for what it is not.
    virtual Item* AsItem() { return nullptr; }
    virtual OrderParameters* AsParameters() { return nullptr; }
    virtual PositionTracker* AsTracker() { return nullptr; }

  protected:
    // Answers a call: S_OK and a result, or how it is refused. May throw.
    virtual HRESULT Answer(DISPID id, WORD flags, const CallArguments& arguments,
                           Variant& result) = 0;

    // An interface beyond those that every object has; null when there is none. Adds no reference.
    virtual IUnknown* FindInterface(REFIID) { return nullptr; }
};

// The object of this component behind an automation object; null when it comes from elsewhere. It
// lives as long as the automation object.
ComponentObject* OwnObject(IDispatch* object);

} // namespace halvane
