#pragma once

#include "WindowsHeaders.h"

#include <taskschd.h>

#ifdef __MINGW32__
// mingw-w64's taskschd.h lacks this interface of Task Scheduler 2.0.
struct ITaskNamedValueCollection;

// A COM interface has no destructor; Release destroys its objects.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
struct IEventTrigger : public ITrigger
{
    virtual HRESULT STDMETHODCALLTYPE get_Subscription(BSTR* query) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Subscription(BSTR query) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Delay(BSTR* delay) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Delay(BSTR delay) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ValueQueries(ITaskNamedValueCollection** queries) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_ValueQueries(ITaskNamedValueCollection* queries) = 0;
};
#pragma GCC diagnostic pop
#endif

// NOLINTNEXTLINE(readability-identifier-naming): as interface identifiers are written
inline constexpr IID IID_EventTrigger = {
    0xd45b0167, 0x9653, 0x4eef, {0xb9, 0x4f, 0x07, 0x32, 0xca, 0x7a, 0xf2, 0x51}};
