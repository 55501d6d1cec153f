#pragma once

#include <string>

/// What identifies the machine's hardware. Both texts are empty unless `ok`.
struct ComputerSystemProduct
{
    std::wstring uuid;
    std::wstring identifyingNumber;
    bool ok = false;
};

/// Asks WMI for the UUID and the IdentifyingNumber of the single Win32_ComputerSystemProduct. A
/// property that is no text and cannot be made one counts as empty text. Not ok on any failure, and
/// when there is no such object or more than one.
ComputerSystemProduct QueryComputerSystemProduct();
