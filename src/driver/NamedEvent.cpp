#include "NamedEvent.h"

#include <utility>

NamedEvent::NamedEvent(std::wstring eventName, bool isSignalledAtFirst)
    : handle(eventName.empty()
                 ? nullptr
                 : CreateEventW(nullptr, FALSE, isSignalledAtFirst, eventName.c_str())),
      name(std::move(eventName)),
      initialState(isSignalledAtFirst)
{
}

void NamedEvent::Set() noexcept
{
    if (handle)
    {
        SetEvent(handle.Get());
    }
}

bool NamedEvent::Consume() noexcept
{
    return handle && WaitForSingleObject(handle.Get(), 0) == WAIT_OBJECT_0;
}
