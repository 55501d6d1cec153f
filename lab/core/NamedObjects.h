// Named events and mutexes with the rights of the lab's accounts. Wine keeps an object's descriptor
// with it for all processes; the lab writes there what its account's would be.
#pragma once

#include "AccessList.h"

namespace PalvoLab
{

// What a new object is made with, in place of what its creator asked for: the descriptor that
// Windows would give it, and a first entry, which no account of the lab has, that lets the lab
// itself in.
class ObjectSecurity
{
public:
    // `asked` may be null.
    ObjectSecurity(const Identity& creator, const SECURITY_ATTRIBUTES* asked);
    ObjectSecurity(const ObjectSecurity&) = delete;
    ObjectSecurity& operator=(const ObjectSecurity&) = delete;

    SECURITY_ATTRIBUTES* Attributes() { return &m_attributes; }

private:
    Descriptor m_default;
    std::vector<BYTE> m_list;
    SECURITY_DESCRIPTOR m_descriptor = {};
    SECURITY_ATTRIBUTES m_attributes = {};
};

// Whether the account may open an object, of which the lab has a handle with all rights. An object
// that was not made with ObjectSecurity is open to all.
bool MayOpen(HANDLE object, const Identity& identity, DWORD access, GENERIC_MAPPING rights);

} // namespace PalvoLab
