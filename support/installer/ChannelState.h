#pragma once

#include "EventOwners.h"

#include <array>
#include <cstdint>
#include <map>

/// The properties of the print service's channel that an installation changes.
inline constexpr std::array ChannelProperties = {
    EvtChannelConfigEnabled, EvtChannelLoggingConfigRetention, EvtChannelLoggingConfigMaxSize};

/// Truths as 0 and 1, the size in bytes.
using ChannelNumbers = std::map<EVT_CHANNEL_CONFIG_PROPERTY_ID, std::uint64_t>;

/// The properties that can be read (EvtGetChannelConfigProperty); none without the channel.
ChannelNumbers ReadChannel();

/// Sets the properties and saves them. False, with a line on standard output, when that fails.
bool WriteChannel(const ChannelNumbers& numbers);
