#include "app/dialogs/MessageBox.h"

#include "settings/Fonts.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"

#include <QCheckBox>
#include <QDateTime>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSet>

namespace {

constexpr int HOURS_OF_A_DAY = 24;
constexpr qint64 MS_PER_HOUR = 3'600'000;
constexpr int ICON_SIZE = 32;
constexpr int MAX_TEXT_WIDTH = 560;

QSet<size_t>& Silent() {
    static QSet<size_t> Hashes;
    return Hashes;
}

bool Accepts(QDialogButtonBox::ButtonRole Role) {
    return Role == QDialogButtonBox::AcceptRole || Role == QDialogButtonBox::YesRole;
}

} // namespace

CMessageBox::CMessageBox(const QString& sTitle, const QString& sText, const QIcon& Icon,
                         QDialogButtonBox::StandardButtons Buttons, int SuppressHours, QWidget* pParent)
    : QDialog(pParent), m_sText(sText), m_SuppressHours(SuppressHours), m_pDoNotShow(new QCheckBox(this)),
      m_pButtons(new QDialogButtonBox(Buttons, this)) {
    setObjectName(QStringLiteral("CMessageBox"));
    setWindowTitle(sTitle);
    setFont(GetFont(FONT_APP));
    auto* pIcon = new QLabel(this);
    pIcon->setObjectName(QStringLiteral("labelIcon"));
    pIcon->setPixmap(Icon.pixmap(ICON_SIZE, ICON_SIZE));
    auto* pText = new QLabel(QString(sText).replace(QLatin1String("<br>"), QLatin1String("\n")), this);
    pText->setTextFormat(Qt::PlainText); // the text may hold names out of files
    pText->setObjectName(QStringLiteral("labelMessage"));
    pText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pText->setWordWrap(pText->sizeHint().width() > MAX_TEXT_WIDTH);
    pText->setMinimumWidth(qMin(pText->sizeHint().width(), MAX_TEXT_WIDTH));
    m_pDoNotShow->setObjectName(QStringLiteral("checkBoxDoNotShowAgain"));
    m_pDoNotShow->setText(GetSuppressText(SuppressHours));
    m_pDoNotShow->setVisible(SuppressHours != 0 && SysVarValue(PREF_DIALOG_SHOW_DNSA) != 0);
    auto* pLayout = new QGridLayout(this);
    pLayout->setSizeConstraint(QLayout::SetFixedSize);
    pLayout->setHorizontalSpacing(16);
    pLayout->addWidget(pIcon, 0, 0, Qt::AlignTop);
    pLayout->addWidget(pText, 0, 1);
    pLayout->addWidget(m_pDoNotShow, 1, 1);
    pLayout->addWidget(m_pButtons, 2, 0, 1, 2);
    connect(m_pButtons, &QDialogButtonBox::clicked, this, [this](QAbstractButton* pButton) {
        m_Answer = m_pButtons->standardButton(pButton);
        done(Accepts(m_pButtons->buttonRole(pButton)) ? Accepted : Rejected);
    });
}

QString CMessageBox::GetSuppressText(int Hours) {
    if (Hours == UNTIL_PROGRAM_END) {
        return QStringLiteral("Do not show again");
    }
    return Hours == HOURS_OF_A_DAY ? QStringLiteral("Do not show again today")
                                   : QString::asprintf("Do not show again for %d hours", Hours);
}

void CMessageBox::ForgetSuppressed() { Silent().clear(); }

void CMessageBox::SetDefaultButton(QDialogButtonBox::StandardButton Button) {
    if (QPushButton* pButton = m_pButtons->button(Button)) {
        pButton->setDefault(true);
        pButton->setFocus();
    }
}

QString CMessageBox::HoursKey() const { return QStringLiteral("AppData/%1/%2").arg(objectName()).arg(qHash(m_sText)); }

CMessageBox::SUPPRESSION CMessageBox::GetSuppression() const {
    if (Silent().contains(qHash(m_sText))) {
        return ACCEPTED;
    }
    return ReadSetting(HoursKey()).toLongLong() > QDateTime::currentMSecsSinceEpoch() ? REJECTED : SHOWN;
}

void CMessageBox::Suppress() const {
    if (m_SuppressHours == UNTIL_PROGRAM_END) {
        Silent().insert(qHash(m_sText));
    } else if (m_SuppressHours > 0) {
        WriteSetting(HoursKey(), QDateTime::currentMSecsSinceEpoch() + m_SuppressHours * MS_PER_HOUR);
    }
}

QDialogButtonBox::StandardButton CMessageBox::FirstButton(bool DoesAccept) const {
    for (QAbstractButton* pButton : m_pButtons->buttons()) {
        if (Accepts(m_pButtons->buttonRole(pButton)) == DoesAccept) {
            return m_pButtons->standardButton(pButton);
        }
    }
    return DoesAccept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel;
}

void CMessageBox::done(int Result) {
    if (m_pDoNotShow->isChecked()) {
        Suppress();
    }
    QDialog::done(Result);
}

QDialogButtonBox::StandardButton CMessageBox::Ask() {
    const SUPPRESSION Suppression = GetSuppression();
    if (Suppression != SHOWN) {
        return FirstButton(Suppression == ACCEPTED);
    }
    m_Answer = FirstButton(false); // of a box that is closed without a button
    exec();
    return m_Answer;
}
