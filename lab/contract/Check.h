// Statements about Windows's services, and the few means to check them. A statement registers
// itself, says which call it is about and who calls, and checks what Windows answers. One list
// serves twice: in the lab each is checked against the doubles, on Windows against Windows.
#pragma once

#include "WindowsHeaders.h"

#include <string>

namespace PalvoLab
{

enum class Caller
{
    Anybody, // In the lab each of the others calls in turn.
    System,
    Administrator, // an elevated one
    LocalService,
    StandardUser,
};

using StatementFunction = void (*)();

// Where a statement is asked.
enum class Place
{
    Anywhere,
    Lab,     // Needs what the lab has.
    Windows, // About what neither Wine nor a double does.
};

struct Registration
{
    // About Windows itself, without anything that only the lab has.
    Registration(const char* name, const char* call, Caller caller, StatementFunction function,
                 Place place = Place::Anywhere);

    // Needs what the lab has: its users, its printers, its channels, its settings.
    Registration(const char* name, StatementFunction function);
};

void Check(bool holds, const char* what, int line);

// Checks that a call failed and what it left as the last-error value.
void CheckFailed(bool failed, DWORD expected, const char* what, int line);

// The process is this account from here on; every statement that needs the lab begins as SYSTEM.
void BecomeAccount(const wchar_t* account);

// Users that are there for every statement in the lab: alice is an administrator split by UAC, bob
// a standard user, carol an administrator with a whole token. alice is logged on at the console,
// bob in session 2 and disconnected; carol is not logged on.
std::wstring SidOf(const wchar_t* user);

// Mounts the hives that the sessions ask for.
void UpdateHives();

// The process's own token, opened for that access, and its user.
HANDLE OwnToken(DWORD access);
std::wstring OwnSid();

// Sets a file's access list, in the form of SDDL, through a handle with that access. False with the
// last-error value on failure.
bool SetFileList(const wchar_t* path, const wchar_t* list, DWORD access = READ_CONTROL | WRITE_DAC);

} // namespace PalvoLab

#define STATEMENT(name, call, caller)                                                              \
    static void name();                                                                            \
    static const PalvoLab::Registration registrationOf##name(#name, call, caller, &name);          \
    static void name()

#define WINDOWS_STATEMENT(name, call, caller)                                                      \
    static void name();                                                                            \
    static const PalvoLab::Registration registrationOf##name(#name, call, caller, &name,           \
                                                             PalvoLab::Place::Windows);            \
    static void name()

#define LAB_TEST(name)                                                                             \
    static void name();                                                                            \
    static const PalvoLab::Registration registrationOf##name(#name, &name);                        \
    static void name()

#define CHECK(expression) PalvoLab::Check((expression), #expression, __LINE__)

// A call that has to fail with this last-error value. The value before it is another one.
#define CHECK_FAILS(call, error)                                                                   \
    (SetLastError(0xABCD), PalvoLab::CheckFailed(!(call), (error), #call, __LINE__))
