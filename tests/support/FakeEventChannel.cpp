#include "FakeEventChannel.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>

FakeEventChannel::FakeEventChannel()
    : evtQuery([this](EVT_HANDLE session, LPCWSTR channel, LPCWSTR text, DWORD flags)
               { return OpenQuery(session, channel, text, flags); }),
      evtNext([this](EVT_HANDLE query, DWORD size, EVT_HANDLE* handles, DWORD timeout, DWORD flags,
                     DWORD* returned)
              { return Next(query, size, handles, timeout, flags, returned); }),
      evtClose(
          [this](EVT_HANDLE handle)
          {
              return open.erase(reinterpret_cast<std::uintptr_t>(handle)) == 1
                         ? TRUE
                         : Fail(ERROR_INVALID_HANDLE);
          }),
      evtContext(
          [this](DWORD count, LPCWSTR* paths, DWORD flags) -> EVT_HANDLE
          {
              renderedPaths.assign(paths, paths + count);
              contextFlags = flags;
              ++contexts;
              if (contextError)
              {
                  SetLastError(*contextError);
                  return nullptr;
              }
              return Open(Kind::Context, 0);
          }),
      evtRender([this](EVT_HANDLE context, EVT_HANDLE event, DWORD flags, DWORD size, PVOID buffer,
                       DWORD* used, DWORD* count)
                { return Render(context, event, flags, size, buffer, used, count); })
{
}

EVT_HANDLE FakeEventChannel::Open(Kind kind, std::size_t index)
{
    const std::uintptr_t handle = static_cast<std::uintptr_t>(kind) + index + 1;
    open.insert(handle);
    return reinterpret_cast<EVT_HANDLE>(handle);
}

bool FakeEventChannel::IsOpen(EVT_HANDLE handle, Kind kind)
{
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    return open.contains(value) && (value & 0xF0000000U) == static_cast<std::uintptr_t>(kind);
}

BOOL FakeEventChannel::Fail(DWORD code)
{
    if (code == ERROR_INVALID_HANDLE)
    {
        ++refusedCalls;
    }
    SetLastError(code);
    return FALSE;
}

EVT_HANDLE FakeEventChannel::OpenQuery(EVT_HANDLE session, LPCWSTR channel, LPCWSTR text,
                                       DWORD flags)
{
    queries.push_back({session, channel, text, flags});
    if (onQuery)
    {
        onQuery();
    }
    if (queryError)
    {
        SetLastError(*queryError);
        return nullptr;
    }
    const wchar_t* bound = std::wcsstr(text, L">= ");
    const std::uint64_t first = bound == nullptr ? 0 : std::wcstoull(bound + 3, nullptr, 10);
    found.clear();
    position = 0;
    std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                 [first](const FakeEvent& event) { return event.recordId >= first; });
    std::stable_sort(found.begin(), found.end(),
                     [](const FakeEvent& left, const FakeEvent& right)
                     { return left.recordId > right.recordId; });
    return Open(Kind::Query, 0);
}

BOOL FakeEventChannel::Next(EVT_HANDLE query, DWORD size, EVT_HANDLE* handles, DWORD timeout,
                            DWORD flags, DWORD* returned)
{
    ++fetches;
    batchSizes.push_back(size);
    timeouts.push_back(timeout);
    nextFlags.push_back(flags);
    if (emptyFetches)
    {
        return TRUE;
    }
    *returned = size; // what a failing call leaves there means nothing
    if (!IsOpen(query, Kind::Query))
    {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (nextError && fetches == failingFetch)
    {
        return Fail(*nextError);
    }
    for (*returned = 0; *returned < std::min(size, mostPerFetch) && position < found.size();
         ++*returned, ++position)
    {
        handles[*returned] = Open(Kind::Event, position);
    }
    return *returned != 0 ? TRUE : Fail(ERROR_NO_MORE_ITEMS);
}

BOOL FakeEventChannel::Render(EVT_HANDLE context, EVT_HANDLE event, DWORD flags, DWORD size,
                              void* buffer, DWORD* used, DWORD* count)
{
    ++renderings;
    renderedSizes.push_back(size);
    if (!IsOpen(context, Kind::Context) || !IsOpen(event, Kind::Event))
    {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (flags != EvtRenderEventValues || (buffer == nullptr && size != 0))
    {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const FakeEvent& rendered = found[reinterpret_cast<std::uintptr_t>(event) -
                                      static_cast<std::uintptr_t>(Kind::Event) - 1];
    if (rendered.renderError != ERROR_SUCCESS)
    {
        return Fail(rendered.renderError);
    }
    const std::wstring created = rendered.createdPrinter.value_or(L"");
    const std::wstring changed = rendered.changedPrinter.value_or(L"");
    const std::size_t createdAt = 5 * sizeof(EVT_VARIANT);
    const std::size_t changedAt = createdAt + (created.size() + 1) * sizeof(wchar_t);
    *used = static_cast<DWORD>(changedAt + (changed.size() + 1) * sizeof(wchar_t));
    *count = renderedValues;
    if (size < *used)
    {
        return renderWithoutBuffer ? TRUE : Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (secondRenderError)
    {
        return Fail(*secondRenderError);
    }
    auto* values = static_cast<EVT_VARIANT*>(buffer);
    std::memset(buffer, 0, createdAt);
    values[0].Type = EvtVarTypeUInt16;
    values[0].UInt16Val = rendered.eventId;
    values[1].Type = rendered.qualifier ? EvtVarTypeUInt16 : EvtVarTypeNull;
    values[1].UInt16Val = rendered.qualifier.value_or(0x5555); // what is null may hold anything
    values[2].Type = EvtVarTypeUInt64;
    values[2].UInt64Val = rendered.recordId;
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    std::memcpy(bytes + createdAt, created.c_str(), changedAt - createdAt);
    std::memcpy(bytes + changedAt, changed.c_str(), *used - changedAt);
    if (rendered.createdPrinter)
    {
        values[3].Type = EvtVarTypeString;
        values[3].StringVal = rendered.textsPointNowhere
                                  ? nullptr
                                  : reinterpret_cast<const wchar_t*>(bytes + createdAt);
    }
    if (rendered.changedPrinter)
    {
        values[4].Type = EvtVarTypeString;
        values[4].StringVal = rendered.textsPointNowhere
                                  ? nullptr
                                  : reinterpret_cast<const wchar_t*>(bytes + changedAt);
    }
    return TRUE;
}
