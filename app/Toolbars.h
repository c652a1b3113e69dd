#pragma once

// CToolbars: the tool bars of the main window, with the two split buttons for the connect and the reset mode. Main
// thread.

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <span>

class QMainWindow;
class QToolBar;
class QToolButton;

class CToolbars : public QObject {
    Q_OBJECT

public:
    /// Makes the bars of the table; the actions have to be linked by then.
    explicit CToolbars(QMainWindow* pMain);

    /// Shows or hides a bar by its name, ignoring case. False if there is none.
    bool Show(const QString& sName, bool IsShown);
    bool IsShown(const QString& sName) const;
    /// The modes in force onto the split buttons.
    void UpdateModePanels();
    void SetConnected(bool IsConnected);

    void RestoreState();
    void SaveState() const;
    /// The bars that are shown, as lines of a layout.
    QStringList FormatLayout() const;
    /// Shows the bars that the lines name, where they lay, and hides the others; without such a line nothing changes.
    void ApplyLayout(const QStringList& Lines);

private:
    void Fill(QToolBar* pBar, std::span<const unsigned> Items);
    QToolButton* AddModePanel(QToolBar* pBar, unsigned RunId, const QList<unsigned>& Entries);

    QMainWindow* m_pMain;
    QMap<QString, QToolBar*> m_Bars;
    QToolButton* m_pConnectPanel = nullptr;
    QToolButton* m_pResetPanel = nullptr;
};
