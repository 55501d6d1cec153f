#include "ChannelSetup.h"

#include "EventOwners.h"
#include "Format.h"
#include "PrintServiceChannel.h"
#include "StandardOutput.h"

#include <array>

namespace
{
constexpr UINT64 MaximumSizeBytes = 1052672;

using FailureFormat = WideFormat<DWORD>;

// Constants, since Visual C++ checks no format in the middle of values that it learns at run time.
constexpr FailureFormat EnabledNotSet =
    L"EvtSetChannelConfigProperty for Enabled property failed with %lu\n";
constexpr FailureFormat RetentionNotSet =
    L"EvtSetChannelConfigProperty for Retention property failed with %lu\n";
constexpr FailureFormat MaximumSizeNotSet =
    L"EvtChannelLoggingConfigMaxSize for MAx Size property failed with %lu\n";

struct ChannelProperty
{
    EVT_CHANNEL_CONFIG_PROPERTY_ID id;
    EVT_VARIANT value;
    ChannelSetupStatus failureStatus;
    FailureFormat failure;
};

EVT_VARIANT Boolean(bool value)
{
    EVT_VARIANT variant = {};
    variant.BooleanVal = value ? TRUE : FALSE;
    variant.Type = EvtVarTypeBoolean;
    return variant;
}

EVT_VARIANT Number(UINT64 value)
{
    EVT_VARIANT variant = {};
    variant.UInt64Val = value;
    variant.Type = EvtVarTypeUInt64;
    return variant;
}

ChannelSetupStatus Fail(FailureFormat failure, ChannelSetupStatus status)
{
    StandardOutput::Write(Format<DWORD>(failure, GetLastError()));
    return status;
}
} // namespace

ChannelSetupStatus ConfigurePrintServiceChannel(bool enable)
{
    const EventHandle channel(EvtOpenChannelConfig(nullptr, PrintServiceChannel, 0));
    if (!channel)
    {
        return Fail(L"EvtOpenChannelConfig failed with %lu.\n", ChannelSetupStatus::NotOpened);
    }
    const std::array properties = {
        ChannelProperty{EvtChannelConfigEnabled, Boolean(enable),
                        ChannelSetupStatus::EnabledOrRetentionNotSet, EnabledNotSet},
        ChannelProperty{EvtChannelLoggingConfigRetention, Boolean(false),
                        ChannelSetupStatus::EnabledOrRetentionNotSet, RetentionNotSet},
        ChannelProperty{EvtChannelLoggingConfigMaxSize, Number(MaximumSizeBytes),
                        ChannelSetupStatus::MaximumSizeNotSet, MaximumSizeNotSet},
    };
    for (ChannelProperty property : properties)
    {
        if (!EvtSetChannelConfigProperty(channel.Get(), property.id, 0, &property.value))
        {
            return Fail(property.failure, property.failureStatus);
        }
    }
    if (!EvtSaveChannelConfig(channel.Get(), 0))
    {
        return Fail(L"EvtSaveChannelConfig failed with %lu\n", ChannelSetupStatus::NotSaved);
    }
    StandardOutput::Write(L"Channel properties updated.\n");
    return ChannelSetupStatus::Saved;
}
