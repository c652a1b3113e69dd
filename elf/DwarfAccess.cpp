#include "elf/DwarfAccess.h"

#include "elf/ElfInternal.h"

#include <cstring>

namespace {

constexpr U32 SEC_HEADER_SIZE = 12; ///< .debug_rnglists and .debug_loclists, 32-bit DWARF: up to the offset table

U32 _Read(const ELF_FILE* pFile, const U8* p, U32 NumBytes) {
    U32 Value = 0;
    std::memcpy(&Value, p, NumBytes);
    if (ELF_IsFileDataSwapped(pFile) != 0) {
        Value = NumBytes == 2 ? ELF_Swap16(static_cast<U16>(Value)) : ELF_Swap32(Value);
    }
    return Value;
}

/// libdwarf trusts the headers of these two sections (DWARF 5, sections 7.28 and 7.29), so each is checked: length,
/// version 5, address size 4, segment size 0, offset table inside.
bool _AreListHeadersSound(const ELF_FILE* pFile, const U8* pData, U32 Size) {
    U32 Off = 0;
    while (Off < Size) {
        if (Size - Off < SEC_HEADER_SIZE) {
            return false;
        }
        const U32 Length = _Read(pFile, pData + Off, 4);
        const U32 NumOffsets = _Read(pFile, pData + Off + 8, 4);
        if (Length < SEC_HEADER_SIZE - 4 || Length > Size - Off - 4 || _Read(pFile, pData + Off + 4, 2) != 5 ||
            pData[Off + 6] != 4 || pData[Off + 7] != 0 || NumOffsets > (Length - 8) / 4) {
            return false;
        }
        Off += Length + 4;
    }
    return true;
}

bool _IsSound(const ELF_FILE* pFile, U32 Idx) {
    const char* sName = ELF_GetSectionName(pFile, Idx);
    const U8* pData = ELF_GetSectionData(pFile, Idx);
    if (sName == nullptr || pData == nullptr) {
        return false;
    }
    if (std::strcmp(sName, ".debug_rnglists") == 0 || std::strcmp(sName, ".debug_loclists") == 0) {
        return _AreListHeadersSound(pFile, pData, ELF_GetSectionSize(pFile, Idx));
    }
    return true;
}

const ELF_FILE* _File(void* pObj) { return static_cast<const ELF_FILE*>(pObj); }

int _GetSectionInfo(void* pObj, Dwarf_Half Idx, Dwarf_Obj_Access_Section* pOut, int*) {
    const ELF_FILE* pFile = _File(pObj);
    std::memset(pOut, 0, sizeof(*pOut));
    pOut->name = "";
    if (Idx >= ELF_GetNumSections(pFile)) {
        return DW_DLV_NO_ENTRY;
    }
    if (_IsSound(pFile, Idx)) {
        pOut->name = ELF_GetSectionName(pFile, Idx);
        pOut->addr = ELF_GetSectionAddr(pFile, Idx);
        pOut->size = ELF_GetSectionSize(pFile, Idx);
        pOut->type = ELF_GetSectionType(pFile, Idx);
        pOut->entrysize = ELF_GetSectionEntSize(pFile, Idx);
    }
    return DW_DLV_OK;
}

Dwarf_Endianness _GetByteOrder(void* pObj) {
    return ELF_IsFileDataSwapped(_File(pObj)) != 0 ? DW_OBJECT_MSB : DW_OBJECT_LSB;
}

Dwarf_Small _GetFour(void*) { return 4; }
Dwarf_Unsigned _GetSectionCount(void* pObj) { return ELF_GetNumSections(_File(pObj)); }

int _LoadSection(void* pObj, Dwarf_Half Idx, Dwarf_Small** ppData, int*) {
    const U8* pData = ELF_GetSectionData(_File(pObj), Idx);
    if (pData == nullptr) {
        return DW_DLV_NO_ENTRY;
    }
    *ppData = const_cast<U8*>(pData); // libdwarf's interface isn't const; it doesn't write without relocations
    return DW_DLV_OK;
}

const Dwarf_Obj_Access_Methods Methods = {_GetSectionInfo, _GetByteOrder,    _GetFour, _GetFour,
                                          _GetSectionCount, _LoadSection, nullptr};

} // namespace

CDwarfSession::CDwarfSession(const ELF_FILE* pFile) {
    m_Interface.object = const_cast<ELF_FILE*>(pFile);
    m_Interface.methods = &Methods;
    Dwarf_Error pError = nullptr;
    const int Result = dwarf_object_init_b(&m_Interface, nullptr, nullptr, DW_GROUPNUMBER_ANY, &m_pDebug, &pError);
    if (Result != DW_DLV_OK) {
        m_pDebug = nullptr;
        if (Result == DW_DLV_ERROR) {
            ELF_Report(ELF_MSG_LIBDWARF, dwarf_errmsg(pError));
            dwarf_dealloc_error(nullptr, pError); // no session ends with it
        }
    }
}

CDwarfSession::~CDwarfSession() {
    if (m_pDebug != nullptr) {
        Dwarf_Error pError = nullptr;
        dwarf_object_finish(m_pDebug, &pError);
    }
}

void CDwarfSession::Report(Dwarf_Error pError) const {
    if (pError != nullptr) {
        ELF_Report(ELF_MSG_LIBDWARF, dwarf_errmsg(pError));
        dwarf_dealloc_error(m_pDebug, pError);
    }
}
