#pragma once

// The command palette: finds every public command by a few letters of its name, shows its hot key and help, and runs
// it through the command table. A command with parameters is asked for them first. Main thread.

#include "command/CommandTable.h"

#include <QAbstractTableModel>
#include <QDialog>

class QFormLayout;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QTreeView;

/// The public commands that fit a pattern, best first.
class CCommandPaletteModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum COLUMN : int { COL_NAME, COL_ARGS, COL_HOT_KEY, COL_HELP, NUM_COLUMNS };

    explicit CCommandPaletteModel(QObject* pParent);

    void SetPattern(const QString& sPattern);
    U32 GetCommand(int Row) const { return m_Shown[Row]; }
    int rowCount(const QModelIndex& Parent = {}) const override;
    int columnCount(const QModelIndex& Parent = {}) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;

private:
    QList<U32> m_Shown;
};

/// What a user calls a command: its name, or for a row without one the words of its action.
QString GetPaletteName(const COMMAND_ROW& Row);

class CCommandPalette : public QDialog {
    Q_OBJECT

public:
    explicit CCommandPalette(QWidget* pParent);

protected:
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;

private:
    void OnPatternChanged(const QString& sPattern);
    void OnChosen();
    void AskForArguments(U32 Id);
    void RunCommand(U32 Id, const QVariantList& Args);
    void OnArgumentsEntered();

    CCommandPaletteModel* m_pModel;
    QStackedWidget* m_pPages;
    QLineEdit* m_pPattern;
    QTreeView* m_pList;
    QLabel* m_pPrompt;
    QFormLayout* m_pForm;
    QList<QLineEdit*> m_Arguments;
    U32 m_Command = CMD_COUNT;
};
