#include "ScanPosition.h"

#include "RegistryPaths.h"
#include "RegistryValues.h"

std::uint64_t ReadScanPosition()
{
    return ReadMachineNumber64(RegistryPaths::OwnKey, RegistryPaths::ScanPosition, 0);
}

void StoreScanPosition(std::uint64_t recordId)
{
    std::wstring reason; // is not logged
    WriteMachineNumber64(RegistryPaths::OwnKey, RegistryPaths::ScanPosition, recordId, reason);
}
