#include "looks/LogHolders.h"

#include "../../../lab/core/ImportPatch.h"
#include "LateLoading.h"

#include <gtest/gtest.h>

namespace
{
TEST(LogHoldersTest, WithoutRestartManagerNobodyIsReported)
{
    std::vector<PalvoLab::ImportPatch> missing;
    for (const char* function : {"RmStartSession", "RmRegisterResources", "RmGetList"})
    {
        const auto failing = FailingFunction(function, ERROR_MOD_NOT_FOUND);
        missing.emplace_back(GetModuleHandleW(nullptr), "RSTRTMGR.dll", function,
                             reinterpret_cast<void*>(failing));
        ASSERT_TRUE(missing.back().IsApplied());
    }
    EXPECT_EQ(HoldersOf(L"C:\\windows\\win.ini"), std::vector<std::wstring>());
}
} // namespace
