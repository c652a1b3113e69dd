#include "base/TextFormat.h"

#include <QStringDecoder>
#include <algorithm>

namespace {

constexpr QByteArrayView BOM = "\xEF\xBB\xBF";

bool IsCrLfThroughout(const QString& sText) {
    const qsizetype NumPairs = sText.count(QLatin1String("\r\n"));
    return NumPairs > 0 && NumPairs == sText.count(QLatin1Char('\n')) && NumPairs == sText.count(QLatin1Char('\r'));
}

bool FitsLatin1(const QString& sText) {
    return std::all_of(sText.begin(), sText.end(), [](QChar c) { return c.unicode() <= 0xFF; });
}

} // namespace

QString DecodeText(QByteArray Bytes, TEXT_FORMAT* pFormat) {
    *pFormat = {};
    if (Bytes.startsWith(BOM)) {
        pFormat->HasBom = true;
        Bytes.remove(0, BOM.size());
    }
    QStringDecoder Decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString sText = Decoder(Bytes);
    if (Decoder.hasError()) {
        pFormat->IsLatin1 = true;
        sText = QString::fromLatin1(Bytes);
    }
    pFormat->IsCrLf = IsCrLfThroughout(sText);
    return pFormat->IsCrLf ? sText.remove(QLatin1Char('\r')) : sText;
}

QByteArray EncodeText(const QString& sText, const TEXT_FORMAT& Format) {
    QString sOut = sText;
    if (Format.IsCrLf) {
        sOut.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    }
    const QByteArray Bytes = Format.IsLatin1 && FitsLatin1(sOut) ? sOut.toLatin1() : sOut.toUtf8();
    return Format.HasBom ? BOM.toByteArray() + Bytes : Bytes;
}
