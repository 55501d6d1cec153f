#include "Looks.h"
#include "Owners.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"

ValueFact LookAtValue(HKEY root, const std::wstring& subKey, const std::wstring& name)
{
    ValueFact fact;
    RegistryHandle key;
    fact.error =
        static_cast<DWORD>(RegOpenKeyExW(root, subKey.c_str(), 0, KEY_QUERY_VALUE, key.Receive()));
    if (!key.KeepIf(fact.error == ERROR_SUCCESS))
    {
        return fact;
    }
    DWORD size = 0;
    do
    {
        fact.bytes.resize(size);
        fact.error = static_cast<DWORD>(RegQueryValueExW(key.Get(), name.c_str(), nullptr,
                                                         &fact.type, fact.bytes.data(), &size));
        // Somebody may make it longer meanwhile.
    } while (fact.error == ERROR_MORE_DATA ||
             (fact.error == ERROR_SUCCESS && size > fact.bytes.size()));
    fact.bytes.resize(fact.error == ERROR_SUCCESS ? size : 0);
    return fact;
}

SettingsFacts LookAtSettings()
{
    SettingsFacts facts;
    facts.runSwitch =
        LookAtValue(HKEY_LOCAL_MACHINE, RegistryPaths::Options, RegistryPaths::RunSwitch);
    facts.effectiveSwitch =
        ReadMachineNumber32(RegistryPaths::Options, RegistryPaths::RunSwitch, 1);
    facts.position =
        LookAtValue(HKEY_LOCAL_MACHINE, RegistryPaths::OwnKey, RegistryPaths::ScanPosition);
    facts.prompt = LookAtValue(HKEY_LOCAL_MACHINE, RegistryPaths::DebuggerPrompt,
                               L"PalvoPrinterConfiguration");
    return facts;
}
