#pragma once

// Gives libdwarf the sections of an open file, with damaged ones hidden from it.

#include "elf/Elf.h"

#include <libdwarf/libdwarf.h>

/// One libdwarf session on a file. The file must outlive it.
class CDwarfSession {
public:
    explicit CDwarfSession(const ELF_FILE* pFile);
    ~CDwarfSession();
    CDwarfSession(const CDwarfSession&) = delete;
    CDwarfSession& operator=(const CDwarfSession&) = delete;
    /// Null if the file has no usable debug information.
    Dwarf_Debug Get() const { return m_pDebug; }
    /// Reports and frees an error of a call.
    void Report(Dwarf_Error pError) const;

private:
    Dwarf_Obj_Access_Interface m_Interface{};
    Dwarf_Debug m_pDebug = nullptr;
};
