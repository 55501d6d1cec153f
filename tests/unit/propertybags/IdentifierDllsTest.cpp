#include "IdentifierDlls.h"

#include "Replaced.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace
{
TEST(IdentifierDllsTest, AreLoadedFromTheSystemsFolder)
{
    std::vector<std::string> loaded;
    using Load = Replaced<"KERNEL32", "LoadLibraryExA", decltype(LoadLibraryExA)>;
    const Load load(
        [&](LPCSTR dll, HANDLE file, DWORD flags)
        {
            EXPECT_EQ(flags, 0x800U) << "LOAD_LIBRARY_SEARCH_SYSTEM32";
            loaded.emplace_back(dll);
            return Load::Original(dll, file, flags);
        });

    LoadDllsOfIdentifiers();

    EXPECT_EQ(loaded, (std::vector<std::string>{"SECUR32.dll", "OLE32.dll", "OLEAUT32.dll"}));
    for (const std::string& dll : loaded)
    {
        EXPECT_NE(GetModuleHandleA(dll.c_str()), nullptr) << dll;
    }
}
} // namespace
