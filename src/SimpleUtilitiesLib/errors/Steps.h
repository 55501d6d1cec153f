#pragma once

// How a sequence of calls is written of which each can fail: one step is one line, the call in
// Require and beside it the sentence about its failure. Each subsystem has its own Require, which
// knows where sentences go; the caller of the sequence catches StepFailed.

/// Thrown when a step failed and its sentence was written.
struct StepFailed
{
};
