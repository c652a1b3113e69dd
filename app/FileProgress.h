#pragma once

#include "datafile/JFile.h"

class CStatusBar;

/// The status bar's progress while a data file is read or written: that blocks the main thread, so the bar is painted
/// here and not by its timer. Main thread.
class CFileProgress : public JFile::CProgressSink {
public:
    explicit CFileProgress(CStatusBar& Bar);
    ~CFileProgress() override;
    void StartProgress(const QString& sText, I64 Maximum) override;
    void SetProgressValue(I64 Value) override;
    void EndProgress() override;

private:
    void Show();
    CStatusBar& m_Bar;
};
