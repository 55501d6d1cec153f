#include "ChildCommandLine.h"
#include "CodeText.h"
#include "Owners.h"
#include "RandomRun.h"
#include "RandomTexts.h"
#include "Shrinking.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace
{
constexpr wchar_t Program[] = L"PalvoPrinterQuery.exe";

[[noreturn]] void ThrowLastError(const char* call)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), call);
}

/// The stand-in of the query program, which lies beside this one.
std::wstring PathOfProgram()
{
    std::array<wchar_t, 32768> path = {};
    if (GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())) == 0)
    {
        ThrowLastError("GetModuleFileNameW");
    }
    return std::filesystem::path(path.data()).replace_filename(Program).wstring();
}

/// Starts the stand-in, which writes to `output`.
void Start(std::wstring commandLine, HANDLE output)
{
    static const std::wstring path = PathOfProgram();
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    // On a busy machine Wine now and then does not bring up a process, with this error.
    constexpr int Attempts = 5;
    for (int attempt = 1;; ++attempt)
    {
        PROCESS_INFORMATION information = {};
        if (CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           nullptr, &startup, &information))
        {
            const KernelHandle process(information.hProcess);
            const KernelHandle thread(information.hThread);
            return;
        }
        if (GetLastError() != ERROR_INTERNAL_ERROR || attempt == Attempts)
        {
            ThrowLastError("CreateProcessW");
        }
    }
}

/// The text that comes through a pipe until its other end is closed.
std::wstring ReadAll(HANDLE pipe)
{
    std::string bytes;
    std::array<char, 32768> part = {};
    DWORD count = 0;
    while (ReadFile(pipe, part.data(), part.size(), &count, nullptr))
    {
        bytes.append(part.data(), count);
    }
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

/// The operands that a started program finds.
std::vector<std::wstring> OperandsOf(const std::wstring& commandLine)
{
    SECURITY_ATTRIBUTES inherited = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    KernelHandle readEnd;
    KernelHandle writeEnd;
    if (!CreatePipe(readEnd.Receive(), writeEnd.Receive(), &inherited, 0) ||
        !SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0))
    {
        ThrowLastError("CreatePipe");
    }
    Start(commandLine, writeEnd.Get());
    writeEnd.Reset();

    std::vector<std::wstring> operands;
    const std::wstring text = ReadAll(readEnd.Get());
    for (std::size_t start = 0; start < text.size(); start += operands.back().size() + 1)
    {
        operands.emplace_back(text.c_str() + start); // up to the zero that ends it
    }
    return operands;
}

/// A started program reads each printer's name as one operand, whatever the name is. One command
/// line has the arguments of many requests: starting a program takes far longer than reading.
class NamesReadBack
{
public:
    using Case = std::vector<std::wstring>;

    /// Their arguments, each character of the longest names escaped, fit into a command line.
    static constexpr std::size_t NamesInOneLine = 50;

    static Case Generate(Random& random)
    {
        Case names(NamesInOneLine);
        for (std::wstring& name : names)
        {
            // Windows takes printer names of up to 220 characters.
            name = AnyPrinterName(random, random.Length(220, {0, 1, 2, 3, 219, 220}));
        }
        return names;
    }

    static std::optional<std::string> Difference(const Case& names)
    {
        std::wstring line = Program;
        std::vector<std::wstring> expected;
        for (const std::wstring& name : names)
        {
            line = ChildCommandLine(
                line, QueryArguments({CmdLineOptionsEnum::NewOrChangedEvent, true, name}));
            expected.insert(expected.end(), {L"-e", name});
        }
        const std::vector<std::wstring> read = OperandsOf(line);
        if (read != expected)
        {
            return CodeText(line) + "\nis read as " + CodeText(read);
        }
        return std::nullopt;
    }

    static std::vector<Case> Simpler(const Case& names)
    {
        std::vector<Case> candidates = Shorter(names);
        if (names.size() == 1)
        {
            for (const std::wstring& name : ::Simpler(names[0], L'a'))
            {
                candidates.push_back({name});
            }
        }
        return candidates;
    }

    static std::string Text(const Case& names)
    {
        return "const std::vector<std::wstring> names = " + CodeText(names) + ";";
    }
};

TEST(RandomTest, PrinterNamesAreReadBackByTheProgramThatIsStarted)
{
    CompareRandomCases<NamesReadBack>("printer names read back", 2'000,
                                      NamesReadBack::NamesInOneLine);
}
} // namespace
