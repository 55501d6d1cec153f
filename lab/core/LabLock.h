#pragma once

#include "Owners.h"

namespace PalvoLab
{

// Serialises something between all processes of the lab for as long as it lives. A process that
// was killed inside leaves the mutex abandoned; the next one takes it over.
class LabLock
{
public:
    explicit LabLock(const wchar_t* name) : m_mutex(CreateMutexW(nullptr, FALSE, name))
    {
        WaitForSingleObject(m_mutex.Get(), INFINITE);
    }

    LabLock(const LabLock&) = delete;
    LabLock& operator=(const LabLock&) = delete;

    ~LabLock() { ReleaseMutex(m_mutex.Get()); }

private:
    KernelHandle m_mutex;
};

} // namespace PalvoLab
