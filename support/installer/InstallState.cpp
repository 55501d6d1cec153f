#include "InstallState.h"

#include "ChannelState.h"
#include "LogFolder.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"
#include "SimpleRegistryKey.h"
#include "TaskKinds.h"
#include "TaskState.h"

#include <array>

namespace
{
constexpr wchar_t StateKey[] = L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterSetup";

// The channel as it was before the first installation, until the removal.
constexpr wchar_t FirstKey[] = L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterSetupFirst";

constexpr std::array StartingTasks = {TaskKind::NewOrChanged, TaskKind::PeriodicRefresh,
                                      TaskKind::UserLogon};
constexpr std::array AllTasks = {TaskKind::NewOrChanged, TaskKind::PeriodicRefresh,
                                 TaskKind::UserLogon, TaskKind::JobStart};

// The value of a task that was not there: no XML is empty.
constexpr wchar_t NoTask[] = L"";

// The value of a position that was not there: no number is a text.
constexpr wchar_t NoPosition[] = L"";

std::wstring ChannelValue(EVT_CHANNEL_CONFIG_PROPERTY_ID id)
{
    return L"Channel" + std::to_wstring(static_cast<int>(id));
}

/// A REG_QWORD; false when it is absent or of another size.
bool ReadNumber(const RegistryKey& key, const std::wstring& name, std::uint64_t& number)
{
    std::vector<std::uint8_t> bytes;
    if (!key.GetValue(name, bytes) || bytes.size() != sizeof number)
    {
        return false;
    }
    CopyMemory(&number, bytes.data(), sizeof number);
    return true;
}

/// One that may not be read, or is no number, is not kept: the roll-back leaves what is there then,
/// the 0 of -IT, with which the program looks at every event again.
void KeepPosition(RegistryKey& state)
{
    std::uint64_t position = 0;
    DWORD size = sizeof position;
    const LSTATUS found =
        RegGetValueW(HKEY_LOCAL_MACHINE, RegistryPaths::OwnKey, RegistryPaths::ScanPosition,
                     RRF_RT_ANY, nullptr, &position, &size);
    if (found == ERROR_FILE_NOT_FOUND)
    {
        state.SetValue(RegistryPaths::ScanPosition, std::wstring(NoPosition));
    }
    else if (found == ERROR_SUCCESS && size == sizeof position)
    {
        state.SetValue(RegistryPaths::ScanPosition, position);
    }
}

bool RestorePosition(const RegistryKey& state)
{
    std::uint64_t position = 0;
    if (ReadNumber(state, RegistryPaths::ScanPosition, position))
    {
        std::wstring error;
        return WriteMachineNumber64(RegistryPaths::OwnKey, RegistryPaths::ScanPosition, position,
                                    error);
    }
    std::vector<std::uint8_t> bytes;
    if (!state.GetValue(RegistryPaths::ScanPosition, bytes))
    {
        return true; // It was not kept.
    }
    const LSTATUS result =
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, RegistryPaths::OwnKey, RegistryPaths::ScanPosition);
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

ChannelNumbers KeptChannel(const RegistryKey& state)
{
    ChannelNumbers numbers;
    for (const EVT_CHANNEL_CONFIG_PROPERTY_ID id : ChannelProperties)
    {
        std::uint64_t number = 0;
        if (ReadNumber(state, ChannelValue(id), number))
        {
            numbers[id] = number;
        }
    }
    return numbers;
}

bool RestoreChannel(const RegistryKey& state)
{
    const ChannelNumbers numbers = KeptChannel(state);
    return numbers.empty() || WriteChannel(numbers);
}

void Forget(const wchar_t* key)
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
    // RegDeleteTreeW leaves the key itself on some versions of Windows.
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key, KEY_WOW64_64KEY, 0);
}

bool RestoreTask(const RegistryKey& state, const std::wstring& name)
{
    constexpr wchar_t notKept[] = L"?";
    const std::wstring xml = state.GetString(name, notKept);
    if (xml == notKept)
    {
        return true;
    }
    return xml == NoTask ? DeleteTaskOf(name) : RegisterTaskXml(name, xml);
}

std::shared_ptr<RegistryKey> CreateState()
{
    return RegistryKey::CreateRegistryKey(HKEY_LOCAL_MACHINE, StateKey, KEY_READ | KEY_WRITE);
}
} // namespace

void KeepState()
{
    ForgetState();
    const auto state = CreateState();
    for (const auto& [id, number] : ReadChannel())
    {
        state->SetValue(ChannelValue(id), number);
    }
    for (const unsigned kind : AllTasks)
    {
        const TaskXml task = ReadTaskXml(TaskName(kind));
        if (task.presence != TaskPresence::Unknown)
        {
            state->SetValue(TaskName(kind), task.xml);
        }
    }
    KeepPosition(*state);
}

bool RestoreState()
{
    const auto state = RegistryKey::OpenRegistryKey(HKEY_LOCAL_MACHINE, StateKey, KEY_READ);
    if (!state)
    {
        return true; // Nothing was changed yet.
    }
    bool restored = RestoreChannel(*state);
    for (const unsigned kind : AllTasks)
    {
        restored = RestoreTask(*state, TaskName(kind)) && restored;
    }
    restored = RestorePosition(*state) && restored;
    return RestoreLogFolder(*state) && restored;
}

bool SecureFolder()
{
    return SecureLogFolder(*CreateState());
}

void ForgetState()
{
    Forget(StateKey);
}

void KeepFirstChannel()
{
    const auto state = RegistryKey::OpenRegistryKey(HKEY_LOCAL_MACHINE, StateKey, KEY_READ);
    const auto first =
        RegistryKey::CreateRegistryKey(HKEY_LOCAL_MACHINE, FirstKey, KEY_READ | KEY_WRITE);
    if (state)
    {
        for (const auto& [id, number] : KeptChannel(*state))
        {
            first->SetValue(ChannelValue(id), number);
        }
    }
}

bool RestoreFirstChannel()
{
    const auto first = RegistryKey::OpenRegistryKey(HKEY_LOCAL_MACHINE, FirstKey, KEY_READ);
    return !first || RestoreChannel(*first);
}

void ForgetFirstChannel()
{
    Forget(FirstKey);
}

bool DeleteStartingTasks()
{
    bool deleted = true;
    for (const unsigned kind : StartingTasks)
    {
        deleted = DeleteTaskOf(TaskName(kind)) && deleted;
    }
    return deleted;
}

bool AreStartingTasksThere()
{
    for (const unsigned kind : StartingTasks)
    {
        if (ReadTaskXml(TaskName(kind)).presence != TaskPresence::There)
        {
            return false;
        }
    }
    return true;
}
