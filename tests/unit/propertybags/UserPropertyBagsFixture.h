#pragma once

#include "UserPropertyBags.h"

#include "FakeNames.h"
#include "FakeSessions.h"
#include "FakeWmi.h"
#include "RedirectedRoot.h"
#include "RegistryJournal.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace UserPropertyBagsTests
{
inline constexpr wchar_t Bag[] =
    L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
inline constexpr wchar_t AliceSid[] = L"S-1-5-21-1-2-3-1001";
inline constexpr wchar_t BobSid[] = L"S-1-5-21-1-2-3-1002";
inline constexpr wchar_t AliceId[] = L"e99f5482-95f6-9444-7b48-564d3e240c7c";
inline constexpr wchar_t BobId[] = L"d12625fb-eb8d-21a9-a318-d086f5c3f8fb";
inline constexpr wchar_t DeviceId[] = L"380f3559-d37f-2ed1-f0d5-a507118a4015";

/// Users who are logged on, their hives, and a machine that tells its names and no hardware.
class UserPropertyBagsFixture : public ::testing::Test
{
protected:
    ~UserPropertyBagsFixture() override { EXPECT_EQ(wmi.Faults(), L""); }

    void LogOn(const std::wstring& name, const std::wstring& sid)
    {
        FakeSession session;
        session.id = static_cast<DWORD>(sessions.sessions.size()) + 1;
        session.name = name;
        session.sid = sid;
        session.domain = L"CORP";
        sessions.sessions.push_back(session);
        users.CreateKey(sid);
    }

    void Update() { UpdateUserPropertyBags(testLog.Log()); }
    std::wstring Value(const std::wstring& hive, const std::wstring& name) const
    {
        return users.String(hive + Bag, name);
    }
    bool Happened(const std::wstring& line) const
    {
        return std::find(journal.begin(), journal.end(), line) != journal.end();
    }

    TestLog testLog;
    RedirectedRoot users{HKEY_USERS};
    Journal journal;
    Journal wmiJournal;
    FakeWmi wmi{wmiJournal};
    FakeNames names;
    FakeSessions sessions{journal};
    RegistryJournal registry{journal, [this] { return sessions.Impersonated(); }};
    LogJournal log{journal};
};
} // namespace UserPropertyBagsTests
