#include "ChannelState.h"

#include "Format.h"
#include "PrintServiceChannel.h"
#include "StandardOutput.h"

namespace
{
bool IsTruth(EVT_CHANNEL_CONFIG_PROPERTY_ID id)
{
    return id != EvtChannelLoggingConfigMaxSize;
}

EVT_VARIANT VariantOf(EVT_CHANNEL_CONFIG_PROPERTY_ID id, std::uint64_t number)
{
    EVT_VARIANT variant = {};
    if (IsTruth(id))
    {
        variant.Type = EvtVarTypeBoolean;
        variant.BooleanVal = number != 0 ? TRUE : FALSE;
    }
    else
    {
        variant.Type = EvtVarTypeUInt64;
        variant.UInt64Val = number;
    }
    return variant;
}

bool Fail(const wchar_t* what)
{
    StandardOutput::Write(
        Format(L"The channel cannot be %s: %lu\n", std::wstring(what), GetLastError()));
    return false;
}
} // namespace

ChannelNumbers ReadChannel()
{
    ChannelNumbers numbers;
    const EventHandle channel(EvtOpenChannelConfig(nullptr, PrintServiceChannel, 0));
    for (const EVT_CHANNEL_CONFIG_PROPERTY_ID id : ChannelProperties)
    {
        EVT_VARIANT value = {};
        DWORD used = 0;
        if (channel &&
            EvtGetChannelConfigProperty(channel.Get(), id, 0, sizeof value, &value, &used))
        {
            numbers[id] = IsTruth(id) ? (value.BooleanVal != FALSE ? 1U : 0U) : value.UInt64Val;
        }
    }
    return numbers;
}

bool WriteChannel(const ChannelNumbers& numbers)
{
    const EventHandle channel(EvtOpenChannelConfig(nullptr, PrintServiceChannel, 0));
    if (!channel)
    {
        return Fail(L"opened");
    }
    for (const auto& [id, number] : numbers)
    {
        EVT_VARIANT value = VariantOf(id, number);
        if (!EvtSetChannelConfigProperty(channel.Get(), id, 0, &value))
        {
            return Fail(L"set");
        }
    }
    return EvtSaveChannelConfig(channel.Get(), 0) || Fail(L"saved");
}
