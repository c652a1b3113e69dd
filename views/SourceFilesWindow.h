#pragma once

// CSourceFilesWindow: all source files of the program. A double click or Enter opens one. Main thread.

#include "framework/Window.h"

#include <QAbstractTableModel>

/// The files, sorted by name and then by path.
class CSourceFilesModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum COLUMN : int { COL_FILE, COL_PATH, NUM_COLUMNS };
    using QAbstractTableModel::QAbstractTableModel;

    /// Reads the list of files of the open program again; without one it is empty.
    void Init();
    void Clear();
    /// Path on this machine, as the file finder knows it.
    QString GetPath(const QModelIndex& Index) const;

    int rowCount(const QModelIndex& Parent = {}) const override;
    int columnCount(const QModelIndex& Parent = {}) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;

private:
    QStringList m_Files; ///< as the program names them
};

class CSourceFilesWindow : public CWindow {
    Q_OBJECT

public:
    explicit CSourceFilesWindow(QWidget* pParent);

    void Clear() override { m_Model.Clear(); }
    void OnProgramChanged() override { m_Model.Init(); }
    void OnProgramClosing() override { m_Model.Clear(); }

private:
    CSourceFilesModel m_Model;
};
