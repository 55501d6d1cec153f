#pragma once

#include <string>

/// The identity of the machine's hardware. Both texts are empty unless `ok`.
struct ComputerSystemProduct
{
    std::wstring uuid;
    std::wstring identifyingNumber;
    bool ok = false;
};

/// Gets the UUID and the IdentifyingNumber of the single Win32_ComputerSystemProduct from WMI. A
/// property that cannot be converted to text counts as empty. Not ok on any failure, or if there is
/// not exactly one such object.
ComputerSystemProduct QueryComputerSystemProduct();
