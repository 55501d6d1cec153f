#pragma once

/// A switch for field support: when the registry says "always" for this program, asks the user to
/// attach a debugger and waits for the answer. The setting is read at every call.
void PromptToAttachDebuggerIfConfigured();
