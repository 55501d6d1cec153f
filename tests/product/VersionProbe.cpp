// A program with the manifest of the one that ships. Returns 10 on what the system calls Windows 10
// or later, and 6 on what it calls an older one.

#include "WindowsHeaders.h"

int main()
{
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = 10;
    const DWORDLONG condition = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&wanted, VER_MAJORVERSION, condition) ? 10 : 6;
}
