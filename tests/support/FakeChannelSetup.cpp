#include "FakeChannelSetup.h"

namespace
{
std::wstring Shown(const EVT_VARIANT& value)
{
    switch (value.Type)
    {
    case EvtVarTypeBoolean:
        return L"boolean " + std::to_wstring(value.BooleanVal);
    case EvtVarTypeUInt64:
        return L"uint64 " + std::to_wstring(value.UInt64Val);
    default:
        return L"type " + std::to_wstring(value.Type);
    }
}

std::wstring Shown(const wchar_t* text)
{
    return text == nullptr ? L"null" : L"\"" + std::wstring(text) + L"\"";
}

EVT_HANDLE Handle()
{
    static int object = 0;
    return &object;
}
} // namespace

FakeChannelSetup::FakeChannelSetup(Journal& target)
    : journal(target),
      open(
          [this](EVT_HANDLE session, LPCWSTR channel, DWORD flags) -> EVT_HANDLE
          {
              if (!Succeeds(L"EvtOpenChannelConfig(" +
                            std::wstring(session == nullptr ? L"null" : L"a session") + L", " +
                            Shown(channel) + L", " + std::to_wstring(flags) + L")"))
              {
                  return nullptr;
              }
              ++openHandles;
              pending = saved;
              return Handle();
          }),
      set(
          [this](EVT_HANDLE handle, EVT_CHANNEL_CONFIG_PROPERTY_ID id, DWORD flags,
                 PEVT_VARIANT value) -> BOOL
          {
              const bool succeeds =
                  Succeeds(L"EvtSetChannelConfigProperty(" + std::to_wstring(id) + L", " +
                           std::to_wstring(flags) + L", " + Shown(*value) + L")");
              if (!IsOpen(handle) || !succeeds)
              {
                  return FALSE;
              }
              pending[id] = Shown(*value);
              return TRUE;
          }),
      save(
          [this](EVT_HANDLE handle, DWORD flags) -> BOOL
          {
              const bool succeeds =
                  Succeeds(L"EvtSaveChannelConfig(" + std::to_wstring(flags) + L")");
              if (!IsOpen(handle) || !succeeds)
              {
                  return FALSE;
              }
              saved = pending;
              ++saves;
              return TRUE;
          }),
      close(
          [this](EVT_HANDLE handle) -> BOOL
          {
              journal.push_back(L"EvtClose()");
              const bool wasOpen = IsOpen(handle);
              openHandles -= wasOpen ? 1 : 0;
              // Not the code that the caller is to report.
              SetLastError(ERROR_GEN_FAILURE);
              return wasOpen ? TRUE : FALSE;
          })
{
}

bool FakeChannelSetup::Succeeds(const std::wstring& call)
{
    journal.push_back(call);
    if (++calls != failingCall)
    {
        // A call that succeeds may leave anything there.
        SetLastError(ERROR_GEN_FAILURE);
        return true;
    }
    SetLastError(failure);
    return false;
}

bool FakeChannelSetup::IsOpen(EVT_HANDLE handle)
{
    if (handle == Handle() && openHandles == 1)
    {
        return true;
    }
    ++misuses;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}
