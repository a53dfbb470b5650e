// What every object of the component model has: its references, and the interface that it is known by.
#pragma once

#include <atomic>

#include "win32/com.h"

namespace win32 {

// An object of one interface besides IUnknown. Starts with one reference.
template <typename Interface, const IID& interfaceIdentifier>
class ComObject : public Interface {
public:
    ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;
    virtual ~ComObject() = default;

    HRESULT QueryInterface(REFIID interfaceId, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (!(interfaceId == IID_IUnknown) && !(interfaceId == interfaceIdentifier)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }

    ULONG AddRef() override { return ++references_; }

    ULONG Release() override {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    std::atomic<ULONG> references_ = 1;
};

// Hands a new object out through the interface asked for, or lets it go.
template <typename Object>
HRESULT handOut(Object* object, REFIID interfaceId, void** result) {
    const HRESULT status = object->QueryInterface(interfaceId, result);
    object->Release();
    return status;
}

}  // namespace win32
