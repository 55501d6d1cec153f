// The few means of the lab's own tests: a test registers itself, checks, and the program prints
// "name: ok" or what was wrong.
#pragma once

#include "WindowsApi.h"

#include <string>

namespace PalvoLab
{

using TestFunction = void (*)();

struct TestRegistration
{
    TestRegistration(const char* name, TestFunction function);
};

void Check(bool holds, const char* what, int line);

// Checks that a call failed and what it left as the last-error value.
void CheckFailed(bool failed, DWORD expected, const char* what, int line);

// The process is this account from here on; every test begins as SYSTEM.
void BecomeAccount(const wchar_t* account);

// Users that are there for every test: alice is an administrator split by UAC, bob a standard user,
// carol an administrator with a whole token. alice is logged on at the console, bob in session 2
// and disconnected; carol is not logged on.
std::wstring SidOf(const wchar_t* user);

// Mounts the hives that the sessions ask for.
void UpdateHives();

} // namespace PalvoLab

#define LAB_TEST(name)                                                                             \
    static void name();                                                                            \
    static const PalvoLab::TestRegistration registrationOf##name(#name, &name);                    \
    static void name()

#define CHECK(expression) PalvoLab::Check((expression), #expression, __LINE__)

// A call that has to fail with this last-error value. The value before it is another one.
#define CHECK_FAILS(call, error)                                                                   \
    (SetLastError(0xABCD), PalvoLab::CheckFailed(!(call), (error), #call, __LINE__))
