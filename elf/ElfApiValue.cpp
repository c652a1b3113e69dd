#include "elf/ElfApi.h"
#include "elf/ElfApiFrame.h"

#include <cstring>

// Bytes of an object out of the pieces that a location gives. Bits count from the least significant one of the first
// byte on little-endian targets, from the most significant one on big-endian targets.

namespace {

constexpr U32 MAX_OBJECT = 16 << 20;  ///< bytes; a larger object is read in parts by who wants it
constexpr U32 FIRST_DOUBLE_REG = 256; ///< D0 of the floating point unit, DWARF numbering
constexpr U32 LAST_DOUBLE_REG = 287;

/// Where the bits of one piece come from: bytes in target order and the first bit.
struct SOURCE {
    QByteArray Bytes;
    U64 FirstBit = 0;
};

U32 BitMask(U64 Bit, bool IsBig) { return IsBig ? 0x80u >> (Bit % 8) : 1u << (Bit % 8); }

QByteArray ToBytes(U64 Value, U32 NumBytes, bool IsBig) {
    QByteArray Bytes(static_cast<qsizetype>(NumBytes), '\0');
    for (U32 i = 0; i < NumBytes; ++i) {
        Bytes[static_cast<qsizetype>(IsBig ? NumBytes - 1 - i : i)] = static_cast<char>(Value >> (8 * i));
    }
    return Bytes;
}

/// A value's bits lie at its least significant end.
SOURCE FromValue(U64 Value, U32 NumBytes, U64 BitOffset, U64 NumBits, bool IsBig) {
    const U64 Width = 8ull * NumBytes;
    SOURCE Source = {ToBytes(Value, NumBytes, IsBig), BitOffset};
    if (IsBig) {
        Source.FirstBit = BitOffset + NumBits <= Width ? Width - BitOffset - NumBits : 0;
    }
    return Source;
}

int ReadRegister(const ELF_SYM_PIECE& Piece, U64 NumBits, const ELF_FRAME& Frame, bool IsBig, SOURCE* pSource) {
    const U32 Width = Piece.Reg >= FIRST_DOUBLE_REG && Piece.Reg <= LAST_DOUBLE_REG ? 8 : 4;
    const bool IsPair = Width == 4 && Piece.BitSize == 0 && NumBits == 64; // two core registers hold a long long
    if (!IsPair && Piece.BitOffset + NumBits > 8ull * Width) {
        return ELF_EXPR_INVALID;
    }
    U64 Value = 0;
    U64 Next = 0;
    if (Frame.pfReadReg == nullptr || Frame.pfReadReg(Frame.pContext, Piece.Reg, &Value) != 0 ||
        (IsPair && Frame.pfReadReg(Frame.pContext, Piece.Reg + 1, &Next) != 0)) {
        return ELF_EXPR_UNAVAILABLE;
    }
    if (IsPair) {
        Value = IsBig ? (Value << 32) | (Next & 0xFFFFFFFF) : (Next << 32) | (Value & 0xFFFFFFFF);
    }
    *pSource = FromValue(Value, IsPair ? 8 : Width, Piece.BitOffset, NumBits, IsBig);
    return ELF_EXPR_OK;
}

int ReadMemory(const ELF_SYM_PIECE& Piece, U64 NumBits, const ELF_FRAME& Frame, SOURCE* pSource) {
    const U64 NumBytes = (Piece.BitOffset % 8 + NumBits + 7) / 8;
    pSource->FirstBit = Piece.BitOffset % 8;
    pSource->Bytes.resize(static_cast<qsizetype>(NumBytes));
    return Frame.pfReadMem != nullptr &&
                   Frame.pfReadMem(Frame.pContext, Piece.Addr + Piece.BitOffset / 8, static_cast<U32>(NumBytes),
                                   reinterpret_cast<U8*>(pSource->Bytes.data())) == 0
               ? ELF_EXPR_OK
               : ELF_EXPR_UNAVAILABLE;
}

int ReadPiece(const ELF_SYM_PIECE& Piece, U64 NumBits, const ELF_FRAME& Frame, bool IsBig, SOURCE* pSource) {
    switch (Piece.Kind) {
    case ELF_EXPR_PIECE_MEM:
        return ReadMemory(Piece, NumBits, Frame, pSource);
    case ELF_EXPR_PIECE_REG:
        return ReadRegister(Piece, NumBits, Frame, IsBig, pSource);
    case ELF_EXPR_PIECE_VALUE:
        *pSource = FromValue(Piece.Value, Piece.NumBytes, Piece.BitOffset, NumBits, IsBig);
        return ELF_EXPR_OK;
    case ELF_EXPR_PIECE_BYTES:
        *pSource = {Piece.Bytes, Piece.BitOffset};
        return ELF_EXPR_OK;
    default:
        return ELF_EXPR_OPTIMIZED_OUT;
    }
}

/// Copies as many bits as the source has; returns whether that was all of them.
bool CopyBits(const SOURCE& Source, U64 NumBits, U64 To, bool IsBig, ELF_SYM_VALUE* pValue) {
    const U64 NumHave = static_cast<U64>(Source.Bytes.size()) * 8;
    const U64 NumCopied = std::min(NumBits, NumHave > Source.FirstBit ? NumHave - Source.FirstBit : 0);
    if (Source.FirstBit % 8 == 0 && To % 8 == 0 && NumCopied % 8 == 0) {
        std::memcpy(pValue->Bytes.data() + To / 8, Source.Bytes.constData() + Source.FirstBit / 8, NumCopied / 8);
        std::memset(pValue->Known.data() + To / 8, 0xFF, NumCopied / 8);
        return NumCopied == NumBits;
    }
    for (U64 i = 0; i < NumCopied; ++i) {
        const U64 From = Source.FirstBit + i;
        const U32 Mask = BitMask(To + i, IsBig);
        const qsizetype Byte = static_cast<qsizetype>((To + i) / 8);
        const bool IsSet =
            (static_cast<U8>(Source.Bytes[static_cast<qsizetype>(From / 8)]) & BitMask(From, IsBig)) != 0;
        pValue->Bytes[Byte] = static_cast<char>(static_cast<U8>(pValue->Bytes[Byte]) | (IsSet ? Mask : 0));
        pValue->Known[Byte] = static_cast<char>(static_cast<U8>(pValue->Known[Byte]) | Mask);
    }
    return NumCopied == NumBits;
}

} // namespace

ELF_SYM_VALUE ElfApi_ReadPlace(const ELF_SYM_PLACE& Place, U32 NumBytes, const ELF_FRAME& Frame) {
    ELF_SYM_VALUE Value;
    Value.Status = NumBytes <= MAX_OBJECT ? Place.Status : ELF_EXPR_UNAVAILABLE;
    if (Value.Status != ELF_EXPR_OK) {
        return Value;
    }
    const bool IsBig = ElfApi_IsBigEndian();
    const U64 Total = 8ull * NumBytes;
    Value.Bytes = QByteArray(static_cast<qsizetype>(NumBytes), '\0');
    Value.Known = Value.Bytes;
    U64 To = 0;
    for (const ELF_SYM_PIECE& Piece : Place.Pieces) {
        const U64 NumBits = std::min<U64>(Piece.BitSize != 0 ? Piece.BitSize : Total, Total - To);
        SOURCE Source;
        int Status = NumBits != 0 ? ReadPiece(Piece, NumBits, Frame, IsBig, &Source) : ELF_EXPR_OK;
        if (Status == ELF_EXPR_OK && !CopyBits(Source, NumBits, To, IsBig, &Value)) {
            Status = ELF_EXPR_OPTIMIZED_OUT; // narrower than its object
        }
        Value.Status = std::max(Value.Status, Status);
        To += NumBits;
    }
    Value.Status = To < Total ? std::max<int>(Value.Status, ELF_EXPR_OPTIMIZED_OUT) : Value.Status;
    return Value;
}
