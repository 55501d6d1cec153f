// Replacing single imported functions of a loaded module.
//
// A program calls Windows through slots: the import table for DLLs that are loaded with it, the
// delay-import table for DLLs that are loaded at the first call. Writing another address into a
// slot replaces the function for that module alone; everything else in the process, the C runtime
// included, goes on calling the real one.
#pragma once

#include "WindowsHeaders.h"

#include <string>
#include <vector>

namespace PalvoLab
{

// One function that a module imports.
struct ImportedFunction
{
    std::string dll;  // as written in the module, for example "WEVTAPI.dll"
    std::string name; // the function's name, or "#<ordinal>"
    void** slot;      // where the module keeps the address that it calls
    bool delayed;     // true for a delay-loaded import
};

// All functions that a module imports, in the order of its tables, delay-loaded ones last.
// Works on the loaded image, so it needs no list that could forget a function.
std::vector<ImportedFunction> EnumerateImports(HMODULE module);

// The address of the real function behind an import. A delay-loaded DLL is loaded for it.
// `current` is the slot's content before it was patched. Null when there is no such function.
void* ResolveImport(HMODULE module, const ImportedFunction& import, void* current);

// False for an imported variable, such as the C runtime has: it must not be replaced by code.
bool IsCode(const void* address);

// Writes a slot, whatever the protection of its page.
void WriteImportSlot(void** slot, void* address);

// True when two DLL names mean the same DLL: case and a missing ".dll" do not matter, and every
// name of a C runtime means the C runtime: "msvcrt" also what Visual C++ imports from
// "api-ms-win-crt-*.dll".
bool IsSameDll(const std::string& left, const std::string& right);

// True when the import is this function of its DLL. One by number, as Visual C++ imports those of
// OLEAUT32, is known by its address; the DLL is loaded for it.
bool IsFunction(const ImportedFunction& import, const char* function);

// Replaces one function of one module for as long as the object lives.
//
// Compilers take a slot for a constant and may keep its content in a register within one function.
// So patch in one function and call in another, as a test that calls the product does anyway.
class ImportPatch
{
public:
    ImportPatch() = default;

    // Patches every slot in which `module` imports `function` of `dll` ("KERNEL32" and
    // "kernel32.dll" are the same). IsApplied() is false when the module imports no such function.
    ImportPatch(HMODULE module, const char* dll, const char* function, void* replacement);

    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ImportPatch(ImportPatch&& other) noexcept;
    ImportPatch& operator=(ImportPatch&& other) noexcept;

    // Puts the original address back.
    ~ImportPatch();

    bool IsApplied() const;

    // The real function. Null when nothing was patched or the function does not exist.
    void* Original() const;

    // Puts the original address back now.
    void Restore();

private:
    struct PatchedSlot
    {
        void** slot;
        void* saved;
    };

    std::vector<PatchedSlot> m_slots;
    void* m_original = nullptr;
};

// The same with the function's type known, for a stand-in in the running program's main module:
//     const StandIn<decltype(&CreateMutexW)> standIn("KERNEL32", "CreateMutexW",
//         [](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE { return nullptr; });
template <typename Function> class StandIn
{
public:
    StandIn(const char* dll, const char* name, Function replacement)
        : m_patch(GetModuleHandleW(nullptr), dll, name, reinterpret_cast<void*>(replacement))
    {
    }

    bool IsApplied() const { return m_patch.IsApplied(); }

    Function Original() const { return reinterpret_cast<Function>(m_patch.Original()); }

private:
    ImportPatch m_patch;
};

} // namespace PalvoLab
