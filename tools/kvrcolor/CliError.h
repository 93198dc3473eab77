// Failures of the tool: each carries the exit code of its class and one line of text that names
// the file concerned and the reason. main() prints the line and returns the code.
#pragma once

#include <stdexcept>
#include <string>

// Exit codes, listed for the user in --help.
enum ExitCode : int {
    kExitOk = 0,
    kExitInternal = 1, // unexpected failure inside the tool
    kExitUsage = 2,    // bad command line
    kExitInput = 3,    // input file missing, unreadable, truncated or not an image
    kExitProfile = 4,  // profile missing, not a profile, wrong colour space for its step
    kExitLink = 5,     // the library refused the chain; its error number is in the message
    kExitLayout = 6,   // image layout the tool does not handle
    kExitOutput = 7,   // output file cannot be written
};

class CliError : public std::runtime_error {
public:
    CliError(int code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    int code() const { return m_code; }

private:
    int m_code;
};
