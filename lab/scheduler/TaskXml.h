// A task as task XML, for a person and for tests.
#pragma once

#include "TaskStore.h"

#include <string>

namespace PalvoLab
{

// Windows writes every COM boolean as true or false. Here one that was put as anything but -1 or 0
// is written as it was put, and a property that was never put is left out.
std::wstring TaskXml(const StoredTask& task);

} // namespace PalvoLab
