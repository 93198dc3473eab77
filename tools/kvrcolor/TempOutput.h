// An output file that appears only when it is complete: it is written under a temporary name
// in the same folder (OUT.kvrtmp-<pid>) and renamed to OUT at the end, which replaces OUT in
// one step. Until then the temporary is removed when the object goes (any failure) and when
// the process is interrupted or terminated, so that OUT is never half written.
#pragma once

#include <string>

class TempOutput {
public:
    explicit TempOutput(std::string finalPath);
    ~TempOutput(); // removes the temporary unless committed
    TempOutput(const TempOutput&) = delete;
    TempOutput& operator=(const TempOutput&) = delete;

    const std::string& tempPath() const { return m_temp; }
    const std::string& finalPath() const { return m_final; }
    // Renames the temporary to the final name. Throws CliError (output) on failure, removing
    // the temporary.
    void Commit();

private:
    std::string m_final;
    std::string m_temp;
    bool m_committed = false;
};
