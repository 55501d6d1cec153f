#pragma once

/// How far the configuration of the channel came.
enum class ChannelSetupStatus : int
{
    Saved = 0,
    NotOpened = 1,
    EnabledOrRetentionNotSet = 2,
    MaximumSizeNotSet = 3,
    NotSaved = 4
};

/// Switches the print service's channel on or off, with a fixed size in which the oldest events are
/// overwritten (EvtSaveChannelConfig). Says on standard output how it went. Nothing is saved unless
/// every property could be set.
ChannelSetupStatus ConfigurePrintServiceChannel(bool enable);
