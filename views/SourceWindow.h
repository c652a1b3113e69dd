#pragma once

// CSourceWindow: the source viewer, the central window. One tab a document; it follows the program counter, and the
// marks follow the device's breakpoints. Main thread.

#include "framework/Window.h"
#include "views/SourceView.h"

class QTabWidget;

class CSourceWindow : public CWindow {
    Q_OBJECT

public:
    explicit CSourceWindow(QWidget* pParent);

    /// Opens or raises a document. False, with a text, if the file can't be read.
    bool OpenFile(const QString& sPath, QString* pError);
    /// Opens the document of a location and moves the cursor there; Line 0 leaves the cursor.
    bool ShowLocation(const QString& sPath, int Line);
    bool CloseFile(const QString& sPath);
    void CloseAll();
    /// Closes all documents but the one shown.
    void CloseAllButActive();
    CSourceView* GetActiveView() const;
    QStringList GetOpenFiles() const;
    /// Reads all documents again that have changed on disk.
    void ReloadChanged();

    /// Marks the line of the address, and shows it. False if the address has no source line that can be shown.
    bool ShowPC(U32 PC);
    void ClearPC();
    /// Breakpoints and code lines again from device and program.
    void UpdateMarks();

    void Clear() override;
    void Repaint() override;
    void SetActive(bool Active) override;
    void ApplyFont(int FontID, const QFont& Font) override;
    void SetPreference(int VarID, int Value) override;
    QString GetStatusText() const override;
    QString GetUserConfigStr() const override;
    void SetUserConfigStr(const QString& sConfig) override;

    void OnDeviceResumeDone(RESUME_MODES) override;
    void OnDeviceDisconnectDone() override;
    void OnDeviceBPStateChanged() override;

signals:
    /// The user asked for a breakpoint to be set or cleared on a line: "file:line".
    void BreakpointToggleRequested(QString sLocation, bool DoSet);
    void ContextMenuRequested(QPoint ScreenPos);

private:
    CSourceView* FindView(const QString& sPath) const;
    CSourceView* ViewAt(int Index) const;
    void ToggleBreakpoint(CSourceView* pView, int Line);
    void UpdateMarksOf(CSourceView* pView) const;
    void UpdateEmptyText();

    QTabWidget* m_pTabs;
    QWidget* m_pEmpty;
    QString m_sPcFile;
    int m_PcLine = 0;
};
