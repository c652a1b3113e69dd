#pragma once

// CSourceWindow: the source viewer, the central window. One tab a document; it follows the program counter, and the
// marks follow the device's breakpoints. Main thread.

#include "framework/Window.h"
#include "views/SourceView.h"

class QMenu;
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
    /// Reads all documents again that have changed on disk.
    void ReloadChanged();

    /// Marks the line of the address, and shows it. False if the address has no source line that can be shown.
    bool ShowPC(U32 PC);
    void ClearPC();
    /// Breakpoints and code lines again from device and program.
    void UpdateMarks();

    void Clear() override;
    void Repaint() override;
    void Update(U32 PC) override { ShowPC(PC); }
    void Invalidate() override { Repaint(); }
    void OnProgramChanged() override;
    void OnProgramClosing() override { Clear(); }
    bool ShowsCodeAt(U32 Addr) const override;
    void SetActive(bool Active) override;
    void ApplyFont(int FontID, const QFont& Font) override;
    void SetPreference(int VarID, int Value) override;
    QString GetStatusText() const override;
    QString GetUserConfigStr() const override;
    void SetUserConfigStr(const QString& sConfig) override;

    void OnDeviceResumeDone(RESUME_MODES) override;
    void OnDeviceDisconnectDone() override;
    void OnDeviceBPStateChanged() override;

private:
    void CreateActions();
    /// Location of a line as commands take it; without a document, or with one that isn't the program's, its name.
    static QString LocationOf(const CSourceView& View, int Line);
    /// Runs a command for the line of the cursor, so that its echo can be pasted.
    void RunAtCursor(U32 CommandId);
    void ViewLine();
    CSourceView* FindView(const QString& sPath) const;
    CSourceView* ViewAt(int Index) const;
    static void ToggleBreakpoint(const CSourceView& View, int Line);
    void UpdateMarksOf(CSourceView* pView) const;
    void UpdateEmptyText();

    QTabWidget* m_pTabs;
    QWidget* m_pEmpty;
    QString m_sPcFile;
    int m_PcLine = 0;
    U32 m_PcAddr = 0;      ///< what m_PcLine stands for
    QMenu* m_pContextMenu; ///< of the documents
};
