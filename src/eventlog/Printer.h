#pragma once

#include "Owners.h"

#include <winspool.h>

#include <string>

namespace GiveBack
{
inline void PrinterConnection(HANDLE printer) noexcept
{
    ClosePrinter(printer);
}
} // namespace GiveBack

/// An open printer of the spooler.
class Printer
{
public:
    Printer() = default;
    virtual ~Printer() = default;
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    /// Opens a printer by name without defaults (OpenPrinterW) and closes the one open before.
    /// False if there is no such printer or access is denied.
    bool Open(const std::wstring& name);
    void Close();

    [[nodiscard]] HANDLE Handle() const noexcept { return printer.Get(); }

private:
    Owner<NullAndOnesAreNothing<HANDLE, &GiveBack::PrinterConnection>> printer;
};
