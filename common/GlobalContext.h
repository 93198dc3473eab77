// What the host hands every module of the colour library: the user settings of the system.
#pragma once

class CPrintUSM;

class CGlobalContext {
public:
    // Null stands for the process's settings, CPrintUSM::GetInstance().
    explicit CGlobalContext(CPrintUSM* usm = nullptr);
    virtual ~CGlobalContext() = default;

    // The user settings of the system; never null.
    virtual CPrintUSM* GetPrintUSM() const;

private:
    CPrintUSM* m_usm; // not owned
};
