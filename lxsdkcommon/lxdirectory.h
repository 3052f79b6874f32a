// Folders for the files the SDK writes.
#pragma once

#include <string>

// Creates the folder of `path` (everything before its last '/' or '\\') with all missing parents. A
// separator at position 0 does not count, and a path without one names the folder itself. The result
// is not reported: a folder that cannot be made shows when the file is opened.
void CreateDirectoryOfPath(const std::string& path) noexcept;
