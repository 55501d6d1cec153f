#include "Check.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "PrinterStore.h"

#include <winspool.h>

#include <string>
#include <vector>

extern "C" __declspec(dllimport) HRESULT WINAPI
    InstallPrinterDriverFromPackageW(LPCWSTR server, LPCWSTR infPath, LPCWSTR driver,
                                     LPCWSTR environment, DWORD flags);

using namespace PalvoLab;

namespace
{

constexpr DWORD kAll = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;

HANDLE Open(const wchar_t* name)
{
    std::wstring text = name;
    HANDLE printer = nullptr;
    return OpenPrinterW(text.data(), &printer, nullptr) ? printer : nullptr;
}

// The names of all printers.
std::vector<std::wstring> Listed()
{
    DWORD needed = 0;
    DWORD count = 0;
    EnumPrintersW(kAll, nullptr, 4, nullptr, 0, &needed, &count);
    std::vector<BYTE> buffer(needed);
    CHECK(EnumPrintersW(kAll, nullptr, 4, buffer.data(), needed, &needed, &count));
    std::vector<std::wstring> names;
    for (DWORD i = 0; i < count; ++i)
    {
        names.emplace_back(reinterpret_cast<const PRINTER_INFO_4W*>(buffer.data())[i].pPrinterName);
    }
    return names;
}

} // namespace

STATEMENT(UnknownPrintersCannotBeOpened, "OpenPrinterW", Caller::Anybody)
{
    CHECK_FAILS(Open(L"No Such Printer"), ERROR_INVALID_PRINTER_NAME);
    CHECK_FAILS(Open(L""), ERROR_INVALID_PRINTER_NAME);
}

LAB_TEST(PrinterNamesIgnoreCase)
{
    const HANDLE printer = Open(L"OFFICE 1");
    CHECK(printer != nullptr && ClosePrinter(printer));
}

LAB_TEST(PrintersAreListedInTwoCalls)
{
    DWORD needed = 0;
    DWORD count = 0;
    CHECK_FAILS(EnumPrintersW(kAll, nullptr, 2, nullptr, 0, &needed, &count), ERROR_INVALID_LEVEL);
    CHECK_FAILS(EnumPrintersW(0, nullptr, 4, nullptr, 0, &needed, &count), ERROR_INVALID_PARAMETER);
    CHECK_FAILS(EnumPrintersW(kAll, nullptr, 4, nullptr, 0, &needed, &count),
                ERROR_INSUFFICIENT_BUFFER);
    std::vector<BYTE> buffer(needed);
    CHECK_FAILS(EnumPrintersW(kAll, nullptr, 4, buffer.data(), needed - 1, &needed, &count),
                ERROR_INSUFFICIENT_BUFFER);
    CHECK(Listed().size() == Printers().size());
}

STATEMENT(APrinterThatIsListedIsOpenedInAnyCase, "EnumPrintersW, OpenPrinterW, ClosePrinter",
          Caller::Anybody)
{
    for (std::wstring name : Listed())
    {
        CharUpperW(name.data());
        const HANDLE printer = Open(name.c_str());
        CHECK(printer != nullptr && ClosePrinter(printer));
        CHECK_FAILS(ClosePrinter(printer), ERROR_INVALID_HANDLE);
    }
    CHECK_FAILS(ClosePrinter(nullptr), ERROR_INVALID_HANDLE);
}

STATEMENT(APrinterThatIsListedTellsItsDriverInTwoCalls, "GetPrinterDriverW", Caller::Anybody)
{
    for (const std::wstring& name : Listed())
    {
        const HANDLE printer = Open(name.c_str());
        DWORD needed = 0;
        CHECK_FAILS(GetPrinterDriverW(printer, nullptr, 3, nullptr, 0, &needed),
                    ERROR_INSUFFICIENT_BUFFER);
        std::vector<BYTE> buffer(needed);
        CHECK(GetPrinterDriverW(printer, nullptr, 3, buffer.data(), needed, &needed));
        CHECK(*reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data())->pName != L'\0');
        CHECK_FAILS(GetPrinterDriverW(printer, nullptr, 77, nullptr, 0, &needed),
                    ERROR_INVALID_LEVEL);
        CHECK(ClosePrinter(printer));
        CHECK_FAILS(GetPrinterDriverW(printer, nullptr, 3, nullptr, 0, &needed),
                    ERROR_INVALID_HANDLE);
    }
}

LAB_TEST(ADriverTellsItsVersionAndItsManifest)
{
    const HANDLE printer = Open(L"Office 1");
    DWORD needed = 0;
    GetPrinterDriverW(printer, nullptr, 3, nullptr, 0, &needed);
    std::vector<BYTE> buffer(needed);
    CHECK_FAILS(GetPrinterDriverW(printer, nullptr, 3, buffer.data(), needed - 1, &needed),
                ERROR_INSUFFICIENT_BUFFER);
    CHECK(GetPrinterDriverW(printer, nullptr, 3, buffer.data(), needed, &needed));
    const auto* info = reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data());
    CHECK(info->cVersion == 4);
    CHECK(std::wstring(info->pName) == L"Palvo Orvela PV6");
    std::wstring manifest;
    for (const wchar_t* file = info->pDependentFiles; *file != L'\0'; file += std::wcslen(file) + 1)
    {
        manifest = file;
    }
    wchar_t platform[10] = {};
    GetPrivateProfileStringW(L"PV-Private", L"DriverPlatform", L"", platform, 10, manifest.c_str());
    CHECK(std::wstring(platform) == L"PV6P2.0");
    CHECK(ClosePrinter(printer));
}

LAB_TEST(PrinterChangesAreLogged)
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    channel.Clear();
    CHECK(AddLabPrinter(L"Changing", L"Plain V4 Driver"));
    CHECK(!AddLabPrinter(L"changing", L"Plain V4 Driver"));
    CHECK(ChangePrinter(L"Changing"));
    CHECK(RemovePrinter(L"Changing"));
    CHECK(!ChangePrinter(L"Changing"));
    const std::vector<Event> events = channel.Select(nullptr);
    CHECK(events.size() == 3);
    CHECK(events[0].id == 300 && events[0].element == L"PrinterCreated");
    CHECK(events[1].id == 306 && events[1].element == L"PrinterSet");
    CHECK(events[1].parameters[0].second == L"Changing");
}

LAB_TEST(DriversComeFromPackagesForAdministratorsOnly)
{
    const wchar_t* name = L"Palvo Orvela PV6 PS";
    BecomeAccount(L"bob");
    CHECK(InstallPrinterDriverFromPackageW(nullptr, nullptr, name, nullptr, 0) ==
          static_cast<HRESULT>(0x80070005));
    BecomeAccount(L"SYSTEM");
    CHECK(!FindDriver(name));
    CHECK(InstallPrinterDriverFromPackageW(nullptr, nullptr, name, nullptr, 0) == S_OK);
    CHECK(FindDriver(name).has_value());
    CHECK(InstallPrinterDriverFromPackageW(nullptr, nullptr, L"", nullptr, 0) == E_INVALIDARG);
    CHECK(InstallPrinterDriverFromPackageW(nullptr, nullptr, L"None", nullptr, 0) ==
          static_cast<HRESULT>(0x80070705));
}

LAB_TEST(APrinterOfAServerHasItsServersName)
{
    CHECK(AddLabPrinter(L"\\\\server\\queue", L"Palvo Orvela PV6"));
    CHECK(!AddLabPrinter(L"\\\\server\\", L"Palvo Orvela PV6"));
    CHECK(!AddLabPrinter(L"\\\\server\\queue\\more", L"Palvo Orvela PV6"));
    const HANDLE printer = Open(L"\\\\Server\\Queue");
    CHECK(printer != nullptr && ClosePrinter(printer));
    CHECK_FAILS(Open(L"\\\\other\\queue"), ERROR_INVALID_PRINTER_NAME);
    CHECK_FAILS(Open(L"queue"), ERROR_INVALID_PRINTER_NAME);
    CHECK(RemovePrinter(L"\\\\server\\queue"));
}

LAB_TEST(APrinterOfTheMachineCanBeNamedWithTheMachine)
{
    const std::wstring name = L"\\\\" + ComputerName() + L"\\Office 1";
    const HANDLE printer = Open(name.c_str());
    CHECK(printer != nullptr && ClosePrinter(printer));
}
