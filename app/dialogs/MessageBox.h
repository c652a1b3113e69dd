#pragma once

// CMessageBox: the dialog of the program's questions. A box with a suppression period may be told not to come again;
// it is known by the hash of its text. Main thread.

#include <QDialog>
#include <QDialogButtonBox>
#include <QIcon>

class QCheckBox;

constexpr int UNTIL_PROGRAM_END = -1; ///< a suppression period

class CMessageBox : public QDialog {
    Q_OBJECT

public:
    /// SuppressHours: 0 asks every time; -1 offers silence until the program ends, other values for that many hours.
    CMessageBox(const QString& sTitle, const QString& sText, const QIcon& Icon,
                QDialogButtonBox::StandardButtons Buttons, int SuppressHours, QWidget* pParent);

    void SetDefaultButton(QDialogButtonBox::StandardButton Button);
    /// Shows the box and waits for the answer; a suppressed box answers at once: accepted, with the first button that
    /// accepts, while it is silent until the program ends; rejected, with the first that rejects, while its hours last.
    QDialogButtonBox::StandardButton Ask();

    /// "Do not show again", with the period.
    static QString GetSuppressText(int Hours);
    /// Forgets the boxes that are silent until the program ends.
    static void ForgetSuppressed();

    void done(int Result) override;

private:
    enum SUPPRESSION { SHOWN, ACCEPTED, REJECTED };
    SUPPRESSION GetSuppression() const;
    void Suppress() const;
    QString HoursKey() const;
    QDialogButtonBox::StandardButton FirstButton(bool DoesAccept) const;

    QString m_sText;
    int m_SuppressHours;
    QCheckBox* m_pDoNotShow;
    QDialogButtonBox* m_pButtons;
    QDialogButtonBox::StandardButton m_Answer = QDialogButtonBox::NoButton;
};
