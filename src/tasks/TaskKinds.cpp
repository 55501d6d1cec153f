#include "TaskKinds.h"

#include <array>

namespace
{
constexpr std::array Names = {
    L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh",
    L"Palvo PalvoOrvela Printer Configuration - New or Changed",
    L"Palvo Orvela 7.0 Job Management - Job Start",
    L"Palvo PalvoOrvela Printer Configuration - User Logon",
};
}

std::wstring TaskName(unsigned kind)
{
    return kind < Names.size() ? Names[kind] : L"Unknown";
}
