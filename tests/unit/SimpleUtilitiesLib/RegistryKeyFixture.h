#pragma once

#include "LegacyPlvException.h"
#include "RedirectedRoot.h"
#include "SimpleRegistryKey.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

/// The exception that `work` throws.
template <class Work> std::optional<ExceptionRegistryRequest> ThrownBy(Work work)
{
    try
    {
        work();
    }
    catch (const ExceptionRegistryRequest& e)
    {
        return e;
    }
    return std::nullopt;
}

template <class Work> void ExpectRegistryRequest(const wchar_t* method, Work work)
{
    const auto e = ThrownBy(work);
    ASSERT_TRUE(e.has_value()) << "nothing was thrown";
    EXPECT_EQ(e->Method(), method);
    EXPECT_EQ(e->File(), L"src\\SimpleUtilitiesLib\\SimpleRegistryKey");
    EXPECT_EQ(e->Details(), L"");
}

/// A key of the test's own in the place of HKEY_USERS.
class RegistryKeyTest : public testing::Test
{
protected:
    std::shared_ptr<RegistryKey> Key()
    {
        return RegistryKey::CreateRegistryKey(HKEY_USERS, L"Key", KEY_READ | KEY_WRITE, errorText);
    }

    RedirectedRoot root{HKEY_USERS};
    std::wstring errorText = L"old";
};
