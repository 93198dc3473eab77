// The two programs of the tool. `kvrcolor` carries every command but loads neither the web
// server of `kvrcolor ui` (cpp-httplib, with TLS and compression libraries behind it) nor the
// PDF reader (qpdf): a conversion or a lookup then starts without mapping and relocating them.
// Where it meets one of the two (the ui command, a PDF given to extract or info), it throws
// NeedsFullProgram before it has written anything, and main() replaces the process with
// `kvrcolor-full`, the same tool with both linked in, on the same command line.
#pragma once

#include <stdexcept>
#include <string>

class NeedsFullProgram : public std::runtime_error {
public:
    explicit NeedsFullProgram(const std::string& what) : std::runtime_error(what) {}
};

// Where kvrcolor-full is: beside this program (the build tree), or in the installed
// tree's program folder for helpers relative to this program's folder. Empty if neither.
std::string FullProgramPath();

// Runs kvrcolor-full with `argv` in place of this process. Returns only on failure, with the
// reason.
std::string ExecFullProgram(char** argv);
