// The commands of palvo-lab: what they share.
#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

// Exit codes of the lab's own. A program that is run gives its own instead.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kUsage = 2;
inline constexpr int kTimedOut = 124;

using Arguments = std::vector<std::wstring>;

struct Command
{
    const wchar_t* name;
    int (*run)(const Arguments& arguments); // without the command's own name
    const wchar_t* help;                    // lines of usage, each ended by \n
};

// Every command, in the order of the help.
const std::vector<Command>& Commands();

// Writes one line of UTF-8 to standard output.
void Print(std::wstring_view line);
void PrintBytes(std::string_view bytes);

// Writes "palvo-lab: <message>" to standard error and gives `code` back.
int Complain(std::wstring_view message, int code = kFailed);

// From now on complaints go to standard output, in their order with what is printed.
void PrintComplaints();

// Complains about the use of a command.
int Misused(const wchar_t* command);

// Takes "--name" out of the arguments. True when it was there.
bool TakeFlag(Arguments& arguments, std::wstring_view name);

// Takes "--name value" out of the arguments.
std::optional<std::wstring> TakeOption(Arguments& arguments, std::wstring_view name);

// A path as the host writes it ("/a/b c") or as Windows does, in Windows's form.
std::wstring ToWindowsPath(const std::wstring& path);

int RunReset(const Arguments& arguments);
int RunKeep(const Arguments& arguments);
int RunRestore(const Arguments& arguments);
int RunPrinter(const Arguments& arguments);
int RunDriver(const Arguments& arguments);
int RunUser(const Arguments& arguments);
int RunSession(const Arguments& arguments);
int RunAccount(const Arguments& arguments);
int RunEvent(const Arguments& arguments);
int RunProgram(const Arguments& arguments);
int RunResume(const Arguments& arguments);
int RunKill(const Arguments& arguments);
int RunTurn(const Arguments& arguments);
int RunBurst(const Arguments& arguments);
int RunShow(const Arguments& arguments);
int RunSibling(const Arguments& arguments);
int RunFault(const Arguments& arguments);
int RunRecord(const Arguments& arguments);
int RunSet(const Arguments& arguments);
int RunRights(const Arguments& arguments);
int RunHold(const Arguments& arguments);
int RunPower(const Arguments& arguments);
int RunImports(const Arguments& arguments);
int RunHelp(const Arguments& arguments);

// Parts of `show` that have a file of their own.
int ShowRegistryTree(const Arguments& arguments);
int ShowBags(const Arguments& arguments);

inline constexpr wchar_t kProgram[] = L"PalvoPrinterConfiguration.exe";

// Where the program writes its log.
std::wstring LogPath();

} // namespace PalvoLab
