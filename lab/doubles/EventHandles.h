// What the event log's handles stand for. A value is never used twice in a process, so that a
// handle used after its close cannot be taken for another.
#pragma once

#include "WindowsHeaders.h"

#include "EventChannel.h"

#include <winevt.h>

#include <memory>
#include <string>
#include <vector>

namespace PalvoLab
{

inline constexpr DWORD kInvalidQuery = 15001;
inline constexpr DWORD kChannelNotFound = 15007;
inline constexpr DWORD kStaleResult = 15011;

class EventHandleObject
{
public:
    virtual ~EventHandleObject() = default;
    virtual const wchar_t* Kind() const = 0;
};

struct ResultSet : EventHandleObject
{
    explicit ResultSet(EventChannel of) : channel(std::move(of)) {}

    const wchar_t* Kind() const override { return L"query"; }

    EventChannel channel;
    std::uint32_t generation = 0;
    std::vector<Event> events;
    std::size_t next = 0;
    std::size_t batches = 0; // how many were asked for
};

struct EventObject : EventHandleObject
{
    const wchar_t* Kind() const override { return L"event"; }

    std::wstring channel;
    Event event;
};

struct RenderContext : EventHandleObject
{
    const wchar_t* Kind() const override { return L"render context"; }

    std::vector<XPath> paths;
};

struct ConfigObject : EventHandleObject
{
    explicit ConfigObject(EventChannel of) : channel(std::move(of)) {}

    const wchar_t* Kind() const override { return L"channel configuration"; }

    EventChannel channel;
    ChannelConfig config;
};

EVT_HANDLE OpenEventHandle(std::unique_ptr<EventHandleObject> object);
bool CloseEventHandle(EVT_HANDLE handle);

// Null for a handle that is not open; a program's use of such a one is counted.
EventHandleObject* FindAnyEventHandle(EVT_HANDLE handle);

// Null for a handle of another kind too.
template <typename T> T* FindEventHandle(EVT_HANDLE handle)
{
    return handle == nullptr ? nullptr : dynamic_cast<T*>(FindAnyEventHandle(handle));
}

} // namespace PalvoLab
