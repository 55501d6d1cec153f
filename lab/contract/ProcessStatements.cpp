// Which program a command line starts. None of them gets to its first instruction.
#include "Check.h"

#include <array>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kFolder[] = L"C:\\ProgramData\\PalvoContract";
constexpr wchar_t kFirst[] = L"C:\\ProgramData\\PalvoContract\\one.exe";
constexpr wchar_t kWhole[] = L"C:\\ProgramData\\PalvoContract\\one two.exe";

// The file name of the program that was started; empty when none was.
std::wstring Started(std::wstring command)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                        nullptr, &startup, &made))
    {
        return {};
    }
    std::array<wchar_t, 300> path = {};
    DWORD size = 300;
    QueryFullProcessImageNameW(made.hProcess, 0, path.data(), &size);
    TerminateProcess(made.hProcess, 1);
    WaitForSingleObject(made.hProcess, INFINITE);
    CloseHandle(made.hProcess);
    CloseHandle(made.hThread);
    const std::wstring text = path.data();
    return text.substr(text.find_last_of(L'\\') + 1);
}

// This program under two names, of which one is the other's beginning.
class TwoPrograms
{
public:
    TwoPrograms()
    {
        std::array<wchar_t, 300> own = {};
        GetModuleFileNameW(nullptr, own.data(), 300);
        CHECK(CreateDirectoryW(kFolder, nullptr));
        CHECK(CopyFileW(own.data(), kFirst, TRUE) && CopyFileW(own.data(), kWhole, TRUE));
    }

    TwoPrograms(const TwoPrograms&) = delete;
    TwoPrograms& operator=(const TwoPrograms&) = delete;

    ~TwoPrograms()
    {
        CHECK(DeleteFileW(kFirst) && DeleteFileW(kWhole) && RemoveDirectoryW(kFolder));
    }
};

} // namespace

STATEMENT(APathWithoutQuotesIsTriedUpToEachBlank, "CreateProcessW", Caller::Anybody)
{
    const TwoPrograms programs;
    CHECK(Started(kWhole) == L"one.exe");
    CHECK(Started(kWhole + std::wstring(L" \"more\"")) == L"one.exe");
}

STATEMENT(APathBetweenQuotesIsTakenWhole, "CreateProcessW", Caller::Anybody)
{
    const TwoPrograms programs;
    CHECK(Started(L"\"" + std::wstring(kWhole) + L"\" more") == L"one two.exe");
    CHECK_FAILS(!Started(L"\"C:\\ProgramData\\PalvoContract\\one three.exe\"").empty(),
                ERROR_FILE_NOT_FOUND);
}
