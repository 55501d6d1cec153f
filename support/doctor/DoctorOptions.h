#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct DoctorOptions
{
    bool help = false;
    bool json = false;
    std::wstring folder;     ///< of the suite; empty: that of the doctor
    std::wstring metrics;    ///< file to write them to; empty: none
    std::wstring collection; ///< zip to collect into; empty: none
    bool withNames = false;  ///< in the collection
    std::uint64_t hungAfterMinutes = 60;
};

/// Nothing when an argument is not known, or lacks what belongs to it.
std::optional<DoctorOptions> ParseDoctorOptions(const std::vector<std::wstring>& arguments);

extern const wchar_t DoctorHelp[];
