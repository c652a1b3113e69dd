#include "app/dialogs/ManualDialog.h"

#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

CManualDialog::CManualDialog(QWidget* pParent)
    : CDialog(QStringLiteral("CManualDialog"), QStringLiteral("Brask Manual"), QSize(820, 640), pParent) {
    auto* pText = new QTextBrowser(this);
    pText->setOpenExternalLinks(true);
    QFile File(QStringLiteral(":/icons/manual.md"));
    if (File.open(QIODevice::ReadOnly)) {
        pText->setMarkdown(QString::fromUtf8(File.readAll()));
    }
    auto* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->addWidget(pText);
}
