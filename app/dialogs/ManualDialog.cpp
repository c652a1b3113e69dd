#include "app/dialogs/ManualDialog.h"

#include <QDesktopServices>
#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

CManualDialog::CManualDialog(QWidget* pParent)
    : CDialog(QStringLiteral("CManualDialog"), QStringLiteral("Brask Manual"), QSize(820, 640), pParent) {
    auto* pText = new QTextBrowser(this);
    pText->setOpenLinks(false); // those to other files of the sources lead nowhere here
    connect(pText, &QTextBrowser::anchorClicked, this, [pText](const QUrl& Url) {
        if (Url.scheme().startsWith(QLatin1String("http"))) {
            QDesktopServices::openUrl(Url);
        } else if (!Url.fragment().isEmpty()) {
            pText->scrollToAnchor(Url.fragment());
        }
    });
    QFile File(QStringLiteral(":/icons/manual.md"));
    if (File.open(QIODevice::ReadOnly)) {
        pText->setMarkdown(QString::fromUtf8(File.readAll()));
    }
    auto* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->addWidget(pText);
}
