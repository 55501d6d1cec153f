#include "SecurityText.h"

#include <sddl.h>

#include <stdexcept>
#include <utility>

std::wstring SecurityText(PSECURITY_DESCRIPTOR descriptor)
{
    wchar_t* text = nullptr;
    if (descriptor == nullptr ||
        !ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr))
    {
        return L"NO DESCRIPTOR";
    }
    std::wstring result = text;
    LocalFree(text);
    return result;
}

std::wstring SecurityText(PACL list)
{
    SECURITY_DESCRIPTOR descriptor = {};
    if (list == nullptr || !InitializeSecurityDescriptor(&descriptor, 1) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE))
    {
        return L"NO LIST";
    }
    return SecurityText(&descriptor);
}

std::multiset<std::wstring> EntriesOf(const std::wstring& securityText)
{
    std::multiset<std::wstring> entries;
    std::size_t start = 0;
    while ((start = securityText.find(L'(', start)) != std::wstring::npos)
    {
        const std::size_t end = securityText.find(L')', start);
        entries.insert(securityText.substr(start, end - start + 1));
        start = end;
    }
    return entries;
}

ListFromText::ListFromText(const std::wstring& text)
{
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                              &descriptor, nullptr))
    {
        throw std::runtime_error("no security descriptor");
    }
}

ListFromText::~ListFromText()
{
    LocalFree(descriptor);
}

PACL ListFromText::List() const
{
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted);
    return present ? list : nullptr;
}

std::multiset<std::wstring> ListFromText::Entries() const
{
    return EntriesOf(SecurityText(descriptor));
}

PSECURITY_DESCRIPTOR ListFromText::Release()
{
    return std::exchange(descriptor, nullptr);
}
