#pragma once

#include <string>

class LogFile;

/// Writes UserId, DeviceId and IsAdmin for every user who has a session, in the name of that user.
/// What a user may not write is passed over. A user who cannot be impersonated gets nothing,
/// because the values would then be written with this program's own rights.
void UpdateUserPropertyBags(LogFile& log);

/// Writes a string value into the property bag of every hive that the thread may write.
void SetValueInAllUserPropertyBags(const std::wstring& name, const std::wstring& data);
