#include "ShippedFile.h"

#include "../../lab/core/ImportPatch.h"
#include "ImportsSinceVista.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <vector>

namespace
{
std::string UpperCased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; });
    return text;
}

/// What the file that ships imports, by both of its tables.
class Imports : public testing::Test
{
protected:
    void SetUp() override
    {
        // Mapped as an image, but neither run nor bound.
        m_module = LoadLibraryExW(Path().c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
        ASSERT_NE(m_module, nullptr);
        for (const PalvoLab::ImportedFunction& import : PalvoLab::EnumerateImports(m_module))
        {
            auto& list = import.delayed ? m_delayed : m_atStart;
            list.push_back({UpperCased(import.dll), import.name});
        }
    }

    void TearDown() override
    {
        if (m_module != nullptr)
        {
            FreeLibrary(m_module);
        }
    }

    virtual std::wstring Path() const { return ShippedFilePath(); }

    struct Import
    {
        std::string dll;
        std::string function;
    };

    static std::set<std::string> DllsOf(const std::vector<Import>& imports)
    {
        std::set<std::string> dlls;
        for (const Import& import : imports)
        {
            dlls.insert(import.dll);
        }
        return dlls;
    }

    HMODULE m_module = nullptr;
    std::vector<Import> m_atStart;
    std::vector<Import> m_delayed;
};

/// The same of the doctor.
class DoctorImports : public Imports
{
protected:
    std::wstring Path() const override
    {
        return ShippedFilePath().substr(0, ShippedFilePath().rfind(L'\\')) +
               L"\\PalvoPrinterDoctor.exe";
    }
};

std::set<std::string> FunctionsSinceVista(const std::string& dll)
{
    std::set<std::string> functions;
    for (const DllFunctions& known : ImportsSinceVista)
    {
        if (known.dll == dll)
        {
            std::istringstream names(known.functions);
            functions.insert(std::istream_iterator<std::string>(names), {});
        }
    }
    return functions;
}

std::set<std::string> DoctorFunctionsSinceVista(const std::string& dll)
{
    std::set<std::string> functions = FunctionsSinceVista(dll);
    for (const DllFunctions& known : DoctorImportsSinceVista)
    {
        if (known.dll == dll)
        {
            std::istringstream names(known.functions);
            functions.insert(std::istream_iterator<std::string>(names), {});
        }
    }
    return functions;
}

TEST_F(Imports, LoadOnlyKernelRegistryAndRuntimeAtTheStart)
{
    EXPECT_EQ(DllsOf(m_atStart),
              (std::set<std::string>{"ADVAPI32.DLL", "KERNEL32.DLL", "MSVCRT.DLL"}));
}

TEST_F(Imports, LoadEveryOtherDllAtItsFirstCall)
{
    EXPECT_EQ(DllsOf(m_delayed),
              (std::set<std::string>{"OLE32.DLL", "OLEAUT32.DLL", "SECUR32.DLL", "SHELL32.DLL",
                                     "USER32.DLL", "USERENV.DLL", "WEVTAPI.DLL", "WINSPOOL.DRV",
                                     "WTSAPI32.DLL"}));
}

TEST_F(Imports, AreFunctionsThatEveryWindowsSinceVistaHas)
{
    std::set<std::string> unknown;
    for (const std::vector<Import>& imports : {m_atStart, m_delayed})
    {
        for (const Import& import : imports)
        {
            if (!FunctionsSinceVista(import.dll).contains(import.function))
            {
                unknown.insert(import.dll + " " + import.function);
            }
        }
    }
    EXPECT_EQ(unknown, std::set<std::string>()) << "not in ImportsSinceVista.h";
}

TEST_F(Imports, AskForNothingThatAUserDecides)
{
    constexpr const char* Deciding[] = {"Environment",
                                        "putenv",
                                        "getenv",
                                        "TempPath",
                                        "TempFileName",
                                        "tmpnam",
                                        "tmpfile",
                                        "CurrentDirectory",
                                        "getcwd",
                                        "SearchPath",
                                        "ShellExecute",
                                        "WinExec",
                                        "RegOpenCurrentUser",
                                        "RegOpenUserClassesRoot",
                                        "system"};
    for (const std::vector<Import>& imports : {m_atStart, m_delayed})
    {
        for (const Import& import : imports)
        {
            // The block that is made for a child holds what Windows knows of the account. Some
            // builds' C++ runtime library imports getenv for itself; src would take _wgetenv.
            if (import.function.ends_with("EnvironmentBlock") || import.function == "getenv")
            {
                continue;
            }
            for (const char* deciding : Deciding)
            {
                EXPECT_EQ(import.function.find(deciding), std::string::npos) << import.function;
            }
        }
    }
}

TEST_F(DoctorImports, LoadOnlyKernelRegistryAndRuntimeAtTheStart)
{
    EXPECT_EQ(DllsOf(m_atStart),
              (std::set<std::string>{"ADVAPI32.DLL", "KERNEL32.DLL", "MSVCRT.DLL"}));
}

TEST_F(DoctorImports, AreFunctionsThatEveryWindowsSinceVistaHas)
{
    std::set<std::string> unknown;
    for (const std::vector<Import>& imports : {m_atStart, m_delayed})
    {
        for (const Import& import : imports)
        {
            if (!DoctorFunctionsSinceVista(import.dll).contains(import.function))
            {
                unknown.insert(import.dll + " " + import.function);
            }
        }
    }
    EXPECT_EQ(unknown, std::set<std::string>()) << "not in ImportsSinceVista.h";
}

// What comes with the program's libraries and is not called, such as the log's own mutex, is
// imported all the same; the system tests look at the calls.
TEST_F(DoctorImports, HaveNothingThatMakesOrSetsAnEvent)
{
    const std::set<std::string> disturbing = {"CreateEventW", "OpenEventW", "SetEvent",
                                              "ResetEvent", "PulseEvent"};
    for (const std::vector<Import>& imports : {m_atStart, m_delayed})
    {
        for (const Import& import : imports)
        {
            EXPECT_FALSE(disturbing.contains(import.function)) << import.function;
        }
    }
}
} // namespace
