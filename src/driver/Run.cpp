#include "Run.h"

#include "DebuggerPrompt.h"

#include <utility>

void OfferDebuggerPrompt(Run& run)
{
    if (!std::exchange(run.promptOffered, true))
    {
        PromptToAttachDebuggerIfConfigured();
    }
}
