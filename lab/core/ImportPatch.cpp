#include "ImportPatch.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace PalvoLab
{
namespace
{

// A delay-import descriptor as the delay-load helper reads it. All addresses are relative to the
// image's base.
struct DelayDescriptor
{
    std::uint32_t attributes;
    std::uint32_t dllName;
    std::uint32_t moduleHandle;
    std::uint32_t addressTable;
    std::uint32_t nameTable;
    std::uint32_t boundTable;
    std::uint32_t unloadTable;
    std::uint32_t timeStamp;
};

class Image
{
public:
    explicit Image(HMODULE module) : m_base(reinterpret_cast<std::uint8_t*>(module))
    {
        const auto* dos = At<IMAGE_DOS_HEADER>(0);
        m_headers = At<IMAGE_NT_HEADERS>(static_cast<std::uint32_t>(dos->e_lfanew));
    }

    template <typename T> T* At(std::uint32_t offset) const
    {
        return reinterpret_cast<T*>(m_base + offset);
    }

    std::uint32_t Size() const { return m_headers->OptionalHeader.SizeOfImage; }

    const IMAGE_DATA_DIRECTORY& Directory(unsigned index) const
    {
        return m_headers->OptionalHeader.DataDirectory[index];
    }

    const IMAGE_SECTION_HEADER* Sections() const { return IMAGE_FIRST_SECTION(m_headers); }

    unsigned SectionCount() const { return m_headers->FileHeader.NumberOfSections; }

    bool Contains(const void* address) const
    {
        const auto* byte = static_cast<const std::uint8_t*>(address);
        return byte >= m_base && byte < m_base + Size();
    }

private:
    std::uint8_t* m_base;
    const IMAGE_NT_HEADERS* m_headers = nullptr;
};

std::string ImportName(const Image& image, std::uint64_t entry)
{
    if ((entry & IMAGE_ORDINAL_FLAG64) != 0)
    {
        return "#" + std::to_string(entry & 0xFFFF);
    }
    const auto* byName = image.At<IMAGE_IMPORT_BY_NAME>(static_cast<std::uint32_t>(entry));
    return reinterpret_cast<const char*>(byName->Name);
}

void AddTable(const Image& image, const char* dll, std::uint32_t names, std::uint32_t addresses,
              bool delayed, std::vector<ImportedFunction>& imports)
{
    const auto* name = image.At<const std::uint64_t>(names);
    auto* slot = image.At<void*>(addresses);
    for (; *name != 0; ++name, ++slot)
    {
        imports.push_back({dll, ImportName(image, *name), slot, delayed});
    }
}

// A function by its name, or by its number as "#<ordinal>". The DLL is loaded for it.
void* LookUp(const std::string& dll, const std::string& function)
{
    const HMODULE module = LoadLibraryA(dll.c_str());
    if (module == nullptr)
    {
        return nullptr;
    }
    const char* name = function.c_str();
    if (*name == '#')
    {
        name = MAKEINTRESOURCEA(std::strtoul(name + 1, nullptr, 10));
    }
    return reinterpret_cast<void*>(GetProcAddress(module, name));
}

std::string Stem(const std::string& dll)
{
    return dll.substr(0, dll.rfind('.'));
}

bool IsCRuntime(const std::string& stem)
{
    constexpr char part[] = "api-ms-win-crt-";
    return _stricmp(stem.c_str(), "msvcrt") == 0 || _stricmp(stem.c_str(), "ucrtbase") == 0 ||
           _strnicmp(stem.c_str(), part, sizeof part - 1) == 0;
}

// A name such as "WINSPOOL.DRV": printable, ended, with a dot in it.
bool IsDllName(const Image& image, std::uint32_t offset)
{
    constexpr std::uint32_t longest = 64;
    if (offset == 0 || offset + longest >= image.Size())
    {
        return false;
    }
    const auto* text = image.At<const char>(offset);
    bool dot = false;
    for (std::uint32_t i = 0; i < longest; ++i)
    {
        if (text[i] == '\0')
        {
            return i > 4 && dot;
        }
        if (text[i] <= ' ' || text[i] > '~')
        {
            return false;
        }
        dot = dot || text[i] == '.';
    }
    return false;
}

bool IsDelayDescriptor(const Image& image, const DelayDescriptor& candidate)
{
    if (candidate.attributes != 1 || candidate.boundTable != 0 || candidate.unloadTable != 0 ||
        candidate.timeStamp != 0)
    {
        return false;
    }
    const std::uint32_t size = image.Size();
    if (candidate.moduleHandle == 0 || candidate.moduleHandle >= size ||
        candidate.addressTable == 0 || candidate.addressTable >= size - 16 ||
        candidate.nameTable == 0 || candidate.nameTable >= size - 16)
    {
        return false;
    }
    // What only looks like a descriptor may point anywhere.
    std::uint64_t first = 0;
    std::memcpy(&first, image.At<const std::uint8_t>(candidate.nameTable), sizeof first);
    const bool ordinal = (first & IMAGE_ORDINAL_FLAG64) != 0;
    return (ordinal || (first != 0 && first < size)) && IsDllName(image, candidate.dllName);
}

// GNU's linker writes no delay-import directory: the descriptors lie somewhere in the image and
// only the code that calls the helper knows where. They are recognised by their form.
void FindDelayDescriptors(const Image& image, std::vector<const DelayDescriptor*>& found)
{
    for (unsigned i = 0; i < image.SectionCount(); ++i)
    {
        const IMAGE_SECTION_HEADER& section = image.Sections()[i];
        if ((section.Characteristics & IMAGE_SCN_MEM_DISCARDABLE) != 0 ||
            section.Misc.VirtualSize < sizeof(DelayDescriptor))
        {
            continue;
        }
        const std::uint32_t end = section.VirtualAddress + section.Misc.VirtualSize -
                                  static_cast<std::uint32_t>(sizeof(DelayDescriptor));
        for (std::uint32_t at = section.VirtualAddress; at <= end; at += 4)
        {
            const auto* candidate = image.At<const DelayDescriptor>(at);
            if (IsDelayDescriptor(image, *candidate))
            {
                found.push_back(candidate);
            }
        }
    }
}

} // namespace

std::vector<ImportedFunction> EnumerateImports(HMODULE module)
{
    const Image image(module);
    std::vector<ImportedFunction> imports;

    const auto& directory = image.Directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
    if (directory.VirtualAddress != 0)
    {
        const auto* entry = image.At<const IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
        for (; entry->Name != 0; ++entry)
        {
            AddTable(image, image.At<const char>(entry->Name), entry->OriginalFirstThunk,
                     entry->FirstThunk, false, imports);
        }
    }

    std::vector<const DelayDescriptor*> delayed;
    const auto& delayDirectory = image.Directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT);
    if (delayDirectory.VirtualAddress != 0)
    {
        const auto* entry = image.At<const DelayDescriptor>(delayDirectory.VirtualAddress);
        for (; entry->dllName != 0; ++entry)
        {
            delayed.push_back(entry);
        }
    }
    else
    {
        FindDelayDescriptors(image, delayed);
    }
    for (const DelayDescriptor* entry : delayed)
    {
        AddTable(image, image.At<const char>(entry->dllName), entry->nameTable, entry->addressTable,
                 true, imports);
    }
    return imports;
}

void* ResolveImport(HMODULE module, const ImportedFunction& import, void* current)
{
    const Image image(module);
    if (!import.delayed || !image.Contains(current))
    {
        return current;
    }
    // The slot still leads to the loading stub. Calling the stub would overwrite the slot, so the
    // function is looked up here.
    return LookUp(import.dll, import.name);
}

bool IsCode(const void* address)
{
    constexpr DWORD executable =
        PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    MEMORY_BASIC_INFORMATION memory = {};
    return VirtualQuery(address, &memory, sizeof memory) != 0 && (memory.Protect & executable) != 0;
}

void WriteImportSlot(void** slot, void* address)
{
    DWORD before = 0;
    // Executable as well: the slot may share its page with code, this very code in a test program.
    VirtualProtect(slot, sizeof(void*), PAGE_EXECUTE_READWRITE, &before);
    *slot = address;
    VirtualProtect(slot, sizeof(void*), before, &before);
}

bool IsSameDll(const std::string& left, const std::string& right)
{
    const std::string leftStem = Stem(left);
    const std::string rightStem = Stem(right);
    return _stricmp(leftStem.c_str(), rightStem.c_str()) == 0 ||
           (IsCRuntime(leftStem) && IsCRuntime(rightStem));
}

bool IsFunction(const ImportedFunction& import, const char* function)
{
    if (import.name.empty() || import.name.front() != '#')
    {
        return import.name == function;
    }
    void* const address = LookUp(import.dll, function);
    return address != nullptr && address == LookUp(import.dll, import.name);
}

ImportPatch::ImportPatch(HMODULE module, const char* dll, const char* function, void* replacement)
{
    for (const ImportedFunction& import : EnumerateImports(module))
    {
        if (!IsSameDll(import.dll, dll) || !IsFunction(import, function))
        {
            continue;
        }
        void* saved = *import.slot;
        if (m_original == nullptr)
        {
            m_original = ResolveImport(module, import, saved);
        }
        m_slots.push_back({import.slot, saved});
        WriteImportSlot(import.slot, replacement);
    }
}

ImportPatch::ImportPatch(ImportPatch&& other) noexcept
    : m_slots(std::exchange(other.m_slots, {})),
      m_original(std::exchange(other.m_original, nullptr))
{
}

ImportPatch& ImportPatch::operator=(ImportPatch&& other) noexcept
{
    if (this != &other)
    {
        Restore();
        m_slots = std::exchange(other.m_slots, {});
        m_original = std::exchange(other.m_original, nullptr);
    }
    return *this;
}

ImportPatch::~ImportPatch()
{
    Restore();
}

bool ImportPatch::IsApplied() const
{
    return !m_slots.empty();
}

void* ImportPatch::Original() const
{
    return m_original;
}

void ImportPatch::Restore()
{
    // Last patched, first restored: the same slot may have been patched twice.
    for (auto entry = m_slots.rbegin(); entry != m_slots.rend(); ++entry)
    {
        WriteImportSlot(entry->slot, entry->saved);
    }
    m_slots.clear();
}

} // namespace PalvoLab
