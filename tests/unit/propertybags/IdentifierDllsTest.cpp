#include "Identifiers.h"

#include "Replaced.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace
{
TEST(IdentifierDllsTest, AreLoadedFromTheSystemsFolder)
{
    std::string folder(MAX_PATH, '\0');
    folder.resize(GetSystemDirectoryA(folder.data(), MAX_PATH));
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

    std::vector<std::string> expected;
    for (const char* dll :
         {"SECUR32.dll", "SSPICLI.dll", "OLE32.dll", "OLEAUT32.dll", "CLBCATQ.dll", "wbemcomn.dll",
          "wbem\\wbemprox.dll", "wbem\\wbemsvc.dll", "wbem\\fastprox.dll", "CRYPTSP.dll",
          "CRYPTBASE.dll", "BCRYPT.dll", "BCRYPTPRIMITIVES.dll", "RSAENH.dll"})
    {
        expected.push_back(folder + "\\" + dll);
    }
    EXPECT_EQ(loaded, expected);
    for (const char* dll : {"SECUR32.dll", "OLE32.dll", "OLEAUT32.dll", "wbemprox.dll"})
    {
        EXPECT_NE(GetModuleHandleA(dll), nullptr) << dll;
    }
}
} // namespace
