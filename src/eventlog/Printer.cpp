#include "Printer.h"

bool Printer::Open(const std::wstring& name)
{
    std::wstring mutableName = name;
    return OpenPrinterW(mutableName.data(), printer.Receive(), nullptr) && printer.IsValid();
}

void Printer::Close()
{
    printer.Reset();
}
