#pragma once

/// The channel in which the print service records what happens to printers.
inline constexpr wchar_t PrintServiceChannel[] = L"Microsoft-Windows-PrintService/Operational";
