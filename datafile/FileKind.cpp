#include "datafile/FileKind.h"

#include "base/Files.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>

namespace JFile {

namespace {

struct SUFFIX_ROW {
    const char* sSuffix;
    FILE_KIND Kind;
};

constexpr SUFFIX_ROW aSuffix[] = {
    {"bin", FK_BINARY},    {"elf", FK_ELF},        {"out", FK_ELF},       {"axf", FK_ELF},
    {"hex", FK_INTEL_HEX}, {"ihex", FK_INTEL_HEX}, {"ihx", FK_INTEL_HEX}, {"mot", FK_SRECORD},
    {"srec", FK_SRECORD},  {"s19", FK_SRECORD},    {"s28", FK_SRECORD},   {"s37", FK_SRECORD},
};

constexpr qint64 HEAD_SIZE = 600; ///< bytes; the longest record of either form takes 521

bool AreHexDigits(QByteArrayView Text) {
    return std::all_of(Text.begin(), Text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
    });
}

// The first line tells, whether its checksum is right or not.
FILE_KIND KindOfText(QByteArrayView Head) {
    const auto IsEnd = [](char c) { return c == '\n' || c == '\r'; };
    const QByteArrayView Line = Head.first(std::find_if(Head.begin(), Head.end(), IsEnd) - Head.begin()).trimmed();
    if (Line.size() >= 10 && Line[0] == 'S' && Line[1] >= '0' && Line[1] <= '9' && AreHexDigits(Line.sliced(2))) {
        return FK_SRECORD;
    }
    return Line.size() >= 11 && Line[0] == ':' && AreHexDigits(Line.sliced(1)) ? FK_INTEL_HEX : FK_NONE;
}

} // namespace

FILE_KIND GetKindOfSuffix(const QString& sPath) {
    const QString sSuffix = QFileInfo(sPath).suffix().toLower();
    for (const SUFFIX_ROW& Row : aSuffix) {
        if (sSuffix == QLatin1String(Row.sSuffix)) {
            return Row.Kind;
        }
    }
    return FK_NONE;
}

FILE_KIND GetKind(const QString& sPath) {
    const FILE_KIND BySuffix = GetKindOfSuffix(sPath);
    QFile File(sPath);
    if (BySuffix == FK_BINARY || !CheckRegularFile(sPath).isEmpty() || !File.open(QIODevice::ReadOnly)) {
        return BySuffix;
    }
    const QByteArray Head = File.read(HEAD_SIZE);
    if (Head.startsWith("\x7F"
                        "ELF")) {
        return FK_ELF;
    }
    const FILE_KIND ByText = KindOfText(QByteArrayView(Head).trimmed());
    return ByText != FK_NONE ? ByText : BySuffix;
}

} // namespace JFile
