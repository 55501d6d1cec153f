#include "ChannelSetup.h"

#include "EventOwners.h"
#include "Format.h"
#include "PrintServiceChannel.h"
#include "StandardOutput.h"
#include "Steps.h"

namespace
{
constexpr UINT64 MaximumSizeBytes = 1052672;

using Status = ChannelSetupStatus;

/// Thrown when a step failed and its sentence was printed.
struct ChannelStepFailed : StepFailed
{
    explicit ChannelStepFailed(Status reached) : status(reached) {}
    Status status;
};

/// If the step failed, prints its sentence with the last error and throws ChannelStepFailed.
void Require(BOOL succeeded, Status status, WideFormat<DWORD> sentence)
{
    if (!succeeded)
    {
        StandardOutput::Write(Format<DWORD>(sentence, GetLastError()));
        throw ChannelStepFailed(status);
    }
}

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

BOOL Set(const EventHandle& channel, EVT_CHANNEL_CONFIG_PROPERTY_ID property, EVT_VARIANT value)
{
    return EvtSetChannelConfigProperty(channel.Get(), property, 0, &value);
}

void Configure(bool enable)
{
    const EventHandle channel(EvtOpenChannelConfig(nullptr, PrintServiceChannel, 0));
    Require(channel.IsValid(), Status::NotOpened, L"EvtOpenChannelConfig failed with %lu.\n");
    Require(Set(channel, EvtChannelConfigEnabled, Boolean(enable)),
            Status::EnabledOrRetentionNotSet,
            L"EvtSetChannelConfigProperty for Enabled property failed with %lu\n");
    Require(Set(channel, EvtChannelLoggingConfigRetention, Boolean(false)),
            Status::EnabledOrRetentionNotSet,
            L"EvtSetChannelConfigProperty for Retention property failed with %lu\n");
    Require(Set(channel, EvtChannelLoggingConfigMaxSize, Number(MaximumSizeBytes)),
            Status::MaximumSizeNotSet,
            L"EvtChannelLoggingConfigMaxSize for MAx Size property failed with %lu\n");
    Require(EvtSaveChannelConfig(channel.Get(), 0), Status::NotSaved,
            L"EvtSaveChannelConfig failed with %lu\n");
    StandardOutput::Write(L"Channel properties updated.\n");
}
} // namespace

ChannelSetupStatus ConfigurePrintServiceChannel(bool enable)
{
    try
    {
        Configure(enable);
        return Status::Saved;
    }
    catch (const ChannelStepFailed& failed)
    {
        return failed.status;
    }
}
