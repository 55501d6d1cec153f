#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"

void JudgeServices(const ServiceFacts& services, Report& report)
{
    if (!services.isSystem)
    {
        report.NotSeen(L"local service", L"Only SYSTEM can try its logon.");
    }
    else if (services.logonError != 0)
    {
        report.Find(FindingKinds::LocalServiceLogon,
                    Format(L"Local Service cannot log on: error %lu.", services.logonError));
    }
    if (!services.canHash)
    {
        report.Find(FindingKinds::CryptographyFailed, L"Windows makes no SHA-256 hash.");
    }
    if (!services.hasWmi)
    {
        report.Find(FindingKinds::WmiFailed,
                    L"WMI tells neither the UUID nor the IdentifyingNumber of the machine.");
    }
}
