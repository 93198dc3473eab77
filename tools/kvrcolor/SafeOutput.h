// An output file that never destroys anything: the target is checked before any work, the data
// go to a fresh temporary file in the target's folder, and only a complete file takes the
// target's place, in one rename.
//
// Refused, each with a one-line reason (exit code kExitOutput):
// - a target that exists and is not a regular file (device, FIFO, folder, socket): renaming over
//   it would replace the node by a plain file;
// - a target that is the same file as one of the inputs (same device and inode, whatever the
//   names): the input would be gone when the output is complete;
// - a target without write permission: the tool does not override a file's protection.
// A symbolic link the user names is followed: the file it points to is replaced and the link
// stays. The temporary is made by mkstemp (a name nobody can predict, created exclusively, no
// link followed); it takes the mode of the file it replaces, or 0666 less the umask when new.
// "-" stands for standard output: the image is made in an unlinked temporary file (TIFF is
// written with seeks) and copied out when complete; a terminal is refused.
// Until Commit the temporary is removed when the object goes (any failure) and when the
// process is interrupted or terminated.
#pragma once

#include <string>
#include <vector>

class SafeOutput {
public:
    // Checks `target` against `inputs` (files read by the command: images, profiles); throws
    // CliError when refused. Then creates the temporary.
    SafeOutput(std::string target, const std::vector<std::string>& inputs);
    ~SafeOutput(); // removes the temporary unless committed
    SafeOutput(const SafeOutput&) = delete;
    SafeOutput& operator=(const SafeOutput&) = delete;

    // The open temporary file; a writer that takes it over closes it and says so by
    // ReleaseFd(). Writers that work by name use tempPath().
    int fd() const { return m_fd; }
    void ReleaseFd() { m_fd = -1; }
    const std::string& tempPath() const { return m_temp; }
    // The name shown in messages: what the user typed.
    const std::string& shownName() const { return m_target; }
    bool toStdout() const { return m_stdout; }

    // Puts the complete file in place (or copies it to standard output). Throws CliError on
    // failure, removing the temporary and leaving the target as it was.
    void Commit();

    // The checks alone, for commands whose file is written by the library (throws as above).
    // Answers the path to write (the file a link points to) and the mode to give the new file.
    struct Target {
        std::string path;
        unsigned mode;
    };
    static Target CheckTarget(const std::string& target, const std::vector<std::string>& inputs);

private:
    std::string m_target; // as given
    std::string m_final;  // the path renamed over: the target, or the file a link points to
    std::string m_temp;
    int m_fd = -1;
    bool m_stdout = false;
    bool m_committed = false;
};
