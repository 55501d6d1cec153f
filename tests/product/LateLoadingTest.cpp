#include "OtherProcess.h"
#include "ProgramRun.h"
#include "ShippedFile.h"

#include "../../lab/core/ImportPatch.h"
#include "LateFunctions.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <knownfolders.h>

#include <algorithm>
#include <cwctype>
#include <map>
#include <set>
#include <string>

// How the file that ships loads its late DLLs, on the system itself: no function has a double.

namespace
{
/// One function of each late DLL, with arguments that do no harm.
struct HarmlessCall
{
    const char* dll;
    const char* function;
};

constexpr HarmlessCall OneOfEachDll[] = {
    {"OLE32.dll", "CoTaskMemFree"},
    {"OLEAUT32.dll", "SysFreeString"},
    {"SECUR32.dll", "GetUserNameExW"},
    {"SHELL32.dll", "SHGetKnownFolderPath"},
    {"USER32.dll", "GetProcessWindowStation"},
    {"USERENV.dll", "DestroyEnvironmentBlock"},
    {"WEVTAPI.dll", "EvtClose"},
    {"WINSPOOL.DRV", "ClosePrinter"},
    {"WTSAPI32.dll", "WTSFreeMemory"},
};

std::wstring UpperCased(std::wstring text)
{
    for (wchar_t& c : text)
    {
        c = static_cast<wchar_t>(std::towupper(c));
    }
    return text;
}

std::wstring Widened(const std::string& text)
{
    return {text.begin(), text.end()};
}

std::wstring SystemFolder()
{
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return UpperCased(folder) + L"\\";
}

/// A function that the shipped file loads late.
struct LateImport
{
    std::string dll;
    std::uint64_t slot; ///< where its address lies, counted from the program's start in memory
};

/// The shipped file's late imports by their functions' names.
std::map<std::string, LateImport> LateImports(const std::wstring& program)
{
    std::map<std::string, LateImport> imports;
    const HMODULE image = LoadLibraryExW(program.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
    for (const PalvoLab::ImportedFunction& import : PalvoLab::EnumerateImports(image))
    {
        if (import.delayed)
        {
            const auto slot = reinterpret_cast<char*>(import.slot) - reinterpret_cast<char*>(image);
            imports[import.name] = {import.dll, static_cast<std::uint64_t>(slot)};
        }
    }
    FreeLibrary(image);
    return imports;
}

/// A copy of the program that ships, in a folder that a test may write.
class LateLoadingOfTheShippedFile : public testing::Test
{
protected:
    void SetUp() override
    {
        program = folder.Of(L"PalvoPrinterConfiguration.exe");
        ASSERT_TRUE(CopyFileW(ShippedFilePath().c_str(), program.c_str(), TRUE));
        imports = LateImports(program);
    }

    /// Makes the call in a process of the program and returns the slot's new content.
    std::uint64_t Call(const SuspendedProcess& process, const HarmlessCall& call) const
    {
        const std::uint64_t slot = process.ProgramBase() + imports.at(call.function).slot;
        // A known folder's id, and where its path and a length go; the others take no notice.
        const std::uint64_t memory = process.Allocate(64);
        const bool isFolder = std::string(call.function) == "SHGetKnownFolderPath";
        process.CallThrough(slot, {isFolder ? memory : 0, 0, 0, memory + 32});
        return process.ReadPointer(slot);
    }

    /// Puts a DLL that is none of the system's under `name` into `where`.
    static void Plant(const TemporaryFolder& where, const std::wstring& name)
    {
        const std::wstring planted = TestFolder() + L"\\product\\PlantedDll.dll";
        ASSERT_TRUE(CopyFileW(planted.c_str(), where.Of(name).c_str(), TRUE)) << GetLastError();
    }

    TemporaryFolder folder;
    std::wstring program;
    std::map<std::string, LateImport> imports;
};

std::wstring FileNameOf(const std::wstring& path)
{
    return path.substr(path.rfind(L'\\') + 1);
}

bool HasLoaded(const SuspendedProcess& process, const std::wstring& upperCasedPath)
{
    const auto modules = process.Modules();
    return std::any_of(modules.begin(), modules.end(),
                       [&](const auto& module)
                       { return UpperCased(module.second) == upperCasedPath; });
}

TEST_F(LateLoadingOfTheShippedFile, TheFirstCallOfEachDllGoesToTheSystemsDll)
{
    const SuspendedProcess process(program, folder.Path());
    for (const HarmlessCall& call : OneOfEachDll)
    {
        SCOPED_TRACE(call.function);
        const std::uint64_t function = Call(process, call);
        // The system's DLL may have handed the function on to another one of the system.
        EXPECT_TRUE(UpperCased(process.ModuleOf(function)).starts_with(SystemFolder()));
        EXPECT_TRUE(HasLoaded(process, SystemFolder() + UpperCased(Widened(call.dll))));
    }
}

TEST_F(LateLoadingOfTheShippedFile, EveryLateDllIsTried)
{
    std::set<std::string> tried;
    for (const HarmlessCall& call : OneOfEachDll)
    {
        tried.insert(call.dll);
    }
    std::set<std::string> late;
    for (const auto& [function, import] : imports)
    {
        late.insert(import.dll);
    }
    EXPECT_EQ(tried, late);
}

TEST(LateFunctionsTable, HasEveryLateFunctionOfEveryProgram)
{
    std::set<std::string> known;
    for (const LateFunction& function : LateFunctions)
    {
        known.insert(function.name);
    }
    const std::wstring folder = ShippedFilePath().substr(0, ShippedFilePath().rfind(L'\\') + 1);
    std::set<std::string> late;
    for (const wchar_t* program :
         {L"PalvoPrinterConfiguration.exe", L"PalvoPrinterDoctor.exe", L"PalvoPrinterSetup.exe"})
    {
        const auto imports = LateImports(folder + program);
        ASSERT_FALSE(imports.empty()) << std::wstring(program);
        for (const auto& [function, import] : imports)
        {
            late.insert(function);
        }
    }
    EXPECT_EQ(known, late);
}

TEST_F(LateLoadingOfTheShippedFile, AProgramWithoutTheseRulesTakesWhatLiesBesideIt)
{
    const std::wstring careless = folder.Of(L"Careless.exe");
    ASSERT_TRUE(
        CopyFileW((TestFolder() + L"\\product\\EmptyProgram.exe").c_str(), careless.c_str(), TRUE));
    Plant(folder, L"SECUR32.dll");
    constexpr DWORD TookAnother = 3;
    EXPECT_EQ(RunToItsEnd(careless, L"anywhere SECUR32.dll").exitCode, TookAnother);
    EXPECT_EQ(RunToItsEnd(careless, L"SECUR32.dll").exitCode, 0U);
}

TEST_F(LateLoadingOfTheShippedFile, NothingIsLoadedFromTheProgramsFolder)
{
    // First without planted DLLs: what a late DLL needs in turn is planted as well.
    std::set<std::wstring> names;
    {
        const SuspendedProcess process(program, folder.Path());
        const auto atStart = process.Modules();
        for (const HarmlessCall& call : OneOfEachDll)
        {
            Call(process, call);
        }
        for (const auto& [base, path] : process.Modules())
        {
            if (!atStart.contains(base))
            {
                names.insert(FileNameOf(path));
            }
        }
    }
    ASSERT_GE(names.size(), 9U);

    for (const std::wstring& name : names)
    {
        Plant(folder, name);
    }
    const SuspendedProcess process(program, folder.Path());
    for (const HarmlessCall& call : OneOfEachDll)
    {
        Call(process, call);
    }
    const std::uint64_t own = process.ProgramBase();
    for (const auto& [base, path] : process.Modules())
    {
        EXPECT_TRUE(base == own || UpperCased(path).starts_with(SystemFolder())) << path;
    }
}
} // namespace
