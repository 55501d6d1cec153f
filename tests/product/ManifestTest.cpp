#include "ShippedFile.h"

#include <gtest/gtest.h>

#include <memory>
#include <string_view>

namespace
{
struct ModuleCloser
{
    using pointer = HMODULE;
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<HMODULE, ModuleCloser>;

/// The manifest of a program file; empty when it has none.
std::string ManifestOf(HMODULE module)
{
    const HRSRC resource =
        FindResourceW(module, MAKEINTRESOURCEW(1), reinterpret_cast<LPCWSTR>(RT_MANIFEST));
    if (resource == nullptr)
    {
        return {};
    }
    const void* bytes = LockResource(LoadResource(module, resource));
    return {static_cast<const char*>(bytes), SizeofResource(module, resource)};
}

std::string ShippedManifest()
{
    const Module module(
        LoadLibraryExW(ShippedFilePath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    return module == nullptr ? std::string() : ManifestOf(module.get());
}

/// Whether this Windows is `major`.`minor` or later.
bool IsAtLeast(DWORD major, DWORD minor)
{
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;
    DWORDLONG conditions = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_MINORVERSION, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&wanted, VER_MAJORVERSION | VER_MINORVERSION, conditions) != 0;
}

/// The version that the kernel itself reports, whatever any manifest says.
DWORD RealMajorVersion(DWORD& minor)
{
    using GetNumbers = void(WINAPI*)(DWORD*, DWORD*, DWORD*);
    const FARPROC address =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetNtVersionNumbers");
    DWORD major = 0;
    DWORD build = 0;
    reinterpret_cast<GetNumbers>(reinterpret_cast<void*>(address))(&major, &minor, &build);
    return major;
}

/// While it lives, Wine is Windows 10 to the probe, and to no other program. Wine takes its version
/// for Windows 7's otherwise, where a manifest that lists nothing tells the truth too.
class Windows10ForTheProbe
{
public:
    Windows10ForTheProbe()
    {
        constexpr wchar_t Version[] = L"win10";
        EXPECT_EQ(
            RegSetKeyValueW(HKEY_CURRENT_USER, Key, L"Version", REG_SZ, Version, sizeof Version),
            ERROR_SUCCESS);
    }
    ~Windows10ForTheProbe() { RegDeleteKeyW(HKEY_CURRENT_USER, Key); }
    Windows10ForTheProbe(const Windows10ForTheProbe&) = delete;
    Windows10ForTheProbe& operator=(const Windows10ForTheProbe&) = delete;

private:
    static constexpr wchar_t Key[] = L"Software\\Wine\\AppDefaults\\VersionProbe.exe";
};

/// What the probe returns; 0 when it cannot be run.
DWORD RunProbe()
{
    const std::wstring path = TestFolder() + L"\\product\\VersionProbe.exe";
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    DWORD code = 0;
    if (CreateProcessW(path.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                       &process))
    {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    return code;
}

TEST(Manifest, RunsAsTheCallerWithoutMoreRights)
{
    const std::string manifest = ShippedManifest();
    EXPECT_NE(manifest.find("level=\"asInvoker\" uiAccess=\"false\""), std::string::npos);
}

TEST(Manifest, ListsEveryWindowsFromVistaOn)
{
    const std::string manifest = ShippedManifest();
    for (const char* id :
         {"{e2011457-1546-43c5-a5fe-008deee3d3f0}", "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}",
          "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}", "{1f676c76-80e1-4239-95bb-83d0f6d0da78}",
          "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"})
    {
        EXPECT_NE(manifest.find("<supportedOS Id=\"" + std::string(id) + "\"/>"), std::string::npos)
            << id;
    }
}

TEST(Manifest, LeavesTheMachinesCodePageAlone)
{
    const std::string manifest = ShippedManifest();
    ASSERT_FALSE(manifest.empty());
    EXPECT_EQ(manifest.find("activeCodePage"), std::string::npos);
}

TEST(Manifest, IsTheOneThatTheTestProgramsCarry)
{
    EXPECT_EQ(ShippedManifest(), ManifestOf(nullptr));
}

TEST(Manifest, MakesTheVersionTestTellTheTruth)
{
    DWORD minor = 0;
    const DWORD major = RealMajorVersion(minor);
    EXPECT_TRUE(IsAtLeast(major, minor));
    EXPECT_FALSE(IsAtLeast(major, minor + 1));
    EXPECT_FALSE(IsAtLeast(major + 1, 0));
}

TEST(Manifest, MakesTheVersionTestTellTheTruthOnWindows10)
{
    const Windows10ForTheProbe windows10;
    EXPECT_EQ(RunProbe(), 10U);
}
} // namespace
