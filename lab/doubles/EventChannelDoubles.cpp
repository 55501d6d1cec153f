// Doubles of the event channel's configuration, and the table of the event log's handles.
#include "DoubleTable.h"
#include "EventHandles.h"
#include "Impersonation.h"

#include "CallRecord.h"
#include "LeakRecord.h"

#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"event handle";
constexpr std::uint64_t kSmallestLog = 1052672;

SRWLOCK handleLock = SRWLOCK_INIT;

class Guard
{
public:
    Guard() { AcquireSRWLockExclusive(&handleLock); }

    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    ~Guard() { ReleaseSRWLockExclusive(&handleLock); }
};

std::map<EVT_HANDLE, std::unique_ptr<EventHandleObject>>& Table()
{
    static auto* table = new std::map<EVT_HANDLE, std::unique_ptr<EventHandleObject>>;
    return *table;
}

EVT_HANDLE WINAPI DoubleEvtOpenChannelConfig(EVT_HANDLE session, LPCWSTR path, DWORD flags)
{
    Call call(L"EvtOpenChannelConfig", path, flags);
    if (session != nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE, EVT_HANDLE{nullptr});
    }
    if (path == nullptr || flags != 0)
    {
        return call.Fail(ERROR_INVALID_PARAMETER, EVT_HANDLE{nullptr});
    }
    const auto channel = EventChannel::Find(path);
    if (!channel)
    {
        return call.Fail(kChannelNotFound, EVT_HANDLE{nullptr});
    }
    auto object = std::make_unique<ConfigObject>(*channel);
    object->config = channel->Config();
    return call.Return(OpenEventHandle(std::move(object)));
}

// Each property has one type; a value of another is refused.
bool SetProperty(ChannelConfig& config, EVT_CHANNEL_CONFIG_PROPERTY_ID id, const EVT_VARIANT& value)
{
    switch (id)
    {
    case EvtChannelConfigEnabled:
        config.enabled = value.BooleanVal != FALSE;
        return value.Type == EvtVarTypeBoolean;
    case EvtChannelLoggingConfigRetention:
        config.retention = value.BooleanVal != FALSE;
        return value.Type == EvtVarTypeBoolean;
    case EvtChannelLoggingConfigMaxSize:
        config.maxSize = value.UInt64Val;
        return value.Type == EvtVarTypeUInt64 && value.UInt64Val >= kSmallestLog;
    default:
        return false;
    }
}

BOOL WINAPI DoubleEvtSetChannelConfigProperty(EVT_HANDLE handle, EVT_CHANNEL_CONFIG_PROPERTY_ID id,
                                              DWORD flags, PEVT_VARIANT value)
{
    Call call(L"EvtSetChannelConfigProperty", handle, static_cast<DWORD>(id), flags);
    auto* object = FindEventHandle<ConfigObject>(handle);
    if (object == nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    ChannelConfig config = object->config;
    if (flags != 0 || value == nullptr || !SetProperty(config, id, *value))
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    object->config = config;
    return call.Return(TRUE);
}

// What the program sets and the doctor asks; nothing of the other properties is modelled.
bool GetProperty(const ChannelConfig& config, EVT_CHANNEL_CONFIG_PROPERTY_ID id, EVT_VARIANT& value)
{
    value = {};
    switch (id)
    {
    case EvtChannelConfigEnabled:
        value.BooleanVal = config.enabled ? TRUE : FALSE;
        value.Type = EvtVarTypeBoolean;
        return true;
    case EvtChannelLoggingConfigRetention:
        value.BooleanVal = config.retention ? TRUE : FALSE;
        value.Type = EvtVarTypeBoolean;
        return true;
    case EvtChannelLoggingConfigMaxSize:
        value.UInt64Val = config.maxSize;
        value.Type = EvtVarTypeUInt64;
        return true;
    default:
        return false;
    }
}

BOOL WINAPI DoubleEvtGetChannelConfigProperty(EVT_HANDLE handle, EVT_CHANNEL_CONFIG_PROPERTY_ID id,
                                              DWORD flags, DWORD size, PEVT_VARIANT buffer,
                                              PDWORD used)
{
    Call call(L"EvtGetChannelConfigProperty", handle, static_cast<DWORD>(id), flags, size);
    const auto* object = FindEventHandle<ConfigObject>(handle);
    if (object == nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    EVT_VARIANT value;
    if (flags != 0 || used == nullptr || (buffer == nullptr && size != 0) ||
        !GetProperty(object->config, id, value))
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    *used = sizeof value;
    if (size < sizeof value)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    *buffer = value;
    return call.Return(TRUE);
}

BOOL WINAPI DoubleEvtSaveChannelConfig(EVT_HANDLE handle, DWORD flags)
{
    Call call(L"EvtSaveChannelConfig", handle, flags);
    const auto* object = FindEventHandle<ConfigObject>(handle);
    if (object == nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (flags != 0)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (!EffectiveIdentity().isAdministrator)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    object->channel.SaveConfig(object->config);
    return call.Return(TRUE);
}

} // namespace

EVT_HANDLE OpenEventHandle(std::unique_ptr<EventHandleObject> object)
{
    static std::uintptr_t last = 0x4E0000;
    const std::wstring kind = object->Kind();
    const Guard guard;
    last += 4;
    const auto handle = reinterpret_cast<EVT_HANDLE>(last);
    Table()[handle] = std::move(object);
    CountOpened(kKind, handle, kind);
    return handle;
}

bool CloseEventHandle(EVT_HANDLE handle)
{
    const Guard guard;
    Table().erase(handle);
    return CountClosed(kKind, handle);
}

EventHandleObject* FindAnyEventHandle(EVT_HANDLE handle)
{
    const Guard guard;
    const auto entry = Table().find(handle);
    if (entry == Table().end())
    {
        CountMisuse(kKind, L"used that is not open");
        return nullptr;
    }
    return entry->second.get();
}

void AddEventChannelDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtOpenChannelConfig);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtGetChannelConfigProperty);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtSetChannelConfigProperty);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtSaveChannelConfig);
}

} // namespace PalvoLab
