#include "framework/PlainText.h"

#include <QTextDocument>

QString ToPlainToolTip(const QString& sText) {
    return Qt::mightBeRichText(sText) ? QStringLiteral("<qt>") + sText.toHtmlEscaped() + QStringLiteral("</qt>")
                                      : sText;
}

QString EscapeMnemonic(const QString& sText) { return QString(sText).replace(QLatin1Char('&'), QLatin1String("&&")); }

QString EscapeTitle(const QString& sText) {
    return QString(sText).replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}
