// Names that come from a browser: the file name of an upload and a profile's place below the
// base folder. A name is reduced to what it may mean here, or refused when it tries to leave
// its folder.
#pragma once

#include <optional>
#include <string>

// The bare file name of an upload: the last part of `name` after any '/' or '\'. Refused (no
// answer) when the name is empty, absolute ("/etc/x", "\x", "C:x"), holds a ".." part or a NUL,
// or its last part is empty, "." or "..": such a name leaves the folder it is written to.
std::optional<std::string> BareUploadName(const std::string& name);

// A path relative to a folder, as the page names a profile ("Printer/RGB/x.icc"): refused when it
// is empty, absolute, holds a NUL, a '\', an empty, "." or ".." part.
bool IsSafeRelativePath(const std::string& path);
