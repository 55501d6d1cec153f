#include "Check.h"

#include "Accounts.h"
#include "Hives.h"

#include <wtsapi32.h>

#include <algorithm>
#include <string>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kBag[] = L"\\Software\\Classes\\Local Settings\\Lab";

LSTATUS Create(const std::wstring& path)
{
    HKEY key = nullptr;
    const LSTATUS status = RegCreateKeyExW(HKEY_USERS, path.c_str(), 0, nullptr, 0,
                                           KEY_READ | KEY_WRITE, nullptr, &key, nullptr);
    if (status == ERROR_SUCCESS)
    {
        RegCloseKey(key);
    }
    return status;
}

LSTATUS Open(const std::wstring& path, REGSAM access)
{
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS)
    {
        RegCloseKey(key);
    }
    return status;
}

bool IsMounted(const std::wstring& name)
{
    const auto hives = MountedHives();
    return std::find(hives.begin(), hives.end(), name) != hives.end();
}

} // namespace

LAB_TEST(HivesAreThoseOfServicesAndLoggedOnUsers)
{
    for (const std::wstring& name :
         {std::wstring(L".Default"), std::wstring(L"S-1-5-18"), std::wstring(L"S-1-5-19"),
          std::wstring(L"S-1-5-20"), SidOf(L"alice"), SidOf(L"bob"), SidOf(L"bob") + L"_Classes"})
    {
        CHECK(IsMounted(name));
    }
    CHECK(!IsMounted(SidOf(L"carol")));
}

LAB_TEST(AHiveGoesAndComesWithItsUserAndKeepsItsContent)
{
    const std::wstring sid = SidOf(L"carol");
    CHECK(Create(sid + kBag) == ERROR_INVALID_PARAMETER);
    SaveSession({7, WTSActive, L"RDP-Tcp#7", L"carol"});
    UpdateHives();
    CHECK(Create(sid + kBag) == ERROR_SUCCESS);
    RemoveSession(7);
    UpdateHives();
    CHECK(!IsMounted(sid));
    CHECK(Open(sid + kBag, KEY_READ) == ERROR_FILE_NOT_FOUND);
    SaveSession({7, WTSActive, L"RDP-Tcp#7", L"carol"});
    UpdateHives();
    CHECK(Open(sid + kBag, KEY_READ) == ERROR_SUCCESS);
    CHECK(Open(sid + L"_Classes\\Local Settings\\Lab", KEY_READ) == ERROR_SUCCESS);
    RemoveSession(7);
    UpdateHives();
}

LAB_TEST(AUserWritesNoHiveButTheOwn)
{
    BecomeAccount(L"bob");
    CHECK(Create(SidOf(L"bob") + kBag) == ERROR_SUCCESS);
    CHECK(Create(SidOf(L"bob") + L"_Classes\\Local Settings\\Lab") == ERROR_SUCCESS);
    CHECK(Create(SidOf(L"alice") + kBag) == ERROR_ACCESS_DENIED);
    CHECK(Create(std::wstring(L".Default") + kBag) == ERROR_ACCESS_DENIED);
    CHECK(Open(L".Default\\Software", KEY_READ) == ERROR_SUCCESS);
    CHECK(Open(SidOf(L"alice") + L"\\Software", KEY_READ) == ERROR_ACCESS_DENIED);
    BecomeAccount(L"alice");
    CHECK(Create(SidOf(L"bob") + kBag) == ERROR_ACCESS_DENIED);
    BecomeAccount(L"alice:elevated");
    CHECK(Create(SidOf(L"bob") + kBag) == ERROR_SUCCESS);
}

LAB_TEST(AccessIsCheckedThroughOpenKeysToo)
{
    HKEY users = nullptr;
    CHECK(RegOpenKeyExW(HKEY_USERS, SidOf(L"alice").c_str(), 0, KEY_READ, &users) == 0);
    BecomeAccount(L"bob");
    HKEY key = nullptr;
    CHECK(RegCreateKeyExW(users, L"Software\\Lab", 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                          nullptr) == ERROR_ACCESS_DENIED);
    CHECK(RegCloseKey(users) == ERROR_SUCCESS);
    CHECK(RegCloseKey(users) == ERROR_INVALID_HANDLE);
}

LAB_TEST(AHiveCanBeReadOnlyForAll)
{
    SetHiveReadOnly(SidOf(L"bob"), true);
    CHECK(Create(SidOf(L"bob") + kBag) == ERROR_ACCESS_DENIED);
    CHECK(Open(SidOf(L"bob") + L"\\Software", KEY_READ) == ERROR_SUCCESS);
    SetHiveReadOnly(SidOf(L"bob"), false);
    CHECK(Create(SidOf(L"bob") + kBag) == ERROR_SUCCESS);
}

LAB_TEST(ALogonsHiveComesAfterItWhenTheProfileIsLoadedLate)
{
    SaveSession({7, WTSActive, L"RDP-Tcp#7", L"carol", false});
    UpdateHives();
    CHECK(!IsMounted(SidOf(L"carol")));
    HANDLE token = nullptr;
    CHECK(WTSQueryUserToken(7, &token) && CloseHandle(token));
    SaveSession({7, WTSActive, L"RDP-Tcp#7", L"carol"});
    UpdateHives();
    CHECK(IsMounted(SidOf(L"carol")));
    RemoveSession(7);
    UpdateHives();
}
