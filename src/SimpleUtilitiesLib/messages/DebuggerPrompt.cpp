#include "DebuggerPrompt.h"

#include "ProgramFile.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"
#include "Text.h"
#include "UserMessage.h"

void PromptToAttachDebuggerIfConfigured()
{
    const std::wstring program = BaseNameOf(ProgramPath(261));
    const std::wstring setting =
        ReadMachineString(RegistryPaths::DebuggerPrompt, program, L"never");
    if (LowerCase(setting) == L"always")
    {
        ShowUserMessage(program, L"Attach debugger now, if desired.");
    }
}
