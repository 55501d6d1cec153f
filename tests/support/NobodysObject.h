#pragma once

#include <unknwn.h>

/// What a COM call that fails leaves where an object was to be. It is nobody's to give back; who
/// does so all the same is counted. It can stand for an object of any interface, since that is all
/// that is done with it.
class NobodysObject final : public IUnknown
{
public:
    template <class Interface> void LeaveAt(Interface** place)
    {
        *place = reinterpret_cast<Interface*>(static_cast<IUnknown*>(this));
    }
    unsigned releases = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        ++releases;
        return 1;
    }
};
