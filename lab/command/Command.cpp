#include "Command.h"

#include "Text.h"

namespace PalvoLab
{
namespace
{

bool printsComplaints = false;

void WriteAll(HANDLE file, std::string_view bytes)
{
    while (!bytes.empty())
    {
        DWORD written = 0;
        const auto size = static_cast<DWORD>(bytes.size() < 0x10000 ? bytes.size() : 0x10000);
        if (!WriteFile(file, bytes.data(), size, &written, nullptr) || written == 0)
        {
            return;
        }
        bytes.remove_prefix(written);
    }
}

void WriteError(std::string_view bytes)
{
    WriteAll(GetStdHandle(printsComplaints ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE), bytes);
}

} // namespace

void PrintComplaints()
{
    printsComplaints = true;
}

void Print(std::wstring_view line)
{
    // Tabs between fields stay.
    std::string text;
    for (const std::wstring& field : Split(line, L'\t'))
    {
        text += (text.empty() ? "" : "\t") + ToLine(field);
    }
    PrintBytes(text + "\n");
}

void PrintBytes(std::string_view bytes)
{
    WriteAll(GetStdHandle(STD_OUTPUT_HANDLE), bytes);
}

int Complain(std::wstring_view message, int code)
{
    WriteError("palvo-lab: " + ToLine(message) + "\n");
    return code;
}

int Misused(const wchar_t* command)
{
    Complain(L"this is not how '" + std::wstring(command) + L"' is used:", kUsage);
    for (const Command& entry : Commands())
    {
        if (std::wstring_view(entry.name) == command)
        {
            for (const std::wstring& line : Split(entry.help, L'\n'))
            {
                WriteError(ToLine(line) + "\n");
            }
        }
    }
    return kUsage;
}

bool TakeFlag(Arguments& arguments, std::wstring_view name)
{
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument)
    {
        if (*argument == name)
        {
            arguments.erase(argument);
            return true;
        }
    }
    return false;
}

std::optional<std::wstring> TakeOption(Arguments& arguments, std::wstring_view name)
{
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i)
    {
        if (arguments[i] == name)
        {
            const std::wstring value = arguments[i + 1];
            const auto at = arguments.begin() + static_cast<std::ptrdiff_t>(i);
            arguments.erase(at, at + 2);
            return value;
        }
    }
    return std::nullopt;
}

std::wstring ToWindowsPath(const std::wstring& path)
{
    if (path.empty() || path[0] != L'/')
    {
        return path;
    }
    // Wine shows the whole of the host's files as drive Z.
    std::wstring windows = L"Z:" + path;
    for (wchar_t& c : windows)
    {
        c = c == L'/' ? L'\\' : c;
    }
    return windows;
}

} // namespace PalvoLab
