// Who gets the events and mutexes that somebody made first.
#include "Check.h"

#include "AccessList.h"

#include <array>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kEvent[] = L"Global\\PalvoContractEvent";
constexpr wchar_t kMutex[] = L"Global\\PalvoContractMutex";

HANDLE EventWith(const wchar_t* list)
{
    Descriptor descriptor = ParseDescriptor(list);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.data(), FALSE};
    return CreateEventW(&attributes, FALSE, FALSE, kEvent);
}

bool Closes(HANDLE handle)
{
    return handle != nullptr && CloseHandle(handle);
}

// What the process's default list gives to a well-known account, of an event's rights.
DWORD GivenByDefault(const wchar_t* sid)
{
    HANDLE token = nullptr;
    alignas(TOKEN_DEFAULT_DACL) std::array<BYTE, 1024> buffer = {};
    DWORD size = 0;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    const bool told =
        GetTokenInformation(token, TokenDefaultDacl, buffer.data(), buffer.size(), &size) != FALSE;
    CloseHandle(token);
    const PACL list = reinterpret_cast<TOKEN_DEFAULT_DACL*>(buffer.data())->DefaultDacl;
    DWORD given = 0;
    for (DWORD i = 0; told && list != nullptr && i < list->AceCount; ++i)
    {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (ace->Header.AceType == ACCESS_ALLOWED_ACE_TYPE && SidText(&ace->SidStart) == sid)
        {
            given |= ace->Mask;
        }
    }
    GENERIC_MAPPING rights = kEventRights;
    MapGenericMask(&given, &rights);
    return given;
}

} // namespace

STATEMENT(TheSystemsEventsGiveAdministratorsNoMoreThanToReadAndToWait,
          "GetTokenInformation(TokenDefaultDacl)", Caller::System)
{
    CHECK(GivenByDefault(L"S-1-5-18") == EVENT_ALL_ACCESS);
    CHECK(GivenByDefault(L"S-1-5-32-544") == (READ_CONTROL | SYNCHRONIZE | 1));
    CHECK(GivenByDefault(L"S-1-5-19") == 0);
}

STATEMENT(AnAdministratorsEventsAreTheSystemsAndAllAdministrators,
          "GetTokenInformation(TokenDefaultDacl)", Caller::Administrator)
{
    CHECK(GivenByDefault(L"S-1-5-18") == EVENT_ALL_ACCESS);
    CHECK(GivenByDefault(L"S-1-5-32-544") == EVENT_ALL_ACCESS);
}

STATEMENT(AUsersEventsAreTheSystemsToo, "GetTokenInformation(TokenDefaultDacl)",
          Caller::StandardUser)
{
    CHECK(GivenByDefault(L"S-1-5-18") == EVENT_ALL_ACCESS);
    CHECK(GivenByDefault(L"S-1-5-32-544") == 0);
}

STATEMENT(LocalServicesEventsAreTheSystemsToo, "GetTokenInformation(TokenDefaultDacl)",
          Caller::LocalService)
{
    CHECK(GivenByDefault(L"S-1-5-18") == EVENT_ALL_ACCESS);
    CHECK(GivenByDefault(L"S-1-5-19") == EVENT_ALL_ACCESS);
}

STATEMENT(UsersMakeObjectsInTheGlobalNamespace, "CreateEventW, CreateMutexW", Caller::StandardUser)
{
    CHECK(Closes(CreateEventW(nullptr, FALSE, FALSE, kEvent)));
    CHECK(Closes(CreateMutexW(nullptr, FALSE, kMutex)));
}

STATEMENT(WhoMayReadAndWaitGetsAnEventByNoCreation, "CreateEventW, OpenEventW", Caller::Anybody)
{
    const HANDLE event = EventWith(L"D:(A;;GRGX;;;WD)");
    CHECK(event != nullptr);
    CHECK_FAILS(CreateEventW(nullptr, FALSE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK_FAILS(OpenEventW(EVENT_MODIFY_STATE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK(Closes(OpenEventW(SYNCHRONIZE, FALSE, kEvent)));
    CHECK(Closes(event));
}

STATEMENT(WhoMayReadAndWaitGetsAMutexByNoCreation, "CreateMutexW, OpenMutexW", Caller::Anybody)
{
    Descriptor descriptor = ParseDescriptor(L"D:(A;;GRGX;;;WD)");
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.data(), FALSE};
    const HANDLE mutex = CreateMutexW(&attributes, FALSE, kMutex);
    CHECK(mutex != nullptr);
    CHECK_FAILS(CreateMutexW(nullptr, FALSE, kMutex), ERROR_ACCESS_DENIED);
    CHECK(Closes(OpenMutexW(SYNCHRONIZE, FALSE, kMutex)));
    CHECK(Closes(mutex));
}

STATEMENT(AListWithoutEntriesShutsItsOwnCreatorOut, "CreateEventW", Caller::Anybody)
{
    const HANDLE event = EventWith(L"D:");
    CHECK_FAILS(CreateEventW(nullptr, FALSE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK(Closes(event));
}

STATEMENT(TheFirstEntryThatSpeaksOfARightDecides, "CreateEventW", Caller::Anybody)
{
    HANDLE event = EventWith(L"D:(D;;GA;;;WD)(A;;GA;;;WD)");
    CHECK_FAILS(CreateEventW(nullptr, FALSE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK(Closes(event));
    event = EventWith(L"D:(A;;GA;;;WD)(D;;GA;;;WD)");
    CHECK(Closes(CreateEventW(nullptr, FALSE, FALSE, kEvent)));
    CHECK(Closes(event));
}

STATEMENT(AnEventsNameIsNoNameForAMutex, "CreateMutexW", Caller::Anybody)
{
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, kEvent);
    CHECK_FAILS(CreateMutexW(nullptr, FALSE, kEvent), ERROR_INVALID_HANDLE);
    CHECK(Closes(event));
}

STATEMENT(WhatIsThereIsOpenedByItsCreation, "CreateEventW, CreateMutexW", Caller::Anybody)
{
    const HANDLE event = CreateEventW(nullptr, FALSE, TRUE, kEvent);
    const HANDLE same = CreateEventW(nullptr, FALSE, FALSE, kEvent);
    CHECK(GetLastError() == ERROR_ALREADY_EXISTS);
    CHECK(WaitForSingleObject(same, 0) == WAIT_OBJECT_0);
    CHECK(WaitForSingleObject(event, 0) == WAIT_TIMEOUT);
    CHECK(Closes(event) && Closes(same));
}

STATEMENT(AnEventAndItsSignalEndWithTheLastHandle, "CreateEventW, OpenEventW", Caller::Anybody)
{
    CHECK(Closes(CreateEventW(nullptr, FALSE, TRUE, kEvent)));
    CHECK_FAILS(OpenEventW(SYNCHRONIZE, FALSE, kEvent), ERROR_FILE_NOT_FOUND);
    CHECK_FAILS(OpenMutexW(SYNCHRONIZE, FALSE, kMutex), ERROR_FILE_NOT_FOUND);
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, kEvent);
    CHECK(GetLastError() == ERROR_SUCCESS);
    CHECK(WaitForSingleObject(event, 0) == WAIT_TIMEOUT);
    CHECK(Closes(event));
}

STATEMENT(AnOwnerMayChangeAListThatGivesNothing, "OpenEventW", Caller::Anybody)
{
    const HANDLE event = EventWith(L"D:");
    CHECK(Closes(OpenEventW(WRITE_DAC, FALSE, kEvent)));
    CHECK_FAILS(OpenEventW(SYNCHRONIZE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK(Closes(event));
}

STATEMENT(AMutexOfAThreadThatEndedIsAbandoned, "WaitForSingleObject, ReleaseMutex", Caller::Anybody)
{
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutex);
    const auto take = [](LPVOID object) -> DWORD { return WaitForSingleObject(object, 0); };
    const HANDLE thread = CreateThread(nullptr, 0, take, mutex, 0, nullptr);
    CHECK(WaitForSingleObject(thread, 30000) == WAIT_OBJECT_0);
    CHECK_FAILS(ReleaseMutex(mutex), ERROR_NOT_OWNER);
    CHECK(WaitForSingleObject(mutex, 0) == WAIT_ABANDONED);
    CHECK(ReleaseMutex(mutex));
    CHECK(Closes(thread) && Closes(mutex));
}
