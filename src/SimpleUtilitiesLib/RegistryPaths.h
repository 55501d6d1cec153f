#pragma once

// Every place in the registry that the program reads or writes.

namespace RegistryPaths
{
// Under HKEY_LOCAL_MACHINE.

/// Machine-wide options of the suite.
inline constexpr wchar_t Options[] = L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options";
/// 32-bit number: 0 switches the whole program off. Counts as 1 if it cannot be read.
inline constexpr wchar_t RunSwitch[] = L"InstallAndRunEnhancedAutoConfigScheduledTasks";

/// The program's own key.
inline constexpr wchar_t OwnKey[] =
    L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";
/// 64-bit number: the newest event record that was dealt with. Counts as 0 if it cannot be read.
inline constexpr wchar_t ScanPosition[] = L"LastEvtRecordProcessed";

/// Holds one string per program of the suite, named as the program: "always" shows the prompt.
inline constexpr wchar_t DebuggerPrompt[] =
    L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger";

// Under HKEY_USERS.

/// The printer property bag of one hive; %s is the hive's name.
inline constexpr char PropertyBagFormat[] =
    "%s\\Software\\Classes\\Local "
    "Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
/// The same key below a hive: what follows the hive's name and a backslash.
inline constexpr wchar_t UserPropertyBag[] =
    L"SOFTWARE\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
inline constexpr wchar_t DesktopAppGuids[] = L"DesktopAppGUIDs";
inline constexpr wchar_t UserId[] = L"UserId";
inline constexpr wchar_t DeviceId[] = L"DeviceId";
inline constexpr wchar_t IsAdmin[] = L"IsAdmin";
} // namespace RegistryPaths
