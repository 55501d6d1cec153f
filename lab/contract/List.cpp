#include "List.h"

#include "AccessList.h"
#include "Owners.h"

#include <array>
#include <cstdio>

namespace PalvoLab
{
namespace
{

std::vector<Statement>& List()
{
    static std::vector<Statement> list;
    return list;
}

int failures = 0;

} // namespace

Registration::Registration(const char* name, const char* call, Caller caller,
                           StatementFunction function, Place place)
{
    List().push_back({name, call, caller, place, function});
}

Registration::Registration(const char* name, StatementFunction function)
{
    List().push_back({name, "", Caller::System, Place::Lab, function});
}

void Check(bool holds, const char* what, int line)
{
    if (!holds)
    {
        ++failures;
        std::printf("    line %d: %s\n", line, what);
    }
}

void CheckFailed(bool failed, DWORD expected, const char* what, int line)
{
    const DWORD error = GetLastError();
    if (!failed || error != expected)
    {
        ++failures;
        std::printf("    line %d: %s %s with %lu, expected failure with %lu\n", line, what,
                    failed ? "failed" : "succeeded", error, expected);
    }
}

HANDLE OwnToken(DWORD access)
{
    HANDLE token = nullptr;
    return OpenProcessToken(GetCurrentProcess(), access, &token) ? token : nullptr;
}

std::wstring OwnSid()
{
    const KernelHandle token(OwnToken(TOKEN_QUERY));
    alignas(TOKEN_USER) std::array<BYTE, 256> buffer = {};
    DWORD size = 0;
    return GetTokenInformation(token.Get(), TokenUser, buffer.data(), buffer.size(), &size)
               ? SidText(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid)
               : L"";
}

const std::vector<Statement>& Statements()
{
    return List();
}

bool Holds(const Statement& statement)
{
    failures = 0;
    statement.function();
    return failures == 0;
}

} // namespace PalvoLab
