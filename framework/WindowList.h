#pragma once

// CWindowList: the windows of the main window and their docks, made from the table of windows. Main thread.

#include "framework/WindowTable.h"

#include <QList>
#include <QObject>
#include <span>

class CDockWindow;
class CWindow;
class QMainWindow;

class CWindowList : public QObject {
    Q_OBJECT

public:
    explicit CWindowList(QMainWindow* pMain);
    /// Makes all windows of the table with their docks, in the order of the rows.
    void Create(std::span<const WINDOW_ROW> Rows);
    /// Takes the windows down, last first, while what they report to is still there.
    void DeleteAll();

    const QList<CWindow*>& GetWindows() const { return m_Windows; }
    const QList<CDockWindow*>& GetDocks() const { return m_Docks; }
    std::span<const WINDOW_ROW> GetRows() const { return m_Rows; }
    CWindow* GetWindow(const WINDOW_ROW& Row) const { return m_Windows.value(&Row - m_Rows.data()); }
    /// The only window of a class.
    template <class WINDOW> WINDOW* Get() const {
        for (CWindow* pWindow : m_Windows) {
            if (auto* pFound = qobject_cast<WINDOW*>(pWindow)) {
                return pFound;
            }
        }
        return nullptr;
    }

    /// Window by its name for commands or by its title, ignoring case; null if there is none.
    CWindow* Find(const QString& sName) const;
    /// Shows the window's dock in front of its tabs, or hides it; the central window is always shown.
    void Show(CWindow* pWindow, bool IsShown);
    CDockWindow* GetDock(const CWindow* pWindow) const;
    /// The dock that holds the focus, null if none does.
    CDockWindow* GetFocusedDock() const;
    /// Closes what isn't part of the first layout, and shows what is.
    void ShowDefaults();

    /// The docks that are shown, as lines of a layout.
    QStringList FormatLayout() const;
    /// Arranges the docks as the lines say; without a line for any dock nothing changes. Places outside all screens are
    /// moved onto one.
    void ApplyLayout(const QStringList& Lines);

signals:
    void CloseRequested(QString sWindowName);

private:
    QMainWindow* m_pMain;
    std::span<const WINDOW_ROW> m_Rows;
    QList<CWindow*> m_Windows; ///< by row
    QList<CDockWindow*> m_Docks;
};
