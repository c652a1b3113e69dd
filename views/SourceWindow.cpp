#include "views/SourceWindow.h"

#include "command/CommandTable.h"
#include "device/Device.h"
#include "elf/ElfApiLines.h"
#include "framework/LayoutText.h"
#include "framework/PlainText.h"
#include "project/FileFinder.h"
#include "project/SourceLocation.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QMenu>
#include <QStackedWidget>
#include <QTabWidget>

CSourceWindow::CSourceWindow(QWidget* pParent) : CWindow(QStringLiteral("Source"), pParent) {
    auto* pStack = new QStackedWidget(this);
    m_pTabs = new QTabWidget(pStack);
    m_pTabs->setDocumentMode(true);
    m_pTabs->setTabsClosable(true);
    m_pTabs->setMovable(true);
    auto* pLabel =
        new QLabel(QStringLiteral("No document open.\n\nOpen a project or program with File > Open (Ctrl+O)."), pStack);
    pLabel->setAlignment(Qt::AlignCenter);
    pLabel->setEnabled(false);
    m_pEmpty = pLabel;
    pStack->addWidget(m_pEmpty);
    pStack->addWidget(m_pTabs);
    setCentralWidget(pStack);
    connect(m_pTabs, &QTabWidget::tabCloseRequested, this, [this](int Index) {
        delete m_pTabs->widget(Index);
        UpdateEmptyText();
    });
    connect(m_pTabs, &QTabWidget::currentChanged, this, &CWindow::StatusTextChanged);
    CreateActions();
}

void CSourceWindow::CreateActions() {
    m_pContextMenu = new QMenu(this);
    m_pContextMenu->addAction(AddAction(CMD_BP_SET, [this] {
        if (const CSourceView* pView = GetActiveView()) {
            ToggleBreakpoint(*pView, pView->GetCursorLine());
        }
    }));
    m_pContextMenu->addAction(AddAction(CMD_SRC_RUN_TO_CURSOR, [this] { RunAtCursor(CMD_DEBUG_RUN_TO); }));
    m_pContextMenu->addAction(AddAction(CMD_SRC_SET_NEXT_STMNT, [this] { RunAtCursor(CMD_DEBUG_SET_NEXT_STATEMENT); }));
    m_pContextMenu->addSeparator();
    m_pContextMenu->addAction(AddAction(CMD_SRC_VIEW_PC, [] { CCommandTable::Execute(CMD_VIEW_PC_LINE); }));
    m_pContextMenu->addAction(AddAction(CMD_SRC_VIEW_LINE, [this] { ViewLine(); }));
}

QString CSourceWindow::LocationOf(const CSourceView& View, int Line) {
    const QString sLocation = FormatSourceLocation({FindSrcFileOfPath(View.GetPath()), static_cast<U32>(Line), 0});
    return sLocation.isEmpty() ? View.GetDocument().GetName() + QLatin1Char(':') + QString::number(Line) : sLocation;
}

void CSourceWindow::RunAtCursor(U32 CommandId) {
    if (const CSourceView* pView = GetActiveView()) {
        CCommandTable::Execute(CommandId, {LocationOf(*pView, pView->GetCursorLine())});
    }
}

void CSourceWindow::ViewLine() {
    const CSourceView* pView = GetActiveView();
    bool IsAccepted = false;
    if (pView == nullptr) {
        return;
    }
    const int Line =
        QInputDialog::getInt(this, QStringLiteral("Go to Line"), QStringLiteral("Line:"), pView->GetCursorLine(), 1,
                             qMax(1, pView->GetDocument().GetNumLines()), 1, &IsAccepted);
    if (IsAccepted) {
        CCommandTable::Execute(CMD_VIEW_LINE, {Line});
    }
}

CSourceView* CSourceWindow::ViewAt(int Index) const { return qobject_cast<CSourceView*>(m_pTabs->widget(Index)); }
CSourceView* CSourceWindow::GetActiveView() const { return qobject_cast<CSourceView*>(m_pTabs->currentWidget()); }

CSourceView* CSourceWindow::FindView(const QString& sPath) const {
    for (int i = 0; i < m_pTabs->count(); ++i) {
        if (ViewAt(i)->GetPath().compare(sPath, Qt::CaseInsensitive) == 0) {
            return ViewAt(i);
        }
    }
    return nullptr;
}

void CSourceWindow::UpdateEmptyText() {
    qobject_cast<QStackedWidget*>(centralWidget())
        ->setCurrentWidget(m_pTabs->count() > 0 ? static_cast<QWidget*>(m_pTabs) : m_pEmpty);
    emit StatusTextChanged();
}

bool CSourceWindow::OpenFile(const QString& sPath, QString* pError) {
    const QString sFile = QFileInfo(sPath).absoluteFilePath();
    CSourceView* pView = FindView(sFile);
    if (pView == nullptr) {
        auto pNew = std::make_unique<CSourceView>();
        if (!pNew->LoadFile(sFile, pError)) {
            return false;
        }
        pView = pNew.release();
        m_pTabs->addTab(pView, EscapeMnemonic(pView->GetDocument().GetName()));
        m_pTabs->setTabToolTip(m_pTabs->indexOf(pView), ToPlainToolTip(sFile));
        connect(pView, &CSourceView::CursorMoved, this, &CWindow::StatusTextChanged);
        connect(pView, &CSourceView::BreakpointToggled, this, [pView](int Line) { ToggleBreakpoint(*pView, Line); });
        connect(pView, &CSourceView::ContextMenuRequested, this, [this](QPoint Pos) { m_pContextMenu->popup(Pos); });
        UpdateMarksOf(pView);
    }
    m_pTabs->setCurrentWidget(pView);
    setFocusProxy(pView);
    UpdateEmptyText();
    return true;
}

bool CSourceWindow::ShowLocation(const QString& sPath, int Line) {
    QString sError;
    if (!OpenFile(sPath, &sError)) {
        return false;
    }
    if (Line > 0) {
        GetActiveView()->SetCursorLine(Line);
        GetActiveView()->EnsureLineVisible(Line);
    }
    return true;
}

bool CSourceWindow::CloseFile(const QString& sPath) {
    CSourceView* pView = sPath.isEmpty() ? GetActiveView() : FindView(sPath);
    for (int i = 0; i < m_pTabs->count() && pView == nullptr; ++i) {
        pView = ViewAt(i)->GetDocument().GetName() == sPath ? ViewAt(i) : nullptr;
    }
    delete pView;
    UpdateEmptyText();
    return pView != nullptr;
}

void CSourceWindow::CloseAll() {
    while (m_pTabs->count() > 0) {
        delete m_pTabs->widget(0);
    }
    UpdateEmptyText();
}

void CSourceWindow::CloseAllButActive() {
    for (int i = m_pTabs->count() - 1; i >= 0; --i) {
        if (m_pTabs->widget(i) != GetActiveView()) {
            delete m_pTabs->widget(i);
        }
    }
    UpdateEmptyText();
}

void CSourceWindow::ReloadChanged() {
    for (int i = 0; i < m_pTabs->count(); ++i) {
        ViewAt(i)->ReloadIfChanged();
    }
}

bool CSourceWindow::ShowPC(U32 PC) {
    const CSrcLoc Loc = ElfApi_GetSrcLoc(PC);
    ClearPC();
    if (!Loc.IsValid()) {
        return false;
    }
    const QString sPath = CFileFinder::Get().FindFile(ElfApi_GetFilePath(Loc.FileId));
    if (!FileExists(sPath) || !ShowLocation(sPath, static_cast<int>(Loc.Line))) {
        return false;
    }
    m_sPcFile = QFileInfo(sPath).absoluteFilePath();
    m_PcLine = static_cast<int>(Loc.Line);
    m_PcAddr = PC;
    GetActiveView()->SetPcLine(m_PcLine, true);
    return true;
}

bool CSourceWindow::ShowsCodeAt(U32 Addr) const {
    constexpr U32 THUMB_BIT = 1;
    return m_PcLine > 0 && ((m_PcAddr ^ Addr) & ~THUMB_BIT) == 0;
}

void CSourceWindow::ClearPC() {
    m_PcLine = 0;
    m_sPcFile.clear();
    for (int i = 0; i < m_pTabs->count(); ++i) {
        ViewAt(i)->SetPcLine(0, false);
    }
}

void CSourceWindow::UpdateMarksOf(CSourceView* pView) const {
    const U32 FileId = FindSrcFileOfPath(pView->GetPath());
    QMap<int, BP_STATES> Breakpoints;
    for (const BPEntry& Entry : CDevice::Get().GetBreakpoints()) {
        for (const CSrcLoc& Loc : ElfApi_GetSrcLocs(Entry.Addr)) {
            if (Loc.FileId == FileId) {
                Breakpoints.insert(static_cast<int>(Loc.Line), Entry.State);
            }
        }
    }
    QSet<int> CodeLines;
    for (int Line = 1; FileId != INVALID_FILE_ID && Line <= pView->GetDocument().GetNumLines(); ++Line) {
        if (ElfApi_GetAddr({FileId, static_cast<U32>(Line), 0}) >= 0) {
            CodeLines.insert(Line);
        }
    }
    pView->SetBreakpoints(Breakpoints);
    pView->SetCodeLines(CodeLines);
}

void CSourceWindow::UpdateMarks() {
    for (int i = 0; i < m_pTabs->count(); ++i) {
        UpdateMarksOf(ViewAt(i));
    }
}

void CSourceWindow::ToggleBreakpoint(const CSourceView& View, int Line) {
    const QString sLocation = LocationOf(View, Line);
    const I64 Addr = ResolveLocation(sLocation);
    const bool IsSet = Addr >= 0 && CDevice::Get().GetBreakpoint(static_cast<U32>(Addr)).Valid != 0;
    CCommandTable::Execute(IsSet ? CMD_BREAK_CLEAR_ON_SRC : CMD_BREAK_SET_ON_SRC, {sLocation});
}

void CSourceWindow::Clear() {
    CloseAll();
    ClearPC();
}

void CSourceWindow::Repaint() {
    for (int i = 0; i < m_pTabs->count(); ++i) {
        ViewAt(i)->viewport()->update();
    }
}

void CSourceWindow::SetActive(bool Active) {
    CWindow::SetActive(Active);
    if (m_PcLine > 0 && FindView(m_sPcFile) != nullptr) {
        FindView(m_sPcFile)->SetPcLine(m_PcLine, Active);
    }
}

void CSourceWindow::ApplyFont(int, const QFont&) {
    for (int i = 0; i < m_pTabs->count(); ++i) {
        ViewAt(i)->ApplyFonts();
    }
}

void CSourceWindow::SetPreference(int, int) { ApplyFont(FONT_SRC_CODE, QFont()); }

QString CSourceWindow::GetStatusText() const {
    const int Line = GetActiveView() != nullptr ? GetActiveView()->GetCursorLine() : 0;
    return QStringLiteral("Ln %1  Ch %2").arg(Line).arg(Line > 0 ? 1 : 0);
}

QString CSourceWindow::GetUserConfigStr() const {
    return SysVarValue(PREF_SHOW_SRC_CODE_PROFILE) != 0
               ? QStringLiteral("OpenWindow=\"%1\", ExecCountersShown=1").arg(GetName())
               : QString();
}

void CSourceWindow::SetUserConfigStr(const QString& sConfig) {
    for (const QString& sLine : sConfig.split(QLatin1Char('\n'))) {
        const std::optional<DOCK_LAYOUT> Layout = ParseDockLayout(sLine);
        if (Layout && Layout->sName == GetName()) {
            SetSysVar(GetSysVar(PREF_SHOW_SRC_CODE_PROFILE), Layout->ExecCountersShown != 0 ? 1 : 0, false);
            SetPreference(PREF_SHOW_SRC_CODE_PROFILE, SysVarValue(PREF_SHOW_SRC_CODE_PROFILE));
        }
    }
}

void CSourceWindow::OnProgramChanged() {
    ReloadChanged();
    UpdateMarks();
    Repaint();
}

void CSourceWindow::OnDeviceResumeDone(RESUME_MODES) {
    if (m_PcLine > 0 && FindView(m_sPcFile) != nullptr) {
        FindView(m_sPcFile)->SetPcLine(m_PcLine, false);
    }
}

void CSourceWindow::OnDeviceDisconnectDone() { ClearPC(); }
void CSourceWindow::OnDeviceBPStateChanged() { UpdateMarks(); }
