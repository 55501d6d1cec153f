#pragma once

#include "PrintDriver.h"
#include "Printer.h"

#include <set>
#include <string>

/// True if a manifest's DriverPlatform is the suite's.
bool IsSupportedPlatform(const std::wstring& driverPlatform);

/// Collects the names of printers with the suite's version-4 drivers.
class SupportedPrinters
{
public:
    /// Adds `name` if its printer is supported. Names are compared with case. A printer that cannot
    /// be opened, or whose driver or manifest cannot be read, is examined again if it is named
    /// again; one that was found not to be supported is not.
    void Examine(const std::wstring& name);

    [[nodiscard]] const std::set<std::wstring>& Names() const noexcept { return names; }

private:
    enum class Finding
    {
        Supported,
        Unsupported,
        Unknown, ///< the driver or its manifest could not be read
    };

    [[nodiscard]] Finding LookAtPrinter() const;

    Printer printer;
    PrintDriver driver;
    std::set<std::wstring> names;
    std::set<std::wstring> unsupported; ///< are not to be examined again
};
