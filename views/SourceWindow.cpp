#include "views/SourceWindow.h"

#include "device/Device.h"
#include "elf/ElfApiLines.h"
#include "framework/LayoutText.h"
#include "project/FileFinder.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QFileInfo>
#include <QLabel>
#include <QStackedWidget>
#include <QTabWidget>

namespace {

/// FileId of the program's source file that a path on this machine stands for; INVALID_FILE_ID if it is none of them.
U32 ProgramFileOf(const QString& sPath) {
    const QString sWanted = QFileInfo(sPath).canonicalFilePath();
    for (const U32 FileId : ElfApi_GetSrcFileIds()) {
        const QString sFile = ElfApi_GetFilePath(FileId);
        if (QFileInfo(sFile).fileName().compare(QFileInfo(sPath).fileName(), Qt::CaseInsensitive) == 0 &&
            QFileInfo(CFileFinder::Get().FindFile(sFile)).canonicalFilePath() == sWanted) {
            return FileId;
        }
    }
    return INVALID_FILE_ID;
}

} // namespace

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

QStringList CSourceWindow::GetOpenFiles() const {
    QStringList Files;
    for (int i = 0; i < m_pTabs->count(); ++i) {
        Files.append(ViewAt(i)->GetPath());
    }
    return Files;
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
        m_pTabs->addTab(pView, pView->GetDocument().GetName());
        m_pTabs->setTabToolTip(m_pTabs->indexOf(pView), sFile);
        connect(pView, &CSourceView::CursorMoved, this, &CWindow::StatusTextChanged);
        connect(pView, &CSourceView::BreakpointToggled, this,
                [this, pView](int Line) { ToggleBreakpoint(pView, Line); });
        connect(pView, &CSourceView::ContextMenuRequested, this, &CSourceWindow::ContextMenuRequested);
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
    GetActiveView()->SetPcLine(m_PcLine, true);
    return true;
}

void CSourceWindow::ClearPC() {
    m_PcLine = 0;
    m_sPcFile.clear();
    for (int i = 0; i < m_pTabs->count(); ++i) {
        ViewAt(i)->SetPcLine(0, false);
    }
}

void CSourceWindow::UpdateMarksOf(CSourceView* pView) const {
    const U32 FileId = ProgramFileOf(pView->GetPath());
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

void CSourceWindow::ToggleBreakpoint(CSourceView* pView, int Line) {
    const CSrcLoc Loc{ProgramFileOf(pView->GetPath()), static_cast<U32>(Line), 0};
    I64 Addr = Loc.IsValid() ? ElfApi_GetAddr(Loc) : -1;
    Addr = Loc.IsValid() && Addr < 0 ? ElfApi_GetAddr(ElfApi_GetNextCodeLine(Loc)) : Addr;
    if (Addr >= 0) {
        const bool IsSet = CDevice::Get().GetBreakpoint(static_cast<U32>(Addr)).Valid != 0;
        emit BreakpointToggleRequested(QStringLiteral("%1:%2").arg(pView->GetDocument().GetName()).arg(Line), !IsSet);
    }
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

void CSourceWindow::OnDeviceResumeDone(RESUME_MODES) {
    if (m_PcLine > 0 && FindView(m_sPcFile) != nullptr) {
        FindView(m_sPcFile)->SetPcLine(m_PcLine, false);
    }
}

void CSourceWindow::OnDeviceDisconnectDone() { ClearPC(); }
void CSourceWindow::OnDeviceBPStateChanged() { UpdateMarks(); }
