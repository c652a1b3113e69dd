#include "app/FileProgress.h"

#include "app/StatusBar.h"

#include <algorithm>

namespace {

int Clamp(I64 Value) { return static_cast<int>(std::min<I64>(Value, 0x7FFFFFFF)); }

} // namespace

CFileProgress::CFileProgress(CStatusBar& Bar) : m_Bar(Bar) { JFile::SetProgressSink(this); }
CFileProgress::~CFileProgress() { JFile::SetProgressSink(nullptr); }

void CFileProgress::StartProgress(const QString& sText, I64 Maximum) {
    m_Bar.SetProgressMessage(sText);
    m_Bar.StartProgress(0, Clamp(Maximum));
    Show();
}

void CFileProgress::SetProgressValue(I64 Value) {
    m_Bar.SetProgressValue(Clamp(Value));
    Show();
}

void CFileProgress::EndProgress() { m_Bar.EndProgress(); }

void CFileProgress::Show() {
    m_Bar.Refresh();
    m_Bar.repaint();
}
