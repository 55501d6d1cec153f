#include "Command.h"

#include "PrinterStore.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

int AddPrinterCommand(const std::wstring& name, const std::wstring& driver)
{
    if (!IsPrinterName(name))
    {
        return Complain(L"'" + name + L"' cannot be the name of a printer");
    }
    if (FindPrinter(name))
    {
        return Complain(L"there is a printer '" + name + L"' already");
    }
    if (!FindDriver(driver))
    {
        return Complain(L"there is no driver '" + driver + L"'");
    }
    return AddLabPrinter(name, driver) ? kDone : Complain(L"the printer could not be added");
}

// All events are in the channel before a task looks at it.
int ChangePrinters(const Arguments& arguments)
{
    for (std::size_t i = 1; i < arguments.size(); ++i)
    {
        const std::wstring name = ReplaceEscapes(arguments[i]);
        if (!ChangePrinter(name))
        {
            return Complain(L"there is no printer '" + name + L"'");
        }
    }
    return kDone;
}

} // namespace

int RunPrinter(const Arguments& arguments)
{
    const std::size_t count = arguments.size();
    const std::wstring what = count > 0 ? arguments[0] : L"";
    const std::wstring name = count > 1 ? ReplaceEscapes(arguments[1]) : L"";
    if (what == L"add" && count == 3)
    {
        return AddPrinterCommand(name, arguments[2]);
    }
    if (what == L"change" && count >= 2)
    {
        return ChangePrinters(arguments);
    }
    if (what == L"remove" && count == 2)
    {
        return RemovePrinter(name) ? kDone : Complain(L"there is no printer '" + name + L"'");
    }
    if (what == L"list" && count == 1)
    {
        for (const Printer& printer : Printers())
        {
            Print(printer.name + L"\t" + printer.driver);
        }
        return kDone;
    }
    return Misused(L"printer");
}

} // namespace PalvoLab
