#pragma once

#include <string>

/// An identifier and the text that it was made from, in lower case (A to Z).
struct Identifier
{
    std::wstring id;
    std::wstring sourceText;
};

// Both run in the caller's security context. Failures are not reported: what is unknown is an empty
// part of the source text.

/// Identifies an account on this machine. An empty name means the thread's account.
Identifier ComputeUserId(const std::wstring& accountName);

/// Identifies this machine.
Identifier ComputeDeviceId();
