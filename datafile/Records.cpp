#include "datafile/Records.h"

#include <algorithm>

namespace {

constexpr qsizetype RECORD_BYTES = 16;
constexpr U64 ADDR_END = 0x100000000;

int DigitOf(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char Lower = static_cast<char>(c | 0x20);
    return Lower >= 'a' && Lower <= 'f' ? Lower - 'a' + 10 : -1;
}

/// Number of hex digits; false if one isn't a digit.
bool ReadHex(QByteArrayView Line, qsizetype Pos, qsizetype NumDigits, U32* pValue) {
    *pValue = 0;
    for (qsizetype i = Pos; i < Pos + NumDigits; ++i) {
        const int Digit = i < Line.size() ? DigitOf(Line[i]) : -1;
        if (Digit < 0) {
            return false;
        }
        *pValue = *pValue << 4 | static_cast<U32>(Digit);
    }
    return true;
}

/// Sum of the bytes from Pos up to the checksum, the line's last two digits; false if a digit is none.
bool SumOf(QByteArrayView Line, qsizetype Pos, U32* pSum, U32* pChecksum) {
    *pSum = 0;
    U32 Byte = 0;
    for (; Pos + 2 < Line.size(); Pos += 2) {
        if (!ReadHex(Line, Pos, 2, &Byte)) {
            return false;
        }
        *pSum += Byte;
    }
    return ReadHex(Line, Pos, 2, pChecksum);
}

constexpr int aAddrDigits[] = {4, 4, 6, 8, 0, 4, 6, 8, 6, 4}; ///< of an S-record's type

void AppendByte(QByteArray* pLine, U32 Byte) {
    constexpr char sDigits[] = "0123456789ABCDEF";
    pLine->append(sDigits[Byte >> 4 & 15]);
    pLine->append(sDigits[Byte & 15]);
}

/// Adds the bytes and the checksum that ends a line: the one's or two's complement of their sum.
void AppendRecord(QByteArray* pOut, const char* sStart, const QByteArray& Bytes, U32 Complement) {
    pOut->append(sStart);
    U32 Sum = 0;
    for (const char c : Bytes) {
        AppendByte(pOut, static_cast<U8>(c));
        Sum += static_cast<U8>(c);
    }
    AppendByte(pOut, (Complement - Sum) & 255);
    pOut->append('\n');
}

QByteArray BytesOf(std::initializer_list<U32> Values) {
    QByteArray Bytes;
    for (const U32 Value : Values) {
        Bytes.append(static_cast<char>(Value));
    }
    return Bytes;
}

} // namespace

bool CRecordList::AddData(U64 Addr, QByteArrayView Digits, U32 Type) {
    const qsizetype NumBytes = Digits.size() / 2;
    if (Addr + static_cast<U64>(NumBytes) > ADDR_END) {
        return false;
    }
    if (NumBytes == 0) {
        return true;
    }
    m_Records.push_back({static_cast<U32>(Addr), static_cast<U32>(NumBytes), m_Data.size(), Type});
    for (qsizetype i = 0; i < NumBytes; ++i) {
        m_Data.append(static_cast<char>(DigitOf(Digits[2 * i]) << 4 | DigitOf(Digits[2 * i + 1])));
    }
    return true;
}

bool CRecordList::AddSRecord(QByteArrayView Line) {
    U32 Count = 0;
    U32 Sum = 0;
    U32 Checksum = 0;
    if (Line.size() < 10 || Line[0] != 'S' || Line[1] < '0' || Line[1] > '9' || !ReadHex(Line, 2, 2, &Count) ||
        static_cast<qsizetype>(Count) * 2 != Line.size() - 4 || !SumOf(Line, 2, &Sum, &Checksum) ||
        Checksum != (~Sum & 255)) {
        return false;
    }
    const U32 Type = static_cast<U32>(Line[1] - '0');
    const qsizetype NumDigits = aAddrDigits[Type];
    const qsizetype NumData = Line.size() - 6 - NumDigits;
    U32 Addr = 0;
    if (NumDigits == 0 || NumData < 0 || !ReadHex(Line, 4, NumDigits, &Addr)) {
        return false;
    }
    return Type < 1 || Type > 3 || AddData(Addr, Line.sliced(4 + NumDigits, NumData), Type);
}

bool CRecordList::AddIntelHex(QByteArrayView Line) {
    U32 Count = 0;
    U32 Sum = 0;
    U32 Checksum = 0;
    U32 Addr = 0;
    U32 Value = 0;
    if (Line.size() < 11 || Line[0] != ':' || Line[7] != '0' || !ReadHex(Line, 1, 2, &Count) ||
        static_cast<qsizetype>(Count) * 2 != Line.size() - 11 || !SumOf(Line, 1, &Sum, &Checksum) ||
        Checksum != ((0 - Sum) & 255) || !ReadHex(Line, 3, 4, &Addr)) {
        return false;
    }
    switch (Line[8]) {
    case '0':
        return AddData(static_cast<U64>(m_Base) + Addr, Line.sliced(9, Line.size() - 11), 0);
    case '1':
        return Line.size() == 11;
    case '2':
    case '4':
        if (Line.size() != 15 || Addr != 0 || !ReadHex(Line, 9, 4, &Value)) {
            return false;
        }
        m_Base = Line[8] == '2' ? Value << 4 : Value << 16;
        return true;
    case '3':
    case '5':
        return Line.size() == 19 && Addr == 0; // where to start; the debugger asks the vector table
    default:
        return false;
    }
}

void CRecordList::CopyRun(size_t First, size_t Last, CMemBlock* pRun) const {
    for (size_t i = First; i < Last; ++i) {
        const RECORD& Record = m_Records[i];
        std::copy_n(m_Data.constData() + Record.Off, Record.Size, pRun->Data.data() + (Record.Addr - pRun->Addr));
    }
}

QList<CMemBlock> CRecordList::Merge() {
    std::stable_sort(m_Records.begin(), m_Records.end(),
                     [](const RECORD& a, const RECORD& b) { return a.Addr < b.Addr; });
    QList<CMemBlock> Runs;
    for (size_t First = 0, Last = 0; First < m_Records.size(); First = Last) {
        U64 End = m_Records[First].Addr;
        for (Last = First; Last < m_Records.size() && m_Records[Last].Addr <= End; ++Last) {
            End = std::max<U64>(End, static_cast<U64>(m_Records[Last].Addr) + m_Records[Last].Size);
        }
        const U32 Addr = m_Records[First].Addr;
        CMemBlock Run(Addr, QByteArray(static_cast<qsizetype>(End - Addr), '\0'));
        Run.RecordType = m_Records[First].Type;
        CopyRun(First, Last, &Run);
        Runs.append(Run);
    }
    return Runs;
}

QByteArray FormatIntelHex(U32 Addr, const QByteArray& Data) {
    QByteArray Out;
    U32 Base = 0;
    for (qsizetype i = 0; i < Data.size();) {
        const U32 Pos = Addr + static_cast<U32>(i);
        if (Pos >> 16 != Base) {
            Base = Pos >> 16;
            AppendRecord(&Out, ":", BytesOf({2, 0, 0, 4, Base >> 8, Base}), 0);
        }
        const qsizetype Left = 0x10000 - static_cast<qsizetype>(Pos & 0xFFFF); // a record stays within its base
        const qsizetype NumBytes = std::min({RECORD_BYTES, Left, Data.size() - i});
        AppendRecord(&Out, ":", BytesOf({static_cast<U32>(NumBytes), Pos >> 8, Pos, 0}) + Data.mid(i, NumBytes), 0);
        i += NumBytes;
    }
    AppendRecord(&Out, ":", BytesOf({0, 0, 0, 1}), 0);
    return Out;
}

QByteArray FormatSRecord(U32 Addr, const QByteArray& Data) {
    QByteArray Out;
    AppendRecord(&Out, "S0", BytesOf({3, 0, 0}), 0xFF);
    for (qsizetype i = 0; i < Data.size(); i += RECORD_BYTES) {
        const U32 Pos = Addr + static_cast<U32>(i);
        const QByteArray Bytes = Data.mid(i, RECORD_BYTES);
        const U32 Count = static_cast<U32>(Bytes.size()) + 5;
        AppendRecord(&Out, "S3", BytesOf({Count, Pos >> 24, Pos >> 16, Pos >> 8, Pos}) + Bytes, 0xFF);
    }
    AppendRecord(&Out, "S7", BytesOf({5, 0, 0, 0, 0}), 0xFF);
    return Out;
}
