#include "Check.h"

#include "AccessList.h"

#include <string>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kEvent[] = L"Global\\PalvoLabSelfTestEvent";
constexpr wchar_t kMutex[] = L"Global\\PalvoLabSelfTestMutex";

HANDLE Event()
{
    return CreateEventW(nullptr, FALSE, FALSE, kEvent);
}

HANDLE Mutex()
{
    return CreateMutexW(nullptr, FALSE, kMutex);
}

// An event that the account makes with this list.
HANDLE EventWith(const wchar_t* list)
{
    Descriptor descriptor = ParseDescriptor(list);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.data(), FALSE};
    return CreateEventW(&attributes, FALSE, FALSE, kEvent);
}

bool OpensAs(const wchar_t* account, HANDLE (*open)())
{
    BecomeAccount(account);
    const HANDLE handle = open();
    const DWORD error = GetLastError();
    CHECK(error == (handle == nullptr ? ERROR_ACCESS_DENIED : ERROR_ALREADY_EXISTS));
    return handle != nullptr && CloseHandle(handle);
}

} // namespace

LAB_TEST(AnAdministratorGetsNotAllOfWhatTheSystemMade)
{
    const HANDLE event = Event();
    const HANDLE mutex = Mutex();
    CHECK(event != nullptr && mutex != nullptr);
    for (const wchar_t* other : {L"alice:elevated", L"Administrator", L"LocalService", L"bob"})
    {
        CHECK(!OpensAs(other, &Event));
        CHECK(!OpensAs(other, &Mutex));
    }
    CHECK(OpensAs(L"SYSTEM", &Event));
    CHECK(OpensAs(L"SYSTEM", &Mutex));
    CloseHandle(event);
    CloseHandle(mutex);
}

LAB_TEST(AnAdministratorMayWaitForWhatTheSystemMadeAndNoMore)
{
    const HANDLE event = Event();
    BecomeAccount(L"alice:elevated");
    const HANDLE opened = OpenEventW(SYNCHRONIZE, FALSE, kEvent);
    CHECK(opened != nullptr && CloseHandle(opened));
    CHECK_FAILS(OpenEventW(EVENT_MODIFY_STATE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    BecomeAccount(L"bob");
    CHECK_FAILS(OpenEventW(SYNCHRONIZE, FALSE, kEvent), ERROR_ACCESS_DENIED);
    CHECK_FAILS(OpenMutexW(SYNCHRONIZE, FALSE, kMutex), ERROR_FILE_NOT_FOUND);
    CloseHandle(event);
}

LAB_TEST(TheSystemGetsAllOfWhatOthersMade)
{
    for (const wchar_t* creator : {L"alice:elevated", L"LocalService", L"bob"})
    {
        BecomeAccount(creator);
        const HANDLE event = Event();
        CHECK(OpensAs(L"SYSTEM", &Event));
        CHECK(OpensAs(creator, &Event));
        CHECK(!OpensAs(L"alice", &Event));
        CHECK(OpensAs(L"Administrator", &Event) == (std::wstring(creator) == L"alice:elevated"));
        CloseHandle(event);
    }
}

LAB_TEST(ADescriptorDecidesWhateverTheCreatorIs)
{
    BecomeAccount(L"bob");
    HANDLE event = EventWith(L"D:(D;;GA;;;SY)(A;;GA;;;WD)");
    CHECK(!OpensAs(L"SYSTEM", &Event));
    CHECK(OpensAs(L"LocalService", &Event));
    CloseHandle(event);
    BecomeAccount(L"bob");
    event = EventWith(L"D:(A;;GA;;;WD)(D;;GA;;;SY)");
    CHECK(OpensAs(L"SYSTEM", &Event));
    CloseHandle(event);
    BecomeAccount(L"bob");
    event = EventWith(L"D:");
    CHECK(!OpensAs(L"SYSTEM", &Event));
    // An owner may read the list and change it, and has no other right without an entry.
    CHECK(!OpensAs(L"bob", &Event));
    const HANDLE opened = OpenEventW(WRITE_DAC, FALSE, kEvent);
    CHECK(opened != nullptr && CloseHandle(opened));
    CloseHandle(event);
}
