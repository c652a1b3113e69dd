#include "app/AccessWaits.h"
#include "app/Slots.h"
#include "app/Trust.h"
#include "base/Files.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "datafile/JFile.h"
#include "device/Device.h"
#include "elf/ElfApi.h"
#include "project/FileFinder.h"
#include "project/SourceLocation.h"
#include "settings/SysVars.h"

#include <QFileInfo>
#include <algorithm>

// Target.* and Elf.*

namespace {

constexpr U32 MAX_TRANSFER = 0x10000000; ///< bytes of one fill, save or load
constexpr U32 PIECE_SIZE = 0x40000;      ///< of a long transfer, which can be cancelled between two

constexpr const char* TOO_MANY = "too many target accesses are waiting";

struct NAME_ROW {
    const char* sName;
    I32 Value;
};

constexpr NAME_ROW aLogical[] = {{"SP", REG_IDX_SP},     {"LR", REG_IDX_LR},     {"PC", REG_IDX_PC},
                                 {"CPSR", REG_IDX_CPSR}, {"XPSR", REG_IDX_CPSR}, {"SPSR", REG_IDX_SPSR}};

/// By index of the probe library, for the Cortex-M group.
constexpr NAME_ROW aSpecial[] = {
    {"MSP", NOVIK_REG_MSP},         {"PSP", NOVIK_REG_PSP},         {"APSR", NOVIK_REG_APSR},
    {"EPSR", NOVIK_REG_EPSR},       {"IPSR", NOVIK_REG_IPSR},       {"PRIMASK", NOVIK_REG_PRIMASK},
    {"BASEPRI", NOVIK_REG_BASEPRI}, {"CONTROL", NOVIK_REG_CONTROL}, {"FAULTMASK", NOVIK_REG_FAULTMASK},
    {"MSPLIM", NOVIK_REG_MSPLIM},   {"PSPLIM", NOVIK_REG_PSPLIM},   {"FPSCR", NOVIK_REG_FPSCR},
    {"CYCCNT", NOVIK_REG_CYCCNT},
};

/// Banks of the classic cores: "SP_IRQ" is another register than "SP_SVC".
constexpr NAME_ROW aBank[] = {{"USR", MODE_USR}, {"FIQ", MODE_FIQ}, {"IRQ", MODE_IRQ}, {"SVC", MODE_SVC},
                              {"ABT", MODE_ABT}, {"UND", MODE_UND}, {"SYS", MODE_SYS}};

I32 FindName(std::span<const NAME_ROW> Rows, const QString& sName) {
    const auto It = std::find_if(Rows.begin(), Rows.end(),
                                 [&sName](const NAME_ROW& Row) { return sName == QLatin1String(Row.sName); });
    return It == Rows.end() ? -1 : It->Value;
}

/// Number behind a letter, -1 if the text is anything else or the number is above Max.
I32 NumberBehind(QLatin1Char Letter, const QString& sName, int Max) {
    bool IsNumber = false;
    const int Number = sName.startsWith(Letter) ? sName.mid(1).toInt(&IsNumber) : -1;
    return IsNumber && Number >= 0 && Number <= Max ? Number : -1;
}

/// Index in the probe library of a register by its name, -1 if the device has none of that name.
I32 FindRegister(const QString& sName) {
    const CDevice& Device = CDevice::Get();
    const QString sUpper = sName.trimmed().toUpper();
    const QString sBank = sUpper.section(QLatin1Char('_'), 1);
    const bool IsCortexM = Device.Facts().IsCortexM();
    if (const I32 Special = FindName(aSpecial, sUpper); IsCortexM && Special >= 0) {
        return Special;
    }
    if (const I32 Single = NumberBehind(QLatin1Char('S'), sUpper, 31); IsCortexM && Single >= 0) {
        return I32(NOVIK_REG_S0) + Single;
    }
    const QString sPlain = sUpper.section(QLatin1Char('_'), 0, 0);
    const I32 Named = FindName(aLogical, sPlain);
    const I32 Logical = Named >= 0 ? Named : NumberBehind(QLatin1Char('R'), sPlain, 15);
    const I32 Mode = sBank.isEmpty() ? MODE_CURRENT : FindName(aBank, sBank);
    const bool IsClassicOnly = !sBank.isEmpty() || Logical == I32(REG_IDX_SPSR);
    return Mode < 0 || (IsClassicOnly && IsCortexM) ? -1 : Device.GetNovikRegIdx(Logical, Mode);
}

void TargetSetReg(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_SET_REG;
    unsigned Value = 0;
    if (!ReadNumberArg(Id, 1, &Value)) {
        return;
    }
    const I32 Idx = FindRegister(CCommandTable::GetArgs(Id).value(0));
    if (Idx < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    if (CDevice::Get().PostWriteReg(static_cast<U32>(Idx), Value) != 0) {
        FailCommand(Id, TOO_MANY);
    }
}

void TargetGetReg(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_GET_REG;
    const I32 Idx = FindRegister(CCommandTable::GetArgs(Id).value(0));
    I64 Value = -1;
    if (Idx < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    if (!ReadRegForCommand(Id, static_cast<U32>(Idx), &Value)) {
        return;
    }
    CCommandTable::SetResult(Id, static_cast<I32>(Value));
    CCommandTable::SetArgs(Id, CCommandTable::GetArgs(Id));
    ReportCommandValue(static_cast<U32>(Value));
}

/// An image of memory as the data of an access, or the other way round: 2, 4 or 8 aligned bytes are accessed as a
/// number of this machine.
QByteArray AsAccess(U32 Addr, QByteArray Data) {
    const qsizetype Size = Data.size();
    const bool IsItem = (Size == 2 || Size == 4 || Size == 8) && Addr % static_cast<U32>(Size) == 0;
    if (IsItem && CDevice::Get().Target().State.DataEndian != 0) {
        std::reverse(Data.begin(), Data.end());
    }
    return Data;
}

/// Posts a write, or says why it can't be.
void PostWrite(COMMAND_ID Id, U32 Addr, const QByteArray& Data) {
    CDevice& Device = CDevice::Get();
    if (!Device.IsMemoryAccessible()) {
        FailCommand(Id, "program is running");
    } else if (Data.isEmpty() || Addr > 0xFFFFFFFF - static_cast<U64>(Data.size())) {
        FailCommand(Id, "invalid file size");
    } else if (Device.PostWriteMem(Addr, Data, 0, MEM_ACCESS_WIDTH_DEFAULT, 0) != 0) {
        FailCommand(Id, TOO_MANY);
    }
}

/// Writes an image piece by piece. False with the command's error behind the first that is refused, or a cancel.
bool WritePieces(COMMAND_ID Id, U32 Addr, const QByteArray& Data) {
    if (Data.isEmpty()) {
        FailCommand(Id, "invalid file size");
    }
    for (qsizetype Pos = 0; Pos < Data.size(); Pos += PIECE_SIZE) {
        const U64 Mark = MarkCommandJobs();
        const U32 At = Addr + static_cast<U32>(Pos);
        PostWrite(Id, At, AsAccess(At, Data.mid(Pos, PIECE_SIZE)));
        if (!WaitForAccess(Id, Mark)) {
            return false;
        }
    }
    return !Data.isEmpty();
}

template <typename T> void Write(COMMAND_ID Id) {
    unsigned Addr = 0;
    unsigned Value = 0;
    if (!ReadNumberArg(Id, 0, &Addr) || !ReadNumberArg(Id, 1, &Value)) {
        return;
    }
    const T Item = static_cast<T>(Value);
    PostWrite(Id, Addr, QByteArray(reinterpret_cast<const char*>(&Item), sizeof(Item)));
}

template <typename T> void Read(COMMAND_ID Id) {
    unsigned Addr = 0;
    if (!ReadNumberArg(Id, 0, &Addr)) {
        return;
    }
    T Item = 0;
    if (!ReadForCommand(Id, Addr, sizeof(Item), &Item)) {
        return;
    }
    CCommandTable::SetResult(Id, static_cast<I32>(Item));
    ReportCommandValue(Item);
}

void TargetWriteU32(CMainWindow&) { Write<U32>(CMD_TARGET_WRITE_U32); }
void TargetWriteU16(CMainWindow&) { Write<U16>(CMD_TARGET_WRITE_U16); }
void TargetWriteU8(CMainWindow&) { Write<U8>(CMD_TARGET_WRITE_U8); }
void TargetReadU32(CMainWindow&) { Read<U32>(CMD_TARGET_READ_U32); }
void TargetReadU16(CMainWindow&) { Read<U16>(CMD_TARGET_READ_U16); }
void TargetReadU8(CMainWindow&) { Read<U8>(CMD_TARGET_READ_U8); }

bool ReadRange(COMMAND_ID Id, int First, unsigned* pAddr, unsigned* pSize) {
    if (!ReadNumberArg(Id, First, pAddr) || !ReadNumberArg(Id, First + 1, pSize)) {
        return false;
    }
    if (*pSize == 0 || *pSize > MAX_TRANSFER || *pSize > 0xFFFFFFFFu - *pAddr) {
        FailCommand(Id, "invalid parameter");
        return false;
    }
    return true;
}

void TargetFillMemory(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_FILL_MEMORY;
    unsigned Addr = 0;
    unsigned Size = 0;
    unsigned Value = 0;
    if (ReadRange(Id, 0, &Addr, &Size) && ReadNumberArg(Id, 2, &Value)) {
        WritePieces(Id, Addr, QByteArray(static_cast<qsizetype>(Size), static_cast<char>(Value)));
    }
}

void TargetSaveMemory(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_SAVE_MEMORY;
    unsigned Addr = 0;
    unsigned Size = 0;
    if (!ReadRange(Id, 1, &Addr, &Size)) {
        return;
    }
    const QString sPath = CFileFinder::Get().ExpandMacros(CCommandTable::GetArgs(Id).value(0));
    if (!MayWriteFile(Id, sPath)) {
        return;
    }
    QByteArray Data;
    for (U32 Pos = 0; Pos < Size; Pos += PIECE_SIZE) {
        QByteArray Piece(static_cast<qsizetype>(std::min(PIECE_SIZE, Size - Pos)), '\0');
        if (!ReadForCommand(Id, Addr + Pos, static_cast<U32>(Piece.size()), Piece.data())) {
            return;
        }
        Data += AsAccess(Addr + Pos, Piece);
    }
    const QString sError = JFile::WriteMemory(sPath, Addr, Data);
    if (!sError.isEmpty()) {
        FailCommand(Id, sError);
    }
}

/// A record file brings its own addresses.
void LoadRecords(COMMAND_ID Id, const QString& sPath) {
    const QList<CMemBlock> Blocks = JFile::ReadFile(sPath, -1);
    if (Blocks.isEmpty()) {
        FailCommand(Id, QFileInfo::exists(sPath) ? "invalid data file" : "file not found");
    }
    for (const CMemBlock& Block : Blocks) {
        if (!WritePieces(Id, Block.Addr, Block.Data)) {
            return;
        }
    }
}

void TargetLoadMemory(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_LOAD_MEMORY;
    unsigned Addr = 0;
    if (!ReadNumberArg(Id, 1, &Addr)) {
        return;
    }
    const QString sPath = CFileFinder::Get().FindFile(CCommandTable::GetArgs(Id).value(0));
    if (JFile::IsRecordFile(sPath)) {
        LoadRecords(Id, sPath);
        return;
    }
    QByteArray Data;
    const QString sError = ReadRegularFile(sPath, MAX_TRANSFER, &Data);
    if (!sError.isEmpty()) {
        FailCommand(Id, sError);
        return;
    }
    WritePieces(Id, Addr, Data);
}

void TargetSetAccessWidth(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_SET_ACCESS_WIDTH;
    I32 Width = 0;
    if (!ParseTextValue("AW_", CCommandTable::GetArg0(Id), &Width)) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    SetSysVar(GetSysVar(VAR_ACCESS_WIDTH), Width, false);
}

void TargetSetEndianess(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_TARGET_SET_ENDIANESS;
    const int IsBig = ParseOnOff(CCommandTable::GetArg0(Id));
    if (IsBig < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    CDevice::Get().PostSetConfigParam(DEV_CFG_ENDIAN, IsBig);
}

void ReportElfValue(COMMAND_ID Id, I64 Value) {
    CCommandTable::SetResult(Id, static_cast<I32>(Value));
    if (Value >= 0) {
        ReportCommandValue(static_cast<U32>(Value));
    }
}

void ElfGetBaseAddr(CMainWindow&) { ReportElfValue(CMD_ELF_GET_BASE_ADDR, ElfApi_GetBaseAddr()); }

void ElfGetEntryPointPC(CMainWindow&) { ReportElfValue(CMD_ELF_GET_ENTRY_POINT_PC, ElfApi_GetEntryPointPC()); }

void ElfGetEntryFuncPC(CMainWindow&) { ReportElfValue(CMD_ELF_GET_ENTRY_FUNC_PC, ElfApi_GetEntryFuncPC()); }

void ElfGetExprValue(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_ELF_GET_EXPR_VALUE;
    I64 Value = -1;
    if (!EvaluateText(CCommandTable::GetArg0(Id), &Value)) {
        FailCommand(Id, "unknown symbol");
        return;
    }
    if (Value < INT32_MIN || Value > UINT32_MAX) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    ReportElfValue(Id, Value);
}

void ElfGetEndianess(CMainWindow&) { ReportElfValue(CMD_ELF_GET_ENDIANESS, ElfApi_IsBigEndian() ? 1 : 0); }

constexpr ACTION_SLOT aSlot[] = {
    {CMD_TARGET_SET_REG, TargetSetReg, NEEDS_HALT | IS_ACCESS},
    {CMD_TARGET_GET_REG, TargetGetReg, NEEDS_HALT | GIVES_VALUE},
    {CMD_TARGET_WRITE_U32, TargetWriteU32, NEEDS_TARGET | IS_ACCESS},
    {CMD_TARGET_WRITE_U16, TargetWriteU16, NEEDS_TARGET | IS_ACCESS},
    {CMD_TARGET_WRITE_U8, TargetWriteU8, NEEDS_TARGET | IS_ACCESS},
    {CMD_TARGET_READ_U32, TargetReadU32, NEEDS_TARGET | GIVES_VALUE},
    {CMD_TARGET_READ_U16, TargetReadU16, NEEDS_TARGET | GIVES_VALUE},
    {CMD_TARGET_READ_U8, TargetReadU8, NEEDS_TARGET | GIVES_VALUE},
    {CMD_TARGET_FILL_MEMORY, TargetFillMemory, NEEDS_TARGET | GIVES_STATUS},
    {CMD_TARGET_SAVE_MEMORY, TargetSaveMemory, NEEDS_TARGET | GIVES_STATUS},
    {CMD_TARGET_LOAD_MEMORY, TargetLoadMemory, NEEDS_TARGET | GIVES_STATUS},
    {CMD_TARGET_SET_ACCESS_WIDTH, TargetSetAccessWidth},
    {CMD_TARGET_SET_ENDIANESS, TargetSetEndianess},
    {CMD_ELF_GET_BASE_ADDR, ElfGetBaseAddr},
    {CMD_ELF_GET_ENTRY_POINT_PC, ElfGetEntryPointPC},
    {CMD_ELF_GET_ENTRY_FUNC_PC, ElfGetEntryFuncPC},
    {CMD_ELF_GET_EXPR_VALUE, ElfGetExprValue, GIVES_VALUE},
    {CMD_ELF_GET_ENDIANESS, ElfGetEndianess},
};

} // namespace

std::span<const ACTION_SLOT> GetTargetSlots() { return aSlot; }
