#pragma once

#include "PrintDriver.h"
#include "Printer.h"

#include <set>
#include <string>

/// True for the DriverPlatform of a manifest that names the suite's driver platform.
bool IsSupportedPlatform(const std::wstring& driverPlatform);

/// Gathers the names of the printers that the suite's version-4 drivers drive.
class SupportedPrinters
{
public:
    /// Adds `name` when its printer is supported. A name that differs from another in case alone is
    /// a name of its own. A printer that cannot be opened, whose driver or manifest cannot be read,
    /// or that is not supported is passed over. It is tried again when it is named again, unless it
    /// was found not to be supported.
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
