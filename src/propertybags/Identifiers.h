#pragma once

#include <string>

/// An identifier and the text that it was made from, in lower case (A to Z).
struct Identifier
{
    std::wstring id;
    std::wstring sourceText;
};

// Both run in the caller's security context. Nothing is reported: what cannot be had is an empty
// part of the source text.

/// Stands for one account on this machine. An empty name means the account that runs the thread.
Identifier ComputeUserId(const std::wstring& accountName);

/// Stands for this machine.
Identifier ComputeDeviceId();
