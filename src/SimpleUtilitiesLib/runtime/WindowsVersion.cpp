#include "WindowsVersion.h"

#include "WindowsHeaders.h"

#include <initializer_list>

bool IsWindowsVersionOrLater(unsigned major, unsigned minor)
{
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof(wanted);
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;
    DWORD fields = 0;
    DWORDLONG conditions = 0;
    for (const DWORD field : {DWORD{VER_MAJORVERSION}, DWORD{VER_MINORVERSION},
                              DWORD{VER_SERVICEPACKMAJOR}, DWORD{VER_SERVICEPACKMINOR}})
    {
        fields |= field;
        conditions = VerSetConditionMask(conditions, field, VER_GREATER_EQUAL);
    }
    return VerifyVersionInfoW(&wanted, fields, conditions) != FALSE;
}

bool IsPrintServer()
{
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof(wanted);
    wanted.wSuiteMask = VER_SUITE_SMALLBUSINESS | VER_SUITE_ENTERPRISE;
    return VerifyVersionInfoW(&wanted, VER_SUITENAME,
                              VerSetConditionMask(0, VER_SUITENAME, VER_OR)) != FALSE;
}
