#pragma once

#include "Facts.h"
#include "Finding.h"

/// What support gets of a machine.
struct Collected
{
    const Facts& facts;
    const Report& report;
    VersionFacts versions;
    std::wstring doctorVersion;
    std::wstring computer;
    std::string leftover; ///< bytes beside the log
};

/// A zip of all of it, with the names or with tokens in their place.
std::string Collect(const Collected& collected, bool withNames);

/// Settings, tasks, channel and versions for people, a line each.
std::wstring MachineText(const Facts& facts, const VersionFacts& versions);
