#pragma once

#include "ComOwners.h"
#include "Format.h"
#include "Steps.h"
#include "TaskSchedulerInterfaces.h"

#include <utility>

/// If the step failed, prints its message with the HRESULT and throws StepFailed.
void Require(HRESULT result, WideFormat<HRESULT> sentence);

/// The same for a step that returns an object. If the step failed, `object` is emptied without a
/// release.
template <class Interface>
void Require(HRESULT result, ComPointer<Interface>& object, WideFormat<HRESULT> sentence)
{
    object.KeepIf(SUCCEEDED(result));
    Require(result, sentence);
}

/// Requires COM and initialises its security for this process.
void RequireComSecurity(const ComApartment& apartment);

/// Runs `sequence` with COM initialised on this thread. Returns 0, or 1 if a step failed. COM is
/// uninitialised after everything that the sequence held was released. Other exceptions pass.
template <class Sequence> int RunComSequence(Sequence sequence)
{
    try
    {
        const ComApartment apartment;
        // What the sequence holds is released before COM is uninitialised.
        const Sequence held(std::move(sequence));
        RequireComSecurity(apartment);
        held();
        return 0;
    }
    catch (const StepFailed&)
    {
        return 1;
    }
}

/// A COM string. Throws LegacyPlvComException with E_OUTOFMEMORY if there is no memory.
BStr ComText(const std::wstring& text);

/// This machine's root folder of the scheduler, and its service.
struct TaskRoot
{
    ComPointer<ITaskService> service;
    ComPointer<ITaskFolder> folder;
};

/// Connects to the service and gets the folder.
TaskRoot OpenTaskRoot();
