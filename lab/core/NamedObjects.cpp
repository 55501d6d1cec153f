#include "NamedObjects.h"

#include <sddl.h>

namespace PalvoLab
{
namespace
{

// Wine's own user is in this group, no account of the lab is.
constexpr wchar_t kLabsEntry[] = L"D:(A;;GA;;;S-1-2-0)";

bool HasList(PSECURITY_DESCRIPTOR descriptor)
{
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    return descriptor != nullptr && GetSecurityDescriptorControl(descriptor, &control, &revision) &&
           (control & SE_DACL_PRESENT) != 0;
}

void AddEntries(PACL to, PACL from)
{
    void* first = nullptr;
    if (GetAce(from, 0, &first))
    {
        AddAce(to, ACL_REVISION, MAXDWORD, first, from->AclSize - static_cast<DWORD>(sizeof(ACL)));
    }
}

std::vector<BYTE> WithLabsEntry(PACL list)
{
    Descriptor labs = ParseDescriptor(kLabsEntry);
    std::vector<BYTE> joined(list->AclSize + ListOf(labs.data())->AclSize);
    auto* made = reinterpret_cast<PACL>(joined.data());
    InitializeAcl(made, static_cast<DWORD>(joined.size()), ACL_REVISION);
    AddEntries(made, ListOf(labs.data()));
    AddEntries(made, list);
    return joined;
}

// Takes the lab's entry off. False when the list has none.
bool TakeLabsEntry(PACL list)
{
    Descriptor labs = ParseDescriptor(kLabsEntry);
    void* first = nullptr;
    void* wanted = nullptr;
    return GetAce(list, 0, &first) && GetAce(ListOf(labs.data()), 0, &wanted) &&
           EqualSid(&static_cast<ACCESS_ALLOWED_ACE*>(first)->SidStart,
                    &static_cast<ACCESS_ALLOWED_ACE*>(wanted)->SidStart) &&
           DeleteAce(list, 0);
}

} // namespace

ObjectSecurity::ObjectSecurity(const Identity& creator, const SECURITY_ATTRIBUTES* asked)
    : m_default(ParseDescriptor(L"O:" + OwnerOf(creator) + DefaultList(creator)))
{
    m_attributes.nLength = sizeof m_attributes;
    m_attributes.lpSecurityDescriptor = &m_descriptor;
    m_attributes.bInheritHandle = asked != nullptr && asked->bInheritHandle;
    PSECURITY_DESCRIPTOR wanted = asked == nullptr ? nullptr : asked->lpSecurityDescriptor;
    PACL list = ListOf(HasList(wanted) ? wanted : m_default.data());
    if (list != nullptr)
    {
        m_list = WithLabsEntry(list);
        list = reinterpret_cast<PACL>(m_list.data());
    }
    PSID owner = nullptr;
    BOOL defaulted = FALSE;
    GetSecurityDescriptorOwner(m_default.data(), &owner, &defaulted);
    InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorOwner(&m_descriptor, owner, FALSE);
    SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE);
}

bool MayOpen(HANDLE object, const Identity& identity, DWORD access, GENERIC_MAPPING rights)
{
    constexpr SECURITY_INFORMATION parts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    DWORD size = 0;
    GetKernelObjectSecurity(object, parts, nullptr, 0, &size);
    Descriptor descriptor(size);
    if (!GetKernelObjectSecurity(object, parts, descriptor.data(), size, &size))
    {
        return false;
    }
    PACL list = ListOf(descriptor.data());
    return list == nullptr || !TakeLabsEntry(list) ||
           Allows(descriptor.data(), identity, access, rights);
}

} // namespace PalvoLab
