#include "LateLoading.h"

#include "LateFunctions.h"
#include "Replaced.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <delayimp.h>

#include <filesystem>
#include <set>

// Late imports that no machine can satisfy: of a DLL that is not there, and of a function that its
// DLL lacks.
extern "C" BOOL WINAPI FunctionOfNoDll(int argument);
extern "C" BOOL WINAPI FunctionThatGdi32Lacks(int argument);

namespace
{
using Load = Replaced<"KERNEL32", "LoadLibraryExA", decltype(LoadLibraryExA)>;
using SystemDirectory = Replaced<"KERNEL32", "GetSystemDirectoryA", decltype(GetSystemDirectoryA)>;
using GetAddress = Replaced<"KERNEL32", "GetProcAddress", decltype(GetProcAddress)>;

struct LoadCall
{
    std::string dll;
    DWORD flags;
    bool operator==(const LoadCall&) const = default;
};

class LoadSystemDllTest : public testing::Test
{
protected:
    std::vector<LoadCall> calls;
    const Load load{[this](LPCSTR dll, HANDLE, DWORD flags) -> HMODULE
                    {
                        calls.push_back({dll, flags});
                        return Loaded;
                    }};

    inline static const HMODULE Loaded = GetModuleHandleW(nullptr);
};

/// What SetDefaultDllDirectories was called with and answers.
DWORD searched = 0;
BOOL answer = TRUE;

BOOL WINAPI NoteDirectories(DWORD flags)
{
    searched = flags;
    return answer;
}

/// Gives `function` for SetDefaultDllDirectories.
GetAddress::Behaviour SetDirectoriesIs(FARPROC function)
{
    return [function](HMODULE module, LPCSTR name)
    {
        return std::string(name) == "SetDefaultDllDirectories" ? function
                                                               : GetAddress::Original(module, name);
    };
}

/// A Windows Vista without the update that brought LOAD_LIBRARY_SEARCH_SYSTEM32.
class LoadSystemDllOnOldVistaTest : public LoadSystemDllTest
{
protected:
    const GetAddress getAddress{SetDirectoriesIs(nullptr)};
};

SystemDirectory::Behaviour FolderOfLength(UINT length)
{
    return [length](LPSTR folder, UINT size)
    {
        EXPECT_EQ(size, 260U);
        const std::string text = "C:\\" + std::string(length - 3, 's');
        text.copy(folder, size);
        return length;
    };
}

TEST_F(LoadSystemDllTest, TheDllIsLoadedByItsFullPathAndTheSystemsFolderAloneIsSearched)
{
    const SystemDirectory folder(FolderOfLength(5));
    EXPECT_EQ(LoadSystemDll("SECUR32.dll"), Loaded);
    EXPECT_EQ(calls, (std::vector<LoadCall>{{"C:\\ss\\SECUR32.dll", 0x800}}));
}

TEST_F(LoadSystemDllTest, ADllMayLieBelowTheSystemsFolder)
{
    const SystemDirectory folder(FolderOfLength(5));
    EXPECT_EQ(LoadSystemDll("wbem\\wbemprox.dll"), Loaded);
    EXPECT_EQ(calls, (std::vector<LoadCall>{{"C:\\ss\\wbem\\wbemprox.dll", 0x800}}));
}

TEST_F(LoadSystemDllTest, WhatTheSystemsDllsLoadInTurnIsLookedForInTheSystemsFolderAlone)
{
    searched = 0;
    answer = TRUE;
    const GetAddress getAddress(
        SetDirectoriesIs(reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&NoteDirectories))));
    const SystemDirectory folder(FolderOfLength(5));
    LoadSystemDll("SECUR32.dll");
    EXPECT_EQ(searched, 0x800U);
    EXPECT_EQ(calls, (std::vector<LoadCall>{{"C:\\ss\\SECUR32.dll", 0x800}}));
}

TEST_F(LoadSystemDllTest, WhereTheSearchCannotBeNarrowedTheDllsFolderIsSearchedFirst)
{
    answer = FALSE;
    const GetAddress getAddress(
        SetDirectoriesIs(reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&NoteDirectories))));
    const SystemDirectory folder(FolderOfLength(5));
    LoadSystemDll("SECUR32.dll");
    EXPECT_EQ(calls, (std::vector<LoadCall>{{"C:\\ss\\SECUR32.dll", 0x8}}));
}

TEST_F(LoadSystemDllOnOldVistaTest, TheDllsFolderIsSearchedFirst)
{
    const SystemDirectory folder(FolderOfLength(5));
    EXPECT_EQ(LoadSystemDll("SECUR32.dll"), Loaded);
    EXPECT_EQ(calls, (std::vector<LoadCall>{{"C:\\ss\\SECUR32.dll", 0x8}}));
}

TEST_F(LoadSystemDllOnOldVistaTest, APathThatJustFitsIsUsed)
{
    const SystemDirectory folder(FolderOfLength(247));
    EXPECT_EQ(LoadSystemDll("SECUR32.dll"), Loaded);
    EXPECT_EQ(calls,
              (std::vector<LoadCall>{{"C:\\" + std::string(244, 's') + "\\SECUR32.dll", 0x8}}));
}

TEST_F(LoadSystemDllOnOldVistaTest, NothingIsLoadedFromAFolderWhosePathIsTooLong)
{
    const SystemDirectory folder(FolderOfLength(248));
    EXPECT_EQ(LoadSystemDll("SECUR32.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126U);
    EXPECT_TRUE(calls.empty());
}

TEST_F(LoadSystemDllOnOldVistaTest, NothingIsLoadedWhenTheFolderCannotBeHad)
{
    const SystemDirectory folder([](LPSTR, UINT) -> UINT { return 0; });
    EXPECT_EQ(LoadSystemDll("SECUR32.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126U);
    EXPECT_TRUE(calls.empty());
}

TEST(LoadSystemDllByNameTest, ADllThatIsNotThereIsNotLoaded)
{
    EXPECT_EQ(LoadSystemDll("NoSuchDll.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126U);
}

TEST(FailingFunctionTest, EveryLateFunctionFailsInItsOwnWay)
{
    for (const LateFunction& function : LateFunctions)
    {
        SetLastError(0);
        EXPECT_EQ(FailingFunction(function.name, ERROR_MOD_NOT_FOUND)(), function.missingDll)
            << function.name;
        EXPECT_EQ(GetLastError(), function.missingDll == 0 ? 126U : 0U) << function.name;

        SetLastError(0);
        EXPECT_EQ(FailingFunction(function.name, ERROR_PROC_NOT_FOUND)(), function.missingFunction)
            << function.name;
        EXPECT_EQ(GetLastError(), function.missingFunction == 0 ? 127U : 0U) << function.name;
    }
}

TEST(FailingFunctionTest, TheTableHasEveryLateFunctionOfThisProgram)
{
    std::set<std::string> known = {"FunctionOfNoDll", "FunctionThatGdi32Lacks"};
    for (const LateFunction& function : LateFunctions)
    {
        known.insert(function.name);
    }
    for (const PalvoLab::ImportedFunction& import :
         PalvoLab::EnumerateImports(GetModuleHandleW(nullptr)))
    {
        // By number only Visual C++ imports, and from OLEAUT32 alone; LateImportTest has them.
        EXPECT_TRUE(!import.delayed || import.name.starts_with('#') || known.contains(import.name))
            << import.name;
    }
}

/// What the hook of a failing look-up gives for a function of OLEAUT32 by its number.
INT_PTR CallMissingOleAutomation(DWORD number)
{
    DelayLoadInfo call = {};
    call.szDll = "OLEAUT32.dll";
    call.dlp.dwOrdinal = number;
    call.hmodCur = GetModuleHandleW(L"KERNEL32");
    return __pfnDliFailureHook2(dliFailGetProc, &call)();
}

TEST(LateImportTest, AFunctionThatIsImportedByItsNumberFailsInItsOwnWayToo)
{
    EXPECT_EQ(CallMissingOleAutomation(9), NoFunction) << "VariantClear";
    EXPECT_EQ(CallMissingOleAutomation(12), NoFunction) << "VariantChangeType";
    SetLastError(0);
    EXPECT_EQ(CallMissingOleAutomation(2), 0) << "SysAllocString";
    EXPECT_EQ(GetLastError(), 127U);
}

TEST(LateImportTest, AFunctionThatIsImportedByItsNameFailsInItsOwnWay)
{
    DelayLoadInfo call = {};
    call.szDll = "OLE32.dll";
    call.dlp.fImportByName = TRUE;
    call.dlp.szProcName = "CoInitializeEx";
    call.hmodCur = GetModuleHandleW(L"KERNEL32");
    EXPECT_EQ(__pfnDliFailureHook2(dliFailGetProc, &call)(), NoFunction);
}

/// The DLL that is missing, in another folder for as long as this object lives.
class PlantedDll
{
public:
    explicit PlantedDll(const std::filesystem::path& folder) : path(folder / L"NoSuchDll.dll")
    {
        const std::filesystem::path dll = ProgramFolder() / L"missing" / L"NoSuchDll.dll";
        EXPECT_TRUE(CopyFileW(dll.c_str(), path.c_str(), FALSE)) << GetLastError();
    }
    ~PlantedDll()
    {
        std::error_code failed; // while it is loaded
        std::filesystem::remove(path, failed);
    }
    PlantedDll(const PlantedDll&) = delete;
    PlantedDll& operator=(const PlantedDll&) = delete;

    static std::filesystem::path ProgramFolder()
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return std::filesystem::path(path).parent_path();
    }

private:
    std::filesystem::path path;
};

TEST(LateImportTest, AFunctionOfADllThatIsNotThereFails)
{
    const TemporaryFolder folder;
    const PlantedDll besideTheProgram(PlantedDll::ProgramFolder());
    const PlantedDll inTheCurrentFolder(folder.Path());
    // As wide as a process's search can be made again: what ran before has narrowed it.
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    const auto added = AddDllDirectory(folder.Path().c_str());
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    SetLastError(0);
    EXPECT_FALSE(FunctionOfNoDll(7));
    EXPECT_EQ(GetLastError(), 126U);
    EXPECT_EQ(GetModuleHandleW(L"NoSuchDll.dll"), nullptr);
    std::filesystem::current_path(before);
    RemoveDllDirectory(added);
}

TEST(LateImportTest, AFunctionThatItsDllLacksFails)
{
    SetLastError(0);
    EXPECT_FALSE(FunctionThatGdi32Lacks(7));
    EXPECT_EQ(GetLastError(), 127U);
}
} // namespace
