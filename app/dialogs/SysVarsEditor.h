#pragma once

// The project's system variables as a table of name and value. Main thread.

#include "app/dialogs/Dialog.h"

#include <QAbstractTableModel>

class QTableView;

class CSysVarsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum COLUMN : int { COL_NAME, COL_VALUE, NUM_COLUMNS };

    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex& Parent = {}) const override;
    int columnCount(const QModelIndex& Parent = {}) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    Qt::ItemFlags flags(const QModelIndex& Index) const override;
    /// Runs Edit.SysVar with a text that the variable takes. False for any other.
    bool setData(const QModelIndex& Index, const QVariant& Value, int Role) override;
};

class CSysVarsEditor : public CDialog {
    Q_OBJECT

public:
    explicit CSysVarsEditor(QWidget* pParent);

private slots:
    void OnDoubleClicked(const QModelIndex& Index);

private:
    CSysVarsModel* m_pModel;
    QTableView* m_pTable;
};
