#pragma once

#include "ComOwners.h"
#include "Format.h"
#include "TaskSchedulerInterfaces.h"

#include <utility>

/// A step of a sequence failed, and standard output says so. Leaves the sequence.
struct TaskStepFailed
{
};

/// Goes on when the step succeeded; else prints its sentence with the HRESULT and throws
/// TaskStepFailed.
void Require(HRESULT result, WideFormat<HRESULT> sentence);

/// The same for a step that puts an object into `object`. What a step that failed left there is
/// nobody's, and is forgotten.
template <class Interface>
void Require(HRESULT result, ComPointer<Interface>& object, WideFormat<HRESULT> sentence)
{
    object.KeepIf(SUCCEEDED(result));
    Require(result, sentence);
}

/// Requires COM and initialises its security for this process.
void RequireComSecurity(const ComApartment& apartment);

/// Runs `sequence` with COM initialised on this thread. 0 when every step succeeded, 1 when one
/// failed; COM is uninitialised at the end, after everything that the sequence held was given back.
/// Any other exception passes.
template <class Sequence> int RunComSequence(Sequence sequence)
{
    try
    {
        const ComApartment apartment;
        // What the sequence holds goes before COM does.
        const Sequence held(std::move(sequence));
        RequireComSecurity(apartment);
        held();
        return 0;
    }
    catch (const TaskStepFailed&)
    {
        return 1;
    }
}

/// A COM string. Throws LegacyPlvComException with E_OUTOFMEMORY when there is no room for it.
BStr ComText(const std::wstring& text);

/// The scheduler's root folder on this machine, and the service that it belongs to.
struct TaskRoot
{
    ComPointer<ITaskService> service;
    ComPointer<ITaskFolder> folder;
};

/// Connects to the service and gets the folder.
TaskRoot OpenTaskRoot();
