#include "Printer.h"

bool Printer::Open(const std::wstring& name)
{
    std::wstring mutableName = name;
    return printer.KeepIf(OpenPrinterW(mutableName.data(), printer.Receive(), nullptr));
}

void Printer::Close()
{
    printer.Reset();
}
