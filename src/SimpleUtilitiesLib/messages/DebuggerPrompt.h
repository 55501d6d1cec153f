#pragma once

/// For field support: if the registry says "always" for this program, asks the user to attach a
/// debugger and waits for the answer. Reads the setting at every call.
void PromptToAttachDebuggerIfConfigured();
