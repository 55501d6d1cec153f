#include "Check.h"

#include "CallThunk.h"
#include "FaultPlan.h"
#include "ImportPatch.h"

#include <cstdint>
#include <cstdio>

using namespace PalvoLab;

namespace
{

HMODULE Program()
{
    return GetModuleHandleW(nullptr);
}

bool Imports(const char* dll, const char* name, bool delayed)
{
    for (const ImportedFunction& import : EnumerateImports(Program()))
    {
        if (import.name == name && IsSameDll(import.dll, dll) && import.delayed == delayed)
        {
            return true;
        }
    }
    return false;
}

// Not inlined: the compiler may keep the address that a function calls in a register.
[[gnu::noinline]] DWORD TickCount()
{
    return GetTickCount();
}

DWORD WINAPI FakeTickCount()
{
    return 4711;
}

DWORD WINAPI FakeVersionSize(LPCWSTR, LPDWORD)
{
    SetLastError(77);
    return 12;
}

double Mixed(double a, int b, double c, int d, double e, int f)
{
    return a + b * 10 + c * 100 + d * 1000 + e * 10000 + f * 100000;
}

class AnswerSecond : public CallDecision
{
public:
    bool Answer(std::uint64_t& result) override
    {
        result = 99;
        return ++m_calls == 2;
    }

private:
    int m_calls = 0;
};

int Plain(int a, int b)
{
    return a * b;
}

} // namespace

LAB_TEST(ImportsOfBothKindsAreFound)
{
    CHECK(Imports("kernel32", "GetTickCount", false));
    CHECK(Imports("VERSION.dll", "GetFileVersionInfoSizeW", true));
    CHECK(!Imports("kernel32", "NoSuchFunction", false));
}

LAB_TEST(WhatOnlyLooksLikeADelayTableIsPassedOver)
{
    static const volatile std::uint32_t alike[] = {1, 0x1000, 0x1000, 0x1000, 0xFFFFFFFF, 0, 0, 0};
    CHECK(alike[0] == 1); // which keeps it in the program
    CHECK(Imports("VERSION.dll", "GetFileVersionInfoSizeW", true));
}

LAB_TEST(AStandInReplacesAFunctionAsLongAsItLives)
{
    {
        const StandIn<decltype(&GetTickCount)> standIn("KERNEL32.dll", "GetTickCount",
                                                       &FakeTickCount);
        CHECK(standIn.IsApplied());
        CHECK(TickCount() == 4711);
        CHECK(standIn.Original()() != 4711);
    }
    CHECK(TickCount() != 4711);
}

LAB_TEST(AStandInReplacesADelayedFunctionBeforeAndAfterItsDllIsLoaded)
{
    for (int round = 0; round < 2; ++round)
    {
        {
            const StandIn<decltype(&GetFileVersionInfoSizeW)> standIn(
                "version", "GetFileVersionInfoSizeW", &FakeVersionSize);
            CHECK(standIn.IsApplied());
            CHECK(GetFileVersionInfoSizeW(L"none", nullptr) == 12);
            CHECK(standIn.Original()(L"C:\\no such file", nullptr) == 0);
            CHECK(GetFileVersionInfoSizeW(L"none", nullptr) == 12);
        }
        // Now the real one runs, and with it the DLL is loaded for the second round.
        CHECK(GetFileVersionInfoSizeW(L"C:\\no such file", nullptr) == 0);
    }
}

LAB_TEST(AStandInForWhatIsNotImportedIsNotApplied)
{
    CHECK(!ImportPatch(Program(), "KERNEL32", "NoSuchFunction", nullptr).IsApplied());
    CHECK(!ImportPatch(Program(), "USERENV", "GetTickCount", nullptr).IsApplied());
}

LAB_TEST(AnImportByNumberIsKnownByItsAddress)
{
    const ImportedFunction second{"OLEAUT32.dll", "#2", nullptr, true};
    CHECK(IsFunction(second, "SysAllocString"));
    CHECK(!IsFunction(second, "SysFreeString"));
    CHECK(!IsFunction(second, "NoSuchFunction"));
    CHECK(!IsFunction({"NoSuchDll.dll", "#2", nullptr, true}, "SysAllocString"));
}

LAB_TEST(EveryNameOfACRuntimeMeansTheCRuntime)
{
    CHECK(IsSameDll("api-ms-win-crt-heap-l1-1-0.dll", "msvcrt"));
    CHECK(IsSameDll("UCRTBASE.dll", "msvcrt"));
    CHECK(!IsSameDll("api-ms-win-core-heap-l1-1-0.dll", "msvcrt"));
    CHECK(!IsSameDll("msvcp140.dll", "msvcrt"));
}

LAB_TEST(VariablesAreNoCode)
{
    static int variable = 0;
    CHECK(!IsCode(&variable));
    CHECK(IsCode(reinterpret_cast<const void*>(&Plain)));
}

LAB_TEST(AThunkPassesEveryParameter)
{
    class Pass : public CallDecision
    {
    public:
        bool Answer(std::uint64_t&) override { return false; }
    };
    static Pass pass;
    const auto thunk =
        reinterpret_cast<decltype(&Mixed)>(CreateCallThunk(reinterpret_cast<void*>(&Mixed), &pass));
    CHECK(thunk(1, 2, 3, 4, 5, 6) == 654321);
}

LAB_TEST(AThunkAnswersTheCallThatItDecidesOn)
{
    static AnswerSecond second;
    const auto thunk = reinterpret_cast<decltype(&Plain)>(
        CreateCallThunk(reinterpret_cast<void*>(&Plain), &second));
    CHECK(thunk(2, 3) == 6);
    CHECK(thunk(2, 3) == 99);
    CHECK(thunk(2, 3) == 6);
}

LAB_TEST(AFaultFailsInTheWayOfItsFunction)
{
    CHECK(ParseFault("EvtNext", L"5")->result == 0);
    CHECK(ParseFault("EvtNext", L"5")->lastError == 5);
    CHECK(ParseFault("CreateFileW", L"5")->result == ~std::uint64_t{0});
    CHECK(ParseFault("WaitForSingleObject", L"6")->result == 0xFFFFFFFF);
    CHECK(ParseFault("RegOpenKeyExW", L"5")->result == 5);
    CHECK(ParseFault("CoCreateInstance", L"5")->result == 0x80070005);
    CHECK(ParseFault("CoCreateInstance", L"0x80040154")->result == 0x80040154);
    CHECK(ParseFault("fclose", L"28")->errorNumber == 28);
    CHECK(ParseFault("WaitForSingleObject", L"return=258")->result == 258);
    CHECK(ParseFault("EvtNext", L"kill")->kill);
    CHECK(ParseFault("ReadFile", L"bytes=3")->read->bytes == 3);
    CHECK(ParseFault("RegQueryValueExW", L"wrong-type")->read->wrongType);
    CHECK(!ParseFault("EvtNext", L"5")->read);
    CHECK(!ParseFault("EvtNext", L"bytes=3"));
    CHECK(!ParseFault("ReadFile", L"wrong-type"));
    CHECK(!ParseFault("ReadFile", L"bytes=three"));
    CHECK(!ParseFault("Sleep", L"5"));
    CHECK(!ParseFault("EvtNext", L"five"));
    CHECK(!ParseFault("EvtNext", L"error=5"));
}
