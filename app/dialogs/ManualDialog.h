#pragma once

#include "app/dialogs/Dialog.h"

/// The manual, as it comes with the program. Main thread.
class CManualDialog : public CDialog {
    Q_OBJECT

public:
    explicit CManualDialog(QWidget* pParent);
};
